// A document whose rows are still being read while the filter runs, and the
// hollow working copy the host fills in only where the filter wrote nothing:
// the host must never serve a row before its reader announced it, must fail
// the run when the reader stops short, and the output must be what a filter
// run on the whole document gives, also when the filter reads back what it
// wrote.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "emulator/arriving_rows.h"
#include "emulator/working_copy.h"
#include "probe.h"

namespace {

using hostemu::ArrivingRows;
using hostemu::Document;
using hostemu::Host;
using hostemu::HostOptions;
using probe::record;

TEST(ArrivingRows, WaitersWakeForTheirRowsOrWhenTheReaderStops) {
  ArrivingRows rows(100);
  rows.arrived(10);
  EXPECT_TRUE(rows.waitFor(10));
  rows.arrived(5);  // counts never go back
  EXPECT_TRUE(rows.waitFor(10));

  // Two waiters on different counts, woken by rows arriving a few at a time.
  std::atomic<int> done{0};
  std::thread near([&] { done += rows.waitFor(40) ? 1 : 100; });
  std::thread far([&] { done += rows.waitFor(90) ? 1 : 100; });
  for (int r = 16; r <= 96; r += 16) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    rows.arrived(r);
  }
  near.join();
  far.join();
  EXPECT_EQ(done.load(), 2);

  // A waiter for the whole picture wakes with false when the reader stops
  // short; rows already there stay readable.
  std::atomic<int> whole{0};
  std::thread all([&] { whole = rows.waitFor(1000) ? 1 : 2; });  // past the height: all 100
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_EQ(whole.load(), 0);
  rows.stopped();
  all.join();
  EXPECT_EQ(whole.load(), 2);
  EXPECT_TRUE(rows.waitFor(96));
  EXPECT_FALSE(rows.waitForAll());
}

// A document of the probe's pattern whose rows a thread writes a few at a
// time, announcing each batch, and stops before row `stopAt`. Rows not yet
// written hold 0xEE: served too early, they would show in the output as 0x11.
struct ArrivingDocument {
  ArrivingDocument(int w, int h, int planes, int stopAt)
      : doc(probe::makeDocument(w, h, planes)), gate(std::make_shared<ArrivingRows>(h)) {
    pattern = doc;
    for (auto &p : doc.planes) std::memset(p.samples.data(), 0xEE, p.samples.size());
    doc.arriving = gate;
    reader = std::thread([this, w, h, stopAt] {
      const auto row = static_cast<std::size_t>(w);
      for (int y = 0; y < h; y += 7) {
        const int rows = std::min(7, h - y);
        if (y + rows > stopAt) break;
        for (std::size_t p = 0; p < doc.planes.size(); ++p)
          std::memcpy(doc.planes[p].samples.data() + row * y,
                      pattern.planes[p].samples.data() + row * y, row * rows);
        gate->arrived(y + rows);
        std::this_thread::sleep_for(std::chrono::microseconds(300));
      }
      gate->stopped();
    });
  }
  ~ArrivingDocument() {
    if (reader.joinable()) reader.join();
  }
  Document doc, pattern;
  std::shared_ptr<ArrivingRows> gate;
  std::thread reader;
};

TEST(ArrivingRows, TheFilterRunsOnRowsAsTheyArriveAndGetsTheWholeDocumentsResult) {
  for (const int planes : {1, 3}) {
    probe::Probe p(nullptr, 1, 1, planes);  // the probe's own inverter
    ArrivingDocument arriving(150, 97, planes, 97);
    HostOptions options;
    options.outTileWidth = 32;
    options.outTileHeight = 16;
    Host host(p.plugin, arriving.doc, options);
    const auto r = host.runFilter();
    ASSERT_EQ(r.result, 0);
    ASSERT_TRUE(r.documentChanged);
    for (int pl = 0; pl < planes; ++pl)
      for (int y = 0; y < 97; ++y)
        for (int x = 0; x < 150; ++x)
          ASSERT_EQ(probe::sample8(arriving.doc, x, y, pl), 255 - probe::pattern8(x, y, pl))
              << x << "," << y << " plane " << pl;
  }
}

