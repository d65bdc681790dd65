// The host's record of everything a plug-in did during its calls: selector
// results, suites, handles, alerts, tile requests, progress. Entries are kept
// in call order, as a kind plus named text fields, with a printable form.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace hostemu {

enum class LogKind {
  Selector,    // a PluginMain call: "selector", "name", "result"
  Suite,       // a line from the suite host (acquire/release/...): "text"
  Handle,      // new/lock/unlock/dispose/...: "op", "id", "size", "by", ...
  Alert,       // a message shown: "title", "text"
  Tile,        // advanceState: "inRect", "inPlanes", "outRect", "outPlanes", "result"
  Progress,    // progressProc: "done", "total"
  Abort,       // abortProc: "answer"
  Descriptor,  // reader/writer opened or closed, get/put statuses
  Host,        // the host's own notes (write-back, limits, leaks)
};

std::string_view logKindName(LogKind kind);

struct LogEntry {
  LogKind kind = LogKind::Host;
  std::vector<std::pair<std::string, std::string>> fields;  // in the order written

  // The value of a field, "" when the entry has none by that name.
  std::string field(std::string_view name) const;
  bool has(std::string_view name) const;
  // "kind: name=value name=value ..."
  std::string text() const;
};

class Log {
 public:
  void add(LogKind kind, std::vector<std::pair<std::string, std::string>> fields);
  const std::vector<LogEntry> &entries() const { return entries_; }
  std::vector<LogEntry> ofKind(LogKind kind) const;
  std::size_t count(LogKind kind) const;
  // Every entry's text, one per line.
  std::string print() const;
  void clear() { entries_.clear(); }
  // Called for every new entry as it is added (e.g. a driver echoing live).
  void setListener(std::function<void(const LogEntry &)> listener) {
    listener_ = std::move(listener);
  }

 private:
  std::vector<LogEntry> entries_;
  std::function<void(const LogEntry &)> listener_;
};

}  // namespace hostemu
