#include "VOREX_ERROR/VorexError.hpp"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

namespace {

using namespace VOREX_ERROR;

TEST(VorexError, EveryNamedCodeHasItsOwnTextInItsRange) {
  const int klt[] = {VOREX_KLTRC_INSUFFICIENT_DATA, VOREX_KLTRC_INVALIDARG,
                     VOREX_KLTRC_INVALID_SERVICE_LOCATION};
  const int ns[] = {NAMESERVER_MULTI_FUNC_ONLY, NAMESERVER_NO_SPLIT_PART,
                    NAMESERVER_SERVICE_NOT_FOUND, NAMESERVER_NOT_AVAILABLE,
                    NAMESERVER_REQUEST_FAILED};
  std::set<std::string> texts;
  for (int c : klt) {
    EXPECT_GE(c, 2000);
    EXPECT_LE(c, 2099);
    texts.insert(GetMsg(c));
  }
  for (int c : ns) {
    EXPECT_GE(c, 4000);
    EXPECT_LE(c, 4099);
    texts.insert(GetMsg(c));
  }
  EXPECT_EQ(texts.size(), std::size(klt) + std::size(ns));
  EXPECT_EQ(texts.count("unknown error"), 0u);
  EXPECT_STREQ(GetMsg(-7), "unknown error");
  EXPECT_STREQ(GetMsg(2099), "unknown error");
}

TEST(VorexError, SetCodeAndAppendMsg) {
  VorexError e;
  EXPECT_FALSE(e);
  e.setCode(VOREX_KLTRC_INVALIDARG, true);
  EXPECT_TRUE(e);
  EXPECT_EQ(e.getCode(), VOREX_KLTRC_INVALIDARG);
  EXPECT_EQ(e.getMsg(), GetMsg(VOREX_KLTRC_INVALIDARG));
  e.appendMsg("index a:b");
  EXPECT_EQ(e.getMsg(), std::string(GetMsg(VOREX_KLTRC_INVALIDARG)) + " index a:b");

  // Without the default text the message starts empty; a new code drops the old text.
  e.setCode(NAMESERVER_NO_SPLIT_PART, false);
  EXPECT_EQ(e.getMsg(), "");
  e.appendMsg("first");
  e.appendMsg("");
  e.appendMsg("second");
  EXPECT_EQ(e.getMsg(), "first second");
}

TEST(VorexError, CopiesSaveAndRestoreState) {
  VorexError e;
  e.setCode(NAMESERVER_SERVICE_NOT_FOUND, false);
  e.appendMsg("saved");
  const VorexError saved = e;
  e.clear();
  EXPECT_EQ(e.getCode(), 0);
  EXPECT_EQ(e.getMsg(), "");
  e = saved;
  EXPECT_EQ(e.getCode(), NAMESERVER_SERVICE_NOT_FOUND);
  EXPECT_EQ(e.getMsg(), "saved");
  std::ostringstream os;
  os << e;
  EXPECT_EQ(os.str(), "error 4003: saved");
}

}  // namespace
