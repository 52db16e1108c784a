#include "config/Configuration.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "config/testing/ScopedConfiguration.hpp"

namespace {

using config::testing::ScopedConfiguration;

struct BoolCase {
  const char* text;
  bool value;
};

class StringToBool : public ::testing::TestWithParam<BoolCase> {};

TEST_P(StringToBool, Table) {
  EXPECT_EQ(config::Configuration::stringToBool(GetParam().text), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Values, StringToBool,
    ::testing::Values(BoolCase{"1", true}, BoolCase{"true", true}, BoolCase{"TRUE", true},
                      BoolCase{"Yes", true}, BoolCase{"on", true}, BoolCase{"  on\t", true},
                      BoolCase{"0", false}, BoolCase{"false", false}, BoolCase{"no", false},
                      BoolCase{"off", false}, BoolCase{"", false}, BoolCase{"   ", false},
                      BoolCase{"2", false}, BoolCase{"y", false}, BoolCase{"truex", false},
                      BoolCase{"o n", false}));

struct ParseCase {
  const char* text;  // null: key absent
  std::uint64_t expected;
};

class ConfigValueParse : public ::testing::TestWithParam<ParseCase> {};

// ConfigValue<unsigned long> with default 77; ConfigValue<unsigned> sees the same texts.
TEST_P(ConfigValueParse, UnsignedLong) {
  const ParseCase c = GetParam();
  ScopedConfiguration cfg;
  if (c.text) cfg.map().set("s", "k", c.text);
  const config::ConfigValue<unsigned long> v("s", "k", 77);
  EXPECT_EQ(v.getDefault(), 77u);
  EXPECT_EQ(v.getValueFromConfig(), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ConfigValueParse,
    ::testing::Values(ParseCase{nullptr, 77}, ParseCase{"10", 10}, ParseCase{"0", 0},
                      ParseCase{"  42 ", 42}, ParseCase{"42\r\n", 42}, ParseCase{"", 77},
                      ParseCase{"12abc", 77}, ParseCase{"1 2", 77}, ParseCase{"0x10", 77},
                      ParseCase{"-1", 77}, ParseCase{"+5", 77}, ParseCase{"abc", 77},
                      ParseCase{"18446744073709551615", 18446744073709551615ull},
                      ParseCase{"18446744073709551616", 77},
                      ParseCase{"99999999999999999999999", 77}));

TEST(ConfigValue, RangeOfTheTargetType) {
  ScopedConfiguration cfg({{"s", "u32", "4294967296"}, {"s", "u32max", "4294967295"},
                           {"s", "i32", "-2147483648"}, {"s", "i32low", "-2147483649"},
                           {"s", "i8", "+127"}, {"s", "i8high", "128"},
                           {"s", "flag", " Yes "}, {"s", "flag2", "maybe"}});
  EXPECT_EQ((config::ConfigValue<unsigned>("s", "u32", 3).getValueFromConfig()), 3u);
  EXPECT_EQ((config::ConfigValue<unsigned>("s", "u32max", 3).getValueFromConfig()), 4294967295u);
  EXPECT_EQ((config::ConfigValue<int>("s", "i32", 3).getValueFromConfig()), -2147483647 - 1);
  EXPECT_EQ((config::ConfigValue<int>("s", "i32low", 3).getValueFromConfig()), 3);
  EXPECT_EQ((config::ConfigValue<signed char>("s", "i8", 3).getValueFromConfig()), 127);
  EXPECT_EQ((config::ConfigValue<signed char>("s", "i8high", 3).getValueFromConfig()), 3);
  EXPECT_TRUE((config::ConfigValue<bool>("s", "flag", false).getValueFromConfig()));
  EXPECT_FALSE((config::ConfigValue<bool>("s", "flag2", true).getValueFromConfig()));
  EXPECT_TRUE((config::ConfigValue<bool>("s", "absent", true).getValueFromConfig()));
}

TEST(ConfigValue, WellKnownKeysAndTheirDefaults) {
  {
    ScopedConfiguration none(std::shared_ptr<const config::Configuration>{});
    EXPECT_EQ(config::mgetSearchNumaThreshold().get(), 512000u);
    EXPECT_EQ(config::maxTraceValues().get(), 150u);
  }
  ScopedConfiguration cfg({{"attributes", "mgetSearch_numa_threshold", "10"},
                           {"OLAP", "MAX_TRACE_VALUES", "3"}});
  EXPECT_EQ(config::mgetSearchNumaThreshold().get(), 10u);
  EXPECT_EQ(config::maxTraceValues().get(), 3u);
}

// Counts lookups, so a test can see whether a cached value went back to the configuration.
class CountingConfiguration final : public config::Configuration {
 public:
  bool getValue(std::string_view, std::string_view, std::string& out) const override {
    ++lookups;
    out = value;
    return true;
  }
  mutable std::atomic<int> lookups{0};
  std::string value = "5";
};

TEST(CachedConfigValue, RereadsOnlyWhenTheTimeMoved) {
  auto counting = std::make_shared<CountingConfiguration>();
  const std::uint64_t before = config::ConfigTimeBasedValue::getConfigTime();
  ScopedConfiguration cfg(counting);
  EXPECT_GT(config::ConfigTimeBasedValue::getConfigTime(), before);

  const config::CachedConfigValue<unsigned long> v("s", "k", 1);
  EXPECT_EQ(v.get(), 5u);
  EXPECT_EQ(v.get(), 5u);
  EXPECT_EQ(v.get(), 5u);
  EXPECT_EQ(counting->lookups.load(), 1);

  counting->value = "6";  // the source changed, but nobody moved the time
  EXPECT_EQ(v.get(), 5u);
  EXPECT_EQ(counting->lookups.load(), 1);

  config::ConfigTimeBasedValue::bump();
  EXPECT_EQ(v.get(), 6u);
  EXPECT_EQ(v.get(), 6u);
  EXPECT_EQ(counting->lookups.load(), 2);
}

TEST(MapConfiguration, SetMovesTheTimeOnlyWhenActive) {
  config::MapConfiguration inactive;
  std::uint64_t t = config::ConfigTimeBasedValue::getConfigTime();
  inactive.set("a", "b", "1");
  EXPECT_EQ(config::ConfigTimeBasedValue::getConfigTime(), t);

  ScopedConfiguration cfg({{"attributes", "mgetSearch_numa_threshold", "10"}});
  EXPECT_EQ(config::mgetSearchNumaThreshold().get(), 10u);
  t = config::ConfigTimeBasedValue::getConfigTime();
  cfg.map().set("attributes", "mgetSearch_numa_threshold", "20");
  EXPECT_GT(config::ConfigTimeBasedValue::getConfigTime(), t);
  EXPECT_EQ(config::mgetSearchNumaThreshold().get(), 20u);
  cfg.map().erase("ATTRIBUTES", "mgetsearch_numa_threshold");
  EXPECT_EQ(config::mgetSearchNumaThreshold().get(), 512000u);
}

TEST(ScopedConfiguration, RestoresThePreviousConfiguration) {
  const auto outer = config::getActiveConfiguration();
  {
    ScopedConfiguration a({{"olap", "max_trace_values", "7"}});
    EXPECT_EQ(config::maxTraceValues().get(), 7u);
    {
      ScopedConfiguration b({{"olap", "max_trace_values", "8"}});
      EXPECT_EQ(config::maxTraceValues().get(), 8u);
    }
    EXPECT_EQ(config::maxTraceValues().get(), 7u);
  }
  EXPECT_EQ(config::getActiveConfiguration(), outer);
  EXPECT_EQ(config::maxTraceValues().get(), 150u);
}

}  // namespace
