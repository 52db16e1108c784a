// The pack and search commands end to end: integers in, a persisted vector out, range hits
// back; and clear failures (non-zero status, a message) for bad input.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Diagnose/testing/CaptureStream.hpp"
#include "tools/vorex/Commands.hpp"

namespace {

// Size, width and layout, data length: the header of a persisted vector in the binary encoding.
std::string header(std::uint64_t size, std::uint32_t field, std::uint32_t length) {
  std::string s;
  for (int i = 0; i < 8; ++i) s.push_back(char(size >> (8 * i)));
  for (int i = 0; i < 4; ++i) s.push_back(char(field >> (8 * i)));
  for (int i = 0; i < 4; ++i) s.push_back(char(length >> (8 * i)));
  return s;
}

class PackSearchTest : public testing::Test {
 protected:
  void SetUp() override {
    dir = std::filesystem::temp_directory_path() / ("vorex_cli_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
  }
  void TearDown() override { std::filesystem::remove_all(dir); }

  std::string file(const std::string& name, const std::string& content) {
    const auto p = (dir / name).string();
    std::ofstream(p, std::ios::binary) << content;
    return p;
  }
  // Runs a command; returns its status and keeps what it printed.
  int run(const char* command, std::vector<std::string> args) {
    args.insert(args.begin(), command);
    platform::testing::CaptureStream out(std::cout), err(std::cerr);
    const int status = vorex_cli::run(std::move(args));
    printed = out.str();
    errors = err.str();
    return status;
  }

  std::filesystem::path dir;
  std::string printed, errors;
};

TEST_F(PackSearchTest, PackedValuesAreFoundAgain) {
  const auto ivec = (dir / "a.ivec").string();
  ASSERT_EQ(run("pack", {file("in.txt", "5\n 17\n\n3\r\n100\n17"), ivec}), 0) << errors;
  EXPECT_NE(printed.find("5 values at 7 bits"), std::string::npos) << printed;
  EXPECT_EQ(run("search", {ivec, "5", "18", "--list"}), 0) << errors;
  EXPECT_EQ(printed, "hits: 3\n0\n1\n4\n");
  EXPECT_EQ(run("search", {ivec, "0", "4294967295"}), 0);
  EXPECT_EQ(printed, "hits: 5\n");

  // Raw little-endian input; the largest value takes all 32 bits.
  ASSERT_EQ(run("pack", {file("in.raw", std::string("\xFF\xFF\xFF\xFF\x02\x00\x00\x00", 8)), ivec,
                         "--raw"}),
            0);
  EXPECT_NE(printed.find("2 values at 32 bits"), std::string::npos) << printed;
  EXPECT_EQ(run("search", {ivec, "1", "3", "--list"}), 0);
  EXPECT_EQ(printed, "hits: 1\n1\n");
}

TEST_F(PackSearchTest, BadInputFailsWithAMessage) {
  const auto ivec = (dir / "b.ivec").string();
  const std::vector<std::vector<std::string>> packs = {
      {file("neg.txt", "1\n-2\n"), ivec},
      {file("big.txt", "4294967296\n"), ivec},
      {file("odd.raw", "abc"), ivec, "--raw"},
      {(dir / "missing.txt").string(), ivec},
      {file("ok.txt", "1\n")},
  };
  for (const auto& args : packs) {
    SCOPED_TRACE(args[0]);
    EXPECT_NE(run("pack", args), 0);
    EXPECT_NE(errors.find("vorex pack:"), std::string::npos) << errors;
  }
  const std::vector<std::vector<std::string>> searches = {
      {file("junk.ivec", "not a vector"), "0", "1"},
      {file("wide.ivec", header(1, 0x628, 8) + std::string(8, '\0')), "0", "1"},
      {file("long.ivec", header(9, 0x620, 8) + std::string(8, '\0')), "0", "1"},
      {file("tail.ivec", header(2, 0x620, 8) + std::string(9, '\0')), "0", "1"},
      {ivec, "x", "1"},
  };
  for (const auto& args : searches) {
    SCOPED_TRACE(args[0]);
    EXPECT_NE(run("search", args), 0);
    EXPECT_NE(errors.find("vorex search:"), std::string::npos) << errors;
  }
  EXPECT_EQ(run("serach", {}), 2);
  EXPECT_NE(errors.find("unknown command 'serach'"), std::string::npos) << errors;
}

}  // namespace
