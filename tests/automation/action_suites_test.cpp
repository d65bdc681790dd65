// The action suites as an automation plug-in reaches them: acquired through
// the basic suite, called through their tables, answering with the values put
// and with the documented errors.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "emulator/automation/action_suites.h"
#include "emulator/suites/suite_host.h"

namespace hostemu {
namespace {

constexpr DescriptorKeyID kA = PS_FOURCC('k', 'e', 'y', 'A');
constexpr DescriptorKeyID kB = PS_FOURCC('k', 'e', 'y', 'B');
constexpr DescriptorKeyID kMissing = PS_FOURCC('n', 'o', 'n', 'e');

class ActionSuitesTest : public ::testing::Test {
 protected:
  ActionSuitesTest()
      : suites(
            SuiteEnvironment{&doc, nullptr, [this](std::string line) { lines.push_back(line); }}),
        actions(environment()) {}

  ActionEnvironment environment() {
    ActionEnvironment env;
    env.log = [this](std::string line) { lines.push_back(std::move(line)); };
    env.handles = &store;
    env.play = [this](std::uint32_t event, const ActionDescriptor *in, std::int32_t options,
                      std::optional<ActionDescriptor> &out) -> OSErr {
      played.push_back({event, options, in ? std::optional(*in) : std::nullopt});
      ActionDescriptor reply;
      ActionValue v;
      v.type = typeInteger;
      v.integer = 42;
      reply.put(kB, v);
      out = reply;
      return playStatus;
    };
    env.get = [](const ActionReference &ref, ActionDescriptor &out) -> OSErr {
      ActionValue v;
      v.type = typeInteger;
      v.integer = static_cast<std::int64_t>(ref.parts.size());
      out.put(kA, v);
      return noErr;
    };
    env.stringIds["com.example.filter"] = PS_FOURCC('F', 'l', 't', 'X');
    env.mainWindow = 0x5A17;
    return env;
  }

  void SetUp() override {
    const SPBasicSuite *basic = suites.basicSuite();
    ASSERT_EQ(basic->AcquireSuite(kPSActionDescriptorSuite, 5, reinterpret_cast<const void **>(&d)),
              0);
    ASSERT_EQ(basic->AcquireSuite(kPSActionListSuite, 3, reinterpret_cast<const void **>(&l)), 0);
    ASSERT_EQ(basic->AcquireSuite(kPSActionReferenceSuite, 3, reinterpret_cast<const void **>(&r)),
              0);
    ASSERT_EQ(basic->AcquireSuite(kPSActionControlSuite, 6, reinterpret_cast<const void **>(&c)),
              0);
  }

  PIActionDescriptor make() {
    PIActionDescriptor out = nullptr;
    EXPECT_EQ(d->Make(&out), noErr);
    return out;
  }

  struct Played {
    std::uint32_t event;
    std::int32_t options;
    std::optional<ActionDescriptor> in;
  };

