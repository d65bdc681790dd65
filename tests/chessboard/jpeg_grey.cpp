// JPEG to grey through libjpeg. A file that cannot be decoded ends the test
// program with the decoder's own message (libjpeg's default error exit).
#include "jpeg_grey.h"

#include <cstdio>
#include <stdexcept>

#include <jpeglib.h>

namespace ortavel::test {

GreyImage ReadJpegGrey(const std::string &path) {
  std::FILE *file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) throw std::runtime_error("cannot open " + path);
  jpeg_error_mgr errors{};
  jpeg_decompress_struct info{};
  info.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&info);
  jpeg_stdio_src(&info, file);
  jpeg_read_header(&info, TRUE);
  info.out_color_space = JCS_GRAYSCALE;
  jpeg_start_decompress(&info);
  GreyImage out{static_cast<int32_t>(info.output_width), static_cast<int32_t>(info.output_height),
                std::vector<uint8_t>(size_t{info.output_width} * info.output_height)};
  while (info.output_scanline < info.output_height) {
    JSAMPROW row = out.pixels.data() + size_t{info.output_scanline} * out.width;
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  std::fclose(file);
  return out;
}

}  // namespace ortavel::test
