// A one-line progress bar on standard error, redrawn in place, fed by the
// plug-in's progress callback. It draws only on a terminal and not when the
// user asked for quiet; a batch shows which file of how many is running.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

namespace ortavel::cli {

class ProgressBar {
 public:
  // enabled = standard error is a terminal and --quiet was not given.
  explicit ProgressBar(bool enabled) : enabled_(enabled) {}
  ~ProgressBar() { clear(); }

  bool enabled() const { return enabled_; }
  void setLabel(const std::string &label);
  void update(std::int32_t done, std::int32_t total);
  // Removes the bar, so a message can take the line.
  void clear();

  // The text of a bar `width` cells wide (for tests): "label [####    ]  50%".
  static std::string render(const std::string &label, std::int32_t done, std::int32_t total,
                            int width);

 private:
  bool enabled_;
  bool shown_ = false;
  int lastPercent_ = -1;
  std::string label_;
  std::mutex mutex_;
};

// True when standard error is a terminal.
bool stderrIsTerminal();

}  // namespace ortavel::cli
