// The FilterRecord's bufferProcs: plain scratch buffers, tracked so that a
// filter that forgets to free one shows up in the log.
#include <algorithm>
#include <limits>
#include <memory>

#include "emulator/host_impl.h"

namespace hostemu {

namespace {

HostBuffer *findBuffer(Host::Impl *impl, BufferID id) {
  if (impl == nullptr || id == nullptr) return nullptr;
  for (auto &b : impl->buffers) {
    if (reinterpret_cast<BufferID>(b.get()) == id) return b.get();
  }
  return nullptr;
}

OSErr allocate64(int64 size, BufferID *id) {
  Host::Impl *impl = Host::Impl::active();
  if (impl == nullptr || id == nullptr || size < 0) return paramErr;
  if (size > impl->options.bufferSpace) {
    impl->note(LogKind::Handle, {{"op", "buffer-refused"}, {"size", std::to_string(size)}});
    return memFullErr;
  }
  auto b = std::make_unique<HostBuffer>();
  b->bytes = std::make_unique<char[]>(static_cast<std::size_t>(std::max<int64>(size, 1)));
  b->size = size;
  *id = reinterpret_cast<BufferID>(b.get());
  impl->buffers.push_back(std::move(b));
  impl->note(LogKind::Handle, {{"op", "buffer-allocate"}, {"size", std::to_string(size)}});
  return noErr;
}

OSErr allocate(int32 size, BufferID *id) {
  return allocate64(size, id);
}

Ptr lockBuffer(BufferID id, Boolean) {
  HostBuffer *b = findBuffer(Host::Impl::active(), id);
  if (b == nullptr) return nullptr;
  ++b->locks;
  return b->bytes.get();
}

void unlockBuffer(BufferID id) {
  HostBuffer *b = findBuffer(Host::Impl::active(), id);
  if (b != nullptr && b->locks > 0) --b->locks;
}

void freeBuffer(BufferID id) {
  Host::Impl *impl = Host::Impl::active();
  HostBuffer *b = findBuffer(impl, id);
  if (b == nullptr) {
    if (impl != nullptr)
      impl->note(LogKind::Handle, {{"op", "buffer-free"}, {"error", "unknown buffer"}});
    return;
  }
  impl->note(LogKind::Handle, {{"op", "buffer-free"}, {"size", std::to_string(b->size)}});
  std::erase_if(impl->buffers, [b](const auto &p) { return p.get() == b; });
}

int64 space64() {
  Host::Impl *impl = Host::Impl::active();
  return impl == nullptr ? 0 : impl->options.bufferSpace;
}

int32 space() {
  return static_cast<int32>(std::min<int64>(space64(), std::numeric_limits<int32>::max()));
}

OSErr reserve(int32) {
  return noErr;
}

}  // namespace

void fillBufferProcs(BufferProcs &procs) {
  procs.bufferProcsVersion = 2;
  procs.numBufferProcs = 8;
  procs.allocateProc = allocate;
  procs.lockProc = lockBuffer;
  procs.unlockProc = unlockBuffer;
  procs.freeProc = freeBuffer;
  procs.spaceProc = space;
  procs.reserveProc = reserve;
  procs.allocateProc64 = allocate64;
  procs.spaceProc64 = space64;
}

}  // namespace hostemu
