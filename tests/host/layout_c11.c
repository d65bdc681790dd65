/* The whole host interface must compile as C11, and every record must have
 * the x86-64 Linux layout the host uses. Compile-time only; the runtime test
 * calls this file's one function so the object is linked in. */
#include "layout_linux_x86_64.h"

#if defined(__x86_64__) && defined(__linux__) && !defined(PS_LAYOUT_LINUX_X86_64_CHECKED)
#error "the x86-64 layout checks did not run"
#endif

int ps_layout_c11_field_count(void) {
#ifdef PS_LAYOUT_LINUX_X86_64_FIELD_COUNT
  return PS_LAYOUT_LINUX_X86_64_FIELD_COUNT;
#else
  return 0;
#endif
}
