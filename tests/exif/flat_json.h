// Reads the JSON that exiftool -j writes for one file: one member per line,
// `"Group:Name": value`. Strings are unescaped; numbers are kept as their
// source text, so "1.00" stays "1.00"; other values are marked as such.
#pragma once

#include <map>
#include <string>

namespace ortavel::test {

struct JsonValue {
  enum Kind { kString, kNumber, kOther } kind = kOther;
  std::string text;  // the string's content, or the number as written
};

std::map<std::string, JsonValue> ReadFlatJson(const std::string &text);

}  // namespace ortavel::test
