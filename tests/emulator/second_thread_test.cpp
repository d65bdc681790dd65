// The host's second thread: work posted runs on another thread, wait()
// returns only once it is done (its writes visible), and the thread serves
// one piece of work after another until its owner goes.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "emulator/second_thread.h"

namespace {

TEST(SecondThread, WaitReturnsOnlyOnceThePostedWorkIsDone) {
  hostemu::SecondThread second;
  for (int round = 0; round < 50; ++round) {
    std::vector<int> filled(1000, 0);
    std::thread::id ranOn;
    ASSERT_TRUE(second.post([&] {
      // Late enough that a wait() returning at once would see zeros.
      if (round % 10 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(5));
      for (int &v : filled) v = round + 1;
      ranOn = std::this_thread::get_id();
    }));
    second.wait();
    EXPECT_NE(ranOn, std::this_thread::get_id()) << "round " << round;
    for (int v : filled) ASSERT_EQ(v, round + 1) << "round " << round;
  }
}

TEST(SecondThread, OwnerMayGoWithoutPostingOrAfterWaiting) {
  { hostemu::SecondThread idle; }
  std::atomic<int> runs{0};
  {
    hostemu::SecondThread second;
    ASSERT_TRUE(second.post([&] { runs++; }));
    second.wait();
  }
  EXPECT_EQ(runs.load(), 1);
}

}  // namespace
