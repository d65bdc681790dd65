// The descriptor reader and writer as a filter sees them through
// descriptorParameters.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "probe.h"

namespace {

using hostemu::Descriptor;
using hostemu::fourCC;
using hostemu::Host;
using hostemu::HostOptions;
using probe::record;

struct Got {
  std::vector<std::string> keys;  // "key/type"
  std::vector<long> statuses;
  std::vector<double> numbers;
  std::vector<std::uint32_t> expectedAfter;
  std::string text;
  long closeStatus = 999;
  bool opened = false;
  int16 playInfo = -1;
  bool earlyGet = true;  // ask for a value before the first key
} got;

// Reads every key, asking for the kind the key's name says (a filter's view),
// so that some reads meet a value of another type.
void reader(int16 selector, void *block, intptr_t *, int16 *) {
  if (selector != filterSelectorStart) return;
  PIDescriptorParameters *dp = record(block)->descriptorParameters;
  got.playInfo = dp->playInfo;
  ReadDescriptorProcs *rp = dp->readDescriptorProcs;
  // "paK1" is listed twice and stands twice in the descriptor; "caTo" is
  // listed after the found keys and never written.
  DescriptorKeyID expected[] = {fourCC("paK1"),
                                fourCC("paXC"),
                                fourCC("intM"),
                                fourCC("paK1"),
                                fourCC("exMa"),
                                fourCC("caTo"),
                                0};
  PIReadDescriptor r = rp->openReadDescriptorProc(dp->descriptor, expected);
  got.opened = r != nullptr;
  if (r == nullptr) return;
  // Nothing is current yet: a get is refused, not a crash.
  double early = -1.0;
  if (got.earlyGet) got.statuses.push_back(rp->getFloatProc(r, &early));
  DescriptorKeyID key;
  DescriptorTypeID type;
  int32 flags;
  while (rp->getKeyProc(r, &key, &type, &flags)) {
    got.keys.push_back(hostemu::fourCCText(key) + "/" + hostemu::fourCCText(type));
    double d = -1.0;
    if (key == fourCC("paK1") || key == fourCC("paXC") || key == fourCC("paK2")) {
      got.statuses.push_back(rp->getFloatProc(r, &d));
    } else if (key == fourCC("intM")) {
      DescriptorEnumID e = 0;
      got.statuses.push_back(rp->getEnumeratedProc(r, &e));
      d = e;
    } else if (key == fourCC("caTo")) {
      int32 v = -1;
      got.statuses.push_back(rp->getPinnedIntegerProc(r, 0, 10, &v));
      d = v;
    } else if (key == fourCC("exMa")) {
      Str255 s = {};
      got.statuses.push_back(rp->getStringProc(r, &s));
      got.text.assign(reinterpret_cast<const char *>(s + 1), s[0]);
    } else if (key == fourCC("txt ")) {
      Handle h = nullptr;
      got.statuses.push_back(rp->getTextProc(r, &h));
      d = record(block)->handleProcs->getSizeProc(h);
      record(block)->handleProcs->disposeProc(h);
    }
    got.numbers.push_back(d);
  }
  // Walked as a plug-in walks it after reading: up to its terminator.
  for (const DescriptorKeyID *k = expected; *k != 0; ++k) got.expectedAfter.push_back(*k);
  got.closeStatus = rp->closeReadDescriptorProc(r);
  record(block)->handleProcs->disposeProc(dp->descriptor);
  dp->descriptor = nullptr;
}

TEST(DescriptorProcs, KeysComeInWrittenOrderWithDuplicatesAndMarkTheExpectedArray) {
  got = Got{};
  probe::Probe p(reader);
  Descriptor in;
  in.putFloat(fourCC("paK1"), 0.25)
      .putEnumerated(fourCC("intM"), fourCC("intT"), fourCC("la08"))
      .putFloat(fourCC("paK1"), -1.5)
      .putString(fourCC("exMa"), "0x7ffd1234")
      .putText(fourCC("txt "), "twelve bytes");
  Host host(p.plugin, p.doc, HostOptions{});
  const auto r = host.runFilter(in);
  ASSERT_TRUE(got.opened);
  EXPECT_EQ(got.playInfo, 2);  // a descriptor went in: a silent replay
  EXPECT_EQ(got.keys, (std::vector<std::string>{"paK1/doub", "intM/enum", "paK1/doub", "exMa/TEXT",
                                                "txt /TEXT"}));
  // The early get before any key is refused, and errors stick to the close.
  EXPECT_EQ(got.statuses, (std::vector<long>{-50, 0, 0, 0, 0, 0}));
  EXPECT_EQ(got.numbers, (std::vector<double>{0.25, fourCC("la08"), -1.5, -1.0, 12.0}));
  EXPECT_EQ(got.text, "0x7ffd1234");
  EXPECT_EQ(got.closeStatus, -50);
  // Found keys are marked 'null', one entry per occurrence read, and the
  // array still ends at its own terminator: the missing keys are what is
  // left, in order.
  const std::uint32_t null = 0x6E756C6C;
  EXPECT_EQ(got.expectedAfter,
            (std::vector<std::uint32_t>{null, fourCC("paXC"), null, null, null, fourCC("caTo")}));
  // The log shows the array as the filter saw it after the read.
  std::string closeLine;
  for (const auto &e : host.log().ofKind(hostemu::LogKind::Descriptor))
    if (e.field("op") == "closeRead") closeLine = e.field("expected");
  EXPECT_EQ(closeLine, "null,paXC,null,null,null,caTo");
  EXPECT_TRUE(host.leaks().empty());  // the filter disposed of what it got
  EXPECT_FALSE(r.descriptorOut.has_value());
}

// Values of another type than asked for, and injected failures, are answered
// with a status (coercions +2), never a crash; the close reports the first
// error met, over any coercion.
TEST(DescriptorProcs, MismatchesAndInjectedFailuresAreAnsweredWithAStatus) {
  struct Case {
    Descriptor in;
    std::map<std::uint32_t, std::int16_t> failures;
    bool earlyGet;
    std::vector<long> statuses;
    std::vector<double> numbers;
  } cases[] = {
      {Descriptor()
           .putInteger(fourCC("paK1"), 3)     // float asked, integer held: coerced
           .putFloat(fourCC("intM"), 2.0)     // enumerated asked, float held
           .putBoolean(fourCC("exMa"), true)  // string asked, boolean held
           .putInteger(fourCC("caTo"), 42)    // pinned to 0..10
           .add({fourCC("paXC"), fourCC("doub"), std::int32_t{9}}),  // type code that lies
       {},
       true,
       {-50, 2, -50, -50, 2, 2},
       {3.0, 0.0, -1.0, 10.0, 9.0}},
      {Descriptor()
           .putFloat(fourCC("paK2"), 1.0)
           .putInteger(fourCC("caTo"), 50)
           .putFloat(fourCC("paK1"), 2.0),
       {{fourCC("paK2"), -1715}},
       true,
       {-50, -1715, 2, 0},
       {-1.0, 10.0, 2.0}},
      {Descriptor()
           .putInteger(fourCC("paK1"), 1)
           .putBoolean(fourCC("paK2"), false)
           .putFloat(fourCC("paXC"), 1),
       {},
       false,
       {2, -50, 0},
       {1.0, -1.0, 1.0}},
  };
  for (const Case &c : cases) {
    got = Got{};
    got.earlyGet = c.earlyGet;
    probe::Probe p(reader);
    HostOptions options;
    options.descriptorReadFailures = c.failures;
    Host host(p.plugin, p.doc, options);
    host.runFilter(c.in);
    ASSERT_TRUE(got.opened);
    EXPECT_EQ(got.statuses, c.statuses);
    EXPECT_EQ(got.numbers, c.numbers);
    EXPECT_EQ(got.closeStatus, -50);
  }
}

// Finish writes a descriptor, with a nested object made by a second writer.
void writer(int16 selector, void *block, intptr_t *, int16 *) {
  if (selector != filterSelectorFinish) return;
  FilterRecord *fr = record(block);
  PIDescriptorParameters *dp = fr->descriptorParameters;
  WriteDescriptorProcs *wp = dp->writeDescriptorProcs;
  PIWriteDescriptor inner = wp->openWriteDescriptorProc();
  wp->putIntegerProc(inner, fourCC("wdth"), 640);
  PIDescriptorHandle innerHandle = nullptr;
  wp->closeWriteDescriptorProc(inner, &innerHandle);

  PIWriteDescriptor w = wp->openWriteDescriptorProc();
  const double k1 = -0.0625;
  wp->putFloatProc(w, fourCC("paK1"), &k1);
  wp->putEnumeratedProc(w, fourCC("intM"), fourCC("intT"), fourCC("biCu"));
  const uint8 text[] = {3, 'a', 'b', 'c'};
  wp->putStringProc(w, fourCC("name"), text);
  wp->putFloatProc(w, fourCC("paK1"), &k1);
  wp->putObjectProc(w, fourCC("objc"), fourCC("Rctn"), innerHandle);
  fr->handleProcs->disposeProc(innerHandle);
  fr->handleProcs->disposeProc(dp->descriptor);
  wp->closeWriteDescriptorProc(w, &dp->descriptor);
  dp->recordInfo = 0;
}

TEST(DescriptorProcs, TheWrittenDescriptorComesOutInOrder) {
  probe::Probe p(writer);
  HostOptions options;
  options.recordInfo = 1;
  Host host(p.plugin, p.doc, options);
  const auto r = host.runFilter();
  ASSERT_TRUE(r.descriptorOut.has_value());
  Descriptor inner;
  inner.putInteger(fourCC("wdth"), 640);
  Descriptor expected;
  expected.putFloat(fourCC("paK1"), -0.0625)
      .putEnumerated(fourCC("intM"), fourCC("intT"), fourCC("biCu"))
      .putString(fourCC("name"), "abc")
      .putFloat(fourCC("paK1"), -0.0625)
      .putObject(fourCC("objc"), fourCC("Rctn"), inner);
  EXPECT_EQ(*r.descriptorOut, expected);
  EXPECT_EQ(r.recordInfo, 0);
  EXPECT_TRUE(host.leaks().empty());  // the host took the descriptor over
}

}  // namespace
