#include "commands.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <set>

#include "atomic_output.h"
#include "batch.h"
#include "emulator/recycled_blocks.h"
#include "filter_session.h"
#include "image_io/background_read.h"
#include "image_io/image_io.h"
#include "interrupt.h"
#include "lens_profiles/profile_messages.h"
#include "photo_settings.h"
#include "plugin_locator.h"
#include "processor_limit.h"
#include "progress_bar.h"
#include "settings_file.h"
#include "side_by_side.h"
#include "upright.h"
#include "write_while_filtering.h"

namespace ortavel::cli {
namespace {

namespace fs = std::filesystem;

std::mutex gOutputMutex;  // report lines from several threads stay whole

std::string depthText(const Image &img) {
  return std::to_string(img.fileBits) + " bits per channel";
}

// Where each input goes: OUT, or DIR/<input's name>.
std::vector<fs::path> outputsFor(const CommandLine &cl) {
  if (!cl.outputDir) return {fs::path(cl.files[1])};
  std::error_code ec;
  if (!fs::is_directory(*cl.outputDir, ec)) {
    throw usageError(*cl.outputDir + ": output directory does not exist");
  }
  std::vector<fs::path> outs;
  std::set<fs::path> seen;
  for (const auto &in : cl.files) {
    fs::path out = fs::path(*cl.outputDir) / fs::path(in).filename();
    if (!seen.insert(out).second) {
      throw usageError(in + ": another input has the same name; both would be written to " +
                       out.string());
    }
    outs.push_back(out);
  }
  return outs;
}

// A preview picture into `file`'s temporary file; committed by the caller.
void encodeRgbPng(const RgbPicture &pic, const AtomicOutput &file) {
  Image img;
  img.colour = ColourModel::kRgb;
  allocatePlanes(img, pic.width, pic.height, 8, 3);
  const std::size_t n = static_cast<std::size_t>(pic.width) * pic.height;
  for (std::size_t i = 0; i < n; ++i)
    for (int c = 0; c < 3; ++c) img.doc.planes[c].samples[i] = pic.pixels[i * 3 + c];
  try {
    writeImage(img, FileFormat::kPng, file.temporaryPath(), {});
  } catch (const CliError &e) {
    std::string text = e.what();
    const std::string temp = file.temporaryPath().string();
    for (auto at = text.find(temp); at != std::string::npos; at = text.find(temp))
      text.replace(at, temp.size(), file.target().string());
    throw CliError(e.code(), text);
  }
}

ReadLimits limitsOf(const CommandLine &cl) {
  ReadLimits l;
  l.maxPixels = cl.maxPixels;
  return l;
}

// A path as the file system resolves it, for telling whether two names,
// one perhaps not yet existing, are the same file.
fs::path resolved(const fs::path &p) {
  std::error_code ec;
  fs::path r = fs::weakly_canonical(p, ec);
  if (ec) r = fs::absolute(p, ec).lexically_normal();
  return r;
}

bool sameFile(const fs::path &a, const fs::path &b) {
  std::error_code ec;
  return resolved(a) == resolved(b) || fs::equivalent(a, b, ec);
}

// The settings file gets the care of a picture output, before any work:
// never an input, never a picture written by the same run, never a file that
// exists without --force (with --skip-existing one that exists is kept).
// Returns false when it is to be left as it is.
bool checkSettingsTarget(const CommandLine &cl, const std::vector<fs::path> &inputs,
                         const std::vector<fs::path> &outputs) {
  const fs::path target = *cl.settingsOut;
  for (const auto &in : inputs) {
    if (sameFile(in, target)) {
      throw usageError(target.string() +
                       ": is an input of this run; --save-settings never "
                       "overwrites one");
    }
  }
  if (cl.settingsIn && sameFile(*cl.settingsIn, target)) {
    throw usageError(target.string() +
                     ": is the settings file read with --settings; name another to save to");
  }
  for (const auto &out : outputs) {
    if (sameFile(out, target)) {
      throw usageError(target.string() + ": is also a picture output of this run");
    }
  }
  if (cl.skipExisting) {
    checkOutputPath(target, true);
    struct stat st {};
    return ::lstat(target.c_str(), &st) != 0;
  }
  checkOutputPath(target, cl.force);
  return true;
}

// What a job may take at once: the decoded input, and the corrected canvas
// (margins included) twice, as the filter's output and the encoder's source.
std::uint64_t jobCost(const CommandLine &cl, std::size_t i) {
  const auto shape = peekImage(cl.files[i]);
  if (!shape) return 0;  // reading it will fail at once
  const Margins &m = cl.settings.margins;
  const std::uint64_t w = shape->width + static_cast<std::uint64_t>(m.left + m.right);
  const std::uint64_t h = shape->height + static_cast<std::uint64_t>(m.top + m.bottom);
  return shape->bytes() + 2 * w * h * shape->planes * shape->bytesPerSample;
}

// "[2/5] name": which file of how many is in the filter.
std::string batchLabel(std::size_t i, std::size_t n, const std::string &in) {
  char prefix[48];
  std::snprintf(prefix, sizeof prefix, "[%zu/%zu] ", i + 1, n);
  std::string label(prefix);
  label.append(in);
  return label;
}

// The profile --auto would use, or why there is none, indented under its
// heading.
void printProfile(const ProfileLookup &found) {
  if (found.profile) {
    std::printf("lens profile: %s\n              %s\n",
                messages::profileSummary(*found.profile).c_str(),
                messages::profileSettings(*found.profile).c_str());
    for (const auto &w : messages::profileWarnings(*found.profile))
      std::printf("              note: %s\n", w.c_str());
    return;
  }
  std::string text = found.error;
  const std::string prefix = "no lens profile: ";
  if (text.rfind(prefix, 0) == 0) text.replace(0, prefix.size(), "none: ");
  for (auto at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1))
    text.replace(at, 1, "\n            ");
  std::printf("lens profile: %s\n", text.c_str());
}

}  // namespace

