// Four-character codes as the host uses them: a 32-bit value whose most
// significant byte is the first character ("8BIM" = 0x3842494D).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace hostemu {

constexpr std::uint32_t fourCC(std::string_view code) {
  std::uint32_t v = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    const unsigned char c = i < code.size() ? static_cast<unsigned char>(code[i]) : ' ';
    v = (v << 8) | c;
  }
  return v;
}

// The four characters back; non-printable bytes as \xNN.
std::string fourCCText(std::uint32_t code);

}  // namespace hostemu
