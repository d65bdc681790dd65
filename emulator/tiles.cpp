// advanceState and the host's side of the tile loop: what a filter asks for
// through inRect/outRect and the plane ranges, and the write-back of what it
// produced. Reads come from the caller's document, which stays untouched
// until the invocation succeeds; output goes to the working copy.
//
// What the host refuses (the filter gets the code from advanceState, or from
// the host's own loop after start/continue):
//  - a non-empty rectangle whose plane range is not within 0 .. planes-1:
//    paramErr;
//  - an output rectangle reaching outside the image, or an input one when
//    inputPadding asks for an error on bounds (the default): filterBadParameters;
//  - a buffer whose size does not fit the host's 32-bit sizes: memFullErr.
// An empty or inverted rectangle, or an empty plane range (lo > hi), is not
// an error: that side simply gets no data (a null pointer, 0 row bytes).
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "emulator/host_impl.h"
#include "emulator/interleave.h"
#include "emulator/large_pages.h"

namespace hostemu {

namespace {

VRect fromRect16(const Rect &r) {
  return VRect{r.top, r.left, r.bottom, r.right};
}

bool isEmpty(const VRect &r) {
  return r.bottom <= r.top || r.right <= r.left;
}

std::string planesText(std::int16_t lo, std::int16_t hi) {
  return std::to_string(lo) + ".." + std::to_string(hi);
}

// A sample of the padding colour for 0..255 fill values, at the document's depth.
void paddingSample(std::int16_t padding, std::int32_t bps, std::uint8_t *out) {
  const int v = padding;
  if (bps == 1) {
    out[0] = static_cast<std::uint8_t>(v);
  } else if (bps == 2) {
    const std::uint16_t s = static_cast<std::uint16_t>((v * 32768 + 127) / 255);
    std::memcpy(out, &s, 2);
  } else {
    const float f = static_cast<float>(v) / 255.0f;
    std::memcpy(out, &f, 4);
  }
}

// The planes lo..hi of `doc`, each pointing at sample (x, y).
template <typename Byte, typename Doc>
void planeRun(Doc &doc, std::int16_t lo, std::int32_t x, std::int32_t y, std::vector<Byte *> &at) {
  const std::size_t offset = (static_cast<std::size_t>(y) * static_cast<std::size_t>(doc.width) +
                              static_cast<std::size_t>(x)) *
                             static_cast<std::size_t>(doc.bytesPerSample());
  for (std::size_t p = 0; p < at.size(); ++p) {
    at[p] = doc.planes[static_cast<std::size_t>(lo) + p].samples.data() + offset;
  }
}

// `count` copies of the `bytes`-byte pixel at `pixel`, side by side.
void repeatPixel(std::uint8_t *dst, const std::uint8_t *pixel, std::size_t bytes,
                 std::int32_t count) {
  for (std::int32_t i = 0; i < count; ++i, dst += bytes) std::memcpy(dst, pixel, bytes);
}

}  // namespace

std::string rectText(const VRect &r) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "(%d,%d,%d,%d)", static_cast<int>(r.top), static_cast<int>(r.left),
                static_cast<int>(r.bottom), static_cast<int>(r.right));
  return buf;
}

namespace {
// Past this many written blocks a hollow working copy is filled in: looking
// through them would cost more than the copy it saves.
constexpr std::size_t kMostWrittenBlocks = 1024;
// Output tiles of at least this many bytes are written back by two threads.
constexpr std::size_t kSplitWriteBytes = std::size_t{256} << 10;
}  // namespace

bool Host::Impl::uses32() const {
  return record.bigDocumentData != nullptr && record.bigDocumentData->PluginUsing32BitCoordinates;
}

VRect Host::Impl::inRect() const {
  return uses32() ? big.inRect32 : fromRect16(record.inRect);
}
VRect Host::Impl::outRect() const {
  return uses32() ? big.outRect32 : fromRect16(record.outRect);
}
VRect Host::Impl::maskRect() const {
  return uses32() ? big.maskRect32 : fromRect16(record.maskRect);
}

bool Host::Impl::wantsMore() const {
  return !isEmpty(inRect()) || !isEmpty(outRect()) || !isEmpty(maskRect());
}

