/* The 21 resampling kernels: seven methods, each for 1-, 2- and 4-byte samples.
 *
 * Every kernel has the interp_kernel_fn contract of resample/interp.h. Callers
 * normally reach them through interp_get_method; they are declared here for the
 * method table and for tests. Not exported from the shared library. */
#ifndef ORTAVEL_RESAMPLE_KERNELS_H
#define ORTAVEL_RESAMPLE_KERNELS_H

#include <stdint.h>

#include "ortavel_export.h"
#include "resample/interp.h"

ORTAVEL_BEGIN_C

#define ORTAVEL_DECLARE_KERNEL(name)                                     \
  int32_t name(const interp_source *source, const interp_target *target, \
               interp_transform_fn transform, const void *model)

ORTAVEL_DECLARE_KERNEL(func_BILINEAR_1);
ORTAVEL_DECLARE_KERNEL(func_BILINEAR_2);
ORTAVEL_DECLARE_KERNEL(func_BILINEAR_4);
ORTAVEL_DECLARE_KERNEL(func_BICUBIC_1);
ORTAVEL_DECLARE_KERNEL(func_BICUBIC_2);
ORTAVEL_DECLARE_KERNEL(func_BICUBIC_4);
ORTAVEL_DECLARE_KERNEL(func_LANCZOS4_1);
ORTAVEL_DECLARE_KERNEL(func_LANCZOS4_2);
ORTAVEL_DECLARE_KERNEL(func_LANCZOS4_4);
ORTAVEL_DECLARE_KERNEL(func_LANCZOS6_1);
ORTAVEL_DECLARE_KERNEL(func_LANCZOS6_2);
ORTAVEL_DECLARE_KERNEL(func_LANCZOS6_4);
ORTAVEL_DECLARE_KERNEL(func_LANCZOS8_1);
ORTAVEL_DECLARE_KERNEL(func_LANCZOS8_2);
ORTAVEL_DECLARE_KERNEL(func_LANCZOS8_4);
ORTAVEL_DECLARE_KERNEL(func_LANCZOS12_1);
ORTAVEL_DECLARE_KERNEL(func_LANCZOS12_2);
ORTAVEL_DECLARE_KERNEL(func_LANCZOS12_4);
ORTAVEL_DECLARE_KERNEL(func_TEST_ALIGN_1);
ORTAVEL_DECLARE_KERNEL(func_TEST_ALIGN_2);
ORTAVEL_DECLARE_KERNEL(func_TEST_ALIGN_4);

#undef ORTAVEL_DECLARE_KERNEL

ORTAVEL_END_C

#endif