void reportError(const std::string &message) {
  std::lock_guard lock(gOutputMutex);
  std::fprintf(stderr, "ortavel: %s\n", message.c_str());
}

void writeAtomically(const Image &img, FileFormat format, const fs::path &target, bool force,
                     const WriteOptions &opt) {
  AtomicOutput file(target, force);
  writeInto(file, img, ImageRows(img), format, opt);
  if (interrupted()) throw CliError(ExitCode::kInterrupted, target.string() + ": interrupted");
  file.commit();
}

// With --auto, comment lines say which profile the numbers come from.
void writeSettings(const fs::path &path, const CorrectionSettings &s,
                   const std::optional<LensProfile> &profile, bool overwrite,
                   const ProfileNames &names) {
  AtomicOutput out(path, overwrite);
  {
    std::ofstream f(out.temporaryPath(), std::ios::binary | std::ios::trunc);
    if (profile) {
      f << "# lens profile: " << messages::profileSummary(*profile) << "\n# "
        << messages::profileSettings(*profile) << "\n";
      for (const auto &w : messages::profileWarnings(*profile)) f << "# note: " << w << "\n";
    }
    f << formatSettings(s, names);
    f.flush();
    if (!f) throw failure(path.string() + ": cannot write the settings file");
  }
  out.commit();
}

// Nothing that moves a pixel: no coefficient, zoom 1, no margins, no
// radius limit, and no profile to come.
bool asksNoCorrection(const CommandLine &cl) {
  const CorrectionSettings &s = cl.settings;
  return !cl.autoProfile && !cl.fill && s.k1 == 0.0 && s.k2 == 0.0 && s.scale == 1.0 &&
         s.radiusLimit == 0.0 && !s.margins.any();
}