  Document doc;
  HandleStore store;
  std::vector<std::string> lines;
  std::vector<Played> played;
  OSErr playStatus = noErr;
  SuiteHost suites;
  ActionSuites actions;
  SuiteHost::Activation suitesOn = suites.activate();
  ActionSuites::Activation actionsOn = actions.activate();
  const PSActionDescriptorProcs *d = nullptr;
  const PSActionListProcs *l = nullptr;
  const PSActionReferenceProcs *r = nullptr;
  const PSActionControlProcs *c = nullptr;
};

// Every listed version answers with a complete table; no slot is null.
TEST_F(ActionSuitesTest, EveryVersionGetsAFullTable) {
  struct Case {
    const char *name;
    std::vector<int> versions;
    std::size_t bytes;
  };
  const Case cases[] = {
      {kPSActionDescriptorSuite, {2, 3, 4, 5}, sizeof(PSActionDescriptorProcs)},
      {kPSActionListSuite, {1, 2, 3}, sizeof(PSActionListProcs)},
      {kPSActionReferenceSuite, {2, 3}, sizeof(PSActionReferenceProcs)},
      {kPSActionControlSuite, {2, 3, 4, 5, 6}, sizeof(PSActionControlProcs)},
      {kPSBasicActionControlSuite, {1, 2, 3}, sizeof(PSBasicActionControlProcs)},
      {kPSDescriptorRegistrySuite, {1}, sizeof(PSDescriptorRegistryProcs)},
      // Version 4 appends three entries to version 1's eight.
      {kPSUIHooksSuite, {1, 2, 3, 4}, sizeof(PSUIHooksSuite1) + 3 * sizeof(void *)},
  };
  for (const Case &k : cases) {
    const void *first = nullptr;
    for (int v : k.versions) {
      const void *table = nullptr;
      ASSERT_EQ(suites.basicSuite()->AcquireSuite(k.name, v, &table), 0) << k.name << " v" << v;
      if (first == nullptr) first = table;
      EXPECT_EQ(table, first) << "one newest table for every version of " << k.name;
      std::vector<void *> slots(k.bytes / sizeof(void *));
      std::memcpy(slots.data(), table, k.bytes);
      for (std::size_t i = 0; i < slots.size(); ++i) EXPECT_NE(slots[i], nullptr) << k.name << i;
    }
  }
  const void *table = nullptr;
  EXPECT_NE(suites.basicSuite()->AcquireSuite(kPSActionDescriptorSuite, 6, &table), 0);
  EXPECT_NE(suites.basicSuite()->AcquireSuite(kPSActionReferenceSuite, 4, &table), 0);
  // The step's dialog parent: the window the host names.
  const PSUIHooksSuite1 *hooks = nullptr;
  ASSERT_EQ(suites.basicSuite()->AcquireSuite(kPSUIHooksSuite, 1,
                                              reinterpret_cast<const void **>(&hooks)),
            0);
  EXPECT_EQ(hooks->MainAppWindow(), 0x5A17);
  // Entries the host does not provide answer an error rather than crash.
  ASZString z = nullptr;
  PIActionDescriptor desc = make();
  EXPECT_EQ(d->GetZString(desc, kA, &z), errPlugInHostInsufficient);
  EXPECT_EQ(c->AddNotify(nullptr, kA, nullptr, nullptr), errPlugInHostInsufficient);
  EXPECT_EQ(d->Free(desc), noErr);
}

// Values come back as they were put, floats bit for bit (passed by value).
TEST_F(ActionSuitesTest, DescriptorValuesComeBackAsPut) {
  PIActionDescriptor desc = make();
  EXPECT_EQ(d->PutFloat(desc, kA, 0.1), noErr);
  double f = 0.0;
  EXPECT_EQ(d->GetFloat(desc, kA, &f), noErr);
  EXPECT_EQ(f, 0.1);
  EXPECT_EQ(d->PutInteger(desc, kA, -7), noErr);  // replaces: one value per key
  int32 i = 0;
  EXPECT_EQ(d->GetInteger(desc, kA, &i), noErr);
  EXPECT_EQ(i, -7);
  EXPECT_EQ(d->PutUnitFloat(desc, kB, unitPixels, 1234.5), noErr);
  DescriptorUnitID unit = 0;
  EXPECT_EQ(d->GetUnitFloat(desc, kB, &unit, &f), noErr);
  EXPECT_EQ(unit, unitPixels);
  EXPECT_EQ(f, 1234.5);
  uint32 count = 0;
  EXPECT_EQ(d->GetCount(desc, &count), noErr);
  EXPECT_EQ(count, 2u);
  DescriptorKeyID key = 0;
  EXPECT_EQ(d->GetKey(desc, 1, &key), noErr);
  EXPECT_EQ(key, kB);
  DescriptorTypeID type = 0;
  EXPECT_EQ(d->GetType(desc, kA, &type), noErr);
  EXPECT_EQ(type, typeInteger);

  const DescriptorKeyID s = PS_FOURCC('s', 't', 'r', ' ');
  EXPECT_EQ(d->PutString(desc, s, "0x7ffc1234"), noErr);
  uint32 length = 0;
  EXPECT_EQ(d->GetStringLength(desc, s, &length), noErr);
  EXPECT_EQ(length, 10u);
  char text[16];
  EXPECT_EQ(d->GetString(desc, s, text, length + 1), noErr);
  EXPECT_STREQ(text, "0x7ffc1234");
  EXPECT_EQ(d->GetString(desc, s, text, 4), noErr);  // maxLength counts the terminator
  EXPECT_STREQ(text, "0x7");

  const DescriptorKeyID e = PS_FOURCC('e', 'n', 'u', 'm');
  EXPECT_EQ(d->PutEnumerated(desc, e, PS_FOURCC('i', 'n', 't', 'T'), PS_FOURCC('l', 'a', '0', '8')),
            noErr);
  DescriptorEnumTypeID enumType = 0;
  DescriptorEnumID enumValue = 0;
  EXPECT_EQ(d->GetEnumerated(desc, e, &enumType, &enumValue), noErr);
  EXPECT_EQ(enumType, PS_FOURCC('i', 'n', 't', 'T'));
  EXPECT_EQ(enumValue, PS_FOURCC('l', 'a', '0', '8'));

  const DescriptorKeyID b = PS_FOURCC('b', 'o', 'o', 'l');
  EXPECT_EQ(d->PutBoolean(desc, b, 1), noErr);
  Boolean flag = 0;
  EXPECT_EQ(d->GetBoolean(desc, b, &flag), noErr);
  EXPECT_EQ(flag, 1);
  EXPECT_EQ(d->PutInteger64(desc, b, int64{1} << 40), noErr);
  int64 wide = 0;
  EXPECT_EQ(d->GetInteger64(desc, b, &wide), noErr);
  EXPECT_EQ(wide, int64{1} << 40);

  Boolean has = 0;
  EXPECT_EQ(d->HasKey(desc, kMissing, &has), noErr);
  EXPECT_EQ(has, 0);
  DescriptorKeyID required[] = {kA, kB, 0};
  EXPECT_EQ(d->HasKeys(desc, required, &has), noErr);
  EXPECT_EQ(has, 1);

  PIActionDescriptor copy = nullptr;
  EXPECT_EQ(d->Copy(desc, &copy), noErr);
  Boolean equal = 0;
  EXPECT_EQ(d->IsEqual(desc, copy, &equal), noErr);
  EXPECT_EQ(equal, 1);
  EXPECT_EQ(d->Erase(copy, kA), noErr);
  EXPECT_EQ(d->IsEqual(desc, copy, &equal), noErr);
  EXPECT_EQ(equal, 0);
  EXPECT_EQ(d->Clear(copy), noErr);
  EXPECT_EQ(d->GetCount(copy, &count), noErr);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(d->Free(copy), noErr);
  EXPECT_EQ(d->Free(desc), noErr);
  EXPECT_EQ(actions.liveObjects(), 0u);
}

// A missing key, a value of another type, a dead object: the documented codes.
TEST_F(ActionSuitesTest, DescriptorErrorsAndCoercions) {
  PIActionDescriptor desc = make();
  int32 i = 99;
  double f = 0.0;
  char text[8] = "keep";
  EXPECT_EQ(d->GetInteger(desc, kMissing, &i), errMissingParameter);
  EXPECT_EQ(d->GetFloat(desc, kMissing, &f), errMissingParameter);
  EXPECT_EQ(d->GetString(desc, kMissing, text, sizeof text), errMissingParameter);
  EXPECT_EQ(d->Erase(desc, kMissing), errMissingParameter);
  EXPECT_EQ(i, 99);

  EXPECT_EQ(d->PutFloat(desc, kA, 2.5), noErr);
  EXPECT_EQ(d->GetInteger(desc, kA, &i), paramErr);  // no float -> integer
  EXPECT_EQ(d->GetString(desc, kA, text, sizeof text), paramErr);
  EXPECT_STREQ(text, "keep");
  DescriptorEnumID e = 0;
  EXPECT_EQ(d->GetEnumerated(desc, kA, nullptr, &e), paramErr);
  DescriptorUnitID unit = 0;
  EXPECT_EQ(d->GetUnitFloat(desc, kA, &unit, &f), noErr);  // float -> unit float, no unit
  EXPECT_EQ(unit, unitNone);
  EXPECT_EQ(f, 2.5);
  EXPECT_EQ(d->PutInteger(desc, kB, 7), noErr);
  EXPECT_EQ(d->GetFloat(desc, kB, &f), noErr);  // integer -> float
  EXPECT_EQ(f, 7.0);
  EXPECT_EQ(d->GetFloat(desc, kA, nullptr), paramErr);

  EXPECT_EQ(d->Free(desc), noErr);
  EXPECT_EQ(d->Free(desc), paramErr);  // already freed
  EXPECT_EQ(d->PutInteger(desc, kA, 1), paramErr);
  EXPECT_EQ(d->GetInteger(desc, kB, &i), paramErr);
  EXPECT_TRUE(std::find(lines.begin(), lines.end(), "descriptor.Free(?) -> -50") != lines.end());
}

// Objects, lists and references are copied in and out: the caller owns both.
TEST_F(ActionSuitesTest, ObjectsListsAndReferencesAreCopies) {
  PIActionDescriptor outer = make();
  PIActionDescriptor inner = make();
  EXPECT_EQ(d->PutInteger(inner, kA, 1), noErr);
  EXPECT_EQ(d->PutObject(outer, kB, PS_FOURCC('C', 'l', 's', 'X'), inner), noErr);
  EXPECT_EQ(d->PutInteger(inner, kA, 2), noErr);  // after the put: not seen
  DescriptorClassID cls = 0;
  PIActionDescriptor got = nullptr;
  EXPECT_EQ(d->GetObject(outer, kB, &cls, &got), noErr);
  EXPECT_EQ(cls, PS_FOURCC('C', 'l', 's', 'X'));
  int32 i = 0;
  EXPECT_EQ(d->GetInteger(got, kA, &i), noErr);
  EXPECT_EQ(i, 1);
  DescriptorTypeID type = 0;
  EXPECT_EQ(d->GetType(outer, kB, &type), noErr);
  EXPECT_EQ(type, typeObject);

  PIActionList list = nullptr;
  EXPECT_EQ(l->Make(&list), noErr);
  EXPECT_EQ(l->PutInteger(list, 5), noErr);
  EXPECT_EQ(l->PutString(list, "two"), noErr);
  EXPECT_EQ(l->PutFloat(list, -0.5), noErr);
  uint32 count = 0;
  EXPECT_EQ(l->GetCount(list, &count), noErr);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(l->GetType(list, 1, &type), noErr);
  EXPECT_EQ(type, typeChar);
  double f = 0.0;
  EXPECT_EQ(l->GetFloat(list, 2, &f), noErr);
  EXPECT_EQ(f, -0.5);
  EXPECT_EQ(l->GetInteger(list, 3, &i), paramErr);  // past the end
  EXPECT_EQ(l->GetInteger(list, 1, &i), paramErr);  // a string
  EXPECT_EQ(d->PutList(outer, kA, list), noErr);
  EXPECT_EQ(l->Free(list), noErr);
  PIActionList back = nullptr;
  EXPECT_EQ(d->GetList(outer, kA, &back), noErr);
  EXPECT_EQ(l->GetCount(back, &count), noErr);
  EXPECT_EQ(count, 3u);
  int32 values[2] = {3, 4};
  EXPECT_EQ(l->PutIntegers(back, 2, values), noErr);
  int32 first[1] = {0};
  EXPECT_EQ(l->GetIntegers(back, 1, first), noErr);
  EXPECT_EQ(first[0], 5);
  EXPECT_EQ(l->GetIntegers(back, 2, values), paramErr);  // the second is a string

  // A document's width: the property, then its container.
  PIActionReference ref = nullptr;
  EXPECT_EQ(r->Make(&ref), noErr);
  EXPECT_EQ(r->PutProperty(ref, classProperty, keyWidth), noErr);
  EXPECT_EQ(r->PutEnumerated(ref, classDocument, typeOrdinal, enumTarget), noErr);
  DescriptorFormID form = 0;
  EXPECT_EQ(r->GetForm(ref, &form), noErr);
  EXPECT_EQ(form, formProperty);
  DescriptorKeyID property = 0;
  EXPECT_EQ(r->GetProperty(ref, &property), noErr);
  EXPECT_EQ(property, keyWidth);
  uint32 index = 0;
  EXPECT_EQ(r->GetIndex(ref, &index), paramErr);  // not an index form
  PIActionReference container = nullptr;
  EXPECT_EQ(r->GetContainer(ref, &container), noErr);
  DescriptorEnumID value = 0;
  DescriptorEnumTypeID enumType = 0;
  EXPECT_EQ(r->GetEnumerated(container, &enumType, &value), noErr);
  EXPECT_EQ(value, enumTarget);
  EXPECT_EQ(r->GetDesiredClass(container, &property), noErr);
  EXPECT_EQ(property, classDocument);

  for (auto *p : {got, outer, inner}) EXPECT_EQ(d->Free(p), noErr);
  EXPECT_EQ(l->Free(back), noErr);
  EXPECT_EQ(r->Free(container), noErr);
  EXPECT_EQ(r->Free(ref), noErr);
  EXPECT_EQ(actions.liveObjects(), 0u);
}

// AsHandle gives the filter's descriptor handle; what it cannot hold fails.
TEST_F(ActionSuitesTest, HandlesAndTheRegistry) {
  PIActionDescriptor desc = make();
  EXPECT_EQ(d->PutFloat(desc, PS_FOURCC('p', 'a', 'K', '1'), -0.125), noErr);
  PIDescriptorHandle h = nullptr;
  ASSERT_EQ(d->AsHandle(desc, &h), noErr);
  const Descriptor seen = Descriptor::deserialize(store.bytes(h));
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen.getFloat(PS_FOURCC('p', 'a', 'K', '1')), -0.125);
  PIActionDescriptor back = nullptr;
  EXPECT_EQ(d->HandleToDescriptor(h, &back), noErr);
  Boolean equal = 0;
  EXPECT_EQ(d->IsEqual(desc, back, &equal), noErr);
  EXPECT_EQ(equal, 1);
  store.dispose(h);

