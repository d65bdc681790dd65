// The reader on real camera files, checked against exiftool's reading of the
// same files (stored beside them), and on blocks exiftool writes at test time.
#include <gtest/gtest.h>

#include <unistd.h>
#include <cmath>
#include <cstdlib>
#include <map>
#include <sstream>

#include "exif_test_util.h"

namespace ortavel::test {
namespace {

namespace fs = std::filesystem;

const fs::path kDataDir = fs::path(ORTAVEL_TESTDATA_DIR) / "exif";

// exiftool's names of the tags these files hold, with their TIFF tag ids; 0
// where exiftool prints a converted value (APEX units, decoded comments and
// patterns), which is not compared.
constexpr const char *kTagIds =
    "IFD0: ImageWidth 256 ImageHeight 257 BitsPerSample 258 Compression 259 "
    "PhotometricInterpretation 262 ImageDescription 270 Make 271 Model 272 StripOffsets 273 "
    "Orientation 274 SamplesPerPixel 277 RowsPerStrip 278 StripByteCounts 279 XResolution 282 "
    "YResolution 283 PlanarConfiguration 284 ResolutionUnit 296 Software 305 ModifyDate 306 "
    "Predictor 317 WhitePoint 318 PrimaryChromaticities 319 ExtraSamples 338 SampleFormat 339 "
    "YCbCrCoefficients 529 YCbCrPositioning 531 "
    "ExifIFD: ExposureTime 33434 FNumber 33437 ExposureProgram 34850 ISO 34855 ExifVersion 36864 "
    "DateTimeOriginal 36867 CreateDate 36868 ComponentsConfiguration 37121 "
    "CompressedBitsPerPixel 37122 ShutterSpeedValue 0 ApertureValue 0 "
    "ExposureCompensation 37380 MaxApertureValue 0 MeteringMode 37383 LightSource 37384 "
    "Flash 37385 FocalLength 37386 UserComment 0 SubSecTime 37520 SubSecTimeOriginal 37521 "
    "SubSecTimeDigitized 37522 FlashpixVersion 40960 ColorSpace 40961 ExifImageWidth 40962 "
    "ExifImageHeight 40963 RelatedSoundFile 40964 FocalPlaneXResolution 41486 "
    "FocalPlaneYResolution 41487 FocalPlaneResolutionUnit 41488 SensingMethod 41495 "
    "FileSource 41728 SceneType 41729 CFAPattern 0 CustomRendered 41985 ExposureMode 41986 "
    "WhiteBalance 41987 DigitalZoomRatio 41988 FocalLengthIn35mmFormat 41989 "
    "SceneCaptureType 41990 GainControl 41991 Contrast 41992 Saturation 41993 Sharpness 41994 "
    "SubjectDistanceRange 41996 Gamma 42240";

// "Group:Name" -> tag id.
std::map<std::string, uint16_t> TagIds() {
  std::map<std::string, uint16_t> ids;
  std::istringstream in(kTagIds);
  std::string group;
  for (std::string word; in >> word;) {
    if (word.ends_with(':')) {
      group = word;
    } else {
      in >> ids[group + word];
    }
  }
  return ids;
}

// The JSON exiftool -j writes for one file: one `"Group:Name": value,` per
// line; strings lose their quotes (these files hold no escapes), numbers keep
// their source text.
std::map<std::string, std::string> ReadExiftoolJson(const fs::path &path) {
  std::map<std::string, std::string> members;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    const size_t key_at = line.find('"'), colon = line.find("\": ");
    if (key_at == std::string::npos || colon == std::string::npos) continue;
    std::string value = line.substr(colon + 3, line.find_last_not_of(", \r") - colon - 2);
    if (value.size() >= 2 && value.front() == '"') value = value.substr(1, value.size() - 2);
    members[line.substr(key_at + 1, colon - key_at - 1)] = value;
  }
  return members;
}

std::vector<std::string> Words(const std::string &text) {
  std::istringstream in(text);
  return {std::istream_iterator<std::string>(in), {}};
}

// exiftool prints rationals with ten significant digits and "undef" for 0/0.
void ExpectNumber(double ours, const std::string &theirs, const std::string &what) {
  if (theirs == "undef") {
    EXPECT_TRUE(std::isnan(ours)) << what << ": " << ours;
  } else {
    const double expected = std::strtod(theirs.c_str(), nullptr);
    EXPECT_NEAR(ours, expected, 1e-9 * std::fabs(expected) + 1e-12) << what;
  }
}

// exiftool drops the blank padding some cameras put after Make, Model and
// Software, prints version-like UNDEFINED values as characters ("0220") and
// others as numbers ("1 2 3 0"); anything else must match exactly.
void ExpectSameValue(const tiff_tag *t, const std::string &theirs, const std::string &what) {
  const auto *bytes = reinterpret_cast<const uint8_t *>(t->data);
  const auto words = Words(theirs);
  if (t->type == TIFF_TYPE_ASCII) {
    const char *ours = tiff_parse_get_string(t);
    ASSERT_NE(ours, nullptr) << what;
    EXPECT_EQ(std::string(ours).substr(0, theirs.size()), theirs) << what;
    EXPECT_EQ(std::string(ours).find_first_not_of(' ', theirs.size()), std::string::npos) << what;
  } else if (t->type == TIFF_TYPE_UNDEFINED && words.size() == 1 && t->size > 1) {
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(bytes), t->size), theirs) << what;
  } else {
    ASSERT_EQ(t->count, static_cast<int32_t>(words.size())) << what;
    for (int32_t i = 0; i < t->count; ++i) {
      double ours = bytes[i];
      if (t->type != TIFF_TYPE_UNDEFINED) {
        EXPECT_TRUE(tiff_parse_get_double(t, i, &ours)) << what;
      }
      ExpectNumber(ours, words[i], what + "[" + std::to_string(i) + "]");
    }
  }
}

