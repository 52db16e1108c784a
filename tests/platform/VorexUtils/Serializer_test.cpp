#include "VorexUtils/Serializer.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <sstream>
#include <string>
#include <typeinfo>
#include <vector>

#include "VOREX_ERROR/VorexError.hpp"
#include "ltt/exception.hpp"

namespace {

using VorexUtils::BinaryDeserializer;
using VorexUtils::BinarySerializer;
using VorexUtils::SerializerInterface;

constexpr int kInsufficientData = 70000000 + VOREX_ERROR::VOREX_KLTRC_INSUFFICIENT_DATA;

std::string hex(const std::string& bytes) {
  static const char* digits = "0123456789abcdef";
  std::string out;
  for (unsigned char c : bytes) {
    out += digits[c >> 4];
    out += digits[c & 15];
  }
  return out;
}

template <class F>
void expectInsufficientData(F&& f) {
  try {
    f();
    ADD_FAILURE() << "no exception";
  } catch (const ltt::exception& e) {
    EXPECT_EQ(e.code(), kInsufficientData);
    EXPECT_STREQ(e.what(), VOREX_ERROR::GetMsg(VOREX_ERROR::VOREX_KLTRC_INSUFFICIENT_DATA));
  }
}

// Every primitive against its hand-written byte image; the images are the persisted forms of
// the objects that write through these serializers.
struct Golden {
  const char* name;
  std::function<void(SerializerInterface&)> write;
  const char* hex;
};

class BinaryGolden : public testing::TestWithParam<Golden> {};

TEST_P(BinaryGolden, WritesTheExpectedBytes) {
  std::string out;
  BinarySerializer s(out);
  GetParam().write(s);
  EXPECT_EQ(hex(out), GetParam().hex);
}

INSTANTIATE_TEST_SUITE_P(
    Primitives, BinaryGolden,
    testing::Values(
        Golden{"uchar", [](auto& s) { s << static_cast<unsigned char>(0xAB); }, "ab"},
        Golden{"char", [](auto& s) { s << 'A'; }, "41"},
        Golden{"char_negative", [](auto& s) { s << static_cast<char>(-1); }, "ff"},
        Golden{"int", [](auto& s) { s << 0x01020304; }, "04030201"},
        Golden{"int_negative", [](auto& s) { s << -2; }, "feffffff"},
        Golden{"int_min", [](auto& s) { s << INT_MIN; }, "00000080"},
        Golden{"uint", [](auto& s) { s << 0xDEADBEEFu; }, "efbeadde"},
        Golden{"long", [](auto& s) { s << -2L; }, "feffffffffffffff"},
        Golden{"long_max", [](auto& s) { s << LONG_MAX; }, "ffffffffffffff7f"},
        Golden{"ulong", [](auto& s) { s << 0x0102030405060708UL; }, "0807060504030201"},
        Golden{"string", [](auto& s) { s << std::string("ab\0c", 4); }, "0400000061620063"},
        Golden{"string_empty", [](auto& s) { s << std::string(); }, "00000000"},
        Golden{"raw", [](auto& s) { s.write("\x01\x00\xff", 3); }, "0100ff"},
        Golden{"raw_empty", [](auto& s) { s.write(nullptr, 0); }, ""},
        Golden{"chain",
               [](auto& s) { s << static_cast<unsigned char>(1) << 2 << std::string("x") << 3UL; },
               "01"
               "02000000"
               "0100000078"
               "0300000000000000"}),
    [](const testing::TestParamInfo<Golden>& i) { return std::string(i.param.name); });

// A typed read with fewer bytes left than it needs throws the insufficient-data exception.
template <class T>
void expectShortReadThrows(std::size_t available) {
  SCOPED_TRACE(testing::Message() << typeid(T).name() << " with " << available << " bytes");
  const std::string bytes(8, '\x11');
  BinaryDeserializer d(bytes.data(), available);
  T v{};
  expectInsufficientData([&] { d >> v; });
}

TEST(BinaryDeserializer, ShortTypedReadsThrow) {
  expectShortReadThrows<unsigned char>(0);
  expectShortReadThrows<char>(0);
  expectShortReadThrows<int>(3);
  expectShortReadThrows<unsigned int>(3);
  expectShortReadThrows<long>(7);
  expectShortReadThrows<unsigned long>(7);
  expectShortReadThrows<std::string>(3);  // the length prefix
  expectShortReadThrows<std::string>(8);  // length 0x11111111 with 4 bytes left
}

TEST(BinaryDeserializer, ShortRawReadReportsWhatCame) {
  const std::string in = "abcde";
  BinaryDeserializer d(in.data(), in.size());
  char buf[8] = {};
  unsigned long done = 99;
  d.read(buf, 3, &done);
  EXPECT_EQ(done, 3u);
  d.read(buf, 8, &done);
  EXPECT_EQ(done, 2u);
  EXPECT_EQ(std::string(buf, 2), "de");
  d.read(buf, 8, &done);
  EXPECT_EQ(done, 0u);
}

TEST(Deserializer, DefaultReadStringExactSizeThrowsOnShortInput) {
  const std::string in = "abc";
  BinaryDeserializer d(in.data(), in.size());
  char buf[4];
  expectInsufficientData([&] { d.readStringExactSize(buf, 4); });

  BinaryDeserializer exact(in.data(), in.size());
  exact.readStringExactSize(buf, 3);
  EXPECT_EQ(std::string(buf, 3), "abc");
  exact.readStringExactSize(buf, 0);  // nothing asked, nothing missing
}

// --- StreamOutput ------------------------------------------------------------------------------

TEST(StreamOutput, TextForms) {
  struct Case {
    const char* name;
    std::function<void(SerializerInterface&)> write;
    std::string text;
  };
  const Case cases[] = {
      {"char is the byte alone", [](auto& s) { s << 'x'; }, "x"},
      {"uchar is the byte and a blank", [](auto& s) { s << static_cast<unsigned char>('y'); },
       "y "},
      {"uchar keeps non-printing bytes", [](auto& s) { s << static_cast<unsigned char>(7); },
       std::string("\x07 ")},
      {"uint is decimal and a blank", [](auto& s) { s << 4294967295u; }, "4294967295 "},
      {"int", [](auto& s) { s << -5; }, "-5 "},
      {"long", [](auto& s) { s << LONG_MIN; }, "-9223372036854775808 "},
      {"ulong", [](auto& s) { s << 18446744073709551615UL; }, "18446744073709551615 "},
      {"string is length, blank, bytes", [](auto& s) { s << std::string("a b"); }, "3 a b"},
      {"raw is verbatim", [](auto& s) { s.write("q\0r", 3); }, std::string("q\0r", 3)},
      {"chain", [](auto& s) { s << 'a' << static_cast<unsigned char>('b') << 7u << 'c'; },
       "ab 7 c"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::ostringstream os;
    VorexUtils::StreamOutput out(os);
    c.write(out);
    EXPECT_EQ(os.str(), c.text);
  }
}

TEST(StreamOutput, FormIgnoresTheStreamsFormatting) {
  std::ostringstream os;
  os << std::hex << std::showbase << std::uppercase;
  os.width(10);
  VorexUtils::StreamOutput out(os);
  out << 255u << -16 << 4096UL << std::string("ab");
  EXPECT_EQ(os.str(), "255 -16 4096 2 ab");
}

}  // namespace
