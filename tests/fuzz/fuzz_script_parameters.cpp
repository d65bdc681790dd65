// libFuzzer target for the plug-in's reading of its scripted parameters: a
// descriptor built from the input goes to a module of the frame's own sources
// (fuzz_frame_module.cpp) through the emulated host's descriptor callbacks,
// as a scripted invocation hands it over; the module reads it on start and
// writes its own back on finish.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>

#include "descriptor_from_bytes.h"
#include "emulator/host.h"
#include "emulator/plugin.h"

namespace {

void Require(bool ok) {
  if (!ok) __builtin_trap();
}

hostemu::Document SmallDocument() {
  hostemu::Document doc;
  doc.width = 4;
  doc.height = 3;
  doc.depth = 8;
  doc.planes.resize(3);
  for (auto &p : doc.planes) p.samples.assign(doc.planeBytes(), 0x40);
  return doc;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static hostemu::Plugin plugin(FUZZ_FRAME_MODULE);
  FuzzedDataProvider in(data, size);
  const hostemu::Descriptor descriptor = fuzzdesc::Build(in);
  hostemu::Document doc = SmallDocument();
  hostemu::Host host(plugin, doc);
  const hostemu::RunResult r = host.runFilter(descriptor);
  // A value of the wrong type is the filter's error to report; when it reads
  // the descriptor it writes its own keys back. Either way nothing leaks.
  if (r.result == 0) {
    Require(r.descriptorOut.has_value());
  } else {
    Require(r.failedSelector >= 0);
  }
  Require(host.leaks().empty());
  return 0;
}
