// The camera identity request through the emulated host: the automation step
// passes the addresses of its make, model and focal-length buffers and gets
// them filled from the document's EXIF block.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "emulator/host.h"
#include "emulator/plugin.h"
#include "run_support.h"

namespace {

struct Entry {
  std::uint16_t tag, type;
  std::uint32_t count;
  std::vector<std::uint8_t> value;  // little-endian bytes
};

// A little-endian TIFF block: IFD0, the EXIF directory its ExifIfdPointer
// (34665) leads to, then the values longer than 4 bytes.
std::vector<std::uint8_t> Tiff(std::vector<Entry> ifd0, const std::vector<Entry> &exif) {
  const size_t exifAt = 8 + 2 + 12 * (ifd0.size() + 1) + 4;
  ifd0.push_back({34665, 4, 1, {}});
  std::vector<std::uint8_t> b(exifAt + 2 + 12 * exif.size() + 4, 0);
  auto put = [&b](size_t at, size_t v, int bytes) {
    for (int i = 0; i < bytes; i++) b[at + i] = (v >> (8 * i)) & 0xFF;
  };
  put(0, 0x002A4949, 4);  // "II", 42
  put(4, 8, 4);
  size_t at = 8;
  for (const std::vector<Entry> *directory : {&std::as_const(ifd0), &exif}) {
    put(at, directory->size(), 2);
    for (const Entry &e : *directory) {
      put(at + 2, e.tag | e.type << 16, 4);
      put(at + 6, e.count, 4);
      if (e.tag == 34665) {
        put(at + 10, exifAt, 4);
      } else if (e.value.size() <= 4) {
        std::copy(e.value.begin(), e.value.end(), b.begin() + at + 10);
      } else {
        put(at + 10, b.size(), 4);
        b.insert(b.end(), e.value.begin(), e.value.end());
      }
      at += 12;
    }
    at += 2 + 4;  // the count before the entries, the next-directory link after
  }
  return b;
}

// What the automation step gets back: the alerts, then the make, model and
// focal-length buffers, pre-filled so that an untouched one shows. The
// document is corrected whatever the block held.
using Answer = std::tuple<std::vector<std::string>, std::string, std::string, double>;

Answer Ask(const std::vector<std::uint8_t> &exif) {
  hostemu::Plugin plugin(ORTAVEL_PLUGIN_PATH);
  hostemu::Document doc = runtest::MakeDocument(16, 12, 8, 3, [](int, int, int) { return 9u; });
  doc.exif = exif;
  char make[256] = "untouched make", model[256] = "untouched model";
  double focal = -1.0;
  runtest::Settings s;
  std::tie(s.exifMake, s.exifModel, s.exifFocalLength) = std::tuple(make, model, &focal);
  hostemu::Host host(plugin, doc);
  const hostemu::RunResult r = host.runFilter(runtest::MakeDescriptor(s));
  EXPECT_EQ(r.result, 0);
  EXPECT_GT(r.tiles, 0);
  return {runtest::AlertTexts(host), make, model, focal};
}

TEST(ExifRequest, FillsTheBuffersOrSaysWhyNot) {
  const std::string make = "untouched make", model = "untouched model";
  const std::string badMake = "Malformatted Make tag", badModel = "Malforatted Model tag.";
  const std::pair<std::vector<std::uint8_t>, Answer> cases[] = {
      // No EXIF property.
      {{}, {{}, make, model, -1.0}},
      // A TIFF header whose first directory lies far beyond the block.
      {{'I', 'I', 42, 0, 0xFF, 0xFF, 0, 0, 0, 0}, {{"Invalid Exif data."}, make, model, -1.0}},
      // Make as a SHORT, no Model; only the first of two focal lengths counts.
      {Tiff({{271, 3, 1, {7, 0}}},
            {{37386, 5, 2, {50, 0, 0, 0, 1, 0, 0, 0, 35, 0, 0, 0, 1, 0, 0, 0}}}),
       {{badMake}, badMake, model, 50.0}},
      // Make as a SHORT, Model as ASCII without its zero, FocalLength as
      // text; directory records are walked newest first: Model before Make.
      {Tiff({{271, 3, 1, {7, 0}}, {272, 2, 3, {'X', 'Y', 'Z'}}}, {{37386, 2, 3, {'5', '0', 0}}}),
       {{badModel, badMake, "Malforatted Focal Length tag."}, badMake, badModel, -1.0}},
  };
  for (size_t i = 0; i < std::size(cases); i++) {
    EXPECT_EQ(Ask(cases[i].first), cases[i].second) << "case " << i;
  }
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
    std::ifstream in(std::string(ORTAVEL_TESTDATA_DIR) + "/" + c.file, std::ios::binary);
    const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(in),
                                          std::istreambuf_iterator<char>()};
    ASSERT_GT(bytes.size(), 100u);
    const auto [alerts, make, model, focal] = Ask(bytes);
    EXPECT_EQ(std::tuple(alerts, make, model),
              std::tuple(std::vector<std::string>{}, c.make, c.model));
    EXPECT_DOUBLE_EQ(focal, c.focal);
  }
}

}  // namespace
