#include "Diagnose/CallStackManager.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <thread>

// Exported (test binaries link with -rdynamic) and never inlined, so they appear by name.
__attribute__((noinline)) std::string vorexStackProbeInner(unsigned long skip) {
  std::ostringstream os;
  Diagnose::CallStackManager::showStack(os, skip);
  return os.str();
}

__attribute__((noinline)) std::string vorexStackProbeOuter(unsigned long skip) {
  std::string s = vorexStackProbeInner(skip);
  asm volatile("" ::: "memory");  // keeps the call out of tail position
  return s;
}

__attribute__((noinline)) void vorexStackSaver(const void* key) {
  Diagnose::CallStackManager::saveStack(key);
  asm volatile("" ::: "memory");
}

namespace {

std::string firstLine(const std::string& s) { return s.substr(0, s.find('\n')); }

TEST(CallStackManager, ShowsTheCallerFirstDemangledAndSkips) {
  const std::string stack = vorexStackProbeOuter(0);
  EXPECT_EQ(stack.rfind("#0 ", 0), 0u) << stack;
  // Demangled: the parameter list shows (the return type adds an ABI tag before it).
  EXPECT_NE(firstLine(stack).find("vorexStackProbeInner"), std::string::npos) << stack;
  EXPECT_NE(firstLine(stack).find("(unsigned long)+0x"), std::string::npos) << stack;
  EXPECT_NE(stack.find("#1 "), std::string::npos);
  EXPECT_NE(stack.find("vorexStackProbeOuter"), std::string::npos) << stack;
  EXPECT_EQ(stack.find("showStack"), std::string::npos) << stack;

  const std::string skipped = vorexStackProbeOuter(1);
  EXPECT_EQ(skipped.find("vorexStackProbeInner"), std::string::npos) << skipped;
  EXPECT_NE(firstLine(skipped).find("vorexStackProbeOuter"), std::string::npos) << skipped;
  EXPECT_EQ(vorexStackProbeOuter(100000), "");
}

TEST(CallStackManager, SavedStackIsPerThread) {
  int key = 0;
  vorexStackSaver(&key);
  EXPECT_EQ(Diagnose::CallStackManager::savedStackKey(), &key);
  std::ostringstream saved;
  Diagnose::CallStackManager::showSavedStack(saved);
  EXPECT_NE(firstLine(saved.str()).find("vorexStackSaver"), std::string::npos) << saved.str();

  const void* otherKey = &key;
  std::ostringstream other;
  other << "x";
  std::thread([&] {
    otherKey = Diagnose::CallStackManager::savedStackKey();
    other.str("");
    Diagnose::CallStackManager::showSavedStack(other);
  }).join();
  EXPECT_EQ(otherKey, nullptr);
  EXPECT_EQ(other.str(), "");
}

}  // namespace
