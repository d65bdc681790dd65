// The method table and its lookup.
#include "resample/interp.h"

#include "resample/kernels.h"

namespace {

// Row order is part of the contract: lookups return the first match, and
// callers keep the row's address for a whole run.
constexpr interp_method methods[21] = {
    {BILINEAR, func_BILINEAR_1, 2, 1},     {BILINEAR, func_BILINEAR_2, 2, 2},
    {BILINEAR, func_BILINEAR_4, 2, 4},     {BICUBIC, func_BICUBIC_1, 4, 1},
    {BICUBIC, func_BICUBIC_2, 4, 2},       {BICUBIC, func_BICUBIC_4, 4, 4},
    {LANCZOS4, func_LANCZOS4_1, 4, 1},     {LANCZOS4, func_LANCZOS4_2, 4, 2},
    {LANCZOS4, func_LANCZOS4_4, 4, 4},     {LANCZOS6, func_LANCZOS6_1, 6, 1},
    {LANCZOS6, func_LANCZOS6_2, 6, 2},     {LANCZOS6, func_LANCZOS6_4, 6, 4},
    {LANCZOS8, func_LANCZOS8_1, 8, 1},     {LANCZOS8, func_LANCZOS8_2, 8, 2},
    {LANCZOS8, func_LANCZOS8_4, 8, 4},     {LANCZOS12, func_LANCZOS12_1, 12, 1},
    {LANCZOS12, func_LANCZOS12_2, 12, 2},  {LANCZOS12, func_LANCZOS12_4, 12, 4},
    {TEST_ALIGN, func_TEST_ALIGN_1, 1, 1}, {TEST_ALIGN, func_TEST_ALIGN_2, 1, 2},
    {TEST_ALIGN, func_TEST_ALIGN_4, 1, 4},
};

}  // namespace

const interp_method *interp_get_method(uint32_t method, uint32_t sample_size) {
  for (const interp_method &row : methods) {
    if (row.method == method && row.sample_size == sample_size) return &row;
  }
  return nullptr;
}