ExitCode runCorrect(const CommandLine &cl) {
  const std::vector<fs::path> outputs = outputsFor(cl);
  const std::size_t n = outputs.size();  // without -o, files[1] is the output
  const std::vector<fs::path> inputs(cl.files.begin(), cl.files.begin() + static_cast<long>(n));
  std::vector<FileFormat> formats;
  for (std::size_t i = 0; i < n; ++i) {
    const fs::path &out = outputs[i];
    std::error_code ec;
    if (fs::equivalent(cl.files[i], out, ec)) {
      throw usageError(out.string() + ": is the input itself; the input is never overwritten");
    }
    const auto f = formatForName(out);
    if (!f) {
      throw usageError(out.string() + ": unknown output format (name it .jpg, .png or .tif)");
    }
    formats.push_back(*f);
    if (!cl.outputDir) checkOutputPath(out, cl.force || cl.skipExisting);
  }
  const bool saveSettings = cl.settingsOut && checkSettingsTarget(cl, inputs, outputs);
  ProgressBar bar(!cl.quiet && stderrIsTerminal());
  FilterSession session(locatePlugin(cl.plugin), bar);
  const bool batch = cl.outputDir.has_value();
  const ReadLimits limits = limitsOf(cl);

  std::mutex savedMutex;
  bool saved = false;
  std::vector<char> skipped(n, 0);
  WriteOptions writeOptions;
  writeOptions.jpegQuality = cl.quality;
  writeOptions.tiffCompression = cl.tiffCompression;
  writeOptions.tiffLevel = cl.tiffLevel;
  writeOptions.jpegSampling = cl.sampling;
  auto exists = [](const fs::path &p) {
    struct stat st {};
    return ::lstat(p.c_str(), &st) == 0;
  };
  auto job = [&](std::size_t i) {
    const std::string &in = cl.files[i];
    const fs::path &out = outputs[i];
    if (cl.skipExisting && exists(out)) {
      skipped[i] = 1;
      return;
    }
    checkOutputPath(out, cl.force);
    // A lone picture whose pixels nothing but the filter reads is decoded
    // while the filter already corrects its top rows. A batch keeps whole
    // reads: its jobs already overlap one file's reading with another's
    // filtering, and reading (and encoding) during the run measured no
    // faster there. On one processor there is nothing to overlap.
    const bool overlap = n == 1 && !cl.autoProfile && !cl.vignetting &&
                         !cl.settings.margins.any() && usableProcessors() >= 2;
    std::unique_ptr<BackgroundRead> reading;
    Image whole;
    if (overlap) {
      reading = std::make_unique<BackgroundRead>(in, limits, interrupted, [in] {
        return std::make_exception_ptr(CliError(ExitCode::kInterrupted, in + ": interrupted"));
      });
    } else {
      whole = readImage(in, limits);
    }
    Image &img = reading ? reading->image() : whole;
    validateMargins(cl.settings.margins, img.doc.width, img.doc.height, in);
    checkWritable(img, formats[i], out);
    const std::string label = batch ? batchLabel(i, n, in) : in;
    const PhotoSettings chosen = settingsForPhoto(cl, session, img, label);
    const auto vignetting = correctPhotoVignetting(cl, chosen, img, label);
    if ((chosen.profile || chosen.fillZoom) && !cl.quiet) {
      std::lock_guard lock(gOutputMutex);
      bar.clear();
      if (chosen.profile) {
        std::printf("%s: lens profile: %s\n  %s\n", in.c_str(),
                    messages::profileSummary(*chosen.profile).c_str(),
                    messages::profileSettings(*chosen.profile).c_str());
        for (const auto &w : messages::profileWarnings(*chosen.profile))
          std::printf("  note: %s\n", w.c_str());
      }
      if (vignetting) std::printf("%s: %s\n", in.c_str(), vignetting->c_str());
      if (chosen.fillZoom) std::printf("%s: --fill zoom = %.9g\n", in.c_str(), *chosen.fillZoom);
      std::fflush(stdout);
    }
    CorrectionSettings recorded;
    auto runFilter = [&](hostemu::FinishedRows *finished) {
      RunHooks hooks;
      hooks.finishedRows = finished;
      try {
        recorded = session.correct(img, chosen.settings, label, &hooks);
      } catch (...) {
        // A file that breaks off says so, rather than the filter it starved.
        if (reading) reading->finish();
        throw;
      }
      if (reading) reading->finish();
      if (interrupted()) throw CliError(ExitCode::kInterrupted, in + ": interrupted");
    };
    // A lone picture's JPEG or PNG is encoded while the filter works on the
    // rows below, on the processor the filter leaves idle while it waits for
    // rows being read; a batch keeps its other jobs' encoding for that. TIFF
    // strips are compressed on every processor once the filter is done:
    // beside it they only competed with it (zstd took longer, Deflate the
    // same). Margins change the picture's size inside the run, so their
    // output is written after it too.
    const bool encodeDuringRun = n == 1 && formats[i] != FileFormat::kTiff &&
                                 !chosen.settings.margins.any() && usableProcessors() >= 2;
    try {
      if (encodeDuringRun) {
        AtomicOutput file(out, cl.force);
        writeWhileFiltering(file, img, formats[i], writeOptions,
                            [&](hostemu::FinishedRows &finished) { runFilter(&finished); });
        if (interrupted()) throw CliError(ExitCode::kInterrupted, out.string() + ": interrupted");
        file.commit();
      } else {
        runFilter(nullptr);
        writeAtomically(img, formats[i], out, cl.force, writeOptions);
      }
    } catch (const OutputExists &) {
      // Another process sharing the folder was first: its file stands.
      if (!cl.skipExisting) throw;
      skipped[i] = 1;
      return;
    }
    if (saveSettings) {
      std::lock_guard lock(savedMutex);
      if (!saved) {
        try {
          // The camera and lens named for --auto go along, so that the
          // file replays the same lookup (and the editor shows them chosen).
          const ProfileNames names = cl.autoProfile
                                         ? ProfileNames{cl.profile.camera, cl.profile.lensModel}
                                         : ProfileNames{};
          writeSettings(*cl.settingsOut, recorded, chosen.profile, cl.force, names);
        } catch (const OutputExists &) {
          if (!cl.skipExisting) throw;
        }
        saved = true;
      }
    }
    if (batch && !cl.quiet) {
      std::lock_guard lock(gOutputMutex);
      bar.clear();
      // A closed standard output (`| head`) fails these writes; the batch
      // goes on, and its summary goes to standard error.
      std::printf("%s -> %s\n", in.c_str(), out.string().c_str());
      std::fflush(stdout);
    }
  };

  const int threads = batch ? (cl.jobs > 0 ? cl.jobs : defaultJobs()) : 1;
  // A file's planes, working copy and tile blocks go to the next file, up to
  // the largest file's worth (never more than the jobs' budget, whatever a
  // header claims): fresh memory is dear at first touch. Kept blocks are not
  // counted against the budget, so a batch may hold one file's worth more
  // than before.
  const std::uint64_t budget = physicalMemory() / 2;
  const hostemu::KeepFreedBlocks recycle;
  const auto cost = [&](std::size_t i) {
    const std::uint64_t bytes = jobCost(cl, i);
    if (n > 1) hostemu::keepFreedBlocksAtLeast(static_cast<std::size_t>(std::min(bytes, budget)));
    return bytes;
  };
  const std::vector<JobOutcome> outcomes = runJobs(n, threads, job, cost, budget);
  ExitCode worst = ExitCode::kOk;
  std::size_t failed = 0;
  const auto skips = static_cast<std::size_t>(std::count(skipped.begin(), skipped.end(), 1));
  for (const auto &o : outcomes) {
    if (o.code == ExitCode::kOk) continue;
    ++failed;
    if (o.code != ExitCode::kInterrupted || !batch) reportError(o.message);
    if (static_cast<int>(o.code) > static_cast<int>(worst)) worst = o.code;
  }
  if (!batch && skips > 0 && !cl.quiet) {
    reportError(outputs[0].string() + ": already there; left as it is (--skip-existing)");
  }
  // Said once the files are written, so that a failure stays one line.
  if (failed + skips < n && asksNoCorrection(cl) && !cl.quiet) {
    std::fprintf(stderr,
                 "ortavel: no correction settings (k1 = k2 = 0, zoom 1): the picture is "
                 "written unchanged.\n"
                 "  For a correction: --auto (the lens's profile from the lens database) or "
                 "--k1 F (your own coefficient; negative straightens barrel distortion).\n"
                 "  More: ortavel help correct\n");
  }
  if (batch && (!cl.quiet || failed > 0)) {
    std::lock_guard lock(gOutputMutex);
    std::fprintf(stderr, "ortavel: corrected %zu of %zu files", n - failed - skips, n);
    if (skips > 0) std::fprintf(stderr, "; %zu skipped (already there)", skips);
    if (failed > 0) std::fprintf(stderr, "; %zu failed", failed);
    if (interrupted()) std::fprintf(stderr, " (interrupted)");
    std::fprintf(stderr, "\n");
  }
  return interrupted() ? ExitCode::kInterrupted : worst;
}

