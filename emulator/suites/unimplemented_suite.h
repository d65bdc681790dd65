// A stand-in table for suites this host knows by name but does not provide.
// Every slot points at one function that answers kSPUnimplementedError, so a
// plug-in that calls any entry gets an error back instead of a null jump.
//
// Only suites whose entries all report through their return word (SPErr or a
// Boolean/count) are answered this way: the entry ignores its arguments and
// returns in the integer return register, which is valid for any C signature
// on the platforms we build for. Suites with entries that return pointers or
// handles (handle, buffer, resource, UI hooks, ...) are refused instead: a
// caller would dereference the error word.
#pragma once

#include <cstddef>

#include "host/photoshop_api.h"

namespace hostemu {

// More slots than the longest suite answered this way has entries.
inline constexpr std::size_t kUnimplementedSuiteSlots = 128;

struct UnimplementedSuite {
  SPErr (*entries[kUnimplementedSuiteSlots])();
};

// A table with every slot filled.
UnimplementedSuite makeUnimplementedSuite();

}  // namespace hostemu
