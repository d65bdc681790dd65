/* The Windows tree compiles the module and the host with WIN32=1. Without it
 * the filter record silently takes the natural layout, which no Windows host
 * uses, and the host and module built here would still agree with each other:
 * so the build itself refuses it. */
#include "host/photoshop_api.h"

PS_STATIC_ASSERT(PS_PACK_FILTER_RECORD, "the Windows build must define WIN32=1");
PS_STATIC_ASSERT(sizeof(FilterRecord) == 608, "FilterRecord as Windows x64 hosts lay it out");
