// Builds without a native dialog: the step always runs as on a replay.
#include "automation/dialog.h"

namespace ortavel::automation {

bool dialogAvailable() {
  return false;
}

DialogOutcome runDialog(const Suites &suites, const DialogFacts &facts) {
  (void)suites;
  (void)facts;
  return {};
}

}  // namespace ortavel::automation
