#include <algorithm>

#include "suite_fixture.h"

namespace hostemu::testing {
namespace {

constexpr SPErr kNotFound = 0x53214664;       // 'S!Fd'
constexpr SPErr kUnimplemented = 0x21494D50;  // '!IMP'
constexpr SPErr kBadParameter = 0x5061726D;   // 'Parm'

class BasicSuiteTest : public SuiteFixture {
 protected:
  void SetUp() override {
    grey(2, 1, {0, 255});
    activate();
  }
  bool logged(const std::string &line) const {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
};

TEST_F(BasicSuiteTest, CountsAcquisitionsAndReleasesAndRefusesADoubleRelease) {
  SPBasicSuite *basic = host->basicSuite();
  SPErr status = -1;
  EXPECT_NE(acquire<PropertyProcs>(kPSPropertySuite, 1, &status), nullptr);
  EXPECT_EQ(status, kSPNoError);
  EXPECT_NE(acquire<void>(kPSChannelPortsSuite, 2), nullptr);
  EXPECT_NE(acquire<void>(kPSChannelPortsSuite, 3), nullptr);
  EXPECT_EQ(host->acquired(kPSChannelPortsSuite), 2);
  EXPECT_EQ(host->acquired(kPSChannelPortsSuite, 3), 1);
  EXPECT_EQ(basic->ReleaseSuite(kPSChannelPortsSuite, 3), kSPNoError);
  EXPECT_EQ(basic->ReleaseSuite(kPSPropertySuite, 1), kSPNoError);
  EXPECT_NE(basic->ReleaseSuite(kPSPropertySuite, 1), kSPNoError);  // not counted
  EXPECT_EQ(host->released(kPSPropertySuite), 1);
  EXPECT_EQ(host->released(kPSChannelPortsSuite, 2), 0);
  EXPECT_EQ(host->outstanding(), 1);
  EXPECT_TRUE(logged("acquire Photoshop Property Suite for Plug-ins v1 -> 0"));
}

// Unknown names and versions, suites whose entries return handles or pointers,
// and injected faults are refused; a suite without a table answers
// unimplemented from every entry.
TEST_F(BasicSuiteTest, RefusalsFaultsAndUnimplementedTables) {
  const std::pair<const char *, int32> refused[] = {{"Photoshop Nonsense Suite", 1},
                                                    {kPSPropertySuite, 2},
                                                    {kPSColorSpaceSuite, 3},
                                                    {kPSHandleSuite, 2}};
  SPErr status = 0;
  for (const auto &[name, version] : refused) {
    EXPECT_EQ(acquire<void>(name, version, &status), nullptr) << name;
    EXPECT_EQ(status, kNotFound) << name;
  }
  EXPECT_TRUE(logged("acquire Photoshop Nonsense Suite v1 -> " + std::to_string(kNotFound)));
  host->failSuite(kPSColorSpaceSuite, kSPOutOfMemoryError);
  EXPECT_EQ(acquire<void>(kPSColorSpaceSuite, 1, &status), nullptr);
  EXPECT_EQ(status, -108);
  EXPECT_EQ(host->outstanding(), 0);
  host->failSuite(kPSColorSpaceSuite, kSPNoError);
  EXPECT_NE(acquire<void>(kPSColorSpaceSuite, 1), nullptr);

  using Entry = SPErr (*)();
  const auto *table = acquire<Entry>(kPSActionDescriptorSuite, 2);
  ASSERT_NE(table, nullptr);
  for (int i = 0; i < 64; ++i) EXPECT_EQ(table[i](), kUnimplemented) << i;
  EXPECT_NE(acquire<Entry>(kSPRuntimeSuite, 5), nullptr);
  EXPECT_NE(acquire<Entry>(kASZStringSuite, 1), nullptr);
}

TEST_F(BasicSuiteTest, CallbacksNeedAnActiveHostAndGuardsNest) {
  guard.reset();
  const void *table = &table;
  EXPECT_EQ(host->basicSuite()->AcquireSuite(kPSPropertySuite, 1, &table), kBadParameter);
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
  SPBasicSuite *basic = host->basicSuite();
  void *block = nullptr;
  ASSERT_EQ(basic->AllocateBlock(16, &block), kSPNoError);
  std::memset(block, 0x5A, 16);
  void *grown = nullptr;
  ASSERT_EQ(basic->ReallocateBlock(block, 4096, &grown), kSPNoError);
  EXPECT_EQ(static_cast<unsigned char *>(grown)[15], 0x5A);  // contents kept
  EXPECT_EQ(basic->FreeBlock(grown), kSPNoError);
  EXPECT_EQ(basic->AllocateBlock(8, nullptr), kBadParameter);
  EXPECT_TRUE(basic->IsEqual("SP Basic Suite", "SP Basic Suite"));
  EXPECT_FALSE(basic->IsEqual("SP Basic Suite", "SP Basic suite"));
  EXPECT_EQ(basic->Undefined(), kUnimplemented);
  EXPECT_EQ(acquire<SPBasicSuite>(kSPBasicSuite, 4), basic);  // through itself
}

}  // namespace
}  // namespace hostemu::testing
