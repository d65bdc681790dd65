#include "emulator/pipl.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "emulator/fourcc.h"

namespace hostemu {
namespace {

// A cursor over resource bytes that refuses to read past the end.
class Reader {
 public:
  Reader(std::span<const std::uint8_t> bytes, std::string what)
      : bytes_(bytes), what_(std::move(what)) {}

  std::size_t at() const { return at_; }
  std::size_t left() const { return bytes_.size() - at_; }

  std::span<const std::uint8_t> take(std::size_t n) {
    if (n > left()) {
      throw PiplError(what_ + ": cut short at byte " + std::to_string(at_) + " (needs " +
                      std::to_string(n) + " more, has " + std::to_string(left()) + ")");
    }
    auto part = bytes_.subspan(at_, n);
    at_ += n;
    return part;
  }
  std::uint32_t u32() {
    auto b = take(4);
    return std::uint32_t{b[0]} | std::uint32_t{b[1]} << 8 | std::uint32_t{b[2]} << 16 |
           std::uint32_t{b[3]} << 24;
  }
  std::int32_t i32() { return static_cast<std::int32_t>(u32()); }
  std::uint16_t u16() {
    auto b = take(2);
    return static_cast<std::uint16_t>(b[0] | b[1] << 8);
  }
  std::int16_t i16() { return static_cast<std::int16_t>(u16()); }
  std::uint8_t u8() { return take(1)[0]; }
  std::string pascal() {
    const std::size_t n = u8();
    auto b = take(n);
    return {b.begin(), b.end()};
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::string what_;
  std::size_t at_ = 0;
};

// A terminated string inside a property's data (the whole data when the
// terminator is missing).
std::string cString(std::span<const std::uint8_t> data) {
  std::string s;
  for (std::uint8_t c : data) {
    if (c == 0) break;
    s.push_back(static_cast<char>(c));
  }
  return s;
}

std::uint32_t u32At(std::span<const std::uint8_t> data, const std::string &key) {
  Reader r(data, "PiPL property " + key);
  return r.u32();
}

}  // namespace

Pipl parsePipl(std::span<const std::uint8_t> bytes) {
  Reader r(bytes, "PiPL");
  r.i16();  // the reserved word of the Windows form
  const std::int32_t version = r.i32();
  if (version != 0) {
    throw PiplError("PiPL: property list version " + std::to_string(version) + ", expected 0");
  }
  const std::int32_t count = r.i32();
  if (count < 0) throw PiplError("PiPL: negative property count");
  Pipl pipl;
  for (std::int32_t i = 0; i < count; ++i) {
    r.u32();  // vendor: properties of other vendors are skipped like unknown keys
    const std::uint32_t key = r.u32();
    r.i32();  // id
    const std::int32_t length = r.i32();
    if (length < 0) throw PiplError("PiPL: negative length for " + fourCCText(key));
    const auto data = r.take(static_cast<std::size_t>(length));
    r.take(std::min<std::size_t>((4 - length % 4) % 4, r.left()));
    const std::string keyText = fourCCText(key);
    Reader d(data, "PiPL property " + keyText);
    pipl.keys.push_back(key);
    if (key == fourCC("kind")) {
      pipl.kind = d.u32();
    } else if (key == fourCC("name")) {
      pipl.name = d.pascal();
    } else if (key == fourCC("catg")) {
      pipl.category = d.pascal();
    } else if (key == fourCC("vers")) {
      pipl.interfaceVersion = d.u32();
    } else if (key == fourCC("8664") || key == fourCC("wx86") || key == fourCC("wa64")) {
      pipl.entryPoints[key] = cString(data);
    } else if (key == fourCC("mode")) {
      const auto b = d.take(2);  // stored first byte first: bitmap is its top bit
      pipl.modes = static_cast<std::uint16_t>(b[0] << 8 | b[1]);
    } else if (key == fourCC("enbl")) {
      pipl.enable = cString(data);
    } else if (key == fourCC("fici")) {
      while (d.left() >= 4) {
        const auto b = d.take(4);
        pipl.filterCases.push_back({b[0], b[1], b[2], b[3]});
      }
    } else if (key == fourCC("host")) {
      pipl.requiredHost = u32At(data, keyText);
    } else if (key == fourCC("hstm")) {
      PiplTerminology t;
      if (d.i32() != 0) throw PiplError("PiPL: terminology of an unknown version");
      t.classId = d.u32();
      t.eventId = d.u32();
      t.resourceId = d.i16();
      t.scope = cString(d.take(d.left()));
      pipl.terminology = t;
    }
  }
  return pipl;
}

Aete parseAete(std::span<const std::uint8_t> bytes) {
  Reader r(bytes, "AETE");
  r.i16();  // the reserved word of the Windows form
  Aete aete;
  aete.majorVersion = r.u8();
  aete.minorVersion = r.u8();
  r.i16();  // language
  r.i16();  // script
  if (const std::int16_t suites = r.i16(); suites != 1) {
    throw PiplError("AETE: " + std::to_string(suites) + " suites, a filter declares one");
  }
  aete.suiteVendor = r.pascal();
  r.pascal();  // suite description
  aete.suiteId = r.u32();
  r.i16();  // level
  r.i16();  // version
  if (const std::int16_t events = r.i16(); events != 1) {
    throw PiplError("AETE: " + std::to_string(events) + " events, a filter declares one");
  }
  aete.eventName = r.pascal();
  aete.eventDescription = r.pascal();
  aete.eventClass = r.u32();
  aete.eventId = r.u32();
  aete.replyType = r.u32();
  r.pascal();  // reply description
  r.u16();     // reply flags
  aete.directParameterType = r.u32();
  r.pascal();  // direct parameter description
  r.u16();     // its flags
  const std::int16_t parameters = r.i16();
  for (std::int16_t i = 0; i < parameters; ++i) {
    AeteParameter p;
    p.name = r.pascal();
    p.key = r.u32();
    p.type = r.u32();
    p.description = r.pascal();
    p.flags = r.u16();
    aete.parameters.push_back(p);
  }
  if (r.i16() != 0) throw PiplError("AETE: classes are not expected in a filter's terminology");
  if (r.i16() != 0) throw PiplError("AETE: comparison operators are not expected");
  const std::int16_t enumerations = r.i16();
  for (std::int16_t i = 0; i < enumerations; ++i) {
    const std::uint32_t type = r.u32();
    const std::int16_t values = r.i16();
    auto &list = aete.enumerations[type];
    for (std::int16_t v = 0; v < values; ++v) {
      AeteEnumValue e;
      e.name = r.pascal();
      e.key = r.u32();
      e.description = r.pascal();
      list.push_back(e);
    }
  }
  return aete;
}

std::string describe(const Pipl &pipl, const Aete *aete) {
  // A stream rather than string sums: g++ 12 warns falsely on "text" + string.
  std::ostringstream out;
  out << "kind " << fourCCText(pipl.kind) << "\n";
  out << "name \"" << pipl.name << "\"\ncategory \"" << pipl.category << "\"\n";
  if (pipl.interfaceVersion) {
    out << "version " << (*pipl.interfaceVersion >> 16) << "." << (*pipl.interfaceVersion & 0xFFFF)
        << "\n";
  }
  for (const auto &[key, name] : pipl.entryPoints) {
    out << "entry " << fourCCText(key) << " " << name << "\n";
  }
  if (pipl.modes) {
    static const char *const kModes[16] = {
        "bitmap", "grey",         "indexed",           "rgb",      "cmyk",   "hsl",
        "hsb",    "multichannel", "duotone",           "lab",      "grey16", "rgb48",
        "lab48",  "cmyk64",       "deep_multichannel", "duotone16"};
    out << "modes";
    for (int bit = 15; bit >= 0; --bit) {
      if ((*pipl.modes >> bit) & 1) out << " " << kModes[15 - bit];
    }
    out << "\n";
  }
  if (!pipl.enable.empty()) out << "enable " << pipl.enable << "\n";
  if (!pipl.filterCases.empty()) {  // automation modules have none
    out << "filter cases";
    for (const auto &c : pipl.filterCases) {
      out << " " << int{c[0]} << "/" << int{c[1]} << "/" << int{c[2]} << "/" << int{c[3]};
    }
    out << "\n";
  }
  if (pipl.requiredHost) out << "host " << fourCCText(*pipl.requiredHost) << "\n";
  if (pipl.terminology) {
    out << "terminology class " << fourCCText(pipl.terminology->classId) << " event "
        << fourCCText(pipl.terminology->eventId) << " id " << pipl.terminology->resourceId
        << " scope " << pipl.terminology->scope << "\n";
  }
  if (aete != nullptr) {
    out << "event " << fourCCText(aete->eventClass) << " " << fourCCText(aete->eventId) << " \""
        << aete->eventName << "\"\n";
    for (const auto &p : aete->parameters) {
      out << "parameter " << fourCCText(p.key) << " " << fourCCText(p.type) << " \"" << p.name
          << "\"" << ((p.flags & 0x8000) != 0 ? " optional" : "")
          << ((p.flags & 0x2000) != 0 ? " enumerated" : "") << "\n";
    }
    for (const auto &[type, values] : aete->enumerations) {
      out << "enumeration " << fourCCText(type);
      for (const auto &v : values) out << " " << fourCCText(v.key);
      out << "\n";
    }
  }
  return out.str();
}

}  // namespace hostemu
