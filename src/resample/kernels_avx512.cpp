// The filtering kernels with eight pixels per vector (AVX-512). Built with the
// AVX-512 F, VL, DQ and BW flags and its own inline namespace; reached only
// when the processor has all four.
// g++ 12's own intrinsic headers start some registers deliberately undefined,
// which its flow analysis then reports at their lines; nothing of ours.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include "resample/kernel_sets.h"
#include "resample/simd_kernels.h"
#include "resample/simd_lanes.h"

const interp_kernel_fn *ortavel_kernels_avx512() {
  return ortavel_resample::VectorKernels<ortavel_simd::LanesAvx512>::kTable;
}
