#include "image_io/deflate_literals.h"

#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <utility>

namespace ortavel::cli {
namespace {

constexpr int kMaxSymbols = 288;
constexpr int kLiterals = 257;     // bytes 0..255 and the end of a block, 256
constexpr int kDistanceCodes = 2;  // never used; two of one bit make a complete code
constexpr int kCodeLengthCodes = 19;
// The order in which a block's header gives the code-length code's lengths.
constexpr std::array<std::uint8_t, kCodeLengthCodes> kCodeLengthOrder = {
    16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};

// Canonical codes for `lengths`, bit-reversed, since Deflate sends a code's
// first bit first into the low end of each byte.
void canonicalCodes(std::span<const std::uint8_t> lengths, std::span<std::uint32_t> codes) {
  std::array<std::uint32_t, 16> count{};
  for (std::uint8_t l : lengths) ++count[l];
  count[0] = 0;
  std::array<std::uint32_t, 16> next{};
  std::uint32_t code = 0;
  for (std::size_t bits = 1; bits < 16; ++bits) {
    code = (code + count[bits - 1]) << 1;
    next[bits] = code;
  }
  for (std::size_t s = 0; s < lengths.size(); ++s) {
    const unsigned bits = lengths[s];
    if (bits == 0) continue;
    std::uint32_t v = next[bits]++;
    std::uint32_t reversed = 0;
    for (unsigned b = 0; b < bits; ++b, v >>= 1) reversed = (reversed << 1) | (v & 1u);
    codes[s] = reversed;
  }
}

// Bits out, first bit lowest. Between two flushes at most 56 bits may be put.
// A flush stores the whole buffer as it lies in memory, which is the stream's
// byte order only on a little-endian processor.
static_assert(std::endian::native == std::endian::little);
class BitSink {
 public:
  explicit BitSink(std::uint8_t *out) : out_(out) {}
  void put(std::uint32_t bits, unsigned count) {
    buffer_ |= static_cast<std::uint64_t>(bits) << pending_;
    pending_ += count;
  }
  // Writes all eight bytes of the buffer (the caller leaves room) and keeps
  // the bits that do not yet make a whole byte.
  void flush() {
    std::memcpy(out_, &buffer_, sizeof buffer_);
    out_ += pending_ >> 3;
    buffer_ >>= pending_ & ~7u;  // at most 56: fewer than 64 bits are ever pending
    pending_ &= 7u;
  }
  void toByte() {
    pending_ = (pending_ + 7u) & ~7u;
    flush();
  }
  std::uint8_t *end() const { return out_; }

