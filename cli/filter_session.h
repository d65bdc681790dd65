// The loaded plug-in module and the emulated host that drives it, as the
// automation step would: settings go in through the descriptor, the EXIF and
// preview requests through the addresses of our own buffers.
//
// The module's frame keeps process globals and is not reentrant, so every
// call into it is serialised here; callers on several threads may share one
// session and overlap only their file reading and writing.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "correction_settings.h"
#include "emulator/descriptor.h"
#include "emulator/host.h"
#include "emulator/plugin.h"
#include "image_io/image.h"
#include "progress_bar.h"

namespace ortavel::cli {

struct CameraInfo {
  std::optional<std::string> make;
  std::optional<std::string> model;
  std::optional<double> focalLengthMm;
};

// An RGB picture, 3 bytes per pixel, rows packed.
struct RgbPicture {
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::vector<std::uint8_t> pixels;
};

struct Previews {
  RgbPicture uncorrected;
  RgbPicture corrected;
};

// What a caller other than the terminal hears of a run: the plug-in's
// progress and alerts, and a flag of its own that the abort callback reports
// besides Ctrl-C. Unset members are left to the session's defaults.
struct RunHooks {
  std::function<void(std::int32_t done, std::int32_t total)> progress;
  std::function<void(const std::string &text)> alert;
  const std::atomic<bool> *cancel = nullptr;
  // Told which output rows are final while the filter runs (see
  // hostemu::FinishedRows); null: nobody reads them before the end.
  hostemu::FinishedRows *finishedRows = nullptr;
};

class FilterSession {
 public:
  // Loads the module; throws CliError (failure) when it cannot be loaded.
  FilterSession(const std::filesystem::path &pluginPath, ProgressBar &bar);
  ~FilterSession();

  // Runs the filter over the whole image, after enlarging its canvas by the
  // margins. Returns the settings as the filter recorded them on finish.
  // Throws CliError: failure for a filter error, interrupted on Ctrl-C or
  // when the hooks' cancel flag is raised.
  CorrectionSettings correct(Image &img, const CorrectionSettings &s, const std::string &label,
                             const RunHooks *hooks = nullptr);

  // The camera make, model and focal length, as the filter reads them from
  // the image's EXIF block.
  CameraInfo identify(const Image &img, const std::string &label);

  // Both previews, each fitted into a box of boxW x boxH pixels: the
  // uncorrected picture, and the corrected one spanning the margins too.
  Previews preview(const Image &img, const CorrectionSettings &s, std::int32_t boxW,
                   std::int32_t boxH, const std::string &label);

  // As above, on the caller's document, which a preview call never changes
  // and so is not copied. When `uncorrected` holds the uncorrected preview an
  // earlier call made for the same document and box, the filter is handed it
  // as served and only corrects it: the result is the same, without a new
  // scaled read of the document. The returned uncorrected picture is then left
  // empty.
  Previews preview(hostemu::Document &doc, const CorrectionSettings &s, std::int32_t boxW,
                   std::int32_t boxH, const RgbPicture *uncorrected, const std::string &label,
                   const RunHooks *hooks = nullptr);

  // The about box text, as the filter shows it.
  std::string about();

 private:
  // One filter invocation on `doc` with `descriptor`, under the lock.
  hostemu::RunResult invoke(hostemu::Document &doc, const hostemu::Descriptor &descriptor,
                            const std::string &label, const RunHooks *hooks = nullptr);

  std::mutex mutex_;  // one call into the module at a time
  ProgressBar &bar_;
  std::unique_ptr<hostemu::Plugin> plugin_;
};

// The host's name for a result code, for messages ("userCanceledErr").
std::string resultName(std::int16_t code);

}  // namespace ortavel::cli
