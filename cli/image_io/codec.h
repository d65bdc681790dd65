// The three file codecs. Readers throw CliError (bad input) with a one-line
// message; writers write a whole file at `path` or throw CliError (failure).
#pragma once

#include <filesystem>

#include "image_io/image.h"

namespace ortavel::cli {

struct WriteOptions {
  int jpegQuality = 95;  // 1..100
  // Chroma subsampling of JPEG output: 444, 422 or 420; 0 keeps the input
  // JPEG's (4:2:0 for other inputs).
  int jpegSampling = 0;
};

Image readJpeg(const std::filesystem::path &path);
Image readPng(const std::filesystem::path &path);
Image readTiff(const std::filesystem::path &path);

void writeJpeg(const Image &img, const std::filesystem::path &path, const WriteOptions &opt);
void writePng(const Image &img, const std::filesystem::path &path);
void writeTiff(const Image &img, const std::filesystem::path &path);

// Interleaves the planes of row y into `row` as file samples: bytes for an
// 8-bit file, native 16-bit words for a 16-bit one (host values rescaled).
// `planes` is how many planes to take from the front; `invert` flips values
// (CMYK ink convention of the file differs from the host's).
void packRow(const Image &img, int y, int planes, int fileBits, bool invertColour, void *row);
// The reverse, from a row of file samples into the planes.
void unpackRow(Image &img, int y, int planes, int fileBits, bool invertColour, const void *row);

}  // namespace ortavel::cli
