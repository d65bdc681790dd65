#include "suite_fixture.h"

namespace hostemu::testing {
namespace {

constexpr PIType k8BIM = 0x3842494D;
constexpr PIType kEXIF = 0x45584946;

// A 3 x 2 RGB document with a fourth plane.
class PropertySuiteTest : public SuiteFixture {
 protected:
  void SetUp() override {
    doc.width = 3;
    doc.height = 2;
    doc.imageMode = plugInModeRGBColor;
    doc.planes.assign(4, plane8(std::vector<std::uint8_t>(6, 1)));
  }
  SPErr exif(Handle *h) {
    const auto *procs = acquire<PropertyProcs>(kPSPropertySuite, 1);
    return procs ? procs->getPropertyProc(k8BIM, kEXIF, 0, nullptr, h) : -1;
  }
};

TEST_F(PropertySuiteTest, ExifComesInANewHandleHoldingTheDocumentsBytes) {
  activate();
  Handle none = reinterpret_cast<Handle>(&none);  // must be overwritten
  EXPECT_EQ(exif(&none), noErr);
  EXPECT_EQ(none, nullptr);  // no EXIF: success without a handle
  EXPECT_TRUE(handles.empty());

  doc.exif = {'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0, 0xFF, 0x00, 0x7F};
  activate();
  Handle h = nullptr, again = nullptr;
  ASSERT_EQ(exif(&h), noErr);
  ASSERT_EQ(handles.size(), 1u);
  EXPECT_EQ(h, &handles[0]->master);
  EXPECT_EQ(std::vector<std::uint8_t>(handles[0]->bytes.begin(), handles[0]->bytes.end()),
            doc.exif);
  ASSERT_EQ(exif(&again), noErr);
  EXPECT_NE(again, h);  // each request gets its own, for the caller to dispose of
}

TEST_F(PropertySuiteTest, SimplePropertiesAndUndefinedOnes) {
  activate();
  const auto *procs = acquire<PropertyProcs>(kPSPropertySuite, 1);
  ASSERT_NE(procs, nullptr);
  const std::pair<PIType, intptr_t> cases[] = {{PS_FOURCC('m', 'o', 'd', 'e'), plugInModeRGBColor},
                                               {PS_FOURCC('n', 'u', 'c', 'h'), 4},
                                               {PS_FOURCC('d', 'o', 'c', 'W'), 3},
                                               {PS_FOURCC('d', 'o', 'c', 'H'), 2}};
  for (const auto &[key, expected] : cases) {
    intptr_t value = -1;
    EXPECT_EQ(procs->getPropertyProc(k8BIM, key, 0, &value, nullptr), noErr);
    EXPECT_EQ(value, expected) << key;
  }
  intptr_t value = -1;
  EXPECT_EQ(procs->getPropertyProc(k8BIM, PS_FOURCC('t', 'i', 't', 'l'), 0, &value, nullptr),
            -30901);
  EXPECT_EQ(procs->getPropertyProc(0x41424344, kEXIF, 0, nullptr, nullptr), -30901);
  EXPECT_EQ(procs->setPropertyProc(k8BIM, PS_FOURCC('m', 'o', 'd', 'e'), 0, 4, nullptr), -30901);
}

}  // namespace
}  // namespace hostemu::testing
