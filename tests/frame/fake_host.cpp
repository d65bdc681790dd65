#include "fake_host.h"

#include <cstring>

#include "frame/plugin_main.h"
#include "run/do_start.h"

std::function<void()> gTestStart;
std::vector<std::pair<std::string, std::string>> gAlerts;

void DoStart(void) {
  if (gTestStart) gTestStart();
}

extern "C" void ortavel_host_show_alert(const char *title, const char *text) {
  gAlerts.emplace_back(title, text);
}

namespace fake {

Host *Host::current = nullptr;

namespace {
std::string Code(uint32_t c) {
  return {char(c >> 24), char(c >> 16), char(c >> 8), char(c)};
}

// Reader state: the items of one descriptor and the next to hand out.
struct Reader {
  std::vector<Item> items;
  size_t next = 0;
  const Item *currentItem = nullptr;
};
}  // namespace

struct Callbacks {
  static Host &H() { return *Host::current; }

  static Handle New(int32_t size) { return H().newHandle(size); }
  static void Dispose(Handle h) {
    H().events.push_back({"dispose", ""});
    if (h == nullptr) return;
    H().descriptors_.erase(h);
    H().blocks_.erase(h);
    delete[] reinterpret_cast<char **>(h);
  }
  static Ptr Lock(Handle h, Boolean) {
    Host &host = H();
    host.events.push_back({"lock", ""});
    if (++host.lockCalls_ == host.failLockAt) return nullptr;
    auto &block = host.blocks_.at(h);
    ++block->locks;
    return *h;
  }
  static void Unlock(Handle h) {
    Host &host = H();
    host.events.push_back({"unlock", h == host.record.parameters ? "parameters" : "data"});
    --host.blocks_.at(h)->locks;
  }

  static SPErr Acquire(const char *name, int32_t version, const void **suite) {
    Host &host = H();
    host.events.push_back({"acquire", std::string(name) + "/" + std::to_string(version)});
    if (auto f = host.suiteFailures.find(name); f != host.suiteFailures.end()) return f->second;
    *suite = &host.property_;  // any table will do for the holders
    return kSPNoError;
  }
  static SPErr Release(const char *name, int32_t version) {
    H().events.push_back({"release", std::string(name) + "/" + std::to_string(version)});
    return kSPNoError;
  }
  static OSErr GetProperty(PIType sig, PIType key, int32_t index, intptr_t *simple,
                           Handle *complex) {
    H().events.push_back({"property", Code(sig) + "/" + Code(key) + "/" + std::to_string(index) +
                                          (simple == nullptr ? "/nosimple" : "/simple")});
    *complex = nullptr;
    return noErr;
  }

  static PIReadDescriptor Open(PIDescriptorHandle h, DescriptorKeyIDArray) {
    Host &host = H();
    if (!host.readerOpens) return nullptr;
    return reinterpret_cast<PIReadDescriptor>(new Reader{host.descriptors_.at(h), 0, nullptr});
  }
  static OSErr Close(PIReadDescriptor r) {
    delete reinterpret_cast<Reader *>(r);
    H().events.push_back({"close", ""});
    return errMissingParameter;  // as if expected keys were missing: must be ignored
  }
  static Boolean GetKey(PIReadDescriptor r, DescriptorKeyID *key, DescriptorTypeID *type,
                        int32_t *flags) {
    Reader *reader = reinterpret_cast<Reader *>(r);
    if (reader->next == reader->items.size()) return 0;
    reader->currentItem = &reader->items[reader->next++];
    *key = reader->currentItem->key;
    *type = 0;
    *flags = 0;
    H().events.push_back({"key", Code(*key)});
    return 1;
  }
  // The current value when it is of this kind; sets the status otherwise.
  static const Value *Get(PIReadDescriptor r, Value::Kind kind, OSErr *status) {
    const Item *item = reinterpret_cast<Reader *>(r)->currentItem;
    *status = noErr;
    if (auto f = H().readFailures.find(item->key); f != H().readFailures.end()) {
      *status = f->second;
    } else if (item->value.kind != kind) {
      *status = paramErr;
    }
    return *status == noErr ? &item->value : nullptr;
  }
  static OSErr GetFloat(PIReadDescriptor r, real64 *v) {
    OSErr status;
    if (const Value *value = Get(r, Value::Float, &status)) *v = value->f;
    return status;
  }
  static OSErr GetInteger(PIReadDescriptor r, int32_t *v) {
    OSErr status;
    if (const Value *value = Get(r, Value::Integer, &status)) *v = value->i;
    return status;
  }
  static OSErr GetEnum(PIReadDescriptor r, DescriptorEnumID *v) {
    OSErr status;
    if (const Value *value = Get(r, Value::Enum, &status)) *v = value->e;
    return status;
  }
  static OSErr GetString(PIReadDescriptor r, Str255 *v) {
    OSErr status;
    if (const Value *value = Get(r, Value::String, &status)) {
      (*v)[0] = static_cast<uint8_t>(value->s.size());
      std::memcpy(*v + 1, value->s.data(), value->s.size());
    }
    return status;
  }

