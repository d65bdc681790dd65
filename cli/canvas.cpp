#include "canvas.h"

#include <cstring>
#include <vector>

namespace ortavel::cli {

void enlargeCanvas(hostemu::Document &doc, const Margins &m) {
  if (!m.any()) return;
  const std::size_t bps = static_cast<std::size_t>(doc.bytesPerSample());
  const std::size_t oldRow = static_cast<std::size_t>(doc.width) * bps;
  const std::int32_t width = doc.width + m.left + m.right;
  const std::int32_t height = doc.height + m.top + m.bottom;
  const std::size_t newRow = static_cast<std::size_t>(width) * bps;
  for (auto &plane : doc.planes) {
    hostemu::Samples grown(newRow * static_cast<std::size_t>(height), 0);
    for (std::int32_t y = 0; y < doc.height; ++y) {
      std::memcpy(grown.data() + static_cast<std::size_t>(y) * newRow,
                  plane.samples.data() + static_cast<std::size_t>(y) * oldRow, oldRow);
    }
    plane.samples = std::move(grown);
  }
  doc.width = width;
  doc.height = height;
}

}  // namespace ortavel::cli
