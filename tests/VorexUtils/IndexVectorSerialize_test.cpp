// The persisted form: golden bytes, round trips, every one of the eight layouts written by an
// encoder in this test from the layout definitions, and the failure paths with their traces.
#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>

#include "Diagnose/testing/TraceCapture.hpp"
#include "MemoryManager/TransientMetadataNUMAInfo.hpp"
#include "VOREX_ERROR/VorexError.hpp"
#include "VorexBase/TraceTopics.hpp"
#include "VorexUtils/IndexVector.hpp"
#include "VorexUtils/Serializer.hpp"
#include "ltt/exception.hpp"
#include "tests/VorexUtils/PackedReference.hpp"

using VorexUtils::IndexVector;

namespace {

std::string le(std::uint64_t v, unsigned bytes) {
  std::string s;
  for (unsigned i = 0; i < bytes; ++i) s.push_back(char((v >> (8 * i)) & 0xFF));
  return s;
}

std::string header(std::uint64_t size, unsigned field, unsigned length) {
  return le(size, 8) + le(field, 4) + le(length, 4);
}

IndexVector build(unsigned bits, const std::vector<std::uint32_t>& vals) {
  IndexVector v;
  v.setBits(bits);
  v.resize(vals.size());
  if (v.data()) std::memset(v.data(), 0, 8 * (v.capacityWords() + 1));
  for (std::size_t i = 0; i < vals.size(); ++i) v.set(i, vals[i]);
  return v;
}

std::vector<std::uint32_t> values(const IndexVector& v) {
  std::vector<std::uint32_t> out;
  for (unsigned long i = 0; i < v.size(); ++i) out.push_back(v.get(i));
  return out;
}

IndexVector load(const std::string& bytes) {
  VorexUtils::BinaryDeserializer d(bytes.data(), bytes.size());
  IndexVector v;
  v.deserialize(d);
  return v;
}

TEST(IndexVectorSerializeTest, GoldenForms) {
  std::string out;
  VorexUtils::BinarySerializer s(out);
  build(5, {1, 2, 3}).serialize(s);
  EXPECT_EQ(out, header(3, 0x605, 8) + le(1 | 2 << 5 | 3 << 10, 8));

  std::ostringstream text;
  VorexUtils::StreamOutput so(text);
  build(5, {1, 2, 3}).serialize(so);
  EXPECT_EQ(text.str(), "3 1541 8 " + le(0xC41, 8));

  out.clear();
  build(11, {}).serialize(s);
  EXPECT_EQ(out, header(0, 0x60B, 0));
  IndexVector empty = load(out);
  EXPECT_EQ(empty.size(), 0u);
  EXPECT_EQ(empty.bits(), 11u);
  EXPECT_EQ(empty.data(), nullptr);

  out.clear();
  build(0, std::vector<std::uint32_t>(7, 0)).serialize(s);
  EXPECT_EQ(out, header(7, 0x600, 8) + le(0, 8));
  IndexVector zero = load(out);
  EXPECT_EQ(zero.size(), 7u);
  EXPECT_EQ(zero.bits(), 0u);
}

// A deserializer with its own exact read is called through it.
class OwnExactRead final : public VorexUtils::BinaryDeserializer {
 public:
  using BinaryDeserializer::BinaryDeserializer;
  void readStringExactSize(char* data, unsigned long bytes) override {
    ++calls;
    BinaryDeserializer::readStringExactSize(data, bytes);
  }
  bool hasDefaultExactRead() const noexcept override { return false; }
  int calls = 0;
};

TEST(IndexVectorSerializeTest, RoundTripReplacesTheOldContent) {
  std::mt19937 rng(9);
  for (unsigned bits = 0; bits <= 32; ++bits) {
    SCOPED_TRACE(bits);
    std::vector<std::uint32_t> in(rng() % 300);
    for (auto& x : in) x = rng() & packed_ref::maskOf(bits);
    std::string out;
    VorexUtils::BinarySerializer s(out);
    build(bits, in).serialize(s);
    IndexVector target = build(7, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    OwnExactRead d(out.data(), out.size());
    target.deserialize(d);
    EXPECT_EQ(d.remaining(), 0u);
    EXPECT_EQ(d.calls, 1);
    EXPECT_EQ(target.bits(), bits);
    EXPECT_EQ(values(target), in);
  }
}

// Writes `vals` in layout `order` from the layout definitions: stream bit q lies in W-bit word
// q / W, at bit q % W from the bottom or W - 1 - q % W from the top; from the bottom a value's
// least significant bit comes first, from the top its most significant one. Words are emitted
// little- or big-endian.
std::string encode(const std::vector<std::uint32_t>& vals, unsigned bits, unsigned order) {
  const bool big = order & 1, wide = order & 2, bottom = order & 4;
  const unsigned W = wide ? 64 : 32;
  const std::uint64_t nbits = std::uint64_t{bits} * vals.size();
  std::vector<std::uint64_t> words((nbits + W - 1) / W, 0);
  for (std::size_t i = 0; i < vals.size(); ++i) {
    for (unsigned t = 0; t < bits; ++t) {
      const unsigned bit = bottom ? (vals[i] >> t) & 1 : (vals[i] >> (bits - 1 - t)) & 1;
      const std::uint64_t q = i * bits + t;
      const unsigned at = bottom ? q % W : W - 1 - q % W;
      words[q / W] |= std::uint64_t{bit} << at;
    }
  }
  std::string data;
  for (auto w : words) {
    for (unsigned b = 0; b < W / 8; ++b) {
      const unsigned shift = big ? (W / 8 - 1 - b) * 8 : b * 8;
      data.push_back(char((w >> shift) & 0xFF));
    }
  }
  return header(vals.size(), order << 8 | bits, unsigned(data.size())) + data;
}

TEST(IndexVectorSerializeTest, EveryLayoutConvertsToTheRunningOne) {
  std::mt19937 rng(21);
  for (unsigned order = 0; order < 8; ++order) {
    for (unsigned bits = 0; bits <= 32; ++bits) {
      for (std::size_t n : {1, 2, 3, 31, 63, 64, 65, 200}) {
        SCOPED_TRACE(testing::Message() << "order " << order << " bits " << bits << " n " << n);
        std::vector<std::uint32_t> in(n);
        for (auto& x : in) x = rng() & packed_ref::maskOf(bits);
        in[0] = packed_ref::maskOf(bits);  // all ones at the first crossing candidates
        if (n > 2) in[2] = packed_ref::maskOf(bits);
        IndexVector v = load(encode(in, bits, order));
        ASSERT_EQ(v.bits(), bits);
        ASSERT_EQ(values(v), in);
      }
    }
  }
}

TEST(IndexVectorSerializeTest, ConversionAndUnknownLayoutsAreTraced) {
  Diagnose::testing::TraceCapture cap({{TRACE_INDEXVECTOR, 3}});
  load(encode({1, 2, 3}, 5, VorexUtils::IV_BIG64l));
  load(encode({1, 2, 3}, 5, VorexUtils::IV_LITTLE64l));  // nothing to do: not traced
  EXPECT_EQ(cap.texts(TRACE_INDEXVECTOR).size(), 1u) << cap.dump();
  EXPECT_EQ(cap.count(TRACE_INDEXVECTOR, 3), 1u);
  try {
    load(header(3, 8 << 8 | 5, 8) + le(0xC41, 8));
    FAIL() << "accepted";
  } catch (const ltt::ios_base::failure& e) {
    EXPECT_STREQ(e.what(), "unknown IndexVector byte order");
  }
  // The conversion runs on the provisional size: 8 bytes hold 12 values of 5 bits.
  const auto texts = cap.texts(TRACE_INDEXVECTOR);
  ASSERT_GE(texts.size(), 2u) << cap.dump();
  EXPECT_EQ(texts[0], "converting from byteorder IV_BIG64l to IV_LITTLE64l, 5 bits, size 12");
  EXPECT_EQ(texts.back(),
            "found no way to convert byteorder UNKNOWN_BYTEORDER to IV_LITTLE64l, 5 bits, size 12");
  EXPECT_EQ(cap.count(TRACE_INDEXVECTOR, 1), 1u);
  // Without a stream there is nothing to misread.
  EXPECT_EQ(load(header(0, 8 << 8 | 5, 0)).bits(), 5u);
  EXPECT_EQ(load(header(9, 200 << 8, 8) + le(0, 8)).size(), 9u);
}

TEST(IndexVectorSerializeTest, ShortDataThrowsAfterReleasing) {
  const std::string full = encode({5, 6, 7, 8, 9}, 4, VorexUtils::IV_LITTLE64l);
  for (std::size_t cut : {std::size_t{0}, std::size_t{7}, full.size() - 1}) {
    SCOPED_TRACE(cut);
    IndexVector v = build(9, {1, 2, 3});
    VorexUtils::BinaryDeserializer d(full.data(), cut);
    try {
      v.deserialize(d);
      FAIL() << "accepted";
    } catch (const ltt::exception& e) {
      EXPECT_EQ(e.code(), 70000000 + VOREX_ERROR::VOREX_KLTRC_INSUFFICIENT_DATA);
      EXPECT_STREQ(e.what(), VOREX_ERROR::GetMsg(VOREX_ERROR::VOREX_KLTRC_INSUFFICIENT_DATA));
    }
    if (cut > 16) {  // the header was read: old content released, width taken
      EXPECT_EQ(v.bits(), 4u);
      EXPECT_EQ(v.capacityWords(), 1u);
    }
  }
}

TEST(IndexVectorSerializeTest, NumaMapCoversTheBuffer) {
  IndexVector v;
  v.resize(4096, 1);  // 2048 words, touched by the fill
  MemoryManager::TransientMetadataNUMAInfo info;
  v.getPageNumaLocationMap(info);
  EXPECT_GE(info.totalPages(), 4u);
  EXPECT_EQ(info.unknownPages(), 0u);
}

}  // namespace
