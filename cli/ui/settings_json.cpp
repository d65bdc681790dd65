#include "ui/settings_json.h"

#include <limits>

#include "exit_codes.h"

namespace ortavel::cli::ui {

using nlohmann::json;

namespace {

double number(const json &v, const char *key) {
  if (!v.is_number()) throw usageError(std::string(key) + " must be a number");
  return v.get<double>();
}

std::int32_t whole(const json &v, const char *key) {
  if (!v.is_number_integer() || v.get<std::int64_t>() < 0 ||
      v.get<std::int64_t>() > std::numeric_limits<std::int32_t>::max()) {
    throw usageError(std::string("margin ") + key + " must be a whole number, not negative");
  }
  return static_cast<std::int32_t>(v.get<std::int64_t>());
}

std::string nameValue(const json &v, const char *key) {
  if (!v.is_string()) throw usageError(std::string(key) + " must be a name");
  return v.get<std::string>();
}

}  // namespace

json settingsToJson(const CorrectionSettings &s) {
  return json{{"k1", s.k1},
              {"k2", s.k2},
              {"centerX", s.centerX},
              {"centerY", s.centerY},
              {"radiusLimit", s.radiusLimit},
              {"scale", s.scale},
              {"method", std::string(methodName(s.method))},
              {"orientation", std::string(orientationName(s.orientation))},
              {"margins",
               {{"top", s.margins.top},
                {"bottom", s.margins.bottom},
                {"left", s.margins.left},
                {"right", s.margins.right}}}};
}

CorrectionSettings settingsFromJson(const json &j, const CorrectionSettings &base) {
  if (!j.is_object()) throw usageError("settings must be an object");
  CorrectionSettings s = base;
  for (const auto &[key, v] : j.items()) {
    if (key == "k1")
      s.k1 = number(v, "k1");
    else if (key == "k2")
      s.k2 = number(v, "k2");
    else if (key == "centerX")
      s.centerX = number(v, "centerX");
    else if (key == "centerY")
      s.centerY = number(v, "centerY");
    else if (key == "radiusLimit")
      s.radiusLimit = number(v, "radiusLimit");
    else if (key == "zoom" || key == "scale")  // the page still says "scale"
      s.scale = number(v, key.c_str());
    else if (key == "method") {
      const auto m = methodFromName(nameValue(v, "method"));
      if (!m) throw usageError("unknown method \"" + v.get<std::string>() + "\"");
      s.method = *m;
    } else if (key == "orientation") {
      const auto o = orientationFromName(nameValue(v, "orientation"));
      if (!o) throw usageError("unknown orientation \"" + v.get<std::string>() + "\"");
      s.orientation = *o;
    } else if (key == "margins") {
      if (!v.is_object()) throw usageError("margins must be an object");
      for (const auto &[side, m] : v.items()) {
        if (side == "top")
          s.margins.top = whole(m, "top");
        else if (side == "bottom")
          s.margins.bottom = whole(m, "bottom");
        else if (side == "left")
          s.margins.left = whole(m, "left");
        else if (side == "right")
          s.margins.right = whole(m, "right");
        else
          throw usageError("unknown margin \"" + side + "\"");
      }
    } else {
      throw usageError("unknown setting \"" + key + "\"");
    }
  }
  validate(s);
  return s;
}

json parseBody(const std::string &body) {
  json j = json::parse(body, nullptr, false);
  if (j.is_discarded()) throw usageError("the request body is not valid JSON");
  if (!j.is_object()) throw usageError("the request body must be a JSON object");
  return j;
}

CorrectionSettings requestSettings(const json &body, const CorrectionSettings &base) {
  if (!body.contains("settings")) throw usageError("the request names no settings");
  return settingsFromJson(body.at("settings"), base);
}

bool requestFlag(const json &body, const char *key) {
  if (!body.contains(key)) return false;
  if (!body.at(key).is_boolean()) throw usageError(std::string(key) + " must be true or false");
  return body.at(key).get<bool>();
}

std::string requestText(const json &body, const char *key) {
  if (!body.contains(key) || !body.at(key).is_string()) {
    throw usageError(std::string("the request needs ") + key + " as text");
  }
  return body.at(key).get<std::string>();
}

std::optional<int> requestQuality(const json &body) {
  if (!body.contains("quality")) return std::nullopt;
  const json &q = body.at("quality");
  if (!q.is_number_integer() || q.get<std::int64_t>() < 1 || q.get<std::int64_t>() > 100) {
    throw usageError("quality must be a whole number from 1 to 100");
  }
  return static_cast<int>(q.get<std::int64_t>());
}

namespace {

std::int32_t side(const json &box, const char *key) {
  if (!box.contains(key) || !box.at(key).is_number_integer()) {
    throw usageError(std::string("box ") + key + " must be a whole number");
  }
  const auto v = box.at(key).get<std::int64_t>();
  if (v < 1 || v > kMaxPreviewSide) {
    throw usageError(std::string("box ") + key + " must be 1 to " +
                     std::to_string(kMaxPreviewSide));
  }
  return static_cast<std::int32_t>(v);
}

}  // namespace

PreviewRequest previewRequest(const json &body, const CorrectionSettings &base) {
  PreviewRequest p;
  p.settings = requestSettings(body, base);
  if (!body.contains("box") || !body.at("box").is_object()) {
    throw usageError("the request needs a box {width, height}");
  }
  const json &box = body.at("box");
  const json picture = body.contains("picture") ? body.at("picture") : json("corrected");
  if (picture != "corrected" && picture != "uncorrected") {
    throw usageError("picture must be \"corrected\" or \"uncorrected\"");
  }
  p.width = side(box, "width");
  p.height = side(box, "height");
  p.corrected = picture == "corrected";
  p.vignetting = requestFlag(body, "vignetting");
  return p;
}

namespace {

std::int32_t rectField(const json &rect, const char *key, std::int64_t lo, std::int64_t hi) {
  if (!rect.contains(key) || !rect.at(key).is_number_integer()) {
    throw usageError(std::string("rect ") + key + " must be a whole number");
  }
  const auto v = rect.at(key).get<std::int64_t>();
  if (v < lo || v > hi) {
    throw usageError(std::string("rect ") + key + " must be " + std::to_string(lo) + " to " +
                     std::to_string(hi));
  }
  return static_cast<std::int32_t>(v);
}

}  // namespace

CropRequest cropRequest(const json &body, const CorrectionSettings &base) {
  CropRequest c;
  c.settings = requestSettings(body, base);
  if (!body.contains("rect") || !body.at("rect").is_object()) {
    throw usageError("the request needs a rect {x, y, width, height}");
  }
  const json &rect = body.at("rect");
  constexpr std::int64_t kFar = std::numeric_limits<std::int32_t>::max();
  c.x = rectField(rect, "x", 0, kFar);
  c.y = rectField(rect, "y", 0, kFar);
  c.width = rectField(rect, "width", 1, kMaxCropSide);
  c.height = rectField(rect, "height", 1, kMaxCropSide);
  if (std::int64_t{c.width} * c.height > kMaxCropPixels) {
    throw usageError("the rect is larger than " + std::to_string(kMaxCropPixels) + " pixels");
  }
  c.vignetting = requestFlag(body, "vignetting");
  return c;
}

LensRequest lensRequest(const json &body, const ProfileNames &current) {
  LensRequest r{current};
  for (const auto &[key, v] : body.items()) {
    if (key == "settings") continue;
    if (key != "camera" && key != "lens") throw usageError("unknown field \"" + key + "\"");
    std::optional<std::string> &slot = key == "camera" ? r.names.camera : r.names.lens;
    if (v.is_null()) {
      slot.reset();
      continue;
    }
    if (!v.is_string()) throw usageError(key + " must be a name or null");
    slot = checkedProfileName(v.get<std::string>(), key);
  }
  return r;
}

}  // namespace ortavel::cli::ui
