// Typed access to kept values and their text form, read from blocks in both
// byte orders, and the two tag-name tables.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "exif_test_util.h"
#include "tiff_writer.h"

namespace ortavel::test {
namespace {

enum : uint16_t {
  kByte = 1000,
  kAscii,
  kAsciiNoNul,
  kShort,
  kLong,
  kRational,
  kRationalZero,
  kRationalInf,
  kSByte,
  kUndefined,
  kSShort,
  kSLong,
  kSRational,
  kSRationalAsRational,
  kFloat,
  kDouble,
  kShortMany,
};

class TiffValues : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    bytes_ = TiffWriter(GetParam())
                 .ifd0(Byte(kByte, {200, 7}))
                 .ifd0(Ascii(kAscii, "Canon"))
                 .ifd0(Ascii(kAsciiNoNul, "Canon", false))
                 .ifd0(Short(kShort, {1, 2, 65535}))
                 .ifd0(Long(kLong, {0xFFFFFFFFu}))
                 .ifd0(Rational(kRational, {{50, 1}, {28, 10}}))
                 .ifd0(Rational(kRationalZero, {{0, 0}}))
                 .ifd0(Rational(kRationalInf, {{1, 0}}))
                 .ifd0(SByte(kSByte, {-5}))
                 .ifd0(Undefined(kUndefined, {1, 2, 3, 0}))
                 .ifd0(SShort(kSShort, {-2}))
                 .ifd0(SLong(kSLong, {-100000}))
                 .ifd0(SRational(kSRational, {{-1, 3}}))
                 .ifd0(Rational(kSRationalAsRational, {{0xFFFFFFFFu, 3}}))
                 .ifd0(Float(kFloat, {1.5f}))
                 .ifd0(Double(kDouble, {0.1, -2.25}))
                 .ifd0(Short(kShortMany, std::vector<uint64_t>(100, 0)))
                 .build();
    parser_ = Parse(bytes_);
    ASSERT_TRUE(parser_);
    ASSERT_EQ(parser_->error_count, 0);
    ASSERT_EQ(parser_->warning_count, 0);
  }
  const tiff_tag *tag(uint16_t id) {
    const tiff_tag *t = Find(parser_.get(), 0, id);
    EXPECT_NE(t, nullptr) << id;
    return t;
  }
  std::string format(uint16_t id, int32_t out_size) {
    std::string out(static_cast<size_t>(out_size) + 8, '#');
    tiff_parse_format(tag(id), out.data(), out_size);
    EXPECT_EQ(out.substr(static_cast<size_t>(out_size)), "########") << "wrote past out_size";
    return out.substr(0, std::strlen(out.c_str()));
  }
  std::vector<uint8_t> bytes_;
  Parser parser_;
};

TEST_P(TiffValues, Integers) {
  int32_t v = 12345;
  EXPECT_TRUE(tiff_parse_get_int(tag(kByte), 0, &v));
  EXPECT_EQ(v, 200);
  EXPECT_TRUE(tiff_parse_get_int(tag(kByte), 1, &v));
  EXPECT_EQ(v, 7);
  EXPECT_TRUE(tiff_parse_get_int(tag(kShort), 2, &v));
  EXPECT_EQ(v, 65535);  // zero-extended
  EXPECT_TRUE(tiff_parse_get_int(tag(kLong), 0, &v));
  EXPECT_EQ(v, -1);  // the 32 bits as they are
  EXPECT_TRUE(tiff_parse_get_int(tag(kSByte), 0, &v));
  EXPECT_EQ(v, -5);
  EXPECT_TRUE(tiff_parse_get_int(tag(kSShort), 0, &v));
  EXPECT_EQ(v, -2);
  EXPECT_TRUE(tiff_parse_get_int(tag(kSLong), 0, &v));
  EXPECT_EQ(v, -100000);

  // Index count - 1 is the last value; count, and anything below 0, fail
  // and leave the output alone.
  v = 12345;
  EXPECT_FALSE(tiff_parse_get_int(tag(kShort), 3, &v));
  EXPECT_FALSE(tiff_parse_get_int(tag(kShort), -1, &v));
  EXPECT_FALSE(tiff_parse_get_int(tag(kShort), std::numeric_limits<int32_t>::min(), &v));
  for (uint16_t id : {kAscii, kRational, kUndefined, kSRational, kFloat, kDouble}) {
    EXPECT_FALSE(tiff_parse_get_int(tag(id), 0, &v)) << id;
  }
  EXPECT_EQ(v, 12345);
}

