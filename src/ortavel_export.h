/* Symbol export for the engines' C interface.
 *
 * The engines are built with hidden visibility; only what is marked ORTAVEL_API
 * is exported from libortavel_engines.so. The plug-in module links the same
 * objects statically and hides everything but PluginMain with a version script. */
#ifndef ORTAVEL_EXPORT_H
#define ORTAVEL_EXPORT_H

#if defined(_WIN32)
#if defined(ORTAVEL_BUILDING_ENGINES)
#define ORTAVEL_API __declspec(dllexport)
#else
#define ORTAVEL_API
#endif
#else
#define ORTAVEL_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define ORTAVEL_BEGIN_C extern "C" {
#define ORTAVEL_END_C }
#else
#define ORTAVEL_BEGIN_C
#define ORTAVEL_END_C
#endif

#endif
