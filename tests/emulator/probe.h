// Shared by the emulator tests: the probe module with a script installed, and
// small documents with known samples.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>

#include "emulator/host.h"
#include "host/photoshop_api.h"

namespace probe {

using Script = void (*)(int16 selector, void *block, intptr_t *data, int16 *result);

// Loads the probe module and installs the script (null: the built-in inverter).
inline void install(hostemu::Plugin &plugin, Script script) {
  using Setter = void (*)(Script);
  auto set = reinterpret_cast<Setter>(plugin.symbol("probe_set_script"));
  ASSERT_NE(set, nullptr);
  set(script);
}

// Sample (x, y, p) of the pattern used throughout: distinct per position.
inline std::uint8_t pattern8(int x, int y, int p) {
  return static_cast<std::uint8_t>((x * 7 + y * 13 + p * 50) % 251);
}

inline hostemu::Document makeDocument(int w, int h, int planes, int depth = 8) {
  hostemu::Document doc;
  doc.width = w;
  doc.height = h;
  doc.depth = depth;
  doc.planes.resize(static_cast<std::size_t>(planes));
  for (int p = 0; p < planes; ++p) {
    auto &s = doc.planes[static_cast<std::size_t>(p)].samples;
    s.assign(doc.planeBytes(), 0);
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        const std::size_t at = (static_cast<std::size_t>(y) * w + x) * (depth / 8);
        if (depth == 8) {
          s[at] = pattern8(x, y, p);
        } else {  // 16-bit: the host's 0..32768 scale
          const std::uint16_t v = static_cast<std::uint16_t>(pattern8(x, y, p) * 128);
          std::memcpy(&s[at], &v, 2);
        }
      }
    }
  }
  return doc;
}

inline std::uint8_t sample8(const hostemu::Document &doc, int x, int y, int p) {
  return doc.planes[static_cast<std::size_t>(p)]
      .samples[static_cast<std::size_t>(y) * doc.width + x];
}

// The probe module with a script installed, and a document for it.
struct Probe {
  explicit Probe(Script script, int w = 4, int h = 4, int planes = 1, int depth = 8)
      : doc(makeDocument(w, h, planes, depth)) {
    install(plugin, script);
  }
  hostemu::Plugin plugin{PROBE_PLUGIN_PATH};
  hostemu::Document doc;
};

inline FilterRecord *record(void *block) {
  return static_cast<FilterRecord *>(block);
}

inline void setRects32(FilterRecord *fr, VRect in, VRect out) {
  fr->bigDocumentData->PluginUsing32BitCoordinates = 1;
  fr->bigDocumentData->inRect32 = in;
  fr->bigDocumentData->outRect32 = out;
}

}  // namespace probe
