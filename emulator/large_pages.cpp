#include "emulator/large_pages.h"

#include <cstring>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace hostemu {

namespace {

constexpr std::uintptr_t kHugePage = std::uintptr_t{1} << 21;

}  // namespace

void reserveAdvised(Samples &samples, std::size_t bytes) {
  samples.clear();
  samples.reserve(bytes);
}

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

}  // namespace hostemu
