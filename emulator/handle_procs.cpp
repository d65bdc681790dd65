// The FilterRecord's handleProcs: the filter's way to the host's handles.
#include <cstdio>

#include "emulator/host_impl.h"

namespace hostemu {

namespace {

HandleStore *activeStore(const char *what) {
  Host::Impl *impl = Host::Impl::active();
  if (impl == nullptr) {
    std::fprintf(stderr, "ortavel-host: %s called outside a plug-in call; ignored\n", what);
    return nullptr;
  }
  return &impl->store;
}

void noteUnknown(const char *op, Handle h) {
  if (Host::Impl *impl = Host::Impl::active()) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%p", static_cast<void *>(h));
    impl->note(LogKind::Handle, {{"op", op}, {"handle", buf}, {"error", "unknown handle"}});
  }
}

Handle newHandle(int32 size) {
  HandleStore *store = activeStore("newProc");
  return store == nullptr ? nullptr : store->create(size, "plugin");
}

void disposeHandle(Handle h) {
  HandleStore *store = activeStore("disposeProc");
  if (store == nullptr || h == nullptr) return;
  if (!store->dispose(h)) noteUnknown("dispose", h);
}

void disposeRegularHandle(Handle h) {
  HandleStore *store = activeStore("disposeRegularHandleProc");
  if (store == nullptr || h == nullptr) return;
  if (!store->dispose(h)) noteUnknown("disposeRegular", h);
}

int32 getHandleSize(Handle h) {
  HandleStore *store = activeStore("getSizeProc");
  if (store == nullptr) return 0;
  const std::int32_t size = store->size(h);
  if (size < 0) {
    noteUnknown("getSize", h);
    return 0;
  }
  return size;
}

OSErr setHandleSize(Handle h, int32 newSize) {
  HandleStore *store = activeStore("setSizeProc");
  if (store == nullptr) return nilHandleErr;
  const std::int16_t err = store->setSize(h, newSize);
  if (err == nilHandleErr) noteUnknown("setSize", h);
  return err;
}

Ptr lockHandle(Handle h, Boolean moveHigh) {
  HandleStore *store = activeStore("lockProc");
  return store == nullptr ? nullptr : store->lock(h, moveHigh != 0);
}

void unlockHandle(Handle h) {
  HandleStore *store = activeStore("unlockProc");
  if (store != nullptr) store->unlock(h);
}

void recoverSpace(int32 size) {
  if (Host::Impl *impl = Host::Impl::active()) {
    impl->note(LogKind::Handle, {{"op", "recoverSpace"}, {"size", std::to_string(size)}});
  }
}

}  // namespace

void fillHandleProcs(HandleProcs &procs) {
  procs.handleProcsVersion = 1;
  procs.numHandleProcs = 8;
  procs.newProc = newHandle;
  procs.disposeProc = disposeHandle;
  procs.getSizeProc = getHandleSize;
  procs.setSizeProc = setHandleSize;
  procs.lockProc = lockHandle;
  procs.unlockProc = unlockHandle;
  procs.recoverSpaceProc = recoverSpace;
  procs.disposeRegularHandleProc = disposeRegularHandle;
}

}  // namespace hostemu