TEST_P(TiffValues, Doubles) {
  double d = 0;
  EXPECT_TRUE(tiff_parse_get_double(tag(kByte), 0, &d));
  EXPECT_EQ(d, 200.0);
  EXPECT_TRUE(tiff_parse_get_double(tag(kShort), 2, &d));
  EXPECT_EQ(d, 65535.0);
  EXPECT_TRUE(tiff_parse_get_double(tag(kLong), 0, &d));
  EXPECT_EQ(d, 4294967295.0);
  EXPECT_TRUE(tiff_parse_get_double(tag(kRational), 0, &d));
  EXPECT_EQ(d, 50.0);
  EXPECT_TRUE(tiff_parse_get_double(tag(kRational), 1, &d));  // the second pair
  EXPECT_EQ(d, 2.8);
  EXPECT_FALSE(tiff_parse_get_double(tag(kRational), 2, &d));
  EXPECT_TRUE(tiff_parse_get_double(tag(kRationalZero), 0, &d));
  EXPECT_TRUE(std::isnan(d));
  EXPECT_TRUE(tiff_parse_get_double(tag(kRationalInf), 0, &d));
  EXPECT_EQ(d, std::numeric_limits<double>::infinity());
  EXPECT_TRUE(tiff_parse_get_double(tag(kSByte), 0, &d));
  EXPECT_EQ(d, -5.0);
  EXPECT_TRUE(tiff_parse_get_double(tag(kSShort), 0, &d));
  EXPECT_EQ(d, -2.0);
  EXPECT_TRUE(tiff_parse_get_double(tag(kSLong), 0, &d));
  EXPECT_EQ(d, -100000.0);
  EXPECT_TRUE(tiff_parse_get_double(tag(kSRational), 0, &d));
  EXPECT_EQ(d, -1.0 / 3.0);
  EXPECT_TRUE(tiff_parse_get_double(tag(kSRationalAsRational), 0, &d));
  EXPECT_EQ(d, 4294967295.0 / 3.0);
  EXPECT_TRUE(tiff_parse_get_double(tag(kFloat), 0, &d));
  EXPECT_EQ(d, 1.5);
  EXPECT_TRUE(tiff_parse_get_double(tag(kDouble), 1, &d));
  EXPECT_EQ(d, -2.25);
  EXPECT_TRUE(tiff_parse_get_double(tag(kDouble), 0, &d));
  EXPECT_EQ(d, 0.1);

  d = 7.0;
  EXPECT_FALSE(tiff_parse_get_double(tag(kAscii), 0, &d));
  EXPECT_FALSE(tiff_parse_get_double(tag(kUndefined), 0, &d));
  EXPECT_FALSE(tiff_parse_get_double(tag(kDouble), 2, &d));
  EXPECT_FALSE(tiff_parse_get_double(tag(kDouble), -1, &d));
  EXPECT_EQ(d, 7.0);
}

TEST_P(TiffValues, Strings) {
  EXPECT_STREQ(tiff_parse_get_string(tag(kAscii)), "Canon");
  EXPECT_EQ(tiff_parse_get_string(tag(kAsciiNoNul)), nullptr);
  EXPECT_EQ(tiff_parse_get_string(tag(kUndefined)), nullptr);  // ends in 0 but is not text
  EXPECT_EQ(tiff_parse_get_string(tag(kShort)), nullptr);
  EXPECT_EQ(tiff_parse_get_string(nullptr), nullptr);
}

