// An image file as the command holds it between reading and writing: the
// emulated host's document (planes on the host's sample scale) plus what the
// file said about itself that the host does not model.
#pragma once

#include <cstdint>
#include <string>

#include "emulator/document.h"

namespace ortavel::cli {

enum class FileFormat { kJpeg, kPng, kTiff };

enum class ColourModel { kGrey, kRgb, kCmyk };

struct Image {
  hostemu::Document doc;  // 8-bit planes as stored, 16-bit planes on 0..32768
  ColourModel colour = ColourModel::kRgb;
  FileFormat format = FileFormat::kJpeg;  // what the file was read as
  int fileBits = 8;                       // bits per sample in the file: 8 or 16
  // Resolution in pixels per inch as the file gave it; 0 when it gave none.
  double xDpi = 0.0;
  double yDpi = 0.0;
  // A JPEG's chroma subsampling as read (444, 422, 420, 411, 440); 0 for
  // other files and for grey or CMYK JPEGs.
  int jpegSampling = 0;

  int colourChannels() const {
    return colour == ColourModel::kGrey ? 1 : colour == ColourModel::kRgb ? 3 : 4;
  }
  int alphaPlanes() const { return static_cast<int>(doc.planes.size()) - colourChannels(); }
};

const char *formatName(FileFormat f);
const char *colourName(ColourModel c);

// The host's image mode for a colour model and a depth (8 or 16 bits).
std::int16_t hostImageMode(ColourModel c, int depth);

// Everything of `img` but its samples: the planes come empty. Reads none of
// the samples, so a reader may still be writing them.
Image withoutSamples(const Image &img);

// Makes a document of the given size with `planes` zeroed planes.
void allocatePlanes(Image &img, std::int32_t width, std::int32_t height, int depth, int planes);

}  // namespace ortavel::cli
