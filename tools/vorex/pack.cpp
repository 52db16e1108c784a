// vorex pack <input> <output.ivec> [--raw]: packs unsigned 32-bit integers (decimal, one per
// line; or little-endian uint32 with --raw) at the narrowest width that holds their maximum,
// and writes the vector's persisted form.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "VorexUtils/IndexVector.hpp"
#include "VorexUtils/Serializer.hpp"
#include "ltt/exception.hpp"
#include "tools/vorex/Args.hpp"

namespace vorex_cli {

namespace {

constexpr const char* kUsage =
    "usage: vorex pack <input> <output.ivec> [--raw]\n"
    "  input: decimal integers 0..4294967295, one per line; --raw: little-endian uint32";

bool parseText(const std::string& text, std::vector<std::uint32_t>& values, std::string& error) {
  std::size_t lineNo = 0, pos = 0;
  while (pos < text.size()) {
    std::size_t eol = text.find('\n', pos);
    if (eol == std::string::npos) eol = text.size();
    std::string_view line(text.data() + pos, eol - pos);
    pos = eol + 1;
    ++lineNo;
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t'))
      line.remove_suffix(1);
    while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.remove_prefix(1);
    if (line.empty()) continue;  // blank lines carry no value
    unsigned long v;
    if (!parseNumber(line, 0xFFFFFFFFul, v)) {
      error = "line " + std::to_string(lineNo) + ": not an integer in 0..4294967295: '" +
              std::string(line.substr(0, 40)) + "'";
      return false;
    }
    values.push_back(static_cast<std::uint32_t>(v));
  }
  return true;
}

bool parseRaw(const std::string& bytes, std::vector<std::uint32_t>& values, std::string& error) {
  if (bytes.size() % 4 != 0) {
    error = "raw input of " + std::to_string(bytes.size()) + " bytes is not a multiple of 4";
    return false;
  }
  values.resize(bytes.size() / 4);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const auto* b = reinterpret_cast<const unsigned char*>(bytes.data() + 4 * i);
    values[i] = std::uint32_t{b[0]} | std::uint32_t{b[1]} << 8 | std::uint32_t{b[2]} << 16 |
                std::uint32_t{b[3]} << 24;
  }
  return true;
}

}  // namespace

int runPack(int argc, char** argv) {
  const char* paths[2] = {nullptr, nullptr};
  int npaths = 0;
  bool raw = false;
  for (int i = 0; i < argc; ++i) {
    const std::string_view a = argv[i];
    if (a == "--raw") {
      raw = true;
    } else if (a == "--help" || a == "-h") {
      std::cout << kUsage << '\n';
      return 0;
    } else if (a.size() > 1 && a[0] == '-') {
      return fail("pack", 2, "unknown option '" + std::string(a) + "'\n" + kUsage);
    } else if (npaths < 2) {
      paths[npaths++] = argv[i];
    } else {
      return fail("pack", 2, std::string("too many arguments\n") + kUsage);
    }
  }
  if (npaths != 2) return fail("pack", 2, kUsage);

  std::string input, error;
  std::vector<std::uint32_t> values;
  if (!readFile(paths[0], input, error)) return fail("pack", 1, error);
  if (!(raw ? parseRaw(input, values, error) : parseText(input, values, error)))
    return fail("pack", 1, std::string(paths[0]) + ": " + error);

  std::uint32_t max = 0;
  for (auto v : values) max = v > max ? v : max;
  // getBits takes a count of distinct values; the largest 32-bit value needs all 32 bits.
  const unsigned bits =
      max == 0xFFFFFFFFu ? 32 : VorexUtils::IndexVectorRef::getBits(values.empty() ? 0 : max + 1);

  std::string out;
  try {
    VorexUtils::IndexVector v;
    v.setBits(bits);
    v.resize(values.size());
    // Zero the bits behind the last value: they are persisted as they lie in memory.
    if (v.data()) std::memset(v.data(), 0, v.getMemorySize());
    v.mset(0, values.size(), values.data());
    VorexUtils::BinarySerializer s(out);
    v.serialize(s);
  } catch (const ltt::exception& e) {
    return fail("pack", 1, e.what());
  }
  if (!writeFile(paths[1], out, error)) return fail("pack", 1, error);
  std::cout << "packed " << values.size() << " values at " << bits << " bits into " << out.size()
            << " bytes: " << paths[1] << '\n';
  return 0;
}

}  // namespace vorex_cli
