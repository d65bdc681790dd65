/* The module's one exported entry point, called by the host once per step of
 * a filter invocation (selectors filterSelectorAbout .. filterSelectorFinish).
 *
 * paramBlock is the FilterRecord, or the AboutRecord on the about selector;
 * data is the pointer-sized word the host keeps for us between calls (it
 * holds the data block's handle); result is the call's result word, which the
 * host passes in as 0 and we leave 0 on success. */
#ifndef ORTAVEL_FRAME_PLUGIN_MAIN_H
#define ORTAVEL_FRAME_PLUGIN_MAIN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32)
#define ORTAVEL_ENTRY __declspec(dllexport)
#else
#define ORTAVEL_ENTRY __attribute__((visibility("default")))
#endif

ORTAVEL_ENTRY void PluginMain(int16_t selector, void *paramBlock, intptr_t *data, int16_t *result);

#ifdef __cplusplus
}
#endif

#endif
