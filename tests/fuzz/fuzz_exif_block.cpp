// libFuzzer target for the command's EXIF block: reading the camera tags from
// any bytes (with and without the "Exif\0\0" prefix) never reads outside them,
// and the block written from what was read reads back the same tags.
#include <cmath>
#include <cstdint>
#include <span>
#include <vector>

#include "image_io/exif_block.h"

namespace {

void Require(bool ok) {
  if (!ok) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace ortavel::cli;
  // Exactly sized, so that a read past the end is caught.
  const std::vector<std::uint8_t> bytes(data, data + size);
  const std::span<const std::uint8_t> block(bytes);
  const std::span<const std::uint8_t> bare = stripExifPrefix(block);
  Require(bare.data() >= block.data() && bare.data() + bare.size() == block.data() + block.size());
  const CameraTags tags = readCameraTags(bare);

  const std::vector<std::uint8_t> written = buildExifBlock(tags);
  const CameraTags back = readCameraTags(written);
  Require(back.make == tags.make && back.model == tags.model);
  // A focal length is stored as a rational: it need only come back when the
  // one read was a usable number.
  if (tags.focalLengthMm && std::isfinite(*tags.focalLengthMm) && *tags.focalLengthMm > 0 &&
      *tags.focalLengthMm < 1e6) {
    Require(back.focalLengthMm.has_value());
  }
  return 0;
}
