// Shared helpers of the EXIF reader's tests: an owning parser handle, record
// lookup, and a writer of small TIFF blocks in either byte order, so that the
// tests state their entries as values instead of hex dumps.
#pragma once

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "exif/tiff_parse.h"

namespace ortavel::test {

struct ParserDeleter {
  void operator()(tiff_parser *p) const { tiff_parse_discard(p); }
};
using Parser = std::unique_ptr<tiff_parser, ParserDeleter>;

inline const uint16_t *const kKeepAll[2] = {nullptr, nullptr};

inline Parser Parse(const std::vector<uint8_t> &bytes, const uint16_t *const *filter = kKeepAll) {
  return Parser(tiff_parse(bytes.data(), static_cast<int32_t>(bytes.size()), filter));
}

inline const tiff_tag *Find(const tiff_parser *p, int dir, uint16_t tag) {
  for (const tiff_tag *t = p->tags[dir]; t; t = t->next) {
    if (t->tag == tag) return t;
  }
  return nullptr;
}

// Tag ids of a directory's records in list order.
inline std::vector<uint16_t> Ids(const tiff_parser *p, int dir) {
  std::vector<uint16_t> ids;
  for (const tiff_tag *t = p->tags[dir]; t; t = t->next) ids.push_back(t->tag);
  return ids;
}

inline std::vector<uint8_t> ReadBytes(const std::filesystem::path &path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

// One directory entry. Values are given as units, the pieces the reader swaps
// (a rational is two units); signed ones as their two's complement.
struct TiffEntry {
  uint16_t tag = 0;
  uint16_t type = 0;
  uint32_t count = 0;
  std::vector<uint64_t> units;
  // When set, written as the entry's last 4 bytes in place of the value or of
  // the offset the writer would choose (for pointers to nowhere).
  std::optional<uint32_t> value_field;
};

inline TiffEntry Entry(uint16_t tag, uint16_t type, std::vector<uint64_t> units) {
  const uint32_t per_value = (type == TIFF_TYPE_RATIONAL || type == TIFF_TYPE_SRATIONAL) ? 2 : 1;
  return {tag, type, static_cast<uint32_t>(units.size() / per_value), std::move(units), {}};
}
inline TiffEntry Short(uint16_t tag, uint64_t v) {
  return Entry(tag, TIFF_TYPE_SHORT, {v});
}
inline TiffEntry Ascii(uint16_t tag, const std::string &text, bool with_nul = true) {
  std::vector<uint64_t> bytes(text.begin(), text.end());
  if (with_nul) bytes.push_back(0);
  return Entry(tag, TIFF_TYPE_ASCII, bytes);
}
// An entry whose four fields are given raw (any type and count).
inline TiffEntry Raw(uint16_t tag, uint16_t type, uint32_t count, uint32_t value_field) {
  return {tag, type, count, {}, value_field};
}

// Header at 0, IFD0 at 8, the EXIF directory straight after it, then the
// values that do not fit in their entries. With link_exif an ExifIfdPointer
// to the EXIF directory ends IFD0 when that directory has entries.
inline std::vector<uint8_t> BuildTiff(bool big_endian, std::vector<TiffEntry> ifd0,
                                      const std::vector<TiffEntry> &exif = {},
                                      bool link_exif = true) {
  auto put = [big_endian](std::vector<uint8_t> &out, uint64_t v, int bytes) {
    for (int k = 0; k < bytes; ++k) {
      out.push_back(static_cast<uint8_t>(v >> (big_endian ? 8 * (bytes - 1 - k) : 8 * k)));
    }
  };
  auto dir_bytes = [](size_t entries) { return entries ? 2 + 12 * entries + 4 : 0; };
  if (link_exif && !exif.empty()) {
    const uint64_t at = 8 + dir_bytes(ifd0.size() + 1);
    ifd0.push_back(Entry(TIFF_TAG_EXIF_IFD_POINTER, TIFF_TYPE_LONG, {at}));
  }
  std::vector<uint8_t> head, values;
  const size_t values_at = 8 + dir_bytes(ifd0.size()) + dir_bytes(exif.size());
  put(head, big_endian ? 0x4D4D : 0x4949, 2);
  put(head, 42, 2);
  put(head, 8, 4);
  for (const std::vector<TiffEntry> *dir : {&std::as_const(ifd0), &exif}) {
    if (dir->empty()) continue;
    put(head, dir->size(), 2);
    for (const TiffEntry &e : *dir) {
      static const int kUnitBytes[13] = {1, 1, 1, 2, 4, 4, 1, 1, 2, 4, 4, 4, 8};
      put(head, e.tag, 2);
      put(head, e.type, 2);
      put(head, e.count, 4);
      std::vector<uint8_t> value;
      for (uint64_t u : e.units) put(value, u, kUnitBytes[e.type < 13 ? e.type : 0]);
      if (e.value_field) {
        put(head, *e.value_field, 4);
      } else if (value.size() <= 4) {
        value.resize(4, 0);  // the value sits at the start of the field
        head.insert(head.end(), value.begin(), value.end());
      } else {
        put(head, values_at + values.size(), 4);
        values.insert(values.end(), value.begin(), value.end());
        if (values.size() % 2) values.push_back(0);  // word alignment
      }
    }
    put(head, 0, 4);  // no next directory
  }
  head.insert(head.end(), values.begin(), values.end());
  return head;
}

// SOI, a JFIF APP0 segment, an APP1 "Exif" segment holding tiff, a
// quantisation table segment and EOI.
inline std::vector<uint8_t> WrapInJpeg(const std::vector<uint8_t> &tiff) {
  const size_t length = 2 + 6 + tiff.size();
  std::vector<uint8_t> out = {0xFF,
                              0xD8,
                              0xFF,
                              0xE0,
                              0x00,
                              0x10,
                              'J',
                              'F',
                              'I',
                              'F',
                              0,
                              1,
                              1,
                              0,
                              0,
                              1,
                              0,
                              1,
                              0,
                              0,
                              0xFF,
                              0xE1,
                              static_cast<uint8_t>(length >> 8),
                              static_cast<uint8_t>(length),
                              'E',
                              'x',
                              'i',
                              'f',
                              0,
                              0};
  // Byte by byte: g++ 12 misreads range inserts here as overflows.
  for (uint8_t b : tiff) out.push_back(b);
  for (uint8_t b : {0xFF, 0xDB, 0x00, 0x03, 0x00, 0xFF, 0xD9}) out.push_back(b);
  return out;
}

}  // namespace ortavel::test
