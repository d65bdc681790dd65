// The literal-only Deflate coder: every stream must inflate, with zlib and
// with libdeflate, to exactly its input, over the sizes around its blocks and
// the byte statistics that push its Huffman codes to their limits; and it must
// compress as well as a Huffman code can.
#include <gtest/gtest.h>
#include <libdeflate.h>
#include <zlib.h>

#include <cmath>
#include <cstdint>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "image_io/deflate_literals.h"

using namespace ortavel::cli;

namespace {

// Inflates with both libraries; any mismatch, bad stream or bad checksum
// fails the test with what was coded.
void expectInflatesTo(const std::vector<std::uint8_t> &in, const std::string &what) {
  const std::vector<std::uint8_t> z = zlibLiterals(in);
  std::vector<std::uint8_t> back(in.size() + 1);
  uLongf got = back.size();
  ASSERT_EQ(uncompress(back.data(), &got, z.data(), z.size()), Z_OK) << what;
  ASSERT_EQ(got, in.size()) << what;
  EXPECT_TRUE(std::equal(in.begin(), in.end(), back.begin())) << what;

  libdeflate_decompressor *d = libdeflate_alloc_decompressor();
  ASSERT_NE(d, nullptr);
  std::size_t actual = 0;
  std::fill(back.begin(), back.end(), std::uint8_t{0});
  const libdeflate_result r =
      libdeflate_zlib_decompress(d, z.data(), z.size(), back.data(), back.size(), &actual);
  libdeflate_free_decompressor(d);
  ASSERT_EQ(r, LIBDEFLATE_SUCCESS) << what;
  ASSERT_EQ(actual, in.size()) << what;
  EXPECT_TRUE(std::equal(in.begin(), in.end(), back.begin())) << what;
}

// Kraft's sum of the lengths, in units of 2^-15: exactly 2^15 for a complete
// prefix code.
std::uint64_t kraft(const std::vector<std::uint8_t> &lengths) {
  std::uint64_t sum = 0;
  for (std::uint8_t l : lengths)
    if (l != 0) sum += std::uint64_t{1} << (15 - l);
  return sum;
}

}  // namespace

TEST(DeflateLiterals, StreamsInflateToTheirInputAroundEveryBlockEdge) {
  std::mt19937 rng(7);
  const std::size_t block = kLiteralBlockBytes;
  for (std::size_t n : {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{3},
                        std::size_t{4}, block - 1, block, block + 1, 2 * block + 3}) {
    std::vector<std::uint8_t> random(n);
    for (auto &b : random) b = static_cast<std::uint8_t>(rng());
    expectInflatesTo(random, "random, " + std::to_string(n) + " bytes");
    // One value only: the end-of-block code is the block's only other symbol.
    expectInflatesTo(std::vector<std::uint8_t>(n, 0xA5), "constant, " + std::to_string(n));
  }
  // Every byte value equally often: 257 symbols that need 9-bit codes.
  std::vector<std::uint8_t> uniform(256 * 1000);
  for (std::size_t i = 0; i < uniform.size(); ++i) uniform[i] = static_cast<std::uint8_t>(i);
  expectInflatesTo(uniform, "uniform");
}

TEST(DeflateLiterals, SkewedBytesGetCodesNoLongerThanFifteenBits) {
  // Counts growing like the Fibonacci numbers give Huffman's tree one symbol
  // per level. With the end-of-block code's count of 1 in front, 1, 1, 2, 3,
  // 5 and on, 24 byte values would need codes of 24 bits, which a Deflate
  // reader refuses.
  std::vector<std::uint8_t> bytes;
  std::uint64_t a = 1;
  std::uint64_t b = 2;
  for (int v = 0; v < 24; ++v) {
    bytes.insert(bytes.end(), a, static_cast<std::uint8_t>(v * 9));
    const std::uint64_t c = a + b;
    a = b;
    b = c;
  }
  ASSERT_LT(bytes.size(), kLiteralBlockBytes);  // one block, one code
  std::shuffle(bytes.begin(), bytes.end(), std::mt19937(3));
  expectInflatesTo(bytes, "Fibonacci counts");

  std::vector<std::uint32_t> freq(257, 0);
  for (std::uint8_t v : bytes) ++freq[v];
  freq[256] = 1;
  std::vector<std::uint8_t> lengths(257);
  huffmanLengths(freq, 15, lengths);
  EXPECT_LE(*std::max_element(lengths.begin(), lengths.end()), 15);
  EXPECT_EQ(kraft(lengths), std::uint64_t{1} << 15);
  for (std::size_t s = 0; s < freq.size(); ++s)
    EXPECT_EQ(lengths[s] != 0, freq[s] != 0) << "symbol " << s;
}

TEST(DeflateLiterals, HuffmanLengthsAreOptimalAndComplete) {
  // Frequencies 1, 1, 2, 4: the textbook tree, of depths 3, 3, 2, 1.
  std::vector<std::uint8_t> lengths(5);
  huffmanLengths(std::vector<std::uint32_t>{1, 1, 2, 4, 0}, 15, lengths);
  EXPECT_EQ(lengths, (std::vector<std::uint8_t>{3, 3, 2, 1, 0}));
  // The same within 2 bits: flattened to four codes of 2 bits.
  huffmanLengths(std::vector<std::uint32_t>{1, 1, 2, 4, 0}, 2, lengths);
  EXPECT_EQ(lengths, (std::vector<std::uint8_t>{2, 2, 2, 2, 0}));
  // One symbol alone still gets a complete code: a partner of one bit.
  huffmanLengths(std::vector<std::uint32_t>{0, 0, 9, 0, 0}, 15, lengths);
  EXPECT_EQ(kraft(lengths), std::uint64_t{1} << 15);
  EXPECT_EQ(lengths[2], 1);
  EXPECT_EQ(std::count(lengths.begin(), lengths.end(), 1), 2);
}

TEST(DeflateLiterals, CompressesWithinOneBitAByteOfTheEntropy) {
  // Bytes the way 16-bit differences come: high bytes mostly 0 or 255,
  // low bytes spread around 0.
  std::mt19937 rng(11);
  std::normal_distribution<double> noise(0.0, 40.0);
  std::vector<std::uint8_t> bytes(3 * kLiteralBlockBytes);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto d = static_cast<std::uint16_t>(static_cast<std::int16_t>(std::lround(noise(rng))));
    bytes[i] = static_cast<std::uint8_t>(d);
    bytes[i + 1] = static_cast<std::uint8_t>(d >> 8);
  }
  double entropyBits = 0;
  for (std::size_t at = 0; at < bytes.size(); at += kLiteralBlockBytes) {
    std::vector<double> count(256, 0.0);
    for (std::size_t i = at; i < at + kLiteralBlockBytes; ++i) ++count[bytes[i]];
    for (double c : count)
      if (c > 0) entropyBits -= c * std::log2(c / kLiteralBlockBytes);
  }
  const std::size_t coded = zlibLiterals(bytes).size();
  // Huffman codes take less than one bit a byte over the entropy; each block
  // adds its code (at most 259 lengths of 7 bits and a little more), and the
  // zlib wrapper 6 bytes.
  const double bound = (entropyBits + static_cast<double>(bytes.size())) / 8 + 3 * 260 + 6;
  EXPECT_LE(static_cast<double>(coded), bound);
  // And the bytes are worth coding: well under their own size.
  EXPECT_LT(coded, bytes.size() * 3 / 4);
  expectInflatesTo(bytes, "16-bit differences");
}
