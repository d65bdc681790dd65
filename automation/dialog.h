// The step's dialog: the filter's settings with live previews the filter
// itself draws. A native window on Windows; elsewhere there is none and the
// step runs as on a replay.
#pragma once

#include <cstdint>

#include "automation/step.h"

namespace ortavel::automation {

struct DialogFacts {
  std::uint32_t event = 0;  // the filter's event, for its preview plays
  DocumentFacts document;
  CameraFacts camera;
  ProfileChoice profile;  // what Auto applies, or why there is nothing
  LensSettings initial;   // what the dialog opens with and Reset returns to
};

enum class DialogResult { Ok, Cancelled, Unavailable };

struct DialogOutcome {
  DialogResult result = DialogResult::Unavailable;
  LensSettings settings;  // with Ok: what the user chose
};

// Whether this build has a dialog at all.
bool dialogAvailable();

// Shows the dialog modally, owned by the host's main window, and plays the
// filter for previews from this thread (the "Do It" thread) while it is open.
// Unavailable when the window cannot be made (no display).
DialogOutcome runDialog(const Suites &suites, const DialogFacts &facts);

}  // namespace ortavel::automation