ExitCode runInfo(const CommandLine &cl) {
  ProgressBar bar(false);
  FilterSession session(locatePlugin(cl.plugin), bar);
  ExitCode worst = ExitCode::kOk;
  bool first = true;
  for (const auto &in : cl.files) {
    try {
      const Image img = readImage(in, limitsOf(cl));
      const PhotoIdentity cam = identifyPhoto(session, img, in);
      if (!first) std::printf("\n");
      first = false;
      std::printf("file:         %s\n", in.c_str());
      std::printf("format:       %s\n", formatName(img.format));
      std::printf("size:         %d x %d pixels\n", img.doc.width, img.doc.height);
      std::printf("depth:        %s\n", depthText(img).c_str());
      std::printf("mode:         %s", colourName(img.colour));
      if (img.alphaPlanes() > 0)
        std::printf(" with %d alpha plane%s", img.alphaPlanes(), img.alphaPlanes() > 1 ? "s" : "");
      std::printf("\n");
      if (img.xDpi > 0.0) std::printf("resolution:   %g x %g dpi\n", img.xDpi, img.yDpi);
      std::printf(
          "icc profile:  %s\n",
          img.doc.icc.empty() ? "none" : (std::to_string(img.doc.icc.size()) + " bytes").c_str());
      std::printf("camera make:  %s\n", cam.make ? cam.make->c_str() : "(unknown)");
      std::printf("camera model: %s\n", cam.model ? cam.model->c_str() : "(unknown)");
      if (cam.focalLengthMm)
        std::printf("focal length: %g mm\n", *cam.focalLengthMm);
      else
        std::printf("focal length: (unknown)\n");
      std::printf("lens:         %s\n", cam.lensModel ? cam.lensModel->c_str() : "(unknown)");
      printProfile(findLensProfile(cam, cl.profile, img.doc.width, img.doc.height));
      std::fflush(stdout);
    } catch (const CliError &e) {
      reportError(e.what());
      if (static_cast<int>(e.code()) > static_cast<int>(worst)) worst = e.code();
    }
  }
  return worst;
}

