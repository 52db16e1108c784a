// Sub-commands of the vorex tool. Each takes the arguments after its name and returns the exit
// status; they print their own usage on bad arguments.
#pragma once

namespace vorex_cli {

struct Command {
  const char* name;
  const char* summary;
  int (*run)(int argc, char** argv);
};

/// The registered commands, null-terminated by a {nullptr, ...} entry.
extern const Command kCommands[];

}  // namespace vorex_cli