  // The writer is only ever asked to open here, and declines.
  static PIWriteDescriptor OpenWrite() { return nullptr; }
};

Host::Host() {
  current = this;
  handleProcs_.handleProcsVersion = 1;
  handleProcs_.numHandleProcs = 8;
  handleProcs_.newProc = Callbacks::New;
  handleProcs_.disposeProc = Callbacks::Dispose;
  handleProcs_.lockProc = Callbacks::Lock;
  handleProcs_.unlockProc = Callbacks::Unlock;
  basic_.AcquireSuite = Callbacks::Acquire;
  basic_.ReleaseSuite = Callbacks::Release;
  property_.propertyProcsVersion = 1;
  property_.numPropertyProcs = 2;
  property_.getPropertyProc = Callbacks::GetProperty;
  reader_.openReadDescriptorProc = Callbacks::Open;
  reader_.closeReadDescriptorProc = Callbacks::Close;
  reader_.getKeyProc = Callbacks::GetKey;
  reader_.getFloatProc = Callbacks::GetFloat;
  reader_.getIntegerProc = Callbacks::GetInteger;
  reader_.getEnumeratedProc = Callbacks::GetEnum;
  reader_.getStringProc = Callbacks::GetString;
  writer_.openWriteDescriptorProc = Callbacks::OpenWrite;
  descriptorParameters.readDescriptorProcs = &reader_;
  descriptorParameters.writeDescriptorProcs = &writer_;
  record.handleProcs = &handleProcs_;
  record.descriptorParameters = &descriptorParameters;
  record.bigDocumentData = &big;
  useBasicSuite(true);
}

Host::~Host() {
  for (auto &entry : blocks_) delete[] reinterpret_cast<char **>(entry.first);
  current = nullptr;
}

void Host::useBasicSuite(bool on) {
  record.sSPBasic = on ? &basic_ : nullptr;
  about.sSPBasic = record.sSPBasic;
}

Handle Host::newHandle(int32_t size) {
  events.push_back({"new", std::to_string(size)});
  if (++news_ == failNewAt) return nullptr;
  auto block = std::make_unique<Block>();
  block->bytes.assign(static_cast<size_t>(size), '\x5A');  // not cleared, as a host may
  Handle h = reinterpret_cast<Handle>(new char *[1]);
  *h = block->bytes.data();
  blocks_[h] = std::move(block);
  return h;
}

void Host::setDescriptor(std::vector<Item> items) {
  Handle h = newHandle(1);
  descriptors_[h] = std::move(items);
  descriptorParameters.descriptor = h;
}

int Host::count(const std::string &op, const std::string &what) const {
  int n = 0;
  for (const Event &e : events) n += e.op == op && (what.empty() || e.what == what);
  return n;
}

int Host::liveHandles() const {
  return static_cast<int>(blocks_.size());
}

int Host::lockCount(Handle h) const {
  return blocks_.at(h)->locks;
}

int16_t Host::call(int16_t selector) {
  current = this;
  PluginMain(selector, selector == 0 ? static_cast<void *>(&about) : &record, &dataWord, &result);
  return result;
}

}  // namespace fake
