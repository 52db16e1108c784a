#include "tools/vorex/Commands.hpp"

namespace vorex_cli {

int runInfo(int argc, char** argv);

const Command kCommands[] = {
    {"info", "show the library version and the processor's instruction sets", runInfo},
    {nullptr, nullptr, nullptr},
};

}  // namespace vorex_cli
