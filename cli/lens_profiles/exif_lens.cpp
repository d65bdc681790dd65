#include "exif_lens.h"

#include <limits>
#include <memory>

#include "exif/tiff_parse.h"

namespace ortavel::cli {
namespace {

constexpr std::uint16_t kTagLensMake = 0xA433;
constexpr std::uint16_t kTagLensModel = 0xA434;

constexpr std::uint16_t kMainTags[] = {0};
constexpr std::uint16_t kExifTags[] = {kTagLensMake, kTagLensModel, 0};
const std::uint16_t *const kTagFilter[2] = {kMainTags, kExifTags};

// Trailing blanks are common padding in camera-written text.
std::optional<std::string> textOf(const tiff_tag *t) {
  const char *s = tiff_parse_get_string(t);
  if (s == nullptr) return std::nullopt;
  std::string text(s);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.pop_back();
  if (text.empty()) return std::nullopt;
  return text;
}

}  // namespace

ExifLens readExifLens(std::span<const std::uint8_t> block) {
  ExifLens lens;
  if (block.empty() || block.size() > static_cast<std::size_t>(std::numeric_limits<int32_t>::max()))
    return lens;
  const std::unique_ptr<tiff_parser, decltype(&tiff_parse_discard)> parser(
      tiff_parse(block.data(), static_cast<int32_t>(block.size()), kTagFilter),
      &tiff_parse_discard);
  if (!parser || parser->error_count > 0) return lens;
  for (const tiff_tag *t = parser->tags[1]; t != nullptr; t = t->next) {
    if (t->tag == kTagLensMake) lens.make = textOf(t);
    if (t->tag == kTagLensModel) lens.model = textOf(t);
  }
  return lens;
}

}  // namespace ortavel::cli
