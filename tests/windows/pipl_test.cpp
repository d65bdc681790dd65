// The Windows resources a host reads before it lists and loads the filter:
// the generator's PiPL and terminology, read back with the emulator's reader
// and held against what a host needs (a filter, its x64 entry point, the
// modes the run serves) and against the filter's scripted keys and types.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "emulator/fourcc.h"
#include "emulator/pipl.h"

namespace {

using hostemu::fourCC;

std::vector<std::uint8_t> ReadFile(const std::filesystem::path &path) {
  std::ifstream f(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(f), {}};
}

// Runs the generator into a fresh directory and returns the rc file's path.
std::filesystem::path Generate(const std::string &name, const std::string &overrides = "") {
  const std::filesystem::path dir = std::filesystem::path(ORTAVEL_PIPL_WORKDIR) / name;
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir);
  const std::filesystem::path rc = dir / (name + ".rc");
  const std::string command = std::string("python3 ") + ORTAVEL_PIPL_GENERATOR + " " +
                              ORTAVEL_PIPL_DESCRIPTION + " " + rc.string() + " " + overrides;
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  return rc;
}

class Resources : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    const auto rc = Generate("module");
    pipl_ = ReadFile(rc.parent_path() / "module.pipl");
    aete_ = ReadFile(rc.parent_path() / "module.aete");
    const auto text = ReadFile(rc);
    rcText_.assign(text.begin(), text.end());
  }
  static inline std::vector<std::uint8_t> pipl_, aete_;
  static inline std::string rcText_;
};

TEST_F(Resources, TheScriptNamesBothResourcesUnderTheIdsAHostLooksFor) {
  EXPECT_NE(rcText_.find("16000 PIPL \""), std::string::npos) << rcText_;
  EXPECT_NE(rcText_.find("16000 AETE \""), std::string::npos) << rcText_;
}

TEST_F(Resources, ThePiplIsInTheWindowsByteOrder) {
  const std::vector<std::uint8_t> &b = pipl_;
  ASSERT_GE(b.size(), 30u);
  // Reserved word 1, list version 0, then the first property's vendor as the
  // little-endian integer of '8BIM': the bytes "MIB8".
  EXPECT_EQ(std::vector<std::uint8_t>(b.begin(), b.begin() + 6),
            (std::vector<std::uint8_t>{1, 0, 0, 0, 0, 0}));
  EXPECT_EQ(std::string(b.begin() + 10, b.begin() + 14), "MIB8");
  EXPECT_EQ(std::string(b.begin() + 14, b.begin() + 18), "dnik");
  EXPECT_EQ(std::string(b.begin() + 26, b.begin() + 30), "MFB8");
}

TEST_F(Resources, APhotoshopHostListsItAsAFilterWithAnX64EntryPoint) {
  const hostemu::Pipl p = hostemu::parsePipl(pipl_);
  EXPECT_EQ(p.kind, fourCC("8BFM"));
  EXPECT_EQ(p.name, "Ortavel Filter");
  EXPECT_EQ(p.category, "Ortavel");
  EXPECT_EQ(p.interfaceVersion, 0x00040000u);
  EXPECT_EQ(p.entryPoints, (std::map<std::uint32_t, std::string>{{fourCC("8664"), "PluginMain"}}));
  EXPECT_EQ(p.requiredHost, fourCC("8BIM"));
  // Every case filtered, the layer's data taken as it is.
  ASSERT_EQ(p.filterCases.size(), 7u);
  for (const auto &c : p.filterCases) EXPECT_EQ(c, (std::array<std::uint8_t, 4>{1, 1, 0, 0}));
}

TEST_F(Resources, TheModesAreThoseTheRunServes) {
  const hostemu::Pipl p = hostemu::parsePipl(pipl_);
  ASSERT_TRUE(p.modes);
  // Bitmap has no sample size and indexed colours cannot be resampled; every
  // other mode at 8 and 16 bits can, its planes interleaved.
  EXPECT_EQ(*p.modes, 0x5FFF);
  // 32-bit documents through the enabling expression.
  EXPECT_NE(p.enable.find("RGB96Mode"), std::string::npos);
  EXPECT_NE(p.enable.find("Gray32Mode"), std::string::npos);
  EXPECT_EQ(p.enable.find("IndexedMode"), std::string::npos);
  EXPECT_EQ(p.enable.find("BitmapMode"), std::string::npos);
}

