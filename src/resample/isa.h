/* Instruction-set paths of the filtering kernels.
 *
 * Every filtering kernel exists once per instruction-set level; all levels give
 * the same bits. The method table's kernels take the widest level that this
 * processor runs, asking the processor on each call (a cheap cached query).
 * Tests and benchmarks pick each level explicitly through the functions here.
 * TEST_ALIGN has one implementation, returned at every level. */
#ifndef ORTAVEL_RESAMPLE_ISA_H
#define ORTAVEL_RESAMPLE_ISA_H

#include <stdint.h>

#include "ortavel_export.h"
#include "resample/interp.h"

ORTAVEL_BEGIN_C

enum interp_isa {
  INTERP_ISA_BASELINE = 0, /* SSE2 on x86-64; plain scalar code elsewhere */
  INTERP_ISA_AVX2 = 1,     /* one pixel per lane, 4 lanes */
  INTERP_ISA_AVX512 = 2    /* one pixel per lane, 8 lanes (AVX-512 F, VL, DQ, BW) */
};

/* The widest level that both this build and this processor can run, or the
 * narrower one named by the environment variable ORTAVEL_ISA ("sse2" or
 * "scalar", "avx2", "avx512"), so that every path can be run and compared on
 * one machine. The variable is read on every call: set it before the first
 * correction and leave it. */
ORTAVEL_API uint32_t interp_isa_widest(void);

/* "sse2" (or "scalar"), "avx2", "avx512"; null for an unknown level. */
ORTAVEL_API const char *interp_isa_name(uint32_t isa);

/* The kernel for (method, sample size in bytes) at one level, or null when the
 * pair has no kernel or the level is wider than interp_isa_widest(). */
ORTAVEL_API interp_kernel_fn interp_get_kernel_isa(uint32_t method, uint32_t sample_size,
                                                   uint32_t isa);

ORTAVEL_END_C

#endif
