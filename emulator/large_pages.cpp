#include "emulator/large_pages.h"

#include <cstring>
#include <fstream>
#include <string>

#if defined(__linux__)
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>
#elif defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
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

bool hugePagesOnOffer() {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  // 1 is "off for this process"; newer kernels add flag bits for "off except
  // where advised", and these blocks are advised.
  if (prctl(PR_GET_THP_DISABLE, 0, 0, 0, 0) == 1) return false;
  // The machine's setting is read once; the process's, above, each time.
  static const bool machineOffers = [] {
    std::ifstream enabled("/sys/kernel/mm/transparent_hugepage/enabled");
    std::string modes;
    std::getline(enabled, modes);
    return modes.find('[') != std::string::npos && modes.find("[never]") == std::string::npos;
  }();
  return machineOffers;
#else
  return false;
#endif
}

bool populatePages(void *data, std::size_t bytes) {
  if (data == nullptr || bytes == 0) return false;
#if defined(__linux__)
#ifndef MADV_POPULATE_WRITE
  constexpr int MADV_POPULATE_WRITE = 23;  // older headers than the kernel
#endif
  // madvise wants a page-aligned start.
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto begin = reinterpret_cast<std::uintptr_t>(data);
  const std::uintptr_t first = begin & ~(page - 1);
  return madvise(reinterpret_cast<void *>(first), begin + bytes - first, MADV_POPULATE_WRITE) == 0;
#elif defined(_WIN32)
  if (VirtualLock(data, bytes) == 0) return false;
  (void)VirtualUnlock(data, bytes);
  return true;
#else
  return false;
#endif
}

void assignSamples(Samples &samples, std::size_t bytes, std::uint8_t value) {
  reserveAdvised(samples, bytes);
  samples.assign(bytes, value);
}

}  // namespace hostemu
