#include "automation/step.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <vector>

#include "automation/dialog.h"
#include "frame/platform_alert.h"
#include "profiles/fill_zoom.h"
#include "profiles/lens_table.h"

namespace ortavel::automation {

namespace {

constexpr const char *kTitle = "Ortavel Lens Correction";
constexpr const char *kFilterScope = "com.ortavel.lens-correction";
constexpr std::uint32_t kFilterEvent = PS_FOURCC('O', 'r', 't', 'F');

constexpr std::uint32_t keyK1 = PS_FOURCC('p', 'a', 'K', '1');
constexpr std::uint32_t keyK2 = PS_FOURCC('p', 'a', 'K', '2');
constexpr std::uint32_t keyCenterX = PS_FOURCC('p', 'a', 'X', 'C');
constexpr std::uint32_t keyCenterY = PS_FOURCC('p', 'a', 'Y', 'C');
constexpr std::uint32_t keyRadiusLimit = PS_FOURCC('p', 'a', 'F', 'R');
constexpr std::uint32_t keyScale = PS_FOURCC('s', 'c', 'a', 'F');
constexpr std::uint32_t keyInterpolation = PS_FOURCC('i', 'n', 't', 'M');
constexpr std::uint32_t typeInterpolation = PS_FOURCC('i', 'n', 't', 'T');
constexpr std::uint32_t keyExifMake = PS_FOURCC('e', 'x', 'M', 'a');
constexpr std::uint32_t keyExifModel = PS_FOURCC('e', 'x', 'M', 'o');
constexpr std::uint32_t keyExifFocal = PS_FOURCC('e', 'x', 'F', 'o');
constexpr std::uint32_t keyPreviewCorrected = PS_FOURCC('p', 'r', 'C', 'o');
constexpr std::uint32_t keyPreviewUncorrected = PS_FOURCC('p', 'r', 'U', 'n');
constexpr std::uint32_t keyOrientation = PS_FOURCC('o', 'r', 'I', 'M');
constexpr std::uint32_t typeOrientation = PS_FOURCC('o', 'r', 'I', 'T');
constexpr std::uint32_t keyMarginTop = PS_FOURCC('c', 'a', 'T', 'o');
constexpr std::uint32_t keyMarginBottom = PS_FOURCC('c', 'a', 'B', 'o');
constexpr std::uint32_t keyMarginLeft = PS_FOURCC('c', 'a', 'L', 'e');
constexpr std::uint32_t keyMarginRight = PS_FOURCC('c', 'a', 'R', 'i');
constexpr std::uint32_t kBicubic = PS_FOURCC('b', 'i', 'C', 'u');

// An EXIF block lives in one 64 KiB segment, so no text in it is longer: the
// filter copies make and model without a bound, and these hold any of them.
constexpr std::size_t kExifTextBuffer = 65536 + 1;

void check(OSErr status, const char *what) {
  if (status != noErr) throw StepError{status, what};
}

// The address of the step's memory as the filter reads it back ("%p").
std::string addressText(const void *p) {
  char text[64];
  std::snprintf(text, sizeof text, "%p", p);
  return text;
}

// A descriptor the step makes and frees, whatever happens in between.
class OwnedDescriptor {
 public:
  explicit OwnedDescriptor(const Suites &suites) : suites_(suites) {
    check(suites.descriptor->Make(&d_), "make a descriptor");
  }
  OwnedDescriptor(const Suites &suites, PIActionDescriptor adopted)
      : suites_(suites), d_(adopted) {}
  ~OwnedDescriptor() {
    if (d_ != nullptr) suites_.descriptor->Free(d_);
  }
  OwnedDescriptor(const OwnedDescriptor &) = delete;
  OwnedDescriptor &operator=(const OwnedDescriptor &) = delete;
  PIActionDescriptor get() const { return d_; }
  PIActionDescriptor release() {
    PIActionDescriptor d = d_;
    d_ = nullptr;
    return d;
  }

