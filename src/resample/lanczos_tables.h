/* Lanczos weight tables for the Lanczos kernels.
 *
 * Entry i holds the Lanczos kernel of half-width a at a distance of i / 128
 * pixels, rounded to ten decimals. Entry 0 is 1.0, entries at multiples of 128
 * are zero, and every table ends with at least two zeros past 128 * a so that a
 * kernel may read index 128 * a + 1. Read-only, shared by all threads. */
#ifndef ORTAVEL_RESAMPLE_LANCZOS_TABLES_H
#define ORTAVEL_RESAMPLE_LANCZOS_TABLES_H

#include "ortavel_export.h"

ORTAVEL_BEGIN_C

ORTAVEL_API extern const double lanczos4tab[258];  /* 4 taps, a = 2 */
ORTAVEL_API extern const double lanczos6tab[388];  /* 6 taps, a = 3 */
ORTAVEL_API extern const double lanczos8tab[516];  /* 8 taps, a = 4 */
ORTAVEL_API extern const double lanczos12tab[772]; /* 12 taps, a = 6 */

ORTAVEL_END_C

#ifdef __cplusplus
/* The table of half-width A, for kernels that take A as a template argument. */
template <int A>
inline const double *lanczos_table_for() {
  static_assert(A == 2 || A == 3 || A == 4 || A == 6, "no table for this half-width");
  if constexpr (A == 2) {
    return lanczos4tab;
  } else if constexpr (A == 3) {
    return lanczos6tab;
  } else if constexpr (A == 4) {
    return lanczos8tab;
  } else {
    return lanczos12tab;
  }
}
#endif

#endif
