// Planar <-> interleaved rows: every layout the vector path takes, and the
// ones it leaves to the plain loop, against the definition of the layout
// (sample p of pixel i sits at (i * planes + p) * bytes), at run lengths
// around the 16- and 64-byte blocks and at unaligned addresses, with guard
// bytes around every buffer to catch a write past its run. CTest runs these
// again with ORTAVEL_ISA narrowing the path, so each path the machine has is
// checked.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "emulator/interleave.h"

namespace {

constexpr std::size_t kGuard = 32;
constexpr std::uint8_t kGuardByte = 0xA5;

struct Layout {
  std::size_t planes;
  std::int32_t bytes;
  std::size_t pixels;
  std::size_t misalign;  // bytes added to every start address
};

std::vector<Layout> layouts() {
  std::vector<Layout> all;
  for (std::size_t planes : {1u, 2u, 3u, 4u, 5u}) {
    for (std::int32_t bytes : {1, 2, 4}) {
      for (std::size_t pixels : {0u, 1u, 2u, 7u, 8u, 9u, 15u, 16u, 17u, 31u, 33u, 48u, 63u, 64u,
                                 65u, 101u, 129u, 210u}) {
        for (std::size_t misalign : {0u, 1u, 3u}) all.push_back({planes, bytes, pixels, misalign});
      }
    }
  }
  return all;
}

std::string describe(const Layout &l) {
  return std::to_string(l.planes) + " planes of " + std::to_string(l.bytes) + "-byte samples, " +
         std::to_string(l.pixels) + " pixels, +" + std::to_string(l.misalign);
}

// A buffer of `size` bytes framed by guard bytes, its run starting `misalign`
// bytes into the frame.
struct Framed {
  Framed(std::size_t size, std::size_t misalign)
      : misalign_(misalign), bytes(size + 2 * kGuard + misalign, kGuardByte) {}
  std::uint8_t *run() { return bytes.data() + kGuard + misalign_; }
  bool guardsIntact(std::size_t size) const {
    for (std::size_t i = 0; i < kGuard + misalign_; ++i)
      if (bytes[i] != kGuardByte) return false;
    for (std::size_t i = kGuard + misalign_ + size; i < bytes.size(); ++i)
      if (bytes[i] != kGuardByte) return false;
    return true;
  }
  std::size_t misalign_;
  std::vector<std::uint8_t> bytes;
};

TEST(Interleave, EveryLayoutPutsEachSampleWhereTheLayoutSays) {
  std::mt19937 random(7);
  for (const Layout &l : layouts()) {
    SCOPED_TRACE(describe(l));
    const std::size_t planeBytes = l.pixels * l.bytes;
    std::vector<Framed> planes;
    std::vector<const std::uint8_t *> from;
    for (std::size_t p = 0; p < l.planes; ++p) {
      planes.emplace_back(planeBytes, l.misalign);
      for (std::size_t i = 0; i < planeBytes; ++i)
        planes[p].run()[i] = static_cast<std::uint8_t>(random());
    }
    for (auto &p : planes) from.push_back(p.run());
    Framed out(planeBytes * l.planes, l.misalign);
    hostemu::interleaveRow(from, l.bytes, l.pixels, out.run());
    bool same = true;
    for (std::size_t i = 0; i < l.pixels; ++i)
      for (std::size_t p = 0; p < l.planes; ++p)
        for (std::int32_t b = 0; b < l.bytes; ++b)
          same = same && out.run()[(i * l.planes + p) * l.bytes + b] == from[p][i * l.bytes + b];
    EXPECT_TRUE(same);
    EXPECT_TRUE(out.guardsIntact(planeBytes * l.planes));
  }
}

TEST(Deinterleave, EveryLayoutTakesEachSampleFromWhereTheLayoutSays) {
  std::mt19937 random(11);
  for (const Layout &l : layouts()) {
    SCOPED_TRACE(describe(l));
    const std::size_t planeBytes = l.pixels * l.bytes;
    Framed in(planeBytes * l.planes, l.misalign);
    for (std::size_t i = 0; i < planeBytes * l.planes; ++i)
      in.run()[i] = static_cast<std::uint8_t>(random());
    std::vector<Framed> planes;
    std::vector<std::uint8_t *> to;
    for (std::size_t p = 0; p < l.planes; ++p) planes.emplace_back(planeBytes, l.misalign);
    for (auto &p : planes) to.push_back(p.run());
    hostemu::deinterleaveRow(in.run(), l.bytes, l.pixels, to);
    bool same = true;
    for (std::size_t i = 0; i < l.pixels; ++i)
      for (std::size_t p = 0; p < l.planes; ++p)
        for (std::int32_t b = 0; b < l.bytes; ++b)
          same = same && to[p][i * l.bytes + b] == in.run()[(i * l.planes + p) * l.bytes + b];
    EXPECT_TRUE(same);
    for (const auto &p : planes) EXPECT_TRUE(p.guardsIntact(planeBytes));
  }
}

}  // namespace
