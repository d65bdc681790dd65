#include "emulator/large_pages.h"

#include <cstring>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace hostemu {

namespace {

constexpr std::uintptr_t kHugePage = std::uintptr_t{1} << 21;

// Planes of at least this many bytes are copied by two threads.
constexpr std::size_t kSplitBytes = std::size_t{1} << 20;

// Room for `bytes` in samples (emptied), advised; the memory is not touched
// when it is new.
void reserveAdvised(Samples &samples, std::size_t bytes) {
  samples.clear();
  samples.reserve(bytes);
  adviseHugePages(samples.data(), bytes);
}

// to becomes a copy of from; a large one is copied half by `helper`.
void copySamples(const Samples &from, Samples &to, SecondThread *helper) {
  const std::size_t bytes = from.size();
  reserveAdvised(to, bytes);
  to.resize(bytes);  // not initialised: the copy below is the first touch
  const auto copy = [&](std::int64_t first, std::int64_t last) {
    const auto at = static_cast<std::size_t>(first);
    std::memcpy(to.data() + at, from.data() + at, static_cast<std::size_t>(last) - at);
  };
  if (helper != nullptr && bytes >= kSplitBytes) {
    helper->halves(0, static_cast<std::int64_t>(bytes), copy);
  } else if (bytes > 0) {
    copy(0, static_cast<std::int64_t>(bytes));
  }
}

}  // namespace

void adviseHugePages(void *data, std::size_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  const auto begin = reinterpret_cast<std::uintptr_t>(data);
  const std::uintptr_t first = (begin + kHugePage - 1) & ~(kHugePage - 1);
  const std::uintptr_t end = (begin + bytes) & ~(kHugePage - 1);
  if (data == nullptr || end <= first) return;
  // Refused advice (an old kernel, huge pages turned off) changes nothing.
  (void)madvise(reinterpret_cast<void *>(first), end - first, MADV_HUGEPAGE);
#else
  (void)data;
  (void)bytes;
  (void)kHugePage;
#endif
}

void assignSamples(Samples &samples, std::size_t bytes, std::uint8_t value) {
  reserveAdvised(samples, bytes);
  samples.assign(bytes, value);
}

Document copyDocument(const Document &doc, SecondThread *helper) {
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
    const Plane &from = doc.planes[i];
    Plane &to = out.planes[i];
    to.targeted = from.targeted;
    copySamples(from.samples, to.samples, helper);
  }
  return out;
}

}  // namespace hostemu
