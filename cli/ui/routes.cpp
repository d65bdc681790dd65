#include "ui/routes.h"

#include <httplib.h>

#include <nlohmann/json.hpp>

#include "commands.h"
#include "exit_codes.h"
#include "image_io/image_io.h"
#include "settings_file.h"
#include "ui/assets.h"
#include "ui/security.h"
#include "ui/settings_json.h"
#include "ui/ui_session.h"
#include "upright.h"

namespace ortavel::cli::ui {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

void sendJson(httplib::Response &res, int status, const json &body) {
  res.status = status;
  res.set_content(body.dump(), "application/json");
}

void sendError(httplib::Response &res, int status, const std::string &message,
               json extra = json::object()) {
  extra["error"] = message;
  sendJson(res, status, extra);
}

// Runs a handler, turning its CliError into an answer the page can show:
// the user's mistakes 400, our failures 500.
template <typename Handler>
auto guarded(Handler handler) {
  return [handler](const httplib::Request &req, httplib::Response &res) {
    // A body of declared length is refused before it is read; a chunked one
    // is bounded while it is read (connection_gate.h) and checked here.
    if (req.body.size() > kMaxRequestBytes) {
      return sendError(res, 413, "the request body is too large");
    }
    try {
      handler(req, res);
    } catch (const CliError &e) {
      const bool theirs = e.code() == ExitCode::kUsage || e.code() == ExitCode::kBadInput;
      sendError(res, theirs ? 400 : 500, e.what());
    } catch (const json::exception &e) {
      sendError(res, 400, std::string("bad request: ") + e.what());
    }
  };
}

json cameraJson(const PhotoIdentity &c) {
  json j = json::object();
  j["make"] = c.make ? json(*c.make) : json(nullptr);
  j["model"] = c.model ? json(*c.model) : json(nullptr);
  j["focalLength"] = c.focalLengthMm ? json(*c.focalLengthMm) : json(nullptr);
  j["lens"] = c.lensModel ? json(*c.lensModel) : json(nullptr);
  return j;
}

// The target of a write, or an answer saying why not. A file that exists
// is replaced only when the request says the user confirmed it.
json optionalText(const std::optional<std::string> &v) {
  return v ? json(*v) : json(nullptr);
}

json choiceJson(const ProfileNames &n) {
  return {{"camera", optionalText(n.camera)}, {"lens", optionalText(n.lens)}};
}

// Auto's answer: the settings with the profile's lens parameters, the lines
// that say which profile, and the profile's names and fit error.
json autoJson(const AutoAnswer &a) {
  json j = {{"settings", settingsToJson(*a.settings.value)}, {"notes", a.settings.notes}};
  if (a.profile) {
    j["profile"] = {{"camera", a.profile->camera},
                    {"lens", a.profile->lens},
                    {"focalLength", a.profile->focalLengthMm},
                    {"fitErrorPx", a.profile->fitErrorPx},
                    {"exact", a.profile->exact}};
  }
  return j;
}

std::optional<fs::path> writableTarget(const json &body, const UiSession &session,
                                       httplib::Response &res) {
  const OutputTarget t = resolveOutput(requestText(body, "path"), session.photo().path);
  if (t.exists && !requestFlag(body, "overwrite")) {
    sendError(res, 409, t.path.string() + " exists; confirm to replace it",
              json{{"exists", true}, {"path", t.path.string()}});
    return std::nullopt;
  }
  return t.path;
}

std::string suggested(const fs::path &photo, const std::string &suffix) {
  fs::path p = fs::absolute(photo).lexically_normal();
  return (p.parent_path() / (p.stem().string() + suffix)).string();
}

void servePage(const httplib::Request &, httplib::Response &res, const std::string &token) {
  const EmbeddedFile *page = findEmbedded("index.html");
  std::string html(page->bytes);
  const std::string mark = "{{TOKEN}}";
  for (auto at = html.find(mark); at != std::string::npos; at = html.find(mark, at))
    html.replace(at, mark.size(), token);
  res.set_header("Content-Security-Policy",
                 "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
                 "connect-src 'self'; form-action 'none'; frame-ancestors 'none'; "
                 "base-uri 'none'");
  res.set_content(html, std::string(contentTypeFor("index.html")));
}

}  // namespace

