#include "emulator/working_copy.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "emulator/large_pages.h"

namespace hostemu {

namespace {

// Pictures of at least this many samples per plane are filled in by two threads.
constexpr std::size_t kSplitBytes = std::size_t{1} << 20;

bool meets(const VRect &a, const VRect &b) {
  return a.top < b.bottom && b.top < a.bottom && a.left < b.right && b.left < a.right;
}

}  // namespace

Document hollowCopy(const Document &doc) {
  Document out;
  out.width = doc.width;
  out.height = doc.height;
  out.depth = doc.depth;
  out.imageMode = doc.imageMode;
  out.exif = doc.exif;
  out.icc = doc.icc;
  out.resolutionDpi = doc.resolutionDpi;
  out.planes.resize(doc.planes.size());
  for (std::size_t i = 0; i < doc.planes.size(); ++i) {
    Samples &to = out.planes[i].samples;
    const std::size_t bytes = doc.planes[i].samples.size();
    to.reserve(bytes);
    adviseHugePages(to.data(), bytes);
    to.resize(bytes);  // not initialised: written back or filled in later
    out.planes[i].targeted = doc.planes[i].targeted;
  }
  return out;
}

bool meetsWritten(std::span<const WrittenBlock> written, const VRect &rect, std::int16_t lo,
                  std::int16_t hi) {
  return std::any_of(written.begin(), written.end(), [&](const WrittenBlock &b) {
    return b.lo <= hi && lo <= b.hi && meets(b.rect, rect);
  });
}

void touchWhileWaiting(Document &working, std::size_t &touched, const Document &doc,
                       std::int32_t rows) {
  if (doc.arriving == nullptr) return;
  constexpr std::size_t kChunk = std::size_t{2} << 20;  // a huge page, or 512 small ones
  constexpr std::size_t kPage = 4096;
  std::size_t start = 0;  // where the current plane begins, over all planes
  for (Plane &plane : working.planes) {
    const std::size_t size = plane.samples.size();
    while (touched < start + size) {
      if (doc.arriving->settled(rows)) return;
      const std::size_t from = touched - start;
      const std::size_t to = std::min(size, from + kChunk);
      std::uint8_t *bytes = plane.samples.data();
      for (std::size_t at = from; at < to; at += kPage) bytes[at] = 0;
      touched = start + to;
    }
    start += size;
  }
}

bool fillUnwritten(const Document &doc, Document &working, std::span<const WrittenBlock> written,
                   SecondThread &helper) {
  const bool whole = awaitRows(doc, doc.height);
  const auto bps = static_cast<std::size_t>(doc.bytesPerSample());
  const auto width = static_cast<std::size_t>(doc.width);
  const auto planes = static_cast<std::int16_t>(doc.planes.size());
  // Rows [top, bottom): per row and plane, the columns the written blocks
  // cover, in order; the gaps between them come from the document.
  auto fillRows = [&](std::int64_t top, std::int64_t bottom) {
    std::vector<std::pair<std::int32_t, std::int32_t>> covered;
    for (auto y = static_cast<std::int32_t>(top); y < bottom; ++y) {
      const std::size_t row = static_cast<std::size_t>(y) * width * bps;
      for (std::int16_t p = 0; p < planes; ++p) {
        covered.clear();
        for (const WrittenBlock &b : written) {
          if (b.lo <= p && p <= b.hi && b.rect.top <= y && y < b.rect.bottom)
            covered.emplace_back(b.rect.left, b.rect.right);
        }
        std::sort(covered.begin(), covered.end());
        const std::uint8_t *from = doc.planes[static_cast<std::size_t>(p)].samples.data() + row;
        std::uint8_t *to = working.planes[static_cast<std::size_t>(p)].samples.data() + row;
        std::int32_t x = 0;
        auto copyTo = [&](std::int32_t end) {
          if (end <= x) return;
          const std::size_t at = static_cast<std::size_t>(x) * bps;
          std::memcpy(to + at, from + at, static_cast<std::size_t>(end - x) * bps);
        };
        for (const auto &[left, right] : covered) {
          copyTo(std::min(left, doc.width));
          x = std::max(x, right);
        }
        copyTo(doc.width);
      }
    }
  };
  if (doc.planeBytes() >= kSplitBytes && doc.height >= 2) {
    helper.halves(0, doc.height, fillRows);
  } else {
    fillRows(0, doc.height);
  }
  return whole;
}

}  // namespace hostemu
