// vorex pack <input> <output.ivec> [--raw]: packs unsigned 32-bit integers (decimal, one per
// line; or little-endian uint32 with --raw) at the narrowest width that holds their maximum,
// and writes the vector's persisted form.
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "VorexUtils/IndexVector.hpp"
#include "VorexUtils/Serializer.hpp"
#include "ltt/exception.hpp"
#include "tools/vorex/Args.hpp"

namespace vorex_cli {

namespace {

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

int pack(const std::string& inputPath, const std::string& outputPath, bool raw) {
  std::string input, error;
  std::vector<std::uint32_t> values;
  if (!readFile(inputPath.c_str(), input, error)) return fail("pack", 1, error);
  if (!(raw ? parseRaw(input, values, error) : parseText(input, values, error)))
    return fail("pack", 1, inputPath + ": " + error);

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
  if (!writeFile(outputPath.c_str(), out, error)) return fail("pack", 1, error);
  std::cout << "packed " << values.size() << " values at " << bits << " bits into " << out.size()
            << " bytes: " << outputPath << '\n';
  return 0;
}

struct PackOptions {
  std::string input, output;
  bool raw = false;
};

}  // namespace

void addPack(CLI::App& tool, int& status) {
  auto* cmd = tool.add_subcommand("pack", "pack integers from a file into a persisted vector");
  auto o = std::make_shared<PackOptions>();
  cmd->add_option("input", o->input, "decimal integers 0..4294967295, one per line")->required();
  cmd->add_option("output", o->output, "the persisted vector (.ivec) to write")->required();
  cmd->add_flag("--raw", o->raw, "the input is little-endian uint32 instead of text");
  cmd->callback([o, &status] { status = pack(o->input, o->output, o->raw); });
}

}  // namespace vorex_cli