namespace {

// Whether rows top..bottom-1 of the grant hold what `doc` holds under them.
bool sameAsDocument(const TileGrant &g, const Document &doc, std::int32_t top,
                    std::int32_t bottom) {
  const std::size_t nplanes = static_cast<std::size_t>(g.hi) - static_cast<std::size_t>(g.lo) + 1;
  const std::size_t cols = static_cast<std::size_t>(g.rect.right - g.rect.left);
  const std::size_t used = cols * nplanes * static_cast<std::size_t>(doc.bytesPerSample());
  std::vector<const std::uint8_t *> planes(nplanes);
  std::vector<std::uint8_t> row(used);
  for (std::int32_t y = top; y < bottom; ++y) {
    planeRun(doc, g.lo, g.rect.left, y, planes);
    interleaveRow(planes, doc.bytesPerSample(), cols, row.data());
    const std::uint8_t *in = g.buffer.data() + static_cast<std::size_t>(y - g.rect.top) *
                                                   static_cast<std::size_t>(g.rowBytes);
    if (std::memcmp(in, row.data(), used) != 0) return false;
  }
  return true;
}

}  // namespace

void Host::Impl::writeBack() {
  if (!out.valid) return;
  Document &target = working();
  const std::size_t cols = static_cast<std::size_t>(out.rect.right - out.rect.left);
  const std::size_t nplanes =
      static_cast<std::size_t>(out.hi) - static_cast<std::size_t>(out.lo) + 1;
  // Rows already told final are read by someone else meanwhile. A tile the
  // filter was handed again (a host serves the last outRect once more on
  // continue) comes back as it was: those rows are left alone. Rows it did
  // change take back everything told.
  std::int32_t top = out.rect.top;
  if (frontier && top < frontier->rows()) {
    const std::int32_t told = std::min(frontier->rows(), out.rect.bottom);
    if (sameAsDocument(out, target, top, told)) {
      top = told;
    } else {
      options.finishedRows->withdraw();
      frontier.reset();
    }
  }
  auto writeRows = [&](std::int64_t from, std::int64_t to) {
    std::vector<std::uint8_t *> planes(nplanes);
    for (auto y = static_cast<std::int32_t>(from); y < to; ++y) {
      planeRun(target, out.lo, out.rect.left, y, planes);
      deinterleaveRow(out.buffer.data() + static_cast<std::size_t>(y - out.rect.top) * out.rowBytes,
                      target.bytesPerSample(), cols, planes);
    }
  };
  // The working copy is hollow, so a tile's write-back is the first touch of
  // its memory: two threads share it, as they share the fills.
  const std::size_t bytes =
      static_cast<std::size_t>(out.rect.bottom - top) * static_cast<std::size_t>(out.rowBytes);
  if (bytes >= kSplitWriteBytes && out.rect.bottom - top >= 2) {
    copier.halves(top, out.rect.bottom, writeRows);
  } else {
    writeRows(top, out.rect.bottom);
  }
  if (hollow) {
    written.push_back(WrittenBlock{out.rect, out.lo, out.hi});
    if (written.size() > kMostWrittenBlocks) wholeWorking();
  }
  if (frontier && top < out.rect.bottom) {
    VRect rest = out.rect;
    rest.top = top;
    // Cannot fail: the rows above the count were taken out above.
    frontier->add(WrittenBlock{rest, out.lo, out.hi});
    options.finishedRows->finished(frontier->rows());
  }
  note(LogKind::Tile, {{"op", "write-back"},
                       {"outRect", rectText(out.rect)},
                       {"outPlanes", planesText(out.lo, out.hi)}});
  out.valid = false;
}

