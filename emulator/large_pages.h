// Large sample buffers (a picture's planes, the host's working copy of them,
// tile blocks) are touched for the first time as a whole, right after they
// are allocated. On Linux the kernel is asked to back them with transparent
// huge pages first (recycled_blocks.h maps them so): a first touch then faults in 2 MiB instead of
// 4 KiB, so a 24-megapixel RGB picture costs some 36 faults instead of 18,000, and the filter's
// reads miss the TLB less often. The contents are the same either way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "emulator/document.h"

namespace hostemu {

// Asks for huge pages under the whole 2 MiB pages within [data, data + bytes);
// nothing for smaller ranges, where the kernel has no huge page to give, and
// nothing where the system has no such advice. Only advice: never fails.
void adviseHugePages(void *data, std::size_t bytes);

// Room for `bytes` in samples (emptied); the memory is not touched when it is
// new, and a large block comes advised. resize() within it then leaves the
// bytes to their writer.
void reserveAdvised(Samples &samples, std::size_t bytes);

// samples becomes `bytes` copies of `value`, advised before the first touch.
void assignSamples(Samples &samples, std::size_t bytes, std::uint8_t value);

}  // namespace hostemu
