// Reading one document plane through a scaling, as the channel ports do.
//
// The scaling maps sourceRect (document pixels) onto destinationRect (the
// scaled space); readRect and the caller's memory are in the scaled space,
// and the memory's first sample belongs to readRect's top-left pixel as
// given. On each axis a destination pixel covers source length S/D (S, D the
// rectangles' sizes): when D <= S it is the exact area average of the source
// pixels under it, fractional overlaps weighted by their share; when D > S it
// replicates the source pixel under its centre. Means are rounded half up.
//
// Samples written: 8-bit from any document depth (16-bit 0..32768 scaled to
// 0..255 and rounded; 32-bit words, the filter's integer samples, clamped to
// 0..255), or the document's own depth unchanged. Depth 8 samples may sit at
// any byte position (bitOffset, colBits, rowBits multiples of 8).
#pragma once

#include <cstdint>

#include "host/photoshop_api.h"

namespace hostemu {

struct PlaneView {
  const std::uint8_t *samples;  // rows packed without padding, native byte order
  std::int32_t width;
  std::int32_t height;
  std::int32_t depth;  // 8, 16 or 32 bits per sample
};

// readRect is clipped to destinationRect and set to what was read. Errors:
// errUnsupportedDepth, errUnsupportedDepthConversion, errUnsupportedBitOffset,
// errUnsupportedColBits, errUnsupportedRowBits for memory it cannot fill;
// kSPBadParameterError for null pointers, an empty or out-of-document
// sourceRect or an empty destinationRect.
SPErr readScaledPlane(const PlaneView &plane, VRect *readRect, const PSScaling &scaling,
                      const PixelMemoryDesc &destination);

}  // namespace hostemu
