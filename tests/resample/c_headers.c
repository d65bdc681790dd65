/* The resampling and geometry headers are C11 headers: this file must build
 * as C, and answers a few facts for the C++ test through C linkage. */
#include "geometry/lensdistort.h"
#include "resample/interp.h"
#include "resample/isa.h"
#include "resample/kernels.h"
#include "resample/lanczos_tables.h"

int32_t c_support_of(uint32_t method, uint32_t sample_size) {
  const interp_method *m = interp_get_method(method, sample_size);
  return m ? m->support : -1;
}

int c_kernel_is(uint32_t method, uint32_t sample_size, interp_kernel_fn kernel) {
  const interp_method *m = interp_get_method(method, sample_size);
  return m != 0 && m->kernel == kernel;
}

double c_lanczos12_tail(void) {
  return lanczos12tab[769];
}

const char *c_widest_isa_name(void) {
  return interp_isa_name(interp_isa_widest());
}