TEST_P(TiffValues, Format) {
  EXPECT_EQ(format(kShort, 100), " 1 2 65535");
  EXPECT_EQ(format(kRational, 100), " 50/1 28/10");
  EXPECT_EQ(format(kByte, 100), " 200 7");
  EXPECT_EQ(format(kUndefined, 100), " 1 2 3 0");
  EXPECT_EQ(format(kAscii, 100), "Canon");
  EXPECT_EQ(format(kAsciiNoNul, 100), "Canon");
  EXPECT_EQ(format(kLong, 100), " 4294967295");
  EXPECT_EQ(format(kSByte, 100), " -5");
  EXPECT_EQ(format(kSShort, 100), " -2");
  EXPECT_EQ(format(kSLong, 100), " -100000");
  EXPECT_EQ(format(kSRational, 100), " -1/3");
  EXPECT_EQ(format(kFloat, 100), " 1.500000");
  EXPECT_EQ(format(kDouble, 100), " 0.100000 -2.250000");

  // No room beyond the 16-character reserve: only the mark, cut to fit.
  EXPECT_EQ(format(kShort, 16), " ...");
  EXPECT_EQ(format(kShort, 3), " .");
  // The limit is checked between values: one value, then the mark.
  EXPECT_EQ(format(kShort, 17), " 1 ...");
  // 100 zeros, limit 24: twelve values reach it.
  EXPECT_EQ(format(kShortMany, 40), " 0 0 0 0 0 0 0 0 0 0 0 0 ...");
  // The last value fits without a mark.
  EXPECT_EQ(format(kShort, 26), " 1 2 65535");
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, TiffValues, ::testing::Values(false, true),
                         [](const auto &order) {
                           return order.param ? "BigEndian" : "LittleEndian";
                         });

// Records made by hand, for shapes the parser never keeps.
struct HandRecord {
  explicit HandRecord(uint16_t type, int32_t count, std::vector<uint8_t> value)
      : storage((TIFF_TAG_ALLOC_SIZE(value.size()) + 7) / 8) {
    rec = reinterpret_cast<tiff_tag *>(storage.data());
    rec->type = type;
    rec->count = count;
    rec->size = static_cast<int32_t>(value.size());
    if (!value.empty()) {
      std::memcpy(reinterpret_cast<uint8_t *>(rec) + offsetof(tiff_tag, data), value.data(),
                  value.size());
    }
  }
  std::vector<uint64_t> storage;
  tiff_tag *rec;
};

TEST(TiffValuesByHand, OddRecords) {
  HandRecord empty_text(2, 0, {});
  EXPECT_EQ(tiff_parse_get_string(empty_text.rec), nullptr);
  char out[32] = "untouched";
  tiff_parse_format(empty_text.rec, out, sizeof out);
  EXPECT_STREQ(out, "untouched");

  HandRecord unknown(13, 2, {1, 2});
  tiff_parse_format(unknown.rec, out, sizeof out);
  EXPECT_STREQ(out, " unknown");
  double d = 0;
  EXPECT_FALSE(tiff_parse_get_double(unknown.rec, 0, &d));

  // A count larger than the stored bytes never reads past them.
  HandRecord overcounted(1, 1000, {1});
  int32_t v = 0;
  EXPECT_FALSE(tiff_parse_get_int(overcounted.rec, 1, &v));
  tiff_parse_format(overcounted.rec, out, sizeof out);
  EXPECT_EQ(std::string(out).substr(0, 2), " 1");
}

TEST(TiffTagNames, Lookups) {
  EXPECT_STREQ(tiff_parse_get_tag_name(0, 37386), "");
  EXPECT_STREQ(tiff_parse_get_tag_name(1, 37386), "FocalLength");
  EXPECT_STREQ(tiff_parse_get_tag_name(0, 0), "");
  EXPECT_STREQ(tiff_parse_get_tag_name(1, 0), "");
  EXPECT_STREQ(tiff_parse_get_tag_name(0, 271), "Make");
  EXPECT_STREQ(tiff_parse_get_tag_name(1, 271), "");
  EXPECT_STREQ(tiff_parse_get_tag_name(2, 271), "");
  EXPECT_STREQ(tiff_parse_get_tag_name(-1, 271), "");
}

struct NameRow {
  uint16_t id;
  const char *name;
};

const NameRow kIfd0Rows[] = {
    {254, "NewSubfileType"},
    {256, "ImageWidth"},
    {257, "ImageLength"},
    {258, "BitsPerSample"},
    {259, "Compression"},
    {262, "PhotometricInterpretation"},
    {266, "FillOrder"},
    {269, "DocumentName"},
    {270, "ImageDescription"},
    {271, "Make"},
    {272, "Model"},
    {273, "StripOffsets"},
    {274, "Orientation"},
    {277, "SamplesPerPixel"},
    {278, "RowsPerStrip"},
    {279, "StripByteCounts"},
    {282, "XResolution"},
    {283, "YResolution"},
    {284, "PlanarConfiguration"},
    {296, "ResolutionUnit"},
    {301, "TransferFunction"},
    {305, "Software"},
    {306, "DateTime"},
    {315, "Artist"},
    {318, "WhitePoint"},
    {319, "PrimaryChromaticities"},
    {342, "TransferRange"},
    {330, "SubIfds"},
    {512, "JpegProc"},
    {513, "JpegInterchangeFormat"},
    {514, "JpegInterchangeFormatLength"},
    {529, "YcbcrCoefficients"},
    {530, "YcbcrSubSampling"},
    {531, "YcbcrPositioning"},
    {532, "ReferenceBlackWhite"},
    {33432, "Copyright"},
    {34665, "ExifIfdPointer"},
    {34853, "GpsIfdPointer"},
};

