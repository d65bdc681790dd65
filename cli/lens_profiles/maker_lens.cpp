#include "maker_lens.h"

#include <exiv2/exiv2.hpp>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>
#include <mutex>
#include <string>
#include <vector>

#include "image_io/exif_block.h"

namespace ortavel::cli {
namespace {

// Most exact first: the standard tag and the makers' own lens-name tags
// before the lens-ID tables, whose numbers some makers reuse for several
// lenses.
constexpr const char *kNameTags[] = {
    "Exif.Photo.LensModel",       "Exif.Canon.LensModel",       "Exif.OlympusEq.LensType",
    "Exif.OlympusEq.LensModel",   "Exif.NikonLd3.LensIDNumber", "Exif.NikonLd2.LensIDNumber",
    "Exif.NikonLd1.LensIDNumber", "Exif.Panasonic.LensType",    "Exif.CanonCs.LensType",
    "Exif.Pentax.LensType",       "Exif.PentaxDng.LensType",    "Exif.Sony1.LensID",
    "Exif.Sony2.LensID",          "Exif.Minolta.LensID",        "Exif.Samsung2.LensType",
    "Exif.Fujifilm.LensModel",
};

std::string trimmed(std::string s) {
  const auto blank = [](unsigned char c) { return std::isspace(c) != 0 || c == 0; };
  while (!s.empty() && blank(static_cast<unsigned char>(s.back()))) s.pop_back();
  std::size_t i = 0;
  while (i < s.size() && blank(static_cast<unsigned char>(s[i]))) ++i;
  return s.substr(i);
}

std::string lower(std::string s) {
  for (char &c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// The datum with `key`, or null when the file lacks it or exiv2 does not know
// the key (names differ between exiv2 releases).
const Exiv2::Exifdatum *find(const Exiv2::ExifData &data, const char *key) {
  try {
    const auto it = data.findKey(Exiv2::ExifKey(key));
    return it == data.end() ? nullptr : &*it;
  } catch (const std::exception &) {
    return nullptr;
  }
}

std::optional<std::string> printed(const Exiv2::ExifData &data, const char *key) {
  const Exiv2::Exifdatum *d = find(data, key);
  if (d == nullptr) return std::nullopt;
  std::string text;
  try {
    text = trimmed(d->print(&data));
  } catch (const std::exception &) {
    return std::nullopt;
  }
  // Where a lens number stands for several lenses, exiv2 lists them all.
  const auto alternatives = text.find("*OR*");
  if (alternatives != std::string::npos) text = trimmed(text.substr(0, alternatives));
  if (!namesALens(text)) return std::nullopt;
  return text;
}

double number(const Exiv2::Exifdatum &d, long i) {
  if (i < 0 || d.count() <= i) return 0.0;
  const double v = d.toFloat(i);
  return std::isfinite(v) ? v : 0.0;
}

void readFocalRange(const Exiv2::ExifData &data, RecordedLens &lens) {
  double lo = 0.0, hi = 0.0;
  if (const auto *spec = find(data, "Exif.Photo.LensSpecification")) {
    lo = number(*spec, 0);
    hi = number(*spec, 1);
  }
  if (!(lo > 0.0)) {
    // Canon: longest, shortest, and the unit both are counted in.
    if (const auto *cs = find(data, "Exif.CanonCs.Lens")) {
      const double unit = number(*cs, 2) > 0.0 ? number(*cs, 2) : 1.0;
      hi = number(*cs, 0) / unit;
      lo = number(*cs, 1) / unit;
    }
  }
  if (!(lo > 0.0)) {
    if (const auto *nikon = find(data, "Exif.Nikon3.Lens")) {
      lo = number(*nikon, 0);
      hi = number(*nikon, 1);
    }
  }
  if (lo > 0.0) {
    lens.minFocalMm = lo;
    lens.maxFocalMm = hi >= lo ? hi : lo;
  }
}

// Older Olympus bodies (the E-1 and its kin) write the maker note's
// equipment directory as an opaque block rather than a sub-directory, so
// exiv2 never decodes its LensType. The block is a plain directory whose
// value offsets count from the TIFF header; its 6-byte LensType (0x0201) is
// handed to exiv2 under the newer format's key, so that its own lens table
// names it.
constexpr std::uint16_t kLensTypeTag = 0x0201;
constexpr std::size_t kLensTypeBytes = 6;

std::optional<std::string> olympusEquipmentLens(const Exiv2::ExifData &data,
                                                std::span<const std::uint8_t> tiff) {
  const Exiv2::Exifdatum *block = find(data, "Exif.Olympus.Equipment");
  if (block == nullptr || block->typeId() != Exiv2::undefined || block->size() < 2) return {};
  std::vector<std::uint8_t> dir(block->size());
  block->copy(dir.data(), Exiv2::littleEndian);  // undefined bytes are copied as they are
  bool big = tiff[0] == 'M';
  if (const Exiv2::Exifdatum *order = find(data, "Exif.MakerNote.ByteOrder"))
    big = order->toString() == "MM";
  const auto u16 = [&](std::size_t at) {
    return static_cast<std::uint16_t>(big ? dir[at] << 8 | dir[at + 1]
                                          : dir[at + 1] << 8 | dir[at]);
  };
  const auto u32 = [&](std::size_t at) {
    return big ? std::uint32_t{u16(at)} << 16 | u16(at + 2)
               : std::uint32_t{u16(at + 2)} << 16 | u16(at);
  };
  const std::size_t entries = u16(0);
  for (std::size_t i = 0; i < entries && 2 + 12 * (i + 1) <= dir.size(); ++i) {
    const std::size_t e = 2 + 12 * i;
    if (u16(e) != kLensTypeTag) continue;
    // BYTE[6]: too long to sit in the entry, so it is at the offset.
    if (u16(e + 2) != 1 || u32(e + 4) != kLensTypeBytes) return {};
    const std::size_t at = u32(e + 8);
    if (at > tiff.size() || tiff.size() - at < kLensTypeBytes) return {};
    std::string bytes;
    for (std::size_t k = 0; k < kLensTypeBytes; ++k) {
      if (k != 0) bytes += ' ';  // exiv2 refuses a trailing blank
      bytes += std::to_string(tiff[at + k]);
    }
    Exiv2::ExifData one;
    try {
      Exiv2::Exifdatum lensType{Exiv2::ExifKey("Exif.OlympusEq.LensType")};
      const auto value = Exiv2::Value::create(Exiv2::unsignedByte);
      if (value->read(bytes) != 0) return {};
      lensType.setValue(value.get());
      one.add(lensType);
    } catch (const std::exception &) {
      return {};
    }
    return printed(one, "Exif.OlympusEq.LensType");
  }
  return {};
}

std::mutex &exiv2Lock() {
  // exiv2's lens tables keep state between calls on some makers; one
  // reading at a time keeps parallel batches safe.
  static std::mutex m;
  return m;
}

}  // namespace

bool namesALens(const std::string &text) {
  if (text.empty() || text.front() == '(') return false;
  if (std::none_of(text.begin(), text.end(), [](unsigned char c) { return std::isalpha(c) != 0; }))
    return false;
  const std::string l = lower(text);
  return l != "n/a" && l != "none" && l != "unknown" && l.rfind("unknown ", 0) != 0 &&
         l.rfind("unknown(", 0) != 0 && l != "manual lens";
}

RecordedLens readRecordedLens(std::span<const std::uint8_t> block) {
  RecordedLens lens;
  const auto tiff = stripExifPrefix(block);
  if (tiff.size() < 8 || tiff.size() > std::numeric_limits<std::uint32_t>::max()) return lens;
  const std::lock_guard hold(exiv2Lock());
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  Exiv2::ExifData data;
  try {
    Exiv2::ExifParser::decode(data, tiff.data(), static_cast<std::uint32_t>(tiff.size()));
  } catch (const std::exception &) {
    return lens;
  }
  for (const char *key : kNameTags) {
    if (auto name = printed(data, key)) {
      lens.name = std::move(name);
      lens.tag = key;
      break;
    }
  }
  if (!lens.name) {
    if (auto name = olympusEquipmentLens(data, tiff)) {
      lens.name = std::move(name);
      lens.tag = "Exif.Olympus.Equipment";
    }
  }
  readFocalRange(data, lens);
  return lens;
}

}  // namespace ortavel::cli
