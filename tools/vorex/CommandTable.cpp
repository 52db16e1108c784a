#include <CLI/CLI.hpp>
#include <iostream>
#include <string>

#include "tools/vorex/Commands.hpp"

namespace vorex_cli {

void addInfo(CLI::App& tool, int& status);
void addScan(CLI::App& tool, int& status);
void addPack(CLI::App& tool, int& status);
void addSearch(CLI::App& tool, int& status);

const AddCommand kCommands[] = {addInfo, addScan, addPack, addSearch, nullptr};

int run(int argc, char** argv) {
  CLI::App tool("vorex: try the Vorex library from the shell", "vorex");
  tool.require_subcommand(1);
  int status = 0;
  for (const AddCommand* add = kCommands; *add; ++add) (*add)(tool, status);
  // CLI11 would call an unknown first word a missing subcommand; name it instead.
  const auto named = [&](CLI::App* sub) { return sub->check_name(argv[1]); };
  if (argc >= 2 && argv[1][0] != '-' && tool.get_subcommands(named).empty()) {
    std::cerr << "vorex: unknown command '" << argv[1] << "'\nRun 'vorex --help' for more.\n";
    return 2;
  }
  try {
    tool.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    // --help (of the tool or of a subcommand) prints that help; everything else is bad usage.
    if (e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return tool.exit(e);
    std::string where = "vorex";
    for (const CLI::App* sub : tool.get_subcommands()) where += ' ' + sub->get_name();
    std::cerr << where << ": " << e.what() << "\nRun '" << where << " --help' for more.\n";
    return 2;
  }
  return status;
}

int run(std::vector<std::string> args) {
  args.insert(args.begin(), "vorex");
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  return run(static_cast<int>(argv.size()), argv.data());
}

}  // namespace vorex_cli
