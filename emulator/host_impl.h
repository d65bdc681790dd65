// The host's private state, shared by the files that serve the C callbacks
// (handles, descriptors, tiles) and the selector driver. The callbacks have
// no context argument, so they reach the host that is active for the current
// PluginMain call through Host::Impl::active().
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "emulator/host.h"
#include "emulator/row_frontier.h"
#include "emulator/second_thread.h"
#include "emulator/suites/suite_host.h"
#include "emulator/working_copy.h"
#include "host/photoshop_api.h"

namespace hostemu {

// An open descriptor reader: the items in written order and how far getKey
// has come.
struct ReadSession {
  Descriptor descriptor;
  std::size_t next = 0;                     // index of the next item getKey hands out
  const DescriptorItem *current = nullptr;  // the item the get routines read
  DescriptorKeyID *expected = nullptr;      // the filter's array, entries cleared as found
  std::size_t expectedCount = 0;            // its length at open time (up to the 0 entry)
  OSErr worst = noErr;                      // most serious status met so far
};

// A scratch buffer from bufferProcs.
struct HostBuffer {
  std::unique_ptr<char[]> bytes;
  std::int64_t size = 0;
  int locks = 0;
};

struct WriteSession {
  Descriptor descriptor;
};

// What advanceState last handed out on one side.
struct TileGrant {
  bool valid = false;
  VRect rect{};
  std::int16_t lo = 0, hi = -1;
  std::int32_t rowBytes = 0;
  // Kept from tile to tile and only ever grown: the host writes every byte a
  // grant covers before the filter sees it, so it is never cleared.
  Samples buffer;
};

struct Host::Impl {
  Impl(Host &host, Plugin &plugin);
  ~Impl();

  Host &host;
  Plugin &plugin;
  HandleStore &store;
  Log &log;
  const HostOptions &options;
  Document &document;  // the caller's: the source of every read, changed on commit
  // What the filter writes: a copy of the document, made hollow when the
  // first output tile is handed out (a preview call never needs one).
  Document &working();
  // The working copy made whole (filled in from the document where the
  // filter wrote nothing). False when the document's reader stopped short.
  bool wholeWorking();
  // While the working copy is hollow: what the filter wrote back, in order.
  std::vector<WrittenBlock> written;
  bool hollow = false;
  std::size_t touched = 0;  // bytes of the working copy touched while waiting for rows
  // Rows written whole so far, while options.finishedRows is told of them.
  std::optional<RowFrontier> frontier;

  FilterRecord record{};
  BigDocumentStruct big{};
  HandleProcs handleProcs{};
  BufferProcs bufferProcs{};
  ReadDescriptorProcs readProcs{};
  WriteDescriptorProcs writeProcs{};
  PIDescriptorParameters descriptorParameters{};
  PlatformData platformData{};
  Str255 errorString{};
  std::unique_ptr<SuiteHost> suites;

  std::function<void(const std::string &, const HandleInfo &)> handleObserver;
  HostHandle parameters = nullptr;  // kept with the invocation
  HostHandle icc = nullptr;         // the document's profile, when it has one
  TileGrant in, out;
  SecondThread copier;  // takes half of each large block to fill
  int tiles = 0;        // output tiles handed out in this invocation
  int continueCalls = 0;
  std::vector<std::unique_ptr<ReadSession>> readers;
  std::vector<std::unique_ptr<WriteSession>> writers;
  std::vector<std::unique_ptr<HostBuffer>> buffers;  // bufferProcs allocations

  // Fills the record for a new invocation (zeroed first).
  void fillRecord();
  // One PluginMain call with this host active.
  std::int16_t call(std::int16_t selector, void *block);

  // advanceState: writes back the last output, then serves the rectangles
  // and planes the record asks for now.
  std::int16_t advanceState();
  void writeBack();
  std::int16_t handOut();
  // Whether any of in/out/mask rectangles is non-empty in the coordinates the
  // filter uses.
  bool wantsMore() const;
  bool uses32() const;
  VRect inRect() const;
  VRect outRect() const;
  VRect maskRect() const;

  void note(LogKind kind, std::vector<std::pair<std::string, std::string>> fields) {
    log.add(kind, std::move(fields));
  }

  static Impl *active();
  class Activation {
   public:
    explicit Activation(Impl *impl);
    ~Activation();
    Activation(const Activation &) = delete;
    Activation &operator=(const Activation &) = delete;

   private:
    Impl *previous_;
  };
};

// The callback tables, filled with this host's C functions.
void fillHandleProcs(HandleProcs &procs);
void fillBufferProcs(BufferProcs &procs);
void fillReadDescriptorProcs(ReadDescriptorProcs &procs);
void fillWriteDescriptorProcs(WriteDescriptorProcs &procs);
// Closes descriptor sessions the filter left open (at the end of a call).
void dropDescriptorSessions(Host::Impl &impl);

std::string rectText(const VRect &r);

}  // namespace hostemu
