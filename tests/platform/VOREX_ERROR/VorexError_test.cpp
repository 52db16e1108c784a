#include "VOREX_ERROR/VorexError.hpp"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

namespace {

using namespace VOREX_ERROR;

TEST(VorexError, EveryNamedCodeHasItsOwnTextInItsRange) {
  std::set<std::string> texts;
  for (int c :
       {VOREX_KLTRC_INSUFFICIENT_DATA, VOREX_KLTRC_INVALIDARG, VOREX_KLTRC_INVALID_SERVICE_LOCATION,
        NAMESERVER_MULTI_FUNC_ONLY, NAMESERVER_NO_SPLIT_PART, NAMESERVER_SERVICE_NOT_FOUND,
        NAMESERVER_NOT_AVAILABLE, NAMESERVER_REQUEST_FAILED}) {
    EXPECT_TRUE((c >= 2000 && c <= 2099) || (c >= 4000 && c <= 4099)) << c;
    EXPECT_TRUE(texts.insert(GetMsg(c)).second) << c;
  }
  EXPECT_EQ(texts.count("unknown error"), 0u);
  EXPECT_STREQ(GetMsg(2099), "unknown error");
}

TEST(VorexError, SetCodeAppendMsgAndCopies) {
  VorexError e;
  EXPECT_FALSE(e);
  e.setCode(VOREX_KLTRC_INVALIDARG, true);
  e.appendMsg("index a:b");
  EXPECT_EQ(e.getMsg(), std::string(GetMsg(VOREX_KLTRC_INVALIDARG)) + " index a:b");
  e.setCode(NAMESERVER_SERVICE_NOT_FOUND, false);  // no default text; the old text goes
  EXPECT_EQ(e.getMsg(), "");
  for (const char* part : {"first", "", "second"}) e.appendMsg(part);
  const VorexError saved = e;
  e.clear();
  EXPECT_FALSE(e);
  e = saved;
  std::ostringstream os;
  os << e;
  EXPECT_EQ(os.str(), "error 4003: first second");
}

}  // namespace
