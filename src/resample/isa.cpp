// Choice of instruction-set level, and the method table's kernels, which pass
// each call on to the widest level this processor runs.
#include "resample/isa.h"

#include <cstdlib>
#include <cstring>

#include "resample/interp.h"
#include "resample/kernel_sets.h"
#include "resample/kernels.h"

namespace {

// The widest level that both this build and this processor can run.
uint32_t processor_widest() {
#if defined(ORTAVEL_HAVE_AVX2_KERNELS) || defined(ORTAVEL_HAVE_AVX512_KERNELS)
  // The compiler's runtime keeps the processor's answer (operating-system
  // support for the wide registers included) from its own start-up.
  __builtin_cpu_init();
#endif
#if defined(ORTAVEL_HAVE_AVX512_KERNELS)
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
      __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw")) {
    return INTERP_ISA_AVX512;
  }
#endif
#if defined(ORTAVEL_HAVE_AVX2_KERNELS)
  if (__builtin_cpu_supports("avx2")) return INTERP_ISA_AVX2;
#endif
  return INTERP_ISA_BASELINE;
}

// The level that ORTAVEL_ISA names ("sse2" or "scalar", "avx2", "avx512"), or
// the widest there is when it is unset or names none of them.
uint32_t requested_level() {
  const char *wanted = std::getenv("ORTAVEL_ISA");
  if (wanted != nullptr) {
    for (uint32_t isa = INTERP_ISA_BASELINE; isa <= INTERP_ISA_AVX512; ++isa) {
      if (std::strcmp(wanted, interp_isa_name(isa)) == 0) return isa;
    }
  }
  return INTERP_ISA_AVX512;
}

}  // namespace

uint32_t interp_isa_widest(void) {
  const uint32_t widest = processor_widest();
  const uint32_t requested = requested_level();
  return requested < widest ? requested : widest;
}

const char *interp_isa_name(uint32_t isa) {
  switch (isa) {
    case INTERP_ISA_BASELINE:
#if defined(__SSE2__)
      return "sse2";
#else
      return "scalar";
#endif
    case INTERP_ISA_AVX2:
      return "avx2";
    case INTERP_ISA_AVX512:
      return "avx512";
    default:
      return nullptr;
  }
}

namespace {

const interp_kernel_fn *kernel_set(uint32_t isa) {
  switch (isa) {
    case INTERP_ISA_BASELINE:
      return ortavel_kernels_baseline();
#if defined(ORTAVEL_HAVE_AVX2_KERNELS)
    case INTERP_ISA_AVX2:
      return ortavel_kernels_avx2();
#endif
#if defined(ORTAVEL_HAVE_AVX512_KERNELS)
    case INTERP_ISA_AVX512:
      return ortavel_kernels_avx512();
#endif
    default:
      return nullptr;
  }
}

int size_index(uint32_t sample_size) {
  return sample_size == 1 ? 0 : (sample_size == 2 ? 1 : (sample_size == 4 ? 2 : -1));
}

}  // namespace

interp_kernel_fn interp_get_kernel_isa(uint32_t method, uint32_t sample_size, uint32_t isa) {
  const int size = size_index(sample_size);
  if (size < 0 || method > TEST_ALIGN || isa > interp_isa_widest()) return nullptr;
  if (method == TEST_ALIGN) {
    const interp_kernel_fn align[3] = {func_TEST_ALIGN_1, func_TEST_ALIGN_2, func_TEST_ALIGN_4};
    return align[size];
  }
  const interp_kernel_fn *set = kernel_set(isa);
  return set != nullptr ? set[method * 3 + size] : nullptr;
}

#define ORTAVEL_DISPATCH_KERNEL(name, method, size)                                                \
  int32_t name(const interp_source *source, const interp_target *target,                           \
               interp_transform_fn transform, const void *model) {                                 \
    return kernel_set(interp_isa_widest())[(method)*3 + (size)](source, target, transform, model); \
  }

ORTAVEL_DISPATCH_KERNEL(func_BILINEAR_1, BILINEAR, 0)
ORTAVEL_DISPATCH_KERNEL(func_BILINEAR_2, BILINEAR, 1)
ORTAVEL_DISPATCH_KERNEL(func_BILINEAR_4, BILINEAR, 2)
ORTAVEL_DISPATCH_KERNEL(func_BICUBIC_1, BICUBIC, 0)
ORTAVEL_DISPATCH_KERNEL(func_BICUBIC_2, BICUBIC, 1)
ORTAVEL_DISPATCH_KERNEL(func_BICUBIC_4, BICUBIC, 2)
ORTAVEL_DISPATCH_KERNEL(func_LANCZOS4_1, LANCZOS4, 0)
ORTAVEL_DISPATCH_KERNEL(func_LANCZOS4_2, LANCZOS4, 1)
ORTAVEL_DISPATCH_KERNEL(func_LANCZOS4_4, LANCZOS4, 2)
ORTAVEL_DISPATCH_KERNEL(func_LANCZOS6_1, LANCZOS6, 0)
ORTAVEL_DISPATCH_KERNEL(func_LANCZOS6_2, LANCZOS6, 1)
ORTAVEL_DISPATCH_KERNEL(func_LANCZOS6_4, LANCZOS6, 2)
ORTAVEL_DISPATCH_KERNEL(func_LANCZOS8_1, LANCZOS8, 0)
ORTAVEL_DISPATCH_KERNEL(func_LANCZOS8_2, LANCZOS8, 1)
ORTAVEL_DISPATCH_KERNEL(func_LANCZOS8_4, LANCZOS8, 2)
ORTAVEL_DISPATCH_KERNEL(func_LANCZOS12_1, LANCZOS12, 0)
ORTAVEL_DISPATCH_KERNEL(func_LANCZOS12_2, LANCZOS12, 1)
ORTAVEL_DISPATCH_KERNEL(func_LANCZOS12_4, LANCZOS12, 2)

#undef ORTAVEL_DISPATCH_KERNEL
