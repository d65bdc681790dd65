// Finding the TIFF block, reading the two directories, the faults the reader
// files for broken or hostile blocks, typed access to the kept values, their
// text form, and the tag names.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "exif_test_util.h"

extern "C" int exif_c_api_check(char *make, int make_size);

namespace ortavel::test {
namespace {

using ::testing::ElementsAre;

std::vector<uint8_t> Concat(std::vector<uint8_t> head, const std::vector<uint8_t> &tail) {
  for (uint8_t b : tail) head.push_back(b);  // g++ 12 misreads a range insert here
  return head;
}

TEST(TiffParseLocate, BareBlockInBothByteOrders) {
  for (bool big : {false, true}) {
    SCOPED_TRACE(big);
    const auto tiff = BuildTiff(big, {Ascii(271, "Canon"), Short(274, 6)});
    ASSERT_EQ(tiff.size(), 44u);  // header 8, IFD 2 + 2 x 12 + 4, then "Canon\0"
    Parser p = Parse(tiff);
    ASSERT_TRUE(p);
    EXPECT_EQ(p->error_count + p->warning_count, 0);
    EXPECT_EQ(p->offset, 0);
    EXPECT_EQ(p->size, 44);
    EXPECT_EQ(p->file_order, big ? TIFF_ORDER_BIG : TIFF_ORDER_LITTLE);
    EXPECT_EQ(p->machine_order, std::endian::native == std::endian::big ? 2 : 1);
    ASSERT_THAT(Ids(p.get(), 0), ElementsAre(274, 271));  // pushed at the head
    const tiff_tag *make = Find(p.get(), 0, 271);
    EXPECT_EQ(make->type, TIFF_TYPE_ASCII);
    EXPECT_EQ(make->count, 6);
    EXPECT_EQ(make->size, 6);
    EXPECT_EQ(make->offset, 38u);
    EXPECT_STREQ(tiff_parse_get_string(make), "Canon");
    int32_t v = 0;
    ASSERT_TRUE(tiff_parse_get_int(Find(p.get(), 0, 274), 0, &v));
    EXPECT_EQ(v, 6);
    EXPECT_EQ(Find(p.get(), 0, 274)->offset, 0u);  // inline values have none
    EXPECT_EQ(p->tags[1], nullptr);
  }
}

TEST(TiffParseLocate, JpegSegmentWalkAndFallbackScan) {
  const auto tiff = BuildTiff(true, {Ascii(272, "D100")});
  const auto jpeg = WrapInJpeg(tiff);
  Parser p = Parse(jpeg);  // SOI 2 + APP0 18, then APP1's 4-byte head and "Exif\0\0"
  EXPECT_EQ(p->error_count, 0);
  EXPECT_EQ(p->offset, 30);
  EXPECT_EQ(p->data, jpeg.data() + 30);
  EXPECT_EQ(p->size, static_cast<int32_t>(tiff.size()));  // APP1 length - 8
  EXPECT_EQ(p->file_order, TIFF_ORDER_BIG);
  EXPECT_STREQ(tiff_parse_get_string(Find(p.get(), 0, 272)), "D100");

  // The walk stops at a quantisation table straight after SOI, at an APP1
  // shorter than 8 bytes, and on plain bytes; the scan then finds the block.
  const struct {
    std::vector<uint8_t> head;
  } kCases[] = {{{0xFF, 0xD8, 0xFF, 0xDB, 0x00, 0x04, 0x00, 0x00}},
                {{0xFF, 0xD8, 0xFF, 0xE1, 0x00, 0x06, 'E', 'x', 'i', 'f'}},
                {{'x', 'I', 'M', 0, '*', 'I', 'I'}}};
  for (const auto &c : kCases) {
    p = Parse(Concat(c.head, tiff));
    EXPECT_EQ(p->error_count, 0);
    EXPECT_EQ(p->offset, static_cast<int32_t>(c.head.size()));
    EXPECT_EQ(p->size, static_cast<int32_t>(tiff.size()));
    EXPECT_THAT(Ids(p.get(), 0), ElementsAre(272));
  }
}

// The messages of a ring, oldest first (for fewer than 11 of them).
std::vector<std::string> Messages(const char (*ring)[TIFF_PARSE_MESSAGE_LENGTH], int32_t count) {
  return std::vector<std::string>(ring, ring + std::min(count, 10));
}

std::vector<uint8_t> Cut(std::vector<uint8_t> bytes, size_t size) {
  bytes.resize(size);
  return bytes;
}

TEST(TiffParseFaults, AreFiledAndCostOnlyWhatTheyBreak) {
  using V = std::vector<std::string>;
  const struct {
    const char *what;
    std::vector<uint8_t> bytes;
    V warnings, errors;
    std::vector<uint16_t> ifd0;  // ids kept, in list order
  } kCases[] = {
      {"3 bytes", {'I', 'I', '*'}, {}, {"Not enough space for TIFF endian header"}, {}},
      {"no signature",
       std::vector<uint8_t>(16, 'A'),
       {},
       {"Could not find start of TIFF file"},
       {}},
      {"no IFD0 offset",
       {'I', 'I', '*', 0, 8, 0},
       {"Accessing non valid memory 4 - 8 (0 - 6)"},
       {"Not enough space for TIFF IFD0 offset"},
       {}},
      {"APP1 payload of 2 bytes at 0xc",
       {0xFF, 0xD8, 0xFF, 0xE1, 0, 10, 'E', 'x', 'i', 'f', 0, 0, 'I', 'I'},
       {"Accessing non valid memory c - 10 (c - e)"},
       {"Not enough space for TIFF endian header"},
       {}},
      {"APP1 payload taken without looking at it",
       {0xFF, 0xD8, 0xFF, 0xE1, 0, 16, 'E', 'x', 'i', 'f', 0, 0, 'I', 'M', '*', 0, 8, 0, 0, 0},
       {},
       {"Unknown tiff endian"},
       {}},
      {"IFD0 with room for two of its three entries",
       Cut(BuildTiff(false, {Short(256, 1), Short(257, 2), Short(258, 3)}), 8 + 2 + 12 * 2),
       {"Accessing non valid memory a - 2e (0 - 22)"},
       {"Faulty address at end of IFD", "Problems parse TIFF main directory"},
       {}},
      {"IFD0 beyond the block",
       {'M', 'M', 0, '*', 0, 0, 0, 8},
       {"Accessing non valid memory 8 - a (0 - 8)"},
       {"Faulty address to beginning of IFD", "Problems parse TIFF main directory"},
       {}},
      {"EXIF directory (at 38) cut after the first of its two entries",
       Cut(BuildTiff(false, {Short(274, 1)}, {Short(41986, 0), Short(41987, 1)}), 38 + 2 + 12),
       {"Accessing non valid memory 28 - 40 (0 - 34)", "Problems parsing EXIF directory"},
       {"Faulty address at end of IFD"},
       {34665, 274}},
      {"EXIF pointer near the top of the 32-bit range",
       BuildTiff(false, {Short(274, 1), Raw(34665, 4, 1, 0xFFFFFFFFu)}),
       {"Accessing non valid memory ffffffff - 100000001 (0 - 26)",
        "Problems parsing EXIF directory"},
       {"Faulty address to beginning of IFD"},
       {34665, 274}},
      {"faulty types, huge counts and offsets",
       BuildTiff(false, {Raw(271, 13, 1, 0), Raw(272, 0, 1, 0), Raw(270, 2, 10, 0xFFFFFFF8u),
                         Raw(273, 4, 0x40000000u, 8), Raw(279, 5, 0x20000000u, 8),
                         Raw(305, 1, 0x80000000u, 8), Short(274, 8)}),
       {"Skipping faulty tag <10f>", "Skipping faulty tag <110>",
        "Accessing non valid memory fffffff8 - 100000002 (0 - 62)",
        "Faulty data address - Skipping tag 10e", "Faulty data address - Skipping tag 111",
        "Faulty data address - Skipping tag 117", "Faulty data address - Skipping tag 131"},
       {},
       {274}},
      {"faulty-typed EXIF pointer: skipped, and the EXIF directory with it",
       BuildTiff(false, {Short(274, 1), Raw(34665, 0, 1, 38)}, {Short(41987, 1)}, false),
       {"Skipping faulty tag <8769>"},
       {},
       {274}},
  };
  for (const auto &c : kCases) {
    SCOPED_TRACE(c.what);
    Parser p = Parse(c.bytes);
    ASSERT_TRUE(p);
    EXPECT_EQ(Messages(p->warnings, p->warning_count), c.warnings);
    EXPECT_EQ(Messages(p->errors, p->error_count), c.errors);
    EXPECT_EQ(Ids(p.get(), 0), c.ifd0);
    EXPECT_EQ(p->tags[1], nullptr);
  }
  Parser p(tiff_parse(nullptr, 100, kKeepAll));
  EXPECT_EQ(Messages(p->errors, p->error_count), V{"Not enough space for TIFF endian header"});

  // 600 entries sharing one 4000-byte text (7214 + 4000 bytes in all): a
  // directory keeps at most 8 x 11214 + 2^20 value bytes, 284 copies; the
  // other 316 are refused like failed allocations.
  auto shared = BuildTiff(false, std::vector(600, Raw(270, 2, 4000, 8 + 2 + 12 * 600 + 4)));
  ASSERT_EQ(shared.size(), 7214u);
  shared.resize(shared.size() + 4000, 'a');
  shared.back() = 0;
  p = Parse(shared);
  EXPECT_EQ(p->error_count, 0);
  EXPECT_EQ(Ids(p.get(), 0).size(), 284u);
  EXPECT_EQ(p->warning_count, 316);
  EXPECT_STREQ(p->warnings[5], "Could not allocate tag record");
}

TEST(TiffParseMessages, RingsWrapAndCountsGrow) {
  std::vector<TiffEntry> faulty;
  for (uint16_t tag = 1; tag <= 12; ++tag) faulty.push_back(Raw(tag, 99, 1, 0));
  Parser p = Parse(BuildTiff(true, faulty));
  EXPECT_EQ(p->warning_count, 12);
  EXPECT_EQ(p->error_count, 0);
  EXPECT_STREQ(p->warnings[0], "Skipping faulty tag <b>");  // the 11th and 12th
  EXPECT_STREQ(p->warnings[1], "Skipping faulty tag <c>");
  EXPECT_STREQ(p->warnings[2], "Skipping faulty tag <3>");
  EXPECT_STREQ(p->warnings[9], "Skipping faulty tag <a>");

  for (int i = 0; i < 11; ++i) tiff_parse_set_error(p.get(), "error %d", i);
  EXPECT_EQ(p->error_count, 11);
  EXPECT_STREQ(p->errors[0], "error 10");
  EXPECT_STREQ(p->errors[1], "error 1");

  // A message longer than its slot is cut, never spilled into the next one.
  tiff_parse_set_warning(p.get(), "%s", std::string(300, 'w').c_str());
  EXPECT_EQ(std::strlen(p->warnings[2]), 99u);
  EXPECT_STREQ(p->warnings[3], "Skipping faulty tag <4>");
  tiff_parse_set_warning(nullptr, "dropped");  // no record: nothing to do
}

TEST(TiffParseFilter, KeepsListedTagsAndStillFollowsTheExifPointer) {
  const uint16_t ifd0_keep[] = {271, 0}, exif_keep[] = {37386, 0};
  const uint16_t *const filter[2] = {ifd0_keep, exif_keep};
  const auto tiff = BuildTiff(
      true, {Ascii(271, "NIKON"), Ascii(272, "E4600")},
      {Entry(33437, TIFF_TYPE_RATIONAL, {82, 10}), Entry(37386, TIFF_TYPE_RATIONAL, {171, 10})});
  Parser p = Parse(tiff, filter);  // 34665 itself is filtered out
  EXPECT_EQ(p->error_count, 0);
  EXPECT_THAT(Ids(p.get(), 0), ElementsAre(271));
  ASSERT_THAT(Ids(p.get(), 1), ElementsAre(37386));
  double focal = 0;
  EXPECT_TRUE(tiff_parse_get_double(p->tags[1], 0, &focal));
  EXPECT_DOUBLE_EQ(focal, 17.1);
  p = Parse(tiff);
  EXPECT_THAT(Ids(p.get(), 0), ElementsAre(34665, 272, 271));
  EXPECT_THAT(Ids(p.get(), 1), ElementsAre(37386, 33437));

  // A faulty-typed pointer (as in the faults above) is never looked at when
  // the filter leaves it out.
  const auto faulty =
      BuildTiff(false, {Short(274, 1), Raw(34665, 0, 1, 38)}, {Short(41987, 1)}, false);
  const uint16_t orientation[] = {274, 0};
  const uint16_t *const orientation_only[2] = {orientation, nullptr};
  p = Parse(faulty, orientation_only);
  EXPECT_EQ(p->warning_count, 0);
  EXPECT_THAT(Ids(p.get(), 1), ElementsAre(41987));

  // A later pointer replaces an earlier one.
  p = Parse(
      BuildTiff(false, {Raw(34665, 4, 1, 0x1000), Raw(34665, 4, 1, 38)}, {Short(41987, 1)}, false));
  EXPECT_EQ(p->error_count + p->warning_count, 0);
  EXPECT_THAT(Ids(p.get(), 1), ElementsAre(41987));

  // Inside the EXIF directory the pointer is an ordinary tag: pointing back
  // at IFD0 reads nothing twice.
  p = Parse(BuildTiff(true, {}, {Raw(34665, 4, 1, 8)}));
  EXPECT_EQ(p->error_count, 0);
  EXPECT_THAT(Ids(p.get(), 0), ElementsAre(34665));
  EXPECT_THAT(Ids(p.get(), 1), ElementsAre(34665));
}

TEST(TiffParseDirectory, DirectCallsCheckTheirArguments) {
  const auto tiff = BuildTiff(false, {Short(274, 1)});  // read again below
  Parser p = Parse(tiff);
  EXPECT_EQ(tiff_parse_directory(p.get(), 8, 2, kKeepAll), 0);
  EXPECT_EQ(tiff_parse_directory(nullptr, 8, 0, kKeepAll), 0);
  // Reading IFD0 again as directory 1 with no filter array at all.
  EXPECT_EQ(tiff_parse_directory(p.get(), 8, 1, nullptr), 1);
  EXPECT_THAT(Ids(p.get(), 1), ElementsAre(274));
  tiff_parse_discard(nullptr);
}

TEST(TiffScan, SignaturesAndTheStateMachine) {
  using namespace std::string_literals;
  const struct {
    std::string bytes;
    long hit;  // -1: none
  } kCases[] = {
      {"II*\0..."s, 0},    {"MM\0*..."s, 0},
      {"abII*\0..."s, 2},  {"IIII*\0..."s, 2},  // extra leading bytes of the same kind
      {"MMM\0*..."s, 1},   {"MII*\0..."s, -1},  // a wrong-kind byte resets to 0
      {"IMM\0*..."s, -1},  {"II*II*\0..."s, -1},
      {"I\0II*\0..."s, 2}, {"II*\0.."s, -1},  // the last three bytes are never read
      {"II*"s, -1},        {""s, -1},
  };
  for (const auto &c : kCases) {
    const auto *from = reinterpret_cast<const uint8_t *>(c.bytes.data());
    const uint8_t *hit = tiff_parse_get_next_possible_tiff_start(from, from + c.bytes.size());
    EXPECT_EQ(hit ? hit - from : -1, c.hit) << c.bytes;
  }
}

// One record of every field type, read back in both byte orders.
enum : uint16_t { kByte = 1000, kAscii, kAsciiNoNul, kShort, kLong, kRational, kRational00 };
enum : uint16_t { kRational10 = 1007, kSByte, kUndefined, kSShort, kSLong, kSRational };
enum : uint16_t { kUnsignedThird = 1013, kFloat, kDouble, kShortMany };

constexpr uint64_t U(int64_t v) {
  return static_cast<uint64_t>(v);
}

class TiffValues : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    bytes_ = BuildTiff(
        GetParam(),
        {Entry(kByte, TIFF_TYPE_BYTE, {200, 7}), Ascii(kAscii, "Canon"),
         Ascii(kAsciiNoNul, "Canon", false), Entry(kShort, TIFF_TYPE_SHORT, {1, 2, 65535}),
         Entry(kLong, TIFF_TYPE_LONG, {0xFFFFFFFFu}),
         Entry(kRational, TIFF_TYPE_RATIONAL, {50, 1, 28, 10}),
         Entry(kRational00, TIFF_TYPE_RATIONAL, {0, 0}),
         Entry(kRational10, TIFF_TYPE_RATIONAL, {1, 0}), Entry(kSByte, TIFF_TYPE_SBYTE, {U(-5)}),
         Entry(kUndefined, TIFF_TYPE_UNDEFINED, {1, 2, 3, 0}),
         Entry(kSShort, TIFF_TYPE_SSHORT, {U(-2)}), Entry(kSLong, TIFF_TYPE_SLONG, {U(-100000)}),
         Entry(kSRational, TIFF_TYPE_SRATIONAL, {U(-1), 3}),
         Entry(kUnsignedThird, TIFF_TYPE_RATIONAL, {0xFFFFFFFFu, 3}),  // -1/3's bits
         Entry(kFloat, TIFF_TYPE_FLOAT, {std::bit_cast<uint32_t>(1.5f)}),
         Entry(kDouble, TIFF_TYPE_DOUBLE,
               {std::bit_cast<uint64_t>(0.1), std::bit_cast<uint64_t>(-2.25)}),
         Entry(kShortMany, TIFF_TYPE_SHORT, std::vector<uint64_t>(100, 0))});
    parser_ = Parse(bytes_);
    ASSERT_TRUE(parser_);
    ASSERT_EQ(parser_->error_count + parser_->warning_count, 0);
  }
  const tiff_tag *tag(uint16_t id) {
    const tiff_tag *t = Find(parser_.get(), 0, id);
    EXPECT_NE(t, nullptr) << id;
    return t;
  }
  std::vector<uint8_t> bytes_;
  Parser parser_;
};

