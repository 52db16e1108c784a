#include "Streaming/Serializer.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "VOREX_ERROR/VorexError.hpp"
#include "VorexUtils/Serializer.hpp"
#include "ltt/exception.hpp"

namespace {

template <class S>
void writeSample(S& s) {
  s << static_cast<unsigned char>(0x81) << 'c' << INT_MIN << 0xFEDCBA98u << LONG_MIN
    << 0x0123456789ABCDEFUL << std::string("na\0me", 5) << std::string();
  s.write("\x00\x01", 2);
}

// Both families write one byte image and each reads what the other wrote.
TEST(StreamingSerializer, InteroperatesWithTheUtilsFamily) {
  std::string viaUtils, viaStreaming;
  VorexUtils::BinarySerializer u(viaUtils);
  writeSample(static_cast<VorexUtils::SerializerInterface&>(u));
  Streaming::BinarySerializer s(viaStreaming);
  writeSample(static_cast<Streaming::Serializer&>(s));
  EXPECT_EQ(viaStreaming, viaUtils);
  EXPECT_EQ(viaStreaming.size(), 1 + 1 + 4 + 4 + 8 + 8 + 9 + 4 + 2u);

  Streaming::BinaryDeserializer d(viaUtils.data(), viaUtils.size());
  unsigned char uc;
  char c;
  int i;
  unsigned int ui;
  long l;
  unsigned long ul;
  std::string name, empty;
  static_cast<Streaming::Deserializer&>(d) >> uc >> c >> i >> ui >> l >> ul >> name >> empty;
  EXPECT_EQ(uc, 0x81);
  EXPECT_EQ(c, 'c');
  EXPECT_EQ(i, INT_MIN);
  EXPECT_EQ(ui, 0xFEDCBA98u);
  EXPECT_EQ(l, LONG_MIN);
  EXPECT_EQ(ul, 0x0123456789ABCDEFUL);
  EXPECT_EQ(name, std::string("na\0me", 5));
  EXPECT_EQ(empty, "");
  char raw[4];
  unsigned long done = 0;
  d.read(raw, sizeof raw, &done);
  EXPECT_EQ(done, 2u);
  EXPECT_EQ(d.remaining(), 0u);
  try {
    d >> i;
    FAIL() << "no exception";
  } catch (const ltt::exception& e) {
    EXPECT_EQ(e.code(), 70000000 + VOREX_ERROR::VOREX_KLTRC_INSUFFICIENT_DATA);
  }
}

}  // namespace
