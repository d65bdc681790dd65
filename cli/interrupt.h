// Ctrl-C: the first SIGINT (or SIGTERM) only raises a flag, which the
// plug-in's abort callback reports and the batch loop checks, so the run ends
// cleanly with nothing half-written. A second one ends the process at once.
#pragma once

namespace ortavel::cli {

void installInterruptHandler();
bool interrupted();
// For tests: raise the flag as a signal would.
void requestInterrupt();

}  // namespace ortavel::cli
