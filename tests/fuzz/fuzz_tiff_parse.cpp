// libFuzzer target for the EXIF reader: parses the input with every tag kept,
// with the lens identification's filter and with a filter taken from the
// input, then runs every accessor on every kept record. Sanitizers report any
// read or write outside the input or the records; the checks below trap on
// broken invariants of the parser record itself.
#include <cstdint>
#include <cstring>
#include <vector>

#include "exif/tiff_parse.h"

namespace {

void Require(bool ok) {
  if (!ok) __builtin_trap();
}

void CheckMessages(const char (*ring)[TIFF_PARSE_MESSAGE_LENGTH], int32_t count) {
  Require(count >= 0);
  const int32_t filled = count < TIFF_PARSE_MESSAGE_SLOTS ? count : TIFF_PARSE_MESSAGE_SLOTS;
  for (int32_t i = 0; i < filled; ++i) {
    Require(memchr(ring[i], 0, TIFF_PARSE_MESSAGE_LENGTH) != nullptr);
  }
}

void Exercise(const tiff_tag *t, int32_t directory) {
  Require(t->type >= 1 && t->type <= 12);
  Require(t->count >= 0 && t->size >= 0);
  for (int32_t index : {-1, 0, t->count - 1, t->count}) {
    int32_t i = 0;
    double d = 0;
    const int32_t got_int = tiff_parse_get_int(t, index, &i);
    const int32_t got_double = tiff_parse_get_double(t, index, &d);
    Require(got_int == 0 || got_int == 1);
    Require(got_double == 0 || got_double == 1);
    if (index < 0 || index >= t->count) Require(!got_int && !got_double);
  }
  if (const char *text = tiff_parse_get_string(t)) Require(strlen(text) < (size_t)t->size);
  // Exactly sized heap buffers, so that a write past out_size is caught.
  for (int32_t out_size : {0, 1, 2, 4, 5, 15, 16, 17, 20, 33, 100, 1000}) {
    std::vector<char> out(static_cast<size_t>(out_size > 0 ? out_size : 1), 0);
    tiff_parse_format(t, out.data(), out_size);
    if (out_size > 0) Require(memchr(out.data(), 0, out.size()) != nullptr);
  }
  Require(tiff_parse_get_tag_name(directory, t->tag) != nullptr);
  Require(tiff_parse_get_tag_name(1 - directory, t->tag) != nullptr);
}

void ParseAndCheck(const uint8_t *data, int32_t size, const uint16_t *const *filter) {
  tiff_parser *parser = tiff_parse(data, size, filter);
  if (!parser) return;
  CheckMessages(parser->warnings, parser->warning_count);
  CheckMessages(parser->errors, parser->error_count);
  Require(parser->size >= 0 && parser->offset >= 0 &&
          (int64_t)parser->offset + parser->size <= size);
  for (int32_t dir = 0; dir < 2; ++dir) {
    for (const tiff_tag *t = parser->tags[dir]; t; t = t->next) Exercise(t, dir);
  }
  tiff_parse_discard(parser);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const int32_t length = size > INT32_MAX ? INT32_MAX : static_cast<int32_t>(size);

  const uint16_t *const keep_all[2] = {nullptr, nullptr};
  ParseAndCheck(data, length, keep_all);

  static const uint16_t kIfd0Lens[] = {271, 272, 0};
  static const uint16_t kExifLens[] = {37386, 0};
  const uint16_t *const lens[2] = {kIfd0Lens, kExifLens};
  ParseAndCheck(data, length, lens);

  if (size >= 4) {
    uint16_t ifd0_only[2] = {0, 0};
    uint16_t exif_only[2] = {0, 0};
    memcpy(&ifd0_only[0], data, 2);
    memcpy(&exif_only[0], data + 2, 2);
    const uint16_t *const picked[2] = {ifd0_only, exif_only};
    ParseAndCheck(data, length, picked);
  }

  // Every signature the scanner finds, one after another.
  const uint8_t *end = data + size;
  for (const uint8_t *at = data; at;) {
    const uint8_t *hit = tiff_parse_get_next_possible_tiff_start(at, end);
    if (hit) Require(hit >= at && hit + 4 <= end);
    at = hit ? hit + 1 : nullptr;
  }
  return 0;
}
