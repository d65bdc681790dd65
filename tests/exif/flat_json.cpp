#include "flat_json.h"

#include <cctype>
#include <sstream>

namespace ortavel::test {
namespace {

// The content of the string literal that starts at s[i] (a quote); i ends
// after its closing quote. exiftool escapes only quotes, backslashes and
// control characters in EXIF text.
std::string Unquote(const std::string &s, size_t &i) {
  std::string out;
  for (++i; i < s.size() && s[i] != '"'; ++i) {
    if (s[i] != '\\' || i + 1 >= s.size()) {
      out += s[i];
      continue;
    }
    const char c = s[++i];
    if (c == 'u' && i + 4 < s.size()) {
      out += static_cast<char>(std::stoul(s.substr(i + 1, 4), nullptr, 16));
      i += 4;
    } else {
      out += c == 'n' ? '\n' : c == 't' ? '\t' : c == 'r' ? '\r' : c;
    }
  }
  ++i;
  return out;
}

}  // namespace

std::map<std::string, JsonValue> ReadFlatJson(const std::string &text) {
  std::map<std::string, JsonValue> members;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    size_t i = line.find('"');
    if (i == std::string::npos) continue;
    const std::string key = Unquote(line, i);
    if (line.compare(i, 2, ": ") != 0) continue;
    i += 2;
    JsonValue v;
    if (line[i] == '"') {
      v.kind = JsonValue::kString;
      v.text = Unquote(line, i);
    } else {
      const size_t end = line.find_last_not_of(", \r");
      v.text = line.substr(i, end + 1 - i);
      const char c = v.text.empty() ? ' ' : v.text[0];
      v.kind = (c == '-' || std::isdigit(static_cast<unsigned char>(c))) ? JsonValue::kNumber
                                                                         : JsonValue::kOther;
    }
    members[key] = v;
  }
  return members;
}

}  // namespace ortavel::test
