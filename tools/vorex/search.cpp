// vorex search <file.ivec> <from> <to> [--list]: loads a persisted vector and counts the
// positions whose value v has from <= v < to (to is exclusive); --list prints them too.
#include <string>

#include "VorexUtils/BitVector.hpp"
#include "VorexUtils/IndexVector.hpp"
#include "VorexUtils/Serializer.hpp"
#include "ltt/exception.hpp"
#include "tools/vorex/Args.hpp"

namespace vorex_cli {

namespace {
constexpr const char* kUsage =
    "usage: vorex search <file.ivec> <from> <to> [--list]\n"
    "  counts values v with from <= v < to (unsigned 32-bit; to is exclusive)";
}  // namespace

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

int runSearch(int argc, char** argv) {
  const char* args[3] = {nullptr, nullptr, nullptr};
  int nargs = 0;
  bool list = false;
  for (int i = 0; i < argc; ++i) {
    const std::string_view a = argv[i];
    if (a == "--list") {
      list = true;
    } else if (a == "--help" || a == "-h") {
      std::cout << kUsage << '\n';
      return 0;
    } else if (a.size() > 1 && a[0] == '-') {
      return fail("search", 2, "unknown option '" + std::string(a) + "'\n" + kUsage);
    } else if (nargs < 3) {
      args[nargs++] = argv[i];
    } else {
      return fail("search", 2, std::string("too many arguments\n") + kUsage);
    }
  }
  if (nargs != 3) return fail("search", 2, kUsage);
  unsigned long from, to;
  if (!parseNumber(args[1], 0xFFFFFFFFul, from) || !parseNumber(args[2], 0xFFFFFFFFul, to))
    return fail("search", 2, std::string("bounds must be integers in 0..4294967295\n") + kUsage);

  std::string bytes, error;
  if (!readFile(args[0], bytes, error)) return fail("search", 1, error);
  VorexUtils::IndexVector v;
  if (!loadVector(bytes, v, error)) return fail("search", 1, std::string(args[0]) + ": " + error);

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

}  // namespace vorex_cli
