// The Lanczos tables against their generating rule, recomputed here entry by
// entry, and against values known in advance.
#include "resample/lanczos_tables.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

struct Table {
  const double *data;
  int a;
  int size;
};
const Table kTables[] = {
    {lanczos4tab, 2, 258}, {lanczos6tab, 3, 388}, {lanczos8tab, 4, 516}, {lanczos12tab, 6, 772}};

double sinc(double u) {
  if (u == 0.0) return 1.0;
  return std::sin(M_PI * u) / (M_PI * u);
}

// L(i / 128) printed with ten decimals and read back.
double rule(int i, int a) {
  const double x = i / 128.0;
  const double l = x < a ? sinc(x) * sinc(x / a) : 0.0;
  char text[64];
  std::snprintf(text, sizeof text, "%.10f", l);
  return std::strtod(text, nullptr);
}

TEST(LanczosTables, EveryEntryFollowsTheRule) {
  for (const Table &t : kTables) {
    for (int i = 0; i < t.size; ++i) {
      const double want = rule(i, t.a);
      if (i % 128 == 0 && want == 0.0) {
        EXPECT_EQ(t.data[i], 0.0) << t.a << ":" << i;  // either sign of zero
      } else {
        EXPECT_EQ(std::memcmp(&t.data[i], &want, sizeof want), 0)
            << "a=" << t.a << " i=" << i << " " << t.data[i] << " vs " << want;
      }
    }
  }
}

TEST(LanczosTables, ShapeAndKnownValues) {
  for (const Table &t : kTables) {
    EXPECT_GE(t.size, 128 * t.a + 2);  // a kernel reads up to index 128 * a + 1
    EXPECT_EQ(t.data[0], 1.0);
    for (int i = 1; i < t.size; ++i) {
      if (i % 128 == 0 || i >= 128 * t.a) {
        EXPECT_EQ(t.data[i], 0.0) << t.a << ":" << i;
      } else {
        EXPECT_NE(t.data[i], 0.0) << t.a << ":" << i;
      }
    }
  }
  EXPECT_EQ(lanczos4tab[1], 0.9998745072);
  EXPECT_EQ(lanczos4tab[32], 0.8773540712);
  EXPECT_EQ(lanczos4tab[64], 0.5731591683);
  EXPECT_EQ(lanczos4tab[96], 0.2353466775);
  EXPECT_EQ(lanczos4tab[160], -0.0847248039);
  EXPECT_EQ(lanczos4tab[192], -0.063684352);
  EXPECT_EQ(lanczos4tab[224], -0.0179051851);
  EXPECT_EQ(lanczos4tab[255], -0.0000153768);
  EXPECT_EQ(lanczos6tab[1], 0.99988845);
  EXPECT_EQ(lanczos6tab[64], 0.6079271019);
  EXPECT_EQ(lanczos6tab[192], -0.1350949115);
  EXPECT_EQ(lanczos6tab[383], 0.0000068164);
  EXPECT_EQ(lanczos8tab[1], 0.9998933299);
  EXPECT_EQ(lanczos8tab[64], 0.6203830132);
  EXPECT_EQ(lanczos8tab[192], -0.1664152316);
  EXPECT_EQ(lanczos8tab[511], -0.0000038292);
  EXPECT_EQ(lanczos12tab[1], 0.9998968156);
  EXPECT_EQ(lanczos12tab[64], 0.629372448);
  EXPECT_EQ(lanczos12tab[192], -0.1910530561);
  EXPECT_EQ(lanczos12tab[767], -0.0000016997);
}

}  // namespace
