#include "flat_json.h"

#include <cctype>

namespace ortavel::test {
namespace {

class Reader {
 public:
  explicit Reader(const std::string &text) : s_(text) {}

  std::map<std::string, JsonValue> document() {
    std::map<std::string, JsonValue> members;
    expect('[');
    expect('{');
    if (peek() != '}') {
      while (true) {
        std::string key = string();
        expect(':');
        members[key] = value();
        if (peek() == ',') {
          ++i_;
          continue;
        }
        break;
      }
    }
    expect('}');
    expect(']');
    return members;
  }

 private:
  char peek() {
    while (i_ < s_.size() && std::isspace(static_cast<unsigned char>(s_[i_]))) ++i_;
    if (i_ >= s_.size()) fail("unexpected end");
    return s_[i_];
  }
  void expect(char c) {
    if (peek() != c) fail(std::string("expected '") + c + "'");
    ++i_;
  }
  [[noreturn]] void fail(const std::string &what) {
    throw std::runtime_error("JSON: " + what + " at offset " + std::to_string(i_));
  }

  std::string string() {
    expect('"');
    std::string out;
    while (true) {
      if (i_ >= s_.size()) fail("unterminated string");
      char c = s_[i_++];
      if (c == '"') return out;
      if (c != '\\') {
        out += c;
        continue;
      }
      if (i_ >= s_.size()) fail("unterminated escape");
      c = s_[i_++];
      switch (c) {
        case 'n':
          out += '\n';
          break;
        case 't':
          out += '\t';
          break;
        case 'r':
          out += '\r';
          break;
        case 'b':
          out += '\b';
          break;
        case 'f':
          out += '\f';
          break;
        case 'u': {
          if (i_ + 4 > s_.size()) fail("short \\u escape");
          const unsigned code = std::stoul(s_.substr(i_, 4), nullptr, 16);
          i_ += 4;
          if (code >= 0x80) fail("non-ASCII \\u escape");  // none in exiftool's EXIF text
          out += static_cast<char>(code);
          break;
        }
        default:
          out += c;
          break;
      }
    }
  }

  JsonValue value() {
    const char c = peek();
    JsonValue v;
    if (c == '"') {
      v.kind = JsonValue::kString;
      v.text = string();
    } else if (c == '[') {
      ++i_;
      int depth = 1;  // arrays are skipped: no EXIF tag compared here is one
      while (depth > 0) {
        const char d = peek();
        if (d == '"') {
          string();
          continue;
        }
        ++i_;
        depth += d == '[' ? 1 : d == ']' ? -1 : 0;
      }
    } else if (c == '-' || std::isdigit(static_cast<unsigned char>(c))) {
      v.kind = JsonValue::kNumber;
      while (i_ < s_.size() && std::string("+-.eE0123456789").find(s_[i_]) != std::string::npos) {
        v.text += s_[i_++];
      }
    } else {
      while (i_ < s_.size() && std::isalpha(static_cast<unsigned char>(s_[i_]))) v.text += s_[i_++];
      if (v.text != "true" && v.text != "false" && v.text != "null") fail("unknown literal");
    }
    return v;
  }

  const std::string &s_;
  size_t i_ = 0;
};

}  // namespace

std::map<std::string, JsonValue> ReadFlatJson(const std::string &text) {
  return Reader(text).document();
}

}  // namespace ortavel::test
