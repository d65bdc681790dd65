// The emulated host's document: what a filter sees through the FilterRecord,
// the channel ports and the property suite.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "emulator/arriving_rows.h"
#include "emulator/recycled_blocks.h"

namespace hostemu {

// std::allocator, except that resize(n) leaves the elements it adds
// uninitialised (resize(n, value), assign and the copies still write them). A
// plane that is about to be filled whole is then touched once, by whatever
// fills it and on as many threads as fill it, instead of being zeroed first
// on one: for a large picture the first touch of fresh memory is most of the
// cost. Large arrays come from recycled_blocks.h, which may hand out the
// pages a picture before this one gave back.
template <typename T>
struct DefaultInitAllocator {
  using value_type = T;
  static_assert(alignof(T) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);

  DefaultInitAllocator() = default;
  template <typename U>
  DefaultInitAllocator(const DefaultInitAllocator<U> &) noexcept {}

  T *allocate(std::size_t n) {
    if (n > std::numeric_limits<std::size_t>::max() / sizeof(T)) throw std::bad_array_new_length();
    return static_cast<T *>(takeBlock(n * sizeof(T)));
  }
  void deallocate(T *p, std::size_t n) noexcept { giveBlock(p, n * sizeof(T)); }

  template <typename U>
  void construct(U *p) noexcept {
    ::new (static_cast<void *>(p)) U;
  }
  template <typename U, typename... Args>
  void construct(U *p, Args &&...args) {
    ::new (static_cast<void *>(p)) U(std::forward<Args>(args)...);
  }

  template <typename U>
  bool operator==(const DefaultInitAllocator<U> &) const noexcept {
    return true;
  }
};

// A plane's bytes. Whoever grows it with resize(n) writes every new byte.
using Samples = std::vector<std::uint8_t, DefaultInitAllocator<std::uint8_t>>;

// One channel of the document, samples packed row by row without padding.
// bytes per sample = depth / 8; 16-bit samples use the host's 0..32768 scale,
// 32-bit samples are stored as 4-byte words exactly as the filter sees them.
struct Plane {
  Samples samples;
  bool targeted = true;  // the channel's `target` flag in targetCompositeChannels
};

struct Document {
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::int32_t depth = 8;          // bits per sample: 8, 16 or 32
  std::int16_t imageMode = 3;      // host image mode (plugInModeRGBColor = 3, ...)
  std::vector<Plane> planes;       // composite channels first, then alpha planes
  std::vector<std::uint8_t> exif;  // EXIF property bytes; empty = no property
  std::vector<std::uint8_t> icc;   // ICC profile, carried for the caller
  std::int32_t resolutionDpi = 72;
  // Set while a reader is still writing the planes' rows on another thread;
  // null when every row is there. Whoever reads pixels waits for theirs.
  std::shared_ptr<const ArrivingRows> arriving;

  std::int32_t bytesPerSample() const { return depth / 8; }
  std::size_t planeBytes() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
           static_cast<std::size_t>(bytesPerSample());
  }
};

// Everything of `doc` but its samples: as many planes, each empty, with the
// same targets. Reads no sample, so a reader may still be writing them.
inline Document withoutSamples(const Document &doc) {
  Document out;
  out.width = doc.width;
  out.height = doc.height;
  out.depth = doc.depth;
  out.imageMode = doc.imageMode;
  out.exif = doc.exif;
  out.icc = doc.icc;
  out.resolutionDpi = doc.resolutionDpi;
  out.planes.reserve(doc.planes.size());
  for (const Plane &p : doc.planes) out.planes.push_back(Plane{{}, p.targeted});
  return out;
}

// Waits until rows 0..rows-1 of `doc` are written. False when its reader
// stopped short of them; the rows past those it wrote must not be read.
inline bool awaitRows(const Document &doc, std::int32_t rows) {
  return doc.arriving == nullptr || doc.arriving->waitFor(rows);
}

}  // namespace hostemu
