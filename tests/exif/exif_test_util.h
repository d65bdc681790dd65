// Shared helpers of the EXIF reader's tests: an owning parser handle and
// record lookup by tag id.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
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

// A record's value bytes (the record is allocated longer than its type says).
inline const uint8_t *ValueBytes(const tiff_tag *t) {
  return reinterpret_cast<const uint8_t *>(t) + offsetof(tiff_tag, data);
}

// Tag ids of a directory's records in list order.
inline std::vector<uint16_t> Ids(const tiff_parser *p, int dir) {
  std::vector<uint16_t> ids;
  for (const tiff_tag *t = p->tags[dir]; t; t = t->next) ids.push_back(t->tag);
  return ids;
}

inline std::string ReadText(const std::filesystem::path &path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline std::vector<uint8_t> ReadBytes(const std::filesystem::path &path) {
  const std::string text = ReadText(path);
  return std::vector<uint8_t>(text.begin(), text.end());
}

}  // namespace ortavel::test
