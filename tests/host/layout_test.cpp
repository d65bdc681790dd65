// Runtime half of the host-interface checks; the layouts themselves are
// checked at compile time by the generated headers (here in C++, and in
// layout_c11.c as C).
#include <gtest/gtest.h>

#include <cstdint>

#include "layout_linux_x86_64.h"

extern "C" int ps_layout_c11_field_count(void);

namespace {

TEST(HostLayout, BothLanguagesCheckedEveryField) {
#if defined(__x86_64__) && defined(__linux__)
  // The layout facts hold 440 field entries over the filter's 37 records and
  // 185 over the automation interface's 12.
  EXPECT_EQ(ps_layout_c11_field_count(), 440 + 185);
  EXPECT_EQ(PS_LAYOUT_LINUX_X86_64_FIELD_COUNT, 440 + 185);
#else
  GTEST_SKIP() << "layout facts are for x86-64 Linux";
#endif
}

TEST(HostLayout, FourCharacterCodesPutTheFirstCharacterHigh) {
  // Characters above 0x7F must not sign-extend into the other bytes.
  EXPECT_EQ(PS_FOURCC('\xA9', 'a', 'b', 'c'), 0xA9616263u);
  EXPECT_EQ(PS_FOURCC('a', '\xFF', 'b', 'c'), 0x61FF6263u);
  EXPECT_EQ(PS_FOURCC('\0', '\0', '\0', '\x80'), 0x00000080u);
  // A code read from a byte stream in order matches the macro.
  const unsigned char bytes[4] = {'p', 'a', 'K', '1'};
  uint32_t fromBytes = (uint32_t(bytes[0]) << 24) | (uint32_t(bytes[1]) << 16) |
                       (uint32_t(bytes[2]) << 8) | bytes[3];
  EXPECT_EQ(PS_FOURCC('p', 'a', 'K', '1'), fromBytes);
}

TEST(HostLayout, SuiteErrorsCutToSixteenBitsKeepTheLowHalf) {
  // What the frame stores in the result word when a suite status is thrown.
  EXPECT_EQ(int16_t(uint32_t(kSPBadParameterError) & 0xFFFF), 0x726D);
  EXPECT_EQ(int16_t(uint32_t(kSPBadParameterError) & 0xFFFF), 29293);
  EXPECT_EQ(int16_t(uint32_t(kSPOutOfMemoryError) & 0xFFFF), memFullErr);
}

}  // namespace
