#include "emulator/working_copy.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "emulator/large_pages.h"

namespace hostemu {

namespace {

bool meets(const VRect &a, const VRect &b) {
  return a.top < b.bottom && b.top < a.bottom && a.left < b.right && b.left < a.right;
}

}  // namespace

Document hollowCopy(const Document &doc) {
  Document out = withoutSamples(doc);
  for (std::size_t i = 0; i < doc.planes.size(); ++i) {
    Samples &to = out.planes[i].samples;
    reserveAdvised(to, doc.planes[i].samples.size());
    to.resize(doc.planes[i].samples.size());  // not initialised: written back or filled in later
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
  // The blocks by their top row: going down, a row looks only at the blocks
  // over it, so a tall picture costs its rows plus its blocks, not their
  // product.
  std::vector<const WrittenBlock *> byTop;
  byTop.reserve(written.size());
  for (const WrittenBlock &b : written) byTop.push_back(&b);
  std::sort(byTop.begin(), byTop.end(),
            [](const WrittenBlock *a, const WrittenBlock *b) { return a->rect.top < b->rect.top; });
  // Rows [top, bottom): per row and plane, the columns the written blocks
  // cover, in order; the gaps between them come from the document.
  auto fillRows = [&](std::int64_t top, std::int64_t bottom) {
    std::vector<const WrittenBlock *> over;  // the blocks over the current row
    std::size_t next = 0;                    // the first of byTop not yet met
    std::vector<std::pair<std::int32_t, std::int32_t>> covered;
    for (auto y = static_cast<std::int32_t>(top); y < bottom; ++y) {
      for (; next < byTop.size() && byTop[next]->rect.top <= y; ++next)
        if (byTop[next]->rect.bottom > y) over.push_back(byTop[next]);
      std::erase_if(over, [y](const WrittenBlock *b) { return b->rect.bottom <= y; });
      const std::size_t row = static_cast<std::size_t>(y) * width * bps;
      for (std::int16_t p = 0; p < planes; ++p) {
        covered.clear();
        for (const WrittenBlock *b : over) {
          if (b->lo <= p && p <= b->hi) covered.emplace_back(b->rect.left, b->rect.right);
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
  if (doc.planeBytes() >= kSharedCopyBytes && doc.height >= 2) {
    helper.halves(0, doc.height, fillRows);
  } else {
    fillRows(0, doc.height);
  }
  return whole;
}

}  // namespace hostemu
