#include "config/Configuration.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "config/testing/ScopedConfiguration.hpp"

namespace {

using config::ConfigValue;
using config::testing::ScopedConfiguration;

TEST(Configuration, StringToBool) {
  for (const char* t : {"1", "true", "TRUE", "Yes", "on", "  on\t"}) {
    EXPECT_TRUE(config::Configuration::stringToBool(t)) << t;
  }
  for (const char* t : {"0", "false", "no", "off", "", "   ", "2", "y", "truex", "o n"}) {
    EXPECT_FALSE(config::Configuration::stringToBool(t)) << t;
  }
}

// ConfigValue<unsigned long> with default 77: anything but a plain decimal in range is ignored.
TEST(ConfigValue, ParsesDecimalsInTheTargetRange) {
  auto read = [](const char* text) {
    ScopedConfiguration cfg;
    if (text) cfg.map().set("s", "k", text);
    return ConfigValue<unsigned long>("s", "k", 77).getValueFromConfig();
  };
  EXPECT_EQ(read("10"), 10u);
  EXPECT_EQ(read("0"), 0u);
  EXPECT_EQ(read("  42 "), 42u);
  EXPECT_EQ(read("42\r\n"), 42u);
  EXPECT_EQ(read("18446744073709551615"), 18446744073709551615ull);
  for (const char* bad : {static_cast<const char*>(nullptr), "", "12abc", "1 2", "0x10", "-1", "+5",
                          "abc", "18446744073709551616", "99999999999999999999999"}) {
    EXPECT_EQ(read(bad), 77u) << (bad ? bad : "<absent>");
  }
  ScopedConfiguration cfg({{"s", "u32", "4294967296"},
                           {"s", "u32max", "4294967295"},
                           {"s", "i32", "-2147483648"},
                           {"s", "i32low", "-2147483649"},
                           {"s", "i8", "+127"},
                           {"s", "i8high", "128"},
                           {"s", "flag", " Yes "},
                           {"s", "flag2", "maybe"}});
  EXPECT_EQ((ConfigValue<unsigned>("s", "u32", 3).getValueFromConfig()), 3u);
  EXPECT_EQ((ConfigValue<unsigned>("s", "u32max", 3).getValueFromConfig()), 4294967295u);
  EXPECT_EQ((ConfigValue<int>("s", "i32", 3).getValueFromConfig()), -2147483647 - 1);
  EXPECT_EQ((ConfigValue<int>("s", "i32low", 3).getValueFromConfig()), 3);
  EXPECT_EQ((ConfigValue<signed char>("s", "i8", 3).getValueFromConfig()), 127);
  EXPECT_EQ((ConfigValue<signed char>("s", "i8high", 3).getValueFromConfig()), 3);
  EXPECT_TRUE((ConfigValue<bool>("s", "flag", false).getValueFromConfig()));
  EXPECT_FALSE((ConfigValue<bool>("s", "flag2", true).getValueFromConfig()));
  EXPECT_TRUE((ConfigValue<bool>("s", "absent", true).getValueFromConfig()));
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
  EXPECT_EQ(counting->lookups.load(), 1);
  counting->value = "6";  // the source changed, but nobody moved the time
  EXPECT_EQ(v.get(), 5u);
  config::ConfigTimeBasedValue::bump();
  EXPECT_EQ(v.get(), 6u);
  EXPECT_EQ(v.get(), 6u);
  EXPECT_EQ(counting->lookups.load(), 2);
}

// Well-known keys with their defaults; MapConfiguration::set moves the time only when active;
// scopes nest and restore.
TEST(ScopedConfiguration, WellKnownKeysFollowTheActiveMap) {
  const auto outer = config::getActiveConfiguration();
  {
    ScopedConfiguration none(std::shared_ptr<const config::Configuration>{});
    EXPECT_EQ(config::mgetSearchNumaThreshold().get(), 512000u);
    EXPECT_EQ(config::maxTraceValues().get(), 150u);
  }
  config::MapConfiguration inactive;
  std::uint64_t t = config::ConfigTimeBasedValue::getConfigTime();
  inactive.set("a", "b", "1");
  EXPECT_EQ(config::ConfigTimeBasedValue::getConfigTime(), t);
  {
    ScopedConfiguration cfg(
        {{"attributes", "mgetSearch_numa_threshold", "10"}, {"OLAP", "MAX_TRACE_VALUES", "7"}});
    EXPECT_EQ(config::mgetSearchNumaThreshold().get(), 10u);
    EXPECT_EQ(config::maxTraceValues().get(), 7u);
    t = config::ConfigTimeBasedValue::getConfigTime();
    cfg.map().set("attributes", "mgetSearch_numa_threshold", "20");
    EXPECT_GT(config::ConfigTimeBasedValue::getConfigTime(), t);
    EXPECT_EQ(config::mgetSearchNumaThreshold().get(), 20u);
    {
      ScopedConfiguration inner({{"olap", "max_trace_values", "8"}});
      EXPECT_EQ(config::maxTraceValues().get(), 8u);
    }
    EXPECT_EQ(config::maxTraceValues().get(), 7u);
    cfg.map().erase("ATTRIBUTES", "mgetsearch_numa_threshold");
    EXPECT_EQ(config::mgetSearchNumaThreshold().get(), 512000u);
  }
  EXPECT_EQ(config::getActiveConfiguration(), outer);
  EXPECT_EQ(config::maxTraceValues().get(), 150u);
}

}  // namespace
