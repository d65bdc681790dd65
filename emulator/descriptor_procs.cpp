// The descriptor reader and writer the host hands a filter through
// descriptorParameters. Readers walk a Descriptor decoded from the handle in
// the order its items were written; writers collect items and turn them into
// a new handle on close.
#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "emulator/host_impl.h"

namespace hostemu {

namespace {

constexpr std::uint32_t kNoUnit = fourCC("#Nne");

// Errors (negative) outrank the coercion notice (positive); the first error
// met is the one kept.
OSErr moreSerious(OSErr sofar, OSErr next) {
  if (sofar < 0) return sofar;
  if (next < 0) return next;
  return sofar != noErr ? sofar : next;
}

std::string statusText(OSErr s) {
  return std::to_string(s);
}

ReadSession *findReader(Host::Impl *impl, PIReadDescriptor token) {
  if (impl == nullptr || token == nullptr) return nullptr;
  for (auto &r : impl->readers) {
    if (reinterpret_cast<PIReadDescriptor>(r.get()) == token) return r.get();
  }
  return nullptr;
}

WriteSession *findWriter(Host::Impl *impl, PIWriteDescriptor token) {
  if (impl == nullptr || token == nullptr) return nullptr;
  for (auto &w : impl->writers) {
    if (reinterpret_cast<PIWriteDescriptor>(w.get()) == token) return w.get();
  }
  return nullptr;
}

// --- reader ---------------------------------------------------------------

PIReadDescriptor openRead(PIDescriptorHandle h, DescriptorKeyIDArray keys) {
  Host::Impl *impl = Host::Impl::active();
  if (impl == nullptr) return nullptr;
  if (h == nullptr || !impl->store.owns(h)) {
    impl->note(LogKind::Descriptor, {{"op", "openRead"}, {"error", "no descriptor handle"}});
    return nullptr;
  }
  auto session = std::make_unique<ReadSession>();
  try {
    const auto bytes = impl->store.bytes(h);
    session->descriptor = Descriptor::deserialize(bytes);
  } catch (const std::exception &e) {
    impl->note(LogKind::Descriptor, {{"op", "openRead"}, {"error", e.what()}});
    return nullptr;
  }
  session->expected = keys;
  if (keys != nullptr) {
    while (keys[session->expectedCount] != 0) ++session->expectedCount;
  }
  impl->note(LogKind::Descriptor, {{"op", "openRead"},
                                   {"items", std::to_string(session->descriptor.size())},
                                   {"expected", std::to_string(session->expectedCount)}});
  impl->readers.push_back(std::move(session));
  return reinterpret_cast<PIReadDescriptor>(impl->readers.back().get());
}

OSErr closeRead(PIReadDescriptor token) {
  Host::Impl *impl = Host::Impl::active();
  ReadSession *s = findReader(impl, token);
  if (s == nullptr) return paramErr;
  const OSErr status = s->worst;
  // The array as the plug-in now sees it, up to its terminator, and the keys
  // in it that were never handed out.
  std::string missing, array;
  for (std::size_t i = 0; i < s->expectedCount; ++i) {
    if (!array.empty()) array += ',';
    array += fourCCText(s->expected[i]);
    if (s->expected[i] != typeNull) {
      if (!missing.empty()) missing += ',';
      missing += fourCCText(s->expected[i]);
    }
  }
  std::vector<std::pair<std::string, std::string>> fields{
      {"op", "closeRead"}, {"status", statusText(status)}, {"missing", missing}};
  if (s->expected != nullptr) fields.emplace_back("expected", array);
  impl->note(LogKind::Descriptor, fields);
  std::erase_if(impl->readers, [s](const auto &r) { return r.get() == s; });
  return status;
}

Boolean getKey(PIReadDescriptor token, DescriptorKeyID *key, DescriptorTypeID *type, int32 *flags) {
  Host::Impl *impl = Host::Impl::active();
  ReadSession *s = findReader(impl, token);
  if (s == nullptr) return 0;
  if (s->next >= s->descriptor.size()) {
    s->current = nullptr;
    return 0;
  }
  s->current = &s->descriptor.items()[s->next++];
  if (key != nullptr) *key = s->current->key;
  if (type != nullptr) *type = s->current->type;
  if (flags != nullptr) *flags = 0;
  // The first entry still holding this key is marked as found with typeNull:
  // a 0 would end the plug-in's array early and hide the keys after it.
  for (std::size_t i = 0; i < s->expectedCount; ++i) {
    if (s->expected[i] == s->current->key) {
      s->expected[i] = typeNull;
      break;
    }
  }
  return 1;
}

// Common entry of every get routine: the current item, or the status to
// answer (no reader, no current key, or a failure injected for the key).
struct Read {
  Host::Impl *impl = nullptr;
  ReadSession *session = nullptr;
  const DescriptorItem *item = nullptr;
  OSErr status = noErr;
};

Read beginRead(PIReadDescriptor token) {
  Read r;
  r.impl = Host::Impl::active();
  r.session = findReader(r.impl, token);
  if (r.session == nullptr) {
    r.status = paramErr;
    return r;
  }
  r.item = r.session->current;
  if (r.item == nullptr) {
    r.status = paramErr;
    return r;
  }
  const auto &failures = r.impl->options.descriptorReadFailures;
  if (auto it = failures.find(r.item->key); it != failures.end()) r.status = it->second;
  return r;
}

OSErr finishRead(Read &r, const char *as, OSErr status) {
  if (r.session != nullptr) r.session->worst = moreSerious(r.session->worst, status);
  if (r.impl != nullptr) {
    r.impl->note(LogKind::Descriptor,
                 {{"op", "get"},
                  {"as", as},
                  {"key", r.item != nullptr ? fourCCText(r.item->key) : std::string("-")},
                  {"status", statusText(status)}});
  }
  return status;
}

template <typename T>
const T *valueAs(const DescriptorItem *item) {
  return std::get_if<T>(&item->value);
}

OSErr getInteger(PIReadDescriptor token, int32 *value) {
  Read r = beginRead(token);
  if (r.status != noErr) return finishRead(r, "integer", r.status);
  OSErr status = noErr;
  if (const auto *v = valueAs<std::int32_t>(r.item)) {
    if (value != nullptr) *value = *v;
  } else if (const auto *c = valueAs<CountValue>(r.item)) {
    if (value != nullptr) *value = static_cast<int32>(c->count);
  } else {
    status = paramErr;
  }
  return finishRead(r, "integer", status);
}

OSErr getFloat(PIReadDescriptor token, real64 *value) {
  Read r = beginRead(token);
  if (r.status != noErr) return finishRead(r, "float", r.status);
  OSErr status = noErr;
  double v = 0.0;
  if (const auto *d = valueAs<double>(r.item)) {
    v = *d;
  } else if (const auto *i = valueAs<std::int32_t>(r.item)) {
    v = *i;
    status = coercedParamErr;
  } else if (const auto *u = valueAs<UnitFloatValue>(r.item)) {
    v = u->value;
    status = coercedParamErr;
  } else {
    return finishRead(r, "float", paramErr);
  }
  if (value != nullptr) *value = v;
  return finishRead(r, "float", status);
}

OSErr unitFloatOf(const DescriptorItem *item, DescriptorUnitID *unit, double *v) {
  if (const auto *u = valueAs<UnitFloatValue>(item)) {
    *unit = u->unit;
    *v = u->value;
    return noErr;
  }
  if (const auto *d = valueAs<double>(item)) {
    *unit = kNoUnit;
    *v = *d;
    return coercedParamErr;
  }
  return paramErr;
}

OSErr getUnitFloat(PIReadDescriptor token, DescriptorUnitID *unit, real64 *value) {
  Read r = beginRead(token);
  if (r.status != noErr) return finishRead(r, "unitFloat", r.status);
  DescriptorUnitID u = 0;
  double v = 0.0;
  const OSErr status = unitFloatOf(r.item, &u, &v);
  if (status != paramErr) {
    if (unit != nullptr) *unit = u;
    if (value != nullptr) *value = v;
  }
  return finishRead(r, "unitFloat", status);
}

OSErr getBoolean(PIReadDescriptor token, Boolean *value) {
  Read r = beginRead(token);
  if (r.status != noErr) return finishRead(r, "boolean", r.status);
  const auto *b = valueAs<bool>(r.item);
  if (b == nullptr) return finishRead(r, "boolean", paramErr);
  if (value != nullptr) *value = *b ? 1 : 0;
  return finishRead(r, "boolean", noErr);
}

// A new handle holding the bytes, for the filter to dispose of.
OSErr handOutBytes(Read &r, const char *as, const void *data, std::size_t size, Handle *out) {
  if (out == nullptr) return finishRead(r, as, paramErr);
  const auto *p = static_cast<const std::uint8_t *>(data);
  Handle h = r.impl->store.createWith(std::span<const std::uint8_t>(p, size),
                                      "host:descriptor-reader", false);
  if (h == nullptr) return finishRead(r, as, memFullErr);
  *out = h;
  return finishRead(r, as, noErr);
}

OSErr getText(PIReadDescriptor token, Handle *text) {
  Read r = beginRead(token);
  if (r.status != noErr) return finishRead(r, "text", r.status);
  if (const auto *t = valueAs<TextValue>(r.item)) {
    return handOutBytes(r, "text", t->bytes.data(), t->bytes.size(), text);
  }
  if (const auto *s = valueAs<StringValue>(r.item)) {
    return handOutBytes(r, "text", s->text.data(), s->text.size(), text);
  }
  return finishRead(r, "text", paramErr);
}

OSErr getAlias(PIReadDescriptor token, Handle *alias) {
  Read r = beginRead(token);
  if (r.status != noErr) return finishRead(r, "alias", r.status);
  const auto *a = valueAs<AliasValue>(r.item);
  if (a == nullptr) return finishRead(r, "alias", paramErr);
  return handOutBytes(r, "alias", a->bytes.data(), a->bytes.size(), alias);
}

OSErr getEnumerated(PIReadDescriptor token, DescriptorEnumID *value) {
  Read r = beginRead(token);
  if (r.status != noErr) return finishRead(r, "enumerated", r.status);
  const auto *e = valueAs<EnumValue>(r.item);
  if (e == nullptr) return finishRead(r, "enumerated", paramErr);
  if (value != nullptr) *value = e->value;
  return finishRead(r, "enumerated", noErr);
}

OSErr getClass(PIReadDescriptor token, DescriptorTypeID *type) {
  Read r = beginRead(token);
  if (r.status != noErr) return finishRead(r, "class", r.status);
  const auto *c = valueAs<ClassValue>(r.item);
  if (c == nullptr) return finishRead(r, "class", paramErr);
  if (type != nullptr) *type = c->classId;
  return finishRead(r, "class", noErr);
}

OSErr getSimpleReference(PIReadDescriptor token, PIDescriptorSimpleReference *ref) {
  Read r = beginRead(token);
  if (r.status != noErr) return finishRead(r, "reference", r.status);
  const auto *v = valueAs<ReferenceValue>(r.item);
  if (v == nullptr) return finishRead(r, "reference", paramErr);
  if (ref != nullptr) {
    std::memset(ref, 0, sizeof *ref);
    ref->desiredClass = v->desiredClass;
    ref->keyForm = v->keyForm;
    const std::size_t n = std::min<std::size_t>(v->name.size(), 255);
    ref->keyData.name[0] = static_cast<uint8>(n);
    std::memcpy(ref->keyData.name + 1, v->name.data(), n);
    ref->keyData.index = v->index;
    ref->keyData.type = v->type;
    ref->keyData.value = v->value;
  }
  return finishRead(r, "reference", noErr);
}

OSErr getObject(PIReadDescriptor token, DescriptorTypeID *type, PIDescriptorHandle *object) {
  Read r = beginRead(token);
  if (r.status != noErr) return finishRead(r, "object", r.status);
  const auto *o = valueAs<ObjectValue>(r.item);
  if (o == nullptr) return finishRead(r, "object", paramErr);
  if (type != nullptr) *type = o->classId;
  const auto bytes = Descriptor(o->items).serialize();
  return handOutBytes(r, "object", bytes.data(), bytes.size(), object);
}

OSErr getCount(PIReadDescriptor token, uint32 *count) {
  Read r = beginRead(token);
  if (r.status != noErr) return finishRead(r, "count", r.status);
  if (const auto *c = valueAs<CountValue>(r.item)) {
    if (count != nullptr) *count = c->count;
    return finishRead(r, "count", noErr);
  }
  if (const auto *i = valueAs<std::int32_t>(r.item); i != nullptr && *i >= 0) {
    if (count != nullptr) *count = static_cast<uint32>(*i);
    return finishRead(r, "count", noErr);
  }
  return finishRead(r, "count", paramErr);
}

OSErr getString(PIReadDescriptor token, Str255 *value) {
  Read r = beginRead(token);
  if (r.status != noErr) return finishRead(r, "string", r.status);
  const std::string *text = nullptr;
  if (const auto *s = valueAs<StringValue>(r.item)) text = &s->text;
  if (const auto *t = valueAs<TextValue>(r.item)) text = &t->bytes;
  if (text == nullptr) return finishRead(r, "string", paramErr);
  // Text longer than a Pascal string holds is cut, and said so.
  const OSErr status = text->size() > 255 ? coercedParamErr : noErr;
  if (value != nullptr) {
    const std::size_t n = std::min<std::size_t>(text->size(), 255);
    (*value)[0] = static_cast<uint8>(n);
    std::memcpy(*value + 1, text->data(), n);
  }
  return finishRead(r, "string", status);
}

OSErr getPinnedInteger(PIReadDescriptor token, int32 min, int32 max, int32 *value) {
  Read r = beginRead(token);
  if (r.status != noErr) return finishRead(r, "pinnedInteger", r.status);
  std::int32_t v = 0;
  if (const auto *i = valueAs<std::int32_t>(r.item)) {
    v = *i;
  } else if (const auto *c = valueAs<CountValue>(r.item)) {
    v = static_cast<std::int32_t>(c->count);
  } else {
    return finishRead(r, "pinnedInteger", paramErr);
  }
  OSErr status = noErr;
  if (v < min) {
    v = min;
    status = coercedParamErr;
  } else if (v > max) {
    v = max;
    status = coercedParamErr;
  }
  if (value != nullptr) *value = v;
  return finishRead(r, "pinnedInteger", status);
}

OSErr pin(double *v, const real64 *min, const real64 *max, OSErr status) {
  if (min != nullptr && *v < *min) {
    *v = *min;
    return coercedParamErr;
  }
  if (max != nullptr && *v > *max) {
    *v = *max;
    return coercedParamErr;
  }
  return status;
}

OSErr getPinnedFloat(PIReadDescriptor token, const real64 *min, const real64 *max, real64 *value) {
  Read r = beginRead(token);
  if (r.status != noErr) return finishRead(r, "pinnedFloat", r.status);
  double v = 0.0;
  OSErr status = noErr;
  if (const auto *d = valueAs<double>(r.item)) {
    v = *d;
  } else if (const auto *i = valueAs<std::int32_t>(r.item)) {
    v = *i;
    status = coercedParamErr;
  } else {
    return finishRead(r, "pinnedFloat", paramErr);
  }
  status = pin(&v, min, max, status);
  if (value != nullptr) *value = v;
  return finishRead(r, "pinnedFloat", status);
}

OSErr getPinnedUnitFloat(PIReadDescriptor token, const real64 *min, const real64 *max,
                         DescriptorUnitID *unit, real64 *value) {
  Read r = beginRead(token);
  if (r.status != noErr) return finishRead(r, "pinnedUnitFloat", r.status);
  DescriptorUnitID u = 0;
  double v = 0.0;
  OSErr status = unitFloatOf(r.item, &u, &v);
  if (status == paramErr) return finishRead(r, "pinnedUnitFloat", paramErr);
  status = pin(&v, min, max, status);
  if (unit != nullptr) *unit = u;
  if (value != nullptr) *value = v;
  return finishRead(r, "pinnedUnitFloat", status);
}

// --- writer ---------------------------------------------------------------

PIWriteDescriptor openWrite() {
  Host::Impl *impl = Host::Impl::active();
  if (impl == nullptr) return nullptr;
  impl->writers.push_back(std::make_unique<WriteSession>());
  impl->note(LogKind::Descriptor, {{"op", "openWrite"}});
  return reinterpret_cast<PIWriteDescriptor>(impl->writers.back().get());
}

OSErr closeWrite(PIWriteDescriptor token, PIDescriptorHandle *out) {
  Host::Impl *impl = Host::Impl::active();
  WriteSession *s = findWriter(impl, token);
  if (s == nullptr) return paramErr;
  const auto bytes = s->descriptor.serialize();
  OSErr status = noErr;
  Handle h = impl->store.createWith(bytes, "host:descriptor-writer", false);
  if (h == nullptr) status = memFullErr;
  if (out != nullptr) {
    *out = h;
  } else if (h != nullptr) {
    impl->store.dispose(h);
    status = paramErr;
  }
  impl->note(LogKind::Descriptor, {{"op", "closeWrite"},
                                   {"items", std::to_string(s->descriptor.size())},
                                   {"status", statusText(status)}});
  std::erase_if(impl->writers, [s](const auto &w) { return w.get() == s; });
  return status;
}

OSErr put(PIWriteDescriptor token, DescriptorItem item, const char *as) {
  Host::Impl *impl = Host::Impl::active();
  WriteSession *s = findWriter(impl, token);
  if (s == nullptr) return paramErr;
  impl->note(LogKind::Descriptor, {{"op", "put"}, {"as", as}, {"key", fourCCText(item.key)}});
  s->descriptor.add(std::move(item));
  return noErr;
}

OSErr putInteger(PIWriteDescriptor w, DescriptorKeyID key, int32 value) {
  return put(w, {key, desc_type::kInteger, static_cast<std::int32_t>(value)}, "integer");
}

OSErr putFloat(PIWriteDescriptor w, DescriptorKeyID key, const real64 *value) {
  if (value == nullptr) return paramErr;
  return put(w, {key, desc_type::kFloat, *value}, "float");
}

OSErr putUnitFloat(PIWriteDescriptor w, DescriptorKeyID key, DescriptorUnitID unit,
                   const real64 *value) {
  if (value == nullptr) return paramErr;
  return put(w, {key, desc_type::kUnitFloat, UnitFloatValue{unit, *value}}, "unitFloat");
}

OSErr putBoolean(PIWriteDescriptor w, DescriptorKeyID key, Boolean value) {
  return put(w, {key, desc_type::kBoolean, value != 0}, "boolean");
}

OSErr bytesOfHandle(Handle h, std::vector<std::uint8_t> *out) {
  Host::Impl *impl = Host::Impl::active();
  if (impl == nullptr || h == nullptr || !impl->store.owns(h)) return nilHandleErr;
  *out = impl->store.bytes(h);
  return noErr;
}

OSErr putText(PIWriteDescriptor w, DescriptorKeyID key, Handle text) {
  std::vector<std::uint8_t> bytes;
  if (const OSErr err = bytesOfHandle(text, &bytes); err != noErr) return err;
  return put(w, {key, desc_type::kText, TextValue{std::string(bytes.begin(), bytes.end())}},
             "text");
}

OSErr putAlias(PIWriteDescriptor w, DescriptorKeyID key, Handle alias) {
  std::vector<std::uint8_t> bytes;
  if (const OSErr err = bytesOfHandle(alias, &bytes); err != noErr) return err;
  return put(w, {key, desc_type::kAlias, AliasValue{std::move(bytes)}}, "alias");
}

OSErr putEnumerated(PIWriteDescriptor w, DescriptorKeyID key, DescriptorTypeID type,
                    DescriptorEnumID value) {
  return put(w, {key, desc_type::kEnumerated, EnumValue{type, value}}, "enumerated");
}

OSErr putClass(PIWriteDescriptor w, DescriptorKeyID key, DescriptorTypeID type) {
  return put(w, {key, desc_type::kClass, ClassValue{type}}, "class");
}

OSErr putScopedClass(PIWriteDescriptor w, DescriptorKeyID key, DescriptorTypeID type) {
  return put(w, {key, desc_type::kGlobalClass, ClassValue{type}}, "scopedClass");
}

OSErr putSimpleReference(PIWriteDescriptor w, DescriptorKeyID key,
                         const PIDescriptorSimpleReference *ref) {
  if (ref == nullptr) return paramErr;
  ReferenceValue v;
  v.desiredClass = ref->desiredClass;
  v.keyForm = ref->keyForm;
  v.name.assign(reinterpret_cast<const char *>(ref->keyData.name + 1), ref->keyData.name[0]);
  v.index = ref->keyData.index;
  v.type = ref->keyData.type;
  v.value = ref->keyData.value;
  return put(w, {key, desc_type::kReference, std::move(v)}, "reference");
}

OSErr putObjectAs(PIWriteDescriptor w, DescriptorKeyID key, DescriptorTypeID type,
                  PIDescriptorHandle object, std::uint32_t typeCode, const char *as) {
  std::vector<std::uint8_t> bytes;
  if (const OSErr err = bytesOfHandle(object, &bytes); err != noErr) return err;
  try {
    Descriptor nested = Descriptor::deserialize(bytes);
    return put(w, {key, typeCode, ObjectValue{type, nested.items()}}, as);
  } catch (const std::exception &) {
    return paramErr;
  }
}

OSErr putObject(PIWriteDescriptor w, DescriptorKeyID key, DescriptorTypeID type,
                PIDescriptorHandle object) {
  return putObjectAs(w, key, type, object, desc_type::kObject, "object");
}

OSErr putScopedObject(PIWriteDescriptor w, DescriptorKeyID key, DescriptorTypeID type,
                      PIDescriptorHandle object) {
  return putObjectAs(w, key, type, object, desc_type::kGlobalObject, "scopedObject");
}

OSErr putCount(PIWriteDescriptor w, DescriptorKeyID key, uint32 count) {
  return put(w, {key, desc_type::kInteger, CountValue{count}}, "count");
}

OSErr putString(PIWriteDescriptor w, DescriptorKeyID key, ConstStr255Param text) {
  if (text == nullptr) return paramErr;
  return put(w,
             {key, desc_type::kText,
              StringValue{std::string(reinterpret_cast<const char *>(text + 1), text[0])}},
             "string");
}

}  // namespace

void fillReadDescriptorProcs(ReadDescriptorProcs &p) {
  p.readDescriptorProcsVersion = 0;
  p.numReadDescriptorProcs = 18;
  p.openReadDescriptorProc = openRead;
  p.closeReadDescriptorProc = closeRead;
  p.getKeyProc = getKey;
  p.getIntegerProc = getInteger;
  p.getFloatProc = getFloat;
  p.getUnitFloatProc = getUnitFloat;
  p.getBooleanProc = getBoolean;
  p.getTextProc = getText;
  p.getAliasProc = getAlias;
  p.getEnumeratedProc = getEnumerated;
  p.getClassProc = getClass;
  p.getSimpleReferenceProc = getSimpleReference;
  p.getObjectProc = getObject;
  p.getCountProc = getCount;
  p.getStringProc = getString;
  p.getPinnedIntegerProc = getPinnedInteger;
  p.getPinnedFloatProc = getPinnedFloat;
  p.getPinnedUnitFloatProc = getPinnedUnitFloat;
}

void fillWriteDescriptorProcs(WriteDescriptorProcs &p) {
  p.writeDescriptorProcsVersion = 0;
  p.numWriteDescriptorProcs = 16;
  p.openWriteDescriptorProc = openWrite;
  p.closeWriteDescriptorProc = closeWrite;
  p.putIntegerProc = putInteger;
  p.putFloatProc = putFloat;
  p.putUnitFloatProc = putUnitFloat;
  p.putBooleanProc = putBoolean;
  p.putTextProc = putText;
  p.putAliasProc = putAlias;
  p.putEnumeratedProc = putEnumerated;
  p.putClassProc = putClass;
  p.putSimpleReferenceProc = putSimpleReference;
  p.putObjectProc = putObject;
  p.putCountProc = putCount;
  p.putStringProc = putString;
  p.putScopedClassProc = putScopedClass;
  p.putScopedObjectProc = putScopedObject;
}

void dropDescriptorSessions(Host::Impl &impl) {
  if (!impl.readers.empty() || !impl.writers.empty()) {
    impl.note(LogKind::Descriptor, {{"op", "left-open"},
                                    {"readers", std::to_string(impl.readers.size())},
                                    {"writers", std::to_string(impl.writers.size())}});
  }
  impl.readers.clear();
  impl.writers.clear();
}

}  // namespace hostemu