  PIActionList list = nullptr;
  EXPECT_EQ(l->Make(&list), noErr);
  EXPECT_EQ(d->PutList(back, kA, list), noErr);
  EXPECT_EQ(d->AsHandle(back, &h), paramErr);  // a filter's descriptor holds no lists

  PSDescriptorRegistryProcs const *reg = nullptr;
  ASSERT_EQ(suites.basicSuite()->AcquireSuite(kPSDescriptorRegistrySuite, 1,
                                              reinterpret_cast<const void **>(&reg)),
            0);
  EXPECT_EQ(reg->Register("last settings", desc, 1), noErr);
  PIActionDescriptor remembered = nullptr;
  EXPECT_EQ(reg->Get("last settings", &remembered), noErr);
  ASSERT_NE(remembered, nullptr);
  EXPECT_EQ(d->IsEqual(desc, remembered, &equal), noErr);
  EXPECT_EQ(equal, 1);
  EXPECT_EQ(reg->Erase("last settings"), noErr);
  EXPECT_EQ(reg->Erase("last settings"), errMissingParameter);
  PIActionDescriptor none = desc;
  EXPECT_EQ(reg->Get("last settings", &none), noErr);
  EXPECT_EQ(none, nullptr);
  for (auto *p : {desc, back, remembered}) EXPECT_EQ(d->Free(p), noErr);
  EXPECT_EQ(l->Free(list), noErr);
}

// Play hands the host a copy and the plug-in a new result; ids by string.
TEST_F(ActionSuitesTest, ControlPlaysGetsAndNamesEvents) {
  DescriptorTypeID id = 0;
  EXPECT_EQ(c->StringIDToTypeID("com.example.filter", &id), noErr);
  EXPECT_EQ(id, PS_FOURCC('F', 'l', 't', 'X'));
  DescriptorTypeID other = 0, again = 0;
  EXPECT_EQ(c->StringIDToTypeID("someNewKey", &other), noErr);
  EXPECT_EQ(c->StringIDToTypeID("someNewKey", &again), noErr);
  EXPECT_EQ(other, again);
  EXPECT_NE(other, id);
  char name[32];
  EXPECT_EQ(c->TypeIDToStringID(other, name, sizeof name), noErr);
  EXPECT_STREQ(name, "someNewKey");
  EXPECT_EQ(c->TypeIDToStringID(other, name, 4), paramErr);  // too small

  PIActionDescriptor desc = make();
  EXPECT_EQ(d->PutFloat(desc, kA, 1.5), noErr);
  PIActionDescriptor result = nullptr;
  EXPECT_EQ(c->Play(&result, id, desc, plugInDialogSilent), noErr);
  ASSERT_EQ(played.size(), 1u);
  EXPECT_EQ(played[0].event, id);
  EXPECT_EQ(played[0].options, plugInDialogSilent);
  ASSERT_TRUE(played[0].in);
  EXPECT_EQ(played[0].in->find(kA)->number, 1.5);
  int32 answer = 0;
  EXPECT_EQ(d->GetInteger(result, kB, &answer), noErr);
  EXPECT_EQ(answer, 42);
  EXPECT_EQ(d->Free(result), noErr);

  playStatus = userCanceledErr;
  EXPECT_EQ(c->Play(&result, id, nullptr, plugInDialogDontDisplay), userCanceledErr);
  EXPECT_FALSE(played.back().in);
  EXPECT_EQ(d->Free(result), noErr);
  EXPECT_EQ(d->Free(desc), noErr);
  EXPECT_EQ(c->Play(&result, id, desc, plugInDialogSilent), paramErr);  // freed
  EXPECT_EQ(played.size(), 2u);

  PIActionReference ref = nullptr;
  EXPECT_EQ(r->Make(&ref), noErr);
  EXPECT_EQ(r->PutProperty(ref, classProperty, keyWidth), noErr);
  EXPECT_EQ(r->PutEnumerated(ref, classDocument, typeOrdinal, enumTarget), noErr);
  EXPECT_EQ(c->Get(&result, ref), noErr);
  EXPECT_EQ(d->GetInteger(result, kA, &answer), noErr);
  EXPECT_EQ(answer, 2);  // the host saw both parts
  EXPECT_EQ(d->Free(result), noErr);
  EXPECT_EQ(r->Free(ref), noErr);
}

// Without an automation host active, a filter gets what it always got.
TEST(ActionSuitesInactive, FiltersStillGetTheStandInTables) {
  Document doc;
  SuiteHost host(SuiteEnvironment{&doc, nullptr, nullptr});
  auto on = host.activate();
  const void *table = nullptr;
  ASSERT_EQ(host.basicSuite()->AcquireSuite(kPSActionDescriptorSuite, 2, &table), 0);
  using Entry = SPErr (*)();
  EXPECT_EQ(static_cast<const Entry *>(table)[0](), kSPUnimplementedError);
  EXPECT_EQ(host.basicSuite()->AcquireSuite(kPSUIHooksSuite, 1, &table), kSPSuiteNotFoundError);
}

}  // namespace
}  // namespace hostemu