namespace {

// Checks one side's request and sizes its buffer. Returns the status; `grant`
// is left invalid for a side that asks for nothing.
OSErr prepareGrant(const Document &doc, const VRect &rect, std::int16_t lo, std::int16_t hi,
                   bool allowOutside, std::int32_t rowPadding, TileGrant &grant) {
  grant.valid = false;
  grant.rowBytes = 0;
  if (isEmpty(rect) || lo > hi) return noErr;
  if (lo < 0 || hi >= static_cast<std::int16_t>(doc.planes.size())) return paramErr;
  const bool inside =
      rect.top >= 0 && rect.left >= 0 && rect.bottom <= doc.height && rect.right <= doc.width;
  if (!inside && !allowOutside) return filterBadParameters;
  const std::int64_t cols = static_cast<std::int64_t>(rect.right) - rect.left;
  const std::int64_t rows = static_cast<std::int64_t>(rect.bottom) - rect.top;
  const std::int64_t rowBytes = cols * (hi - lo + 1) * doc.bytesPerSample() + rowPadding;
  if (rowBytes > std::numeric_limits<std::int32_t>::max() ||
      rows * rowBytes > std::numeric_limits<std::int32_t>::max()) {
    return memFullErr;
  }
  grant.rect = rect;
  grant.lo = lo;
  grant.hi = hi;
  grant.rowBytes = static_cast<std::int32_t>(rowBytes);
  const auto size = static_cast<std::size_t>(rows * rowBytes);
  if (size > grant.buffer.size()) {
    grant.buffer = Samples();  // the old one goes first: never both at once
    reserveAdvised(grant.buffer, size);
    grant.buffer.resize(size);
  }
  grant.valid = true;
  return noErr;
}

// The rows from the top a block reads: rows above or below the image read
// row 0 or the last row at most (edge replication).
std::int32_t rowsRead(const VRect &r, const Document &doc) {
  return std::min(std::max(r.bottom, 1), doc.height);
}

// Copies the document's pixels under the grant into its interleaved buffer.
// Pixels outside the image follow `padding`: edge replication, a fill value,
// or none, where they read as 0. Row padding reads as 0 too. Every byte of
// the grant is written, whatever an earlier tile left in the buffer. Waits
// for the rows the grant reads while the document is still being read;
// false, with nothing filled, when its reader stopped short of them.
bool fillGrant(const Document &doc, std::int16_t padding, TileGrant &grant, SecondThread &copier) {
  if (!awaitRows(doc, rowsRead(grant.rect, doc))) return false;
  const std::int32_t bps = doc.bytesPerSample();
  const std::size_t nplanes =
      static_cast<std::size_t>(grant.hi) - static_cast<std::size_t>(grant.lo) + 1;
  const std::size_t pixelBytes = nplanes * static_cast<std::size_t>(bps);
  const VRect &r = grant.rect;
  const bool replicate = padding == plugInWantsEdgeReplication;
  // A pixel outside the image when it is not replicated: the fill colour or 0.
  std::vector<std::uint8_t> outside(pixelBytes, 0);
  if (padding >= 0 && padding <= 255) {
    for (std::size_t p = 0; p < nplanes; ++p) paddingSample(padding, bps, &outside[p * bps]);
  }
  // Columns left of the image, in it, and right of it; any may be empty.
  const std::int32_t leftCount = std::max(0, std::min(r.right, 0) - r.left);
  const std::int32_t middleLeft = std::max(r.left, 0);
  const std::int32_t middleCount = std::max(0, std::min(r.right, doc.width) - middleLeft);
  const std::int32_t rightLeft = std::max(r.left, doc.width);
  const std::int32_t rightCount = std::max(0, r.right - rightLeft);
  const std::size_t usedBytes = static_cast<std::size_t>(r.right - r.left) * pixelBytes;
  // Rows [top, bottom) of the grant; each caller has scratch of its own.
  auto fillRows = [&](std::int32_t top, std::int32_t bottom) {
    std::vector<const std::uint8_t *> planes(nplanes);
    std::vector<std::uint8_t> edge(pixelBytes);
    auto edgePixel = [&](std::int32_t x, std::int32_t y) {
      planeRun(doc, grant.lo, x, y, planes);
      for (std::size_t p = 0; p < nplanes; ++p) std::memcpy(&edge[p * bps], planes[p], bps);
      return edge.data();
    };
    for (std::int32_t y = top; y < bottom; ++y) {
      std::uint8_t *row =
          grant.buffer.data() + static_cast<std::size_t>(y - r.top) * grant.rowBytes;
      const bool rowInside = y >= 0 && y < doc.height;
      const std::int32_t sy = std::clamp(y, 0, doc.height - 1);
      std::uint8_t *middle = row + static_cast<std::size_t>(middleLeft - r.left) * pixelBytes;
      if (middleCount > 0 && (rowInside || replicate)) {
        planeRun(doc, grant.lo, middleLeft, sy, planes);
        interleaveRow(planes, bps, static_cast<std::size_t>(middleCount), middle);
      } else {
        repeatPixel(middle, outside.data(), pixelBytes, middleCount);
      }
      repeatPixel(row, replicate ? edgePixel(0, sy) : outside.data(), pixelBytes, leftCount);
      repeatPixel(row + static_cast<std::size_t>(rightLeft - r.left) * pixelBytes,
                  replicate ? edgePixel(doc.width - 1, sy) : outside.data(), pixelBytes,
                  rightCount);
      std::memset(row + usedBytes, 0, static_cast<std::size_t>(grant.rowBytes) - usedBytes);
    }
  };
  // A large block is copied by two threads, the filter's own being idle
  // meanwhile: one core alone does not reach the memory's bandwidth.
  const std::size_t bytes =
      static_cast<std::size_t>(r.bottom - r.top) * static_cast<std::size_t>(grant.rowBytes);
  if (bytes >= kSharedCopyBytes && r.bottom - r.top >= 2) {
    copier.halves(r.top, r.bottom, [&fillRows](std::int64_t top, std::int64_t bottom) {
      fillRows(static_cast<std::int32_t>(top), static_cast<std::int32_t>(bottom));
    });
  } else {
    fillRows(r.top, r.bottom);
  }
  return true;
}

}  // namespace

