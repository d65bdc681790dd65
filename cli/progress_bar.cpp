#include "progress_bar.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace ortavel::cli {

bool stderrIsTerminal() {
  return ::isatty(STDERR_FILENO) == 1;
}

int terminalColumns() {
  winsize ws{};
  if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &ws) == 0 && ws.ws_col > 0) return ws.ws_col;
  if (const char *c = std::getenv("COLUMNS")) {
    const int n = std::atoi(c);
    if (n > 0) return n;
  }
  return 80;
}

std::string ProgressBar::renderFitted(const std::string &label, std::int32_t done,
                                      std::int32_t total, int columns) {
  constexpr int kBarCells = 30, kMinCells = 5;
  constexpr int kFixed = 2 + 5;  // the brackets, then " 100%"
  // One column spare: a line that fills the last column wraps on some terminals.
  const int room = std::max(0, columns - 1);
  const int fewest = std::clamp(room - kFixed, 1, kMinCells);
  const int cells = std::clamp(
      room - kFixed - (label.empty() ? 0 : 1) - static_cast<int>(label.size()), fewest, kBarCells);
  const int labelRoom = room - kFixed - cells - 1;
  std::string shown = label;
  if (labelRoom <= 3) {
    shown.clear();
  } else if (static_cast<int>(label.size()) > labelRoom) {
    shown = "..." + label.substr(label.size() - static_cast<std::size_t>(labelRoom - 3));
  }
  return render(shown, done, total, cells);
}

std::string ProgressBar::render(const std::string &label, std::int32_t done, std::int32_t total,
                                int width) {
  if (total <= 0) total = 1;
  if (done < 0) done = 0;
  if (done > total) done = total;
  const int filled = static_cast<int>(static_cast<std::int64_t>(done) * width / total);
  const int percent = static_cast<int>(static_cast<std::int64_t>(done) * 100 / total);
  std::string s = label.empty() ? std::string() : label + " ";
  s += '[';
  s.append(static_cast<std::size_t>(filled), '#');
  s.append(static_cast<std::size_t>(width - filled), ' ');
  char pct[8];
  std::snprintf(pct, sizeof pct, "] %3d%%", percent);
  return s + pct;
}

void ProgressBar::setLabel(const std::string &label) {
  std::lock_guard lock(mutex_);
  label_ = label;
  lastPercent_ = -1;
}

void ProgressBar::update(std::int32_t done, std::int32_t total) {
  if (!enabled_) return;
  std::lock_guard lock(mutex_);
  const int percent =
      total > 0 ? static_cast<int>(static_cast<std::int64_t>(done) * 100 / total) : 0;
  if (percent == lastPercent_) return;  // no need to redraw for every tile
  lastPercent_ = percent;
  std::fprintf(stderr, "\r\033[K%s", renderFitted(label_, done, total, terminalColumns()).c_str());
  std::fflush(stderr);
  shown_ = true;
}

void ProgressBar::clear() {
  if (!enabled_) return;
  std::lock_guard lock(mutex_);
  if (shown_) {
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    shown_ = false;
  }
  lastPercent_ = -1;
}

}  // namespace ortavel::cli
