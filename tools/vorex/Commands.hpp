// Sub-commands of the vorex tool. Each command file adds its subcommand (options, help text and
// a callback) to the tool's CLI11 application; the callback stores the command's exit status.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace vorex_cli {

/// Adds one subcommand to `tool`; its callback sets `status` (0 ok, 1 failure, 2 bad usage).
using AddCommand = void (*)(CLI::App& tool, int& status);

/// The tool's subcommands in the order of its help, null-terminated.
extern const AddCommand kCommands[];

/// Parses the arguments (argv[0] is the program name) and runs the chosen subcommand. Usage
/// errors print CLI11's message to stderr and give 2; --help prints the help and gives 0.
int run(int argc, char** argv);

/// The same for arguments after the program name, as tests call it: run({"scan", "--n", "5"}).
int run(std::vector<std::string> args);

}  // namespace vorex_cli
