// Settings to and from the scripting descriptor the filter reads on start
// and writes back on finish: floats "paK1" "paK2" "paXC" "paYC" "paFR"
// "scaF", the method "intM" (enumeration type "intT"), the orientation
// "orIM", and the margins "caTo" "caBo" "caLe" "caRi" as integers.
#pragma once

#include "correction_settings.h"
#include "emulator/descriptor.h"

namespace ortavel::cli {

hostemu::Descriptor buildDescriptor(const CorrectionSettings &s);

// The settings a written-back descriptor records. The filter records the
// lens parameters and the method only, so orientation and margins come from
// `given`, as do keys the descriptor lacks.
CorrectionSettings settingsFromDescriptor(const hostemu::Descriptor &d,
                                          const CorrectionSettings &given);

// The text printf("%p") gives for an address: how the filter is told where
// the caller's buffers are.
std::string addressText(const void *p);

}  // namespace ortavel::cli
