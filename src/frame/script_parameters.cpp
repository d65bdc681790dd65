// Moving FilterParameters to and from the host's scripting descriptor.
//
// The descriptor is the only way in: the automation step fills it before it
// runs us, and on finish we leave the lens parameters and the method in it so
// the host can record and replay the step.
#include "frame/script_parameters.h"

#include <cstdio>
#include <cstring>

#include "frame/globals.h"
#include "host/photoshop_api.h"

namespace {

constexpr DescriptorKeyID kKeyK1 = PS_FOURCC('p', 'a', 'K', '1');
constexpr DescriptorKeyID kKeyK2 = PS_FOURCC('p', 'a', 'K', '2');
constexpr DescriptorKeyID kKeyCenterX = PS_FOURCC('p', 'a', 'X', 'C');
constexpr DescriptorKeyID kKeyCenterY = PS_FOURCC('p', 'a', 'Y', 'C');
constexpr DescriptorKeyID kKeyRadiusLimit = PS_FOURCC('p', 'a', 'F', 'R');
constexpr DescriptorKeyID kKeyScale = PS_FOURCC('s', 'c', 'a', 'F');
constexpr DescriptorKeyID kKeyInterpolation = PS_FOURCC('i', 'n', 't', 'M');
constexpr DescriptorKeyID kKeyOrientation = PS_FOURCC('o', 'r', 'I', 'M');
constexpr DescriptorKeyID kKeyCropTop = PS_FOURCC('c', 'a', 'T', 'o');
constexpr DescriptorKeyID kKeyCropBottom = PS_FOURCC('c', 'a', 'B', 'o');
constexpr DescriptorKeyID kKeyCropLeft = PS_FOURCC('c', 'a', 'L', 'e');
constexpr DescriptorKeyID kKeyCropRight = PS_FOURCC('c', 'a', 'R', 'i');
constexpr DescriptorKeyID kKeyExifMake = PS_FOURCC('e', 'x', 'M', 'a');
constexpr DescriptorKeyID kKeyExifModel = PS_FOURCC('e', 'x', 'M', 'o');
constexpr DescriptorKeyID kKeyExifFocalLength = PS_FOURCC('e', 'x', 'F', 'o');
constexpr DescriptorKeyID kKeyPreviewCorrected = PS_FOURCC('p', 'r', 'C', 'o');
constexpr DescriptorKeyID kKeyPreviewUncorrected = PS_FOURCC('p', 'r', 'U', 'n');

constexpr DescriptorTypeID kInterpolationType = PS_FOURCC('i', 'n', 't', 'T');

// "intM" codes by method id. Method 2 (LANCZOS4) has no code of its own: it
// cannot be selected from a script and is written back as "biCu".
constexpr DescriptorEnumID kBilinear = PS_FOURCC('b', 'i', 'L', 'i');
constexpr DescriptorEnumID kBicubic = PS_FOURCC('b', 'i', 'C', 'u');
constexpr DescriptorEnumID kLanczos6 = PS_FOURCC('l', 'a', '0', '6');
constexpr DescriptorEnumID kLanczos8 = PS_FOURCC('l', 'a', '0', '8');
constexpr DescriptorEnumID kLanczos12 = PS_FOURCC('l', 'a', '1', '2');
constexpr DescriptorEnumID kTestAlign = PS_FOURCC('t', 'a', 'A', 'l');

int32_t InterpolationFromCode(DescriptorEnumID code) {
  switch (code) {
    case kBilinear:
      return 0;
    case kLanczos6:
      return 3;
    case kLanczos8:
      return 4;
    case kLanczos12:
      return 5;
    case kTestAlign:
      return 6;
    case kBicubic:
    default:
      return 1;
  }
}

DescriptorEnumID CodeFromInterpolation(int32_t interpolation) {
  switch (interpolation) {
    case 0:
      return kBilinear;
    case 3:
      return kLanczos6;
    case 4:
      return kLanczos8;
    case 5:
      return kLanczos12;
    case 6:
      return kTestAlign;
    default:
      return kBicubic;
  }
}

int32_t OrientationFromCode(DescriptorEnumID code) {
  switch (code) {
    case PS_FOURCC('o', 'r', 'L', 'N'):
      return 1;
    case PS_FOURCC('o', 'r', 'B', 'N'):
      return 2;
    case PS_FOURCC('o', 'r', 'R', 'N'):
      return 3;
    case PS_FOURCC('o', 'r', 'T', 'M'):
      return 4;
    case PS_FOURCC('o', 'r', 'L', 'M'):
      return 5;
    case PS_FOURCC('o', 'r', 'B', 'M'):
      return 6;
    case PS_FOURCC('o', 'r', 'R', 'M'):
      return 7;
    default:
      return 0;
  }
}

// An address passed as text by the automation step. Text that "%p" does not
// take leaves the field as it was.
template <typename T>
void ReadAddress(const ReadDescriptorProcs *procs, PIReadDescriptor token, Str255 &pascal,
                 T *&field) {
  *gResult = procs->getStringProc(token, &pascal);
  char text[256];
  std::memcpy(text, pascal + 1, pascal[0]);
  text[pascal[0]] = '\0';
  void *address = field;
  std::sscanf(text, "%p", &address);
  field = static_cast<T *>(address);
}

void ReadEnumerated(const ReadDescriptorProcs *procs, PIReadDescriptor token, int32_t &field,
                    int32_t (*map)(DescriptorEnumID)) {
  DescriptorEnumID code = 0;
  const OSErr status = procs->getEnumeratedProc(token, &code);
  *gResult = status;
  if (status == noErr) field = map(code);
}

void ReadKey(const ReadDescriptorProcs *procs, PIReadDescriptor token, DescriptorKeyID key,
             Str255 &pascal) {
  FilterParameters *p = gParams;
  switch (key) {
    case kKeyK1:
      *gResult = procs->getFloatProc(token, &p->k1);
      break;
    case kKeyK2:
      *gResult = procs->getFloatProc(token, &p->k2);
      break;
    case kKeyCenterX:
      *gResult = procs->getFloatProc(token, &p->centerX);
      break;
    case kKeyCenterY:
      *gResult = procs->getFloatProc(token, &p->centerY);
      break;
    case kKeyRadiusLimit:
      *gResult = procs->getFloatProc(token, &p->radiusLimit);
      if (p->radiusLimit < 0.0) p->radiusLimit = 0.0;  // NaN stays
      break;
    case kKeyScale:
      *gResult = procs->getFloatProc(token, &p->scale);
      if (p->scale < 0.0) p->scale = -p->scale;  // NaN and zero stay
      break;
    case kKeyCropTop:
      *gResult = procs->getIntegerProc(token, &p->cropTop);
      break;
    case kKeyCropBottom:
      *gResult = procs->getIntegerProc(token, &p->cropBottom);
      break;
    case kKeyCropLeft:
      *gResult = procs->getIntegerProc(token, &p->cropLeft);
      break;
    case kKeyCropRight:
      *gResult = procs->getIntegerProc(token, &p->cropRight);
      break;
    case kKeyInterpolation:
      ReadEnumerated(procs, token, p->interpolation, InterpolationFromCode);
      break;
    case kKeyOrientation:
      ReadEnumerated(procs, token, p->orientation, OrientationFromCode);
      break;
    case kKeyExifMake:
      ReadAddress(procs, token, pascal, p->exifMake);
      break;
    case kKeyExifModel:
      ReadAddress(procs, token, pascal, p->exifModel);
      break;
    case kKeyExifFocalLength:
      ReadAddress(procs, token, pascal, p->exifFocalLength);
      break;
    case kKeyPreviewCorrected:
      ReadAddress(procs, token, pascal, p->previewCorrected);
      break;
    case kKeyPreviewUncorrected:
      ReadAddress(procs, token, pascal, p->previewUncorrected);
      break;
    default:
      break;  // not ours
  }
}

}  // namespace

