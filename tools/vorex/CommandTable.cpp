#include "tools/vorex/Commands.hpp"

namespace vorex_cli {

int runInfo(int argc, char** argv);
int runPack(int argc, char** argv);
int runScan(int argc, char** argv);
int runSearch(int argc, char** argv);

const Command kCommands[] = {
    {"info", "show the library version and the processor's instruction sets", runInfo},
    {"pack", "pack integers from a file into a persisted packed vector", runPack},
    {"search", "count (or list) the positions of a value range in a packed vector", runSearch},
    {"scan", "range-search a random column, check against get(), print rates", runScan},
    {nullptr, nullptr, nullptr},
};

}  // namespace vorex_cli
