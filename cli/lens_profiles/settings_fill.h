// The fill zoom for the command's settings: the picture's lens and margins as
// the shared fill search takes them.
#pragma once

#include <cstdint>
#include <optional>

#include "correction_settings.h"

namespace ortavel::cli {

// The smallest zoom at which the canvas (picture and margins) takes every
// pixel from inside the photograph; `s.scale` is ignored. nullopt when no
// zoom fills it.
std::optional<double> fillZoom(const CorrectionSettings &s, std::int32_t width,
                               std::int32_t height);

// Whether the canvas fills with the settings as they are, zoom included.
bool fillsCanvas(const CorrectionSettings &s, std::int32_t width, std::int32_t height);

// Whether the settings at this zoom fold the canvas over itself (the source
// radius stops growing before the farthest corner).
bool foldsAtZoom(const CorrectionSettings &s, std::int32_t width, std::int32_t height, double zoom);

// The most negative k1 (between s.k1 and 0) whose fill does not fold at
// s.k2; nullopt when there is none.
std::optional<double> strongestUnfoldedK1(const CorrectionSettings &s, std::int32_t width,
                                          std::int32_t height);

}  // namespace ortavel::cli
