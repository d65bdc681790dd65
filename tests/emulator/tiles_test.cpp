// What advanceState hands a filter in inData, byte for byte: every padding
// mode at every edge, plane subranges, 8 and 16 bits, row padding. The
// requests come one after another in one run, so a buffer the host keeps from
// an earlier, larger request must never show through.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "probe.h"

namespace {

using hostemu::Document;
using hostemu::Host;
using hostemu::HostOptions;
using probe::record;

struct Request {
  VRect rect;
  int16 lo, hi;
  int16 padding;
};

struct Served {
  int16 result = 0;
  int32 rowBytes = 0;
  std::vector<std::uint8_t> bytes;  // rows x rowBytes, as handed out
};

std::vector<Request> gRequests;
std::vector<Served> gServed;

void grabInput(int16 selector, void *block, intptr_t *, int16 *) {
  if (selector != filterSelectorStart) return;
  FilterRecord *fr = record(block);
  for (const Request &q : gRequests) {
    probe::setRects32(fr, q.rect, VRect{0, 0, 0, 0});
    fr->inLoPlane = q.lo;
    fr->inHiPlane = q.hi;
    fr->inputPadding = q.padding;
    Served s;
    s.result = fr->advanceState();
    s.rowBytes = fr->inRowBytes;
    if (s.result == 0 && fr->inData != nullptr) {
      const auto *data = static_cast<const std::uint8_t *>(fr->inData);
      s.bytes.assign(data,
                     data + static_cast<std::size_t>(q.rect.bottom - q.rect.top) * s.rowBytes);
    }
    gServed.push_back(std::move(s));
  }
  probe::setRects32(fr, VRect{0, 0, 0, 0}, VRect{0, 0, 0, 0});
}

std::string text(const VRect &r) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "(%d,%d,%d,%d)", static_cast<int>(r.top), static_cast<int>(r.left),
                static_cast<int>(r.bottom), static_cast<int>(r.right));
  return buf;
}

// The sample a filter must see at (x, y) of plane p, by the padding rules:
// the document's inside, else the nearest edge pixel, the fill value scaled
// to the depth, or 0.
std::uint16_t expected(const Document &doc, int x, int y, int p, int16 padding) {
  const bool inside = x >= 0 && y >= 0 && x < doc.width && y < doc.height;
  if (inside || padding == plugInWantsEdgeReplication) {
    const int sx = std::clamp(x, 0, doc.width - 1), sy = std::clamp(y, 0, doc.height - 1);
    const int v = probe::pattern8(sx, sy, p);
    return static_cast<std::uint16_t>(doc.depth == 8 ? v : v * 128);
  }
  if (padding >= 0)
    return static_cast<std::uint16_t>(doc.depth == 8 ? padding : (padding * 32768 + 127) / 255);
  return 0;
}

// The rectangles that matter for a w x h image: over every edge, inside,
// wholly outside.
std::vector<VRect> edgeRects(int w, int h) {
  return {
      {-2, -3, h + 2, w + 4},        // larger than the image on every side
      {0, 0, h, w},                  // the whole image
      {5, 9, 12, 30},                // inside
      {-2, -3, 5, 4},                // over the top-left corner
      {h - 3, w - 5, h + 2, w + 4},  // over the bottom-right corner
      {2, -6, 6, -1},                // wholly left of the image
      {h + 1, 3, h + 4, 20},         // wholly below it
      {-1, -2, h + 1, w + 2},        // one column and row out on every side
  };
}

// Every rectangle in every padding mode and plane range, one after another
// in one run, each checked sample by sample.
void checkInput(int w, int h, int depth, int rowPadding, const std::vector<VRect> &rects) {
  SCOPED_TRACE(std::to_string(w) + " x " + std::to_string(h) + ", depth " + std::to_string(depth) +
               ", row padding " + std::to_string(rowPadding));
  probe::Probe p(grabInput, w, h, 4, depth);
  gRequests.clear();
  gServed.clear();
  for (int16 padding :
       {int16(plugInWantsEdgeReplication), int16(7), int16(200), int16(plugInDoesNotWantPadding)}) {
    for (const VRect &r : rects) {
      for (auto planes : {std::pair<int16, int16>{0, 3}, {0, 2}, {1, 2}, {3, 3}}) {
        gRequests.push_back({r, planes.first, planes.second, padding});
      }
    }
  }
  HostOptions options;
  options.rowPadding = rowPadding;
  Host host(p.plugin, p.doc, options);
  host.runFilter();
  ASSERT_EQ(gServed.size(), gRequests.size());
  const int bytes = depth / 8;
  for (std::size_t i = 0; i < gRequests.size(); ++i) {
    const Request &q = gRequests[i];
    const Served &s = gServed[i];
    SCOPED_TRACE("request " + std::to_string(i) + ": " + text(q.rect) + " planes " +
                 std::to_string(q.lo) + ".." + std::to_string(q.hi) + " padding " +
                 std::to_string(q.padding));
    ASSERT_EQ(s.result, 0);
    const int planes = q.hi - q.lo + 1;
    const int cols = q.rect.right - q.rect.left;
    ASSERT_EQ(s.rowBytes, cols * planes * bytes + rowPadding);
    int wrong = 0;
    for (int y = q.rect.top; y < q.rect.bottom; ++y) {
      const std::uint8_t *row =
          s.bytes.data() + static_cast<std::size_t>(y - q.rect.top) * s.rowBytes;
      for (int x = q.rect.left; x < q.rect.right; ++x) {
        for (int pl = 0; pl < planes; ++pl) {
          std::uint16_t got = 0;
          std::memcpy(&got, row + ((x - q.rect.left) * planes + pl) * bytes, bytes);
          wrong += got != expected(p.doc, x, y, q.lo + pl, q.padding);
        }
      }
      for (int k = cols * planes * bytes; k < s.rowBytes; ++k) wrong += row[k] != 0;
    }
    EXPECT_EQ(wrong, 0);
  }
}

TEST(Tiles, InputHoldsTheDocumentAndThePaddingAtEveryEdge) {
  for (int depth : {8, 16}) {
    for (int rowPadding : {0, 3}) checkInput(37, 23, depth, rowPadding, edgeRects(37, 23));
  }
}

// Blocks of a megabyte and more are filled by two threads, each taking half
// the rows: the halves must meet exactly, whatever the row count.
TEST(Tiles, LargeInputBlocksAreWholeAcrossTheirHalves) {
  const int w = 401, h = 333;  // 4 planes: 0.5 MB at 8 bits, 1 MB at 16
  for (int depth : {8, 16}) {
    checkInput(w, h, depth, 5,
               {{-3, -2, h + 4, w + 1}, {0, 0, h, w}, {-1, 0, h, w}, {1, -1, h + 1, w + 2}});
  }
  checkInput(w * 2, h, 8, 0, {{-3, -2, h + 4, w * 2 + 1}, {0, 0, h, w * 2}});
}

}  // namespace
