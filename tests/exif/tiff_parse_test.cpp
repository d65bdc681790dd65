// Finding the TIFF block, reading the two directories, and the faults the
// reader files for broken or hostile blocks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "exif_test_util.h"
#include "tiff_writer.h"

namespace ortavel::test {
namespace {

using ::testing::ElementsAre;

constexpr int32_t kMachineOrder = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? 1 : 2;

std::vector<uint8_t> Bytes(std::initializer_list<int> list) {
  return std::vector<uint8_t>(list.begin(), list.end());
}

TEST(TiffParseLocate, BareLittleEndianBlock) {
  const auto tiff = TiffWriter(false).ifd0(Ascii(271, "Canon")).build();
  ASSERT_EQ(tiff.size(), 32u);  // header 8, IFD 2 + 12 + 4, then "Canon\0"
  Parser p = Parse(tiff);
  ASSERT_TRUE(p);
  EXPECT_EQ(p->error_count, 0);
  EXPECT_EQ(p->warning_count, 0);
  EXPECT_EQ(p->offset, 0);
  EXPECT_EQ(p->size, 32);
  EXPECT_EQ(p->file_order, 1);
  EXPECT_EQ(p->machine_order, kMachineOrder);
  ASSERT_THAT(Ids(p.get(), 0), ElementsAre(271));
  const tiff_tag *make = p->tags[0];
  EXPECT_EQ(make->type, 2);
  EXPECT_EQ(make->count, 6);
  EXPECT_EQ(make->size, 6);
  EXPECT_EQ(make->offset, 26u);
  EXPECT_STREQ(tiff_parse_get_string(make), "Canon");
  EXPECT_EQ(p->tags[1], nullptr);
}

TEST(TiffParseLocate, BareBigEndianBlock) {
  const auto tiff = TiffWriter(true).ifd0(Short(274, {6})).build();
  Parser p = Parse(tiff);
  EXPECT_EQ(p->error_count, 0);
  EXPECT_EQ(p->file_order, 2);
  EXPECT_EQ(p->offset, 0);
  int32_t v = 0;
  ASSERT_TRUE(tiff_parse_get_int(Find(p.get(), 0, 274), 0, &v));
  EXPECT_EQ(v, 6);
}

TEST(TiffParseLocate, JpegApp1AfterApp0) {
  const auto tiff = TiffWriter(true).ifd0(Ascii(272, "D100")).build();
  size_t app1 = 0;
  const auto jpeg = WrapInJpeg(tiff, &app1);
  ASSERT_EQ(app1, 20u);  // SOI 2 + APP0 18
  Parser p = Parse(jpeg);
  EXPECT_EQ(p->error_count, 0);
  EXPECT_EQ(p->offset, 30);
  EXPECT_EQ(p->data, jpeg.data() + 30);
  EXPECT_EQ(p->size, static_cast<int32_t>(tiff.size()));  // APP1 length - 8
  EXPECT_EQ(p->file_order, 2);
  EXPECT_STREQ(tiff_parse_get_string(Find(p.get(), 0, 272)), "D100");
}

TEST(TiffParseLocate, FallsBackToScanning) {
  const auto tiff = TiffWriter(false).ifd0(Short(274, {3})).build();
  // A quantisation table straight after SOI ends the segment walk.
  auto dqt_first = Bytes({0xFF, 0xD8, 0xFF, 0xDB, 0x00, 0x04, 0x00, 0x00});
  dqt_first.insert(dqt_first.end(), tiff.begin(), tiff.end());
  Parser p = Parse(dqt_first);
  EXPECT_EQ(p->error_count, 0);
  EXPECT_EQ(p->offset, 8);
  EXPECT_EQ(p->size, static_cast<int32_t>(tiff.size()));
  EXPECT_THAT(Ids(p.get(), 0), ElementsAre(274));

  // An APP1 segment shorter than 8 bytes ends the walk as well.
  auto short_app1 = Bytes({0xFF, 0xD8, 0xFF, 0xE1, 0x00, 0x06, 'E', 'x', 'i', 'f'});
  short_app1.insert(short_app1.end(), tiff.begin(), tiff.end());
  p = Parse(short_app1);
  EXPECT_EQ(p->error_count, 0);
  EXPECT_EQ(p->offset, 10);

  // Plain bytes before the header.
  auto junk_first = Bytes({'x', 'I', 'M', 0, '*', 'I', 'I'});
  junk_first.insert(junk_first.end(), tiff.begin(), tiff.end());
  p = Parse(junk_first);
  EXPECT_EQ(p->error_count, 0);
  EXPECT_EQ(p->offset, 7);
}

TEST(TiffParseLocate, HeaderFaults) {
  Parser p = Parse(Bytes({'I', 'I', '*'}));
  EXPECT_EQ(p->error_count, 1);
  EXPECT_STREQ(p->errors[0], "Not enough space for TIFF endian header");

  p = Parser(tiff_parse(nullptr, 100, kKeepAll));
  EXPECT_STREQ(p->errors[0], "Not enough space for TIFF endian header");

  p = Parse(std::vector<uint8_t>(16, 'A'));
  EXPECT_EQ(p->error_count, 1);
  EXPECT_STREQ(p->errors[0], "Could not find start of TIFF file");

  p = Parse(Bytes({'I', 'I', '*', 0, 8, 0}));
  EXPECT_EQ(p->warning_count, 1);
  EXPECT_STREQ(p->warnings[0], "Accessing non valid memory 4 - 8 (0 - 6)");
  EXPECT_EQ(p->error_count, 1);
  EXPECT_STREQ(p->errors[0], "Not enough space for TIFF IFD0 offset");

  // An APP1 payload of 2 bytes, at position 12 of the buffer.
  p = Parse(Bytes({0xFF, 0xD8, 0xFF, 0xE1, 0, 10, 'E', 'x', 'i', 'f', 0, 0, 'I', 'I'}));
  EXPECT_EQ(p->offset, 12);
  EXPECT_EQ(p->size, 2);
  EXPECT_STREQ(p->warnings[0], "Accessing non valid memory c - 10 (c - e)");
  EXPECT_STREQ(p->errors[0], "Not enough space for TIFF endian header");

  // The segment walk takes an APP1 "Exif" payload without looking at it.
  p = Parse(Bytes(
      {0xFF, 0xD8, 0xFF, 0xE1, 0, 16, 'E', 'x', 'i', 'f', 0, 0, 'I', 'M', '*', 0, 8, 0, 0, 0}));
  EXPECT_EQ(p->error_count, 1);
  EXPECT_STREQ(p->errors[0], "Unknown tiff endian");
}

TEST(TiffParseDirectory, InlineAndOutsideValues) {
  const auto tiff = TiffWriter(false)
                        .ifd0(Long(273, {70000}))
                        .ifd0(Short(258, {8, 16}))
                        .ifd0(Ascii(305, "ABC"))   // 4 bytes: in the entry
                        .ifd0(Ascii(270, "ABCD"))  // 5 bytes: after the IFD at 8 + 54
                        .build();
  Parser p = Parse(tiff);
  ASSERT_EQ(p->error_count, 0);
  // Pushed at the head: the list runs against file order.
  EXPECT_THAT(Ids(p.get(), 0), ElementsAre(270, 305, 258, 273));
  EXPECT_EQ(Find(p.get(), 0, 273)->offset, 0u);
  EXPECT_EQ(Find(p.get(), 0, 258)->offset, 0u);
  EXPECT_EQ(Find(p.get(), 0, 305)->offset, 0u);
  EXPECT_EQ(Find(p.get(), 0, 270)->offset, 62u);
  EXPECT_STREQ(tiff_parse_get_string(Find(p.get(), 0, 305)), "ABC");
  EXPECT_STREQ(tiff_parse_get_string(Find(p.get(), 0, 270)), "ABCD");
  int32_t v = 0;
  EXPECT_TRUE(tiff_parse_get_int(Find(p.get(), 0, 258), 1, &v));
  EXPECT_EQ(v, 16);
  EXPECT_TRUE(tiff_parse_get_int(Find(p.get(), 0, 273), 0, &v));
  EXPECT_EQ(v, 70000);
}

TEST(TiffParseDirectory, EntriesPastTheEnd) {
  auto tiff =
      TiffWriter(false).ifd0(Short(256, {1})).ifd0(Short(257, {2})).ifd0(Short(258, {3})).build();
  tiff.resize(8 + 2 + 12 * 2);  // room for two of the three entries
  Parser p = Parse(tiff);
  EXPECT_EQ(p->warning_count, 1);
  EXPECT_STREQ(p->warnings[0], "Accessing non valid memory a - 2e (0 - 22)");
  EXPECT_EQ(p->error_count, 2);
  EXPECT_STREQ(p->errors[0], "Faulty address at end of IFD");
  EXPECT_STREQ(p->errors[1], "Problems parse TIFF main directory");
  EXPECT_EQ(p->tags[0], nullptr);

  // IFD0 beyond the block.
  p = Parse(Bytes({'M', 'M', 0, '*', 0, 0, 0, 8}));
  EXPECT_STREQ(p->warnings[0], "Accessing non valid memory 8 - a (0 - 8)");
  EXPECT_STREQ(p->errors[0], "Faulty address to beginning of IFD");
  EXPECT_STREQ(p->errors[1], "Problems parse TIFF main directory");
}

TEST(TiffParseDirectory, BrokenExifDirectoryKeepsIfd0) {
  // IFD0 at 8 (2 entries, 30 bytes), EXIF directory at 38 with 2 entries,
  // cut after its first entry.
  TiffWriter w(false);
  w.ifd0(Short(274, {1})).exif(Short(41986, {0})).exif(Short(41987, {1}));
  ASSERT_EQ(w.exif_offset(), 38u);
  auto tiff = w.build();
  tiff.resize(38 + 2 + 12);
  Parser p = Parse(tiff);
  EXPECT_EQ(p->error_count, 1);
  EXPECT_STREQ(p->errors[0], "Faulty address at end of IFD");
  EXPECT_EQ(p->warning_count, 2);
  EXPECT_STREQ(p->warnings[0], "Accessing non valid memory 28 - 40 (0 - 34)");
  EXPECT_STREQ(p->warnings[1], "Problems parsing EXIF directory");
  EXPECT_THAT(Ids(p.get(), 0), ElementsAre(34665, 274));
  EXPECT_EQ(p->tags[1], nullptr);

  // An EXIF pointer outside the block, near the top of the 32-bit range.
  const auto outside =
      TiffWriter(false).ifd0(Short(274, {1})).ifd0(Raw(34665, 4, 1, 0xFFFFFFFFu)).build();
  p = Parse(outside);
  EXPECT_EQ(p->error_count, 1);
  EXPECT_STREQ(p->errors[0], "Faulty address to beginning of IFD");
  EXPECT_EQ(p->warning_count, 2);
  EXPECT_STREQ(p->warnings[0], "Accessing non valid memory ffffffff - 100000001 (0 - 26)");
  EXPECT_STREQ(p->warnings[1], "Problems parsing EXIF directory");
  EXPECT_THAT(Ids(p.get(), 0), ElementsAre(34665, 274));
}

TEST(TiffParseDirectory, FaultyEntriesAreSkipped) {
  const auto tiff = TiffWriter(false)
                        .ifd0(Raw(271, 13, 1, 0))            // no such type
                        .ifd0(Raw(272, 0, 1, 0))             // type 0
                        .ifd0(Raw(270, 2, 10, 0xFFFFFFF8u))  // value wraps 32 bits
                        .ifd0(Raw(273, 4, 0x40000000u, 8))   // size 2^32
                        .ifd0(Raw(279, 5, 0x20000000u, 8))   // size 2^32
                        .ifd0(Raw(305, 1, 0x80000000u, 8))   // size 2^31
                        .ifd0(Short(274, {8}))
                        .build();
  const int32_t size = 8 + 2 + 7 * 12 + 4;
  ASSERT_EQ(tiff.size(), static_cast<size_t>(size));
  Parser p = Parse(tiff);
  EXPECT_EQ(p->error_count, 0);
  ASSERT_EQ(p->warning_count, 7);
  EXPECT_STREQ(p->warnings[0], "Skipping faulty tag <10f>");
  EXPECT_STREQ(p->warnings[1], "Skipping faulty tag <110>");
  EXPECT_STREQ(p->warnings[2], "Accessing non valid memory fffffff8 - 100000002 (0 - 62)");
  EXPECT_STREQ(p->warnings[3], "Faulty data address - Skipping tag 10e");
  EXPECT_STREQ(p->warnings[4], "Faulty data address - Skipping tag 111");
  EXPECT_STREQ(p->warnings[5], "Faulty data address - Skipping tag 117");
  EXPECT_STREQ(p->warnings[6], "Faulty data address - Skipping tag 131");
  EXPECT_THAT(Ids(p.get(), 0), ElementsAre(274));
}

TEST(TiffParseDirectory, SharedValueBytesAreKeptWithinABudget) {
  // 600 entries all pointing at one 4000-byte text: 7214 + 4000 = 11214 bytes.
  // A directory keeps at most 8 x 11214 + 2^20 = 1138288 value bytes, which
  // is 284 copies; the other 316 are refused like failed allocations.
  TiffWriter w(false);
  for (int i = 0; i < 600; ++i) w.ifd0(Raw(270, 2, 4000, 8 + 2 + 12 * 600 + 4));
  auto tiff = w.build();
  ASSERT_EQ(tiff.size(), 7214u);
  tiff.resize(tiff.size() + 4000, 'a');
  tiff.back() = 0;
  Parser p = Parse(tiff);
  EXPECT_EQ(p->error_count, 0);
  EXPECT_EQ(Ids(p.get(), 0).size(), 284u);
  EXPECT_EQ(p->warning_count, 316);
  EXPECT_STREQ(p->warnings[5], "Could not allocate tag record");
}

TEST(TiffParseMessages, RingsWrapAndCountsGrow) {
  TiffWriter w(true);
  for (uint16_t tag = 1; tag <= 12; ++tag) w.ifd0(Raw(tag, 99, 1, 0));
  Parser p = Parse(w.build());
  EXPECT_EQ(p->warning_count, 12);
  EXPECT_STREQ(p->warnings[0], "Skipping faulty tag <b>");
  EXPECT_STREQ(p->warnings[1], "Skipping faulty tag <c>");
  EXPECT_STREQ(p->warnings[2], "Skipping faulty tag <3>");
  EXPECT_STREQ(p->warnings[9], "Skipping faulty tag <a>");
  EXPECT_EQ(p->error_count, 0);

  for (int i = 0; i < 11; ++i) tiff_parse_set_error(p.get(), "error %d", i);
  EXPECT_EQ(p->error_count, 11);
  EXPECT_STREQ(p->errors[0], "error 10");
  EXPECT_STREQ(p->errors[1], "error 1");

  // A message longer than its slot is cut, never spilled into the next one.
  const std::string long_text(300, 'w');
  tiff_parse_set_warning(p.get(), "%s", long_text.c_str());
  EXPECT_EQ(std::strlen(p->warnings[2]), 99u);
  EXPECT_STREQ(p->warnings[3], "Skipping faulty tag <4>");
  tiff_parse_set_warning(nullptr, "dropped");  // no record: nothing to do
}

TEST(TiffParseFilter, KeepsListedTagsAndStillFollowsTheExifPointer) {
  const uint16_t ifd0_keep[] = {271, 0};
  const uint16_t exif_keep[] = {37386, 0};
  const uint16_t *const filter[2] = {ifd0_keep, exif_keep};
  const auto tiff = TiffWriter(true)
                        .ifd0(Ascii(271, "NIKON"))
                        .ifd0(Ascii(272, "E4600"))
                        .ifd0(Short(274, {1}))
                        .exif(Rational(33437, {{82, 10}}))
                        .exif(Rational(37386, {{171, 10}}))
                        .build();
  Parser p = Parse(tiff, filter);
  EXPECT_EQ(p->error_count, 0);
  EXPECT_THAT(Ids(p.get(), 0), ElementsAre(271));
  ASSERT_THAT(Ids(p.get(), 1), ElementsAre(37386));
  double focal = 0;
  EXPECT_TRUE(tiff_parse_get_double(p->tags[1], 0, &focal));
  EXPECT_DOUBLE_EQ(focal, 17.1);

  Parser all = Parse(tiff);
  EXPECT_THAT(Ids(all.get(), 0), ElementsAre(34665, 274, 272, 271));
  EXPECT_THAT(Ids(all.get(), 1), ElementsAre(37386, 33437));
}

TEST(TiffParseFilter, WhichExifPointerCounts) {
  // A faulty-typed pointer is skipped, and with it the EXIF directory, unless
  // the filter leaves it out: then its type is never looked at.
  TiffWriter faulty(false);
  faulty.link_exif(false).ifd0(Short(274, {1})).exif(Short(41987, {1}));
  faulty.ifd0(Raw(34665, 0, 1, 8 + 2 + 24 + 4));  // just after IFD0's two entries
  const auto tiff = faulty.build();
  Parser p = Parse(tiff);
  EXPECT_STREQ(p->warnings[0], "Skipping faulty tag <8769>");
  EXPECT_EQ(p->tags[1], nullptr);

  const uint16_t orientation_only[] = {274, 0};
  const uint16_t *const filter[2] = {orientation_only, nullptr};
  p = Parse(tiff, filter);
  EXPECT_EQ(p->warning_count, 0);
  EXPECT_THAT(Ids(p.get(), 1), ElementsAre(41987));

  // A later pointer replaces an earlier one.
  TiffWriter twice(false);
  twice.link_exif(false).exif(Short(41987, {1}));
  twice.ifd0(Raw(34665, 4, 1, 0x1000)).ifd0(Raw(34665, 4, 1, 8 + 2 + 24 + 4));
  p = Parse(twice.build());
  EXPECT_EQ(p->error_count, 0);
  EXPECT_EQ(p->warning_count, 0);
  EXPECT_THAT(Ids(p.get(), 1), ElementsAre(41987));

  // Inside the EXIF directory the pointer is an ordinary tag: pointing back
  // at IFD0 reads nothing twice.
  p = Parse(TiffWriter(true).exif(Raw(34665, 4, 1, 8)).build());
  EXPECT_EQ(p->error_count, 0);
  EXPECT_THAT(Ids(p.get(), 0), ElementsAre(34665));
  EXPECT_THAT(Ids(p.get(), 1), ElementsAre(34665));
}

TEST(TiffParseDirectory, DirectCallsCheckTheirArguments) {
  const auto tiff = TiffWriter(false).ifd0(Short(274, {1})).build();
  Parser p = Parse(tiff);
  EXPECT_EQ(tiff_parse_directory(p.get(), 8, 2, kKeepAll), 0);
  EXPECT_EQ(tiff_parse_directory(nullptr, 8, 0, kKeepAll), 0);
  // Reading IFD0 again as directory 1 with no filter array at all.
  EXPECT_EQ(tiff_parse_directory(p.get(), 8, 1, nullptr), 1);
  EXPECT_THAT(Ids(p.get(), 1), ElementsAre(274));
  tiff_parse_discard(nullptr);
}

TEST(TiffScan, SignaturesAndTheStateMachine) {
  auto scan = [](const std::string &s) -> long {
    const auto *from = reinterpret_cast<const uint8_t *>(s.data());
    const uint8_t *hit = tiff_parse_get_next_possible_tiff_start(from, from + s.size());
    return hit ? hit - from : -1;
  };
  using namespace std::string_literals;
  const std::string pad = "...";
  EXPECT_EQ(scan("II*\0"s + pad), 0);
  EXPECT_EQ(scan("MM\0*"s + pad), 0);
  EXPECT_EQ(scan("abII*\0"s + pad), 2);
  EXPECT_EQ(scan("IIII*\0"s + pad), 2);  // extra leading bytes of the same kind
  EXPECT_EQ(scan("MMM\0*"s + pad), 1);
  EXPECT_EQ(scan("MII*\0"s + pad), -1);  // a wrong-kind byte resets to 0
  EXPECT_EQ(scan("IMM\0*"s + pad), -1);
  EXPECT_EQ(scan("II*II*\0"s + pad), -1);
  EXPECT_EQ(scan("I\0II*\0"s + pad), 2);
  // The last three bytes are never read.
  EXPECT_EQ(scan("II*\0"s + ".."), -1);
  EXPECT_EQ(scan("II*"s), -1);
  EXPECT_EQ(scan(""s), -1);
}

}  // namespace
}  // namespace ortavel::test
