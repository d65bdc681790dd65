// The reader on real camera files, checked against exiftool's reading of the
// same files (stored beside them).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "exif_test_util.h"
#include "flat_json.h"

namespace ortavel::test {
namespace {

namespace fs = std::filesystem;

const fs::path kDataDir = fs::path(ORTAVEL_TESTDATA_DIR) / "exif";

// How a value that exiftool prints is compared with the kept record.
enum class Compare {
  kText,     // ASCII: the text exactly (exiftool prints "1.00" or "92" as numbers)
  kNumbers,  // each value as a double, within exiftool's printing precision
  kChars,    // UNDEFINED bytes printed as characters ("0220")
  kBytes,    // UNDEFINED bytes printed as numbers ("1 2 3 0")
  kSkip,     // exiftool prints a converted value (APEX units, decoded comments)
};

struct TagRef {
  const char *group;  // exiftool's group: "IFD0" or "ExifIFD"
  const char *name;   // exiftool's tag name
  uint16_t id;
  Compare how;
};

// exiftool's names for the tags these files hold, with their TIFF tag ids.
const TagRef kTagRefs[] = {
    {"IFD0", "ImageWidth", 256, Compare::kNumbers},
    {"IFD0", "ImageHeight", 257, Compare::kNumbers},
    {"IFD0", "BitsPerSample", 258, Compare::kNumbers},
    {"IFD0", "Compression", 259, Compare::kNumbers},
    {"IFD0", "PhotometricInterpretation", 262, Compare::kNumbers},
    {"IFD0", "ImageDescription", 270, Compare::kText},
    {"IFD0", "Make", 271, Compare::kText},
    {"IFD0", "Model", 272, Compare::kText},
    {"IFD0", "StripOffsets", 273, Compare::kNumbers},
    {"IFD0", "Orientation", 274, Compare::kNumbers},
    {"IFD0", "SamplesPerPixel", 277, Compare::kNumbers},
    {"IFD0", "RowsPerStrip", 278, Compare::kNumbers},
    {"IFD0", "StripByteCounts", 279, Compare::kNumbers},
    {"IFD0", "XResolution", 282, Compare::kNumbers},
    {"IFD0", "YResolution", 283, Compare::kNumbers},
    {"IFD0", "PlanarConfiguration", 284, Compare::kNumbers},
    {"IFD0", "ResolutionUnit", 296, Compare::kNumbers},
    {"IFD0", "Software", 305, Compare::kText},
    {"IFD0", "ModifyDate", 306, Compare::kText},
    {"IFD0", "Predictor", 317, Compare::kNumbers},
    {"IFD0", "WhitePoint", 318, Compare::kNumbers},
    {"IFD0", "PrimaryChromaticities", 319, Compare::kNumbers},
    {"IFD0", "ExtraSamples", 338, Compare::kNumbers},
    {"IFD0", "SampleFormat", 339, Compare::kNumbers},
    {"IFD0", "YCbCrCoefficients", 529, Compare::kNumbers},
    {"IFD0", "YCbCrPositioning", 531, Compare::kNumbers},
    {"ExifIFD", "ExposureTime", 33434, Compare::kNumbers},
    {"ExifIFD", "FNumber", 33437, Compare::kNumbers},
    {"ExifIFD", "ExposureProgram", 34850, Compare::kNumbers},
    {"ExifIFD", "ISO", 34855, Compare::kNumbers},
    {"ExifIFD", "ExifVersion", 36864, Compare::kChars},
    {"ExifIFD", "DateTimeOriginal", 36867, Compare::kText},
    {"ExifIFD", "CreateDate", 36868, Compare::kText},
    {"ExifIFD", "ComponentsConfiguration", 37121, Compare::kBytes},
    {"ExifIFD", "CompressedBitsPerPixel", 37122, Compare::kNumbers},
    {"ExifIFD", "ShutterSpeedValue", 37377, Compare::kSkip},
    {"ExifIFD", "ApertureValue", 37378, Compare::kSkip},
    {"ExifIFD", "ExposureCompensation", 37380, Compare::kNumbers},
    {"ExifIFD", "MaxApertureValue", 37381, Compare::kSkip},
    {"ExifIFD", "MeteringMode", 37383, Compare::kNumbers},
    {"ExifIFD", "LightSource", 37384, Compare::kNumbers},
    {"ExifIFD", "Flash", 37385, Compare::kNumbers},
    {"ExifIFD", "FocalLength", 37386, Compare::kNumbers},
    {"ExifIFD", "UserComment", 37510, Compare::kSkip},
    {"ExifIFD", "SubSecTime", 37520, Compare::kText},
    {"ExifIFD", "SubSecTimeOriginal", 37521, Compare::kText},
    {"ExifIFD", "SubSecTimeDigitized", 37522, Compare::kText},
    {"ExifIFD", "FlashpixVersion", 40960, Compare::kChars},
    {"ExifIFD", "ColorSpace", 40961, Compare::kNumbers},
    {"ExifIFD", "ExifImageWidth", 40962, Compare::kNumbers},
    {"ExifIFD", "ExifImageHeight", 40963, Compare::kNumbers},
    {"ExifIFD", "RelatedSoundFile", 40964, Compare::kText},
    {"ExifIFD", "FocalPlaneXResolution", 41486, Compare::kNumbers},
    {"ExifIFD", "FocalPlaneYResolution", 41487, Compare::kNumbers},
    {"ExifIFD", "FocalPlaneResolutionUnit", 41488, Compare::kNumbers},
    {"ExifIFD", "SensingMethod", 41495, Compare::kNumbers},
    {"ExifIFD", "FileSource", 41728, Compare::kBytes},
    {"ExifIFD", "SceneType", 41729, Compare::kBytes},
    {"ExifIFD", "CFAPattern", 41730, Compare::kSkip},
    {"ExifIFD", "CustomRendered", 41985, Compare::kNumbers},
    {"ExifIFD", "ExposureMode", 41986, Compare::kNumbers},
    {"ExifIFD", "WhiteBalance", 41987, Compare::kNumbers},
    {"ExifIFD", "DigitalZoomRatio", 41988, Compare::kNumbers},
    {"ExifIFD", "FocalLengthIn35mmFormat", 41989, Compare::kNumbers},
    {"ExifIFD", "SceneCaptureType", 41990, Compare::kNumbers},
    {"ExifIFD", "GainControl", 41991, Compare::kNumbers},
    {"ExifIFD", "Contrast", 41992, Compare::kNumbers},
    {"ExifIFD", "Saturation", 41993, Compare::kNumbers},
    {"ExifIFD", "Sharpness", 41994, Compare::kNumbers},
    {"ExifIFD", "SubjectDistanceRange", 41996, Compare::kNumbers},
    {"ExifIFD", "Gamma", 42240, Compare::kNumbers},
};

const TagRef *FindRef(const std::string &group, const std::string &name) {
  for (const TagRef &ref : kTagRefs) {
    if (group == ref.group && name == ref.name) return &ref;
  }
  return nullptr;
}

std::vector<std::string> Words(const std::string &text) {
  std::vector<std::string> words;
  std::istringstream in(text);
  for (std::string w; in >> w;) words.push_back(w);
  return words;
}

// exiftool prints rationals with ten significant digits and "undef" for 0/0.
void ExpectNumber(double ours, const std::string &theirs, const std::string &what) {
  if (theirs == "undef") {
    EXPECT_TRUE(std::isnan(ours)) << what << ": " << ours;
    return;
  }
  const double expected = std::strtod(theirs.c_str(), nullptr);
  EXPECT_NEAR(ours, expected, 1e-9 * std::fabs(expected) + 1e-12) << what;
}

// exiftool drops the blank padding some cameras put after Make, Model and
// Software; anything else must match exactly.
void ExpectText(const char *ours, const std::string &theirs, const std::string &what) {
  ASSERT_NE(ours, nullptr) << what;
  const std::string text = ours;
  const bool same =
      text.starts_with(theirs) && text.find_first_not_of(' ', theirs.size()) == std::string::npos;
  EXPECT_TRUE(same) << what << ": \"" << text << "\" vs \"" << theirs << "\"";
}

// Compares one exiftool entry with the kept record; returns 1 when compared.
int CompareTag(const tiff_tag *t, const TagRef &ref, const JsonValue &theirs,
               const std::string &what) {
  switch (ref.how) {
    case Compare::kSkip:
      return 0;
    case Compare::kText: {
      const char *ours = tiff_parse_get_string(t);
      ExpectText(ours, theirs.text, what);
      return 1;
    }
    case Compare::kChars: {
      EXPECT_EQ(t->type, TIFF_TYPE_UNDEFINED) << what;
      EXPECT_EQ(std::string(reinterpret_cast<const char *>(ValueBytes(t)), t->size), theirs.text)
          << what;
      return 1;
    }
    case Compare::kBytes: {
      const auto words = Words(theirs.text);
      EXPECT_EQ(t->count, static_cast<int32_t>(words.size())) << what;
      for (size_t i = 0; i < words.size() && i < static_cast<size_t>(t->count); ++i) {
        ExpectNumber(ValueBytes(t)[i], words[i], what);
      }
      return 1;
    }
    case Compare::kNumbers: {
      const auto words = Words(theirs.text);
      EXPECT_EQ(t->count, static_cast<int32_t>(words.size())) << what;
      for (size_t i = 0; i < words.size(); ++i) {
        double ours = 0;
        EXPECT_TRUE(tiff_parse_get_double(t, static_cast<int32_t>(i), &ours)) << what;
        ExpectNumber(ours, words[i], what + "[" + std::to_string(i) + "]");
      }
      return 1;
    }
  }
  return 0;
}

struct RealFile {
  fs::path data;
  std::map<std::string, JsonValue> exiftool;
};

std::vector<RealFile> RealFiles() {
  std::vector<RealFile> files;
  for (const auto &entry : fs::directory_iterator(kDataDir / "exiftool")) {
    RealFile f;
    f.exiftool = ReadFlatJson(ReadText(entry.path()));
    std::string source = f.exiftool.at("SourceFile").text;
    source = source.substr(0, source.find(" ("));  // "(APP1 TIFF payload)"
    f.data = kDataDir / source;
    files.push_back(std::move(f));
  }
  return files;
}

TEST(TiffRealData, AgreesWithExiftool) {
  const auto files = RealFiles();
  ASSERT_EQ(files.size(), 10u);
  for (const RealFile &f : files) {
    SCOPED_TRACE(f.data.filename().string());
    const auto bytes = ReadBytes(f.data);
    ASSERT_FALSE(bytes.empty());
    Parser p = Parse(bytes);
    ASSERT_TRUE(p);
    EXPECT_EQ(p->error_count, 0) << p->errors[0];
    EXPECT_EQ(p->file_order, f.exiftool.at("File:ExifByteOrder").text == "MM" ? 2 : 1);

    int compared = 0;
    for (const auto &[key, value] : f.exiftool) {
      const std::string group = key.substr(0, key.find(':'));
      if (group != "IFD0" && group != "ExifIFD") continue;
      const std::string name = key.substr(key.find(':') + 1);
      const TagRef *ref = FindRef(group, name);
      if (!ref) {
        ADD_FAILURE() << "no tag id known for " << key;
        continue;
      }
      const tiff_tag *t = Find(p.get(), group == "IFD0" ? 0 : 1, ref->id);
      if (!t) {
        ADD_FAILURE() << key << " not kept";
        continue;
      }
      compared += CompareTag(t, *ref, value, key);
    }
    EXPECT_GE(compared, 10);
  }
}

TEST(TiffRealData, LensIdentificationFilter) {
  const uint16_t ifd0[] = {271, 272, 0};
  const uint16_t exif[] = {37386, 0};
  const uint16_t *const filter[2] = {ifd0, exif};
  for (const RealFile &f : RealFiles()) {
    SCOPED_TRACE(f.data.filename().string());
    Parser p = Parse(ReadBytes(f.data), filter);
    EXPECT_EQ(p->error_count, 0);
    for (const tiff_tag *t = p->tags[0]; t; t = t->next) {
      const std::string key = t->tag == 271 ? "IFD0:Make" : "IFD0:Model";
      ASSERT_TRUE(t->tag == 271 || t->tag == 272) << t->tag;
      ExpectText(tiff_parse_get_string(t), f.exiftool.at(key).text, key);
    }
    const bool has_focal = f.exiftool.count("ExifIFD:FocalLength") > 0;
    ASSERT_EQ(p->tags[1] != nullptr, has_focal);
    if (has_focal) {
      EXPECT_EQ(p->tags[1]->tag, 37386);
      EXPECT_EQ(p->tags[1]->next, nullptr);
      double focal = 0;
      EXPECT_TRUE(tiff_parse_get_double(p->tags[1], 0, &focal));
      ExpectNumber(focal, f.exiftool.at("ExifIFD:FocalLength").text, "FocalLength");
    }
  }
}

}  // namespace
}  // namespace ortavel::test
