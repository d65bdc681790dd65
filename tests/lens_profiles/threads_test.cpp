// A batch looks profiles up from several threads at once; the database's
// searches write into its records, so they must take turns. Each thread's
// answers must equal those of a lookup made alone.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "lens_profiles/lens_profile.h"

namespace ortavel::cli {
namespace {

struct Asked {
  PhotoIdentity photo;
  std::int32_t width;
  std::int32_t height;
};

std::string answer(const Asked &a) {
  const ProfileLookup r = findLensProfile(a.photo, {}, a.width, a.height);
  if (!r.profile) return r.error;
  return r.profile->lens + " " + std::to_string(r.profile->k1) + " " +
         std::to_string(r.profile->k2) + " " + std::to_string(r.profile->scale);
}

TEST(LookupThreads, ConcurrentLookupsGiveTheAnswersOfLookupsMadeAlone) {
  const std::vector<Asked> asked = {
      {{"MINOLTA CO.,LTD", "DiMAGE X", 17.1, std::nullopt, std::nullopt}, 1280, 960},
      {{"Canon", "S40", 21.3, std::nullopt, std::nullopt}, 480, 360},
      {{"Canon", "Canon EOS 80D", 11.0, "Canon", "EF-S10-22mm f/3.5-4.5 USM"}, 6000, 4000},
      {{"NIKON CORPORATION", "NIKON D100 ", 190.0, std::nullopt, std::nullopt}, 400, 266},
      {{"NIKON", "E4600", 17.1, std::nullopt, std::nullopt}, 400, 300},
  };
  std::vector<std::string> alone;
  for (const Asked &a : asked) alone.push_back(answer(a));

  constexpr int kThreads = 4, kRounds = 10;
  std::vector<std::vector<std::string>> seen(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < kRounds; ++round)
        for (std::size_t i = 0; i < asked.size(); ++i)
          seen[t].push_back(answer(asked[(i + t) % asked.size()]));
    });
  }
  for (auto &th : threads) th.join();
  for (int t = 0; t < kThreads; ++t) {
    ASSERT_EQ(seen[t].size(), kRounds * asked.size());
    for (std::size_t k = 0; k < seen[t].size(); ++k)
      EXPECT_EQ(seen[t][k], alone[(k % asked.size() + t) % asked.size()]);
  }
}

}  // namespace
}  // namespace ortavel::cli
