// Joining message pieces in one allocation, for the one-line errors.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace ortavel::cli {

inline std::string join(std::initializer_list<std::string_view> parts) {
  std::size_t n = 0;
  for (auto p : parts) n += p.size();
  std::string s;
  s.reserve(n);
  for (auto p : parts) s.append(p);
  return s;
}

}  // namespace ortavel::cli