TEST_P(TiffValues, IntegersAndDoubles) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  constexpr double kFail = -12345;  // the call fails and leaves the output alone
  const struct {
    uint16_t id;
    int32_t index;
    double as_int;  // kFail, or the value
    double as_double;
  } kCases[] = {
      {kByte, 0, 200, 200},
      {kByte, 1, 7, 7},
      {kShort, 2, 65535, 65535},  // zero-extended
      {kShort, 3, kFail, kFail},  // index count fails, as does anything below 0
      {kShort, -1, kFail, kFail},
      {kShort, std::numeric_limits<int32_t>::min(), kFail, kFail},
      {kLong, 0, -1, 4294967295.0},  // as an int, the 32 bits as they are
      {kSByte, 0, -5, -5},
      {kSShort, 0, -2, -2},
      {kSLong, 0, -100000, -100000},
      {kRational, 0, kFail, 50},
      {kRational, 1, kFail, 2.8},  // the second pair
      {kRational, 2, kFail, kFail},
      {kRational00, 0, kFail, kNaN},
      {kRational10, 0, kFail, std::numeric_limits<double>::infinity()},
      {kSRational, 0, kFail, -1.0 / 3.0},
      {kUnsignedThird, 0, kFail, 4294967295.0 / 3.0},
      {kFloat, 0, kFail, 1.5},
      {kDouble, 0, kFail, 0.1},
      {kDouble, 1, kFail, -2.25},
      {kDouble, 2, kFail, kFail},
      {kAscii, 0, kFail, kFail},
      {kUndefined, 0, kFail, kFail},
  };
  for (const auto &c : kCases) {
    SCOPED_TRACE(testing::Message() << c.id << "[" << c.index << "]");
    int32_t i = static_cast<int32_t>(kFail);
    EXPECT_EQ(tiff_parse_get_int(tag(c.id), c.index, &i), c.as_int != kFail ? 1 : 0);
    EXPECT_EQ(i, c.as_int);
    double d = kFail;
    EXPECT_EQ(tiff_parse_get_double(tag(c.id), c.index, &d), c.as_double != kFail ? 1 : 0);
    if (std::isnan(c.as_double)) {
      EXPECT_TRUE(std::isnan(d));
    } else {
      EXPECT_EQ(d, c.as_double);
    }
  }
}

