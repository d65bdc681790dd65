// The command's own pieces: command line, settings file, descriptor keys,
// progress bar and the batch runner; the canvas and the atomic output are
// seen through the command in end_to_end.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <tuple>

#include "batch.h"
#include "command_line.h"
#include "descriptor_mapping.h"
#include "emulator/fourcc.h"
#include "exit_codes.h"
#include "progress_bar.h"
#include "settings_file.h"

namespace fs = std::filesystem;
using namespace ortavel::cli;
using hostemu::fourCC;

namespace {

ExitCode usageOf(const std::vector<std::string> &args) {
  try {
    parseCommandLine(args);
  } catch (const CliError &e) {
    return e.code();
  }
  return ExitCode::kOk;
}

// Every field, so that settings compare whole; CorrectionSettings{...} below
// lists them in this order.
auto fields(const CorrectionSettings &s) {
  return std::tuple(s.k1, s.k2, s.centerX, s.centerY, s.radiusLimit, s.scale, s.method,
                    s.orientation, s.margins.top, s.margins.bottom, s.margins.left,
                    s.margins.right);
}

}  // namespace

TEST(CommandLine, OptionsSetEveryParameter) {
  const CommandLine cl =
      parseCommandLine({"correct", "a.jpg",    "b.png",         "--k1=-0.25",     "--k2",
                        "0.125",   "--center", "0.5,-0.25",     "--radius-limit", "2",
                        "--scale", "1.5",      "--orientation", "right-mirrored", "--margins",
                        "1,2,3,4", "--method", "lanczos12",     "--quality",      "80",
                        "-f",      "-q"});
  EXPECT_EQ(cl.command, Command::kCorrect);
  EXPECT_EQ(cl.files, (std::vector<std::string>{"a.jpg", "b.png"}));
  EXPECT_EQ(fields(cl.settings), fields({-0.25, 0.125, 0.5, -0.25, 2, 1.5, 5, 7, {1, 2, 3, 4}}));
  EXPECT_EQ(cl.quality, 80);
  EXPECT_TRUE(cl.force);
  EXPECT_TRUE(cl.quiet);
}

TEST(CommandLine, OptionsOverrideTheSettingsFileWhateverTheOrder) {
  const fs::path p = fs::temp_directory_path() / ("ortavel-cl-" + std::to_string(::getpid()));
  std::ofstream(p) << "k1 = -0.5\nk2 = 0.25  # a comment\n\nmethod = bilinear\n";
  const CommandLine cl =
      parseCommandLine({"correct", "--k2", "0.5", "a", "b", "--settings", p.string()});
  fs::remove(p);
  EXPECT_EQ(cl.settings.k1, -0.5);
  EXPECT_EQ(cl.settings.k2, 0.5);
  EXPECT_EQ(cl.settings.method, 0);
}

TEST(CommandLine, MistakesAreUsageErrors) {
  // Each case is the arguments, separated by spaces.
  for (const char *line : {"",
                           "fix a b",
                           "correct a",
                           "correct a b c",
                           "correct a b --k1",
                           "correct a b --k1 inf",
                           "correct a b --k2 1e999",
                           "correct a b --scale -1",
                           "correct a b --radius-limit -0.5",
                           "correct a b --margins 1,2,3",
                           "correct a b --orientation 8",
                           "correct a b --quality 0",
                           "correct a b --tiff-compression zip",
                           "correct a b --tiff-compression deflate:0",
                           "correct a b --tiff-compression deflate:10",
                           "correct a b --tiff-compression zstd:20",
                           "correct a b --tiff-compression lzw:1",
                           "correct a b --tiff-compression none:",
                           "correct a b --tiff-compression deflate:",
                           "correct a b --size 10x10",
                           "correct a b --lens unknown",
                           "correct a b --settings /nonexistent/settings",
                           "info",
                           "info a --force",
                           "preview a",
                           "preview a -o d --size 0x5",
                           "about x"}) {
    std::vector<std::string> args;
    std::istringstream words(line);
    for (std::string w; words >> w;) args.push_back(w);
    EXPECT_EQ(usageOf(args), ExitCode::kUsage) << line;
  }
  // Names a settings file could not hold; blanks at either end, which it
  // would not read back, are dropped (as for the lens database's few names
  // that end in one).
  for (const char *name : {"", " ", "a#b", "a\nk1 = 5"}) {
    EXPECT_EQ(usageOf({"correct", "a", "b", "--auto", "--camera", name}), ExitCode::kUsage)
        << '"' << name << '"';
  }
  EXPECT_EQ(parseCommandLine({"correct", "a", "b", "--auto", "--lens-model", " Nikkor 50mm \t"})
                .profile.lensModel,
            "Nikkor 50mm");
  EXPECT_TRUE(parseCommandLine({"correct", "--help"}).help);
  EXPECT_EQ(parseCommandLine({"preview", "a", "-o", "d", "--size", "64x48"}).previewHeight, 48);
}