TEST(TiffRealData, AgreesWithExiftool) {
  const auto ids = TagIds();
  const uint16_t lens_ifd0[] = {271, 272, 0}, lens_exif[] = {37386, 0};
  const uint16_t *const lens_filter[2] = {lens_ifd0, lens_exif};
  int files = 0;
  for (const auto &entry : fs::directory_iterator(kDataDir / "exiftool")) {
    const auto theirs = ReadExiftoolJson(entry.path());
    const std::string source = theirs.at("SourceFile");  // may end "(APP1 TIFF payload)"
    SCOPED_TRACE(source);
    ++files;
    const auto bytes = ReadBytes(kDataDir / source.substr(0, source.find(" (")));
    ASSERT_FALSE(bytes.empty());
    Parser p = Parse(bytes);
    ASSERT_TRUE(p);
    EXPECT_EQ(p->error_count, 0) << p->errors[0];
    EXPECT_EQ(p->file_order, theirs.at("File:ExifByteOrder") == "MM" ? 2 : 1);

    int compared = 0;
    for (const auto &[key, value] : theirs) {
      const bool ifd0 = key.starts_with("IFD0:");
      if (!ifd0 && !key.starts_with("ExifIFD:")) continue;
      ASSERT_TRUE(ids.count(key)) << "no tag id known for " << key;
      if (ids.at(key) == 0) continue;
      const tiff_tag *t = Find(p.get(), ifd0 ? 0 : 1, ids.at(key));
      ASSERT_NE(t, nullptr) << key << " not kept";
      ExpectSameValue(t, value, key);
      ++compared;
    }
    EXPECT_GE(compared, 10);

    // What lens identification asks for: Make, Model and FocalLength only.
    p = Parse(bytes, lens_filter);
    EXPECT_EQ(p->error_count, 0);
    size_t kept = 0;
    for (int dir : {0, 1}) {
      for (const tiff_tag *t = p->tags[dir]; t; t = t->next, ++kept) {
        const std::string key = t->tag == 271   ? "IFD0:Make"
                                : t->tag == 272 ? "IFD0:Model"
                                                : "ExifIFD:FocalLength";
        EXPECT_EQ(t->tag, ids.at(key));
        EXPECT_EQ(dir, key.starts_with("IFD0:") ? 0 : 1);
        ExpectSameValue(t, theirs.at(key), key);
      }
    }
    EXPECT_EQ(kept, theirs.count("IFD0:Make") + theirs.count("IFD0:Model") +
                        theirs.count("ExifIFD:FocalLength"));
  }
  EXPECT_EQ(files, 10);
}

// exiftool rewrites a real JPEG with a fresh EXIF block in either byte order.
TEST(TiffRealData, ReadsWhatExiftoolWrites) {
  if (std::system("exiftool -ver > /dev/null 2>&1") != 0) {
    GTEST_SKIP() << "exiftool is not installed (Debian package libimage-exiftool-perl)";
  }
  for (const std::string order : {"Big-endian", "Little-endian"}) {
    SCOPED_TRACE(order);
    const fs::path tagged = fs::temp_directory_path() /
                            ("ortavel-exif-" + std::to_string(getpid()) + "-" + order + ".jpg");
    fs::remove(tagged);
    const std::string command =
        "exiftool -q -o '" + tagged.string() +
        "' -all= -Make='Ortavel Test Works' -Model='TX-9 Mark II' -FocalLength=35.5"
        " -ExifByteOrder=" +
        order + " '" + (kDataDir / "exif-jpeg/npm-exif_short-ascii-MM.jpg").string() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    Parser p = Parse(ReadBytes(tagged));
    fs::remove(tagged);
    ASSERT_TRUE(p);
    EXPECT_EQ(p->error_count, 0);
    EXPECT_EQ(p->file_order, order == "Big-endian" ? TIFF_ORDER_BIG : TIFF_ORDER_LITTLE);
    EXPECT_GT(p->offset, 2);  // inside the APP1 segment
    EXPECT_STREQ(tiff_parse_get_string(Find(p.get(), 0, 271)), "Ortavel Test Works");
    EXPECT_STREQ(tiff_parse_get_string(Find(p.get(), 0, 272)), "TX-9 Mark II");
    double mm = 0;
    EXPECT_TRUE(tiff_parse_get_double(Find(p.get(), 1, 37386), 0, &mm));
    EXPECT_EQ(mm, 35.5);
  }
}

}  // namespace
}  // namespace ortavel::test
