#include "descriptor_mapping.h"

#include <cstdio>
#include <string>

#include "emulator/fourcc.h"

namespace ortavel::cli {
namespace {

using hostemu::fourCC;

struct EnumCode {
  int id;
  std::uint32_t code;
};

constexpr EnumCode kMethodCodes[] = {{0, fourCC("biLi")}, {1, fourCC("biCu")}, {3, fourCC("la06")},
                                     {4, fourCC("la08")}, {5, fourCC("la12")}, {6, fourCC("taAl")}};

// Orientation 0 has no code of its own: the filter takes it for any code it
// does not know and for a missing key, so we leave the key out.
constexpr EnumCode kOrientationCodes[] = {
    {1, fourCC("orLN")}, {2, fourCC("orBN")}, {3, fourCC("orRN")}, {4, fourCC("orTM")},
    {5, fourCC("orLM")}, {6, fourCC("orBM")}, {7, fourCC("orRM")}};

constexpr std::uint32_t kOrientationType = fourCC("orIT");

}  // namespace

std::string addressText(const void *p) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%p", p);
  return buf;
}

hostemu::Descriptor buildDescriptor(const CorrectionSettings &s) {
  hostemu::Descriptor d;
  d.putFloat(fourCC("paK1"), s.k1)
      .putFloat(fourCC("paK2"), s.k2)
      .putFloat(fourCC("paXC"), s.centerX)
      .putFloat(fourCC("paYC"), s.centerY)
      .putFloat(fourCC("paFR"), s.radiusLimit)
      .putFloat(fourCC("scaF"), s.scale);
  std::uint32_t method = fourCC("biCu");
  for (const auto &m : kMethodCodes)
    if (m.id == s.method) method = m.code;
  d.putEnumerated(fourCC("intM"), fourCC("intT"), method);
  for (const auto &o : kOrientationCodes)
    if (o.id == s.orientation) d.putEnumerated(fourCC("orIM"), kOrientationType, o.code);
  d.putInteger(fourCC("caTo"), s.margins.top)
      .putInteger(fourCC("caBo"), s.margins.bottom)
      .putInteger(fourCC("caLe"), s.margins.left)
      .putInteger(fourCC("caRi"), s.margins.right);
  return d;
}

CorrectionSettings settingsFromDescriptor(const hostemu::Descriptor &d,
                                          const CorrectionSettings &given) {
  CorrectionSettings s = given;
  if (auto v = d.getFloat(fourCC("paK1"))) s.k1 = *v;
  if (auto v = d.getFloat(fourCC("paK2"))) s.k2 = *v;
  if (auto v = d.getFloat(fourCC("paXC"))) s.centerX = *v;
  if (auto v = d.getFloat(fourCC("paYC"))) s.centerY = *v;
  if (auto v = d.getFloat(fourCC("paFR"))) s.radiusLimit = *v;
  if (auto v = d.getFloat(fourCC("scaF"))) s.scale = *v;
  if (auto e = d.getEnumerated(fourCC("intM"))) {
    for (const auto &m : kMethodCodes)
      if (m.code == e->value) s.method = m.id;
  }
  return s;
}

}  // namespace ortavel::cli
