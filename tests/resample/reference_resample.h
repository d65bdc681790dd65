// A deliberately plain resampler for cross-checking the kernels: one loop per
// formula, every tap clamped, weights computed per tap from their definitions.
#ifndef ORTAVEL_TESTS_RESAMPLE_REFERENCE_RESAMPLE_H
#define ORTAVEL_TESTS_RESAMPLE_REFERENCE_RESAMPLE_H

#include <cstdint>

#include "resample/interp.h"

// method 0..6 and sample size 1, 2 or 4; same result contract as a kernel.
int32_t reference_resample(uint32_t method, uint32_t sample_size, const interp_source *src,
                           const interp_target *dst, interp_transform_fn transform,
                           const void *model);

#endif
