#include "command_line.h"

#include <charconv>
#include <functional>
#include <set>

#include "exit_codes.h"
#include "lens_presets.h"
#include "settings_file.h"

namespace ortavel::cli {
namespace {

struct Pending {
  std::string option;
  std::string value;
};

int parseInt(const std::string &option, const std::string &value, int lo, int hi) {
  int v = 0;
  const auto r = std::from_chars(value.data(), value.data() + value.size(), v);
  if (value.empty() || r.ec != std::errc() || r.ptr != value.data() + value.size() || v < lo ||
      v > hi) {
    throw usageError(option + " needs a whole number from " + std::to_string(lo) + " to " +
                     std::to_string(hi) + ", not \"" + value + "\"");
  }
  return v;
}

std::uint64_t parseCount(const std::string &option, const std::string &value) {
  std::uint64_t v = 0;
  const auto r = std::from_chars(value.data(), value.data() + value.size(), v);
  if (value.empty() || r.ec != std::errc() || r.ptr != value.data() + value.size() || v == 0) {
    throw usageError(option + " needs a whole number above 0, not \"" + value + "\"");
  }
  return v;
}

double parseNumber(const std::string &option, const std::string &value) {
  const auto v = parseFinite(value);
  if (!v) throw usageError(option + " needs a finite number, not \"" + value + "\"");
  return *v;
}

// Options that set correction parameters, applied after the settings file.
void applySetting(const Pending &p, CorrectionSettings &s) {
  const std::string &o = p.option;
  const std::string &v = p.value;
  if (o == "--k1")
    s.k1 = parseNumber(o, v);
  else if (o == "--k2")
    s.k2 = parseNumber(o, v);
  else if (o == "--radius-limit")
    s.radiusLimit = parseNumber(o, v);
  else if (o == "--zoom")
    s.scale = parseNumber(o, v);
  else if (o == "--center") {
    const auto c = parseList<2>(v);
    if (!c) throw usageError("--center needs two finite numbers X,Y, not \"" + v + "\"");
    s.centerX = (*c)[0];
    s.centerY = (*c)[1];
  } else if (o == "--margins") {
    const auto m = parseMargins(v);
    if (!m) {
      throw usageError("--margins needs four whole numbers T,B,L,R, none negative, not \"" + v +
                       "\"");
    }
    s.margins = *m;
  } else if (o == "--method") {
    const auto m = methodFromName(v);
    if (!m) {
      throw usageError("unknown --method \"" + v +
                       "\" (bilinear, bicubic, lanczos6, lanczos8, lanczos12 or test-align)");
    }
    s.method = *m;
  } else if (o == "--orientation") {
    const auto r = orientationFromName(v);
    if (!r) {
      throw usageError("unknown --orientation \"" + v +
                       "\" (0..7, or top, left, bottom, right, each optionally -mirrored)");
    }
    s.orientation = *r;
  } else if (o == "--lens") {
    const auto l = findLensPreset(v);
    if (!l) throw usageError("unknown --lens \"" + v + "\" (see ortavel correct --help)");
    s.k1 = l->k1;
    s.k2 = l->k2;
    s.centerX = l->centerX;
    s.centerY = l->centerY;
  }
}

const std::set<std::string> kSettingOptions = {"--k1",           "--k2",     "--center",
                                               "--radius-limit", "--zoom",   "--orientation",
                                               "--margins",      "--method", "--lens"};

// --auto chooses the lens, --fill the zoom: options that set the same
// parameters contradict them. The names of camera, lens and focal length
// only mean something to a profile lookup.
void checkProfileOptions(const CommandLine &cl, const std::vector<Pending> &given) {
  for (const auto &p : given) {
    if (cl.autoProfile && (p.option == "--k1" || p.option == "--k2" || p.option == "--center" ||
                           p.option == "--lens" || p.option == "--orientation")) {
      throw usageError(p.option +
                       " cannot go with --auto, which takes the lens from the lens database");
    }
    if ((cl.autoProfile || cl.fill) && p.option == "--zoom") {
      throw usageError(std::string("--zoom cannot go with ") + (cl.fill ? "--fill" : "--auto") +
                       ", which chooses the zoom");
    }
  }
  const auto &o = cl.profile;
  // info shows the profile, and the editor's Auto looks it up: both take them.
  if (!cl.autoProfile && cl.command != Command::kInfo && cl.command != Command::kUi &&
      (o.camera || o.lensModel || o.focalLengthMm))
    throw usageError("--camera, --lens-model and --focal need --auto");
  if (cl.vignetting && !cl.autoProfile)
    throw usageError("--vignetting needs --auto, which finds the lens's vignetting profile");
  if (o.aperture && !cl.vignetting && cl.command != Command::kUi)
    throw usageError("--aperture needs --vignetting (only the vignetting depends on it)");
}

}  // namespace

const char *commandName(Command c) {
  switch (c) {
    case Command::kCorrect:
      return "correct";
    case Command::kInfo:
      return "info";
    case Command::kPreview:
      return "preview";
    case Command::kAbout:
      return "about";
    case Command::kHelp:
      return "help";
    case Command::kLenses:
      return "lenses";
    case Command::kUi:
      return "ui";
    case Command::kNone:
      break;
  }
  return "";
}

CommandLine parseCommandLine(const std::vector<std::string> &args) {
  CommandLine cl;
  std::vector<Pending> settingOptions;
  bool onlyFiles = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    std::string arg = args[i];
    if (onlyFiles || arg.empty() || arg[0] != '-' || arg == "-") {
      if (cl.command == Command::kNone) {
        if (arg == "correct")
          cl.command = Command::kCorrect;
        else if (arg == "info")
          cl.command = Command::kInfo;
        else if (arg == "preview")
          cl.command = Command::kPreview;
        else if (arg == "about")
          cl.command = Command::kAbout;
        else if (arg == "help")
          cl.command = Command::kHelp;
        else if (arg == "lenses")
          cl.command = Command::kLenses;
        else if (arg == "ui")
          cl.command = Command::kUi;
        else
          throw usageError("unknown command \"" + arg +
                           "\" (correct, info, preview, lenses, ui, about or help)");
      } else {
        cl.files.push_back(arg);
      }
      continue;
    }
    if (arg == "--") {
      onlyFiles = true;
      continue;
    }
    std::string value;
    bool hasValue = false;
    if (arg.rfind("--", 0) == 0) {
      const auto eq = arg.find('=');
      if (eq != std::string::npos) {
        value = arg.substr(eq + 1);
        arg.erase(eq);
        hasValue = true;
      }
    }
    // The zoom's first name, still understood.
    if (arg == "--scale") arg = "--zoom";
    auto needValue = [&]() -> std::string {
      if (hasValue) return value;
      if (i + 1 >= args.size()) throw usageError(arg + " needs a value");
      return args[++i];
    };
    auto noValue = [&] {
      if (hasValue) throw usageError(arg + " takes no value");
    };
    const Command c = cl.command;
    auto only = [&](std::initializer_list<Command> allowed) {
      for (Command a : allowed)
        if (a == c) return;
      throw usageError(arg + " does not apply to " +
                       (c == Command::kNone ? std::string("ortavel itself")
                                            : std::string("ortavel ") + commandName(c)));
    };

    if (arg == "-h" || arg == "--help") {
      noValue();
      cl.help = true;
    } else if (arg == "--version") {
      noValue();
      cl.version = true;
    } else if (arg == "-q" || arg == "--quiet") {
      noValue();
      cl.quiet = true;
    } else if (arg == "--plugin") {
      cl.plugin = needValue();
    } else if (arg == "-f" || arg == "--force") {
      noValue();
      only({Command::kCorrect, Command::kPreview});
      cl.force = true;
    } else if (arg == "--skip-existing") {
      noValue();
      only({Command::kCorrect});
      cl.skipExisting = true;
    } else if (arg == "--max-pixels") {
      only({Command::kCorrect, Command::kInfo, Command::kPreview});
      cl.maxPixels = parseCount(arg, needValue());
    } else if (arg == "-o" || arg == "--output-dir") {
      only({Command::kCorrect, Command::kPreview});
      cl.outputDir = needValue();
    } else if (arg == "--settings") {
      only({Command::kCorrect, Command::kPreview, Command::kUi});
      cl.settingsIn = needValue();
    } else if (arg == "--save-settings") {
      only({Command::kCorrect});
      cl.settingsOut = needValue();
    } else if (arg == "--threads") {
      only({Command::kCorrect, Command::kPreview, Command::kUi});
      cl.threads = parseInt(arg, needValue(), 1, 4096);
    } else if (arg == "--jobs" || arg == "-j") {
      only({Command::kCorrect});
      cl.jobs = parseInt(arg, needValue(), 1, 64);
    } else if (arg == "--tiff-compression") {
      only({Command::kCorrect});
      // NAME or NAME:LEVEL, as in deflate:6 or zstd:19.
      const std::string v = needValue();
      const std::size_t colon = v.find(':');
      const std::string name = v.substr(0, colon);
      const auto codec = tiffCompressionFromName(name);
      if (!codec)
        throw usageError("--tiff-compression is none, deflate, lzw or zstd, not \"" + v + "\"");
      if (!tiffCompressionAvailable(*codec))
        throw usageError("--tiff-compression " + name + ": this build's libtiff cannot write it");
      cl.tiffCompression = *codec;
      cl.tiffLevel = 0;
      if (colon != std::string::npos) {
        const TiffLevelRange range = tiffLevelRange(*codec);
        if (range.highest == 0)
          throw usageError("--tiff-compression \"" + v + "\": none and lzw have no levels");
        cl.tiffLevel = parseInt("--tiff-compression " + name + ":LEVEL", v.substr(colon + 1),
                                range.lowest, range.highest);
      }
    } else if (arg == "--quality") {
      only({Command::kCorrect});
      cl.quality = parseInt(arg, needValue(), 1, 100);
    } else if (arg == "--sampling") {
      only({Command::kCorrect});
      const std::string v = needValue();
      if (v != "444" && v != "422" && v != "420")
        throw usageError("--sampling takes 444, 422 or 420 (JPEG chroma subsampling), not \"" + v +
                         "\"");
      cl.sampling = std::stoi(v);
    } else if (arg == "--size") {
      only({Command::kPreview});
      const std::string v = needValue();
      const auto x = v.find('x');
      if (x == std::string::npos)
        throw usageError("--size needs WxH, e.g. 640x480, not \"" + v + "\"");
      cl.previewWidth = parseInt("--size width", v.substr(0, x), 1, 16384);
      cl.previewHeight = parseInt("--size height", v.substr(x + 1), 1, 16384);
    } else if (arg == "--side-by-side") {
      noValue();
      only({Command::kPreview});
      cl.sideBySide = true;
    } else if (arg == "--auto" || arg == "--fill") {
      noValue();
      only({Command::kCorrect, Command::kPreview});
      (arg == "--auto" ? cl.autoProfile : cl.fill) = true;
    } else if (arg == "--camera" || arg == "--lens-model") {
      only({Command::kCorrect, Command::kPreview, Command::kInfo, Command::kUi});
      // Held to what a settings file keeps, since --save-settings writes it there.
      (arg == "--camera" ? cl.profile.camera : cl.profile.lensModel) =
          checkedProfileName(needValue(), arg);
    } else if (arg == "--focal") {
      only({Command::kCorrect, Command::kPreview, Command::kInfo, Command::kUi});
      const double f = parseNumber(arg, needValue());
      if (!(f > 0.0)) throw usageError("--focal needs a focal length in millimetres above 0");
      cl.profile.focalLengthMm = f;
    } else if (arg == "--vignetting") {
      noValue();
      only({Command::kCorrect, Command::kPreview});
      cl.vignetting = true;
    } else if (arg == "--aperture") {
      only({Command::kCorrect, Command::kPreview, Command::kUi});
      const double f = parseNumber(arg, needValue());
      if (!(f >= 0.5 && f <= 256.0))
        throw usageError("--aperture needs an f-number between 0.5 and 256, e.g. 5.6");
      cl.profile.aperture = f;
    } else if (arg == "--port") {
      only({Command::kUi});
      cl.port = parseInt(arg, needValue(), 0, 65535);
    } else if (arg == "--no-browser") {
      noValue();
      only({Command::kUi});
      cl.openBrowser = false;
    } else if (arg == "--names") {
      noValue();
      only({Command::kLenses});
      cl.lensNamesOnly = true;
    } else if (kSettingOptions.count(arg)) {
      only({Command::kCorrect, Command::kPreview, Command::kUi});
      settingOptions.push_back({arg, needValue()});
    } else {
      throw usageError("unknown option " + arg);
    }
  }
  if (cl.help || cl.version) return cl;
  if (cl.force && cl.skipExisting) {
    throw usageError("--force and --skip-existing contradict each other: replace or keep?");
  }

