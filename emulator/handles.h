// The host's relocatable memory handles. A handle is a pointer to a master
// pointer; the block behind it may move while the handle is unlocked (a lock
// asking to move high relocates it, as a classic memory manager would), so a
// filter that keeps a pointer across an unlock is caught out. The store keeps
// lock counts, who made each handle, and can be told to fail the n-th new or
// the n-th lock. One store lives with each loaded plug-in, because the data
// handle outlives single invocations.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace hostemu {

using HostHandle = char **;  // the SDK's Handle

struct HandleInfo {
  std::uint64_t id = 0;  // 1, 2, ... in order of creation
  HostHandle handle = nullptr;
  std::int32_t size = 0;  // bytes
  int lockCount = 0;
  std::string creator;  // "plugin", "suites", "host:descriptor", ...
  std::string role;     // "parameters", "data", "descriptor", "" ...
  int moves = 0;        // times the block was relocated
};

// Counted are the handles the plug-in asks for and those a suite makes for it,
// and every lock.
struct HandleFaults {
  int failNewAt = 0;   // the n-th new handle (1-based) comes back null; 0 = never
  int failLockAt = 0;  // the n-th lock comes back null; 0 = never
};

class HandleStore {
 public:
  HandleStore();
  ~HandleStore();
  HandleStore(const HandleStore &) = delete;
  HandleStore &operator=(const HandleStore &) = delete;

  // A new zero-filled handle; null on injected failure or a negative size.
  // `counted` handles take part in the new-handle fault count (those the
  // plug-in or a suite asks for); the host's own ones do not.
  HostHandle create(std::int32_t size, std::string creator, bool counted = true);
  HostHandle createWith(std::span<const std::uint8_t> bytes, std::string creator,
                        bool counted = true);
  // Frees the block; false (and nothing done) for a handle this store does not
  // know, including one already disposed of.
  bool dispose(HostHandle h);
  bool owns(HostHandle h) const;
  // -1 for an unknown handle.
  std::int32_t size(HostHandle h) const;
  // 0, or memFullErr (-108) when a locked block would have to grow, or
  // nilHandleErr (-109) for an unknown handle.
  std::int16_t setSize(HostHandle h, std::int32_t newSize);
  // Locks and returns the block; relocates it first when asked to move high
  // and it is not locked. Null for an unknown handle or an injected failure.
  char *lock(HostHandle h, bool moveHigh);
  // Decrements the lock count (never below 0); false for an unknown handle or
  // one that was not locked.
  bool unlock(HostHandle h);
  // The block's bytes (a copy), empty for an unknown handle.
  std::vector<std::uint8_t> bytes(HostHandle h) const;

  // Marks what the host uses a handle for (shown in reports).
  void setRole(HostHandle h, std::string role);
  // Live handles in order of creation.
  std::vector<HandleInfo> alive() const;
  std::size_t aliveCount() const;
  const HandleInfo *info(HostHandle h) const;

  HandleFaults faults;
  // Starts the fault counts afresh (each Host does, with its own faults).
  void resetFaultCounters() { newCalls_ = lockCalls_ = 0; }
  int newCalls() const { return newCalls_; }
  int lockCalls() const { return lockCalls_; }

  // Every operation is reported here as (op, info after the op).
  std::function<void(const std::string &op, const HandleInfo &info)> observer;

 private:
  struct Entry;
  Entry *find(HostHandle h) const;
  void report(const std::string &op, const Entry &e) const;

  std::map<HostHandle, std::unique_ptr<Entry>> entries_;
  std::uint64_t nextId_ = 1;
  int newCalls_ = 0;
  int lockCalls_ = 0;
};

}  // namespace hostemu
