// Finding the TIFF block, reading the two directories, the faults the reader
// files for broken or hostile blocks, typed access to the kept values, their
// text form, and the tag names.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <tuple>

#include "exif_test_util.h"

extern "C" const char *exif_c_api_make(const uint8_t *block, int32_t size, char *out, int out_size);

namespace ortavel::test {
namespace {

using ::testing::ElementsAre;
using Strings = std::vector<std::string>;

// The messages of a ring, oldest first (for fewer than 11 of them).
Strings Messages(const char (*ring)[TIFF_PARSE_MESSAGE_LENGTH], int32_t count) {
  return Strings(ring, ring + std::min(count, 10));
}

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
    const tiff_tag *make = Find(p.get(), 0, 271), *orientation = Find(p.get(), 0, 274);
    EXPECT_EQ(std::tie(make->type, make->count, make->size, make->offset),
              std::make_tuple(TIFF_TYPE_ASCII, 6, 6, 38u));
    EXPECT_STREQ(tiff_parse_get_string(make), "Canon");
    int32_t v = 0;
    EXPECT_TRUE(tiff_parse_get_int(orientation, 0, &v));
    EXPECT_EQ(v, 6);
    EXPECT_EQ(orientation->offset, 0u);  // inline values have none
    EXPECT_EQ(p->tags[1], nullptr);
    // The header compiles as C11 (-Wpedantic) and works for a C caller.
    char c_make[16] = "";
    EXPECT_STREQ(exif_c_api_make(tiff.data(), 44, c_make, 16), "Canon");
  }
}

TEST(TiffParseLocate, JpegSegmentWalkAndFallbackScan) {
  const auto tiff = BuildTiff(true, {Ascii(272, "D100")});
  const auto jpeg = WrapInJpeg(tiff);
  Parser p = Parse(jpeg);  // SOI 2 + APP0 18, then APP1's 4-byte head and "Exif\0\0"
  EXPECT_EQ(p->error_count, 0);
  EXPECT_EQ(p->data, jpeg.data() + 30);
  EXPECT_EQ(p->offset, 30);
  EXPECT_EQ(p->size, static_cast<int32_t>(tiff.size()));  // APP1 length - 8
  EXPECT_EQ(p->file_order, TIFF_ORDER_BIG);
  EXPECT_STREQ(tiff_parse_get_string(Find(p.get(), 0, 272)), "D100");

  // The walk stops at a quantisation table straight after SOI, at an APP1
  // shorter than 8 bytes, and on plain bytes; the scan then finds the block.
  const std::vector<uint8_t> kHeads[] = {{0xFF, 0xD8, 0xFF, 0xDB, 0x00, 0x04, 0x00, 0x00},
                                         {0xFF, 0xD8, 0xFF, 0xE1, 0x00, 0x06, 'E', 'x', 'i', 'f'},
                                         {'x', 'I', 'M', 0, '*', 'I', 'I'}};
  for (const auto &head : kHeads) {
    p = Parse(Concat(head, tiff));
    EXPECT_EQ(p->error_count, 0);
    EXPECT_EQ(p->offset, static_cast<int32_t>(head.size()));
    EXPECT_EQ(p->size, static_cast<int32_t>(tiff.size()));
    EXPECT_THAT(Ids(p.get(), 0), ElementsAre(272));
  }
}

