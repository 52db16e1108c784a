// vorex: try the library from the shell. Thin by design: every sub-command only calls the
// library and prints what it returns.
#include "tools/vorex/Commands.hpp"

int main(int argc, char** argv) { return vorex_cli::run(argc, argv); }