TEST_F(Resources, TheTerminologyDeclaresEveryScriptedKeyWithItsType) {
  const hostemu::Pipl p = hostemu::parsePipl(pipl_);
  ASSERT_TRUE(p.terminology);
  EXPECT_EQ(p.terminology->resourceId, 16000);
  EXPECT_FALSE(p.terminology->scope.empty());
  const hostemu::Aete a = hostemu::parseAete(aete_);
  EXPECT_EQ(std::tuple(a.majorVersion, a.minorVersion), std::tuple(1, 0));
  EXPECT_EQ(a.eventClass, p.terminology->classId);
  EXPECT_EQ(a.eventId, p.terminology->eventId);

  const std::map<std::string, std::string> expected = {
      {"paK1", "doub"}, {"paK2", "doub"}, {"paXC", "doub"}, {"paYC", "doub"}, {"paFR", "doub"},
      {"scaF", "doub"}, {"intM", "intT"}, {"orIM", "orIT"}, {"caTo", "long"}, {"caBo", "long"},
      {"caLe", "long"}, {"caRi", "long"}, {"exMa", "TEXT"}, {"exMo", "TEXT"}, {"exFo", "TEXT"},
      {"prCo", "TEXT"}, {"prUn", "TEXT"}};
  std::map<std::string, std::string> declared;
  for (const auto &param : a.parameters) {
    declared[hostemu::fourCCText(param.key)] = hostemu::fourCCText(param.type);
    // Every key may be left out: the filter then takes its default.
    EXPECT_NE(param.flags & 0x8000, 0) << hostemu::fourCCText(param.key);
    const bool enumerated = a.enumerations.count(param.type) != 0;
    EXPECT_EQ((param.flags & 0x2000) != 0, enumerated) << hostemu::fourCCText(param.key);
  }
  EXPECT_EQ(declared, expected);

  auto keys = [&](const char *type) {
    std::set<std::string> out;
    for (const auto &v : a.enumerations.at(fourCC(type))) out.insert(hostemu::fourCCText(v.key));
    return out;
  };
  // Lanczos 4 has no value of its own: the descriptor cannot select it.
  EXPECT_EQ(keys("intT"), (std::set<std::string>{"biLi", "biCu", "la06", "la08", "la12", "taAl"}));
  EXPECT_EQ(keys("orIT"), (std::set<std::string>{"orTN", "orLN", "orBN", "orRN", "orTM", "orLM",
                                                 "orBM", "orRM"}));
}

TEST_F(Resources, DamagedBytesAreRefusedWithTheirPlace) {
  std::vector<std::uint8_t> cut(pipl_.begin(), pipl_.begin() + 40);
  EXPECT_THROW(hostemu::parsePipl(cut), hostemu::PiplError);
  std::vector<std::uint8_t> later = pipl_;
  later[2] = 1;  // a property list version this reader does not know
  EXPECT_THROW(hostemu::parsePipl(later), hostemu::PiplError);
  std::vector<std::uint8_t> shortAete(aete_.begin(), aete_.end() - 3);
  EXPECT_THROW(hostemu::parseAete(shortAete), hostemu::PiplError);
}

TEST(PiplDescription, AKeyOfAnUndeclaredTypeStopsTheBuild) {
  const auto text = ReadFile(ORTAVEL_PIPL_DESCRIPTION);
  std::string description(text.begin(), text.end());
  const std::string from = "\"key\": \"paK1\", \"type\": \"doub\"";
  const auto at = description.find(from);
  ASSERT_NE(at, std::string::npos);
  description.replace(at, from.size(), "\"key\": \"paK1\", \"type\": \"dobl\"");
  const std::filesystem::path dir = std::filesystem::path(ORTAVEL_PIPL_WORKDIR) / "bad";
  std::filesystem::create_directories(dir);
  std::ofstream(dir / "bad.json") << description;
  const std::string command = std::string("python3 ") + ORTAVEL_PIPL_GENERATOR + " " +
                              (dir / "bad.json").string() + " " + (dir / "bad.rc").string() +
                              " 2>/dev/null";
  EXPECT_NE(std::system(command.c_str()), 0);
  EXPECT_FALSE(std::filesystem::exists(dir / "bad.rc"));
}

TEST(PiplOverrides, TheLoaderTestModulesDifferOnlyWhereTheyMeanTo) {
  const auto rc = Generate("other", "--kind 8BEF --entry OrtavelMissingEntry");
  const hostemu::Pipl p = hostemu::parsePipl(ReadFile(rc.parent_path() / "other.pipl"));
  EXPECT_EQ(p.kind, fourCC("8BEF"));
  EXPECT_EQ(p.entryPoints.at(fourCC("8664")), "OrtavelMissingEntry");
  EXPECT_EQ(p.name, "Ortavel Filter");
}

}  // namespace