ExitCode runPreview(const CommandLine &cl) {
  const fs::path in = cl.files[0];
  const fs::path dir = *cl.outputDir;
  std::error_code ec;
  if (!fs::is_directory(dir, ec))
    throw usageError(dir.string() + ": output directory does not exist");
  const fs::path unPath = dir / (in.stem().string() + "-uncorrected.png");
  const fs::path coPath = dir / (in.stem().string() + "-corrected.png");
  checkOutputPath(unPath, cl.force);
  checkOutputPath(coPath, cl.force);
  const fs::path pairPath = dir / (in.stem().string() + "-before-after.png");
  if (cl.sideBySide) checkOutputPath(pairPath, cl.force);
  ProgressBar bar(false);
  FilterSession session(locatePlugin(cl.plugin), bar);
  Image img = readImage(in, limitsOf(cl));
  validateMargins(cl.settings.margins, img.doc.width, img.doc.height, in.string());
  const PhotoSettings chosen = settingsForPhoto(cl, session, img, in.string());
  const auto vignetting = correctPhotoVignetting(cl, chosen, img, in.string());
  if (vignetting && !cl.quiet) std::printf("%s\n", vignetting->c_str());
  // The pictures are shown upright, as the EXIF orientation says, in a box
  // of the size asked: a quarter turn fits the stored picture into the box
  // turned.
  const int shown = displayOrientation(img);
  const bool turn = swapsSides(shown);
  Previews p = session.preview(img, chosen.settings, turn ? cl.previewHeight : cl.previewWidth,
                               turn ? cl.previewWidth : cl.previewHeight, in.string());
  p.uncorrected = upright(p.uncorrected, shown);
  p.corrected = upright(p.corrected, shown);
  // The pictures go in place together or not at all: a pair that is half
  // old, half new would show a correction that was never made.
  AtomicOutput un(unPath, cl.force), co(coPath, cl.force);
  encodeRgbPng(p.uncorrected, un);
  encodeRgbPng(p.corrected, co);
  std::optional<AtomicOutput> both;
  RgbPicture pair;
  if (cl.sideBySide) {
    pair = sideBySide(p.uncorrected, p.corrected);
    both.emplace(pairPath, cl.force);
    encodeRgbPng(pair, *both);
  }
  if (interrupted()) throw CliError(ExitCode::kInterrupted, in.string() + ": interrupted");
  AtomicOutput *all[3] = {&un, &co, both ? &*both : nullptr};
  commitAll(all, both ? 3 : 2);
  if (!cl.quiet) {
    std::printf("%s (%d x %d)\n%s (%d x %d)\n", unPath.c_str(), p.uncorrected.width,
                p.uncorrected.height, coPath.c_str(), p.corrected.width, p.corrected.height);
    if (cl.sideBySide) std::printf("%s (%d x %d)\n", pairPath.c_str(), pair.width, pair.height);
  }
  return ExitCode::kOk;
}

ExitCode runAbout(const CommandLine &cl) {
  ProgressBar bar(false);
  FilterSession session(locatePlugin(cl.plugin), bar);
  std::printf("%s\n", session.about().c_str());
  return ExitCode::kOk;
}

}  // namespace ortavel::cli
