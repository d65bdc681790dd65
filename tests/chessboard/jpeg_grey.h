// Reads a JPEG file as one 8-bit grey plane, for the chessboard tests.
#ifndef ORTAVEL_TESTS_CHESSBOARD_JPEG_GREY_H
#define ORTAVEL_TESTS_CHESSBOARD_JPEG_GREY_H

#include <cstdint>
#include <string>
#include <vector>

namespace ortavel::test {

struct GreyImage {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> pixels;  // rows top to bottom, no padding
};

// Colour files are converted to luma by the decoder. Throws std::runtime_error
// naming the file when it cannot be opened; a corrupt file ends the program.
GreyImage ReadJpegGrey(const std::string &path);

}  // namespace ortavel::test

#endif
