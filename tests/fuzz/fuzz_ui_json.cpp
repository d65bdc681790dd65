// libFuzzer target for the editor's request bodies: any bytes are parsed as
// the routes parse them, and every field reader is run on the result. A
// CliError or a JSON error is the answer a bad request gets (the routes turn
// both into 400); settings that are accepted survive the round trip through
// the JSON the page receives, and camera and lens names that are accepted the
// round trip through a settings file.
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "correction_settings.h"
#include "exit_codes.h"
#include "settings_file.h"
#include "ui/settings_json.h"

namespace {

void Require(bool ok) {
  if (!ok) __builtin_trap();
}

template <typename F>
void Answer(F f) {
  try {
    f();
  } catch (const ortavel::cli::CliError &) {
  } catch (const nlohmann::json::exception &) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace ortavel::cli;
  using namespace ortavel::cli::ui;
  using nlohmann::json;
  const std::string body(reinterpret_cast<const char *>(data), size);
  json j;
  try {
    j = parseBody(body);
  } catch (const CliError &) {
    return 0;
  }
  Require(j.is_object());
  const CorrectionSettings base;
  Answer([&] {
    const CorrectionSettings s = requestSettings(j, base);
    const CorrectionSettings back = settingsFromJson(settingsToJson(s), CorrectionSettings{});
    Require(settingsToJson(back) == settingsToJson(s));
  });
  Answer([&] {
    const PreviewRequest p = previewRequest(j, base);
    Require(p.width >= 1 && p.width <= kMaxPreviewSide);
    Require(p.height >= 1 && p.height <= kMaxPreviewSide);
  });
  Answer([&] {
    const CropRequest c = cropRequest(j, base);
    Require(c.x >= 0 && c.y >= 0 && c.width >= 1 && c.width <= kMaxCropSide && c.height >= 1 &&
            c.height <= kMaxCropSide && std::int64_t{c.width} * c.height <= kMaxCropPixels);
  });
  Answer([&] {
    // An accepted name is one a settings file holds and reads back.
    const LensRequest r = lensRequest(j, ProfileNames{});
    for (const auto &name : {r.names.camera, r.names.lens}) {
      if (!name) continue;
      ProfileNames back;
      CorrectionSettings s;
      parseSettings(formatSettings(s, {std::nullopt, name}), "fuzz.txt", s, &back);
      Require(back.lens == name);
    }
  });
  Answer([&] { requestFlag(j, "overwrite"); });
  Answer([&] { requestText(j, "path"); });
  Answer([&] {
    const auto q = requestQuality(j);
    Require(!q || (*q >= 1 && *q <= 100));
  });
  return 0;
}
