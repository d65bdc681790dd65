// The three file codecs. Readers throw CliError (bad input) with a one-line
// message; writers write a whole file at `path` or throw CliError (failure).
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>

#include "image_io/image.h"
#include "image_io/limits.h"
#include "image_io/row_feed.h"
#include "image_io/tiff_strips.h"

namespace ortavel::cli {

struct WriteOptions {
  int jpegQuality = 95;  // 1..100
  TiffCompression tiffCompression = TiffCompression::kDeflate;
  int tiffLevel = 0;  // see TiffStripLayout::level
  // Chroma subsampling of JPEG output: 444, 422 or 420; 0 keeps the input
  // JPEG's (4:2:0 for other inputs).
  int jpegSampling = 0;
};

// Each refuses, before allocating it, a picture over `limits` or larger than
// the file could hold (see limits.h).
Image readJpeg(const std::filesystem::path &path, const ReadLimits &limits = {});
Image readPng(const std::filesystem::path &path, const ReadLimits &limits = {});
Image readTiff(const std::filesystem::path &path, const ReadLimits &limits = {});

// Told how many rows of a picture, from the top, are read so far; answers
// false to stop the reading there. Readers tell it every kRowsPerReport rows
// or so (a row alone is too little work to announce) and at the last row.
using RowProgress = std::function<bool(std::int32_t rows)>;
inline constexpr std::int32_t kRowsPerReport = 16;

// A file read in two steps: the constructor of each reader below reads the
// header and the metadata and sizes the planes (address space, not memory);
// readRows() then decodes the rows top to bottom, so that nothing of the
// picture but its rows changes meanwhile. Both throw CliError (bad input) as
// the format's read function does.
class RowReader {
 public:
  virtual ~RowReader() = default;
  // The picture: its size, colour and metadata from the header; rows as read.
  virtual Image &image() = 0;
  // Decodes every row into the planes, telling `progress` (when given) how
  // far it is; when it answers false, reading stops there and readRows
  // returns false, the rows below unwritten.
  virtual bool readRows(const RowProgress &progress) = 0;
};

// JPEG: rows told every kRowsPerReport rows.
class JpegReader final : public RowReader {
 public:
  JpegReader(const std::filesystem::path &path, const ReadLimits &limits);
  ~JpegReader() override;
  JpegReader(const JpegReader &) = delete;
  JpegReader &operator=(const JpegReader &) = delete;
  Image &image() override;
  bool readRows(const RowProgress &progress) override;

 private:
  struct State;
  std::unique_ptr<State> s_;
};

// TIFF: the metadata are the profile, resolution and camera tags; rows are
// told as the strips from the top are done, or all at once at the end for
// tiled files and separate planes.
class TiffReader final : public RowReader {
 public:
  TiffReader(const std::filesystem::path &path, const ReadLimits &limits);
  ~TiffReader() override;
  TiffReader(const TiffReader &) = delete;
  TiffReader &operator=(const TiffReader &) = delete;
  Image &image() override;
  bool readRows(const RowProgress &progress) override;

 private:
  struct State;
  std::unique_ptr<State> s_;
};

// PNG: the metadata are the chunks before the pixels (profile, resolution,
// EXIF); rows are told every kRowsPerReport rows, or all at once at the end
// for an interlaced file.
class PngReader final : public RowReader {
 public:
  PngReader(const std::filesystem::path &path, const ReadLimits &limits);
  ~PngReader() override;
  PngReader(const PngReader &) = delete;
  PngReader &operator=(const PngReader &) = delete;
  Image &image() override;
  bool readRows(const RowProgress &progress) override;

 private:
  struct State;
  std::unique_ptr<State> s_;
};

// The header alone, for planning: what reading the file would allocate.
// Throws CliError (bad input) like the readers when the header is unreadable.
ImageShape peekJpeg(const std::filesystem::path &path);
ImageShape peekPng(const std::filesystem::path &path);
ImageShape peekTiff(const std::filesystem::path &path);

// `img` gives the size, colour and metadata; `rows` the samples, which may
// still be coming (the writers then throw RowsWithdrawn if they never do).
void writeJpeg(const Image &img, const RowFeed &rows, const std::filesystem::path &path,
               const WriteOptions &opt);
void writePng(const Image &img, const RowFeed &rows, const std::filesystem::path &path);
void writeTiff(const Image &img, const RowFeed &rows, const std::filesystem::path &path,
               const WriteOptions &opt);

// Interleaves the planes of row y into `row` as file samples: bytes for an
// 8-bit file, native 16-bit words for a 16-bit one (host values rescaled).
// `planes` is how many planes to take from the front; `invert` flips values
// (CMYK ink convention of the file differs from the host's).
// The planes' samples start at `from` (the image's own or a running
// filter's output); `img` gives the size, depth and colour.
void packRow(const Image &img, std::span<const std::uint8_t *const> from, int y, int planes,
             int fileBits, bool invertColour, void *row);
// The reverse, from a row of file samples into the planes.
void unpackRow(Image &img, int y, int planes, int fileBits, bool invertColour, const void *row);

}  // namespace ortavel::cli
