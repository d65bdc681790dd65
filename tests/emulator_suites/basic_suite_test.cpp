#include <algorithm>

#include "suite_fixture.h"

namespace hostemu::testing {
namespace {

class BasicSuiteTest : public SuiteFixture {
 protected:
  void SetUp() override {
    doc.width = 2;
    doc.height = 1;
    doc.imageMode = plugInModeGrayScale;
    doc.planes = {plane8({0, 255})};
    makeHost();
  }
};

TEST_F(BasicSuiteTest, CountsAcquisitionsAndReleasesPerNameAndVersion) {
  auto guard = host->activate();
  SPBasicSuite *basic = host->basicSuite();
  SPErr status = -1;
  EXPECT_NE(acquire<PropertyProcs>(kPSPropertySuite, 1, &status), nullptr);
  EXPECT_EQ(status, kSPNoError);
  EXPECT_NE(acquire<PSChannelPortsSuite1>(kPSChannelPortsSuite, 2), nullptr);
  EXPECT_NE(acquire<PSChannelPortsSuite1>(kPSChannelPortsSuite, 3), nullptr);
  EXPECT_EQ(host->acquired(kPSChannelPortsSuite), 2);
  EXPECT_EQ(host->acquired(kPSChannelPortsSuite, 3), 1);
  EXPECT_EQ(host->outstanding(), 3);

  EXPECT_EQ(basic->ReleaseSuite(kPSChannelPortsSuite, 3), kSPNoError);
  EXPECT_EQ(basic->ReleaseSuite(kPSPropertySuite, 1), kSPNoError);
  // A second release of the same acquisition is refused and not counted.
  EXPECT_NE(basic->ReleaseSuite(kPSPropertySuite, 1), kSPNoError);
  EXPECT_EQ(host->released(kPSPropertySuite), 1);
  EXPECT_EQ(host->released(kPSChannelPortsSuite, 2), 0);
  EXPECT_EQ(host->outstanding(), 1);

  EXPECT_NE(std::find(lines.begin(), lines.end(),
                      "acquire Photoshop Property Suite for Plug-ins v1 -> 0"),
            lines.end());
}

// Unknown names and versions, and suites whose entries return handles or
// pointers, are refused with 'S!Fd'.
TEST_F(BasicSuiteTest, RefusesUnknownNamesAndVersions) {
  auto guard = host->activate();
  const std::pair<const char *, int32> refused[] = {{"Photoshop Nonsense Suite", 1},
                                                    {kPSPropertySuite, 2},
                                                    {kPSColorSpaceSuite, 3},
                                                    {kPSHandleSuite, 2}};
  for (const auto &[name, version] : refused) {
    SPErr status = 0;
    EXPECT_EQ(acquire<void>(name, version, &status), nullptr) << name;
    EXPECT_EQ(status, static_cast<SPErr>(0x53214664)) << name;
  }
  EXPECT_EQ(host->outstanding(), 0);
  EXPECT_NE(std::find(lines.begin(), lines.end(),
                      "acquire Photoshop Nonsense Suite v1 -> " + std::to_string(0x53214664)),
            lines.end());
}

TEST_F(BasicSuiteTest, SuitesWithoutTablesAnswerUnimplementedFromEveryEntry) {
  auto guard = host->activate();
  using Entry = SPErr (*)();
  const auto *table = acquire<Entry>(kPSActionDescriptorSuite, 2);
  ASSERT_NE(table, nullptr);
  for (int i = 0; i < 64; ++i) {
    ASSERT_NE(table[i], nullptr);
    EXPECT_EQ(table[i](), static_cast<SPErr>(0x21494D50));  // '!IMP'
  }
  EXPECT_NE(acquire<Entry>(kSPRuntimeSuite, 5), nullptr);
  EXPECT_NE(acquire<Entry>(kASZStringSuite, 1), nullptr);
}

TEST_F(BasicSuiteTest, InjectedFaultsFailAcquisitionUntilLifted) {
  auto guard = host->activate();
  host->failSuite(kPSColorSpaceSuite, kSPOutOfMemoryError);
  SPErr status = 0;
  EXPECT_EQ(acquire<void>(kPSColorSpaceSuite, 1, &status), nullptr);
  EXPECT_EQ(status, -108);
  EXPECT_EQ(host->acquired(kPSColorSpaceSuite), 0);
  host->failSuite(kPSColorSpaceSuite, kSPNoError);
  EXPECT_NE(acquire<void>(kPSColorSpaceSuite, 1, &status), nullptr);
  EXPECT_EQ(status, kSPNoError);
}

TEST_F(BasicSuiteTest, CallbacksNeedAnActiveHostAndGuardsNest) {
  const void *table = &table;
  EXPECT_EQ(host->basicSuite()->AcquireSuite(kPSPropertySuite, 1, &table),
            static_cast<SPErr>(0x5061726D));  // 'Parm'
  EXPECT_EQ(table, nullptr);
  SuiteHost other(SuiteEnvironment{&doc, nullptr, nullptr});
  {
    auto outer = host->activate();
    {
      auto inner = other.activate();
      EXPECT_EQ(SuiteHost::active(), &other);
    }
    EXPECT_EQ(SuiteHost::active(), host.get());
  }
  EXPECT_EQ(SuiteHost::active(), nullptr);
}

TEST_F(BasicSuiteTest, BlocksAndTokens) {
  auto guard = host->activate();
  SPBasicSuite *basic = host->basicSuite();
  void *block = nullptr;
  ASSERT_EQ(basic->AllocateBlock(16, &block), kSPNoError);
  ASSERT_NE(block, nullptr);
  std::memset(block, 0x5A, 16);
  void *grown = nullptr;
  ASSERT_EQ(basic->ReallocateBlock(block, 4096, &grown), kSPNoError);
  EXPECT_EQ(static_cast<unsigned char *>(grown)[15], 0x5A);  // contents kept
  EXPECT_EQ(basic->FreeBlock(grown), kSPNoError);
  EXPECT_EQ(basic->AllocateBlock(8, nullptr), static_cast<SPErr>(0x5061726D));

  EXPECT_TRUE(basic->IsEqual("SP Basic Suite", "SP Basic Suite"));
  EXPECT_FALSE(basic->IsEqual("SP Basic Suite", "SP Basic suite"));
  EXPECT_EQ(basic->Undefined(), static_cast<SPErr>(0x21494D50));
  // The basic suite can be acquired through itself.
  EXPECT_EQ(acquire<SPBasicSuite>(kSPBasicSuite, 4), basic);
}

}  // namespace
}  // namespace hostemu::testing
