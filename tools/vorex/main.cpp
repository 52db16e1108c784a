// vorex: try the library from the shell. Thin by design: every sub-command only calls the
// library and prints what it returns.
#include <cstdio>
#include <cstring>

#include "tools/vorex/Commands.hpp"

int main(int argc, char** argv) {
  using vorex_cli::kCommands;
  if (argc >= 2 && std::strcmp(argv[1], "--help") != 0 && std::strcmp(argv[1], "help") != 0) {
    for (const auto* c = kCommands; c->name; ++c) {
      if (std::strcmp(c->name, argv[1]) == 0) return c->run(argc - 2, argv + 2);
    }
    std::fprintf(stderr, "vorex: unknown command '%s'\n", argv[1]);
  }
  std::fprintf(argc >= 2 ? stdout : stderr, "usage: vorex <command> [options]\n\ncommands:\n");
  for (const auto* c = kCommands; c->name; ++c) std::printf("  %-8s %s\n", c->name, c->summary);
  return argc >= 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "help") == 0)
             ? 0
             : 2;
}
