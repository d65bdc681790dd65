// The filtering kernels with four pixels per vector (AVX2). Built with -mavx2
// and its own inline namespace; reached only when the processor has AVX2.
#include "resample/kernel_sets.h"
#include "resample/simd_kernels.h"
#include "resample/simd_lanes.h"

const interp_kernel_fn *ortavel_kernels_avx2() {
  return ortavel_resample::VectorKernels<ortavel_simd::LanesAvx2>::kTable;
}
