// libFuzzer target for the settings file: any text is applied or refused with
// a CliError; settings it accepts are written out and read back to the same
// text, as --save-settings and --settings do.
#include <cstdint>
#include <string>

#include "correction_settings.h"
#include "exit_codes.h"
#include "settings_file.h"

namespace {

void Require(bool ok) {
  if (!ok) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace ortavel::cli;
  const std::string text(reinterpret_cast<const char *>(data), size);
  CorrectionSettings s;
  try {
    parseSettings(text, "fuzz.txt", s);
    validate(s);
  } catch (const CliError &) {
    return 0;
  }
  const std::string written = formatSettings(s);
  CorrectionSettings back;
  try {
    parseSettings(written, "written.txt", back);
  } catch (const CliError &) {
    Require(false);  // what we write must read back
  }
  Require(formatSettings(back) == written);
  return 0;
}
