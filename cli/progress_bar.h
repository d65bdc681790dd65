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
  // The bar for a terminal `columns` wide: 30 cells when there is room, fewer
  // (down to 5) when not, and the label shortened from the left ("...name.jpg")
  // so that the line never wraps, which would break redrawing it in place.
  static std::string renderFitted(const std::string &label, std::int32_t done, std::int32_t total,
                                  int columns);

 private:
  bool enabled_;
  bool shown_ = false;
  int lastPercent_ = -1;
  std::string label_;
  std::mutex mutex_;
};

// True when standard error is a terminal.
bool stderrIsTerminal();

// The width of the terminal on standard error; $COLUMNS, or 80, when it
// does not say.
int terminalColumns();

}  // namespace ortavel::cli
