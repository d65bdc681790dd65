// The automation step: what it does on "Do It" and on "About", on top of the
// host's suites. Standard library only; the one platform call is the alert.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/photoshop_api.h"
#include "run/preview_buffer.h"

namespace ortavel::automation {

// A failure that ends the step with a host status (the entry point returns it).
struct StepError {
  std::int32_t status;
  std::string what;
};

// The suites the step calls, acquired at the newest version the host has and
// falling back to the oldest that holds the entries used; released on
// destruction. Throws StepError when one cannot be had (the UI hooks are
// optional).
class Suites {
 public:
  explicit Suites(const SPBasicSuite *basic);
  ~Suites();
  Suites(const Suites &) = delete;
  Suites &operator=(const Suites &) = delete;

  const SPBasicSuite *basic;
  const PSActionControlProcs *control = nullptr;
  const PSActionDescriptorProcs *descriptor = nullptr;
  const PSActionReferenceProcs *reference = nullptr;
  const PSUIHooksSuite1 *uiHooks = nullptr;  // null when the host has none

 private:
  const void *acquire(const char *name, std::int32_t newest, std::int32_t oldest, bool required);
  struct Held {
    const char *name;
    std::int32_t version;
  };
  Held held_[4] = {};
  int count_ = 0;
};

struct DocumentFacts {
  std::int32_t width = 0;  // pixels
  std::int32_t height = 0;
  double resolution = 72.0;  // pixels per inch
  std::uint32_t mode = 0;    // colour-space enumeration ('RGBC', ...)
  std::int32_t depth = 8;
};

struct CameraFacts {
  std::string make;
  std::string model;
  double focalLengthMm = 0.0;
};

// What the step plays and records: the filter's scripted keys.
struct LensSettings {
  double k1 = 0.0;
  double k2 = 0.0;
  double centerX = 0.0;
  double centerY = 0.0;
  double radiusLimit = 0.0;
  double scale = 1.0;
  std::uint32_t interpolation = 0;  // "intM" enumeration value; 0: the filter's default
  std::uint32_t orientation = 0;    // "orIM" enumeration value; 0: not sent (upright)
  // Margins around the picture in pixels ("caTo", "caBo", "caLe", "caRi");
  // sent only when one of them is not 0.
  std::int32_t marginTop = 0;
  std::int32_t marginBottom = 0;
  std::int32_t marginLeft = 0;
  std::int32_t marginRight = 0;
};

// The target document's size, mode and depth (13.8 of the host interface).
DocumentFacts queryDocument(const Suites &suites);

// The filter's event: its scope string's runtime id, or its plain event id.
std::uint32_t filterEvent(const Suites &suites);

// Plays the filter with the address keys for make, model and focal length and
// a preview request that is not pending, so the filter reads the EXIF data and
// ends without touching the document.
CameraFacts askCamera(const Suites &suites, std::uint32_t event);

// Has the filter fill the step's two preview records (addresses under "prUn"
// and "prCo"); the filter ends such a call with -128, which is its success
// here. For the step's dialog.
std::int32_t requestPreviews(const Suites &suites, std::uint32_t event,
                             const LensSettings &settings, PreviewBuffer *uncorrected,
                             PreviewBuffer *corrected);

// Plays the correction silently; the filter's result.
std::int32_t playCorrection(const Suites &suites, std::uint32_t event,
                            const LensSettings &settings);

// Settings held by a recorded descriptor, nullopt when it holds none of the keys.
std::optional<LensSettings> settingsFromDescriptor(const Suites &suites,
                                                   PIActionDescriptor descriptor);
// A new descriptor with the settings, for recording.
PIActionDescriptor descriptorFromSettings(const Suites &suites, const LensSettings &settings);

// The lens profile's settings with the zoom that fills the frame, or the
// reason there are none (worded for the user).
struct ProfileChoice {
  std::optional<LensSettings> settings;
  std::string reason;
  std::string camera;  // the profile's camera and lens as the lens data names them
  std::string lens;
  double fitErrorPx = 0.0;  // largest distance from the lens data's own mapping
};
// `pickedLens`: a lens the user picked from the table's list (as
// `--lens-model` names it), for a camera whose EXIF data names none.
ProfileChoice settingsFromProfile(const CameraFacts &camera, const DocumentFacts &document,
                                  const std::string &pickedLens = {});

// The filter's orientation number (0..7) of an "orIM" value; 0 (upright) for
// 0 and for a value the filter does not know.
std::uint32_t orientationNumber(std::uint32_t code);

// The zoom that leaves no empty border on the document and its margins with
// these settings (their own zoom ignored); nullopt when no zoom does.
std::optional<double> fillZoomFor(const LensSettings &settings, const DocumentFacts &document);

// "Do It": the whole step. Returns the host status.
std::int32_t doIt(const SPBasicSuite *basic, PIActionParameters *parameters);

// "About": the step's name, version and the lens data's licence.
void about(const SPBasicSuite *basic);

// The alert, owned by the host's main window where the host gives one.
void alert(const Suites *suites, const std::string &title, const std::string &text);

}  // namespace ortavel::automation
