// The descriptor value the host keeps in its handles.
#include <gtest/gtest.h>

#include <stdexcept>

#include "emulator/descriptor.h"

namespace {

using hostemu::Descriptor;
using hostemu::fourCC;

TEST(Descriptor, EveryKindSurvivesTheByteFormInOrderWithDuplicates) {
  Descriptor nested;
  nested.putInteger(fourCC("wdth"), 7).putString(fourCC("name"), "inner");
  hostemu::ReferenceValue ref;
  ref.desiredClass = fourCC("Lyr ");
  ref.keyForm = fourCC("Ordn");
  ref.name = "layer";
  ref.index = -3;
  Descriptor d;
  d.putFloat(fourCC("paK1"), -0.125)
      .putInteger(fourCC("caTo"), -42)
      .putFloat(fourCC("paK1"), 2.5)  // a duplicate key stays, after the first
      .putBoolean(fourCC("flag"), true)
      .putEnumerated(fourCC("intM"), fourCC("intT"), fourCC("la08"))
      .putUnitFloat(fourCC("Rds "), fourCC("#Pxl"), 1.5)
      .putText(fourCC("txt "), std::string("a\0b", 3))
      .putAlias(fourCC("alis"), std::vector<std::uint8_t>{9, 8, 7})
      .putClass(fourCC("cls "), fourCC("Dcmn"))
      .putCount(fourCC("cnt "), 4000000000u)
      .putReference(fourCC("null"), ref)
      .putObject(fourCC("obj "), fourCC("Objc"), nested);

  EXPECT_EQ(fourCC("8BIM"), 0x3842494Du);  // first character most significant
  EXPECT_EQ(hostemu::fourCCText(0x41000142u), "A\\x00\\x01B");

  const Descriptor back = Descriptor::deserialize(d.serialize());
  EXPECT_EQ(back, d);
  ASSERT_EQ(back.size(), 12u);
  const auto both = back.findAll(fourCC("paK1"));
  ASSERT_EQ(both.size(), 2u);
  EXPECT_EQ(std::get<double>(both[1]->value), 2.5);
  EXPECT_EQ(back.getFloat(fourCC("paK1")), -0.125);  // typed look-up takes the first
  EXPECT_EQ(back.items()[6].type, fourCC("TEXT"));
  EXPECT_EQ(std::get<hostemu::TextValue>(back.items()[6].value).bytes.size(), 3u);
}

TEST(Descriptor, TypedLookupsAnswerNothingForAnotherKindAndStringsAreCut) {
  Descriptor d;
  d.putInteger(fourCC("paK1"), 3).putString(fourCC("exMa"), std::string(300, 'x'));
  EXPECT_FALSE(d.getFloat(fourCC("paK1")).has_value());
  EXPECT_FALSE(d.getFloat(fourCC("none")).has_value());
  EXPECT_EQ(d.find(fourCC("none")), nullptr);
  EXPECT_EQ(d.getString(fourCC("exMa"))->size(), 255u);  // what a Pascal string holds
}

TEST(Descriptor, RejectsBytesThatAreNotADescriptor) {
  const auto good = Descriptor().putFloat(fourCC("paK1"), 1.0).serialize();
  auto truncated = good, trailing = good;
  truncated.pop_back();
  trailing.push_back(0);
  const std::vector<std::uint8_t> bad[] = {
      {},
      {'X', 'D', 'S', 'C', 0, 0, 0, 0},
      truncated,
      trailing,
      {'O', 'D', 'S', 'C', 0xFF, 0xFF, 0xFF, 0x7F}};  // a count far beyond the bytes
  for (const auto &bytes : bad) EXPECT_THROW(Descriptor::deserialize(bytes), std::runtime_error);
}

}  // namespace
