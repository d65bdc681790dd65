// The header compiles as C11 and the reader works for a C caller.
#include <gtest/gtest.h>

extern "C" int exif_c_api_check(char *make, int make_size);

TEST(TiffParseCApi, ParsesFromC) {
  char make[16] = "";
  EXPECT_EQ(exif_c_api_check(make, sizeof make), 1);
  EXPECT_STREQ(make, "Canon");
}
