// The counting latch: waits for its jobs, never wraps, and hands back its lock.
#include <gtest/gtest.h>

#include <cerrno>
#include <thread>
#include <vector>

#include "workers/busy_counter.h"

namespace {

// Whether another thread could take the latch's lock right now.
bool LockFreeFromAnotherThread(busy_counter *c) {
  bool free_now = false;
  std::thread probe([&] {
    if (pool_mutex_trylock(&c->lock) != 0) {
      free_now = true;
      pool_mutex_unlock(&c->lock);
    }
  });
  probe.join();
  return free_now;
}

TEST(BusyCounter, WaitReturnsHoldingTheLockUntilRelease) {
  busy_counter c;
  busy_counter_init(&c);
  ASSERT_TRUE(LockFreeFromAnotherThread(&c));
  busy_counter_wait(&c);  // count is 0: no waiting, but the lock stays taken
  EXPECT_FALSE(LockFreeFromAnotherThread(&c));
  busy_counter_release(&c);
  EXPECT_TRUE(LockFreeFromAnotherThread(&c));
  busy_counter_destroy(&c);
}

TEST(BusyCounter, WaitsForEveryJobAndNeverWrapsBelowZero) {
  busy_counter c;
  busy_counter_init(&c);
  busy_counter_leave(&c);  // a wrapped count would make the wait below hang
  constexpr int kJobs = 8;
  for (int i = 0; i < kJobs; i++) busy_counter_enter(&c);
  std::vector<std::thread> leavers;
  for (int i = 0; i < kJobs; i++) leavers.emplace_back([&] { busy_counter_leave(&c); });
  busy_counter_wait(&c);
  EXPECT_EQ(c.count, 0u);  // still under the latch's lock, so this read is guarded
  busy_counter_release(&c);
  for (auto &t : leavers) t.join();
  busy_counter_destroy(&c);
}

}  // namespace
