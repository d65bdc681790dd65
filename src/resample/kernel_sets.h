// The filtering kernels of each instruction-set level, 18 per level, indexed
// by method * 3 + (0, 1, 2 for 1-, 2- and 4-byte samples). A level's table
// exists only when the build compiled it (ORTAVEL_HAVE_AVX2_KERNELS,
// ORTAVEL_HAVE_AVX512_KERNELS). Internal to the engines.
#ifndef ORTAVEL_RESAMPLE_KERNEL_SETS_H
#define ORTAVEL_RESAMPLE_KERNEL_SETS_H

#include "resample/interp.h"

const interp_kernel_fn *ortavel_kernels_baseline();
const interp_kernel_fn *ortavel_kernels_avx2();
const interp_kernel_fn *ortavel_kernels_avx512();

#endif
