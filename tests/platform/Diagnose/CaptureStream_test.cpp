#include "Diagnose/testing/CaptureStream.hpp"

#include <gtest/gtest.h>

#include <iostream>

namespace {

TEST(CaptureStream, CollectsAndRestores) {
  std::streambuf* coutBuf = std::cout.rdbuf();
  std::streambuf* cerrBuf = std::cerr.rdbuf();
  {
    platform::testing::CaptureStream out;
    platform::testing::CaptureStream err(std::cerr);
    std::cout << "to stdout " << 1;
    std::cerr << "to stderr" << std::endl;
    EXPECT_EQ(out.str(), "to stdout 1");
    EXPECT_EQ(err.str(), "to stderr\n");
    out.clear();
    std::cout << "again";
    EXPECT_EQ(out.str(), "again");
  }
  EXPECT_EQ(std::cout.rdbuf(), coutBuf);
  EXPECT_EQ(std::cerr.rdbuf(), cerrBuf);
}

}  // namespace
