#include "image_io/exif_block.h"

#include <cmath>
#include <cstring>

namespace ortavel::cli {
namespace {

constexpr std::uint16_t kTagMake = 271;
constexpr std::uint16_t kTagModel = 272;
constexpr std::uint16_t kTagOrientation = 274;
constexpr std::uint16_t kTagExifIfd = 34665;
constexpr std::uint16_t kTagFocalLength = 37386;
constexpr std::uint16_t kTypeAscii = 2;
constexpr std::uint16_t kTypeShort = 3;
constexpr std::uint16_t kTypeLong = 4;
constexpr std::uint16_t kTypeRational = 5;

struct Entry {
  std::uint16_t tag;
  std::uint16_t type;
  std::uint32_t count;
  std::vector<std::uint8_t> data;  // little-endian value bytes
};

void put16(std::vector<std::uint8_t> &b, std::size_t at, std::uint16_t v) {
  b[at] = static_cast<std::uint8_t>(v);
  b[at + 1] = static_cast<std::uint8_t>(v >> 8);
}
void put32(std::vector<std::uint8_t> &b, std::size_t at, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) b[at + i] = static_cast<std::uint8_t>(v >> (8 * i));
}

Entry asciiEntry(std::uint16_t tag, const std::string &s) {
  Entry e{tag, kTypeAscii, static_cast<std::uint32_t>(s.size() + 1), {}};
  e.data.assign(s.begin(), s.end());
  e.data.push_back(0);
  return e;
}

// Appends one directory at the end of `out`; returns the offset of each
// entry's value field, so a pointer entry can be patched afterwards.
std::vector<std::size_t> appendIfd(std::vector<std::uint8_t> &out,
                                   const std::vector<Entry> &entries) {
  const std::size_t start = out.size();
  const std::size_t n = entries.size();
  out.resize(start + 2 + 12 * n + 4, 0);
  put16(out, start, static_cast<std::uint16_t>(n));
  std::vector<std::size_t> valueFields;
  for (std::size_t i = 0; i < n; ++i) {
    const Entry &e = entries[i];
    const std::size_t at = start + 2 + 12 * i;
    put16(out, at, e.tag);
    put16(out, at + 2, e.type);
    put32(out, at + 4, e.count);
    valueFields.push_back(at + 8);
    if (e.data.size() <= 4) {
      std::memcpy(&out[at + 8], e.data.data(), e.data.size());
    } else {
      if (out.size() % 2) out.push_back(0);  // values start on a word boundary
      put32(out, at + 8, static_cast<std::uint32_t>(out.size()));
      out.insert(out.end(), e.data.begin(), e.data.end());
    }
  }
  return valueFields;  // next-IFD offset stays 0
}

class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> b) : b_(b) {}
  bool ok(std::size_t at, std::size_t n) const { return at <= b_.size() && n <= b_.size() - at; }
  std::uint16_t u16(std::size_t at) const {
    return little_ ? static_cast<std::uint16_t>(b_[at] | b_[at + 1] << 8)
                   : static_cast<std::uint16_t>(b_[at] << 8 | b_[at + 1]);
  }
  std::uint32_t u32(std::size_t at) const {
    std::uint32_t v = 0;
    for (int i = 0; i < 4; ++i) {
      const std::uint32_t byte = b_[at + (little_ ? 3 - i : i)];
      v = v << 8 | byte;
    }
    return v;
  }
  bool header() {
    if (!ok(0, 8)) return false;
    if (b_[0] == 'I' && b_[1] == 'I')
      little_ = true;
    else if (b_[0] == 'M' && b_[1] == 'M')
      little_ = false;
    else
      return false;
    return u16(2) == 42;
  }
  // Calls f(tag, type, count, valueOffset) for each entry of the directory at `ifd`.
  template <class F>
  void walk(std::size_t ifd, F f) const {
    if (!ok(ifd, 2)) return;
    const std::size_t n = u16(ifd);
    for (std::size_t i = 0; i < n; ++i) {
      const std::size_t at = ifd + 2 + 12 * i;
      if (!ok(at, 12)) return;
      const std::uint16_t type = u16(at + 2);
      const std::uint32_t count = u32(at + 4);
      const std::size_t unit = type == kTypeRational ? 8
                               : type == kTypeLong   ? 4
                               : type == 3           ? 2
                                                     : 1;
      const std::size_t bytes = unit * count;
      const std::size_t value = bytes <= 4 ? at + 8 : u32(at + 8);
      if (count > b_.size() || !ok(value, bytes)) continue;
      f(u16(at), type, count, value);
    }
  }
  std::span<const std::uint8_t> bytes() const { return b_; }

 private:
  std::span<const std::uint8_t> b_;
  bool little_ = true;
};

}  // namespace

