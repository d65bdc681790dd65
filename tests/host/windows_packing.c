/* Compiled only (clang, x86_64-pc-windows-msvc): the Windows x64 layout with
 * WIN32 non-zero, and the natural FilterRecord when WIN32 is missing. */
#include "host/photoshop_api.h"

#if PS_PACK_FILTER_RECORD
#include "layout_windows_x64.h"
#ifndef PS_LAYOUT_WINDOWS_X64_CHECKED
#error "the Windows x64 layout checks did not run"
#endif
#else
/* Without WIN32 the record silently becomes naturally aligned. */
PS_STATIC_ASSERT(sizeof(FilterRecord) == 648, "natural FilterRecord without WIN32");
PS_STATIC_ASSERT(offsetof(FilterRecord, abortProc) == 8, "natural abortProc");
#endif

/* Never packed, whatever WIN32 says. */
PS_STATIC_ASSERT(offsetof(HandleProcs, newProc) == 8, "HandleProcs stays natural");
PS_STATIC_ASSERT(sizeof(AboutRecord) == 272, "AboutRecord stays natural");
PS_STATIC_ASSERT(sizeof(FilterCaseInfo) == 4 && _Alignof(FilterCaseInfo) == 1, "fici entry");

/* The automation records: the messages stay natural (a blanket packing would
 * move basic from 24 to 20), the action parameters and the terminology are
 * byte-packed on Windows whatever WIN32 says. */
PS_STATIC_ASSERT(offsetof(SPMessageData, basic) == 24, "SPMessageData stays natural");
PS_STATIC_ASSERT(offsetof(PSActionsPlugInMessage, actionParameters) == 32, "message natural");
PS_STATIC_ASSERT(_Alignof(PIActionParameters) == 1 && sizeof(PIActionParameters) == 16,
                 "PIActionParameters pack(1)");
PS_STATIC_ASSERT(sizeof(PITerminology) == PITerminologyMinSize, "PITerminology pack(1)");
