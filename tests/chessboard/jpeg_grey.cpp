// JPEG to grey through libjpeg. Decoder errors come back through a longjmp to
// a frame that owns no C++ objects, then become an exception.
#include "jpeg_grey.h"

#include <csetjmp>
#include <cstdio>
#include <stdexcept>

#include <jpeglib.h>

namespace ortavel::test {
namespace {

struct ErrorTrap {
  jpeg_error_mgr mgr;
  std::jmp_buf back;
  char text[JMSG_LENGTH_MAX];
};

void TrapError(j_common_ptr info) {
  auto *trap = reinterpret_cast<ErrorTrap *>(info->err);
  (*info->err->format_message)(info, trap->text);
  std::longjmp(trap->back, 1);
}

// False when decoding failed; the decoder's message is then in trap.text.
bool Decode(std::FILE *file, ErrorTrap &trap, jpeg_decompress_struct &info, GreyImage &out) {
  info.err = jpeg_std_error(&trap.mgr);
  trap.mgr.error_exit = TrapError;
  if (setjmp(trap.back) != 0) {
    jpeg_destroy_decompress(&info);
    return false;
  }
  jpeg_create_decompress(&info);
  jpeg_stdio_src(&info, file);
  jpeg_read_header(&info, TRUE);
  info.out_color_space = JCS_GRAYSCALE;
  jpeg_start_decompress(&info);
  out.width = static_cast<int32_t>(info.output_width);
  out.height = static_cast<int32_t>(info.output_height);
  out.pixels.resize(static_cast<size_t>(out.width) * out.height);
  while (info.output_scanline < info.output_height) {
    JSAMPROW row = out.pixels.data() + static_cast<size_t>(info.output_scanline) * out.width;
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  return true;
}

}  // namespace

GreyImage ReadJpegGrey(const std::string &path) {
  std::FILE *file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) throw std::runtime_error("cannot open " + path);
  ErrorTrap trap{};
  jpeg_decompress_struct info{};
  GreyImage image;
  const bool decoded = Decode(file, trap, info, image);
  std::fclose(file);
  if (!decoded) throw std::runtime_error(path + ": " + trap.text);
  return image;
}

}  // namespace ortavel::test
