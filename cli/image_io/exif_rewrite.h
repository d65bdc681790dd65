// The input's whole EXIF block carried into the output without leaving
// anything in it that describes the uncorrected picture, through exiv2:
//  - JPEG and PNG keep the block itself; its thumbnail is made again from
//    the picture being written (or dropped where it cannot be);
//  - TIFF keeps the camera in its own directories: every tag of the block
//    but the picture's layout and the thumbnail goes into the written file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

#include "image_io/image.h"

namespace ortavel::cli {

// The block to write with `img`: the same bytes when it has no thumbnail;
// otherwise with a thumbnail of the picture (at most 160x120, a JPEG) whose
// planes, of `img`'s size and depth, start at `planes`, or none when `img` is
// CMYK or the new block would not fit in `maxBytes`. A block exiv2 cannot
// read is kept as it is only when it has no thumbnail pointer at all;
// otherwise it is dropped rather than carrying the old picture.
std::vector<std::uint8_t> exifForOutput(const Image &img,
                                        std::span<const std::uint8_t *const> planes,
                                        std::size_t maxBytes);
// Whether exifForOutput reads the picture for this block: it has a thumbnail
// to make again. A writer that has the rows only later writes the block last.
bool exifNeedsPicture(std::span<const std::uint8_t> block);

// Adds the block's tags to the TIFF file at `path` (written by us, closed):
// IFD0's descriptive tags (orientation, dates, make, model, ...), the EXIF
// directory with the maker note, and GPS. Throws CliError (failure) when the
// file cannot be rewritten.
void addExifToTiff(const std::filesystem::path &path, std::span<const std::uint8_t> block);

// A JPEG of the picture no larger than maxW x maxH, aspect kept; empty for
// CMYK. `img` gives its size and depth, `planes` its samples.
std::vector<std::uint8_t> jpegThumbnail(const Image &img,
                                        std::span<const std::uint8_t *const> planes, int maxW,
                                        int maxH);

}  // namespace ortavel::cli
