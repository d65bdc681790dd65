// The descriptor value the host keeps in its handles.
#include <gtest/gtest.h>

#include <stdexcept>

#include "emulator/descriptor.h"

namespace {

using hostemu::Descriptor;
using hostemu::fourCC;

TEST(FourCC, FirstCharacterIsTheMostSignificantByte) {
  EXPECT_EQ(fourCC("8BIM"), 0x3842494Du);
  EXPECT_EQ(fourCC("Parm"), 0x5061726Du);
  EXPECT_EQ(hostemu::fourCCText(0x6C6F6E67u), "long");
  EXPECT_EQ(hostemu::fourCCText(0x41000142u), "A\\x00\\x01B");
}

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

  const Descriptor back = Descriptor::deserialize(d.serialize());
  EXPECT_EQ(back, d);
  ASSERT_EQ(back.size(), 12u);
  const auto both = back.findAll(fourCC("paK1"));
  ASSERT_EQ(both.size(), 2u);
  EXPECT_EQ(std::get<double>(both[0]->value), -0.125);
  EXPECT_EQ(std::get<double>(both[1]->value), 2.5);
  EXPECT_EQ(back.getFloat(fourCC("paK1")), -0.125);  // typed look-up takes the first
  EXPECT_EQ(back.getInteger(fourCC("caTo")), -42);
  EXPECT_EQ(back.getEnumerated(fourCC("intM"))->value, fourCC("la08"));
  EXPECT_EQ(back.items()[4].type, fourCC("enum"));
  EXPECT_EQ(back.items()[6].type, fourCC("TEXT"));
  EXPECT_EQ(std::get<hostemu::TextValue>(back.items()[6].value).bytes.size(), 3u);
  const auto &obj = std::get<hostemu::ObjectValue>(back.items()[11].value);
  ASSERT_EQ(obj.items.size(), 2u);
  EXPECT_EQ(std::get<hostemu::StringValue>(obj.items[1].value).text, "inner");
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
  EXPECT_THROW(Descriptor::deserialize(std::vector<std::uint8_t>{}), std::runtime_error);
  EXPECT_THROW(Descriptor::deserialize(std::vector<std::uint8_t>{'X', 'D', 'S', 'C', 0, 0, 0, 0}),
               std::runtime_error);
  auto bytes = Descriptor().putFloat(fourCC("paK1"), 1.0).serialize();
  bytes.pop_back();  // truncated value
  EXPECT_THROW(Descriptor::deserialize(bytes), std::runtime_error);
  bytes = Descriptor().putFloat(fourCC("paK1"), 1.0).serialize();
  bytes.push_back(0);  // trailing garbage
  EXPECT_THROW(Descriptor::deserialize(bytes), std::runtime_error);
  // A claimed item count far beyond the bytes present must fail cleanly.
  std::vector<std::uint8_t> huge = {'O', 'D', 'S', 'C', 0xFF, 0xFF, 0xFF, 0x7F};
  EXPECT_THROW(Descriptor::deserialize(huge), std::runtime_error);
}

}  // namespace