std::int16_t Host::Impl::handOut() {
  const VRect ir = inRect();
  const VRect orr = outRect();
  const std::int16_t padding = record.inputPadding;
  const bool padOk = padding == plugInWantsEdgeReplication || padding == plugInDoesNotWantPadding ||
                     (padding >= 0 && padding <= 255);
  OSErr status =
      prepareGrant(document, ir, record.inLoPlane, record.inHiPlane, padOk, options.rowPadding, in);
  if (status == noErr) {
    // The output side only reads sizes until a tile is granted, so the
    // working copy is made only when the filter asks for output at all.
    status = prepareGrant(isEmpty(orr) ? document : working(), orr, record.outLoPlane,
                          record.outHiPlane, false, options.rowPadding, out);
  }
  const std::int32_t bps = document.bytesPerSample();
  // Only before the first write-back: past it, the memory ahead holds output.
  if (status == noErr && hollow && written.empty()) {
    // The most rows the fills below may wait for.
    std::int32_t rows = out.valid ? out.rect.bottom : 0;
    if (in.valid) rows = std::max(rows, rowsRead(in.rect, document));
    touchWhileWaiting(host.working_, touched, document, rows);
  }
  if (status == noErr && in.valid && !fillGrant(document, padding, in, copier)) status = readErr;
  if (status == noErr && out.valid) {
    // Output that meets nothing written yet is the document's own samples.
    const bool unwritten = hollow && !meetsWritten(written, out.rect, out.lo, out.hi);
    if (!unwritten && !wholeWorking()) status = readErr;
    if (status == noErr && !fillGrant(unwritten ? document : working(),
                                      plugInWantsErrorOnBoundsException, out, copier))
      status = readErr;
  }
  if (status != noErr) {
    in.valid = out.valid = false;
    record.inData = record.outData = nullptr;
    record.inRowBytes = record.outRowBytes = 0;
  } else {
    record.inData = in.valid ? in.buffer.data() : nullptr;
    record.inRowBytes = in.rowBytes;
    record.inColumnBytes = in.valid ? (in.hi - in.lo + 1) * bps : 0;
    record.inPlaneBytes = in.valid ? bps : 0;
    record.outData = out.valid ? out.buffer.data() : nullptr;
    record.outRowBytes = out.rowBytes;
    record.outColumnBytes = out.valid ? (out.hi - out.lo + 1) * bps : 0;
    record.outPlaneBytes = out.valid ? bps : 0;
    if (out.valid) ++tiles;
  }
  // No mask: this host offers no selection, so maskRect asks for nothing.
  record.maskData = nullptr;
  record.maskRowBytes = 0;
  note(LogKind::Tile, {{"op", "request"},
                       {"inRect", rectText(ir)},
                       {"inPlanes", planesText(record.inLoPlane, record.inHiPlane)},
                       {"outRect", rectText(orr)},
                       {"outPlanes", planesText(record.outLoPlane, record.outHiPlane)},
                       {"coords", uses32() ? "32" : "16"},
                       {"result", std::to_string(status)}});
  return status;
}

std::int16_t Host::Impl::advanceState() {
  writeBack();
  return handOut();
}

}  // namespace hostemu
