// The editor's state: the photo it was started on, decoded once and kept in
// memory, the one plug-in session that serves it, the uncorrected preview
// last made (so that a new setting costs only the correction of the small
// picture), and the one full-size correction that may run in the background.
//
// The module's frame is not reentrant: previews are made one at a time, and
// none while a correction runs (they are refused with kBusy, and the page
// says why). A preview request that is still waiting when a newer one comes
// is answered kSuperseded without reaching the module.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "correction_settings.h"
#include "emulator/recycled_blocks.h"
#include "filter_session.h"
#include "image_io/image.h"
#include "image_io/image_io.h"
#include "settings_file.h"
#include "ui/profile_hooks.h"

namespace ortavel::cli::ui {

enum class JobState { kIdle, kRunning, kDone, kFailed, kCancelled };
const char *jobStateName(JobState s);

struct JobStatus {
  JobState state = JobState::kIdle;
  int id = 0;  // counts the corrections started, 0 before the first
  std::int32_t done = 0;
  std::int32_t total = 0;
  std::string output;   // the file being (or that was) written
  std::string message;  // why it failed, or the plug-in's alerts
};

struct CorrectRequest {
  CorrectionSettings settings;
  std::filesystem::path output;
  FileFormat format = FileFormat::kJpeg;
  bool overwrite = false;
  int quality = 95;
  bool vignetting = false;  // the photo with the profile's vignetting taken out
};

// A rectangle of the corrected picture, in its pixels.
struct CropRect {
  std::int32_t x = 0;
  std::int32_t y = 0;
  std::int32_t width = 0;
  std::int32_t height = 0;
};

class UiSession {
 public:
  UiSession(std::filesystem::path photoPath, Image photo, std::unique_ptr<FilterSession> filter,
            PhotoIdentity identity, CorrectionSettings initial, ProfileOverrides overrides = {});
  // Cancels a correction in progress and waits for it.
  ~UiSession();
  UiSession(const UiSession &) = delete;
  UiSession &operator=(const UiSession &) = delete;

  // A copy: the picker changes the camera and lens while requests read them.
  PhotoFacts photo() const;
  // The camera and lens chosen in the picker, or given to the command
  // (nullopt: the photo's own).
  ProfileNames profileNames() const;
  // Chooses them, as --camera and --lens-model would: every later profile
  // lookup (Auto, Fill, vignetting) takes them. The vignetting already taken
  // out for the last lens is dropped.
  void chooseProfile(const ProfileNames &names);
  const Image &image() const { return image_; }
  const CorrectionSettings &initialSettings() const { return initial_; }

  enum class PreviewOutcome { kPicture, kSuperseded, kBusy };
  struct PreviewAnswer {
    PreviewOutcome outcome = PreviewOutcome::kPicture;
    RgbPicture picture;
  };
  // The corrected preview for `s` (or, with corrected false, the uncorrected
  // one), fitted into boxW x boxH and never larger than the photo. Throws
  // CliError for settings the photo cannot take or a failing plug-in.
  PreviewAnswer preview(const CorrectionSettings &s, std::int32_t boxW, std::int32_t boxH,
                        bool corrected, bool vignetting = false);

  // The corrected photo at full resolution, cut to `r` (in the corrected
  // canvas, margins included), as 8-bit RGB: the editor's 1:1 view. The
  // correction is made once for each settings and kept; later rectangles
  // are cut from it. Throws CliError for a rectangle outside the picture,
  // settings the photo cannot take, or a photo that is neither RGB nor grey.
  PreviewAnswer crop(const CorrectionSettings &s, bool vignetting, const CropRect &r);

  // Makes (once) the photo with the lens profile's vignetting taken out, and
  // returns what was done. Throws CliError (bad input) with the reason when
  // there is no such correction for the photo.
  std::string prepareVignetting();

  // Starts the full-size correction in the background. Throws CliError
  // (usage) when one is running or the margins do not fit the photo.
  int startCorrect(const CorrectRequest &request);
  JobStatus job() const;
  // Raises the abort flag the plug-in's abort callback reports; false when
  // nothing runs.
  bool cancel();
  // Waits until no correction runs (for tests and shutdown).
  void waitForJob();

 private:
  void runJob(const CorrectRequest &request);
  // The photo as decoded, or with its vignetting taken out.
  std::shared_ptr<const Image> imageFor(bool vignetting);
  void setJob(JobState state, const std::string &message);

  std::filesystem::path path_;
  Image image_;  // as decoded; never changed
  // Every new setting in the 1:1 view corrects the whole photo again, in a
  // copy and the host's working copy of it: what the last correction freed
  // serves the next instead of fresh memory, dear at its first touch.
  hostemu::KeepFreedBlocks recycle_;
  std::mutex vignettingMutex_;
  std::shared_ptr<const Image> devignetted_;  // made on first use; never changed
  std::string vignettingNote_;
  bool uncorrectedVignetting_ = false;  // whether uncorrected_ was made from it
  std::unique_ptr<FilterSession> filter_;
  mutable std::mutex factsMutex_;
  PhotoFacts facts_;  // its overrides change with the picker
  CorrectionSettings initial_;

  std::atomic<std::uint64_t> previewTickets_{0};
  std::atomic<std::uint64_t> cropTickets_{0};  // the 1:1 view's, apart from the previews'
  std::mutex previewMutex_;                    // one preview at a time; held while a job starts
  std::optional<RgbPicture> uncorrected_;      // the last uncorrected preview made
  std::int32_t uncorrectedBoxW_ = 0, uncorrectedBoxH_ = 0;
  std::optional<Image> full_;  // the last full-size correction the 1:1 view made
  std::string fullKey_;        // the settings it was made for

  mutable std::mutex jobMutex_;
  JobStatus job_;
  std::atomic<bool> cancel_{false};
  std::thread worker_;
};

}  // namespace ortavel::cli::ui
