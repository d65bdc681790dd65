// The start selector of the scripted-parameters fuzz module: the run's own
// first steps (defaults, then the host's descriptor read over them), and no
// correction. The frame's entry point, finish (which writes the descriptor
// back) and host services are the plug-in's own.
#include "frame/globals.h"
#include "frame/script_parameters.h"
#include "run/do_start.h"

extern "C" void DoStart(void) {
  *gParams = FilterParameters{};
  gParams->interpolation = 1;
  gParams->scale = 1.0;
  ReadScriptParameters();
  // What was read must be usable as the filter's parameters record: touch
  // every field, so that a sanitizer sees any byte left unwritten.
  volatile double sink = gParams->k1 + gParams->k2 + gParams->centerX + gParams->centerY +
                         gParams->radiusLimit + gParams->scale;
  volatile unsigned cases =
      static_cast<unsigned>(gParams->interpolation) ^ static_cast<unsigned>(gParams->orientation) ^
      static_cast<unsigned>(gParams->cropTop) ^ static_cast<unsigned>(gParams->cropBottom) ^
      static_cast<unsigned>(gParams->cropLeft) ^ static_cast<unsigned>(gParams->cropRight);
  (void)sink;
  (void)cases;
}
