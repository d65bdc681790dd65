// The emulated host driving a real module: loading, the record it fills,
// handles and faults through the callbacks, advanceState, write-back, abort,
// the continue loop, alerts and what it keeps between invocations.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "emulator/suites/suite_host.h"
#include "probe.h"

namespace {

using hostemu::Document;
using hostemu::Host;
using hostemu::HostOptions;
using hostemu::LogKind;
using hostemu::Plugin;
using probe::record;

// What the scripts below observed; reset by each test.
struct Seen {
  std::vector<FilterRecord> records;  // copies taken on prepare
  std::vector<long> values;
  std::vector<void *> pointers;
  bool suitesActive = false;
} seen;

void resetSeen() {
  seen = Seen{};
}

// Log entries of a kind whose field has the value.
int countLog(const Host &host, LogKind kind, const char *field, const std::string &value) {
  int n = 0;
  for (const auto &e : host.log().ofKind(kind)) n += e.field(field) == value;
  return n;
}

TEST(Plugin, LoadFailuresSayWhatIsWrong) {
  auto loadError = [](const char *path) {
    try {
      Plugin p(path);
    } catch (const hostemu::PluginLoadError &e) {
      return std::string(e.what());
    }
    return std::string("loaded");
  };
  EXPECT_NE(loadError("/nonexistent/dir/filter.so").find("/nonexistent/dir/filter.so"),
            std::string::npos);
  // A real shared object, but no filter.
  EXPECT_NE(loadError("libm.so.6").find("PluginMain"), std::string::npos);
}

void captureOnPrepare(int16 selector, void *block, intptr_t *, int16 *) {
  if (selector == filterSelectorPrepare) seen.records.push_back(*record(block));
}

TEST(Host, FillsTheFilterRecordAsAHostDoes) {
  resetSeen();
  probe::Probe p(captureOnPrepare, 40, 30, 4, 16);
  HostOptions options;
  options.inTileWidth = 64;
  options.inTileHeight = 32;
  options.outTileWidth = 0;  // a host may say 0; the filter must cope
  options.outTileHeight = 8;
  options.maxSpace = 5'000'000'000LL;
  options.background[0] = 0x1234;
  Host host(p.plugin, p.doc, options);
  ASSERT_EQ(host.runFilter().result, 0);
  ASSERT_EQ(seen.records.size(), 1u);
  const FilterRecord &fr = seen.records[0];
  EXPECT_EQ(fr.hostSig, 0x3842494Du);  // '8BIM'
  // Padding -3 is "none"; case 4 is RGB plus a transparency plane; playInfo 1
  // is "from the menu" (no descriptor); the background's high byte.
  EXPECT_EQ((std::vector<long>{fr.planes, fr.depth, fr.imageSize.v, fr.imageSize.h, fr.inTileWidth,
                               fr.inTileHeight, fr.outTileWidth, fr.outTileHeight, fr.inputPadding,
                               fr.filterCase, fr.descriptorParameters->playInfo, fr.backColor[0]}),
            (std::vector<long>{4, 16, 30, 40, 64, 32, 0, 8, -3, 4, 1, 0x12}));
  EXPECT_EQ(fr.maxSpace, 2147483647);  // the 32-bit field saturates
  EXPECT_EQ(fr.maxSpace64, 5'000'000'000LL);
  EXPECT_EQ(fr.descriptorParameters->descriptor, nullptr);
  EXPECT_EQ(fr.parameters, nullptr);  // first invocation: the filter makes it
}

TEST(Host, OptionsLeaveOutOrAddWhatTheyName) {
  resetSeen();
  probe::Probe p(captureOnPrepare, 8, 8, 1);
  {
    HostOptions options;
    options.bigDocument = false;
    options.basicSuite = false;
    options.descriptorReader = false;
    Host host(p.plugin, p.doc, options);
    ASSERT_EQ(host.runFilter().result, 0);
    const FilterRecord &fr = seen.records.back();
    EXPECT_EQ(fr.bigDocumentData, nullptr);
    EXPECT_EQ(fr.sSPBasic, nullptr);
    EXPECT_EQ(fr.descriptorParameters->readDescriptorProcs, nullptr);
    EXPECT_NE(fr.descriptorParameters->writeDescriptorProcs, nullptr);
    EXPECT_EQ(fr.filterCase, 1);
  }
  HostOptions options;
  options.descriptorParameters = false;
  options.legacyPropertyProcs = true;
  Host host(p.plugin, p.doc, options);
  ASSERT_EQ(host.runFilter().result, 0);
  const FilterRecord &fr = seen.records.back();
  EXPECT_EQ(fr.descriptorParameters, nullptr);
  ASSERT_NE(fr.propertyProcs, nullptr);
  EXPECT_NE(fr.propertyProcs->getPropertyProc, nullptr);
  EXPECT_EQ(fr.getPropertyObsolete, fr.propertyProcs->getPropertyProc);
  EXPECT_EQ(host.suites().outstanding(), 0);  // the host gave its acquisition back
}

TEST(Host, RefusesDocumentsItCannotPresent) {
  Plugin plugin(PROBE_PLUGIN_PATH);
  Document wide = probe::makeDocument(40000, 1, 1);
  HostOptions small;
  small.bigDocument = false;
  EXPECT_THROW(Host(plugin, wide, small), std::invalid_argument);
  EXPECT_NO_THROW(Host(plugin, wide, HostOptions{}));
  Document odd = probe::makeDocument(4, 4, 2), shortPlane = odd;
  odd.depth = 12;
  shortPlane.planes[1].samples.pop_back();
  EXPECT_THROW(Host(plugin, odd, HostOptions{}), std::invalid_argument);
  EXPECT_THROW(Host(plugin, shortPlane, HostOptions{}), std::invalid_argument);
}

TEST(Host, ServesTilesWithPaddedRowsAndWritesEveryTileBack) {
  for (bool big : {true, false}) {
    probe::Probe p(nullptr, 37, 23, 3);  // the built-in inverter
    Document &doc = p.doc;
    Document inverted = doc;
    for (auto &plane : inverted.planes)
      for (auto &v : plane.samples) v = static_cast<std::uint8_t>(255 - v);
    HostOptions options;
    options.inTileWidth = options.inTileHeight = 16;
    options.outTileWidth = options.outTileHeight = 16;
    options.rowPadding = 5;
    options.bigDocument = big;
    Host host(p.plugin, doc, options);
    const auto r = host.runFilter();
    ASSERT_EQ(r.result, 0);
    EXPECT_TRUE(r.documentChanged);
    EXPECT_EQ(r.continueCalls, 0);  // the inverter empties its rectangles itself
    EXPECT_EQ(r.tiles, 6);          // 3 columns x 2 rows
    for (int i = 0; i < 3; ++i) EXPECT_EQ(doc.planes[i].samples, inverted.planes[i].samples) << i;
    const auto tiles = host.log().ofKind(LogKind::Tile);
    ASSERT_FALSE(tiles.empty());
    EXPECT_EQ(tiles[0].field("outRect"), "(0,0,16,16)");
    EXPECT_EQ(tiles[0].field("coords"), big ? "32" : "16");
    EXPECT_GT(countLog(host, LogKind::Tile, "outRect", "(16,32,23,37)"), 0);  // the corner
  }
}

TEST(Host, AbortAfterOneTileStopsTheRunAndLeavesTheDocumentAlone) {
  probe::Probe p(nullptr, 32, 16, 3);
  Document &doc = p.doc;
  const Document original = doc;
  HostOptions options;
  options.outTileWidth = options.outTileHeight = 16;
  options.abortAfterTiles = 1;
  Host host(p.plugin, doc, options);
  const auto r = host.runFilter();
  EXPECT_EQ(r.result, -128);
  EXPECT_EQ(r.failedSelector, filterSelectorStart);
  EXPECT_FALSE(r.documentChanged);
  EXPECT_EQ(r.tiles, 1);
  EXPECT_EQ(doc.planes[0].samples, original.planes[0].samples);
  // The tile that was done was still written back to the working copy.
  const Document &w = host.workingDocument();
  EXPECT_EQ(probe::sample8(w, 3, 4, 1), 255 - probe::pattern8(3, 4, 1));
  EXPECT_EQ(probe::sample8(w, 20, 4, 1), probe::pattern8(20, 4, 1));
  // Finish still comes after a failed start.
  ASSERT_FALSE(r.calls.empty());
  EXPECT_EQ(r.calls.back().selector, filterSelectorFinish);
  EXPECT_EQ(countLog(host, LogKind::Abort, "answer", "true"), 1);
}

void asksForNothing(int16, void *, intptr_t *, int16 *) {}

// A preview call asks for no output tiles: the host must not copy the
// document for it (on a large photo, that copy cost more than the preview).
TEST(Host, AnInvocationWithoutOutputTilesNeverCopiesTheDocument) {
  probe::Probe p(asksForNothing, 32, 16, 3);
  Document &doc = p.doc;
  const std::uint8_t *samples = doc.planes[0].samples.data();
  Host host(p.plugin, doc);
  const auto r = host.runFilter();
  EXPECT_EQ(std::tuple(r.result, r.tiles, r.documentChanged), std::tuple(0, 0, true));
  EXPECT_EQ(doc.planes[0].samples.data(), samples);
  EXPECT_EQ(&host.workingDocument(), &doc);
}

// A sequence of requests, each advanceState's answer kept in seen.values.
void refusals(int16 selector, void *block, intptr_t *, int16 *) {
  if (selector != filterSelectorStart) return;
  FilterRecord *fr = record(block);
  auto ask = [fr](VRect in, int16 inLo, int16 inHi, VRect out, int16 outLo, int16 outHi) {
    probe::setRects32(fr, in, out);
    fr->inLoPlane = inLo;
    fr->inHiPlane = inHi;
    fr->outLoPlane = outLo;
    fr->outHiPlane = outHi;
    seen.values.push_back(fr->advanceState());
    seen.pointers.push_back(fr->inData);
  };
  const VRect none{0, 0, 0, 0};
  ask(none, 0, 2, VRect{0, 0, 11, 4}, 0, 2);   // 0: out past the bottom (image is 10 high)
  ask(VRect{0, 0, 2, 2}, 0, 3, none, 0, 0);    // 1: plane 3 of 3
  ask(VRect{0, 0, 2, 2}, -1, 0, none, 0, 0);   // 2: negative plane
  ask(VRect{5, 0, 2, 4}, 0, 2, none, 0, 0);    // 3: inverted: nothing, not an error
  ask(VRect{0, 0, 4, 4}, 2, 1, none, 0, 0);    // 4: empty plane range: nothing
  ask(VRect{-1, -1, 2, 2}, 0, 0, none, 0, 0);  // 5: outside, padding -3: refused
  fr->inputPadding = plugInWantsEdgeReplication;
  ask(VRect{-1, -1, 2, 2}, 1, 1, none, 0, 0);  // 6: edge replication
  const auto *edge = static_cast<const uint8 *>(fr->inData);
  seen.values.push_back(edge[0]);                       // 7: (-1,-1) -> (0,0)
  seen.values.push_back(edge[fr->inRowBytes * 2 + 2]);  // 8: (1,1)
  fr->inputPadding = 7;
  ask(VRect{-1, -1, 2, 2}, 0, 0, none, 0, 0);                        // 9: fill value 7
  seen.values.push_back(static_cast<const uint8 *>(fr->inData)[0]);  // 10
  seen.values.push_back(fr->inRowBytes);                             // 11: 3 columns, 1 plane
}

TEST(Host, AdvanceStateRefusesBadRequestsAndServesPadding) {
  resetSeen();
  probe::Probe p(refusals, 12, 10, 3);
  Host host(p.plugin, p.doc, HostOptions{});
  host.runFilter();
  EXPECT_EQ(seen.values,
            (std::vector<long>{-30100, -50, -50, 0, 0, -30100, 0, probe::pattern8(0, 0, 1),
                               probe::pattern8(1, 1, 1), 0, 7, 3}));
  ASSERT_EQ(seen.pointers.size(), 8u);
  EXPECT_EQ(seen.pointers[3], nullptr);  // nothing asked: no data
  EXPECT_EQ(seen.pointers[4], nullptr);
}

// Writes 16-bit values into one tile, asks for the next, and checks the first
// reached the document at once and that input holds the samples as stored.
void sixteenBit(int16 selector, void *block, intptr_t *, int16 *result) {
  if (selector != filterSelectorStart) return;
  FilterRecord *fr = record(block);
  fr->inLoPlane = fr->outLoPlane = 0;
  fr->inHiPlane = fr->outHiPlane = 1;
  probe::setRects32(fr, VRect{0, 0, 2, 3}, VRect{0, 0, 2, 3});
  if ((*result = fr->advanceState()) != 0) return;
  const auto *in = static_cast<const uint16 *>(fr->inData);
  const auto *out = static_cast<const uint16 *>(fr->outData);
  seen.values = {in[0], in[3], fr->inRowBytes, fr->inColumnBytes, fr->inPlaneBytes, out[1]};
  for (int y = 0; y < 2; ++y) {
    auto *row = reinterpret_cast<uint16 *>(static_cast<uint8 *>(fr->outData) + y * fr->outRowBytes);
    for (int i = 0; i < 6; ++i) row[i] = 32768;
  }
  probe::setRects32(fr, VRect{2, 0, 3, 1}, VRect{2, 0, 3, 1});
  *result = fr->advanceState();
  probe::setRects32(fr, VRect{0, 0, 0, 0}, VRect{0, 0, 0, 0});
}

TEST(Host, SixteenBitSamplesTravelAsStoredAndTilesAreWrittenBack) {
  resetSeen();
  probe::Probe p(sixteenBit, 5, 4, 2, 16);
  Host host(p.plugin, p.doc, HostOptions{});
  ASSERT_EQ(host.runFilter().result, 0);
  // In: (0,0) plane 0, (1,0) plane 1; interleaved, 3 pixels x 2 planes x 2
  // bytes a row, 4 a column, 2 a plane; out starts as the document's (0,0) plane 1.
  EXPECT_EQ(seen.values,
            (std::vector<long>{probe::pattern8(0, 0, 0) * 128, probe::pattern8(1, 0, 1) * 128, 12,
                               4, 2, probe::pattern8(0, 0, 1) * 128}));
  auto at16 = [&p](int x, int y, int plane) {
    std::uint16_t v;
    std::memcpy(&v, &p.doc.planes[std::size_t(plane)].samples[std::size_t(y * 5 + x) * 2], 2);
    return v;
  };
  EXPECT_EQ((std::vector<int>{at16(2, 1, 1), at16(0, 0, 0), at16(3, 0, 0)}),
            (std::vector<int>{32768, 32768, probe::pattern8(3, 0, 0) * 128}));  // last: untouched
}

// Handles through the FilterRecord's procs, including misuse.
void handles(int16 selector, void *block, intptr_t *, int16 *) {
  if (selector != filterSelectorStart) return;
  HandleProcs *hp = record(block)->handleProcs;
  seen.pointers.push_back(hp->newProc(4));  // the first new fails (injected)
  Handle h = hp->newProc(10);
  Ptr p1 = hp->lockProc(h, 1);
  std::memcpy(p1, "moveable", 9);
  hp->unlockProc(h);
  Ptr p2 = hp->lockProc(h, 1);
  seen.values.push_back(p1 != p2 && std::strcmp(p2, "moveable") == 0);
  seen.values.push_back(hp->setSizeProc(h, 40));  // locked: cannot grow
  hp->unlockProc(h);
  hp->disposeProc(h);
  hp->disposeProc(h);             // again: must be answered, not crash
  Handle kept = hp->newProc(33);  // never disposed: a leak
  hp->lockProc(kept, 0);
  Handle regular = hp->newProc(2);
  hp->disposeRegularHandleProc(regular);
}

TEST(Host, HandleProcsRelocateCountFailAndReportLeaks) {
  resetSeen();
  probe::Probe p(handles);
  HostOptions options;
  options.handleFaults.failNewAt = 1;
  Host host(p.plugin, p.doc, options);
  host.runFilter();
  EXPECT_EQ(seen.pointers, std::vector<void *>{nullptr});
  // Moved on the second move-high lock, with its contents; locked, it cannot grow.
  EXPECT_EQ(seen.values, (std::vector<long>{1, -108}));
  const auto leaks = host.leaks();
  ASSERT_EQ(leaks.size(), 1u);
  EXPECT_EQ(leaks[0].size, 33);
  EXPECT_EQ(leaks[0].creator, "plugin");
  EXPECT_EQ(leaks[0].lockCount, 1);
  EXPECT_EQ(countLog(host, LogKind::Handle, "error", "unknown handle"), 1);
  EXPECT_EQ(countLog(host, LogKind::Handle, "op", "new-failed"), 1);
}

void buffers(int16 selector, void *block, intptr_t *, int16 *) {
  if (selector != filterSelectorStart) return;
  BufferProcs *bp = record(block)->bufferProcs;
  BufferID a = nullptr, b = nullptr, big = nullptr;
  seen.values.push_back(bp->allocateProc(100, &a));
  Ptr p = bp->lockProc(a, 0);
  std::memset(p, 1, 100);  // the whole buffer is usable
  bp->unlockProc(a);
  bp->freeProc(a);
  seen.values.push_back(bp->allocateProc(10, &b));  // never freed
  seen.values.push_back(bp->allocateProc64(1LL << 40, &big));
  seen.values.push_back(bp->spaceProc());
}

TEST(Host, BufferProcsAllocateWithinTheSpaceAndReportWhatIsLeft) {
  resetSeen();
  probe::Probe p(buffers);
  HostOptions options;
  options.bufferSpace = 1000;
  Host host(p.plugin, p.doc, options);
  host.runFilter();
  EXPECT_EQ(seen.values, (std::vector<long>{0, 0, -108, 1000}));
  EXPECT_EQ(countLog(host, LogKind::Host, "error", "buffers not freed"), 1);
}

// The data word and the parameters handle, as a filter keeps them.
void keeper(int16 selector, void *block, intptr_t *data, int16 *) {
  if (selector != filterSelectorStart) return;
  FilterRecord *fr = record(block);
  if (*data == 0) *data = reinterpret_cast<intptr_t>(fr->handleProcs->newProc(8));
  seen.values.push_back(*data);
  if (fr->parameters == nullptr) fr->parameters = fr->handleProcs->newProc(16);
  seen.pointers.push_back(fr->parameters);
  seen.values.push_back(fr->handleProcs->getSizeProc(fr->parameters));
  seen.suitesActive = hostemu::SuiteHost::active() != nullptr;
}

TEST(Host, KeepsTheDataWordPerModuleAndTheParametersPerInvocation) {
  resetSeen();
  probe::Probe p(keeper);
  {
    Host host(p.plugin, p.doc, HostOptions{});
    host.runFilter();
    host.runFilter();  // the same invocation repeated: same parameters handle
    EXPECT_TRUE(seen.suitesActive);
    EXPECT_EQ(hostemu::SuiteHost::active(), nullptr);  // only during a call
    ASSERT_EQ(seen.pointers.size(), 2u);
    EXPECT_EQ(seen.pointers[0], seen.pointers[1]);
    EXPECT_EQ(host.parametersHandle(), seen.pointers[0]);
    EXPECT_TRUE(host.leaks().empty());
  }
  HostOptions supplied;
  supplied.parametersBlock = std::vector<std::uint8_t>(24, 0xAB);
  Host second(p.plugin, p.doc, supplied);
  second.runFilter();
  ASSERT_EQ(seen.values.size(), 6u);
  const long data = seen.values[0];
  EXPECT_NE(data, 0);
  // One data handle for the module, even under another Host, which supplied
  // parameters of its own.
  EXPECT_EQ(seen.values, (std::vector<long>{data, 16, data, 16, data, 24}));
  EXPECT_EQ(p.plugin.data(), data);
}

// The continue loop: the filter asks for three more tiles, one per call.
void continues(int16 selector, void *block, intptr_t *, int16 *) {
  FilterRecord *fr = record(block);
  if (selector == filterSelectorStart) {
    fr->outLoPlane = 0;
    fr->outHiPlane = 0;
    fr->outRect = Rect{0, 0, 1, 1};  // 16-bit fields: the filter did not ask for 32
  } else if (selector == filterSelectorContinue) {
    seen.pointers.push_back(fr->outData);
    static_cast<uint8 *>(fr->outData)[0] = static_cast<uint8>(100 + seen.pointers.size());
    if (seen.pointers.size() == 3) fr->outRect = Rect{0, 0, 0, 0};
  }
}

TEST(Host, CallsContinueUntilTheRectanglesAreEmpty) {
  for (int limit : {0, 2}) {  // the filter wants 3; given 2, the host gives up
    resetSeen();
    probe::Probe p(continues);
    HostOptions options;
    if (limit > 0) options.continueLimit = limit;
    Host host(p.plugin, p.doc, options);
    const auto r = host.runFilter();
    EXPECT_EQ(r.continueLimitReached, limit > 0);
    EXPECT_EQ(r.documentChanged, limit == 0);
    EXPECT_EQ(probe::sample8(p.doc, 0, 0, 0), limit ? probe::pattern8(0, 0, 0) : 103);
    if (limit == 0) {
      EXPECT_EQ(r.result, 0);
      EXPECT_EQ(r.continueCalls, 3);
      for (void *out : seen.pointers) EXPECT_NE(out, nullptr);
    }
  }
}

void progressAndAbort(int16 selector, void *block, intptr_t *, int16 *result) {
  if (selector != filterSelectorStart) return;
  FilterRecord *fr = record(block);
  fr->progressProc(3, 7);
  if (fr->abortProc()) *result = userCanceledErr;
}

TEST(Host, ProgressAbortAndAlertsReachTheCallbacks) {
  probe::Probe p(progressAndAbort);
  std::vector<std::string> heard;
  HostOptions options;
  options.progressCallback = [&heard](int done, int total) {
    heard.push_back(std::to_string(done) + "/" + std::to_string(total));
  };
  options.abortCallback = [] { return true; };
  options.alertCallback = [&heard](const std::string &title, const std::string &text) {
    heard.push_back(title + "|" + text);
  };
  Host host(p.plugin, p.doc, options);
  EXPECT_EQ(host.runFilter().result, -128);

  // The built-in behaviour shows its about box through the exported hook.
  probe::install(p.plugin, nullptr);
  EXPECT_EQ(host.about(), 0);
  EXPECT_EQ(heard, (std::vector<std::string>{"3/7", "About Probe|probe module"}));
}

}  // namespace