const NameRow kExifRows[] = {
    {1, "InteroperabilityIndex"},
    {2, "InteroperabilityVersion"},
    {700, "XmlPacket"},
    {4096, "RelatedImageFileFormat"},
    {4097, "RelatedImageWidth"},
    {4098, "RelatedImageLength"},
    {33421, "CfaRepeatPatternDim"},
    {33422, "CfaPattern"},
    {33423, "BatteryLevel"},
    {33434, "ExposureTime"},
    {33437, "Fnumber"},
    {33723, "IptcNaa"},
    {34377, "ImageResources"},
    {34675, "InterColorProfile"},
    {34850, "ExposureProgram"},
    {34852, "SpectralSensitivity"},
    {34855, "IsoSpeedRatings"},
    {34856, "Oecf"},
    {36864, "ExifVersion"},
    {36867, "DateTimeOriginal"},
    {36868, "DateTimeDigitized"},
    {37121, "ComponentsConfiguration"},
    {37122, "CompressedBitsPerPixel"},
    {37377, "ShutterSpeedValue"},
    {37378, "ApertureValue"},
    {37379, "BrightnessValue"},
    {37380, "ExposureBiasValue"},
    {37381, "MaxApertureValue"},
    {37382, "SubjectDistance"},
    {37383, "MeteringMode"},
    {37384, "LightSource"},
    {37385, "Flash"},
    {37386, "FocalLength"},
    {37396, "SubjectArea"},
    {37398, "TiffEpStandardId"},
    {37500, "MakerNote"},
    {37510, "UserComment"},
    {37520, "SubSecTime"},
    {37521, "SubSecTimeOriginal"},
    {37522, "SubSecTimeDigitized"},
    {40960, "FlashPixVersion"},
    {40961, "ColorSpace"},
    {40962, "PixelXDimension"},
    {40963, "PixelYDimension"},
    {40964, "RelatedSoundFile"},
    {40965, "InteroperabilityIfdPointer"},
    {41483, "FlashEnergy"},
    {41484, "SpatialFrequencyResponse"},
    {41486, "FocalPlaneXResolution"},
    {41487, "FocalPlaneYResolution"},
    {41488, "FocalPlaneResolutionUnit"},
    {41492, "SubjectLocation"},
    {41493, "ExposureIndex"},
    {41495, "SensingMethod"},
    {41728, "FileSource"},
    {41729, "SceneType"},
    {41730, "NewCfaPattern"},
    {41985, "CustomRendered"},
    {41986, "ExposureMode"},
    {41987, "WhiteBalance"},
    {41988, "DigitalZoomRatio"},
    {41989, "FocalLengthIn35mmFilm"},
    {41990, "SceneCaptureType"},
    {41991, "GainControl"},
    {41992, "Contrast"},
    {41993, "Saturation"},
    {41994, "Sharpness"},
    {41995, "DeviceSettingDescription"},
    {41996, "SubjectDistanceRange"},
    {42016, "ImageUniqueId"},
};

template <size_t N>
void ExpectTable(int32_t dir, const NameRow (&rows)[N], size_t expected_rows) {
  ASSERT_EQ(N, expected_rows);
  for (const NameRow &row : rows) {
    EXPECT_STREQ(tiff_parse_get_tag_name(dir, row.id), row.name) << row.id;
  }
  // Nothing else is named.
  size_t named = 0;
  for (uint32_t id = 0; id <= 0xFFFF; ++id) {
    if (*tiff_parse_get_tag_name(dir, static_cast<uint16_t>(id))) ++named;
  }
  EXPECT_EQ(named, expected_rows);
}

TEST(TiffTagNames, FullTables) {
  ExpectTable(0, kIfd0Rows, 38);
  ExpectTable(1, kExifRows, 70);
}

}  // namespace
}  // namespace ortavel::test
