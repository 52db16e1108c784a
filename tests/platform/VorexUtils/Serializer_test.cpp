#include "VorexUtils/Serializer.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <sstream>
#include <string>
#include <typeinfo>

#include "VOREX_ERROR/VorexError.hpp"
#include "ltt/exception.hpp"

namespace {

using VorexUtils::BinaryDeserializer;
using VorexUtils::BinarySerializer;
using VorexUtils::SerializerInterface;
using Write = std::function<void(SerializerInterface&)>;

std::string hex(const std::string& bytes) {
  std::string out;
  for (unsigned char c : bytes) {
    out += "0123456789abcdef"[c >> 4];
    out += "0123456789abcdef"[c & 15];
  }
  return out;
}

template <class F>
void expectInsufficientData(F&& f) {
  try {
    f();
    ADD_FAILURE() << "no exception";
  } catch (const ltt::exception& e) {
    EXPECT_EQ(e.code(), 70000000 + VOREX_ERROR::VOREX_KLTRC_INSUFFICIENT_DATA);
    EXPECT_STREQ(e.what(), VOREX_ERROR::GetMsg(VOREX_ERROR::VOREX_KLTRC_INSUFFICIENT_DATA));
  }
}

// Every primitive against its hand-written byte image (binary) and text form (stream output,
// whose form must not depend on the stream's formatting flags).
TEST(Serializer, BinaryAndTextForms) {
  using UC = unsigned char;
  struct Case {
    const char* name;
    Write write;
    const char* hex;
    std::string text;
  };
  const Case cases[] = {
      {"uchar", [](auto& s) { s << UC(0xAB); }, "ab", "\xab "},
      {"char", [](auto& s) { s << 'A'; }, "41", "A"},
      {"char_negative", [](auto& s) { s << static_cast<char>(-1); }, "ff", "\xff"},
      {"int", [](auto& s) { s << 0x01020304; }, "04030201", "16909060 "},
      {"int_negative", [](auto& s) { s << -2; }, "feffffff", "-2 "},
      {"int_min", [](auto& s) { s << INT_MIN; }, "00000080", "-2147483648 "},
      {"uint", [](auto& s) { s << 0xDEADBEEFu; }, "efbeadde", "3735928559 "},
      {"long", [](auto& s) { s << LONG_MIN; }, "0000000000000080", "-9223372036854775808 "},
      {"long_max", [](auto& s) { s << LONG_MAX; }, "ffffffffffffff7f", "9223372036854775807 "},
      {"ulong", [](auto& s) { s << 0x0102030405060708UL; }, "0807060504030201",
       "72623859790382856 "},
      {"string", [](auto& s) { s << std::string("a\0c", 3); }, "03000000610063",
       std::string("3 a\0c", 5)},
      {"string_empty", [](auto& s) { s << std::string(); }, "00000000", "0 "},
      {"raw", [](auto& s) { s.write("\x01\x00\xff", 3); }, "0100ff",
       std::string("\x01\x00\xff", 3)},
      {"raw_empty", [](auto& s) { s.write(nullptr, 0); }, "", ""},
      {"chain", [](auto& s) { s << UC(1) << 2 << std::string("x") << 3UL << 'c'; },
       "01"
       "02000000"
       "0100000078"
       "0300000000000000"
       "63",
       "\x01 2 1 x3 c"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string out;
    BinarySerializer bin(out);
    c.write(bin);
    EXPECT_EQ(hex(out), c.hex);
    std::ostringstream os;
    os << std::hex << std::showbase << std::uppercase;
    os.width(10);
    VorexUtils::StreamOutput text(os);
    c.write(text);
    EXPECT_EQ(os.str(), c.text);
  }
}

template <class T>
void expectShortReadThrows(std::size_t available) {
  SCOPED_TRACE(testing::Message() << typeid(T).name() << " with " << available << " bytes");
  const std::string bytes(8, '\x11');
  BinaryDeserializer d(bytes.data(), available);
  T v{};
  expectInsufficientData([&] { d >> v; });
}

TEST(BinaryDeserializer, ShortReadsThrowOrReportWhatCame) {
  expectShortReadThrows<unsigned char>(0);
  expectShortReadThrows<char>(0);
  expectShortReadThrows<int>(3);
  expectShortReadThrows<unsigned int>(3);
  expectShortReadThrows<long>(7);
  expectShortReadThrows<unsigned long>(7);
  expectShortReadThrows<std::string>(3);  // the length prefix
  expectShortReadThrows<std::string>(8);  // length 0x11111111 with 4 bytes left

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

  BinaryDeserializer shortIn(in.data(), 3), exact(in.data(), 3);
  expectInsufficientData([&] { shortIn.readStringExactSize(buf, 4); });
  exact.readStringExactSize(buf, 3);
  EXPECT_EQ(std::string(buf, 3), "abc");
  exact.readStringExactSize(buf, 0);  // nothing asked, nothing missing
}

}  // namespace
