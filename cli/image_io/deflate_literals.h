// A Deflate coder that codes every byte as a literal: no search for repeated
// strings, only a Huffman code made for each block of the input. On 16-bit
// samples after the horizontal predictor, where repeats are short and rare,
// it gives files about a tenth larger than libdeflate's fastest level at
// several times its speed. Any Deflate reader reads the stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace ortavel::cli {

// Bytes coded with one Huffman code; each block's code costs about 150 bytes.
inline constexpr std::size_t kLiteralBlockBytes = std::size_t{1} << 18;

// The most bytes zlibLiterals writes for `n` bytes in, room to spare included.
std::size_t zlibLiteralsBound(std::size_t n);

// `in` as a zlib stream (RFC 1950 around RFC 1951), as TIFF's Deflate
// compression stores a strip, written to `out`, which holds
// zlibLiteralsBound(in.size()) bytes. Returns the stream's length.
std::size_t zlibLiterals(std::span<const std::uint8_t> in, std::uint8_t *out);
// The same into a vector of its own.
std::vector<std::uint8_t> zlibLiterals(std::span<const std::uint8_t> in);

// Lengths of a prefix code for `freq`, none longer than `limit` bits (at most
// 15), written to `lengths` (as many as `freq`). Symbols of frequency 0 get
// no code, except that at least two symbols always get one, so that the code
// is complete; `freq` has at least two and at most 288 symbols, and 2^limit is
// at least the number of symbols that get a code. Exposed for its tests.
void huffmanLengths(std::span<const std::uint32_t> freq, int limit,
                    std::span<std::uint8_t> lengths);

}  // namespace ortavel::cli
