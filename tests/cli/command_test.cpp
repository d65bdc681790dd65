// The command's own pieces: command line, settings file, descriptor keys,
// canvas, atomic output, progress bar and the batch runner.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "atomic_output.h"
#include "batch.h"
#include "canvas.h"
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
  const CorrectionSettings &s = cl.settings;
  EXPECT_EQ(s.k1, -0.25);
  EXPECT_EQ(s.k2, 0.125);
  EXPECT_EQ(s.centerX, 0.5);
  EXPECT_EQ(s.centerY, -0.25);
  EXPECT_EQ(s.radiusLimit, 2.0);
  EXPECT_EQ(s.scale, 1.5);
  EXPECT_EQ(s.orientation, 7);
  EXPECT_EQ(s.method, 5);
  EXPECT_EQ(s.margins.top, 1);
  EXPECT_EQ(s.margins.bottom, 2);
  EXPECT_EQ(s.margins.left, 3);
  EXPECT_EQ(s.margins.right, 4);
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
  const std::vector<std::vector<std::string>> bad = {
      {},
      {"fix", "a", "b"},
      {"correct", "a"},
      {"correct", "a", "b", "c"},
      {"correct", "a", "b", "--k1"},
      {"correct", "a", "b", "--k1", "inf"},
      {"correct", "a", "b", "--k2", "1e999"},
      {"correct", "a", "b", "--scale", "-1"},
      {"correct", "a", "b", "--radius-limit", "-0.5"},
      {"correct", "a", "b", "--margins", "1,2,3"},
      {"correct", "a", "b", "--orientation", "8"},
      {"correct", "a", "b", "--quality", "0"},
      {"correct", "a", "b", "--size", "10x10"},
      {"correct", "a", "b", "--lens", "unknown"},
      {"correct", "a", "b", "--settings", "/nonexistent/settings"},
      {"info"},
      {"info", "a", "--force"},
      {"preview", "a"},
      {"preview", "a", "-o", "d", "--size", "0x5"},
      {"about", "x"},
  };
  for (const auto &args : bad) {
    std::string line;
    for (const auto &a : args) line += a + " ";
    EXPECT_EQ(usageOf(args), ExitCode::kUsage) << line;
  }
  EXPECT_TRUE(parseCommandLine({"correct", "--help"}).help);
  EXPECT_EQ(parseCommandLine({"preview", "a", "-o", "d", "--size", "64x48"}).previewHeight, 48);
}

