// libFuzzer target for the host's descriptor store: its byte form, as held in
// descriptor handles. Arbitrary bytes either read as a descriptor or are
// refused with std::runtime_error; a descriptor read, and one built from the
// input item by item, write out to bytes that read back to the same bytes.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

#include "descriptor_from_bytes.h"
#include "emulator/descriptor.h"

namespace {

void Require(bool ok) {
  if (!ok) __builtin_trap();
}

void RoundTrip(const hostemu::Descriptor &d) {
  const std::vector<std::uint8_t> bytes = d.serialize();
  const hostemu::Descriptor back = hostemu::Descriptor::deserialize(bytes);
  Require(back.serialize() == bytes);
  Require(back.size() == d.size());
  (void)back.text();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  // Exactly sized, so that a read past the end is caught.
  const std::vector<std::uint8_t> bytes(data, data + size);
  try {
    RoundTrip(hostemu::Descriptor::deserialize(std::span<const std::uint8_t>(bytes)));
  } catch (const std::runtime_error &) {
    // Not a descriptor of this host: refused with a message.
  }
  FuzzedDataProvider in(data, size);
  RoundTrip(fuzzdesc::Build(in));
  return 0;
}
