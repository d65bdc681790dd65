/* Our declarations of the host's published filter plug-in interface: types,
 * constants, callback tables, descriptor access, suites, document records
 * and the filter record. Written from the interface's documented layout with
 * fixed-width types only; compiles as C11 and as C++20.
 *
 * The size checks below pin the two layouts we build for: LP64 natural
 * (Linux and 64-bit macOS hosts) and Windows x64 with WIN32=1. Every field
 * offset is checked by the layout tests. */
#ifndef ORTAVEL_HOST_PHOTOSHOP_API_H
#define ORTAVEL_HOST_PHOTOSHOP_API_H

#include "host/ps_automation.h"
#include "host/ps_callbacks.h"
#include "host/ps_constants.h"
#include "host/ps_descriptor.h"
#include "host/ps_document.h"
#include "host/ps_filter.h"
#include "host/ps_suites.h"
#include "host/ps_types.h"

#if defined(__LP64__) && !defined(_WIN32)
PS_STATIC_ASSERT(sizeof(FilterRecord) == 648, "FilterRecord, LP64 natural");
PS_STATIC_ASSERT(offsetof(FilterRecord, abortProc) == 8, "FilterRecord.abortProc");
PS_STATIC_ASSERT(offsetof(FilterRecord, descriptorParameters) == 456, "descriptorParameters");
PS_STATIC_ASSERT(offsetof(FilterRecord, sSPBasic) == 488, "FilterRecord.sSPBasic");
PS_STATIC_ASSERT(offsetof(FilterRecord, bigDocumentData) == 536, "bigDocumentData");
PS_STATIC_ASSERT(offsetof(FilterRecord, allowOverrangeColors) == 600, "allowOverrangeColors");
PS_STATIC_ASSERT(sizeof(AboutRecord) == 272, "AboutRecord");
#elif defined(_WIN64)
#if PS_PACK_FILTER_RECORD
PS_STATIC_ASSERT(sizeof(FilterRecord) == 608, "FilterRecord, Windows x64 pack(4)");
PS_STATIC_ASSERT(offsetof(FilterRecord, abortProc) == 4, "FilterRecord.abortProc");
PS_STATIC_ASSERT(offsetof(FilterRecord, sSPBasic) == 464, "FilterRecord.sSPBasic");
PS_STATIC_ASSERT(offsetof(FilterRecord, bigDocumentData) == 504, "bigDocumentData");
#endif
PS_STATIC_ASSERT(sizeof(AboutRecord) == 272, "AboutRecord is natural on Windows too");
#endif

#if defined(__LP64__) || defined(_WIN64)
PS_STATIC_ASSERT(sizeof(BigDocumentStruct) == 92, "BigDocumentStruct");
PS_STATIC_ASSERT(sizeof(HandleProcs) == 72 && offsetof(HandleProcs, newProc) == 8, "HandleProcs");
PS_STATIC_ASSERT(sizeof(BufferProcs) == 72, "BufferProcs");
PS_STATIC_ASSERT(sizeof(PropertyProcs) == 24, "PropertyProcs");
PS_STATIC_ASSERT(sizeof(PIDescriptorParameters) == 32, "PIDescriptorParameters");
PS_STATIC_ASSERT(sizeof(WriteDescriptorProcs) == 136, "WriteDescriptorProcs");
PS_STATIC_ASSERT(sizeof(ReadDescriptorProcs) == 152, "ReadDescriptorProcs");
PS_STATIC_ASSERT(sizeof(SPBasicSuite) == 56, "SPBasicSuite");
PS_STATIC_ASSERT(sizeof(PSChannelPortsSuite1) == 176, "PSChannelPortsSuite1");
PS_STATIC_ASSERT(sizeof(PSColorSpaceSuite1) == 128, "PSColorSpaceSuite1");
PS_STATIC_ASSERT(sizeof(PSColorSpaceSuite2) == 144, "PSColorSpaceSuite2");
PS_STATIC_ASSERT(sizeof(ReadImageDocumentDesc) == 944, "ReadImageDocumentDesc");
PS_STATIC_ASSERT(sizeof(ReadChannelDesc) == 128, "ReadChannelDesc");
PS_STATIC_ASSERT(sizeof(ColorServicesInfo) == 56, "ColorServicesInfo");
PS_STATIC_ASSERT(sizeof(FilterCaseInfo) == 4, "FilterCaseInfo");
#endif

#endif
