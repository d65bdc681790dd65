// The host's relocatable handles: moving blocks, lock counts, sizes, faults.
#include <gtest/gtest.h>

#include <cstring>

#include "emulator/handles.h"

namespace {

using hostemu::HandleStore;
using hostemu::HostHandle;

TEST(HandleStore, LockWithMoveHighRelocatesAnUnlockedBlockAndKeepsItsBytes) {
  HandleStore store;
  HostHandle h = store.create(16, "test");
  char *first = store.lock(h, false);
  ASSERT_NE(first, nullptr);
  std::memcpy(first, "relocatable!", 13);
  EXPECT_EQ(*h, first);  // without move-high the block stays where it was
  ASSERT_TRUE(store.unlock(h));

  char *moved = store.lock(h, true);
  ASSERT_NE(moved, nullptr);
  EXPECT_NE(moved, first);
  EXPECT_EQ(*h, moved);  // the master pointer follows the block
  EXPECT_STREQ(moved, "relocatable!");
  EXPECT_EQ(store.info(h)->moves, 1);

  // Already locked: a second move-high lock must not move it.
  EXPECT_EQ(store.lock(h, true), moved);
  EXPECT_EQ(store.info(h)->lockCount, 2);
  EXPECT_TRUE(store.unlock(h));
  EXPECT_TRUE(store.unlock(h));
  EXPECT_FALSE(store.unlock(h));  // not locked any more
  EXPECT_EQ(store.info(h)->lockCount, 0);
}

TEST(HandleStore, SetSizeKeepsThePrefixAndUnknownHandlesAreAnswered) {
  HandleStore store;
  HostHandle h = store.create(4, "test");
  std::memcpy(*h, "abcd", 4);
  ASSERT_EQ(store.setSize(h, 8), 0);
  EXPECT_EQ(store.size(h), 8);
  EXPECT_EQ(std::memcmp(*h, "abcd\0\0\0\0", 8), 0);  // grown zeroed
  store.lock(h, false);
  EXPECT_EQ(store.setSize(h, 100), -108);  // locked: cannot move, so cannot grow
  EXPECT_EQ(store.setSize(h, 2), 0);
  EXPECT_EQ(store.bytes(h), (std::vector<std::uint8_t>{'a', 'b'}));
  EXPECT_EQ(store.setSize(h, -1), -50);

  ASSERT_TRUE(store.dispose(h));
  EXPECT_FALSE(store.dispose(h));  // twice
  EXPECT_EQ(store.size(h), -1);
  EXPECT_EQ(store.lock(h, true), nullptr);
  EXPECT_FALSE(store.unlock(h));
  EXPECT_EQ(store.setSize(h, 4), -109);
  EXPECT_FALSE(store.dispose(nullptr));
  EXPECT_EQ(store.create(-1, "test"), nullptr);
}

TEST(HandleStore, InjectedFaultsHitExactlyTheNthNewAndTheNthLock) {
  HandleStore store;
  store.faults.failNewAt = 2;
  store.faults.failLockAt = 3;
  HostHandle a = store.create(1, "plugin");
  EXPECT_NE(store.create(1, "host", false), nullptr);  // not counted
  EXPECT_EQ(store.create(1, "plugin"), nullptr);
  HostHandle c = store.create(1, "plugin");
  ASSERT_NE(c, nullptr);
  EXPECT_NE(store.lock(a, false), nullptr);
  EXPECT_NE(store.lock(a, false), nullptr);
  EXPECT_EQ(store.lock(c, false), nullptr);  // the third lock
  EXPECT_EQ(store.info(c)->lockCount, 0);    // a failed lock does not count
  EXPECT_NE(store.lock(c, false), nullptr);
}

TEST(HandleStore, AliveListsHandlesInCreationOrderWithTheirMaker) {
  HandleStore store;
  std::vector<std::string> ops;
  store.observer = [&ops](const std::string &op, const hostemu::HandleInfo &) {
    ops.push_back(op);
  };
  HostHandle a = store.create(3, "plugin");
  HostHandle b = store.createWith(std::vector<std::uint8_t>{1, 2}, "suites");
  store.setRole(b, "exif");
  HostHandle c = store.create(0, "plugin");
  EXPECT_NE(*c, nullptr);  // even an empty handle has a block
  store.dispose(a);
  const auto alive = store.alive();
  ASSERT_EQ(alive.size(), 2u);
  EXPECT_EQ(alive[0].creator + "/" + alive[0].role, "suites/exif");
  EXPECT_EQ(alive[1].handle, c);
  EXPECT_EQ(ops, (std::vector<std::string>{"new", "new", "new", "dispose"}));
}

}  // namespace
