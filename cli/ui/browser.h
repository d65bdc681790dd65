// Opening the editor's address in the user's web browser.
#pragma once

#include <string>

namespace ortavel::cli::ui {

// True when a graphical session is there to show a browser (DISPLAY or
// WAYLAND_DISPLAY is set).
bool haveDisplay();

// Starts `xdg-open url` without waiting for it; false when it cannot be
// started. Its output is left to the terminal.
bool openInBrowser(const std::string &url);

}  // namespace ortavel::cli::ui
