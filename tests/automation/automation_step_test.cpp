// The automation module (OrtavelAutomation) in the emulated host with the
// real filter: a recorded step replays bit for bit, its output is the
// command's for the same settings, and without a lens profile it says so and
// leaves the picture alone.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "emulator/automation/automation_host.h"
#include "image_io/image_io.h"
#include "profiles/lens_table.h"

namespace hostemu {
namespace {

namespace fs = std::filesystem;

const fs::path kPhoto = fs::path(ORTAVEL_TESTDATA_DIR) / "exif/exif-jpeg/deb-goexif_sample1.jpg";

ActionValue real(double v) {
  ActionValue a;
  a.type = typeFloat;
  a.number = v;
  return a;
}

// The settings a user recorded once: k1, k2, zoom and Lanczos 8.
ActionDescriptor recordedSettings() {
  ActionDescriptor d;
  d.put(PS_FOURCC('p', 'a', 'K', '1'), real(-0.08));
  d.put(PS_FOURCC('p', 'a', 'K', '2'), real(0.015));
  d.put(PS_FOURCC('s', 'c', 'a', 'F'), real(1.05));
  ActionValue method;
  method.type = typeEnumerated;
  method.enumType = PS_FOURCC('i', 'n', 't', 'T');
  method.code = PS_FOURCC('l', 'a', '0', '8');
  d.put(PS_FOURCC('i', 'n', 't', 'M'), method);
  return d;
}

struct StepRun {
  DoItResult result;
  Document document;
  std::vector<std::string> alerts;
};

StepRun runStep(const ActionDescriptor *in, std::int32_t playInfo, AutomationOptions options = {},
                const fs::path &photo = kPhoto) {
  Plugin step(AUTOMATION_PATH, ModuleKind::Automation);
  Plugin filter(ORTAVEL_PLUGIN_PATH);
  StepRun run;
  run.document = ortavel::cli::readImage(photo).doc;
  options.playInfo = playInfo;
  options.alertCallback = [&run](const std::string &title, const std::string &text) {
    run.alerts.push_back(title + ": " + text);
  };
  AutomationHost host(step, {&filter}, run.document, options);
  EXPECT_EQ(host.start(), 0);
  run.result = host.doIt(in);
  EXPECT_EQ(host.stop(), 0);
  return run;
}

TEST(AutomationStep, ReplayOfTheRecordingEqualsTheRecordingRun) {
  const ActionDescriptor settings = recordedSettings();
  const StepRun recording = runStep(&settings, plugInDialogDisplay);
  ASSERT_EQ(recording.result.result, 0);
  ASSERT_TRUE(recording.result.descriptor);
  EXPECT_TRUE(recording.result.documentChanged);
  EXPECT_EQ(recording.result.recordInfo, plugInDialogOptional);
  EXPECT_EQ(recording.result.leakedObjects, 0u);
  // What is recorded: the settings as given, the rest at the filter's defaults.
  const ActionDescriptor &rec = *recording.result.descriptor;
  EXPECT_EQ(rec.find(PS_FOURCC('p', 'a', 'K', '1'))->number, -0.08);
  EXPECT_EQ(rec.find(PS_FOURCC('p', 'a', 'K', '2'))->number, 0.015);
  EXPECT_EQ(rec.find(PS_FOURCC('s', 'c', 'a', 'F'))->number, 1.05);
  EXPECT_EQ(rec.find(PS_FOURCC('p', 'a', 'X', 'C'))->number, 0.0);
  EXPECT_EQ(rec.find(PS_FOURCC('p', 'a', 'F', 'R'))->number, 0.0);
  EXPECT_EQ(rec.find(PS_FOURCC('i', 'n', 't', 'M'))->code, PS_FOURCC('l', 'a', '0', '8'));
  // The recording survives the trip through a file.
  ASSERT_TRUE(recording.result.descriptorForFile);
  const ActionDescriptor fromFile = fromFilterDescriptor(
      Descriptor::deserialize(recording.result.descriptorForFile->serialize()));
  EXPECT_EQ(fromFile, rec);

  for (std::int32_t playInfo : {plugInDialogDontDisplay, plugInDialogSilent}) {
    const StepRun replay = runStep(&fromFile, playInfo);
    ASSERT_EQ(replay.result.result, 0);
    EXPECT_TRUE(replay.alerts.empty());
    ASSERT_EQ(replay.document.planes.size(), recording.document.planes.size());
    for (std::size_t p = 0; p < replay.document.planes.size(); ++p) {
      EXPECT_EQ(replay.document.planes[p].samples, recording.document.planes[p].samples)
          << "plane " << p << ", playInfo " << playInfo;
    }
    EXPECT_EQ(*replay.result.descriptor, rec);
  }
}

// Orientation and margins: recorded only when chosen, as given, and they
// reach the filter.
TEST(AutomationStep, OrientationAndMarginsAreRecordedWhenChosen) {
  const ActionDescriptor plain = recordedSettings();
  const StepRun without = runStep(&plain, plugInDialogSilent);
  ASSERT_EQ(without.result.result, 0);
  ASSERT_TRUE(without.result.descriptor);
  for (const char *key : {"orIM", "caTo", "caBo", "caLe", "caRi"}) {
    EXPECT_EQ(without.result.descriptor->find(PS_FOURCC(key[0], key[1], key[2], key[3])), nullptr)
        << key << " recorded though never chosen";
  }

  ActionDescriptor turned = plain;
  ActionValue orientation;
  orientation.type = typeEnumerated;
  orientation.enumType = PS_FOURCC('o', 'r', 'I', 'T');
  orientation.code = PS_FOURCC('o', 'r', 'R', 'N');
  turned.put(PS_FOURCC('o', 'r', 'I', 'M'), orientation);
  const std::int32_t margins[4] = {4, 0, 12, 2};
  const std::uint32_t marginKeys[4] = {PS_FOURCC('c', 'a', 'T', 'o'), PS_FOURCC('c', 'a', 'B', 'o'),
                                       PS_FOURCC('c', 'a', 'L', 'e'),
                                       PS_FOURCC('c', 'a', 'R', 'i')};
  for (int i = 0; i < 4; ++i) {
    ActionValue v;
    v.type = typeInteger;
    v.integer = margins[i];
    turned.put(marginKeys[i], v);
  }
  const StepRun with = runStep(&turned, plugInDialogSilent);
  ASSERT_EQ(with.result.result, 0);
  ASSERT_TRUE(with.result.descriptor);
  const ActionDescriptor &rec = *with.result.descriptor;
  ASSERT_NE(rec.find(PS_FOURCC('o', 'r', 'I', 'M')), nullptr);
  EXPECT_EQ(rec.find(PS_FOURCC('o', 'r', 'I', 'M'))->code, PS_FOURCC('o', 'r', 'R', 'N'));
  for (int i = 0; i < 4; ++i) {
    ASSERT_NE(rec.find(marginKeys[i]), nullptr);
    EXPECT_EQ(rec.find(marginKeys[i])->integer, margins[i]);
  }
  EXPECT_NE(with.document.planes[0].samples, without.document.planes[0].samples)
      << "the orientation and margins did not reach the filter";
}

// The command, given the same settings, writes the same pixels.
TEST(AutomationStep, OutputEqualsTheCommandsWithTheSameSettings) {
  const ActionDescriptor settings = recordedSettings();
  const StepRun step = runStep(&settings, plugInDialogSilent);
  ASSERT_EQ(step.result.result, 0);

  const fs::path dir = fs::path(ORTAVEL_TEST_OUTPUT_DIR);
  fs::create_directories(dir);
  const fs::path out = dir / "command_output.tif";
  fs::remove(out);
  const std::string command = std::string(ORTAVEL_COMMAND) + " correct '" + kPhoto.string() +
                              "' '" + out.string() +
                              "' --k1 -0.08 --k2 0.015 --scale 1.05 --method lanczos8 --quiet";
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
  const auto byCommand = ortavel::cli::readImage(out);
  ASSERT_EQ(byCommand.doc.width, step.document.width);
  ASSERT_EQ(byCommand.doc.height, step.document.height);
  ASSERT_EQ(byCommand.doc.planes.size(), step.document.planes.size());
  for (std::size_t p = 0; p < step.document.planes.size(); ++p) {
    EXPECT_EQ(byCommand.doc.planes[p].samples, step.document.planes[p].samples) << "plane " << p;
  }
  // And the settings did something: the picture is not the original.
  EXPECT_NE(step.document.planes[0].samples, ortavel::cli::readImage(kPhoto).doc.planes[0].samples);
}

// Without a recording the step looks the lens up; without a profile for the
// camera the filter named, it says so and changes nothing.
TEST(AutomationStep, WithoutAProfileItSaysSoAndLeavesThePicture) {
  ortavel::profiles::TableQuery query;
  query.make = "NIKON CORPORATION";
  query.model = "NIKON D2H";
  query.focalLengthMm = 23.33;
  query.width = 500;
  query.height = 375;
  const ortavel::profiles::TableLookup lookup = ortavel::profiles::findTableProfile(query);
  if (lookup.profile) GTEST_SKIP() << "the lens table has a profile for this camera";
  const Document original = ortavel::cli::readImage(kPhoto).doc;

  const StepRun asked = runStep(nullptr, plugInDialogDisplay);
  EXPECT_EQ(asked.result.result, 0);
  ASSERT_EQ(asked.alerts.size(), 1u);
  // Make, model and focal length as `exiftool -n` reads them from the file.
  EXPECT_NE(asked.alerts[0].find("No lens profile for NIKON CORPORATION NIKON D2H at 23.33 mm"),
            std::string::npos)
      << asked.alerts[0];
  EXPECT_NE(asked.alerts[0].find("The picture is left unchanged."), std::string::npos);
  EXPECT_FALSE(asked.result.descriptor);     // nothing to record
  ASSERT_EQ(asked.result.plays.size(), 1u);  // the camera request, no correction
  EXPECT_EQ(asked.result.plays[0].run.result, userCanceledErr);
  EXPECT_FALSE(asked.result.documentChanged);
  for (std::size_t p = 0; p < original.planes.size(); ++p) {
    EXPECT_EQ(asked.document.planes[p].samples, original.planes[p].samples);
  }

  const StepRun silent = runStep(nullptr, plugInDialogSilent);
  EXPECT_EQ(silent.result.result, 0);
  EXPECT_TRUE(silent.alerts.empty());
  EXPECT_FALSE(silent.result.documentChanged);
}

// From the menu with nothing recorded, the step takes the lens profile and
// the filling zoom from its own lens table: on every bundled photograph it
// corrects exactly what `ortavel correct --auto --fill` corrects, bit for bit,
// and leaves alone what the command finds no profile for. (The command may
// also read a lens name from the EXIF directory, which the step cannot ask
// the filter for; the bundled photographs need none.)
TEST(AutomationStep, FromTheMenuItCorrectsAsTheCommandsAutoAndFill) {
  const fs::path dir = fs::path(ORTAVEL_TEST_OUTPUT_DIR) / "auto";
  fs::create_directories(dir);
  int compared = 0;
  for (const auto &entry :
       fs::directory_iterator(fs::path(ORTAVEL_TESTDATA_DIR) / "exif/exif-jpeg")) {
    if (entry.path().extension() != ".jpg") continue;
    const fs::path photo = entry.path();
    const StepRun step = runStep(nullptr, plugInDialogDisplay, {}, photo);
    ASSERT_EQ(step.result.result, 0) << photo;
    const fs::path out = dir / (photo.stem().string() + ".tif");
    fs::remove(out);
    const std::string command = std::string(ORTAVEL_COMMAND) + " correct '" + photo.string() +
                                "' '" + out.string() + "' --auto --fill --quiet 2>/dev/null";
    const int status = std::system(command.c_str());
    if (status != 0) {
      EXPECT_FALSE(step.result.documentChanged) << photo << ": the command found no profile";
      EXPECT_EQ(step.alerts.size(), 1u) << photo;
      continue;
    }
    ASSERT_TRUE(step.result.documentChanged) << photo << ": the command found a profile";
    const auto byCommand = ortavel::cli::readImage(out);
    ASSERT_EQ(byCommand.doc.planes.size(), step.document.planes.size());
    for (std::size_t p = 0; p < step.document.planes.size(); ++p)
      EXPECT_EQ(byCommand.doc.planes[p].samples, step.document.planes[p].samples)
          << photo << " plane " << p;
    ++compared;
  }
  EXPECT_GE(compared, 1);  // the compact camera's photograph at least
}

// The step's failures are the host's: no document to query, a filter that
// fails. Nothing is recorded and the picture stays.
TEST(AutomationStep, FailuresEndTheStepWithTheirCode) {
  AutomationOptions noDocument;
  noDocument.documentOpen = false;
  const StepRun closed = runStep(nullptr, plugInDialogDisplay, noDocument);
  EXPECT_EQ(closed.result.result, paramErr);
  EXPECT_TRUE(closed.result.plays.empty());
  EXPECT_FALSE(closed.result.descriptor);

  AutomationOptions failingFilter;
  failingFilter.filterOptions.outTileHeight = 0;  // the filter refuses it
  const ActionDescriptor settings = recordedSettings();
  const StepRun failed = runStep(&settings, plugInDialogDontDisplay, failingFilter);
  EXPECT_EQ(failed.result.result, -30100);
  EXPECT_FALSE(failed.result.descriptor);
  EXPECT_FALSE(failed.result.documentChanged);
  EXPECT_EQ(failed.result.leakedObjects, 0u);
  EXPECT_EQ(failed.document.planes[0].samples,
            ortavel::cli::readImage(kPhoto).doc.planes[0].samples);
}

TEST(AutomationStep, AboutNamesTheLensDataLicence) {
  Plugin step(AUTOMATION_PATH, ModuleKind::Automation);
  Plugin filter(ORTAVEL_PLUGIN_PATH);
  Document doc = ortavel::cli::readImage(kPhoto).doc;
  std::vector<std::string> alerts;
  AutomationOptions options;
  options.alertCallback = [&](const std::string &, const std::string &text) {
    alerts.push_back(text);
  };
  AutomationHost host(step, {&filter}, doc, options);
  host.start();
  EXPECT_EQ(host.about(), 0);
  ASSERT_EQ(alerts.size(), 1u);
  const std::string attribution = ortavel::profiles::lensTableAttribution();
  if (attribution.empty()) {
    EXPECT_NE(alerts[0].find("No lens data is built into this module."), std::string::npos);
  } else {
    EXPECT_NE(alerts[0].find(attribution), std::string::npos) << alerts[0];
  }
}

}  // namespace
}  // namespace hostemu
