// A minimal host for driving the frame's sources directly: a zeroed
// FilterRecord, handles from the heap with lock counts and injectable
// failures, a basic suite that counts acquisitions and releases, and a
// descriptor held as a list of items with a reader and a writer.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/photoshop_api.h"

namespace fake {

// One descriptor value: a float, an integer, an enumeration code or a string.
struct Value {
  enum Kind { Float, Integer, Enum, String } kind;
  double f = 0;
  int32_t i = 0;
  uint32_t e = 0;
  std::string s;
  Value(double v) : kind(Float), f(v) {}
  Value(int32_t v) : kind(Integer), i(v) {}
  Value(uint32_t v) : kind(Enum), e(v) {}
  Value(std::string v) : kind(String), s(std::move(v)) {}
};

struct Item {
  uint32_t key;
  Value value;
};

struct Event {
  std::string op;  // "new", "lock", "unlock", "dispose", "acquire", "release", "put..."
  std::string what;
};

class Host {
 public:
  Host();
  ~Host();

  FilterRecord record{};
  AboutRecord about{};
  BigDocumentStruct big{};
  PIDescriptorParameters descriptorParameters{};
  intptr_t dataWord = 0;
  int16_t result = 0;

  // Failure injection (1-based; 0 = never).
  int failNewAt = 0;
  int failLockAt = 0;
  std::map<std::string, SPErr> suiteFailures;
  std::map<uint32_t, OSErr> readFailures;  // status of the get for this key
  bool readerOpens = true;  // the writer never opens: finish is tested under the emulator

  std::vector<Event> events;

  void useBigDocument(bool on) { record.bigDocumentData = on ? &big : nullptr; }
  void useBasicSuite(bool on);
  // A descriptor handle holding these items (null handle for none).
  void setDescriptor(std::vector<Item> items);
  Handle newHandle(int32_t size);
  int count(const std::string &op, const std::string &what = "") const;
  int liveHandles() const;
  int lockCount(Handle h) const;

  // PluginMain on this host's record (or the about record for selector 0).
  int16_t call(int16_t selector);

  static Host *current;

 private:
  struct Block {
    std::vector<char> bytes;
    int locks = 0;
  };
  std::map<Handle, std::unique_ptr<Block>> blocks_;
  std::map<Handle, std::vector<Item>> descriptors_;
  int news_ = 0;
  int lockCalls_ = 0;
  HandleProcs handleProcs_{};
  ReadDescriptorProcs reader_{};
  WriteDescriptorProcs writer_{};
  SPBasicSuite basic_{};
  PropertyProcs property_{};
  friend struct Callbacks;
};

}  // namespace fake

// What the test's DoStart does; empty = nothing.
extern std::function<void()> gTestStart;
// The alerts shown through the host hook, as (title, text).
extern std::vector<std::pair<std::string, std::string>> gAlerts;