TEST(TiffParseFaults, AreFiledAndCostOnlyWhatTheyBreak) {
  auto cut = [](std::vector<uint8_t> bytes, size_t size) {
    bytes.resize(size);
    return bytes;
  };
  auto app1 = [](std::vector<uint8_t> payload) {  // SOI and an APP1 "Exif" segment
    const auto length = static_cast<uint8_t>(payload.size() + 8);
    return Concat({0xFF, 0xD8, 0xFF, 0xE1, 0, length, 'E', 'x', 'i', 'f', 0, 0}, payload);
  };
  auto mem = [](const char *span) { return "Accessing non valid memory " + std::string(span); };
  auto skip = [](const char *tag) {
    return "Faulty data address - Skipping tag " + std::string(tag);
  };
  const char *const kNoHeader = "Not enough space for TIFF endian header";
  const char *const kNoOffset = "Not enough space for TIFF IFD0 offset";
  const char *const kNoIfd = "Faulty address to beginning of IFD";
  const char *const kIfdEnd = "Faulty address at end of IFD";
  const char *const kNoMain = "Problems parse TIFF main directory";
  const char *const kNoExif = "Problems parsing EXIF directory";
  const auto ifd0_cut = cut(BuildTiff(false, {Short(256, 1), Short(257, 2), Short(258, 3)}), 34);
  const auto exif_cut =
      cut(BuildTiff(false, {Short(274, 1)}, {Short(41986, 0), Short(41987, 1)}), 38 + 2 + 12);
  const auto huge =
      BuildTiff(false, {Raw(271, 13, 1, 0), Raw(272, 0, 1, 0), Raw(270, 2, 10, 0xFFFFFFF8u),
                        Raw(273, 4, 0x40000000u, 8), Raw(279, 5, 0x20000000u, 8),
                        Raw(305, 1, 0x80000000u, 8), Short(274, 8)});
  const struct {
    std::vector<uint8_t> bytes;
    Strings warnings, errors;
    std::vector<uint16_t> ifd0;  // ids kept, in list order
  } kCases[] = {
      {{'I', 'I', '*'}, {}, {kNoHeader}, {}},
      {std::vector<uint8_t>(16, 'A'), {}, {"Could not find start of TIFF file"}, {}},
      {{'I', 'I', '*', 0, 8, 0}, {mem("4 - 8 (0 - 6)")}, {kNoOffset}, {}},
      // An APP1 payload of 2 bytes at 0xc; an APP1 payload taken unseen.
      {app1({'I', 'I'}), {mem("c - 10 (c - e)")}, {kNoHeader}, {}},
      {app1({'I', 'M', '*', 0, 8, 0, 0, 0}), {}, {"Unknown tiff endian"}, {}},
      // IFD0 with room for two of its three entries; IFD0 beyond the block.
      {ifd0_cut, {mem("a - 2e (0 - 22)")}, {kIfdEnd, kNoMain}, {}},
      {{'M', 'M', 0, '*', 0, 0, 0, 8}, {mem("8 - a (0 - 8)")}, {kNoIfd, kNoMain}, {}},
      // The EXIF directory (at 38) cut after the first of its two entries, or
      // pointed at near the top of the 32-bit range: IFD0 is kept.
      {exif_cut, {mem("28 - 40 (0 - 34)"), kNoExif}, {kIfdEnd}, {34665, 274}},
      {BuildTiff(false, {Short(274, 1), Raw(34665, 4, 1, 0xFFFFFFFFu)}),
       {mem("ffffffff - 100000001 (0 - 26)"), kNoExif},
       {kNoIfd},
       {34665, 274}},
      // Faulty types, values past the end, sizes of 2^32, 2^32 and 2^31.
      {huge,
       {"Skipping faulty tag <10f>", "Skipping faulty tag <110>",
        mem("fffffff8 - 100000002 (0 - 62)"), skip("10e"), skip("111"), skip("117"), skip("131")},
       {},
       {274}},
      // A faulty-typed EXIF pointer is skipped, and the EXIF directory with it.
      {BuildTiff(false, {Short(274, 1), Raw(34665, 0, 1, 38)}, {Short(41987, 1)}, false),
       {"Skipping faulty tag <8769>"},
       {},
       {274}},
  };
  for (const auto &c : kCases) {
    SCOPED_TRACE(&c - kCases);
    Parser p = Parse(c.bytes);
    ASSERT_TRUE(p);
    EXPECT_EQ(Messages(p->warnings, p->warning_count), c.warnings);
    EXPECT_EQ(Messages(p->errors, p->error_count), c.errors);
    EXPECT_EQ(Ids(p.get(), 0), c.ifd0);
    EXPECT_EQ(p->tags[1], nullptr);
  }
  Parser p(tiff_parse(nullptr, 100, kKeepAll));
  EXPECT_EQ(Messages(p->errors, p->error_count), Strings{kNoHeader});

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

TEST(TiffParseFaults, RingsWrapAndCountsGrow) {
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

TEST(TiffParseFilter, KeepsListedTagsAndFollowsTheExifPointerItDrops) {
  const uint16_t ifd0_keep[] = {271, 0}, exif_keep[] = {37386, 0};
  const uint16_t *const filter[2] = {ifd0_keep, exif_keep};
  const auto tiff = BuildTiff(
      true, {Ascii(271, "NIKON"), Ascii(272, "E4600")},
      {Entry(33437, TIFF_TYPE_RATIONAL, {82, 10}), Entry(37386, TIFF_TYPE_RATIONAL, {171, 10})});
  Parser p = Parse(tiff, filter);
  EXPECT_EQ(p->error_count, 0);
  EXPECT_THAT(Ids(p.get(), 0), ElementsAre(271));
  ASSERT_THAT(Ids(p.get(), 1), ElementsAre(37386));
  double focal = 0;
  EXPECT_TRUE(tiff_parse_get_double(p->tags[1], 0, &focal));
  EXPECT_DOUBLE_EQ(focal, 17.1);
  p = Parse(tiff);
  EXPECT_THAT(Ids(p.get(), 0), ElementsAre(34665, 272, 271));
  EXPECT_THAT(Ids(p.get(), 1), ElementsAre(37386, 33437));

  // Left out by the filter, a faulty-typed pointer is not even looked at.
  const uint16_t *const keep_no_ifd0_tag[2] = {ifd0_keep + 1, nullptr};
  p = Parse(BuildTiff(false, {Short(274, 1), Raw(34665, 0, 1, 38)}, {Short(41987, 1)}, false),
            keep_no_ifd0_tag);
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

  // Called directly: bad arguments fail; IFD0 read again as directory 1
  // (with no filter array at all) goes in front of that list, newest first,
  // without following the pointer again.
  p = Parse(tiff);
  EXPECT_EQ(tiff_parse_directory(p.get(), 8, 2, kKeepAll), 0);
  EXPECT_EQ(tiff_parse_directory(nullptr, 8, 0, kKeepAll), 0);
  EXPECT_EQ(tiff_parse_directory(p.get(), 8, 1, nullptr), 1);
  EXPECT_THAT(Ids(p.get(), 1), ElementsAre(34665, 272, 271, 37386, 33437));
  tiff_parse_discard(nullptr);
}

TEST(TiffScan, SignaturesAndTheStateMachine) {
  // Extra leading bytes of the same kind are taken, a wrong-kind byte resets
  // the match, and the last three bytes are never read.
  using namespace std::string_literals;
  const std::pair<std::string, long> kCases[] = {
      {"II*\0..."s, 0},    {"MM\0*..."s, 0},   {"abII*\0..."s, 2}, {"IIII*\0..."s, 2},
      {"MMM\0*..."s, 1},   {"MII*\0..."s, -1}, {"IMM\0*..."s, -1}, {"II*II*\0..."s, -1},
      {"I\0II*\0..."s, 2}, {"II*\0.."s, -1},   {"II*"s, -1},       {""s, -1}};
  for (const auto &[bytes, at] : kCases) {
    const auto *from = reinterpret_cast<const uint8_t *>(bytes.data());
    const uint8_t *hit = tiff_parse_get_next_possible_tiff_start(from, from + bytes.size());
    EXPECT_EQ(hit ? hit - from : -1, at) << bytes;
  }
}

constexpr uint64_t U(int64_t v) {
  return static_cast<uint64_t>(v);
}
constexpr double kFail = -12345, kMax32 = 4294967295.0;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr int32_t kMin = std::numeric_limits<int32_t>::min();

// Each case: a record of one field type, a value index, the value as an int
// and as a double (kFail where the call fails and leaves the output alone),
// and the whole record as text. A SHORT is zero-extended, a LONG as an int
// keeps its 32 bits, the index counts values (a rational pair is one) from 0
// to count - 1.
struct ValueCase {
  TiffEntry record;
  int32_t index;
  double as_int, as_double;
  const char *text;
};
const ValueCase kValueCases[] = {
    {Entry(0, TIFF_TYPE_BYTE, {200, 7}), 1, 7, 7, " 200 7"},
    {Entry(0, TIFF_TYPE_SHORT, {1, 2, 65535}), 2, 65535, 65535, " 1 2 65535"},
    {Entry(0, TIFF_TYPE_SHORT, {1, 2, 65535}), 3, kFail, kFail, " 1 2 65535"},
    {Entry(0, TIFF_TYPE_SHORT, {1, 2, 65535}), -1, kFail, kFail, " 1 2 65535"},
    {Entry(0, TIFF_TYPE_SHORT, {1, 2, 65535}), kMin, kFail, kFail, " 1 2 65535"},
    {Entry(0, TIFF_TYPE_LONG, {0xFFFFFFFFu}), 0, -1, kMax32, " 4294967295"},
    {Entry(0, TIFF_TYPE_SBYTE, {U(-5)}), 0, -5, -5, " -5"},
    {Entry(0, TIFF_TYPE_SSHORT, {U(-2)}), 0, -2, -2, " -2"},
    {Entry(0, TIFF_TYPE_SLONG, {U(-100000)}), 0, -100000, -100000, " -100000"},
    {Entry(0, TIFF_TYPE_RATIONAL, {50, 1, 28, 10}), 0, kFail, 50, " 50/1 28/10"},
    {Entry(0, TIFF_TYPE_RATIONAL, {50, 1, 28, 10}), 1, kFail, 2.8, " 50/1 28/10"},
    {Entry(0, TIFF_TYPE_RATIONAL, {50, 1, 28, 10}), 2, kFail, kFail, " 50/1 28/10"},
    {Entry(0, TIFF_TYPE_RATIONAL, {0, 0}), 0, kFail, kNaN, " 0/0"},
    {Entry(0, TIFF_TYPE_RATIONAL, {1, 0}), 0, kFail, kInf, " 1/0"},
    {Entry(0, TIFF_TYPE_SRATIONAL, {U(-1), 3}), 0, kFail, -1 / 3.0, " -1/3"},
    {Entry(0, TIFF_TYPE_RATIONAL, {U(-1), 3}), 0, kFail, kMax32 / 3, " 4294967295/3"},
    {Entry(0, TIFF_TYPE_FLOAT, {std::bit_cast<uint32_t>(1.5f)}), 0, kFail, 1.5, " 1.500000"},
    {Entry(0, TIFF_TYPE_DOUBLE, {std::bit_cast<uint64_t>(0.1), std::bit_cast<uint64_t>(-2.25)}), 1,
     kFail, -2.25, " 0.100000 -2.250000"},
    {Entry(0, TIFF_TYPE_DOUBLE, {std::bit_cast<uint64_t>(0.1)}), 0, kFail, 0.1, " 0.100000"},
    {Ascii(0, "Canon"), 0, kFail, kFail, "Canon"},
    {Ascii(0, "Canon", false), 0, kFail, kFail, "Canon"},
    {Entry(0, TIFF_TYPE_UNDEFINED, {1, 2, 3, 0}), 0, kFail, kFail, " 1 2 3 0"}};

class TiffValues : public ::testing::TestWithParam<bool> {};

TEST_P(TiffValues, ThroughEachAccessor) {
  std::vector<TiffEntry> records;
  for (const ValueCase &c : kValueCases) {
    records.push_back(c.record);
    records.back().tag = static_cast<uint16_t>(1000 + records.size());
  }
  const auto tiff = BuildTiff(GetParam(), records);
  Parser p = Parse(tiff);
  ASSERT_EQ(p->error_count + p->warning_count, 0);
  for (const ValueCase &c : kValueCases) {
    const auto row = static_cast<uint16_t>(&c - kValueCases);
    SCOPED_TRACE(testing::Message() << "case " << row);
    const tiff_tag *t = Find(p.get(), 0, 1001 + row);
    ASSERT_NE(t, nullptr);
    int32_t i = static_cast<int32_t>(kFail);
    EXPECT_EQ(tiff_parse_get_int(t, c.index, &i), c.as_int != kFail ? 1 : 0);
    EXPECT_EQ(i, c.as_int);
    double d = kFail;
    EXPECT_EQ(tiff_parse_get_double(t, c.index, &d), c.as_double != kFail ? 1 : 0);
    EXPECT_TRUE(d == c.as_double || (std::isnan(d) && std::isnan(c.as_double))) << d;
    char out[100];
    tiff_parse_format(t, out, sizeof out);
    EXPECT_STREQ(out, c.text);
    // Text only for ASCII values that end in a zero byte.
    const bool text = c.record.type == TIFF_TYPE_ASCII && c.record.units.back() == 0;
    EXPECT_STREQ(tiff_parse_get_string(t), text ? c.text : nullptr);
  }
  EXPECT_EQ(tiff_parse_get_string(nullptr), nullptr);
}

TEST_P(TiffValues, FormatStopsWithinItsBuffer) {
  const auto tiff =
      BuildTiff(GetParam(), {Entry(1, TIFF_TYPE_SHORT, {1, 2, 65535}),
                             Entry(2, TIFF_TYPE_SHORT, std::vector<uint64_t>(100, 0))});
  Parser p = Parse(tiff);
  // Below 17 bytes only the mark fits, cut to fit; the limit (out_size - 16)
  // is checked between values, and the last value needs no mark.
  const std::tuple<uint16_t, int32_t, const char *> kCases[] = {
      {1, 16, " ..."},
      {1, 3, " ."},
      {1, 17, " 1 ..."},
      {1, 26, " 1 2 65535"},
      {2, 40, " 0 0 0 0 0 0 0 0 0 0 0 0 ..."}};
  for (const auto &[id, out_size, text] : kCases) {
    std::string out(static_cast<size_t>(out_size) + 8, '#');
    tiff_parse_format(Find(p.get(), 0, id), out.data(), out_size);
    EXPECT_STREQ(out.c_str(), text) << id << " in " << out_size;
    EXPECT_EQ(out.substr(static_cast<size_t>(out_size)), "########") << "wrote past out_size";
  }
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, TiffValues, ::testing::Bool(), [](const auto &order) {
  return order.param ? "BigEndian" : "LittleEndian";
});

TEST(TiffValuesByHand, RecordsTheParserNeverKeeps) {
  std::vector<uint64_t> storage((TIFF_TAG_ALLOC_SIZE(1) + 7) / 8);
  auto *rec = reinterpret_cast<tiff_tag *>(storage.data());
  reinterpret_cast<uint8_t *>(rec)[offsetof(tiff_tag, data)] = 1;
  char out[32] = "untouched";
  *rec = {nullptr, 0, TIFF_TYPE_ASCII, 0, 0, 0, {}};  // empty text
  EXPECT_EQ(tiff_parse_get_string(rec), nullptr);
  tiff_parse_format(rec, out, sizeof out);
  EXPECT_STREQ(out, "untouched");

  double d = 0;
  *rec = {nullptr, 0, 13, 0, 1, 1, {1}};  // unknown type
  EXPECT_FALSE(tiff_parse_get_double(rec, 0, &d));
  tiff_parse_format(rec, out, sizeof out);
  EXPECT_STREQ(out, " unknown");

  // A count larger than the stored bytes never reads past them.
  int32_t v = 0;
  *rec = {nullptr, 0, TIFF_TYPE_BYTE, 0, 1000, 1, {1}};
  EXPECT_FALSE(tiff_parse_get_int(rec, 1, &v));
  tiff_parse_format(rec, out, sizeof out);
  EXPECT_EQ(std::string(out).substr(0, 2), " 1");
}

TEST(TiffTagNames, TellingRowsAndTableSizes) {
  // Each table names its own directory's tags only; 0 ends the tables, and
  // 342 stands before 330 yet both are found.
  const std::tuple<int32_t, uint16_t, const char *> kCases[] = {
      {0, 271, "Make"},
      {0, 34665, "ExifIfdPointer"},
      {0, 33432, "Copyright"},
      {0, 342, "TransferRange"},
      {0, 330, "SubIfds"},
      {1, 37386, "FocalLength"},
      {1, 1, "InteroperabilityIndex"},
      {1, 42016, "ImageUniqueId"},
  };
  for (auto [dir, id] : {std::pair{0, 37386}, {1, 271}, {0, 0}, {1, 0}, {2, 271}, {-1, 271}}) {
    EXPECT_STREQ(tiff_parse_get_tag_name(dir, static_cast<uint16_t>(id)), "") << dir << "/" << id;
  }
  for (const auto &[dir, id, name] : kCases) {
    EXPECT_STREQ(tiff_parse_get_tag_name(dir, id), name) << dir << "/" << id;
  }
  for (auto [dir, rows] : {std::pair{0, 38}, std::pair{1, 70}}) {
    int named = 0;
    for (uint32_t id = 0; id <= 0xFFFF; ++id) {
      named += *tiff_parse_get_tag_name(dir, static_cast<uint16_t>(id)) != 0;
    }
    EXPECT_EQ(named, rows) << dir;
  }
}

}  // namespace
}  // namespace ortavel::test
