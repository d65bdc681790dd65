// Signals. The first SIGINT, SIGTERM or SIGHUP only raises a flag, which the
// plug-in's abort callback reports and the batch loop checks, so the run ends
// cleanly with nothing half-written. A second one, or SIGQUIT, ends the
// process at once: the handler first removes the temporary files in flight
// (the only thing it does, with async-signal-safe calls), then the signal
// takes its default course. SIGPIPE is ignored: a closed standard output
// shows as failed writes, and the batch goes on (see commands.cpp).
#pragma once

namespace ortavel::cli {

void installInterruptHandler();
bool interrupted();
// For tests: raise the flag as a signal would.
void requestInterrupt();

// Temporary files the handler removes if the process is killed. register
// returns a slot (-1 when all are taken: the file is then only removed by
// the next run into its directory); release gives it back.
int registerTemporary(const char *path) noexcept;
void releaseTemporary(int slot) noexcept;

}  // namespace ortavel::cli