 private:
  const Suites &suites_;
  PIActionDescriptor d_ = nullptr;
};

void putSettings(const Suites &s, PIActionDescriptor d, const LensSettings &v) {
  check(s.descriptor->PutFloat(d, keyK1, v.k1), "put k1");
  check(s.descriptor->PutFloat(d, keyK2, v.k2), "put k2");
  check(s.descriptor->PutFloat(d, keyCenterX, v.centerX), "put the centre");
  check(s.descriptor->PutFloat(d, keyCenterY, v.centerY), "put the centre");
  check(s.descriptor->PutFloat(d, keyRadiusLimit, v.radiusLimit), "put the radius limit");
  check(s.descriptor->PutFloat(d, keyScale, v.scale), "put the scale");
  check(s.descriptor->PutEnumerated(d, keyInterpolation, typeInterpolation,
                                    v.interpolation != 0 ? v.interpolation : kBicubic),
        "put the interpolation");
  // Absent keys are the filter's defaults, so a step that never turns or
  // widens the picture records what it always did.
  if (v.orientation != 0) {
    check(s.descriptor->PutEnumerated(d, keyOrientation, typeOrientation, v.orientation),
          "put the orientation");
  }
  if (v.marginTop != 0 || v.marginBottom != 0 || v.marginLeft != 0 || v.marginRight != 0) {
    check(s.descriptor->PutInteger(d, keyMarginTop, v.marginTop), "put the margins");
    check(s.descriptor->PutInteger(d, keyMarginBottom, v.marginBottom), "put the margins");
    check(s.descriptor->PutInteger(d, keyMarginLeft, v.marginLeft), "put the margins");
    check(s.descriptor->PutInteger(d, keyMarginRight, v.marginRight), "put the margins");
  }
}

// Plays the filter; frees whatever it hands back. The filter's status.
std::int32_t play(const Suites &s, std::uint32_t event, PIActionDescriptor d,
                  PIDialogPlayOptions options) {
  PIActionDescriptor result = nullptr;
  const OSErr status = s.control->Play(&result, event, d, options);
  if (result != nullptr) s.descriptor->Free(result);
  return status;
}

double pixels(const Suites &s, PIActionDescriptor d, DescriptorKeyID key, double resolution) {
  DescriptorUnitID unit = 0;
  double value = 0.0;
  check(s.descriptor->GetUnitFloat(d, key, &unit, &value), "read the document's size");
  // Hosts give points (72 per inch) or pixels.
  return unit == unitDistance ? value * resolution / 72.0 : value;
}

}  // namespace

Suites::Suites(const SPBasicSuite *basicSuite) : basic(basicSuite) {
  if (basic == nullptr) throw StepError{errPlugInHostInsufficient, "the host has no basic suite"};
  // Oldest versions holding every entry used: control 2 (Play, Get,
  // StringIDToTypeID), descriptor 2, reference 2.
  control = static_cast<const PSActionControlProcs *>(
      acquire(kPSActionControlSuite, kPSActionControlSuiteVersion, 2, true));
  descriptor = static_cast<const PSActionDescriptorProcs *>(
      acquire(kPSActionDescriptorSuite, kPSActionDescriptorSuiteVersion, 2, true));
  reference = static_cast<const PSActionReferenceProcs *>(
      acquire(kPSActionReferenceSuite, kPSActionReferenceSuiteVersion, 2, true));
  uiHooks = static_cast<const PSUIHooksSuite1 *>(
      acquire(kPSUIHooksSuite, kPSUIHooksSuiteVersion1, 1, false));
}

Suites::~Suites() {
  for (int i = count_ - 1; i >= 0; --i) basic->ReleaseSuite(held_[i].name, held_[i].version);
}

const void *Suites::acquire(const char *name, std::int32_t newest, std::int32_t oldest,
                            bool required) {
  SPErr status = kSPSuiteNotFoundError;
  for (std::int32_t v = newest; v >= oldest; --v) {
    const void *table = nullptr;
    status = basic->AcquireSuite(name, v, &table);
    if (status == kSPNoError && table != nullptr) {
      held_[count_++] = {name, v};
      return table;
    }
  }
  if (required) {
    throw StepError{errPlugInHostInsufficient,
                    std::string("the host does not offer the suite ") + name};
  }
  return nullptr;
}

DocumentFacts queryDocument(const Suites &s) {
  PIActionReference ref = nullptr;
  check(s.reference->Make(&ref), "make a reference");
  const OSErr put = s.reference->PutEnumerated(ref, classDocument, typeOrdinal, enumTarget);
  PIActionDescriptor result = nullptr;
  const OSErr got = put == noErr ? s.control->Get(&result, ref) : put;
  s.reference->Free(ref);
  if (got != noErr || result == nullptr) {
    throw StepError{got != noErr ? got : static_cast<std::int32_t>(paramErr),
                    "there is no document to correct"};
  }
  OwnedDescriptor doc(s, result);
  DocumentFacts f;
  DescriptorUnitID unit = 0;
  check(s.descriptor->GetUnitFloat(doc.get(), keyResolution, &unit, &f.resolution),
        "read the document's resolution");
  f.width = static_cast<std::int32_t>(std::lround(pixels(s, doc.get(), keyWidth, f.resolution)));
  f.height = static_cast<std::int32_t>(std::lround(pixels(s, doc.get(), keyHeight, f.resolution)));
  DescriptorEnumTypeID type = 0;
  check(s.descriptor->GetEnumerated(doc.get(), keyMode, &type, &f.mode), "read the mode");
  int32 depth = 8;
  check(s.descriptor->GetInteger(doc.get(), keyDepth, &depth), "read the depth");
  f.depth = depth;
  return f;
}

std::uint32_t filterEvent(const Suites &s) {
  DescriptorTypeID event = 0;
  if (s.control->StringIDToTypeID(kFilterScope, &event) == noErr && event != 0) return event;
  return kFilterEvent;
}

CameraFacts askCamera(const Suites &s, std::uint32_t event) {
  std::vector<char> make(kExifTextBuffer, '\0');
  std::vector<char> model(kExifTextBuffer, '\0');
  double focal = 0.0;
  PreviewBuffer notPending{};  // ends the filter's call before any pixel work
  OwnedDescriptor d(s);
  check(s.descriptor->PutString(d.get(), keyExifMake, addressText(make.data()).c_str()), "put");
  check(s.descriptor->PutString(d.get(), keyExifModel, addressText(model.data()).c_str()), "put");
  check(s.descriptor->PutString(d.get(), keyExifFocal, addressText(&focal).c_str()), "put");
  check(s.descriptor->PutString(d.get(), keyPreviewUncorrected, addressText(&notPending).c_str()),
        "put");
  const std::int32_t status = play(s, event, d.get(), plugInDialogSilent);
  // The filter ends a preview call with -128 so that the document stays as it was.
  if (status != noErr && status != userCanceledErr) {
    throw StepError{status, "the filter could not read the photograph's EXIF data"};
  }
  make.back() = '\0';
  model.back() = '\0';
  return {make.data(), model.data(), focal};
}

std::int32_t requestPreviews(const Suites &s, std::uint32_t event, const LensSettings &settings,
                             PreviewBuffer *uncorrected, PreviewBuffer *corrected) {
  OwnedDescriptor d(s);
  putSettings(s, d.get(), settings);
  if (uncorrected != nullptr) {
    check(s.descriptor->PutString(d.get(), keyPreviewUncorrected, addressText(uncorrected).c_str()),
          "put");
  }
  if (corrected != nullptr) {
    check(s.descriptor->PutString(d.get(), keyPreviewCorrected, addressText(corrected).c_str()),
          "put");
  }
  const std::int32_t status = play(s, event, d.get(), plugInDialogSilent);
  return status == userCanceledErr ? noErr : status;
}

std::int32_t playCorrection(const Suites &s, std::uint32_t event, const LensSettings &settings) {
  OwnedDescriptor d(s);
  putSettings(s, d.get(), settings);
  return play(s, event, d.get(), plugInDialogSilent);
}

std::optional<LensSettings> settingsFromDescriptor(const Suites &s, PIActionDescriptor descriptor) {
  if (descriptor == nullptr) return std::nullopt;
  LensSettings v;
  bool any = false;
  auto real = [&](DescriptorKeyID key, double &out) {
    Boolean has = 0;
    if (s.descriptor->HasKey(descriptor, key, &has) != noErr || has == 0) return;
    check(s.descriptor->GetFloat(descriptor, key, &out), "read the recorded settings");
    any = true;
  };
  real(keyK1, v.k1);
  real(keyK2, v.k2);
  real(keyCenterX, v.centerX);
  real(keyCenterY, v.centerY);
  real(keyRadiusLimit, v.radiusLimit);
  real(keyScale, v.scale);
  Boolean has = 0;
  if (s.descriptor->HasKey(descriptor, keyInterpolation, &has) == noErr && has != 0) {
    DescriptorEnumTypeID type = 0;
    check(s.descriptor->GetEnumerated(descriptor, keyInterpolation, &type, &v.interpolation),
          "read the recorded interpolation");
    any = true;
  }
  if (s.descriptor->HasKey(descriptor, keyOrientation, &has) == noErr && has != 0) {
    DescriptorEnumTypeID type = 0;
    check(s.descriptor->GetEnumerated(descriptor, keyOrientation, &type, &v.orientation),
          "read the recorded orientation");
    any = true;
  }
  auto integer = [&](DescriptorKeyID key, std::int32_t &out) {
    Boolean present = 0;
    if (s.descriptor->HasKey(descriptor, key, &present) != noErr || present == 0) return;
    int32 value = 0;
    check(s.descriptor->GetInteger(descriptor, key, &value), "read the recorded margins");
    out = value;
    any = true;
  };
  integer(keyMarginTop, v.marginTop);
  integer(keyMarginBottom, v.marginBottom);
  integer(keyMarginLeft, v.marginLeft);
  integer(keyMarginRight, v.marginRight);
  if (!any) return std::nullopt;
  return v;
}

PIActionDescriptor descriptorFromSettings(const Suites &s, const LensSettings &settings) {
  OwnedDescriptor d(s);
  putSettings(s, d.get(), settings);
  return d.release();
}

ProfileChoice settingsFromProfile(const CameraFacts &camera, const DocumentFacts &document,
                                  const std::string &pickedLens) {
  profiles::TableQuery query;
  query.make = camera.make;
  query.model = camera.model;
  query.focalLengthMm = camera.focalLengthMm;
  query.width = document.width;
  query.height = document.height;
  if (!pickedLens.empty()) {
    query.lensModel = pickedLens;
    query.lensPicked = true;
  }
  const profiles::TableLookup found = profiles::findTableProfile(query);
  if (!found.profile) {
    ProfileChoice none;
    none.reason = found.error;
    return none;
  }
  LensSettings v;
  v.k1 = found.profile->k1;
  v.k2 = found.profile->k2;
  v.centerX = found.profile->centerX;
  v.centerY = found.profile->centerY;
  v.scale = found.profile->scale;
  v.interpolation = kBicubic;
  // Fill: the zoom at which no empty border is left.
  if (const auto zoom = fillZoomFor(v, document)) v.scale = *zoom;
  return {v, {}, found.profile->camera, found.profile->lens, found.profile->fitErrorPx};
}

std::uint32_t orientationNumber(std::uint32_t code) {
  // The enumeration's values in the order of the filter's numbers 1..7.
  constexpr std::uint32_t kCodes[] = {PS_FOURCC('o', 'r', 'L', 'N'), PS_FOURCC('o', 'r', 'B', 'N'),
                                      PS_FOURCC('o', 'r', 'R', 'N'), PS_FOURCC('o', 'r', 'T', 'M'),
                                      PS_FOURCC('o', 'r', 'L', 'M'), PS_FOURCC('o', 'r', 'B', 'M'),
                                      PS_FOURCC('o', 'r', 'R', 'M')};
  for (std::uint32_t i = 0; i < std::size(kCodes); ++i) {
    if (kCodes[i] == code) return i + 1;
  }
  return 0;
}

std::optional<double> fillZoomFor(const LensSettings &settings, const DocumentFacts &document) {
  return profiles::fillZoom(profiles::fillLens(settings, orientationNumber(settings.orientation)),
                            {document.width, document.height, settings.marginTop,
                             settings.marginBottom, settings.marginLeft, settings.marginRight});
}

void alert(const Suites *suites, const std::string &title, const std::string &text) {
  PlatformData owner{};
#if defined(_WIN32)
  if (suites != nullptr && suites->uiHooks != nullptr)
    owner.hwnd = suites->uiHooks->MainAppWindow();
#else
  (void)suites;
#endif
  ShowPlatformAlert(title.c_str(), text.c_str(), &owner);
}

std::int32_t doIt(const SPBasicSuite *basic, PIActionParameters *parameters) {
  if (parameters == nullptr) return paramErr;
  Suites s(basic);
  const std::uint32_t event = filterEvent(s);

  std::optional<LensSettings> settings = settingsFromDescriptor(s, parameters->descriptor);
  // A menu invocation (or a replay with the step's dialog turned on) shows the
  // dialog, opened on the recorded settings or else the profile's. Where no
  // dialog can be shown (no window system) the step goes on as on a replay.
  if (parameters->playInfo == plugInDialogDisplay && dialogAvailable()) {
    DialogFacts facts;
    facts.event = event;
    facts.document = queryDocument(s);
    facts.camera = askCamera(s, event);
    facts.profile = settingsFromProfile(facts.camera, facts.document);
    if (settings) {
      facts.initial = *settings;
    } else if (facts.profile.settings) {
      facts.initial = *facts.profile.settings;
    }
    const DialogOutcome outcome = runDialog(s, facts);
    if (outcome.result == DialogResult::Cancelled) return userCanceledErr;
    if (outcome.result == DialogResult::Ok) settings = outcome.settings;
  }
  if (!settings) {
    const DocumentFacts document = queryDocument(s);
    const CameraFacts camera = askCamera(s, event);
    ProfileChoice choice = settingsFromProfile(camera, document);
    if (!choice.settings) {
      // Nothing to correct with: the picture stays as it was, and the step
      // answers 0 so that a batch goes on with the next photograph.
      if (parameters->playInfo != plugInDialogSilent) {
        std::string who = camera.make.empty() && camera.model.empty()
                              ? std::string("this photograph (its EXIF data names no camera)")
                              : camera.make + " " + camera.model;
        char focal[64] = "";
        if (camera.focalLengthMm > 0.0) {
          std::snprintf(focal, sizeof focal, " at %.4g mm", camera.focalLengthMm);
        }
        std::string reason = choice.reason;
        if (!reason.empty() && reason.back() != '.') reason += '.';
        alert(&s, kTitle,
              "No lens profile for " + who + focal + ": " + reason +
                  "\nThe picture is left unchanged.");
      }
      return noErr;
    }
    settings = choice.settings;
  }

  const std::int32_t status = playCorrection(s, event, *settings);
  if (status != noErr) return status;

  // Recorded: the settings as applied, in place of what came in.
  PIActionDescriptor recorded = descriptorFromSettings(s, *settings);
  if (parameters->descriptor != nullptr) s.descriptor->Free(parameters->descriptor);
  parameters->descriptor = recorded;
  parameters->recordInfo = plugInDialogOptional;
  return noErr;
}

void about(const SPBasicSuite *basic) {
  std::string text =
      "Ortavel Lens Correction 1.2.2\n"
      "Corrects the lens distortion of the picture with the profile of its "
      "camera and lens, through the Ortavel Filter.";
  const char *attribution = profiles::lensTableAttribution();
  text += attribution != nullptr && *attribution != '\0'
              ? std::string("\n\nLens data: ") + attribution
              : std::string("\n\nNo lens data is built into this module.");
  (void)basic;
  alert(nullptr, "About Ortavel Lens Correction", text);
}

}  // namespace ortavel::automation
