// vorex search <file.ivec> <from> <to> [--list]: loads a persisted vector and counts the
// positions whose value v has from <= v < to (to is exclusive); --list prints them too.
#include <memory>
#include <string>

#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/IndexVector.hpp"
#include "VorexUtils/Serializer.hpp"
#include "ltt/exception.hpp"
#include "tools/vorex/Args.hpp"

namespace vorex_cli {

/// Loads one persisted vector that fills `bytes` exactly, or explains why not.
bool loadVector(const std::string& bytes, VorexUtils::IndexVector& v, std::string& error) {
  // The form does not validate its width (byte 8 of the binary encoding); refuse it up front.
  if (bytes.size() > 8 && static_cast<unsigned char>(bytes[8]) > 32) {
    error = "width " + std::to_string(static_cast<unsigned char>(bytes[8])) + " is above 32";
    return false;
  }
  try {
    VorexUtils::BinaryDeserializer d(bytes.data(), bytes.size());
    v.deserialize(d);
    if (d.remaining() != 0) {
      error = std::to_string(d.remaining()) + " bytes follow the vector";
      return false;
    }
  } catch (const ltt::exception& e) {
    error = std::string("not a packed vector: ") + e.what();
    return false;
  }
  // Nor does it compare the size with the data (16 bytes of header precede it).
  if (v.size() > 0xFFFFFFFFul) {
    error = "more values than 32-bit positions can address";
    return false;
  }
  if (v.getMemorySize() > bytes.size() - 16) {
    error = "data too short for " + std::to_string(v.size()) + " values of " +
            std::to_string(v.bits()) + " bits";
    return false;
  }
  return true;
}

namespace {

struct SearchOptions {
  std::string path;
  unsigned long from = 0, to = 0;
  bool list = false;
};

int search(const SearchOptions& o) {
  const unsigned long from = o.from, to = o.to;
  const bool list = o.list;
  std::string bytes, error;
  if (!readFile(o.path.c_str(), bytes, error)) return fail("search", 1, error);
  VorexUtils::IndexVector v;
  if (!loadVector(bytes, v, error)) return fail("search", 1, o.path + ": " + error);

  try {
    if (list) {
      ltt::vector<unsigned int> positions;
      v.mgetSearch(0, v.size(), unsigned(from), unsigned(to), positions);
      std::cout << "hits: " << positions.size() << '\n';
      for (unsigned p : positions) std::cout << p << '\n';
    } else {
      VorexUtils::BitVector hits(v.size(), false);
      v.mgetSearch(0, v.size(), unsigned(from), unsigned(to), hits);
      std::cout << "hits: " << hits.countSet() << '\n';
    }
  } catch (const ltt::exception& e) {
    return fail("search", 1, e.what());
  }
  return 0;
}

}  // namespace

void addSearch(CLI::App& tool, int& status) {
  auto* cmd = tool.add_subcommand(
      "search", "count (or list) the positions of values from <= v < to in a persisted vector");
  auto o = std::make_shared<SearchOptions>();
  cmd->add_option("file", o->path, "a persisted vector (.ivec)")->required();
  cmd->add_option("from", o->from, "range start, inclusive")->required()->check(upTo(0xFFFFFFFFul));
  cmd->add_option("to", o->to, "range end, exclusive")->required()->check(upTo(0xFFFFFFFFul));
  cmd->add_flag("--list", o->list, "print the positions too, one per line");
  cmd->callback([o, &status] { status = search(*o); });
}

}  // namespace vorex_cli
