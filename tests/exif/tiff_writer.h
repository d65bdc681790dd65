// Builds small TIFF blocks for the EXIF reader's tests, in either byte order,
// so that the tests state their entries as values instead of hex dumps.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ortavel::test {

// One directory entry. Values are given as units (the pieces the reader swaps:
// a rational is two units), written in the block's byte order.
struct TiffEntry {
  uint16_t tag = 0;
  uint16_t type = 0;
  uint32_t count = 0;
  int unit_bytes = 1;
  std::vector<uint64_t> units;
  // When set, written as the entry's last 4 bytes instead of the value or the
  // offset the writer would choose (for pointers to nowhere).
  std::optional<uint32_t> value_field;
};

TiffEntry Byte(uint16_t tag, std::vector<uint64_t> values);
TiffEntry Undefined(uint16_t tag, std::vector<uint64_t> values);
TiffEntry SByte(uint16_t tag, std::vector<int64_t> values);
// The text and, when with_nul is set, its terminating zero byte.
TiffEntry Ascii(uint16_t tag, const std::string &text, bool with_nul = true);
TiffEntry Short(uint16_t tag, std::vector<uint64_t> values);
TiffEntry SShort(uint16_t tag, std::vector<int64_t> values);
TiffEntry Long(uint16_t tag, std::vector<uint64_t> values);
TiffEntry SLong(uint16_t tag, std::vector<int64_t> values);
// Pairs of numerator, denominator.
TiffEntry Rational(uint16_t tag, std::vector<std::pair<uint32_t, uint32_t>> values);
TiffEntry SRational(uint16_t tag, std::vector<std::pair<int32_t, int32_t>> values);
TiffEntry Float(uint16_t tag, std::vector<float> values);
TiffEntry Double(uint16_t tag, std::vector<double> values);
// An entry whose four fields are given raw (any type and count).
TiffEntry Raw(uint16_t tag, uint16_t type, uint32_t count, uint32_t value_field);

class TiffWriter {
 public:
  explicit TiffWriter(bool big_endian) : big_endian_(big_endian) {}

  TiffWriter &ifd0(TiffEntry e) {
    ifd0_.push_back(std::move(e));
    return *this;
  }
  TiffWriter &exif(TiffEntry e) {
    exif_.push_back(std::move(e));
    return *this;
  }
  // Appends an ExifIfdPointer (LONG 34665) to IFD0 when the EXIF directory has
  // entries; on by default.
  TiffWriter &link_exif(bool on) {
    link_exif_ = on;
    return *this;
  }

  // Header at 0, IFD0 at 8, then the EXIF directory, then the values that do
  // not fit in their entries.
  std::vector<uint8_t> build() const;

  // Where build() puts the EXIF directory.
  uint32_t exif_offset() const;

 private:
  bool big_endian_;
  bool link_exif_ = true;
  std::vector<TiffEntry> ifd0_;
  std::vector<TiffEntry> exif_;
};

// A JPEG stream: SOI, a JFIF APP0 segment, an APP1 "Exif" segment holding tiff,
// a quantisation table segment and EOI. app1_at receives the position of the
// APP1 marker's 0xFF.
std::vector<uint8_t> WrapInJpeg(const std::vector<uint8_t> &tiff, size_t *app1_at = nullptr);

}  // namespace ortavel::test
