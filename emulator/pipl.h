// Reading a filter module's PiPL and terminology resources, in the byte order
// of the Windows resources (integers little-endian; four-character codes as
// the little-endian integer of their value). This is what a Windows host
// reads before it lists a module and loads it; the loader in plugin_win.cpp
// takes the bytes from the module's resources.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace hostemu {

// Malformed resource bytes; the message says what and where.
class PiplError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct PiplTerminology {
  std::uint32_t classId = 0;
  std::uint32_t eventId = 0;
  std::int16_t resourceId = 0;  // of the AETE resource
  std::string scope;
};

struct Pipl {
  std::uint32_t kind = 0;  // '8BFM' for a filter
  std::string name;        // the menu item
  std::string category;    // the Filter submenu
  std::optional<std::uint32_t> interfaceVersion;
  std::map<std::uint32_t, std::string> entryPoints;  // by platform key ('8664', 'wx86', ...)
  std::optional<std::uint16_t> modes;  // flag set, bitmap in bit 15 ... duotone16 in bit 0
  std::string enable;                  // the enabling expression, empty when absent
  std::vector<std::array<std::uint8_t, 4>> filterCases;
  std::optional<std::uint32_t> requiredHost;
  std::optional<PiplTerminology> terminology;
  std::vector<std::uint32_t> keys;  // every property key, in order
};

// Throws PiplError when the bytes are not a PiPL of version 0.
Pipl parsePipl(std::span<const std::uint8_t> bytes);

struct AeteParameter {
  std::string name;
  std::uint32_t key = 0;
  std::uint32_t type = 0;
  std::string description;
  std::uint16_t flags = 0;
};

struct AeteEnumValue {
  std::string name;
  std::uint32_t key = 0;
  std::string description;
};

struct Aete {
  std::uint8_t majorVersion = 0, minorVersion = 0;
  std::string suiteVendor;
  std::uint32_t suiteId = 0;
  std::string eventName;
  std::string eventDescription;
  std::uint32_t eventClass = 0;
  std::uint32_t eventId = 0;
  std::uint32_t replyType = 0;
  std::uint32_t directParameterType = 0;
  std::vector<AeteParameter> parameters;
  std::map<std::uint32_t, std::vector<AeteEnumValue>> enumerations;  // by enumeration type
};

// The one suite with its one event, as a filter's terminology declares it.
// Throws PiplError when the bytes are cut short or hold another shape.
Aete parseAete(std::span<const std::uint8_t> bytes);

// What a host learns from the two resources, one fact a line, e.g.
//   kind 8BFM
//   entry 8664 PluginMain
//   parameter paK1 doub "k1" optional
std::string describe(const Pipl &pipl, const Aete *aete);

}  // namespace hostemu
