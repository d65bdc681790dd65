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
#include <cstdio>
#include <cstring>
#include <limits>

#include "emulator/host_impl.h"

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

// `count` samples of `bps` bytes from `src` to `dst`, each side stepping by its
// own stride in bytes. The sample size is fixed per loop, so each copy is a
// single move rather than a library call per sample.
template <std::size_t kBytes>
void copySamples(std::uint8_t *dst, std::size_t dstStep, const std::uint8_t *src,
                 std::size_t srcStep, std::int32_t count) {
  for (std::int32_t i = 0; i < count; ++i, dst += dstStep, src += srcStep) {
    std::memcpy(dst, src, kBytes);
  }
}

void copySamples(std::int32_t bps, std::uint8_t *dst, std::size_t dstStep, const std::uint8_t *src,
                 std::size_t srcStep, std::int32_t count) {
  switch (bps) {
    case 1:
      copySamples<1>(dst, dstStep, src, srcStep, count);
      break;
    case 2:
      copySamples<2>(dst, dstStep, src, srcStep, count);
      break;
    case 4:
      copySamples<4>(dst, dstStep, src, srcStep, count);
      break;
    default:
      for (std::int32_t i = 0; i < count; ++i, dst += dstStep, src += srcStep) {
        std::memcpy(dst, src, static_cast<std::size_t>(bps));
      }
      break;
  }
}

}  // namespace

std::string rectText(const VRect &r) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "(%d,%d,%d,%d)", static_cast<int>(r.top), static_cast<int>(r.left),
                static_cast<int>(r.bottom), static_cast<int>(r.right));
  return buf;
}

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

void Host::Impl::writeBack() {
  if (!out.valid) return;
  Document &target = working();
  const std::int32_t bps = target.bytesPerSample();
  const std::int32_t nplanes = out.hi - out.lo + 1;
  const std::int32_t cols = out.rect.right - out.rect.left;
  for (std::int32_t y = out.rect.top; y < out.rect.bottom; ++y) {
    const std::uint8_t *src =
        out.buffer.data() + static_cast<std::size_t>(y - out.rect.top) * out.rowBytes;
    for (std::int32_t p = 0; p < nplanes; ++p) {
      std::uint8_t *dst =
          target.planes[static_cast<std::size_t>(out.lo) + static_cast<std::size_t>(p)]
              .samples.data() +
          (static_cast<std::size_t>(y) * target.width + out.rect.left) * bps;
      const std::size_t step = static_cast<std::size_t>(nplanes) * bps;
      copySamples(bps, dst, static_cast<std::size_t>(bps), src + static_cast<std::size_t>(p) * bps,
                  step, cols);
    }
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
  grant.buffer.clear();
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
  grant.buffer.assign(static_cast<std::size_t>(rows * rowBytes), 0);
  grant.valid = true;
  return noErr;
}

// Copies the document's pixels under the grant into its interleaved buffer.
// Pixels outside the image follow `padding` (edge replication, a fill value,
// or left as they are).
void fillGrant(const Document &doc, std::int16_t padding, TileGrant &grant) {
  const std::int32_t bps = doc.bytesPerSample();
  const std::int32_t nplanes = grant.hi - grant.lo + 1;
  std::uint8_t fill[4] = {0, 0, 0, 0};
  if (padding >= 0 && padding <= 255) paddingSample(padding, bps, fill);
  for (std::int32_t y = grant.rect.top; y < grant.rect.bottom; ++y) {
    std::uint8_t *row =
        grant.buffer.data() + static_cast<std::size_t>(y - grant.rect.top) * grant.rowBytes;
    const bool rowInside = y >= 0 && y < doc.height;
    const std::int32_t sy = y < 0 ? 0 : (y >= doc.height ? doc.height - 1 : y);
    for (std::int32_t p = 0; p < nplanes; ++p) {
      const std::uint8_t *plane =
          doc.planes[static_cast<std::size_t>(grant.lo) + static_cast<std::size_t>(p)]
              .samples.data();
      std::uint8_t *d = row + static_cast<std::size_t>(p) * bps;
      const std::size_t step = static_cast<std::size_t>(nplanes) * bps;
      if (rowInside && grant.rect.left >= 0 && grant.rect.right <= doc.width) {
        // The whole row lies in the image: a plain interleaving copy.
        copySamples(bps, d, step,
                    plane + (static_cast<std::size_t>(sy) * doc.width + grant.rect.left) * bps,
                    static_cast<std::size_t>(bps), grant.rect.right - grant.rect.left);
        continue;
      }
      for (std::int32_t x = grant.rect.left; x < grant.rect.right; ++x, d += step) {
        const bool inside = rowInside && x >= 0 && x < doc.width;
        if (inside || padding == plugInWantsEdgeReplication) {
          const std::int32_t sx = x < 0 ? 0 : (x >= doc.width ? doc.width - 1 : x);
          std::memcpy(d, plane + (static_cast<std::size_t>(sy) * doc.width + sx) * bps, bps);
        } else if (padding >= 0 && padding <= 255) {
          std::memcpy(d, fill, bps);
        }
      }
    }
  }
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
  if (status != noErr) {
    in.valid = out.valid = false;
    record.inData = record.outData = nullptr;
    record.inRowBytes = record.outRowBytes = 0;
  } else {
    if (in.valid) fillGrant(document, padding, in);
    if (out.valid) fillGrant(working(), plugInWantsErrorOnBoundsException, out);
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
