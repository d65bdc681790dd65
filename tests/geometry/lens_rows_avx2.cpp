// Built with -mavx2.
#include "geometry/lens_rows.h"
#include "lens_rows_levels.h"
#include "resample/simd_lanes.h"

ORTAVEL_LENS_ROW_AT(lens_row_avx2, ortavel_simd::LanesAvx2)
