// TIFF strips compressed on every processor the process may use. libtiff
// compresses one strip after another on the writing thread; here each strip
// is packed and compressed on a worker thread, and the finished bytes are
// written in order as raw strips. At a level asked for, libtiff's own encoder
// compresses each strip in a private in-memory file, so a reader sees exactly
// the file libtiff would write. Deflate without a level is the fastest: the
// predictor applied here and every byte coded as a literal (deflate_literals.h).
#pragma once

#include <tiffio.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace ortavel::cli {

enum class TiffCompression { kNone, kDeflate, kLzw, kZstd };

// "none", "deflate", "lzw", "zstd".
std::optional<TiffCompression> tiffCompressionFromName(std::string_view name);
std::string_view tiffCompressionName(TiffCompression c);
// Whether this libtiff was built with the codec (zstd is optional).
bool tiffCompressionAvailable(TiffCompression c);

// The levels a codec takes: deflate 1..9, zstd 1..19 (zstd's "ultra" levels
// above 19 are meant for inputs far larger than a strip); {0, 0} for none and
// lzw, which have none.
struct TiffLevelRange {
  int lowest = 0;
  int highest = 0;
};
TiffLevelRange tiffLevelRange(TiffCompression c);

// The strip layout and the sample layout every strip is encoded with.
struct TiffStripLayout {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint16_t samplesPerPixel = 1;
  std::uint16_t bitsPerSample = 8;  // 8 or 16, native byte order
  std::uint32_t rowsPerStrip = 1;
  TiffCompression compression = TiffCompression::kDeflate;
  // Within tiffLevelRange(compression); 0 takes the codec's fastest: zstd's
  // level 1, and for Deflate literals alone, faster than any level.
  int level = 0;
};

// Rows per strip for rows of `rowBytes`: strips of about a megabyte, enough of
// them to keep every thread busy, and never more rows than the picture has.
std::uint32_t tiffRowsPerStrip(std::size_t rowBytes, std::uint32_t height);

// Sets compression, predictor and rows per strip on `tif` for `layout`.
void setTiffStripTags(TIFF *tif, const TiffStripLayout &layout);

// Fills one row of file samples (width x samplesPerPixel samples) for row y.
// Called from several threads at once, each with its own buffer.
using TiffRowPacker = std::function<void(std::uint32_t y, void *row)>;

// Packs, compresses and writes every strip of `tif`, whose tags are set, on up
// to `threads` threads. Returns an empty string, or what went wrong.
std::string writeTiffStrips(TIFF *tif, const TiffStripLayout &layout, const TiffRowPacker &pack,
                            int threads);

}  // namespace ortavel::cli
