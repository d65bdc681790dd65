#include "tiff_writer.h"

#include <cstring>

namespace ortavel::test {
namespace {

TiffEntry Make(uint16_t tag, uint16_t type, int unit, int units_per_value,
               std::vector<uint64_t> units) {
  TiffEntry e;
  e.tag = tag;
  e.type = type;
  e.unit_bytes = unit;
  e.count = static_cast<uint32_t>(units.size() / units_per_value);
  e.units = std::move(units);
  return e;
}

template <typename T>
std::vector<uint64_t> Bits(const std::vector<T> &values, int bytes) {
  std::vector<uint64_t> out;
  const uint64_t mask = bytes == 8 ? ~0ull : ((1ull << (8 * bytes)) - 1);
  for (T v : values) out.push_back(static_cast<uint64_t>(static_cast<int64_t>(v)) & mask);
  return out;
}

class Sink {
 public:
  explicit Sink(bool big_endian) : big_endian_(big_endian) {}
  void put(uint64_t v, int bytes) {
    for (int k = 0; k < bytes; ++k) {
      const int shift = big_endian_ ? 8 * (bytes - 1 - k) : 8 * k;
      out.push_back(static_cast<uint8_t>(v >> shift));
    }
  }
  std::vector<uint8_t> out;

 private:
  bool big_endian_;
};

size_t DirBytes(size_t entries) {
  return entries ? 2 + 12 * entries + 4 : 0;
}

}  // namespace

TiffEntry Byte(uint16_t tag, std::vector<uint64_t> v) {
  return Make(tag, 1, 1, 1, std::move(v));
}
TiffEntry Undefined(uint16_t tag, std::vector<uint64_t> v) {
  return Make(tag, 7, 1, 1, std::move(v));
}
TiffEntry SByte(uint16_t tag, std::vector<int64_t> v) {
  return Make(tag, 6, 1, 1, Bits(v, 1));
}
TiffEntry Ascii(uint16_t tag, const std::string &text, bool with_nul) {
  std::vector<uint64_t> bytes(text.begin(), text.end());
  for (auto &b : bytes) b &= 0xFF;
  if (with_nul) bytes.push_back(0);
  return Make(tag, 2, 1, 1, std::move(bytes));
}
TiffEntry Short(uint16_t tag, std::vector<uint64_t> v) {
  return Make(tag, 3, 2, 1, std::move(v));
}
TiffEntry SShort(uint16_t tag, std::vector<int64_t> v) {
  return Make(tag, 8, 2, 1, Bits(v, 2));
}
TiffEntry Long(uint16_t tag, std::vector<uint64_t> v) {
  return Make(tag, 4, 4, 1, std::move(v));
}
TiffEntry SLong(uint16_t tag, std::vector<int64_t> v) {
  return Make(tag, 9, 4, 1, Bits(v, 4));
}
TiffEntry Rational(uint16_t tag, std::vector<std::pair<uint32_t, uint32_t>> v) {
  std::vector<uint64_t> units;
  for (auto [n, d] : v) units.insert(units.end(), {n, d});
  return Make(tag, 5, 4, 2, std::move(units));
}
TiffEntry SRational(uint16_t tag, std::vector<std::pair<int32_t, int32_t>> v) {
  std::vector<int64_t> units;
  for (auto [n, d] : v) units.insert(units.end(), {n, d});
  return Make(tag, 10, 4, 2, Bits(units, 4));
}
TiffEntry Float(uint16_t tag, std::vector<float> v) {
  std::vector<uint64_t> units;
  for (float f : v) {
    uint32_t bits;
    std::memcpy(&bits, &f, 4);
    units.push_back(bits);
  }
  return Make(tag, 11, 4, 1, std::move(units));
}
TiffEntry Double(uint16_t tag, std::vector<double> v) {
  std::vector<uint64_t> units;
  for (double d : v) {
    uint64_t bits;
    std::memcpy(&bits, &d, 8);
    units.push_back(bits);
  }
  return Make(tag, 12, 8, 1, std::move(units));
}
TiffEntry Raw(uint16_t tag, uint16_t type, uint32_t count, uint32_t value_field) {
  TiffEntry e;
  e.tag = tag;
  e.type = type;
  e.count = count;
  e.value_field = value_field;
  return e;
}

uint32_t TiffWriter::exif_offset() const {
  const size_t n0 = ifd0_.size() + ((link_exif_ && !exif_.empty()) ? 1 : 0);
  return static_cast<uint32_t>(8 + DirBytes(n0));
}

std::vector<uint8_t> TiffWriter::build() const {
  std::vector<TiffEntry> ifd0 = ifd0_;
  if (link_exif_ && !exif_.empty()) ifd0.push_back(Long(34665, {exif_offset()}));

  Sink head(big_endian_);
  Sink values(big_endian_);
  const size_t values_at = exif_offset() + DirBytes(exif_.size());

  head.put(big_endian_ ? 0x4D4D : 0x4949, 2);
  head.put(42, 2);
  head.put(8, 4);
  auto write_dir = [&](const std::vector<TiffEntry> &dir) {
    if (dir.empty()) return;
    head.put(dir.size(), 2);
    for (const TiffEntry &e : dir) {
      head.put(e.tag, 2);
      head.put(e.type, 2);
      head.put(e.count, 4);
      Sink value(big_endian_);
      for (uint64_t u : e.units) value.put(u, e.unit_bytes);
      if (e.value_field) {
        head.put(*e.value_field, 4);
      } else if (value.out.size() <= 4) {
        value.out.resize(4, 0);  // the value sits at the start of the field
        head.out.insert(head.out.end(), value.out.begin(), value.out.end());
      } else {
        head.put(values_at + values.out.size(), 4);
        values.out.insert(values.out.end(), value.out.begin(), value.out.end());
        if (values.out.size() % 2) values.out.push_back(0);  // word alignment
      }
    }
    head.put(0, 4);  // no next directory
  };
  write_dir(ifd0);
  write_dir(exif_);
  head.out.insert(head.out.end(), values.out.begin(), values.out.end());
  return head.out;
}

std::vector<uint8_t> WrapInJpeg(const std::vector<uint8_t> &tiff, size_t *app1_at) {
  std::vector<uint8_t> out;
  // Byte by byte: g++ 12 misreads range inserts of small arrays as overflows.
  auto append = [&out](std::initializer_list<uint8_t> bytes) {
    for (uint8_t b : bytes) out.push_back(b);
  };
  append({0xFF, 0xD8});
  append({0xFF, 0xE0, 0x00, 0x10, 'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0});
  if (app1_at) *app1_at = out.size();
  const size_t length = 2 + 6 + tiff.size();
  append({0xFF, 0xE1, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length), 'E', 'x',
          'i', 'f', 0, 0});
  for (uint8_t b : tiff) out.push_back(b);
  append({0xFF, 0xDB, 0x00, 0x03, 0x00, 0xFF, 0xD9});
  return out;
}

}  // namespace ortavel::test
