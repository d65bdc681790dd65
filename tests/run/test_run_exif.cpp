// The camera identity request through the emulated host: the automation step
// passes the addresses of its make, model and focal-length buffers and gets
// them filled from the document's EXIF block.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "emulator/host.h"
#include "emulator/plugin.h"
#include "host/photoshop_api.h"
#include "run_support.h"

namespace {

struct Entry {
  std::uint16_t tag;
  std::uint16_t type;
  std::uint32_t count;
  std::vector<std::uint8_t> value;  // little-endian bytes
};

void Put16(std::vector<std::uint8_t> &b, size_t at, std::uint32_t v) {
  b[at] = v & 0xFF;
  b[at + 1] = (v >> 8) & 0xFF;
}
void Put32(std::vector<std::uint8_t> &b, size_t at, std::uint32_t v) {
  for (int i = 0; i < 4; i++) b[at + i] = (v >> (8 * i)) & 0xFF;
}

std::vector<std::uint8_t> Ascii(const std::string &s) {
  std::vector<std::uint8_t> v(s.begin(), s.end());
  v.push_back(0);
  return v;
}
std::vector<std::uint8_t> Rationals(std::initializer_list<std::uint32_t> parts) {
  std::vector<std::uint8_t> v(parts.size() * 4);
  size_t i = 0;
  for (std::uint32_t p : parts) Put32(v, 4 * i++, p);
  return v;
}

// A little-endian TIFF block: IFD0, then (when given) the EXIF directory
// that an ExifIfdPointer entry in IFD0 leads to, then the long values.
std::vector<std::uint8_t> Tiff(std::vector<Entry> ifd0, const std::vector<Entry> &exif) {
  if (!exif.empty()) ifd0.push_back({34665, 4, 1, {0, 0, 0, 0}});
  const size_t ifd0At = 8;
  const size_t exifAt = ifd0At + 2 + 12 * ifd0.size() + 4;
  size_t dataAt = exifAt + (exif.empty() ? 0 : 2 + 12 * exif.size() + 4);
  std::vector<std::uint8_t> b(dataAt, 0);
  b[0] = 'I';
  b[1] = 'I';
  Put16(b, 2, 42);
  Put32(b, 4, ifd0At);
  auto directory = [&](const std::vector<Entry> &entries, size_t at) {
    Put16(b, at, static_cast<std::uint32_t>(entries.size()));
    for (size_t i = 0; i < entries.size(); i++) {
      const Entry &e = entries[i];
      const size_t at12 = at + 2 + 12 * i;
      Put16(b, at12, e.tag);
      Put16(b, at12 + 2, e.type);
      Put32(b, at12 + 4, e.count);
      if (e.tag == 34665) {
        Put32(b, at12 + 8, static_cast<std::uint32_t>(exifAt));
      } else if (e.value.size() <= 4) {
        std::memcpy(&b[at12 + 8], e.value.data(), e.value.size());
      } else {
        Put32(b, at12 + 8, static_cast<std::uint32_t>(b.size()));
        b.insert(b.end(), e.value.begin(), e.value.end());
      }
    }
  };
  directory(ifd0, ifd0At);
  if (!exif.empty()) directory(exif, exifAt);
  return b;
}

std::vector<std::uint8_t> ReadFile(const std::string &relative) {
  std::ifstream in(std::string(ORTAVEL_TESTDATA_DIR) + "/" + relative, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// What the automation step gets back; buffers pre-filled so that an
// untouched one shows.
struct Answer {
  std::int16_t result = 0;
  int tiles = 0;
  std::string make, model;
  double focal = 0.0;
  std::vector<std::string> alerts;
};

Answer Ask(const std::vector<std::uint8_t> &exif) {
  hostemu::Plugin plugin(ORTAVEL_PLUGIN_PATH);
  hostemu::Document doc =
      runtest::MakeDocument(16, 12, 8, 3, [](int p, int x, int y) { return p + x + y; });
  doc.exif = exif;
  char make[256] = "untouched make";
  char model[256] = "untouched model";
  double focal = -1.0;
  runtest::Settings s;
  s.exifMake = make;
  s.exifModel = model;
  s.exifFocalLength = &focal;
  hostemu::Host host(plugin, doc);
  const hostemu::RunResult r = host.runFilter(runtest::MakeDescriptor(s));
  return {r.result, r.tiles, make, model, focal, runtest::AlertTexts(host)};
}

TEST(ExifRequest, WithoutExifDataNothingIsWrittenOrSaid) {
  const Answer a = Ask({});
  EXPECT_EQ(a.result, 0);
  EXPECT_EQ(a.make, "untouched make");
  EXPECT_EQ(a.model, "untouched model");
  EXPECT_EQ(a.focal, -1.0);
  EXPECT_TRUE(a.alerts.empty());
}

TEST(ExifRequest, CorruptBlockIsReportedOnceAndTheRunGoesOn) {
  // A TIFF header whose first directory lies far beyond the block.
  const Answer a = Ask({'I', 'I', 42, 0, 0xFF, 0xFF, 0, 0, 0, 0});
  EXPECT_EQ(a.alerts, std::vector<std::string>{"Invalid Exif data."});
  EXPECT_EQ(a.result, 0);
  EXPECT_GT(a.tiles, 0);  // the document was still corrected
  EXPECT_EQ(a.make, "untouched make");
  EXPECT_EQ(a.focal, -1.0);
}

TEST(ExifRequest, MissingModelLeavesItsBufferAndOnlyTheFirstFocalLengthCounts) {
  const Answer a =
      Ask(Tiff({{271, 2, 6, Ascii("Canon")}}, {{37386, 5, 2, Rationals({50, 1, 35, 1})}}));
  EXPECT_TRUE(a.alerts.empty());
  EXPECT_EQ(a.make, "Canon");
  EXPECT_EQ(a.model, "untouched model");
  EXPECT_EQ(a.focal, 50.0);
}

TEST(ExifRequest, UnusableValuesAreReportedAndMakeAndModelTakeTheMessage) {
  // Make as a SHORT, Model as ASCII without its zero, FocalLength as text.
  const Answer a =
      Ask(Tiff({{271, 3, 1, {7, 0}}, {272, 2, 3, {'X', 'Y', 'Z'}}}, {{37386, 2, 3, Ascii("50")}}));
  // Directory records are walked newest first: Model before Make.
  EXPECT_EQ(a.alerts, (std::vector<std::string>{"Malforatted Model tag.", "Malformatted Make tag",
                                                "Malforatted Focal Length tag."}));
  EXPECT_EQ(a.make, "Malformatted Make tag");
  EXPECT_EQ(a.model, "Malforatted Model tag.");
  EXPECT_EQ(a.focal, -1.0);
  EXPECT_EQ(a.result, 0);
}

// The host's lock, refusing only blocks of one size: the EXIF block's.
LockPIHandleProc gRealLock = nullptr;
GetPIHandleSizeProc gRealSize = nullptr;
constexpr std::int32_t kRefusedSize = 333;
Ptr RefusingLock(Handle h, Boolean moveHigh) {
  return gRealSize(h) == kRefusedSize ? nullptr : gRealLock(h, moveHigh);
}

TEST(ExifRequest, BlockThatCannotBeLockedEndsTheRunOutOfMemory) {
  hostemu::Plugin plugin(ORTAVEL_PLUGIN_PATH);
  hostemu::Document doc = runtest::MakeDocument(16, 12, 8, 3, [](int, int, int) { return 9u; });
  doc.exif = Tiff({{271, 2, 6, Ascii("Canon")}}, {});
  doc.exif.resize(kRefusedSize, 0);
  char make[64] = "untouched make";
  runtest::Settings s;
  s.exifMake = make;
  hostemu::Host host(plugin, doc);
  HandleProcs *procs = host.filterRecord()->handleProcs;
  gRealLock = procs->lockProc;
  gRealSize = procs->getSizeProc;
  procs->lockProc = RefusingLock;
  const hostemu::RunResult r = host.runFilter(runtest::MakeDescriptor(s));
  procs->lockProc = gRealLock;
  EXPECT_EQ(r.result, -108);
  EXPECT_EQ(r.failedSelector, 3);
  EXPECT_EQ(r.tiles, 0);
  EXPECT_STREQ(make, "untouched make");
  EXPECT_TRUE(runtest::AlertTexts(host).empty());
}

TEST(ExifRequest, RealCameraBlocks) {
  // Texts as stored in the files, trailing blanks included.
  struct Camera {
    const char *file, *make, *model;
    double focal;
  };
  const Camera cameras[] = {
      {"exif/exif-only/deb-goexif_2007-02-02-18-13-29-sep-2007-02-02-18-13-29a.jpg",
       "PENTAX Corporation ", "PENTAX Optio S5z ", 5.8},
      {"exif/exif-only/deb-goexif_2011-10-28-17-50-18-sep-2011-10-28-17-50-18a.jpg", "Canon",
       "Canon EOS 5D Mark II", 34.0},
      {"exif/exif-jpeg/npm-exif-js_dsc_09827.jpg", "NIKON CORPORATION", "NIKON D100 ", 190.0},
      {"exif/exif-jpeg/npm-exif-js_DSCN0614_small.jpg", "NIKON", "E4600", 17.1}};
  for (const Camera &c : cameras) {
    SCOPED_TRACE(c.file);
    const std::vector<std::uint8_t> bytes = ReadFile(c.file);
    ASSERT_GT(bytes.size(), 100u);
    const Answer a = Ask(bytes);
    EXPECT_EQ(a.result, 0);
    EXPECT_TRUE(a.alerts.empty());
    EXPECT_EQ(a.make, c.make);
    EXPECT_EQ(a.model, c.model);
    EXPECT_DOUBLE_EQ(a.focal, c.focal);
  }
}

}  // namespace
