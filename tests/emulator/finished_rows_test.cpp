// Output rows told final while the filter still runs: which rows count as
// written whole, how readers wait for them and are let go, and what the host
// tells for filters that walk their tiles in order, that are served their last
// tile again, that change rows already told, and that fail.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "emulator/finished_rows.h"
#include "emulator/row_frontier.h"
#include "probe.h"

namespace {

using hostemu::Document;
using hostemu::FinishedRows;
using hostemu::Host;
using hostemu::HostOptions;
using hostemu::RowFrontier;
using hostemu::WrittenBlock;
using probe::record;

WrittenBlock block(int top, int left, int bottom, int right, int lo, int hi) {
  return WrittenBlock{VRect{top, left, bottom, right}, static_cast<std::int16_t>(lo),
                      static_cast<std::int16_t>(hi)};
}

TEST(RowFrontier, RowsCountOnceEveryColumnOfEveryPlaneIsWritten) {
  RowFrontier f(10, 9, 2);
  EXPECT_TRUE(f.add(block(0, 0, 4, 4, 0, 1)));
  EXPECT_TRUE(f.add(block(0, 4, 4, 8, 0, 1)));
  EXPECT_EQ(f.rows(), 0);
  // The band's last tile, one plane at a time.
  EXPECT_TRUE(f.add(block(0, 8, 4, 10, 0, 0)));
  EXPECT_EQ(f.rows(), 0);
  EXPECT_TRUE(f.add(block(0, 8, 4, 10, 1, 1)));
  EXPECT_EQ(f.rows(), 4);
  // Bottom first: nothing counts until the rows between are written, then
  // all of them at once.
  EXPECT_TRUE(f.add(block(8, 0, 9, 10, 0, 1)));
  EXPECT_EQ(f.rows(), 4);
  EXPECT_TRUE(f.add(block(4, 0, 8, 10, 0, 1)));
  EXPECT_EQ(f.rows(), 9);
}

TEST(RowFrontier, GapsHoldTheCountAndRewritesAboveItAreTold) {
  RowFrontier f(10, 6, 1);
  // Overlapping blocks cover; a column left out does not.
  EXPECT_TRUE(f.add(block(0, 0, 2, 6, 0, 0)));
  EXPECT_TRUE(f.add(block(0, 3, 2, 10, 0, 0)));
  EXPECT_EQ(f.rows(), 2);
  EXPECT_TRUE(f.add(block(2, 0, 6, 5, 0, 0)));
  EXPECT_TRUE(f.add(block(2, 6, 6, 10, 0, 0)));
  EXPECT_EQ(f.rows(), 2);
  // Rows 2.. are not counted yet: written again, they are no news.
  EXPECT_TRUE(f.add(block(3, 0, 4, 10, 0, 0)));
  EXPECT_EQ(f.rows(), 2);
  EXPECT_FALSE(f.add(block(1, 4, 3, 6, 0, 0)));  // reaches into row 1
  EXPECT_EQ(f.rows(), 2);
  EXPECT_TRUE(f.add(block(2, 5, 6, 6, 0, 0)));
  EXPECT_EQ(f.rows(), 6);
  // Empty blocks and empty plane ranges write nothing.
  EXPECT_TRUE(f.add(block(0, 0, 0, 10, 0, 0)));
  EXPECT_TRUE(f.add(block(0, 0, 6, 10, 1, 0)));
}

TEST(RowFrontier, TooManyPendingBlocksStopTheCountButNotTheRewriteCheck) {
  RowFrontier f(8, 40, 1);
  ASSERT_TRUE(f.add(block(0, 0, 2, 8, 0, 0)));
  ASSERT_EQ(f.rows(), 2);
  // Single pixels far below the count, never making a whole row.
  for (std::size_t i = 0; i <= RowFrontier::kMostPending; ++i) {
    const int y = 10 + static_cast<int>(i % 30), x = static_cast<int>(i / 30) % 7;
    ASSERT_TRUE(f.add(block(y, x, y + 1, x + 1, 0, 0)));
  }
  EXPECT_TRUE(f.add(block(2, 0, 40, 8, 0, 0)));
  EXPECT_EQ(f.rows(), 2);
  EXPECT_FALSE(f.add(block(1, 0, 2, 8, 0, 0)));
}

TEST(FinishedRows, ReadersWaitForTheirRowsAndAWithdrawalWaitsForReaders) {
  const std::uint8_t a = 1, b = 2;
  FinishedRows rows(100);
  rows.begin({&a, &b});
  std::atomic<int> got{0};
  std::thread reader([&] {
    FinishedRows::Reader r(rows);
    const auto planes = rows.await(40);
    got = planes.size() == 2 && planes[1] == &b ? 40 : -1;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_EQ(got.load(), 0);
  rows.finished(20);
  rows.finished(10);  // counts never go back
  EXPECT_EQ(rows.told(), 20);
  rows.finished(50);
  reader.join();
  EXPECT_EQ(got.load(), 40);

  // A reader busy with rows it was given keeps them until it lets go.
  std::atomic<bool> reading{false}, left{false};
  std::thread busy([&] {
    FinishedRows::Reader r(rows);
    (void)rows.await(50);
    reading = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    left = true;
  });
  while (!reading) std::this_thread::yield();
  rows.withdraw();
  EXPECT_TRUE(left.load());
  busy.join();
  EXPECT_TRUE(rows.withdrawn());
  EXPECT_TRUE(rows.await(10).empty());
  // Nothing told afterwards brings the rows back.
  rows.complete({&a, &b});
  EXPECT_FALSE(rows.completed());
  EXPECT_TRUE(rows.await(100).empty());
}

TEST(FinishedRows, ACommitTellsEveryRowUnlessItsPlanesAreNotTheOnesTold) {
  const std::uint8_t a = 1, b = 2;
  {
    FinishedRows rows(30);  // no working copy: the document itself stands
    rows.complete({&b});
    ASSERT_EQ(rows.await(30).size(), 1u);
    EXPECT_EQ(rows.await(30)[0], &b);
    rows.withdraw();  // after a commit: nothing to take back
    EXPECT_FALSE(rows.withdrawn());
  }
  {
    FinishedRows rows(30);
    rows.begin({&a});
    rows.finished(10);
    rows.complete({&b});
    EXPECT_TRUE(rows.withdrawn());
  }
  {
    // A second working copy before any row was told replaces the first; after
    // one was, it takes the rows back.
    FinishedRows rows(30);
    rows.begin({&a});
    rows.begin({&b});
    rows.finished(10);
    EXPECT_EQ(rows.await(10)[0], &b);
    rows.begin({&a});
    EXPECT_TRUE(rows.withdrawn());
  }
  {
    FinishedRows rows(30);
    rows.begin({&a});
    rows.finished(10);
    rows.complete({&a});
    EXPECT_TRUE(rows.completed());
    EXPECT_EQ(rows.await(30)[0], &a);
  }
}

// The test's feed, for the scripts below to read from inside the filter.
FinishedRows *gRows = nullptr;
std::vector<int> gTold;  // gRows->told() after each advanceState
enum class Ending { kEmpty, kServedAgain, kChangeFirstTile, kFailInBandTwo };
Ending gEnding = Ending::kEmpty;

// Inverts the document in 8 x 4 tiles, row by row, then ends as gEnding says.
void walkTiles(int16 selector, void *block, intptr_t *, int16 *result) {
  FilterRecord *fr = record(block);
  const VRect none{0, 0, 0, 0};
  if (selector == filterSelectorContinue) {
    // Served the last output tile again; only the change ending touches it.
    probe::setRects32(fr, none, none);
    return;
  }
  if (selector != filterSelectorStart) return;
  const int w = fr->bigDocumentData->imageSize32.h, h = fr->bigDocumentData->imageSize32.v;
  fr->inLoPlane = fr->outLoPlane = 0;
  fr->inHiPlane = fr->outHiPlane = static_cast<int16>(fr->planes - 1);
  VRect last{};
  for (int top = 0; top < h; top += 4) {
    if (gEnding == Ending::kFailInBandTwo && top == 8) {
      *result = filterBadParameters;
      return;
    }
    for (int left = 0; left < w; left += 8) {
      last = VRect{top, left, std::min(top + 4, h), std::min(left + 8, w)};
      probe::setRects32(fr, last, last);
      if ((*result = fr->advanceState()) != noErr) return;
      gTold.push_back(gRows->told());
      const int bytes = (last.right - last.left) * fr->planes;
      for (int y = 0; y < last.bottom - last.top; ++y) {
        const auto *src = static_cast<const uint8 *>(fr->inData) + y * fr->inRowBytes;
        auto *dst = static_cast<uint8 *>(fr->outData) + y * fr->outRowBytes;
        for (int i = 0; i < bytes; ++i) dst[i] = static_cast<uint8>(255 - src[i]);
      }
    }
  }
  if (gEnding == Ending::kServedAgain) {
    probe::setRects32(fr, none, last);  // the host serves it on continue
    return;
  }
  if (gEnding == Ending::kChangeFirstTile) {
    const VRect first{0, 0, 4, 8};
    probe::setRects32(fr, none, first);
    if ((*result = fr->advanceState()) != noErr) return;
    static_cast<uint8 *>(fr->outData)[0] = 7;
  }
  probe::setRects32(fr, none, none);
}

// Runs walkTiles over a 20 x 10 picture of `planes` planes with a reader
// that copies every row as soon as it is told, into `copy`.
hostemu::RunResult runWithReader(Ending ending, int planes, Document &doc,
                                 std::vector<std::vector<std::uint8_t>> &copy, bool &readAll,
                                 FinishedRows &rows) {
  gRows = &rows;
  gTold.clear();
  gEnding = ending;
  probe::Probe p(walkTiles, 1, 1, planes);
  doc = probe::makeDocument(20, 10, planes);
  copy.assign(static_cast<std::size_t>(planes), std::vector<std::uint8_t>(200));
  readAll = false;
  std::thread reader([&] {
    FinishedRows::Reader r(rows);
    for (int y = 0; y < 10; ++y) {
      const auto from = rows.await(y + 1);
      if (from.empty()) return;
      for (std::size_t pl = 0; pl < copy.size(); ++pl)
        std::memcpy(copy[pl].data() + y * 20, from[pl] + y * 20, 20);
    }
    readAll = true;
  });
  HostOptions options;
  options.outTileWidth = 8;
  options.outTileHeight = 4;
  options.finishedRows = &rows;
  hostemu::RunResult r;
  {
    Host host(p.plugin, doc, options);
    r = host.runFilter();
  }
  reader.join();
  return r;
}

TEST(FinishedRows, TheHostTellsRowsBandByBandAndTheReaderGetsTheCommittedPicture) {
  for (const Ending ending : {Ending::kEmpty, Ending::kServedAgain}) {
    FinishedRows rows(10);
    Document doc;
    std::vector<std::vector<std::uint8_t>> copy;
    bool readAll = false;
    const auto r = runWithReader(ending, 3, doc, copy, readAll, rows);
    ASSERT_EQ(r.result, 0);
    // A band's rows are told when its last tile comes back, at the request
    // for the next band's first tile.
    EXPECT_EQ(gTold, (std::vector<int>{0, 0, 0, 4, 4, 4, 8, 8, 8}));
    EXPECT_TRUE(rows.completed());
    EXPECT_FALSE(rows.withdrawn());
    ASSERT_TRUE(readAll);
    for (int pl = 0; pl < 3; ++pl)
      for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 20; ++x) {
          ASSERT_EQ(copy[static_cast<std::size_t>(pl)][static_cast<std::size_t>(y * 20 + x)],
                    255 - probe::pattern8(x, y, pl))
              << x << "," << y;
          ASSERT_EQ(probe::sample8(doc, x, y, pl), 255 - probe::pattern8(x, y, pl));
        }
  }
}

TEST(FinishedRows, RowsChangedAfterTheyWereToldAreTakenBack) {
  FinishedRows rows(10);
  Document doc;
  std::vector<std::vector<std::uint8_t>> copy;
  bool readAll = false;
  const auto r = runWithReader(Ending::kChangeFirstTile, 1, doc, copy, readAll, rows);
  ASSERT_EQ(r.result, 0);
  EXPECT_TRUE(rows.withdrawn());
  EXPECT_FALSE(rows.completed());
  // The document has the change; whatever the reader took is void.
  EXPECT_EQ(probe::sample8(doc, 0, 0, 0), 7);
  EXPECT_EQ(probe::sample8(doc, 1, 0, 0), 255 - probe::pattern8(1, 0, 0));
}

TEST(FinishedRows, AFailedRunLetsItsReaderGoWithNothing) {
  FinishedRows rows(10);
  Document doc;
  std::vector<std::vector<std::uint8_t>> copy;
  bool readAll = true;
  const auto r = runWithReader(Ending::kFailInBandTwo, 2, doc, copy, readAll, rows);
  EXPECT_EQ(r.result, filterBadParameters);
  EXPECT_FALSE(r.documentChanged);
  EXPECT_TRUE(rows.withdrawn());
  EXPECT_FALSE(readAll);
  EXPECT_EQ(probe::sample8(doc, 3, 2, 1), probe::pattern8(3, 2, 1));
}

}  // namespace
