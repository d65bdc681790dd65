// Large sample buffers (a picture's planes, the host's working copy of them,
// tile blocks) are touched for the first time as a whole, right after they
// are allocated. On Linux the kernel is asked to back them with transparent
// huge pages first (recycled_blocks.h maps them so): a first touch then faults in 2 MiB instead of
// 4 KiB, so a 24-megapixel RGB picture costs some 36 faults instead of 18,000, and the filter's
// reads miss the TLB less often. The contents are the same either way.
//
// Where no huge page is to be had (Windows, or Linux with them turned off),
// the pages of a fresh block are brought in with one call instead: one fault
// per 4 KiB page cost about five times as much here (2026, a 2-vCPU AMD EPYC
// virtual machine: 300 MB in 0.85-1.2 s touched page by page, 0.2 s brought
// in first).
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

// Whether this process's large blocks may be backed by huge pages: false on
// Linux when transparent huge pages are off for the machine or for the process
// (prctl PR_SET_THP_DISABLE), and on systems whose huge pages are not handed
// out on advice (Windows grants them only to accounts with the lock-memory
// privilege). The process's setting is read at each call, the machine's once.
bool hugePagesOnOffer();

// Brings every page of [data, data + bytes) into memory now, in one call into
// the system, instead of one fault at each page's first touch; the bytes stay
// as they were. Linux: MADV_POPULATE_WRITE (kernel 5.14). Windows: the range
// is locked and unlocked, which Wine serves with mlock; Windows itself locks
// no more than the process's working-set minimum and refuses larger ranges.
// True when the system did it; false leaves the pages to fault in as before.
bool populatePages(void *data, std::size_t bytes);

// samples becomes `bytes` copies of `value`, advised before the first touch.
void assignSamples(Samples &samples, std::size_t bytes, std::uint8_t value);

}  // namespace hostemu
