// Bulk read and write against the bit-layout reference, for every width x start within and
// across words x count (head only, head + groups + tail, exactly at the end of the data).
// The read gets exactly the words its values occupy (no spare word), so a read past the last
// word is caught by ASan; the write is checked bit for bit outside its range.
#include <gtest/gtest.h>

#include <random>

#include "VorexUtils/IndexVectorRef.hpp"
#include "VorexUtils/MgetBuffer.hpp"
#include "tests/VorexUtils/PackedReference.hpp"

using VorexUtils::IndexVectorRef;

namespace {

const unsigned long kCounts[] = {0,   1,   2,   3,   5,   15,  16,  17,   31,  32,
                                 33,  63,  64,  65,  66,  96,  127, 128,  129, 130,
                                 191, 192, 193, 255, 256, 257, 500, 1000, 1025};

class BulkTest : public testing::TestWithParam<unsigned> {
 protected:
  std::mt19937_64 rng{GetParam() * 7919u + 1};
};

TEST_P(BulkTest, MgetGenericEqualsTheReference) {
  const unsigned bits = GetParam();
  const unsigned long maxEnd = 4095 + 1025;
  const auto stream = packed_ref::randomWords(packed_ref::words(bits, maxEnd), rng);
  std::vector<std::uint32_t> ref(maxEnd);
  for (unsigned long i = 0; i < maxEnd; ++i) ref[i] = packed_ref::get(stream.data(), bits, i);

  std::vector<unsigned long> froms;
  for (unsigned long f = 0; f <= 67; ++f) froms.push_back(f);
  froms.insert(froms.end(), {100, 127, 128, 129, 1000, 4095});
  for (unsigned long from : froms) {
    for (unsigned long count : kCounts) {
      SCOPED_TRACE(testing::Message() << "from " << from << " count " << count);
      const std::vector<std::uint64_t> exact(
          stream.begin(), stream.begin() + long(packed_ref::words(bits, from + count)));
      std::vector<unsigned> out(count + 1, 0xA5A5A5A5u);
      VorexUtils::mgetGeneric(from, count, out.data(), bits, exact.data(),
                              packed_ref::maskOf(bits));
      ASSERT_EQ(out.back(), 0xA5A5A5A5u) << "wrote past count";
      for (unsigned long k = 0; k < count; ++k) ASSERT_EQ(out[k], ref[from + k]) << k;
    }
  }
  // The member goes through the selected slot and a stack buffer, over foreign words.
  IndexVectorRef view(stream.data(), bits);
  VorexUtils::MgetStackBuffer<1024, unsigned int> buf;
  for (unsigned long from : {0ul, 5ul, 64ul, 3000ul}) {
    view.mget(from, 1024, buf);
    for (unsigned k = 0; k < 1024; ++k) ASSERT_EQ(buf.getPtr()[k], ref[from + k]);
  }
}

// Runs one write at [from, from + count) of a stream that ends `extra` values behind it and
// compares every bit of the stream (the spare word excepted) with the reference.
template <class Write>
void checkWrite(std::mt19937_64& rng, unsigned bits, unsigned long from, unsigned long count,
                unsigned long extra, const std::vector<std::uint32_t>& values, Write write) {
  const unsigned long n = from + count + extra;
  const std::size_t used = packed_ref::words(bits, n);
  auto words = packed_ref::randomWords(used + 1, rng);
  auto expect = words;
  for (unsigned long k = 0; k < count; ++k)
    packed_ref::put(expect.data(), bits, from + k, values[k]);
  IndexVectorRef v(words.data(), bits);
  write(v);
  words.pop_back();
  expect.pop_back();
  ASSERT_EQ(words, expect);
}

TEST_P(BulkTest, MsetBothFormsEqualTheReference) {
  const unsigned bits = GetParam();
  const unsigned long froms[] = {0, 1, 2, 31, 32, 33, 61, 62, 63, 64, 65, 100, 127, 128, 129, 1000};
  for (unsigned long from : froms) {
    for (unsigned long count : kCounts) {
      SCOPED_TRACE(testing::Message() << "from " << from << " count " << count);
      const unsigned long extra = (from + count) % 2 ? 0 : 37;  // at the end, or inside
      std::vector<std::uint32_t> values(count);
      for (auto& x : values) x = std::uint32_t(rng()) & packed_ref::maskOf(bits);
      checkWrite(rng, bits, from, count, extra, values,
                 [&](IndexVectorRef& v) { v.mset(from, count, values.data()); });
      const std::uint32_t fill = std::uint32_t(rng()) & packed_ref::maskOf(bits);
      const std::vector<std::uint32_t> fills(count, fill);
      checkWrite(rng, bits, from, count, extra, fills,
                 [&](IndexVectorRef& v) { v.mset(from, count, fill); });
      if (HasFailure()) return;
    }
  }
  // Fills around the single-value threshold and a long one: head, full chunks, short chunk,
  // tail of the array form.
  for (unsigned long count : {99ul, 100ul, 101ul, 64ul * 40 + 1000}) {
    SCOPED_TRACE(count);
    const std::uint32_t fill = packed_ref::maskOf(bits) & 0x5A5A5A5Au;
    checkWrite(rng, bits, 13, count, 5, std::vector<std::uint32_t>(count, fill),
               [&](IndexVectorRef& v) { v.mset(13, count, fill); });
  }
}

INSTANTIATE_TEST_SUITE_P(AllWidths, BulkTest, testing::Range(0u, 33u));

// In the body, values are or-ed into whole words unmasked: a wider value reaches the next one.
TEST(MsetTest, BodyDoesNotMaskEither) {
  std::vector<std::uint64_t> w(16, 0);
  IndexVectorRef v(w.data(), 4);
  std::vector<unsigned> in(64, 0);
  in[10] = 0x1F;  // five bits at width 4
  v.mset(0, 64, in.data());
  EXPECT_EQ(v.get(10), 0xFu);
  EXPECT_EQ(v.get(11), 1u);
  // At width 0 the array form stores nothing in the body, and the fill form nothing at all.
  std::uint64_t z[2] = {0, 0};
  IndexVectorRef zero(z, 0);
  zero.mset(0, 64, in.data());
  zero.mset(0, 1000, 7u);
  EXPECT_EQ(z[0], 0u);
}

// VectorWrapper grows the wrapped list exactly and refreshes its view.
TEST(VectorWrapperTest, ResizeWithoutInitialisation) {
  ltt::vector<unsigned int> list;
  VectorWrapper w(list);
  EXPECT_EQ(w.m_Ptr, nullptr);
  EXPECT_EQ(w.m_Size, 0u);
  w.vector_resize_noinit(10);
  EXPECT_EQ(w.size(), 10u);
  EXPECT_EQ(list.size(), 10u);
  EXPECT_EQ(list.capacity(), 10u);
  EXPECT_EQ(w.m_Ptr, list.data());
  w[9] = 99;
  w.vector_resize_noinit(3);
  EXPECT_EQ(list.capacity(), 10u);
  EXPECT_EQ(w.m_Size, 3u);
  EXPECT_THROW(w.vector_resize_noinit(list.max_size() + 1), ltt::exception);
  EXPECT_EQ(w.m_Size, 3u);
  EXPECT_EQ(list.size(), 3u);
}

}  // namespace
