#include "emulator/fourcc.h"

#include <cstdio>

namespace hostemu {

std::string fourCCText(std::uint32_t code) {
  std::string out;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const unsigned c = (code >> shift) & 0xFFu;
    if (c >= 0x20 && c < 0x7F) {
      out.push_back(static_cast<char>(c));
    } else {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\x%02X", c);
      out += buf;
    }
  }
  return out;
}

}  // namespace hostemu
