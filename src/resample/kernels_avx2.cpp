// The filtering kernels with four pixels per vector (AVX2). Built with -mavx2
// and its own inline namespace; reached only when the processor has AVX2.
// g++ 12's own intrinsic headers start some registers deliberately undefined,
// which its flow analysis then reports at their lines; nothing of ours.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include "resample/kernel_sets.h"
#include "resample/simd_kernels.h"
#include "resample/simd_lanes.h"

const interp_kernel_fn *ortavel_kernels_avx2() {
  return ortavel_resample::VectorKernels<ortavel_simd::LanesAvx2>::kTable;
}
