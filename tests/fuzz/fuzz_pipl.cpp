// libFuzzer target for the readers of a module's PiPL and terminology
// resources: any bytes give a record or a PiplError, never a read outside
// them; what is read can be described.
#include <cstdint>
#include <span>
#include <vector>

#include "emulator/pipl.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  // Exactly sized, so that a read past the end is caught.
  const std::vector<std::uint8_t> bytes(data, data + size);
  const std::span<const std::uint8_t> span(bytes);
  std::optional<hostemu::Pipl> pipl;
  std::optional<hostemu::Aete> aete;
  try {
    pipl = hostemu::parsePipl(span);
  } catch (const hostemu::PiplError &) {
  }
  try {
    aete = hostemu::parseAete(span);
  } catch (const hostemu::PiplError &) {
  }
  if (pipl) (void)hostemu::describe(*pipl, aete ? &*aete : nullptr);
  return 0;
}
