// Correction settings as the page sends and receives them:
//   {"k1": -0.2, "k2": 0.05, "centerX": 0, "centerY": 0, "radiusLimit": 0,
//    "scale": 1, "method": "lanczos6", "orientation": "top",
//    "margins": {"top": 0, "bottom": 0, "left": 0, "right": 0}}
// with the command's own names for methods and orientations.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "correction_settings.h"
#include "settings_file.h"

namespace ortavel::cli::ui {

nlohmann::json settingsToJson(const CorrectionSettings &s);

// The keys given, on top of `base`. Throws CliError (usage) naming the first
// unknown key, a value of the wrong type or an absurd value (as the command
// line refuses them).
CorrectionSettings settingsFromJson(const nlohmann::json &j, const CorrectionSettings &base);

// Parses a request body as a JSON object. Throws CliError (usage) for
// anything else.
nlohmann::json parseBody(const std::string &body);

// The fields of the API's request bodies. Each throws CliError (usage) with
// a message for the page when the field is missing (where it is required),
// of the wrong type or out of range.

// "settings", on top of `base`.
CorrectionSettings requestSettings(const nlohmann::json &body, const CorrectionSettings &base);
// A true/false field; absent is false.
bool requestFlag(const nlohmann::json &body, const char *key);
// A text field that must be there.
std::string requestText(const nlohmann::json &body, const char *key);
// "quality": 1..100; nullopt when absent.
std::optional<int> requestQuality(const nlohmann::json &body);

// Largest side of a preview box.
constexpr std::int32_t kMaxPreviewSide = 8192;

// /api/preview's body: {settings, box: {width, height}, picture, vignetting}.
struct PreviewRequest {
  CorrectionSettings settings;
  std::int32_t width = 0;
  std::int32_t height = 0;
  bool corrected = true;    // "corrected" (default) or "uncorrected"
  bool vignetting = false;  // the lens profile's vignetting taken out first
};
PreviewRequest previewRequest(const nlohmann::json &body, const CorrectionSettings &base);

// Largest side of a 1:1 view's rectangle, and its largest area.
constexpr std::int32_t kMaxCropSide = 4096;
constexpr std::int64_t kMaxCropPixels = 4 << 20;

// /api/crop's body: {settings, rect: {x, y, width, height}, vignetting}, the
// rectangle in the corrected picture's pixels.
struct CropRequest {
  CorrectionSettings settings;
  std::int32_t x = 0;
  std::int32_t y = 0;
  std::int32_t width = 0;
  std::int32_t height = 0;
  bool vignetting = false;
};
CropRequest cropRequest(const nlohmann::json &body, const CorrectionSettings &base);

// /api/lens's body: {camera, lens, settings}. A name replaces the choice,
// null goes back to the photo's own, an absent key keeps `current`'s. A
// name is refused, or kept, as a settings file would (checkedProfileName).
struct LensRequest {
  ProfileNames names;
};
LensRequest lensRequest(const nlohmann::json &body, const ProfileNames &current);

}  // namespace ortavel::cli::ui