TEST(CommandLine, TiffCompressionTakesAnOptionalLevel) {
  const CommandLine plain = parseCommandLine({"correct", "a", "b", "--tiff-compression", "lzw"});
  EXPECT_EQ(plain.tiffCompression, TiffCompression::kLzw);
  EXPECT_EQ(plain.tiffLevel, 0);
  const CommandLine six =
      parseCommandLine({"correct", "a", "b", "--tiff-compression", "deflate:6"});
  EXPECT_EQ(six.tiffCompression, TiffCompression::kDeflate);
  EXPECT_EQ(six.tiffLevel, 6);
  // The last choice counts whole: its level does not outlive it.
  const CommandLine last = parseCommandLine(
      {"correct", "a", "b", "--tiff-compression", "deflate:9", "--tiff-compression", "deflate"});
  EXPECT_EQ(last.tiffLevel, 0);
}

TEST(SettingsFile, FormatReadsBackExactlyAndFaultsNameTheLine) {
  // 0.1 is not exactly representable: it needs all 17 digits.
  const CorrectionSettings s{0.1, -1.0 / 3.0, 1e-17, 0, 0, 0.7, 6, 5, {10, 0, 7, 3}};
  CorrectionSettings back;
  parseSettings(formatSettings(s), "x", back);
  EXPECT_EQ(fields(back), fields(s));

  for (const char *text : {"k1 = nan\n", "k1\n", "magnify = 2\n", "method = cubic\n",
                           "margins = 1,2\n", "k2 = 0.5x\n"}) {
    CorrectionSettings t;
    try {
      parseSettings(std::string("# ok\n") + text, "lens.txt", t);
      ADD_FAILURE() << text;
    } catch (const CliError &e) {
      EXPECT_EQ(e.code(), ExitCode::kUsage);
      EXPECT_EQ(std::string(e.what()).rfind("lens.txt:2: ", 0), 0u) << e.what();
    }
  }
}

TEST(SettingsFile, TheChosenCameraAndLensAreKeptByName) {
  const ProfileNames names{"Nikon D70", "Sigma 24-70mm f/2.8 IF EX DG HSM"};
  const std::string text = formatSettings(CorrectionSettings{}, names);
  EXPECT_NE(text.find("\ncamera = Nikon D70\nlens = Sigma 24-70mm f/2.8 IF EX DG HSM\n"),
            std::string::npos)
      << text;
  CorrectionSettings s;
  ProfileNames back;
  parseSettings(text, "x", s, &back);
  EXPECT_EQ(back.camera, names.camera);
  EXPECT_EQ(back.lens, names.lens);
  // Without names nothing is written; read without a place for them, they
  // are still checked.
  EXPECT_EQ(formatSettings(CorrectionSettings{}).find("lens"), std::string::npos);
  EXPECT_NO_THROW(parseSettings("lens = X\n", "x", s));
  for (const std::string &bad :
       std::vector<std::string>{"lens =\n",
                                "camera = a\x01"
                                "b\n",
                                "lens = " + std::string(300, 'a') + "\n"}) {
    try {
      parseSettings("# ok\n" + bad, "lens.txt", s);
      ADD_FAILURE() << bad;
    } catch (const CliError &e) {
      EXPECT_EQ(std::string(e.what()).rfind("lens.txt:2: ", 0), 0u) << e.what();
    }
  }
  // The command line's names win over the file's.
  const std::string file = ::testing::TempDir() + "/names.txt";
  std::ofstream(file) << text;
  const CommandLine cl = parseCommandLine({"correct", "a", "b", "--auto", "--settings", file});
  EXPECT_EQ(cl.profile.camera, names.camera);
  EXPECT_EQ(cl.profile.lensModel, names.lens);
  EXPECT_EQ(
      parseCommandLine({"correct", "a", "b", "--auto", "--settings", file, "--camera", "Nikon D2H"})
          .profile.camera,
      "Nikon D2H");
  // Without --auto the names are kept for a lookup that does not come.
  EXPECT_NO_THROW(parseCommandLine({"correct", "a", "b", "--settings", file}));
  std::remove(file.c_str());
}

TEST(SettingsFile, TheZoomIsWrittenAsZoomAndReadByBothItsNames) {
  CorrectionSettings s;
  s.scale = 1.25;
  EXPECT_NE(formatSettings(s).find("\nzoom = 1.25\n"), std::string::npos) << formatSettings(s);
  EXPECT_EQ(formatSettings(s).find("scale"), std::string::npos);
  for (const char *text : {"zoom = 0.75\n", "scale = 0.75\n"}) {
    CorrectionSettings t;
    parseSettings(text, "x", t);
    EXPECT_EQ(t.scale, 0.75) << text;
  }
  for (const char *option : {"--zoom", "--scale"})
    EXPECT_EQ(parseCommandLine({"correct", "a", "b", option, "1.5"}).settings.scale, 1.5) << option;
  try {
    parseCommandLine({"correct", "a", "b", "--auto", "--scale", "2"});
    ADD_FAILURE() << "--scale with --auto";
  } catch (const CliError &e) {
    EXPECT_EQ(std::string(e.what()).rfind("--zoom cannot go with --auto", 0), 0u) << e.what();
  }
}

