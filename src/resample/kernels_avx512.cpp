// The filtering kernels with eight pixels per vector (AVX-512). Built with the
// AVX-512 F, VL, DQ and BW flags and its own inline namespace; reached only
// when the processor has all four.
#include "resample/kernel_sets.h"
#include "resample/simd_kernels.h"
#include "resample/simd_lanes.h"

const interp_kernel_fn *ortavel_kernels_avx512() {
  return ortavel_resample::VectorKernels<ortavel_simd::LanesAvx512>::kTable;
}