TEST(ArrivingRows, AReaderThatStopsShortFailsTheRunAndCommitsNothing) {
  probe::Probe p(nullptr, 1, 1, 3);
  ArrivingDocument arriving(64, 80, 3, 40);
  HostOptions options;
  options.outTileWidth = options.outTileHeight = 16;
  Host host(p.plugin, arriving.doc, options);
  const auto r = host.runFilter();
  EXPECT_EQ(r.result, readErr);
  EXPECT_FALSE(r.documentChanged);
  arriving.reader.join();
  // The rows that came are the document's still, not the filter's output.
  EXPECT_EQ(probe::sample8(arriving.doc, 5, 3, 1), probe::pattern8(5, 3, 1));
  EXPECT_EQ(probe::sample8(arriving.doc, 63, 34, 2), probe::pattern8(63, 34, 2));
}

// Output asked for again: outData must show what the filter wrote the first
// time where the new rectangle meets it, and the document's samples elsewhere.
std::vector<std::uint8_t> gSecondLook;
void writeTwice(int16 selector, void *block, intptr_t *, int16 *result) {
  if (selector != filterSelectorStart) return;
  FilterRecord *fr = record(block);
  fr->inLoPlane = 0;
  fr->inHiPlane = -1;
  fr->outLoPlane = 0;
  fr->outHiPlane = 1;
  const VRect none{0, 0, 0, 0};
  const VRect first{2, 3, 10, 12}, overlapping{6, 8, 14, 20}, beside{20, 0, 24, 4};
  probe::setRects32(fr, none, first);
  if ((*result = fr->advanceState()) != noErr) return;
  for (int y = 0; y < 8; ++y)
    std::memset(static_cast<std::uint8_t *>(fr->outData) + y * fr->outRowBytes, 0xA5, 9 * 2);
  for (const VRect &r : {overlapping, beside}) {
    probe::setRects32(fr, none, r);
    if ((*result = fr->advanceState()) != noErr) return;
    const auto *out = static_cast<const std::uint8_t *>(fr->outData);
    for (int y = 0; y < r.bottom - r.top; ++y)
      gSecondLook.insert(gSecondLook.end(), out + y * fr->outRowBytes,
                         out + y * fr->outRowBytes + (r.right - r.left) * 2);
  }
  probe::setRects32(fr, none, none);
}

// Also on a document still arriving, where the host touches the working
// copy's fresh memory while it waits: none of those bytes may show.
TEST(WorkingCopy, OutputAskedForAgainShowsWhatTheFilterWrote) {
  for (const bool arrives : {false, true}) {
    SCOPED_TRACE(arrives ? "arriving" : "whole");
    gSecondLook.clear();
    probe::Probe p(writeTwice, 30, 30, 3);
    ArrivingDocument arriving(30, 30, 3, arrives ? 30 : 0);
    if (!arrives) arriving.doc = p.doc;
    Document &doc = arrives ? arriving.doc : p.doc;
    Host host(p.plugin, doc);
    ASSERT_EQ(host.runFilter().result, 0);
    std::size_t i = 0;
    auto expect = [&](int x, int y, int plane, bool written) {
      ASSERT_LT(i, gSecondLook.size());
      EXPECT_EQ(gSecondLook[i++], written ? 0xA5 : probe::pattern8(x, y, plane))
          << x << "," << y << " plane " << plane;
    };
    for (int y = 6; y < 14; ++y)
      for (int x = 8; x < 20; ++x)
        for (int plane = 0; plane < 2; ++plane) expect(x, y, plane, y < 10 && x < 12);
    for (int y = 20; y < 24; ++y)
      for (int x = 0; x < 4; ++x)
        for (int plane = 0; plane < 2; ++plane) expect(x, y, plane, false);
    EXPECT_EQ(i, gSecondLook.size());
    // Committed: the written block over the untouched rest; plane 2 untouched.
    for (int y = 0; y < 30; ++y)
      for (int x = 0; x < 30; ++x)
        for (int plane = 0; plane < 3; ++plane) {
          const bool written = plane < 2 && y >= 2 && y < 10 && x >= 3 && x < 12;
          ASSERT_EQ(probe::sample8(doc, x, y, plane), written ? 0xA5 : probe::pattern8(x, y, plane))
              << x << "," << y << " plane " << plane;
        }
  }
}