TEST(SettingsFile, FormatReadsBackExactlyAndFaultsNameTheLine) {
  CorrectionSettings s;
  s.k1 = 0.1;  // not exactly representable: needs all 17 digits
  s.k2 = -1.0 / 3.0;
  s.centerX = 1e-17;
  s.scale = 0.7;
  s.method = 6;
  s.orientation = 5;
  s.margins = {10, 0, 7, 3};
  CorrectionSettings back;
  parseSettings(formatSettings(s), "x", back);
  EXPECT_EQ(back.k1, s.k1);
  EXPECT_EQ(back.k2, s.k2);
  EXPECT_EQ(back.centerX, s.centerX);
  EXPECT_EQ(back.scale, s.scale);
  EXPECT_EQ(back.method, 6);
  EXPECT_EQ(back.orientation, 5);
  EXPECT_EQ(back.margins.top, 10);
  EXPECT_EQ(back.margins.right, 3);

  for (const char *text :
       {"k1 = nan\n", "k1\n", "zoom = 2\n", "method = cubic\n", "margins = 1,2\n", "k2 = 0.5x\n"}) {
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

TEST(Descriptor, KeysAndCodesAsTheFilterReadsThem) {
  CorrectionSettings s;
  s.k1 = -0.2;
  s.k2 = 0.05;
  s.centerX = 0.01;
  s.centerY = -0.02;
  s.radiusLimit = 1.25;
  s.scale = 0.9;
  s.method = 4;
  s.orientation = 3;
  s.margins = {1, 2, 3, 4};
  const hostemu::Descriptor d = buildDescriptor(s);
  EXPECT_EQ(d.getFloat(fourCC("paK1")), -0.2);
  EXPECT_EQ(d.getFloat(fourCC("paK2")), 0.05);
  EXPECT_EQ(d.getFloat(fourCC("paXC")), 0.01);
  EXPECT_EQ(d.getFloat(fourCC("paYC")), -0.02);
  EXPECT_EQ(d.getFloat(fourCC("paFR")), 1.25);
  EXPECT_EQ(d.getFloat(fourCC("scaF")), 0.9);
  const auto method = d.getEnumerated(fourCC("intM"));
  ASSERT_TRUE(method);
  EXPECT_EQ(method->type, fourCC("intT"));
  EXPECT_EQ(method->value, fourCC("la08"));
  EXPECT_EQ(d.getEnumerated(fourCC("orIM"))->value, fourCC("orRN"));
  EXPECT_EQ(d.getInteger(fourCC("caTo")), 1);
  EXPECT_EQ(d.getInteger(fourCC("caBo")), 2);
  EXPECT_EQ(d.getInteger(fourCC("caLe")), 3);
  EXPECT_EQ(d.getInteger(fourCC("caRi")), 4);

  // Every method name and orientation code of the filter's tables.
  const std::pair<int, const char *> methods[] = {{0, "biLi"}, {1, "biCu"}, {3, "la06"},
                                                  {4, "la08"}, {5, "la12"}, {6, "taAl"}};
  for (const auto &[id, code] : methods) {
    s.method = id;
    EXPECT_EQ(buildDescriptor(s).getEnumerated(fourCC("intM"))->value, fourCC(code)) << code;
  }
  const char *orient[] = {"orLN", "orBN", "orRN", "orTM", "orLM", "orBM", "orRM"};
  for (int o = 1; o <= 7; ++o) {
    s.orientation = o;
    EXPECT_EQ(buildDescriptor(s).getEnumerated(fourCC("orIM"))->value, fourCC(orient[o - 1]));
  }
  s.orientation = 0;
  EXPECT_FALSE(buildDescriptor(s).getEnumerated(fourCC("orIM")));

  // A written-back descriptor: its values win, the rest stays as given.
  hostemu::Descriptor back;
  back.putFloat(fourCC("paK1"), 0.5).putEnumerated(fourCC("intM"), fourCC("intT"), fourCC("la12"));
  const CorrectionSettings r = settingsFromDescriptor(back, s);
  EXPECT_EQ(r.k1, 0.5);
  EXPECT_EQ(r.k2, 0.05);
  EXPECT_EQ(r.method, 5);
  EXPECT_EQ(r.margins.right, 4);

  int x = 0;
  void *parsed = nullptr;
  ASSERT_EQ(std::sscanf(addressText(&x).c_str(), "%p", &parsed), 1);
  EXPECT_EQ(parsed, &x);
}

TEST(Canvas, MarginsGrowTheCanvasWithThePictureTopLeft) {
  hostemu::Document doc;
  doc.width = 3;
  doc.height = 2;
  doc.depth = 16;
  doc.planes.resize(1);
  doc.planes[0].samples = {1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0};
  enlargeCanvas(doc, Margins{1, 2, 3, 4});
  ASSERT_EQ(doc.width, 10);
  ASSERT_EQ(doc.height, 5);
  const auto *v = reinterpret_cast<const std::uint16_t *>(doc.planes[0].samples.data());
  ASSERT_EQ(doc.planes[0].samples.size(), 10u * 5u * 2u);
  EXPECT_EQ(v[0], 1);
  EXPECT_EQ(v[2], 3);
  EXPECT_EQ(v[3], 0);
  EXPECT_EQ(v[10], 4);
  EXPECT_EQ(v[12], 6);
  EXPECT_EQ(v[49], 0);
}

TEST(AtomicOutput, TargetAppearsOnlyOnCommit) {
  const fs::path dir = fs::temp_directory_path() / ("ortavel-at-" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const fs::path target = dir / "out.png";
  {
    AtomicOutput out(target, false);
    std::ofstream(out.temporaryPath()) << "half";
    EXPECT_FALSE(fs::exists(target));
  }  // abandoned: the temporary file goes, no target
  EXPECT_TRUE(fs::is_empty(dir));
  {
    AtomicOutput out(target, false);
    std::ofstream(out.temporaryPath()) << "whole";
    out.commit();
  }
  std::ifstream in(target);
  std::string text;
  in >> text;
  EXPECT_EQ(text, "whole");
  EXPECT_THROW(AtomicOutput(target, false), CliError);
  EXPECT_NO_THROW(AtomicOutput(target, true));
  EXPECT_THROW(AtomicOutput(dir / "no/such/dir.png", true), CliError);
  fs::remove_all(dir);
}

TEST(ProgressBar, RendersTheShareDone) {
  EXPECT_EQ(ProgressBar::render("a.jpg", 0, 4, 8), "a.jpg [        ]   0%");
  EXPECT_EQ(ProgressBar::render("a.jpg", 1, 4, 8), "a.jpg [##      ]  25%");
  EXPECT_EQ(ProgressBar::render("", 7, 7, 4), "[####] 100%");
  EXPECT_EQ(ProgressBar::render("x", 9, 3, 4), "x [####] 100%");  // never beyond full
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
