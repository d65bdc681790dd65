// Built with AVX-512 F, VL, DQ and BW.
// g++ 12's own intrinsic headers start some registers deliberately undefined,
// which its flow analysis then reports at their lines; nothing of ours.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include "geometry/lens_rows.h"
#include "lens_rows_levels.h"
#include "resample/simd_lanes.h"

ORTAVEL_LENS_ROW_AT(lens_row_avx512, ortavel_simd::LanesAvx512)