TEST_P(TiffValues, StringsAndFormat) {
  EXPECT_STREQ(tiff_parse_get_string(tag(kAscii)), "Canon");
  EXPECT_EQ(tiff_parse_get_string(tag(kAsciiNoNul)), nullptr);
  EXPECT_EQ(tiff_parse_get_string(tag(kUndefined)), nullptr);  // ends in 0 but is not text
  EXPECT_EQ(tiff_parse_get_string(tag(kShort)), nullptr);
  EXPECT_EQ(tiff_parse_get_string(nullptr), nullptr);

  const struct {
    uint16_t id;
    int32_t out_size;
    const char *text;
  } kCases[] = {
      {kShort, 100, " 1 2 65535"},
      {kRational, 100, " 50/1 28/10"},
      {kByte, 100, " 200 7"},
      {kUndefined, 100, " 1 2 3 0"},
      {kAscii, 100, "Canon"},
      {kAsciiNoNul, 100, "Canon"},
      {kLong, 100, " 4294967295"},
      {kSByte, 100, " -5"},
      {kSShort, 100, " -2"},
      {kSLong, 100, " -100000"},
      {kSRational, 100, " -1/3"},
      {kFloat, 100, " 1.500000"},
      {kDouble, 100, " 0.100000 -2.250000"},
      {kShort, 16, " ..."},    // no room beyond the 16-character reserve: the mark alone,
      {kShort, 3, " ."},       // cut to fit
      {kShort, 17, " 1 ..."},  // the limit is checked between values
      {kShortMany, 40, " 0 0 0 0 0 0 0 0 0 0 0 0 ..."},  // limit 24: twelve values reach it
      {kShort, 26, " 1 2 65535"},                        // the last value needs no mark
  };
  for (const auto &c : kCases) {
    std::string out(static_cast<size_t>(c.out_size) + 8, '#');
    tiff_parse_format(tag(c.id), out.data(), c.out_size);
    EXPECT_STREQ(out.c_str(), c.text) << c.id << " in " << c.out_size;
    EXPECT_EQ(out.substr(static_cast<size_t>(c.out_size)), "########") << "wrote past out_size";
  }
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, TiffValues, ::testing::Bool(), [](const auto &order) {
  return order.param ? "BigEndian" : "LittleEndian";
});

