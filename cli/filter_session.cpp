#include "filter_session.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "canvas.h"
#include "descriptor_mapping.h"
#include "emulator/fourcc.h"
#include "exit_codes.h"
#include "interrupt.h"
#include "run/preview_buffer.h"

namespace ortavel::cli {
namespace {

using hostemu::fourCC;

constexpr std::int16_t kUserCanceled = -128;

// Bigger than any text an EXIF block can hold, and than the filter's own
// "Malformatted ..." replacements: the filter copies without a bound.
std::size_t textBufferSize(const hostemu::Document &doc) {
  return doc.exif.size() + 256;
}

// The sentinel we leave in a text buffer to tell "no such tag" from "".
constexpr char kUntouched = '\x7f';

std::int32_t fitted(std::int32_t size, double factor) {
  const double v = std::round(static_cast<double>(size) * factor);
  return v < 1.0 ? 1 : static_cast<std::int32_t>(v);
}

}  // namespace

std::string resultName(std::int16_t code) {
  switch (code) {
    case 0:
      return "noErr";
    case -108:
      return "memFullErr (out of memory)";
    case -128:
      return "userCanceledErr";
    case -1715:
      return "errAEParamMissed (no descriptor reader or writer)";
    case -30100:
      return "filterBadParameters";
    case -30101:
      return "filterBadMode";
    case -30900:
      return "errPlugInHostInsufficient";
    default:
      return "host error " + std::to_string(code);
  }
}

FilterSession::FilterSession(const std::filesystem::path &pluginPath, ProgressBar &bar)
    : bar_(bar) {
  try {
    plugin_ = std::make_unique<hostemu::Plugin>(pluginPath);
  } catch (const std::exception &e) {
    throw failure(std::string("cannot load the plug-in: ") + e.what());
  }
}

FilterSession::~FilterSession() = default;

hostemu::RunResult FilterSession::invoke(hostemu::Document &doc,
                                         const hostemu::Descriptor &descriptor,
                                         const std::string &label, const RunHooks *hooks) {
  std::lock_guard lock(mutex_);
  hostemu::HostOptions options;
  if (hooks != nullptr && hooks->progress) {
    options.progressCallback = hooks->progress;
  } else {
    options.progressCallback = [this](std::int32_t done, std::int32_t total) {
      bar_.update(done, total);
    };
  }
  const std::atomic<bool> *cancel = hooks != nullptr ? hooks->cancel : nullptr;
  options.finishedRows = hooks != nullptr ? hooks->finishedRows : nullptr;
  options.abortCallback = [cancel] {
    return interrupted() || (cancel != nullptr && cancel->load());
  };
  if (hooks != nullptr && hooks->alert) {
    options.alertCallback = [hooks](const std::string &, const std::string &text) {
      hooks->alert(text);
    };
  } else {
    options.alertCallback = [this, label](const std::string &, const std::string &text) {
      bar_.clear();
      std::string oneLine = text;
      for (char &c : oneLine)
        if (c == '\n') c = ' ';
      std::fprintf(stderr, "ortavel: %s: plug-in: %s\n", label.c_str(), oneLine.c_str());
    };
  }
  bar_.setLabel(label);
  try {
    hostemu::Host host(*plugin_, doc, options);
    hostemu::RunResult r = host.runFilter(descriptor);
    bar_.clear();
    return r;
  } catch (const std::invalid_argument &e) {
    bar_.clear();
    throw inputError(label + ": the host cannot present this image: " + e.what());
  }
}

CorrectionSettings FilterSession::correct(Image &img, const CorrectionSettings &s,
                                          const std::string &label, const RunHooks *hooks) {
  enlargeCanvas(img.doc, s.margins);
  const hostemu::RunResult r = invoke(img.doc, buildDescriptor(s), label, hooks);
  if (r.result == kUserCanceled && interrupted()) {
    throw CliError(ExitCode::kInterrupted, label + ": interrupted");
  }
  if (r.result == kUserCanceled && hooks != nullptr && hooks->cancel != nullptr &&
      hooks->cancel->load()) {
    throw CliError(ExitCode::kInterrupted, label + ": cancelled");
  }
  if (r.result != 0) {
    throw failure(label + ": the filter failed with " + resultName(r.result));
  }
  if (!r.documentChanged) throw failure(label + ": the filter did not change the picture");
  return r.descriptorOut ? settingsFromDescriptor(*r.descriptorOut, s) : s;
}

CameraInfo FilterSession::identify(const Image &img, const std::string &label) {
  hostemu::Document doc = img.doc;  // the host must not see our planes change
  std::vector<char> make(textBufferSize(doc), 0), model(textBufferSize(doc), 0);
  make[0] = kUntouched;
  model[0] = kUntouched;
  double focal = std::numeric_limits<double>::quiet_NaN();
  // An unserved preview record makes the filter end right after the EXIF
  // step instead of correcting the picture.
  PreviewBuffer idle{};
  idle.pending = 0;

  hostemu::Descriptor d;
  d.putString(fourCC("exMa"), addressText(make.data()))
      .putString(fourCC("exMo"), addressText(model.data()))
      .putString(fourCC("exFo"), addressText(&focal))
      .putString(fourCC("prUn"), addressText(&idle));
  const hostemu::RunResult r = invoke(doc, d, label);
  if (r.result != kUserCanceled && r.result != 0) {
    throw failure(label + ": the filter failed with " + resultName(r.result));
  }
  CameraInfo info;
  auto text = [](const std::vector<char> &b) -> std::optional<std::string> {
    if (b[0] == kUntouched && b[1] == 0) return std::nullopt;
    return std::string(b.data(), strnlen(b.data(), b.size()));
  };
  info.make = text(make);
  info.model = text(model);
  if (!std::isnan(focal)) info.focalLengthMm = focal;
  return info;
}

Previews FilterSession::preview(const Image &img, const CorrectionSettings &s, std::int32_t boxW,
                                std::int32_t boxH, const std::string &label) {
  hostemu::Document doc = img.doc;
  return preview(doc, s, boxW, boxH, nullptr, label);
}

Previews FilterSession::preview(hostemu::Document &doc, const CorrectionSettings &s,
                                std::int32_t boxW, std::int32_t boxH, const RgbPicture *uncorrected,
                                const std::string &label, const RunHooks *hooks) {
  const std::int32_t w = doc.width, h = doc.height;
  const std::int32_t tw = w + s.margins.left + s.margins.right;
  const std::int32_t th = h + s.margins.top + s.margins.bottom;
  // Never larger than the picture itself.
  const double a = std::min({1.0, static_cast<double>(boxW) / w, static_cast<double>(boxH) / h});
  const double b = std::min({1.0, static_cast<double>(boxW) / tw, static_cast<double>(boxH) / th});

  Previews out;
  out.uncorrected = {fitted(w, a), fitted(h, a), {}};
  out.corrected = {fitted(tw, b), fitted(th, b), {}};
  const bool known = uncorrected != nullptr && uncorrected->width == out.uncorrected.width &&
                     uncorrected->height == out.uncorrected.height &&
                     uncorrected->pixels.size() ==
                         static_cast<std::size_t>(uncorrected->width) * uncorrected->height * 3;
  if (!known) {
    out.uncorrected.pixels.assign(
        static_cast<std::size_t>(out.uncorrected.width) * out.uncorrected.height * 3, 0);
  }
  out.corrected.pixels.assign(
      static_cast<std::size_t>(out.corrected.width) * out.corrected.height * 3, 0);
  PreviewBuffer un{}, co{};
  // A served request is read, never written: the filter corrects its pixels.
  un.pending = known ? 0 : 1;
  un.width = out.uncorrected.width;
  un.height = out.uncorrected.height;
  un.rowBytes = un.width * 3;
  un.pixels = known ? const_cast<std::uint8_t *>(uncorrected->pixels.data())
                    : out.uncorrected.pixels.data();
  co.pending = 1;
  co.width = out.corrected.width;
  co.height = out.corrected.height;
  co.rowBytes = co.width * 3;
  co.pixels = out.corrected.pixels.data();

  hostemu::Descriptor d = buildDescriptor(s);
  d.putString(fourCC("prCo"), addressText(&co)).putString(fourCC("prUn"), addressText(&un));
  const hostemu::RunResult r = invoke(doc, d, label, hooks);
  // A served preview ends the call with "cancelled" by design.
  if (r.result != kUserCanceled) {
    throw failure(label + ": the filter failed with " + resultName(r.result));
  }
  if (un.pending != 0 || co.pending != 0) {
    throw failure(label + ": the filter did not make the previews");
  }
  return out;
}

std::string FilterSession::about() {
  std::lock_guard lock(mutex_);
  hostemu::Document doc;
  doc.width = doc.height = 1;
  doc.planes.assign(3, hostemu::Plane{{0}, true});
  std::string shown;
  hostemu::HostOptions options;
  options.alertCallback = [&shown](const std::string &, const std::string &text) {
    if (!shown.empty()) shown += "\n";
    shown += text;
  };
  hostemu::Host host(*plugin_, doc, options);
  const std::int16_t r = host.about();
  if (r != 0) throw failure("the filter's about box failed with " + resultName(r));
  return shown;
}

}  // namespace ortavel::cli
