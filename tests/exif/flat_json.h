// Reads the flat JSON that exiftool -j writes for one file: an array holding
// one object whose members are strings, numbers, booleans or arrays. Numbers
// are kept as their source text, so "1.00" stays "1.00".
#pragma once

#include <map>
#include <stdexcept>
#include <string>

namespace ortavel::test {

struct JsonValue {
  enum Kind { kString, kNumber, kOther } kind = kOther;
  std::string text;  // the string's content, or the number as written
};

// Throws std::runtime_error on text it cannot read.
std::map<std::string, JsonValue> ReadFlatJson(const std::string &text);

}  // namespace ortavel::test