TEST(TiffValuesByHand, RecordsTheParserNeverKeeps) {
  auto record = [](std::vector<uint64_t> &storage, uint16_t type, int32_t count, uint8_t byte) {
    storage.assign((TIFF_TAG_ALLOC_SIZE(1) + 7) / 8, 0);
    auto *rec = reinterpret_cast<tiff_tag *>(storage.data());
    rec->type = type;
    rec->count = count;
    rec->size = count ? 1 : 0;
    reinterpret_cast<uint8_t *>(rec)[offsetof(tiff_tag, data)] = byte;
    return rec;
  };
  std::vector<uint64_t> storage;
  char out[32] = "untouched";
  const tiff_tag *empty_text = record(storage, TIFF_TYPE_ASCII, 0, 0);
  EXPECT_EQ(tiff_parse_get_string(empty_text), nullptr);
  tiff_parse_format(empty_text, out, sizeof out);
  EXPECT_STREQ(out, "untouched");

  const tiff_tag *unknown = record(storage, 13, 1, 1);
  tiff_parse_format(unknown, out, sizeof out);
  EXPECT_STREQ(out, " unknown");
  double d = 0;
  EXPECT_FALSE(tiff_parse_get_double(unknown, 0, &d));

  // A count larger than the stored bytes never reads past them.
  const tiff_tag *overcounted = record(storage, TIFF_TYPE_BYTE, 1000, 1);
  int32_t v = 0;
  EXPECT_FALSE(tiff_parse_get_int(overcounted, 1, &v));
  tiff_parse_format(overcounted, out, sizeof out);
  EXPECT_EQ(std::string(out).substr(0, 2), " 1");
}

