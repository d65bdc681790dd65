/* A module that answers every call and does nothing: the body of the broken
 * modules a Windows host must refuse (no PiPL, a PiPL of another kind, a
 * PiPL naming an entry point the module does not export). */
#include <stdint.h>

__declspec(dllexport) void PluginMain(int16_t selector, void *paramBlock, intptr_t *data,
                                      int16_t *result) {
  (void)selector;
  (void)paramBlock;
  (void)data;
  *result = 0;
}
