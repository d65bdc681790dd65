// Method lookup: rows, supports and sample sizes, and the pairs with no row.
#include <gtest/gtest.h>

#include "resample/interp.h"
#include "resample/isa.h"
#include "resample/kernels.h"

extern "C" {
int32_t c_support_of(uint32_t method, uint32_t sample_size);
int c_kernel_is(uint32_t method, uint32_t sample_size, interp_kernel_fn kernel);
double c_lanczos12_tail(void);
const char *c_widest_isa_name(void);
}

namespace {

TEST(MethodTable, EveryMethodAndSizeHasItsRow) {
  const interp_kernel_fn kernels[7][3] = {
      {func_BILINEAR_1, func_BILINEAR_2, func_BILINEAR_4},
      {func_BICUBIC_1, func_BICUBIC_2, func_BICUBIC_4},
      {func_LANCZOS4_1, func_LANCZOS4_2, func_LANCZOS4_4},
      {func_LANCZOS6_1, func_LANCZOS6_2, func_LANCZOS6_4},
      {func_LANCZOS8_1, func_LANCZOS8_2, func_LANCZOS8_4},
      {func_LANCZOS12_1, func_LANCZOS12_2, func_LANCZOS12_4},
      {func_TEST_ALIGN_1, func_TEST_ALIGN_2, func_TEST_ALIGN_4}};
  const int32_t support[7] = {2, 4, 4, 6, 8, 12, 1};
  const uint32_t sizes[3] = {1, 2, 4};
  const interp_method *row0 = interp_get_method(0, 1);
  ASSERT_NE(row0, nullptr);
  for (uint32_t method = 0; method < 7; ++method) {
    for (int s = 0; s < 3; ++s) {
      const interp_method *m = interp_get_method(method, sizes[s]);
      ASSERT_NE(m, nullptr);
      EXPECT_EQ(m - row0, static_cast<long>(method * 3 + s));  // rows in table order
      EXPECT_EQ(m->method, method);
      EXPECT_EQ(m->kernel, kernels[method][s]);
      EXPECT_EQ(m->support, support[method]);
      EXPECT_EQ(m->sample_size, sizes[s]);
    }
  }
  EXPECT_EQ(row0->kernel, func_BILINEAR_1);
  EXPECT_EQ(interp_get_method(6, 4) - row0, 20);
}

TEST(MethodTable, UnknownPairsHaveNoRow) {
  EXPECT_EQ(interp_get_method(7, 1), nullptr);
  EXPECT_EQ(interp_get_method(0, 3), nullptr);
  EXPECT_EQ(interp_get_method(2, 0), nullptr);
  EXPECT_EQ(interp_get_method(0, 8), nullptr);
  EXPECT_EQ(interp_get_method(0xFFFFFFFFu, 1), nullptr);
}

}  // namespace

namespace {

TEST(MethodTable, HeadersServeCCallers) {
  EXPECT_EQ(c_support_of(5, 2), 12);
  EXPECT_EQ(c_support_of(0, 3), -1);
  EXPECT_TRUE(c_kernel_is(3, 4, func_LANCZOS6_4));
  EXPECT_FALSE(c_kernel_is(3, 4, func_LANCZOS6_2));
  EXPECT_EQ(c_lanczos12_tail(), 0.0);
  EXPECT_STREQ(c_widest_isa_name(), interp_isa_name(interp_isa_widest()));
}

}  // namespace
