// libFuzzer target for the TIFF writer's literal-only Deflate coder: whatever
// the bytes, the stream must inflate with zlib to exactly those bytes. Small
// inputs with lopsided byte counts are where a Huffman code goes wrong.
#include <zlib.h>

#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "image_io/deflate_literals.h"

namespace {

void Require(bool ok) {
  if (!ok) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const std::vector<std::uint8_t> z = ortavel::cli::zlibLiterals(std::span(data, size));
  Require(z.size() <= ortavel::cli::zlibLiteralsBound(size));
  std::vector<std::uint8_t> back(size + 1);
  uLongf got = back.size();
  Require(uncompress(back.data(), &got, z.data(), z.size()) == Z_OK);
  Require(got == size);
  Require(size == 0 || std::memcmp(back.data(), data, size) == 0);
  return 0;
}