std::span<const std::uint8_t> stripExifPrefix(std::span<const std::uint8_t> block) {
  static const std::uint8_t kPrefix[6] = {'E', 'x', 'i', 'f', 0, 0};
  if (block.size() >= 6 && std::memcmp(block.data(), kPrefix, 6) == 0) return block.subspan(6);
  return block;
}

std::vector<std::uint8_t> buildExifBlock(const CameraTags &tags) {
  std::vector<Entry> ifd0;
  if (tags.make) ifd0.push_back(asciiEntry(kTagMake, *tags.make));
  if (tags.model) ifd0.push_back(asciiEntry(kTagModel, *tags.model));
  if (tags.orientation) {
    ifd0.push_back(
        Entry{kTagOrientation, kTypeShort, 1, {static_cast<std::uint8_t>(*tags.orientation), 0}});
  }
  const bool haveExif = tags.focalLengthMm.has_value();
  if (haveExif) ifd0.push_back(Entry{kTagExifIfd, kTypeLong, 1, {0, 0, 0, 0}});

  std::vector<std::uint8_t> out = {'I', 'I', 42, 0, 8, 0, 0, 0};
  const auto fields = appendIfd(out, ifd0);
  if (haveExif) {
    // Focal lengths are given to a thousandth of a millimetre at most.
    const double f = *tags.focalLengthMm;
    const double scaled = std::round((std::isfinite(f) && f > 0.0 ? f : 0.0) * 1000.0);
    const std::uint32_t num = scaled > 4e9 ? 4000000000u : static_cast<std::uint32_t>(scaled);
    Entry focal{kTagFocalLength, kTypeRational, 1, std::vector<std::uint8_t>(8)};
    put32(focal.data, 0, num);
    put32(focal.data, 4, 1000);
    if (out.size() % 2) out.push_back(0);
    put32(out, fields.back(), static_cast<std::uint32_t>(out.size()));
    appendIfd(out, {focal});
  }
  return out;
}

CameraTags readCameraTags(std::span<const std::uint8_t> block) {
  CameraTags tags;
  Reader r(stripExifPrefix(block));
  if (!r.header()) return tags;
  const auto bytes = r.bytes();
  auto text = [&](std::size_t at, std::uint32_t count) {
    std::string s(reinterpret_cast<const char *>(bytes.data() + at), count);
    s.resize(std::strlen(s.c_str()));
    return s;
  };
  std::size_t exifIfd = 0;
  r.walk(r.u32(4), [&](std::uint16_t tag, std::uint16_t type, std::uint32_t count, std::size_t at) {
    if (tag == kTagMake && type == kTypeAscii) tags.make = text(at, count);
    if (tag == kTagModel && type == kTypeAscii) tags.model = text(at, count);
    if (tag == kTagOrientation && type == kTypeShort && count == 1 && r.u16(at) >= 1 &&
        r.u16(at) <= 8)
      tags.orientation = r.u16(at);
    if (tag == kTagExifIfd && type == kTypeLong && count == 1) exifIfd = r.u32(at);
  });
  if (exifIfd != 0) {
    r.walk(exifIfd, [&](std::uint16_t tag, std::uint16_t type, std::uint32_t count,
                        std::size_t at) {
      if (tag == kTagFocalLength && type == kTypeRational && count >= 1 && r.u32(at + 4) != 0)
        tags.focalLengthMm = static_cast<double>(r.u32(at)) / static_cast<double>(r.u32(at + 4));
    });
  }
  return tags;
}

}  // namespace ortavel::cli