TEST(TiffTagNames, TellingRowsAndTableSizes) {
  const struct {
    int32_t dir;
    uint16_t id;
    const char *name;
  } kCases[] = {
      {0, 271, "Make"},
      {0, 34665, "ExifIfdPointer"},
      {0, 33432, "Copyright"},
      {0, 342, "TransferRange"},
      {0, 330, "SubIfds"},  // listed out of order, both found
      {1, 37386, "FocalLength"},
      {1, 1, "InteroperabilityIndex"},
      {1, 42016, "ImageUniqueId"},
      {0, 37386, ""},
      {1, 271, ""},  // each table names only its own directory
      {0, 0, ""},
      {1, 0, ""},  // 0 ends the tables
      {2, 271, ""},
      {-1, 271, ""},
  };
  for (const auto &c : kCases) {
    EXPECT_STREQ(tiff_parse_get_tag_name(c.dir, c.id), c.name) << c.dir << "/" << c.id;
  }
  for (auto [dir, rows] : {std::pair{0, 38}, std::pair{1, 70}}) {
    int named = 0;
    for (uint32_t id = 0; id <= 0xFFFF; ++id) {
      named += *tiff_parse_get_tag_name(dir, static_cast<uint16_t>(id)) != 0;
    }
    EXPECT_EQ(named, rows) << dir;
  }
}

// The header compiles as C11 (-Wpedantic) and the reader works for a C caller.
TEST(TiffParseCApi, ParsesFromC) {
  char make[16] = "";
  EXPECT_EQ(exif_c_api_check(make, sizeof make), 1);
  EXPECT_STREQ(make, "Canon");
}

}  // namespace
}  // namespace ortavel::test