void addRoutes(httplib::Server &server, UiSession &session, const std::string &token) {
  server.Get("/", [token](const httplib::Request &req, httplib::Response &res) {
    servePage(req, res, token);
  });
  server.Get(R"(/([a-z_]+\.(js|css)))", [](const httplib::Request &req, httplib::Response &res) {
    const std::string name = req.matches[1];
    const EmbeddedFile *f = findEmbedded(name);
    if (f == nullptr) return sendError(res, 404, name + ": no such file");
    res.set_content(std::string(f->bytes), std::string(contentTypeFor(name)));
  });

  server.Get("/api/state", guarded([&session](const httplib::Request &, httplib::Response &res) {
               const PhotoFacts p = session.photo();
               const Image &img = session.image();
               json profiles = {{"available", true}};
               if (const auto why = profilesUnavailable()) {
                 profiles = {{"available", false}, {"reason", *why}};
               }
               json methods = json::array();
               for (const int m : {0, 1, 3, 4, 5, 6}) methods.push_back(methodName(m));
               json orientations = json::array();
               for (int o = 0; o < 8; ++o) orientations.push_back(orientationName(o));
               sendJson(
                   res, 200,
                   {{"photo",
                     {{"name", p.path.filename().string()},
                      {"path", p.path.string()},
                      {"width", p.width},
                      {"height", p.height},
                      {"bits", img.fileBits},
                      {"orientation", displayOrientation(img)},
                      {"format", formatName(img.format)}}},
                    {"camera", cameraJson(p.identity)},
                    {"choice", choiceJson(session.profileNames())},
                    {"settings", settingsToJson(session.initialSettings())},
                    {"methods", methods},
                    {"orientations", orientations},
                    {"profiles", profiles},
                    {"suggested",
                     {{"output", suggested(p.path, "-corrected" + p.path.extension().string())},
                      {"settings", suggested(p.path, "-settings.txt")}}}});
             }));

  server.Post(
      "/api/preview", guarded([&session](const httplib::Request &req, httplib::Response &res) {
        const PreviewRequest p = previewRequest(parseBody(req.body), session.initialSettings());
        UiSession::PreviewAnswer a =
            session.preview(p.settings, p.width, p.height, p.corrected, p.vignetting);
        if (a.outcome == UiSession::PreviewOutcome::kSuperseded) {
          return sendError(res, 409, "superseded by a newer preview request",
                           {{"superseded", true}});
        }
        if (a.outcome == UiSession::PreviewOutcome::kBusy) {
          return sendError(res, 409, "the photo is being corrected; previews resume when it ends",
                           {{"busy", true}});
        }
        res.set_header("X-Preview-Width", std::to_string(a.picture.width));
        res.set_header("X-Preview-Height", std::to_string(a.picture.height));
        res.set_content(std::string(a.picture.pixels.begin(), a.picture.pixels.end()),
                        "application/octet-stream");
      }));

  // The 1:1 view: a rectangle of the full-size correction.
  server.Post("/api/crop", guarded([&session](const httplib::Request &req, httplib::Response &res) {
                const CropRequest c = cropRequest(parseBody(req.body), session.initialSettings());
                UiSession::PreviewAnswer a =
                    session.crop(c.settings, c.vignetting, {c.x, c.y, c.width, c.height});
                if (a.outcome == UiSession::PreviewOutcome::kSuperseded) {
                  return sendError(res, 409, "superseded by a newer preview request",
                                   {{"superseded", true}});
                }
                if (a.outcome == UiSession::PreviewOutcome::kBusy) {
                  return sendError(res, 409,
                                   "the photo is being corrected; previews resume when it ends",
                                   {{"busy", true}});
                }
                res.set_header("X-Preview-Width", std::to_string(a.picture.width));
                res.set_header("X-Preview-Height", std::to_string(a.picture.height));
                res.set_content(std::string(a.picture.pixels.begin(), a.picture.pixels.end()),
                                "application/octet-stream");
              }));

  server.Post("/api/save-settings",
              guarded([&session](const httplib::Request &req, httplib::Response &res) {
                const json body = parseBody(req.body);
                const CorrectionSettings s = requestSettings(body, session.initialSettings());
                const auto target = writableTarget(body, session, res);
                if (!target) return;
                writeSettings(*target, s, std::nullopt, true, session.profileNames());
                sendJson(res, 200, {{"path", target->string()}});
              }));

  server.Post(
      "/api/correct", guarded([&session](const httplib::Request &req, httplib::Response &res) {
        const json body = parseBody(req.body);
        CorrectRequest r;
        r.settings = requestSettings(body, session.initialSettings());
        r.quality = requestQuality(body).value_or(r.quality);
        const auto target = writableTarget(body, session, res);
        if (!target) return;
        const auto format = formatForName(*target);
        if (!format) {
          throw usageError(target->string() + ": unknown format (name it .jpg, .png or .tif)");
        }
        checkWritable(session.image(), *format, *target);
        r.output = *target;
        r.format = *format;
        r.overwrite = requestFlag(body, "overwrite");
        r.vignetting = requestFlag(body, "vignetting");
        const int id = session.startCorrect(r);
        sendJson(res, 202, {{"id", id}, {"path", target->string()}});
      }));

  server.Get("/api/job", guarded([&session](const httplib::Request &, httplib::Response &res) {
               const JobStatus j = session.job();
               sendJson(res, 200,
                        {{"id", j.id},
                         {"state", jobStateName(j.state)},
                         {"done", j.done},
                         {"total", j.total},
                         {"path", j.output},
                         {"message", j.message}});
             }));

  server.Post("/api/job/cancel",
              guarded([&session](const httplib::Request &, httplib::Response &res) {
                sendJson(res, 200, {{"cancelling", session.cancel()}});
              }));

  server.Post("/api/auto", guarded([&session](const httplib::Request &req, httplib::Response &res) {
                const json body = parseBody(req.body);
                const AutoAnswer a =
                    autoSettings(session.photo(), requestSettings(body, session.initialSettings()));
                if (!a.settings.value) return sendError(res, 422, a.settings.reason);
                sendJson(res, 200, autoJson(a));
              }));

  // The lens picker: the lenses of the camera's mount, every camera for
  // when the photo's is unknown, and the choice, which applies at once.
  server.Get("/api/lenses", guarded([&session](const httplib::Request &, httplib::Response &res) {
               const LensChoices c = lensChoices(session.photo());
               json lenses = json::array();
               for (const LensEntry &e : c.lenses) {
                 lenses.push_back({{"name", e.name},
                                   {"minFocal", e.minFocalMm},
                                   {"maxFocal", e.maxFocalMm},
                                   {"calibrated", e.calibrated},
                                   {"coversFocal", e.coversFocal}});
               }
               sendJson(res, 200,
                        {{"camera", c.camera.empty() ? json(nullptr) : json(c.camera)},
                         {"mount", c.mount},
                         {"reason", c.reason},
                         {"lenses", lenses}});
             }));

  server.Get("/api/cameras", guarded([](const httplib::Request &, httplib::Response &res) {
               sendJson(res, 200, {{"cameras", cameraNames()}});
             }));

  server.Post("/api/lens", guarded([&session](const httplib::Request &req, httplib::Response &res) {
                const json body = parseBody(req.body);
                const LensRequest r = lensRequest(body, session.profileNames());
                const CorrectionSettings current = requestSettings(body, session.initialSettings());
                session.chooseProfile(r.names);
                json answer = {{"choice", choiceJson(r.names)}};
                const AutoAnswer a = autoSettings(session.photo(), current);
                if (a.settings.value) {
                  answer.update(autoJson(a));
                } else {
                  answer["reason"] = a.settings.reason;
                }
                sendJson(res, 200, answer);
              }));

  server.Post("/api/vignetting",
              guarded([&session](const httplib::Request &, httplib::Response &res) {
                std::string note;
                try {
                  note = session.prepareVignetting();
                } catch (const CliError &e) {
                  return sendError(res, 422, e.what());
                }
                sendJson(res, 200, {{"note", note}});
              }));

  server.Post("/api/fill", guarded([&session](const httplib::Request &req, httplib::Response &res) {
                const json body = parseBody(req.body);
                const auto a =
                    fillScale(session.photo(), requestSettings(body, session.initialSettings()));
                if (!a.zoom.value) return sendError(res, 422, a.zoom.reason);
                json answer = {{"scale", *a.zoom.value}};
                if (!a.warning.empty()) {
                  answer["warning"] = a.warning;
                  answer["strongestK1"] = a.strongestK1 ? json(*a.strongestK1) : json(nullptr);
                }
                sendJson(res, 200, answer);
              }));
}

}  // namespace ortavel::cli::ui