// A filter that writes a block of the top rows and then waits for rows still
// to come: while it waits the host may touch the working copy's fresh memory,
// but never what the filter already wrote there.
std::shared_ptr<ArrivingRows> gGate;
void writeThenWait(int16 selector, void *block, intptr_t *, int16 *result) {
  if (selector != filterSelectorStart) return;
  FilterRecord *fr = record(block);
  fr->inLoPlane = 0;
  fr->inHiPlane = -1;
  fr->outLoPlane = 0;
  fr->outHiPlane = 0;
  const VRect none{0, 0, 0, 0};
  probe::setRects32(fr, none, VRect{0, 0, 4, 40});
  if ((*result = fr->advanceState()) != noErr) return;
  for (int y = 0; y < 4; ++y)
    std::memset(static_cast<std::uint8_t *>(fr->outData) + y * fr->outRowBytes, 0xA5, 40);
  // The rest arrives a little later, from another thread.
  std::thread later([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    gGate->arrived(1000);
  });
  probe::setRects32(fr, none, VRect{900, 0, 1000, 40});
  *result = fr->advanceState();
  later.join();
  probe::setRects32(fr, none, none);
}

TEST(WorkingCopy, MemoryTouchedWhileWaitingNeverHoldsWhatTheFilterWrote) {
  probe::Probe p(writeThenWait, 3000, 1000, 1);  // 3 MB: more than one touch step
  gGate = std::make_shared<ArrivingRows>(1000);
  gGate->arrived(8);
  p.doc.arriving = gGate;
  Host host(p.plugin, p.doc);
  ASSERT_EQ(host.runFilter().result, 0);
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 50; ++x)
      ASSERT_EQ(probe::sample8(p.doc, x, y, 0), y < 4 && x < 40 ? 0xA5 : probe::pattern8(x, y, 0))
          << x << "," << y;
  p.doc.arriving = nullptr;
}

// Filling in around written blocks: blocks on some planes only, overlapping
// each other, at the picture's edges; the large picture is shared by two threads.
TEST(WorkingCopy, FillingInKeepsEveryWrittenSampleAndCopiesTheRest) {
  hostemu::SecondThread helper;
  for (const auto &[w, h] : {std::pair{1500, 700}, std::pair{37, 5}}) {
    const Document doc = probe::makeDocument(w, h, 3);
    Document working = hostemu::hollowCopy(doc);
    ASSERT_EQ(working.planes.size(), 3u);
    ASSERT_EQ(working.planes[2].samples.size(), doc.planeBytes());
    const std::vector<hostemu::WrittenBlock> blocks = {
        {VRect{0, 0, 3, 10}, 0, 2},
        {VRect{2, 5, 5, w}, 1, 1},
        {VRect{1, 8, 4, 20}, 0, 1},
        {VRect{h - 2, w - 7, h, w}, 2, 2},
    };
    for (const auto &b : blocks)
      for (int y = b.rect.top; y < b.rect.bottom; ++y)
        for (int p = b.lo; p <= b.hi; ++p)
          std::memset(working.planes[static_cast<std::size_t>(p)].samples.data() +
                          static_cast<std::size_t>(y) * w + b.rect.left,
                      0xA5, static_cast<std::size_t>(b.rect.right - b.rect.left));
    EXPECT_TRUE(hostemu::meetsWritten(blocks, VRect{3, 19, 9, 30}, 0, 0));
    EXPECT_FALSE(hostemu::meetsWritten(blocks, VRect{3, 20, 9, 30}, 0, 0));  // edges touch
    EXPECT_FALSE(hostemu::meetsWritten(blocks, VRect{3, 0, 4, 5}, 0, 2));
    EXPECT_FALSE(hostemu::meetsWritten(blocks, VRect{h - 2, w - 7, h, w}, 0, 0));
    ASSERT_TRUE(hostemu::fillUnwritten(doc, working, blocks, helper));
    for (int p = 0; p < 3; ++p)
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
          bool written = false;
          for (const auto &b : blocks)
            written = written || (b.lo <= p && p <= b.hi && y >= b.rect.top && y < b.rect.bottom &&
                                  x >= b.rect.left && x < b.rect.right);
          ASSERT_EQ(probe::sample8(working, x, y, p), written ? 0xA5 : probe::pattern8(x, y, p))
              << w << "x" << h << " at " << x << "," << y << " plane " << p;
        }
  }
}

}  // namespace
