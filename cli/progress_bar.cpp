#include "progress_bar.h"

#include <unistd.h>

#include <cstdio>

namespace ortavel::cli {

bool stderrIsTerminal() {
  return ::isatty(STDERR_FILENO) == 1;
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
  std::fprintf(stderr, "\r\033[K%s", render(label_, done, total, 30).c_str());
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
