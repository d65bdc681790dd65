#include "run/do_start.h"

#include "exif/tiff_parse.h"
#include "frame/globals.h"
#include "frame/message.h"
#include "frame/script_parameters.h"
#include "resample/interp.h"
#include "run/correction.h"
#include "run/exif_request.h"
#include "run/preview_request.h"

namespace {

// Every run starts from these, so nothing of an earlier run carries over when
// the descriptor lacks a key. imageWidth and imageHeight are set by the run.
void WriteDefaults(FilterParameters *p) {
  p->interpolation = BICUBIC;
  p->centerX = 0.0;
  p->centerY = 0.0;
  p->k1 = 0.0;
  p->k2 = 0.0;
  p->radiusLimit = 0.0;
  p->scale = 1.0;
  p->orientation = 0;
  p->cropTop = 0;
  p->cropBottom = 0;
  p->cropLeft = 0;
  p->cropRight = 0;
  p->exifMake = nullptr;
  p->exifModel = nullptr;
  p->exifFocalLength = nullptr;
  p->previewCorrected = nullptr;
  p->previewUncorrected = nullptr;
}

// The filter has no dialog of its own: a user who asked for one is told where
// it lives. The run goes on afterwards.
void TellAboutAutomation() {
  if (gData->dialogRequested == 1) {
    Message("This plugin shall be executed from the FILE/Automation menu.");
    gData->dialogRequested = 0;
  }
}

}  // namespace

void DoStart(void) {
  WriteDefaults(gParams);
  gData->dialogRequested = 1;
  gData->exifParser = nullptr;

  ReadScriptParameters();
  if (*gResult != 0) return;

  if (gParams->exifMake == nullptr) {
    TellAboutAutomation();
  } else {
    DoExifRequest();
    if (*gResult != 0) return;
    if (gData->exifParser != nullptr) {
      tiff_parse_discard(gData->exifParser);
      gData->exifParser = nullptr;
    }
    TellAboutAutomation();
  }

  if (gParams->previewCorrected != nullptr || gParams->previewUncorrected != nullptr) {
    DoPreviewRequests();
    return;
  }
  DoCorrection();
}
