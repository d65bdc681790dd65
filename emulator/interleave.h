// Samples between planar rows (one array per channel, as the document keeps
// them) and interleaved rows (a pixel's channels side by side, as filters and
// image files see them). Samples are moved as bytes, never converted.
//
// Samples of 1, 2 or 4 bytes and any plane count work; 2 to 4 planes
// of 1- or 2-byte samples take a vector path when the processor has one
// (checked once, at run time; ORTAVEL_ISA=sse2 or avx2 narrows it), and give
// the same bytes as the plain loop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace hostemu {

// Writes `pixels` interleaved pixels to `out`: for each pixel, one sample of
// `bytesPerSample` bytes from each of `planes`, in order. planes[p] points at
// the first sample of the run in plane p.
void interleaveRow(std::span<const std::uint8_t *const> planes, std::int32_t bytesPerSample,
                   std::size_t pixels, std::uint8_t *out);

// The reverse: `pixels` interleaved pixels from `in` into the planes.
void deinterleaveRow(const std::uint8_t *in, std::int32_t bytesPerSample, std::size_t pixels,
                     std::span<std::uint8_t *const> planes);

}  // namespace hostemu