 private:
  std::uint8_t *out_;
  std::uint64_t buffer_ = 0;
  unsigned pending_ = 0;
};

// One dynamic-Huffman block of literals, closed by its end-of-block code.
void codeBlock(std::span<const std::uint8_t> block, bool last, BitSink &sink) {
  // Four tables, so that runs of one byte value do not wait on one counter.
  std::array<std::array<std::uint32_t, 256>, 4> counts{};
  const std::uint8_t *s = block.data();
  const std::size_t n = block.size();
  std::size_t i = 0;
  for (; i + 4 <= n; i += 4) {
    ++counts[0][s[i]];
    ++counts[1][s[i + 1]];
    ++counts[2][s[i + 2]];
    ++counts[3][s[i + 3]];
  }
  for (; i < n; ++i) ++counts[0][s[i]];
  std::array<std::uint32_t, kLiterals> freq{};
  for (int b = 0; b < 256; ++b) freq[b] = counts[0][b] + counts[1][b] + counts[2][b] + counts[3][b];
  freq[256] = 1;

  std::array<std::uint8_t, kLiterals + kDistanceCodes> lengths{};
  huffmanLengths(freq, 15, std::span(lengths).first(kLiterals));
  lengths[kLiterals] = 1;
  lengths[kLiterals + 1] = 1;

  std::array<std::uint32_t, kCodeLengthCodes> lengthFreq{};
  for (std::uint8_t l : lengths) ++lengthFreq[l];
  std::array<std::uint8_t, kCodeLengthCodes> lengthLengths{};
  huffmanLengths(lengthFreq, 7, lengthLengths);
  std::array<std::uint32_t, kCodeLengthCodes> lengthCodes{};
  canonicalCodes(lengthLengths, lengthCodes);
  int sent = kCodeLengthCodes;
  while (sent > 4 && lengthLengths[kCodeLengthOrder[sent - 1]] == 0) --sent;

  sink.put(last ? 1u : 0u, 1);
  sink.put(2, 2);  // dynamic Huffman codes
  sink.put(kLiterals - 257, 5);
  sink.put(kDistanceCodes - 1, 5);
  sink.put(static_cast<std::uint32_t>(sent - 4), 4);
  sink.flush();
  for (int k = 0; k < sent; ++k) {
    sink.put(lengthLengths[kCodeLengthOrder[k]], 3);
    sink.flush();
  }
  for (std::uint8_t l : lengths) {
    sink.put(lengthCodes[l], lengthLengths[l]);
    sink.flush();
  }

  std::array<std::uint32_t, kLiterals> codes{};
  canonicalCodes(std::span(lengths).first(kLiterals), codes);
  // Code and length in one word: one load a byte.
  std::array<std::uint32_t, 256> table{};
  for (int b = 0; b < 256; ++b) table[b] = codes[b] | static_cast<std::uint32_t>(lengths[b]) << 16;
  i = 0;
  // Three codes of at most 15 bits fit beside the 7 a flush may leave.
  for (; i + 3 <= n; i += 3) {
    const std::uint32_t a = table[s[i]];
    const std::uint32_t b = table[s[i + 1]];
    const std::uint32_t c = table[s[i + 2]];
    sink.put(a & 0xffffu, a >> 16);
    sink.put(b & 0xffffu, b >> 16);
    sink.put(c & 0xffffu, c >> 16);
    sink.flush();
  }
  for (; i < n; ++i) {
    sink.put(table[s[i]] & 0xffffu, table[s[i]] >> 16);
    sink.flush();
  }
  sink.put(codes[256], lengths[256]);
  sink.flush();
}

}  // namespace

void huffmanLengths(std::span<const std::uint32_t> freq, int limit,
                    std::span<std::uint8_t> lengths) {
  const int symbols = static_cast<int>(std::min<std::size_t>(freq.size(), kMaxSymbols));
  std::array<std::uint32_t, kMaxSymbols> f{};
  std::copy_n(freq.begin(), symbols, f.begin());
  int used = 0;
  for (int s = 0; s < symbols; ++s) used += f[s] != 0 ? 1 : 0;
  for (int s = 0; s < symbols && used < 2; ++s)
    if (f[s] == 0) {
      f[s] = 1;
      ++used;
    }
  std::fill(lengths.begin(), lengths.end(), std::uint8_t{0});
  // Huffman's construction with two queues: the leaves sorted by weight, and
  // the merged nodes, which come out in order of weight by themselves.
  std::array<std::pair<std::uint32_t, int>, kMaxSymbols> leaves{};
  std::array<std::uint64_t, 2 * kMaxSymbols> weight{};
  std::array<int, 2 * kMaxSymbols> parent{};
  std::array<int, 2 * kMaxSymbols> depth{};
  for (;;) {
    int m = 0;
    for (int s = 0; s < symbols; ++s)
      if (f[s] != 0) leaves[m++] = {f[s], s};
    std::sort(leaves.begin(), leaves.begin() + m);
    for (int k = 0; k < m; ++k) weight[k] = leaves[k].first;
    int leaf = 0;
    int merged = m;
    int nodes = m;
    auto lightest = [&] {
      if (leaf < m && (merged >= nodes || weight[leaf] <= weight[merged])) return leaf++;
      return merged++;
    };
    while (nodes < 2 * m - 1) {
      const int a = lightest();
      const int b = lightest();
      weight[nodes] = weight[a] + weight[b];
      parent[a] = nodes;
      parent[b] = nodes;
      ++nodes;
    }
    // Parents come after their children, so one pass down from the root.
    depth[2 * m - 2] = 0;
    int deepest = 0;
    for (int k = 2 * m - 3; k >= 0; --k) {
      depth[k] = depth[parent[k]] + 1;
      if (k < m) deepest = std::max(deepest, depth[k]);
    }
    if (deepest <= limit) {
      for (int k = 0; k < m; ++k) lengths[leaves[k].second] = static_cast<std::uint8_t>(depth[k]);
      return;
    }
    // Too deep: flatten the weights and build again. Halving (never to zero)
    // brings all weights together within a few rounds, and equal weights
    // give a tree of depth 9 for 288 symbols. Once they are all 1 there is
    // nothing left to flatten: only a limit too small for the symbols gets
    // here, and it gets the balanced tree rather than a loop.
    bool flattened = false;
    for (int s = 0; s < symbols; ++s)
      if (f[s] > 1) {
        f[s] = (f[s] >> 1) | 1u;
        flattened = true;
      }
    if (!flattened) {
      for (int k = 0; k < m; ++k) lengths[leaves[k].second] = static_cast<std::uint8_t>(depth[k]);
      return;
    }
  }
}

std::size_t zlibLiteralsBound(std::size_t n) {
  // Codes are at most 15 bits a byte; each header at most 3 + 5 + 5 + 4 +
  // 19 x 3 + 259 x 7 bits; the sink may write 8 bytes past its end.
  return 2 + n * 15 / 8 + (n / kLiteralBlockBytes + 1) * 256 + 16;
}

std::size_t zlibLiterals(std::span<const std::uint8_t> in, std::uint8_t *out) {
  BitSink sink(out);
  sink.put(0x78, 8);  // Deflate with a 32 KiB window
  sink.put(0x01, 8);  // fastest; the check bits make 0x7801 a multiple of 31
  sink.flush();
  std::size_t at = 0;
  do {
    const std::size_t count = std::min(kLiteralBlockBytes, in.size() - at);
    codeBlock(in.subspan(at, count), at + count == in.size(), sink);
    at += count;
  } while (at < in.size());
  sink.toByte();
  const std::uint32_t adler = libdeflate_adler32(1, in.data(), in.size());
  std::uint8_t *tail = sink.end();
  for (int k = 0; k < 4; ++k) tail[k] = static_cast<std::uint8_t>(adler >> (24 - 8 * k));
  return static_cast<std::size_t>(tail + 4 - out);
}

std::vector<std::uint8_t> zlibLiterals(std::span<const std::uint8_t> in) {
  std::vector<std::uint8_t> out(zlibLiteralsBound(in.size()));
  out.resize(zlibLiterals(in, out.data()));
  return out;
}

}  // namespace ortavel::cli
