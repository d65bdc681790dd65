#include "image_io/image.h"

#include "emulator/large_pages.h"

namespace ortavel::cli {

const char *formatName(FileFormat f) {
  switch (f) {
    case FileFormat::kJpeg:
      return "JPEG";
    case FileFormat::kPng:
      return "PNG";
    case FileFormat::kTiff:
      return "TIFF";
  }
  return "?";
}

const char *colourName(ColourModel c) {
  switch (c) {
    case ColourModel::kGrey:
      return "greyscale";
    case ColourModel::kRgb:
      return "RGB";
    case ColourModel::kCmyk:
      return "CMYK";
  }
  return "?";
}

std::int16_t hostImageMode(ColourModel c, int depth) {
  const bool deep = depth == 16;
  switch (c) {
    case ColourModel::kGrey:
      return deep ? 10 : 1;  // Gray16 : GrayScale
    case ColourModel::kRgb:
      return deep ? 11 : 3;  // RGB48 : RGBColor
    case ColourModel::kCmyk:
      return deep ? 13 : 4;  // CMYK64 : CMYKColor
  }
  return 3;
}

Image withoutSamples(const Image &img) {
  Image out;
  out.doc = hostemu::withoutSamples(img.doc);
  out.colour = img.colour;
  out.format = img.format;
  out.fileBits = img.fileBits;
  out.xDpi = img.xDpi;
  out.yDpi = img.yDpi;
  out.jpegSampling = img.jpegSampling;
  return out;
}

void allocatePlanes(Image &img, std::int32_t width, std::int32_t height, int depth, int planes) {
  img.doc.width = width;
  img.doc.height = height;
  img.doc.depth = depth;
  img.doc.imageMode = hostImageMode(img.colour, depth);
  img.doc.planes.assign(static_cast<std::size_t>(planes), hostemu::Plane{});
  for (auto &p : img.doc.planes) hostemu::assignSamples(p.samples, img.doc.planeBytes(), 0);
}

}  // namespace ortavel::cli
