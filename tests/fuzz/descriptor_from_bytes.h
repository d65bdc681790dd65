// Builds a host descriptor from fuzz input: a sequence of items, each a key
// (one of the plug-in's own keys most of the time, so that its reader meets
// them, or any four bytes), a kind and a value, nested objects included.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <string>
#include <vector>

#include "emulator/descriptor.h"
#include "emulator/fourcc.h"

namespace fuzzdesc {

inline std::uint32_t Key(FuzzedDataProvider &in) {
  static const std::uint32_t kKeys[] = {
      hostemu::fourCC("paK1"), hostemu::fourCC("paK2"), hostemu::fourCC("paXC"),
      hostemu::fourCC("paYC"), hostemu::fourCC("paFR"), hostemu::fourCC("scaF"),
      hostemu::fourCC("intM"), hostemu::fourCC("orIM"), hostemu::fourCC("caTo"),
      hostemu::fourCC("caBo"), hostemu::fourCC("caLe"), hostemu::fourCC("caRi"),
      hostemu::fourCC("exMa"), hostemu::fourCC("exMo"), hostemu::fourCC("exFL")};
  if (in.ConsumeBool()) return in.PickValueInArray(kKeys);
  return in.ConsumeIntegral<std::uint32_t>();
}

inline std::uint32_t Code(FuzzedDataProvider &in) {
  static const std::uint32_t kCodes[] = {
      hostemu::fourCC("bili"), hostemu::fourCC("biCu"), hostemu::fourCC("la06"),
      hostemu::fourCC("la08"), hostemu::fourCC("la12"), hostemu::fourCC("orTo"),
      hostemu::fourCC("orBM"), hostemu::fourCC("#Pxl"), hostemu::fourCC("#Prc")};
  if (in.ConsumeBool()) return in.PickValueInArray(kCodes);
  return in.ConsumeIntegral<std::uint32_t>();
}

inline hostemu::Descriptor Build(FuzzedDataProvider &in, int depth = 0) {
  hostemu::Descriptor d;
  const int count = in.ConsumeIntegralInRange(0, 24);
  for (int i = 0; i < count && in.remaining_bytes() > 0; ++i) {
    const std::uint32_t key = Key(in);
    switch (in.ConsumeIntegralInRange(0, 12)) {
      case 0:
        d.putFloat(key, in.ConsumeFloatingPoint<double>());
        break;
      case 1:
        d.putFloat(key, in.ConsumeProbability<double>() * 4.0 - 2.0);
        break;
      case 2:
        d.putInteger(key, in.ConsumeIntegral<std::int32_t>());
        break;
      case 3:
        d.putBoolean(key, in.ConsumeBool());
        break;
      case 4:
        d.putEnumerated(key, Code(in), Code(in));
        break;
      case 5:
        d.putUnitFloat(key, Code(in), in.ConsumeFloatingPoint<double>());
        break;
      case 6:
        d.putString(key, in.ConsumeRandomLengthString(300));
        break;
      case 7:
        d.putText(key, in.ConsumeRandomLengthString(300));
        break;
      case 8: {
        const std::string b = in.ConsumeRandomLengthString(64);
        d.putAlias(key, std::vector<std::uint8_t>(b.begin(), b.end()));
        break;
      }
      case 9:
        d.putClass(key, Code(in));
        break;
      case 10:
        d.putCount(key, in.ConsumeIntegral<std::uint32_t>());
        break;
      case 11: {
        hostemu::ReferenceValue r;
        r.desiredClass = Code(in);
        r.keyForm = Code(in);
        r.name = in.ConsumeRandomLengthString(255);
        r.index = in.ConsumeIntegral<std::int32_t>();
        r.type = Code(in);
        r.value = Code(in);
        d.putReference(key, r);
        break;
      }
      default:
        if (depth < 3) {
          d.putObject(key, Code(in), Build(in, depth + 1));
        } else {
          // An item whose type code does not match its value.
          d.add({key, Code(in), in.ConsumeFloatingPoint<double>()});
        }
        break;
    }
  }
  return d;
}

}  // namespace fuzzdesc