extern "C" void ReadScriptParameters(void) {
  // "orIM" and the crop keys are taken when present but not asked for.
  DescriptorKeyID expected[] = {kKeyK1,
                                kKeyK2,
                                kKeyCenterX,
                                kKeyCenterY,
                                kKeyRadiusLimit,
                                kKeyScale,
                                kKeyInterpolation,
                                kKeyExifMake,
                                kKeyExifModel,
                                kKeyExifFocalLength,
                                kKeyPreviewCorrected,
                                kKeyPreviewUncorrected,
                                0};
  Str255 pascal;
  std::memset(pascal, 0, sizeof pascal);

  PIDescriptorParameters *params = gFilterRecord->descriptorParameters;
  if (params == nullptr || params->readDescriptorProcs == nullptr ||
      params->descriptor == nullptr) {
    return;  // invoked bare: defaults stand, dialogRequested stays as it is
  }
  const ReadDescriptorProcs *procs = params->readDescriptorProcs;
  PIReadDescriptor token = procs->openReadDescriptorProc(params->descriptor, expected);
  if (token == nullptr) {
    *gResult = errMissingParameter;
    return;
  }

  DescriptorKeyID key = 0;
  DescriptorTypeID type = 0;
  int32_t flags = 0;
  while (procs->getKeyProc(token, &key, &type, &flags)) {
    // A failed read ends the walk at the next key.
    if (*gResult != noErr) break;
    ReadKey(procs, token, key, pascal);
  }
  // Missing keys are no error: their fields keep the defaults.
  (void)procs->closeReadDescriptorProc(token);

  gFilterRecord->handleProcs->disposeProc(params->descriptor);
  params->descriptor = nullptr;

  if (*gResult == noErr) gData->dialogRequested = params->playInfo == plugInDialogDisplay ? 1 : 0;
}

extern "C" void WriteScriptParameters(void) {
  PIDescriptorParameters *params = gFilterRecord->descriptorParameters;
  if (params == nullptr || params->writeDescriptorProcs == nullptr) return;
  const WriteDescriptorProcs *procs = params->writeDescriptorProcs;
  PIWriteDescriptor token = procs->openWriteDescriptorProc();
  if (token == nullptr) {
    *gResult = errMissingParameter;
    return;
  }

  // Only the lens parameters and the method are recorded; the statuses of
  // the puts do not stop the finish.
  const FilterParameters *p = gParams;
  (void)procs->putFloatProc(token, kKeyK1, &p->k1);
  (void)procs->putFloatProc(token, kKeyK2, &p->k2);
  (void)procs->putFloatProc(token, kKeyCenterX, &p->centerX);
  (void)procs->putFloatProc(token, kKeyCenterY, &p->centerY);
  (void)procs->putFloatProc(token, kKeyRadiusLimit, &p->radiusLimit);
  (void)procs->putFloatProc(token, kKeyScale, &p->scale);
  (void)procs->putEnumeratedProc(token, kKeyInterpolation, kInterpolationType,
                                 CodeFromInterpolation(p->interpolation));

  // Null after a read, and disposed of all the same.
  gFilterRecord->handleProcs->disposeProc(params->descriptor);
  PIDescriptorHandle written = nullptr;
  (void)procs->closeWriteDescriptorProc(token, &written);
  params->descriptor = written;
  params->recordInfo = plugInDialogOptional;
}