TEST(Descriptor, KeysAndCodesAsTheFilterReadsThem) {
  CorrectionSettings s{-0.2, 0.05, 0.01, -0.02, 1.25, 0.9, 4, 3, {1, 2, 3, 4}};
  const hostemu::Descriptor d = buildDescriptor(s);
  const std::pair<const char *, double> floats[] = {{"paK1", -0.2},  {"paK2", 0.05}, {"paXC", 0.01},
                                                    {"paYC", -0.02}, {"paFR", 1.25}, {"scaF", 0.9}};
  for (const auto &[key, v] : floats) EXPECT_EQ(d.getFloat(fourCC(key)), v) << key;
  const std::pair<const char *, int> margins[] = {
      {"caTo", 1}, {"caBo", 2}, {"caLe", 3}, {"caRi", 4}};
  for (const auto &[key, v] : margins) EXPECT_EQ(d.getInteger(fourCC(key)), v) << key;
  const auto method = d.getEnumerated(fourCC("intM"));
  ASSERT_TRUE(method);
  EXPECT_EQ(method->type, fourCC("intT"));
  EXPECT_EQ(method->value, fourCC("la08"));
  EXPECT_EQ(d.getEnumerated(fourCC("orIM"))->value, fourCC("orRN"));

  // Every method survives the trip through the filter's codes.
  CorrectionSettings blank;
  blank.method = -1;
  for (int id : {0, 1, 3, 4, 5, 6}) {
    s.method = id;
    EXPECT_EQ(settingsFromDescriptor(buildDescriptor(s), blank).method, id);
  }
  s.orientation = 6;  // the code the filter reads as 6
  EXPECT_EQ(buildDescriptor(s).getEnumerated(fourCC("orIM"))->value, fourCC("orBM"));
  s.orientation = 0;
  EXPECT_FALSE(buildDescriptor(s).getEnumerated(fourCC("orIM")));

  // A written-back descriptor: its values win, the rest stays as given.
  hostemu::Descriptor back;
  back.putFloat(fourCC("paK1"), 0.5).putEnumerated(fourCC("intM"), fourCC("intT"), fourCC("la12"));
  CorrectionSettings want = s;
  want.k1 = 0.5;
  want.method = 5;
  EXPECT_EQ(fields(settingsFromDescriptor(back, s)), fields(want));

  int x = 0;
  void *parsed = nullptr;
  ASSERT_EQ(std::sscanf(addressText(&x).c_str(), "%p", &parsed), 1);
  EXPECT_EQ(parsed, &x);
}

TEST(ProgressBar, RendersTheShareDone) {
  EXPECT_EQ(ProgressBar::render("a.jpg", 0, 4, 8), "a.jpg [        ]   0%");
  EXPECT_EQ(ProgressBar::render("a.jpg", 1, 4, 8), "a.jpg [##      ]  25%");
  EXPECT_EQ(ProgressBar::render("", 7, 7, 4), "[####] 100%");
  EXPECT_EQ(ProgressBar::render("x", 9, 3, 4), "x [####] 100%");  // never beyond full
  // Fitted to the terminal: never as wide as the terminal (the line would
  // wrap), the full 30 cells when there is room, the label cut from the left.
  const std::string name = "/photos/2024/holiday/IMG_0001.jpg";  // 33 characters
  for (int columns : {120, 80, 60, 40, 30, 20, 12}) {
    const std::string line = ProgressBar::renderFitted(name, 1, 2, columns);
    EXPECT_LT(static_cast<int>(line.size()), columns) << columns << ": " << line;
    EXPECT_EQ(line.substr(line.size() - 5), "  50%") << line;
  }
  EXPECT_EQ(ProgressBar::renderFitted(name, 1, 2, 80),
            name + " [" + std::string(15, '#') + std::string(15, ' ') + "]  50%");
  const std::string narrow = ProgressBar::renderFitted(name, 0, 2, 40);
  EXPECT_EQ(narrow.rfind("...", 0), 0u) << narrow;
  EXPECT_NE(narrow.find("IMG_0001.jpg ["), std::string::npos) << narrow;
}

TEST(Batch, OneFailureDoesNotStopTheOthers) {
  std::atomic<int> ran{0};
  const auto outcomes = runJobs(6, 3, [&](std::size_t i) {
    ++ran;
    if (i == 2) throw CliError(ExitCode::kBadInput, "bad file");
    if (i == 4) throw std::runtime_error("boom");
  });
  EXPECT_EQ(ran.load(), 6);
  ASSERT_EQ(outcomes.size(), 6u);
  EXPECT_EQ(outcomes[2].code, ExitCode::kBadInput);
  EXPECT_EQ(outcomes[2].message, "bad file");
  EXPECT_EQ(outcomes[4].code, ExitCode::kFailure);
  for (int i : {0, 1, 3, 5}) EXPECT_EQ(outcomes[i].code, ExitCode::kOk);
}
