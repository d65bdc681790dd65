#include "emulator/log.h"

namespace hostemu {

std::string_view logKindName(LogKind kind) {
  switch (kind) {
    case LogKind::Selector:
      return "selector";
    case LogKind::Suite:
      return "suite";
    case LogKind::Handle:
      return "handle";
    case LogKind::Alert:
      return "alert";
    case LogKind::Tile:
      return "tile";
    case LogKind::Progress:
      return "progress";
    case LogKind::Abort:
      return "abort";
    case LogKind::Descriptor:
      return "descriptor";
    case LogKind::Host:
      return "host";
  }
  return "?";
}

std::string LogEntry::field(std::string_view name) const {
  for (const auto &[k, v] : fields) {
    if (k == name) return v;
  }
  return {};
}

bool LogEntry::has(std::string_view name) const {
  for (const auto &f : fields) {
    if (f.first == name) return true;
  }
  return false;
}

std::string LogEntry::text() const {
  std::string out(logKindName(kind));
  out += ':';
  for (const auto &[k, v] : fields) {
    out += ' ';
    out += k;
    out += '=';
    // Values with blanks are quoted so that a line stays one entry.
    if (v.find_first_of(" \t\n") != std::string::npos || v.empty()) {
      out += '"';
      for (char c : v) {
        if (c == '\n') {
          out += "\\n";
        } else if (c == '"') {
          out += "\\\"";
        } else {
          out += c;
        }
      }
      out += '"';
    } else {
      out += v;
    }
  }
  return out;
}

void Log::add(LogKind kind, std::vector<std::pair<std::string, std::string>> fields) {
  entries_.push_back(LogEntry{kind, std::move(fields)});
  if (listener_) listener_(entries_.back());
}

std::vector<LogEntry> Log::ofKind(LogKind kind) const {
  std::vector<LogEntry> out;
  for (const auto &e : entries_) {
    if (e.kind == kind) out.push_back(e);
  }
  return out;
}

std::size_t Log::count(LogKind kind) const {
  std::size_t n = 0;
  for (const auto &e : entries_) n += e.kind == kind ? 1 : 0;
  return n;
}

std::string Log::print() const {
  std::string out;
  for (const auto &e : entries_) {
    out += e.text();
    out += '\n';
  }
  return out;
}

}  // namespace hostemu
