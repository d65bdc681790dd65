// Built with AVX-512 F, VL, DQ and BW.
#include "geometry/lens_rows.h"
#include "lens_rows_levels.h"
#include "resample/simd_lanes.h"

ORTAVEL_LENS_ROW_AT(lens_row_avx512, ortavel_simd::LanesAvx512)