  ProfileNames chosen;
  if (cl.settingsIn) readSettingsFile(*cl.settingsIn, cl.settings, &chosen);
  for (const auto &p : settingOptions) applySetting(p, cl.settings);
  validate(cl.settings);
  checkProfileOptions(cl, settingOptions);
  // The file's camera and lens serve a lookup (--auto, info, the editor);
  // the options given name them instead.
  if (!cl.profile.camera) cl.profile.camera = chosen.camera;
  if (!cl.profile.lensModel) cl.profile.lensModel = chosen.lens;

  switch (cl.command) {
    case Command::kNone:
      throw usageError("no command given (correct, info, preview, lenses, ui, about or help)");
    case Command::kCorrect:
      if (cl.outputDir) {
        if (cl.files.empty()) throw usageError("correct: no input file given");
      } else if (cl.files.size() != 2) {
        throw usageError(
            "correct needs IN OUT, or several inputs and -o DIR (see ortavel correct --help)");
      }
      break;
    case Command::kInfo:
      if (cl.files.empty()) throw usageError("info: no input file given");
      break;
    case Command::kPreview:
      if (cl.files.size() != 1) throw usageError("preview needs exactly one input file");
      if (!cl.outputDir) throw usageError("preview needs an output directory: -o DIR");
      break;
    case Command::kAbout:
      if (!cl.files.empty()) throw usageError("about takes no files");
      break;
    case Command::kUi:
      if (cl.files.size() != 1) throw usageError("ui needs exactly one photo");
      break;
    case Command::kHelp:
      if (cl.files.size() > 1) throw usageError("help takes at most one command name");
      break;
    case Command::kLenses:
      break;
  }
  return cl;
}

}  // namespace ortavel::cli
