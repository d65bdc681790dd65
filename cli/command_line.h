// The command line of `ortavel`: a command, its files and its options.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "correction_settings.h"
#include "image_io/limits.h"
#include "image_io/tiff_strips.h"
#include "lens_profiles/photo_identity.h"

namespace ortavel::cli {

enum class Command { kNone, kCorrect, kInfo, kPreview, kAbout, kHelp, kLenses, kUi };

struct CommandLine {
  Command command = Command::kNone;
  std::vector<std::string> files;          // positional arguments
  std::optional<std::string> outputDir;    // -o DIR
  CorrectionSettings settings;             // file, then options, applied
  std::optional<std::string> settingsIn;   // --settings FILE
  std::optional<std::string> settingsOut;  // --save-settings FILE
  std::optional<std::string> plugin;       // --plugin PATH
  bool force = false;
  bool skipExisting = false;  // correct: leave outputs that exist, count them apart
  std::uint64_t maxPixels = kDefaultMaxPixels;  // --max-pixels: larger inputs are refused
  bool quiet = false;
  bool help = false;           // --help after a command, or `help CMD`
  bool version = false;        // --version
  int jobs = 0;                // 0: as many as the process may use processors, at most 4
  std::optional<int> threads;  // --threads N: processors the plug-in's pool may use
  int quality = 95;            // JPEG quality of written files
  TiffCompression tiffCompression = TiffCompression::kDeflate;  // of written TIFF files
  int tiffLevel = 0;  // its level; 0 for the codec's fastest
  int previewWidth = 512;
  int previewHeight = 512;
  bool sideBySide = false;     // preview --side-by-side: also NAME-before-after.png
  bool autoProfile = false;    // --auto: k1, k2 and zoom from the lens database
  bool fill = false;           // --fill: the zoom that leaves no empty border
  ProfileOverrides profile;    // --camera, --lens-model, --focal, --aperture
  bool vignetting = false;     // --vignetting: the profile's vignetting taken out first
  int port = 0;                // ui: 0 = any free port
  bool openBrowser = true;     // ui: --no-browser turns it off
  int sampling = 0;            // JPEG chroma subsampling: 444, 422, 420; 0 keeps the input's
  bool lensNamesOnly = false;  // lenses --names: one lens name a line (for completion)
};

// Parses argv. The settings file (--settings) is read here, and the options
// that set parameters are applied on top of it, whatever their order.
// Throws CliError (usage) with a message that says what is wrong.
CommandLine parseCommandLine(const std::vector<std::string> &args);

const char *commandName(Command c);

}  // namespace ortavel::cli
