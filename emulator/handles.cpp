#include "emulator/handles.h"

#include <algorithm>
#include <cstring>

namespace hostemu {

namespace {
constexpr std::int16_t kMemFullErr = -108;
constexpr std::int16_t kNilHandleErr = -109;
constexpr std::int16_t kParamErr = -50;
// Written over a block before it is freed, so that a stale pointer reads as
// rubbish instead of as the old contents.
constexpr unsigned char kFreedFill = 0xDD;
}  // namespace

struct HandleStore::Entry {
  char *master = nullptr;  // what the handle points to; must stay at a fixed address
  std::unique_ptr<char[]> block;
  HandleInfo info;

  void allocate(std::int32_t size, std::int32_t keep) {
    // At least one byte, so that the master pointer of an empty handle is not null.
    auto fresh = std::make_unique<char[]>(static_cast<std::size_t>(std::max(size, 1)));
    std::memset(fresh.get(), 0, static_cast<std::size_t>(std::max(size, 1)));
    if (block && keep > 0) std::memcpy(fresh.get(), block.get(), static_cast<std::size_t>(keep));
    if (block)
      std::memset(block.get(), kFreedFill, static_cast<std::size_t>(std::max(info.size, 1)));
    block = std::move(fresh);
    master = block.get();
    info.size = size;
  }
};

HandleStore::HandleStore() = default;
HandleStore::~HandleStore() = default;

HandleStore::Entry *HandleStore::find(HostHandle h) const {
  if (h == nullptr) return nullptr;
  auto it = entries_.find(h);
  return it == entries_.end() ? nullptr : it->second.get();
}

void HandleStore::report(const std::string &op, const Entry &e) const {
  if (observer) observer(op, e.info);
}

HostHandle HandleStore::create(std::int32_t size, std::string creator, bool counted) {
  if (counted) {
    ++newCalls_;
    if (faults.failNewAt != 0 && faults.failNewAt == newCalls_) {
      HandleInfo failed;
      failed.size = size;
      failed.creator = std::move(creator);
      if (observer) observer("new-failed", failed);
      return nullptr;
    }
  }
  if (size < 0) {
    HandleInfo failed;
    failed.size = size;
    failed.creator = std::move(creator);
    if (observer) observer("new-refused", failed);
    return nullptr;
  }
  auto entry = std::make_unique<Entry>();
  entry->info.id = nextId_++;
  entry->info.creator = std::move(creator);
  entry->allocate(size, 0);
  HostHandle h = &entry->master;
  entry->info.handle = h;
  Entry &e = *entry;
  entries_.emplace(h, std::move(entry));
  report("new", e);
  return h;
}

HostHandle HandleStore::createWith(std::span<const std::uint8_t> bytes, std::string creator,
                                   bool counted) {
  HostHandle h = create(static_cast<std::int32_t>(bytes.size()), std::move(creator), counted);
  if (h != nullptr && !bytes.empty()) std::memcpy(*h, bytes.data(), bytes.size());
  return h;
}

bool HandleStore::dispose(HostHandle h) {
  Entry *e = find(h);
  if (e == nullptr) return false;
  if (e->info.lockCount > 0) {
    // Allowed, as with the classic memory manager, but worth seeing in the log.
    report("dispose-locked", *e);
  }
  report("dispose", *e);
  std::memset(e->block.get(), kFreedFill, static_cast<std::size_t>(std::max(e->info.size, 1)));
  entries_.erase(h);
  return true;
}

bool HandleStore::owns(HostHandle h) const {
  return find(h) != nullptr;
}

std::int32_t HandleStore::size(HostHandle h) const {
  const Entry *e = find(h);
  return e == nullptr ? -1 : e->info.size;
}

std::int16_t HandleStore::setSize(HostHandle h, std::int32_t newSize) {
  Entry *e = find(h);
  if (e == nullptr) return kNilHandleErr;
  if (newSize < 0) return kParamErr;
  if (e->info.lockCount > 0) {
    // A locked block cannot move, so it can only shrink in place.
    if (newSize > e->info.size) {
      report("setsize-refused", *e);
      return kMemFullErr;
    }
    e->info.size = newSize;
    report("setsize", *e);
    return 0;
  }
  e->allocate(newSize, std::min(newSize, e->info.size));
  ++e->info.moves;
  report("setsize", *e);
  return 0;
}

char *HandleStore::lock(HostHandle h, bool moveHigh) {
  ++lockCalls_;
  Entry *e = find(h);
  if (e == nullptr) {
    HandleInfo unknown;
    unknown.handle = h;
    if (observer) observer("lock-unknown", unknown);
    return nullptr;
  }
  if (faults.failLockAt != 0 && faults.failLockAt == lockCalls_) {
    report("lock-failed", *e);
    return nullptr;
  }
  if (moveHigh && e->info.lockCount == 0) {
    e->allocate(e->info.size, e->info.size);
    ++e->info.moves;
  }
  ++e->info.lockCount;
  report("lock", *e);
  return e->master;
}

bool HandleStore::unlock(HostHandle h) {
  Entry *e = find(h);
  if (e == nullptr) {
    HandleInfo unknown;
    unknown.handle = h;
    if (observer) observer("unlock-unknown", unknown);
    return false;
  }
  if (e->info.lockCount == 0) {
    report("unlock-unlocked", *e);
    return false;
  }
  --e->info.lockCount;
  report("unlock", *e);
  return true;
}

std::vector<std::uint8_t> HandleStore::bytes(HostHandle h) const {
  const Entry *e = find(h);
  if (e == nullptr) return {};
  const auto *p = reinterpret_cast<const std::uint8_t *>(e->master);
  return std::vector<std::uint8_t>(p, p + e->info.size);
}

void HandleStore::setRole(HostHandle h, std::string role) {
  if (Entry *e = find(h)) e->info.role = std::move(role);
}

std::vector<HandleInfo> HandleStore::alive() const {
  std::vector<HandleInfo> out;
  for (const auto &[h, e] : entries_) out.push_back(e->info);
  std::sort(out.begin(), out.end(),
            [](const HandleInfo &a, const HandleInfo &b) { return a.id < b.id; });
  return out;
}

std::size_t HandleStore::aliveCount() const {
  return entries_.size();
}

const HandleInfo *HandleStore::info(HostHandle h) const {
  const Entry *e = find(h);
  return e == nullptr ? nullptr : &e->info;
}

}  // namespace hostemu
