#include "ui/ui_session.h"

#include <cstring>

#include "commands.h"
#include "exit_codes.h"

namespace ortavel::cli::ui {

const char *jobStateName(JobState s) {
  switch (s) {
    case JobState::kIdle:
      return "idle";
    case JobState::kRunning:
      return "running";
    case JobState::kDone:
      return "done";
    case JobState::kFailed:
      return "failed";
    case JobState::kCancelled:
      return "cancelled";
  }
  return "idle";
}

UiSession::UiSession(std::filesystem::path photoPath, Image photo,
                     std::unique_ptr<FilterSession> filter, PhotoIdentity identity,
                     CorrectionSettings initial, ProfileOverrides overrides)
    : path_(std::move(photoPath)),
      image_(std::move(photo)),
      recycle_(2 * image_.doc.planes.size() * image_.doc.planeBytes() + (std::size_t{32} << 20)),
      filter_(std::move(filter)),
      initial_(initial) {
  facts_.path = path_;
  facts_.width = image_.doc.width;
  facts_.height = image_.doc.height;
  facts_.identity = std::move(identity);
  facts_.overrides = std::move(overrides);
}

PhotoFacts UiSession::photo() const {
  std::lock_guard lock(factsMutex_);
  return facts_;
}

ProfileNames UiSession::profileNames() const {
  std::lock_guard lock(factsMutex_);
  return {facts_.overrides.camera, facts_.overrides.lensModel};
}

void UiSession::chooseProfile(const ProfileNames &names) {
  // The order preview() takes them in: its uncorrected picture may have been
  // made from the vignetting of the last lens.
  std::lock_guard previewLock(previewMutex_);
  std::lock_guard vignettingLock(vignettingMutex_);
  {
    std::lock_guard lock(factsMutex_);
    facts_.overrides.camera = names.camera;
    facts_.overrides.lensModel = names.lens;
  }
  devignetted_.reset();
  vignettingNote_.clear();
  if (uncorrectedVignetting_) uncorrected_.reset();
  full_.reset();
}

UiSession::~UiSession() {
  cancel();
  waitForJob();
}

std::string UiSession::prepareVignetting() {
  std::lock_guard lock(vignettingMutex_);
  if (!devignetted_) {
    ProfileAnswer<Image> a = vignettingCorrected(photo(), image_);
    if (!a.value) throw inputError(a.reason);
    devignetted_ = std::make_shared<const Image>(std::move(*a.value));
    vignettingNote_ = a.notes.empty() ? std::string() : a.notes.front();
  }
  return vignettingNote_;
}

std::shared_ptr<const Image> UiSession::imageFor(bool vignetting) {
  // image_ lives as long as the session: a pointer that owns nothing.
  if (!vignetting) return std::shared_ptr<const Image>(std::shared_ptr<const Image>(), &image_);
  prepareVignetting();
  std::lock_guard lock(vignettingMutex_);
  return devignetted_;
}

UiSession::PreviewAnswer UiSession::preview(const CorrectionSettings &s, std::int32_t boxW,
                                            std::int32_t boxH, bool corrected, bool vignetting) {
  const std::uint64_t ticket = ++previewTickets_;
  std::lock_guard lock(previewMutex_);
  PreviewAnswer answer;
  if (ticket != previewTickets_.load()) {
    answer.outcome = PreviewOutcome::kSuperseded;
    return answer;
  }
  if (job().state == JobState::kRunning) {
    answer.outcome = PreviewOutcome::kBusy;
    return answer;
  }
  validateMargins(s.margins, facts_.width, facts_.height, path_.filename().string());
  const std::shared_ptr<const Image> photo = imageFor(vignetting);
  if (uncorrectedVignetting_ != vignetting) uncorrected_.reset();
  // The document is only read by a preview call; the const_cast lets the
  // host take it without a copy of the whole photo.
  Previews p = filter_->preview(const_cast<hostemu::Document &>(photo->doc), s, boxW, boxH,
                                uncorrected_ ? &*uncorrected_ : nullptr, path_.string());
  if (!p.uncorrected.pixels.empty()) {
    uncorrected_ = std::move(p.uncorrected);
    uncorrectedVignetting_ = vignetting;
  }
  answer.picture = corrected ? std::move(p.corrected) : *uncorrected_;
  return answer;
}

namespace {

// One pixel of a corrected RGB or grey picture, as 8-bit RGB.
void rgbAt(const Image &img, std::size_t at, std::uint8_t *out) {
  const int channels = img.colourChannels();
  for (int c = 0; c < 3; ++c) {
    const auto &plane = img.doc.planes[channels == 1 ? 0 : c].samples;
    if (img.doc.depth == 8) {
      out[c] = plane[at];
    } else {
      std::uint16_t v = 0;
      std::memcpy(&v, &plane[at * 2], 2);
      out[c] = static_cast<std::uint8_t>((std::uint32_t{v} * 255 + 16384) / 32768);
    }
  }
}

}  // namespace

UiSession::PreviewAnswer UiSession::crop(const CorrectionSettings &s, bool vignetting,
                                         const CropRect &r) {
  const std::uint64_t ticket = ++cropTickets_;
  std::lock_guard lock(previewMutex_);
  PreviewAnswer answer;
  if (ticket != cropTickets_.load()) {
    answer.outcome = PreviewOutcome::kSuperseded;
    return answer;
  }
  if (job().state == JobState::kRunning) {
    answer.outcome = PreviewOutcome::kBusy;
    return answer;
  }
  if (image_.colour == ColourModel::kCmyk || image_.doc.depth == 32) {
    throw inputError("the 1:1 view shows RGB and grey photos of 8 or 16 bits only");
  }
  validateMargins(s.margins, facts_.width, facts_.height, path_.filename().string());
  const std::int64_t w = std::int64_t{facts_.width} + s.margins.left + s.margins.right;
  const std::int64_t h = std::int64_t{facts_.height} + s.margins.top + s.margins.bottom;
  if (r.x < 0 || r.y < 0 || r.width < 1 || r.height < 1 || r.x + std::int64_t{r.width} > w ||
      r.y + std::int64_t{r.height} > h) {
    throw usageError("the rectangle lies outside the corrected picture (" + std::to_string(w) +
                     " x " + std::to_string(h) + ")");
  }
  const std::string key = formatSettings(s) + (vignetting ? "vignetting" : "");
  if (!full_ || fullKey_ != key) {
    full_.reset();
    Image copy = *imageFor(vignetting);
    filter_->correct(copy, s, path_.string());
    full_ = std::move(copy);
    fullKey_ = key;
  }
  RgbPicture &p = answer.picture;
  p.width = r.width;
  p.height = r.height;
  p.pixels.resize(static_cast<std::size_t>(r.width) * r.height * 3);
  for (std::int32_t y = 0; y < r.height; ++y) {
    for (std::int32_t x = 0; x < r.width; ++x) {
      const std::size_t at = static_cast<std::size_t>(r.y + y) * full_->doc.width + (r.x + x);
      rgbAt(*full_, at, &p.pixels[(static_cast<std::size_t>(y) * r.width + x) * 3]);
    }
  }
  return answer;
}

int UiSession::startCorrect(const CorrectRequest &request) {
  validateMargins(request.settings.margins, facts_.width, facts_.height, path_.filename().string());
  // No preview may be inside the module when the correction takes it over.
  std::lock_guard previewLock(previewMutex_);
  std::lock_guard lock(jobMutex_);
  if (job_.state == JobState::kRunning) {
    throw usageError("a correction is already running; wait for it or cancel it");
  }
  if (worker_.joinable()) worker_.join();
  cancel_.store(false);
  job_ = JobStatus{JobState::kRunning, job_.id + 1, 0, 0, request.output.string(), ""};
  worker_ = std::thread([this, request] { runJob(request); });
  return job_.id;
}

void UiSession::runJob(const CorrectRequest &request) {
  RunHooks hooks;
  hooks.cancel = &cancel_;
  hooks.progress = [this](std::int32_t done, std::int32_t total) {
    std::lock_guard lock(jobMutex_);
    job_.done = done;
    job_.total = total;
  };
  hooks.alert = [this](const std::string &text) {
    std::lock_guard lock(jobMutex_);
    if (!job_.message.empty()) job_.message += "\n";
    job_.message += "plug-in: " + text;
  };
  try {
    Image copy = *imageFor(request.vignetting);  // the photo stays as it is for the previews
    filter_->correct(copy, request.settings, path_.string(), &hooks);
    if (cancel_.load()) throw CliError(ExitCode::kInterrupted, "cancelled");
    writeAtomically(copy, request.format, request.output, request.overwrite,
                    WriteOptions{request.quality});
    setJob(JobState::kDone, "");
  } catch (const CliError &e) {
    setJob(e.code() == ExitCode::kInterrupted ? JobState::kCancelled : JobState::kFailed, e.what());
  } catch (const std::bad_alloc &) {
    setJob(JobState::kFailed, "out of memory");
  } catch (const std::exception &e) {
    setJob(JobState::kFailed, e.what());
  }
}

void UiSession::setJob(JobState state, const std::string &message) {
  std::lock_guard lock(jobMutex_);
  job_.state = state;
  if (!message.empty()) {
    job_.message = job_.message.empty() ? message : message + "\n" + job_.message;
  }
}

JobStatus UiSession::job() const {
  std::lock_guard lock(jobMutex_);
  return job_;
}

bool UiSession::cancel() {
  std::lock_guard lock(jobMutex_);
  if (job_.state != JobState::kRunning) return false;
  cancel_.store(true);
  return true;
}

void UiSession::waitForJob() {
  std::thread worker;
  {
    std::lock_guard lock(jobMutex_);
    worker = std::move(worker_);
  }
  if (worker.joinable()) worker.join();
}

}  // namespace ortavel::cli::ui
