// Correction settings as the page sends and receives them:
//   {"k1": -0.2, "k2": 0.05, "centerX": 0, "centerY": 0, "radiusLimit": 0,
//    "scale": 1, "method": "lanczos6", "orientation": "top",
//    "margins": {"top": 0, "bottom": 0, "left": 0, "right": 0}}
// with the command's own names for methods and orientations.
#pragma once

#include <nlohmann/json.hpp>

#include "correction_settings.h"

namespace ortavel::cli::ui {

nlohmann::json settingsToJson(const CorrectionSettings &s);

// The keys given, on top of `base`. Throws CliError (usage) naming the first
// unknown key, a value of the wrong type or an absurd value (as the command
// line refuses them).
CorrectionSettings settingsFromJson(const nlohmann::json &j, const CorrectionSettings &base);

// Parses a request body as a JSON object. Throws CliError (usage) for
// anything else.
nlohmann::json parseBody(const std::string &body);

}  // namespace ortavel::cli::ui
