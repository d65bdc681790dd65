#include "emulator/automation/action_suites.h"

#include <chrono>
#include <cstring>
#include <set>
#include <sstream>

#include "emulator/fourcc.h"

namespace hostemu {

struct ActionSuites::State {
  explicit State(ActionEnvironment e) : env(std::move(e)) {}
  ActionEnvironment env;
  std::map<const void *, std::unique_ptr<ActionDescriptor>> descriptors;
  std::map<const void *, std::unique_ptr<ActionList>> lists;
  std::map<const void *, std::unique_ptr<ActionReference>> references;
  std::map<const void *, std::uint64_t> serials;  // for the log
  std::uint64_t nextSerial = 1;
  std::map<std::string, ActionDescriptor, std::less<>> registry;
  std::uint32_t nextTypeId = 0x7F000001;  // runtime ids handed out for new string ids

  void log(const std::string &line) const {
    if (env.log) env.log(line);
  }
  std::string name(const void *p) const {
    const auto it = serials.find(p);
    if (it == serials.end()) return "?";
    std::string shown(1, '#');
    shown.append(std::to_string(it->second));
    return shown;
  }
  template <typename T>
  const void *add(std::map<const void *, std::unique_ptr<T>> &store, T value) {
    auto owned = std::make_unique<T>(std::move(value));
    const void *p = owned.get();
    store.emplace(p, std::move(owned));
    serials[p] = nextSerial++;
    return p;
  }
  template <typename T>
  bool remove(std::map<const void *, std::unique_ptr<T>> &store, const void *p) {
    if (store.erase(p) == 0) return false;
    serials.erase(p);
    return true;
  }
  ActionDescriptor *desc(const void *p) {
    const auto it = descriptors.find(p);
    return it == descriptors.end() ? nullptr : it->second.get();
  }
  ActionList *list(const void *p) {
    const auto it = lists.find(p);
    return it == lists.end() ? nullptr : it->second.get();
  }
  ActionReference *ref(const void *p) {
    const auto it = references.find(p);
    return it == references.end() ? nullptr : it->second.get();
  }
};

namespace {

ActionSuites *gActiveSuites = nullptr;

ActionSuites::State *st() {
  return gActiveSuites != nullptr ? &gActiveSuites->state() : nullptr;
}

// Logs one call and passes its status on.
OSErr done(const char *entry, const std::string &detail, OSErr status) {
  if (auto *s = st()) s->log(std::string(entry) + "(" + detail + ") -> " + std::to_string(status));
  return status;
}

std::string k(std::uint32_t key) {
  return fourCCText(key);
}

OSErr insufficient() {
  return errPlugInHostInsufficient;
}

template <typename T>
PIActionDescriptor asDesc(T p) {
  return reinterpret_cast<PIActionDescriptor>(const_cast<void *>(static_cast<const void *>(p)));
}
PIActionList asList(const void *p) {
  return reinterpret_cast<PIActionList>(const_cast<void *>(p));
}
PIActionReference asRef(const void *p) {
  return reinterpret_cast<PIActionReference>(const_cast<void *>(p));
}

// ---------------------------------------------------------------- values

ActionValue intValue(std::int64_t v, std::uint32_t type = typeInteger) {
  ActionValue a;
  a.type = type;
  a.integer = v;
  return a;
}
ActionValue floatValue(double v) {
  ActionValue a;
  a.type = typeFloat;
  a.number = v;
  return a;
}
ActionValue unitValue(std::uint32_t unit, double v) {
  ActionValue a;
  a.type = typeUnitFloat;
  a.unit = unit;
  a.number = v;
  return a;
}
ActionValue textValue(std::string bytes, std::uint32_t type = typeChar) {
  ActionValue a;
  a.type = type;
  a.bytes = std::move(bytes);
  return a;
}
ActionValue codeValue(std::uint32_t type, std::uint32_t code, std::uint32_t enumType = 0) {
  ActionValue a;
  a.type = type;
  a.code = code;
  a.enumType = enumType;
  return a;
}

// Readers shared by descriptors (by key) and lists (by index): each takes the
// value found (null: missing) and fills the caller's variables.
OSErr readInteger(const ActionValue &v, int32 *out) {
  if (v.type != typeInteger) return paramErr;
  *out = static_cast<int32>(v.integer);
  return noErr;
}
OSErr readInteger64(const ActionValue &v, int64 *out) {
  if (v.type != typeInteger && v.type != typeSInt64) return paramErr;
  *out = v.integer;
  return noErr;
}
OSErr readFloat(const ActionValue &v, real64 *out) {
  if (v.type == typeFloat || v.type == typeUnitFloat) {
    *out = v.number;
  } else if (v.type == typeInteger) {
    *out = static_cast<double>(v.integer);
  } else {
    return paramErr;
  }
  return noErr;
}
OSErr readUnitFloat(const ActionValue &v, DescriptorUnitID *unit, real64 *out) {
  if (v.type == typeUnitFloat) {
    if (unit != nullptr) *unit = v.unit;
    *out = v.number;
  } else if (v.type == typeFloat || v.type == typeInteger) {
    if (unit != nullptr) *unit = unitNone;
    *out = v.type == typeFloat ? v.number : static_cast<double>(v.integer);
  } else {
    return paramErr;
  }
  return noErr;
}
OSErr readStringLength(const ActionValue &v, uint32 *out) {
  if (v.type != typeChar) return paramErr;
  *out = static_cast<uint32>(v.bytes.size());
  return noErr;
}
OSErr readString(const ActionValue &v, char *out, uint32 maxLength) {
  if (v.type != typeChar) return paramErr;
  if (maxLength == 0) return paramErr;
  const std::size_t n = std::min<std::size_t>(v.bytes.size(), maxLength - 1);
  std::memcpy(out, v.bytes.data(), n);
  out[n] = '\0';
  return noErr;
}
OSErr readBoolean(const ActionValue &v, Boolean *out) {
  if (v.type != typeBoolean) return paramErr;
  *out = v.integer != 0 ? 1 : 0;
  return noErr;
}
OSErr readEnumerated(const ActionValue &v, DescriptorEnumTypeID *type, DescriptorEnumID *out) {
  if (v.type != typeEnumerated) return paramErr;
  if (type != nullptr) *type = v.enumType;
  *out = v.code;
  return noErr;
}
OSErr readClass(const ActionValue &v, std::uint32_t wanted, DescriptorClassID *out) {
  if (v.type != wanted) return paramErr;
  *out = v.code;
  return noErr;
}
OSErr readObject(const ActionValue &v, std::uint32_t wanted, DescriptorClassID *type,
                 PIActionDescriptor *out) {
  if (v.type != wanted) return paramErr;
  if (type != nullptr) *type = v.code;
  ActionDescriptor copy = v.object ? *v.object : ActionDescriptor{};
  copy.classId = v.code;
  *out = asDesc(st()->add(st()->descriptors, std::move(copy)));
  return noErr;
}
OSErr readList(const ActionValue &v, PIActionList *out) {
  if (v.type != typeAEList) return paramErr;
  *out = asList(st()->add(st()->lists, v.list ? *v.list : ActionList{}));
  return noErr;
}
OSErr readReference(const ActionValue &v, PIActionReference *out) {
  if (v.type != typeObjectReference) return paramErr;
  *out = asRef(st()->add(st()->references, v.reference ? *v.reference : ActionReference{}));
  return noErr;
}
OSErr readIntegers(const ActionValue &v, uint32 count, int32 *out) {
  if (v.type != typeAEList || !v.list || v.list->items.size() < count) return paramErr;
  for (uint32 i = 0; i < count; ++i) {
    if (v.list->items[i].type != typeInteger) return paramErr;
  }
  for (uint32 i = 0; i < count; ++i) out[i] = static_cast<int32>(v.list->items[i].integer);
  return noErr;
}
OSErr readDataLength(const ActionValue &v, int32 *out) {
  if (v.type != typeRawData) return paramErr;
  *out = static_cast<int32>(v.bytes.size());
  return noErr;
}
OSErr readData(const ActionValue &v, void *out) {
  if (v.type != typeRawData) return paramErr;
  std::memcpy(out, v.bytes.data(), v.bytes.size());
  return noErr;
}

// Values made from what the plug-in passes; a pointer that is not a live
// object of the right kind gives nullopt.
std::optional<ActionValue> objectValue(std::uint32_t type, DescriptorClassID cls,
                                       PIActionDescriptor d) {
  const ActionDescriptor *inner = st()->desc(d);
  if (inner == nullptr) return std::nullopt;
  ActionValue v = codeValue(type, cls);
  auto copy = std::make_shared<ActionDescriptor>(*inner);
  copy->classId = cls;
  v.object = std::move(copy);
  return v;
}
std::optional<ActionValue> listValue(PIActionList l) {
  const ActionList *inner = st()->list(l);
  if (inner == nullptr) return std::nullopt;
  ActionValue v;
  v.type = typeAEList;
  v.list = std::make_shared<ActionList>(*inner);
  return v;
}
std::optional<ActionValue> referenceValue(PIActionReference r) {
  const ActionReference *inner = st()->ref(r);
  if (inner == nullptr) return std::nullopt;
  ActionValue v;
  v.type = typeObjectReference;
  v.reference = std::make_shared<ActionReference>(*inner);
  return v;
}
std::optional<ActionValue> aliasValue(Handle h) {
  HandleStore *store = st()->env.handles;
  if (store == nullptr || h == nullptr || !store->owns(h)) return std::nullopt;
  const auto bytes = store->bytes(h);
  return textValue(std::string(bytes.begin(), bytes.end()), typeAlias);
}
OSErr makeAlias(const ActionValue &v, Handle *out) {
  if (v.type != typeAlias) return paramErr;
  HandleStore *store = st()->env.handles;
  if (store == nullptr) return errPlugInHostInsufficient;
  *out = store->createWith(
      std::span(reinterpret_cast<const std::uint8_t *>(v.bytes.data()), v.bytes.size()),
      "host:alias");
  return *out != nullptr ? noErr : memFullErr;
}

// ---------------------------------------------------------------- descriptor suite

// Runs `read` on the value under `key`, with the checks every getter shares.
template <typename Read>
OSErr getByKey(const char *entry, PIActionDescriptor d, DescriptorKeyID key, bool outOk,
               Read read) {
  auto *s = st();
  if (s == nullptr) return paramErr;
  const ActionDescriptor *desc = s->desc(d);
  if (desc == nullptr || !outOk) return done(entry, s->name(d) + ", " + k(key), paramErr);
  const ActionValue *v = desc->find(key);
  if (v == nullptr) return done(entry, s->name(d) + ", " + k(key), errMissingParameter);
  const OSErr status = read(*v);
  return done(entry, s->name(d) + ", " + k(key) + (status == noErr ? " = " + v->text() : ""),
              status);
}

OSErr putByKey(const char *entry, PIActionDescriptor d, DescriptorKeyID key,
               std::optional<ActionValue> value) {
  auto *s = st();
  if (s == nullptr) return paramErr;
  ActionDescriptor *desc = s->desc(d);
  if (desc == nullptr || !value) return done(entry, s->name(d) + ", " + k(key), paramErr);
  const std::string shown = value->text();
  desc->put(key, std::move(*value));
  return done(entry, s->name(d) + ", " + k(key) + " = " + shown, noErr);
}

PSActionDescriptorProcs makeDescriptorSuite() {
  PSActionDescriptorProcs t{};
  t.Make = [](PIActionDescriptor *out) -> OSErr {
    auto *s = st();
    if (s == nullptr || out == nullptr) return paramErr;
    *out = asDesc(s->add(s->descriptors, ActionDescriptor{}));
    return done("descriptor.Make", s->name(*out), noErr);
  };
  t.Free = [](PIActionDescriptor d) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    const std::string shown = s->name(d);
    return done("descriptor.Free", shown, s->remove(s->descriptors, d) ? noErr : paramErr);
  };
  t.GetType = [](PIActionDescriptor d, DescriptorKeyID key, DescriptorTypeID *type) -> OSErr {
    return getByKey("descriptor.GetType", d, key, type != nullptr, [&](const ActionValue &v) {
      *type = v.type;
      return noErr;
    });
  };
  t.GetKey = [](PIActionDescriptor d, uint32 index, DescriptorKeyID *key) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    const ActionDescriptor *desc = s->desc(d);
    if (desc == nullptr || key == nullptr || index >= desc->items.size()) {
      return done("descriptor.GetKey", s->name(d) + ", " + std::to_string(index), paramErr);
    }
    *key = desc->items[index].first;
    return done("descriptor.GetKey", s->name(d) + ", " + std::to_string(index) + " = " + k(*key),
                noErr);
  };
  t.HasKey = [](PIActionDescriptor d, DescriptorKeyID key, Boolean *has) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    const ActionDescriptor *desc = s->desc(d);
    if (desc == nullptr || has == nullptr) {
      return done("descriptor.HasKey", s->name(d) + ", " + k(key), paramErr);
    }
    *has = desc->find(key) != nullptr ? 1 : 0;
    return done("descriptor.HasKey",
                s->name(d) + ", " + k(key) + " = " + (*has != 0 ? "true" : "false"), noErr);
  };
  t.GetCount = [](PIActionDescriptor d, uint32 *count) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    const ActionDescriptor *desc = s->desc(d);
    if (desc == nullptr || count == nullptr)
      return done("descriptor.GetCount", s->name(d), paramErr);
    *count = static_cast<uint32>(desc->items.size());
    return done("descriptor.GetCount", s->name(d) + " = " + std::to_string(*count), noErr);
  };
  t.IsEqual = [](PIActionDescriptor d, PIActionDescriptor other, Boolean *equal) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    const ActionDescriptor *a = s->desc(d);
    const ActionDescriptor *b = s->desc(other);
    if (a == nullptr || b == nullptr || equal == nullptr) {
      return done("descriptor.IsEqual", s->name(d) + ", " + s->name(other), paramErr);
    }
    *equal = *a == *b ? 1 : 0;
    return done("descriptor.IsEqual", s->name(d) + ", " + s->name(other), noErr);
  };
  t.Erase = [](PIActionDescriptor d, DescriptorKeyID key) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    ActionDescriptor *desc = s->desc(d);
    if (desc == nullptr) return done("descriptor.Erase", s->name(d) + ", " + k(key), paramErr);
    return done("descriptor.Erase", s->name(d) + ", " + k(key),
                desc->erase(key) ? noErr : errMissingParameter);
  };
  t.Clear = [](PIActionDescriptor d) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    ActionDescriptor *desc = s->desc(d);
    if (desc == nullptr) return done("descriptor.Clear", s->name(d), paramErr);
    desc->items.clear();
    return done("descriptor.Clear", s->name(d), noErr);
  };
  t.PutInteger = [](PIActionDescriptor d, DescriptorKeyID key, int32 v) -> OSErr {
    return putByKey("descriptor.PutInteger", d, key, intValue(v));
  };
  t.PutFloat = [](PIActionDescriptor d, DescriptorKeyID key, real64 v) -> OSErr {
    return putByKey("descriptor.PutFloat", d, key, floatValue(v));
  };
  t.PutUnitFloat = [](PIActionDescriptor d, DescriptorKeyID key, DescriptorUnitID unit,
                      real64 v) -> OSErr {
    return putByKey("descriptor.PutUnitFloat", d, key, unitValue(unit, v));
  };
  t.PutString = [](PIActionDescriptor d, DescriptorKeyID key, const char *text) -> OSErr {
    if (text == nullptr) return putByKey("descriptor.PutString", d, key, std::nullopt);
    return putByKey("descriptor.PutString", d, key, textValue(text));
  };
  t.PutBoolean = [](PIActionDescriptor d, DescriptorKeyID key, Boolean v) -> OSErr {
    return putByKey("descriptor.PutBoolean", d, key, intValue(v != 0 ? 1 : 0, typeBoolean));
  };
  t.PutList = [](PIActionDescriptor d, DescriptorKeyID key, PIActionList v) -> OSErr {
    return putByKey("descriptor.PutList", d, key, st() ? listValue(v) : std::nullopt);
  };
  t.PutObject = [](PIActionDescriptor d, DescriptorKeyID key, DescriptorClassID cls,
                   PIActionDescriptor v) -> OSErr {
    return putByKey("descriptor.PutObject", d, key,
                    st() ? objectValue(typeObject, cls, v) : std::nullopt);
  };
  t.PutGlobalObject = [](PIActionDescriptor d, DescriptorKeyID key, DescriptorClassID cls,
                         PIActionDescriptor v) -> OSErr {
    return putByKey("descriptor.PutGlobalObject", d, key,
                    st() ? objectValue(typeGlobalObject, cls, v) : std::nullopt);
  };
  t.PutEnumerated = [](PIActionDescriptor d, DescriptorKeyID key, DescriptorEnumTypeID type,
                       DescriptorEnumID v) -> OSErr {
    return putByKey("descriptor.PutEnumerated", d, key, codeValue(typeEnumerated, v, type));
  };
  t.PutReference = [](PIActionDescriptor d, DescriptorKeyID key, PIActionReference v) -> OSErr {
    return putByKey("descriptor.PutReference", d, key, st() ? referenceValue(v) : std::nullopt);
  };
  t.PutClass = [](PIActionDescriptor d, DescriptorKeyID key, DescriptorClassID v) -> OSErr {
    return putByKey("descriptor.PutClass", d, key, codeValue(typeClass, v));
  };
  t.PutGlobalClass = [](PIActionDescriptor d, DescriptorKeyID key, DescriptorClassID v) -> OSErr {
    return putByKey("descriptor.PutGlobalClass", d, key, codeValue(typeGlobalClass, v));
  };
  t.PutAlias = [](PIActionDescriptor d, DescriptorKeyID key, Handle v) -> OSErr {
    return putByKey("descriptor.PutAlias", d, key, st() ? aliasValue(v) : std::nullopt);
  };
  t.GetInteger = [](PIActionDescriptor d, DescriptorKeyID key, int32 *out) -> OSErr {
    return getByKey("descriptor.GetInteger", d, key, out != nullptr,
                    [&](const ActionValue &v) { return readInteger(v, out); });
  };
  t.GetFloat = [](PIActionDescriptor d, DescriptorKeyID key, real64 *out) -> OSErr {
    return getByKey("descriptor.GetFloat", d, key, out != nullptr,
                    [&](const ActionValue &v) { return readFloat(v, out); });
  };
  t.GetUnitFloat = [](PIActionDescriptor d, DescriptorKeyID key, DescriptorUnitID *unit,
                      real64 *out) -> OSErr {
    return getByKey("descriptor.GetUnitFloat", d, key, out != nullptr,
                    [&](const ActionValue &v) { return readUnitFloat(v, unit, out); });
  };
  t.GetStringLength = [](PIActionDescriptor d, DescriptorKeyID key, uint32 *out) -> OSErr {
    return getByKey("descriptor.GetStringLength", d, key, out != nullptr,
                    [&](const ActionValue &v) { return readStringLength(v, out); });
  };
  t.GetString = [](PIActionDescriptor d, DescriptorKeyID key, char *out, uint32 max) -> OSErr {
    return getByKey("descriptor.GetString", d, key, out != nullptr,
                    [&](const ActionValue &v) { return readString(v, out, max); });
  };
  t.GetBoolean = [](PIActionDescriptor d, DescriptorKeyID key, Boolean *out) -> OSErr {
    return getByKey("descriptor.GetBoolean", d, key, out != nullptr,
                    [&](const ActionValue &v) { return readBoolean(v, out); });
  };
  t.GetList = [](PIActionDescriptor d, DescriptorKeyID key, PIActionList *out) -> OSErr {
    return getByKey("descriptor.GetList", d, key, out != nullptr,
                    [&](const ActionValue &v) { return readList(v, out); });
  };
  t.GetObject = [](PIActionDescriptor d, DescriptorKeyID key, DescriptorClassID *type,
                   PIActionDescriptor *out) -> OSErr {
    return getByKey("descriptor.GetObject", d, key, out != nullptr,
                    [&](const ActionValue &v) { return readObject(v, typeObject, type, out); });
  };
  t.GetGlobalObject = [](PIActionDescriptor d, DescriptorKeyID key, DescriptorClassID *type,
                         PIActionDescriptor *out) -> OSErr {
    return getByKey(
        "descriptor.GetGlobalObject", d, key, out != nullptr,
        [&](const ActionValue &v) { return readObject(v, typeGlobalObject, type, out); });
  };
  t.GetEnumerated = [](PIActionDescriptor d, DescriptorKeyID key, DescriptorEnumTypeID *type,
                       DescriptorEnumID *out) -> OSErr {
    return getByKey("descriptor.GetEnumerated", d, key, out != nullptr,
                    [&](const ActionValue &v) { return readEnumerated(v, type, out); });
  };
  t.GetReference = [](PIActionDescriptor d, DescriptorKeyID key, PIActionReference *out) -> OSErr {
    return getByKey("descriptor.GetReference", d, key, out != nullptr,
                    [&](const ActionValue &v) { return readReference(v, out); });
  };
  t.GetClass = [](PIActionDescriptor d, DescriptorKeyID key, DescriptorClassID *out) -> OSErr {
    return getByKey("descriptor.GetClass", d, key, out != nullptr,
                    [&](const ActionValue &v) { return readClass(v, typeClass, out); });
  };
  t.GetGlobalClass = [](PIActionDescriptor d, DescriptorKeyID key,
                        DescriptorClassID *out) -> OSErr {
    return getByKey("descriptor.GetGlobalClass", d, key, out != nullptr,
                    [&](const ActionValue &v) { return readClass(v, typeGlobalClass, out); });
  };
  t.GetAlias = [](PIActionDescriptor d, DescriptorKeyID key, Handle *out) -> OSErr {
    return getByKey("descriptor.GetAlias", d, key, out != nullptr,
                    [&](const ActionValue &v) { return makeAlias(v, out); });
  };
  t.HasKeys = [](PIActionDescriptor d, DescriptorKeyID *keys, Boolean *has) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    const ActionDescriptor *desc = s->desc(d);
    if (desc == nullptr || has == nullptr) return done("descriptor.HasKeys", s->name(d), paramErr);
    *has = 1;
    for (const DescriptorKeyID *key = keys; key != nullptr && *key != 0; ++key) {
      if (desc->find(*key) == nullptr) *has = 0;
    }
    return done("descriptor.HasKeys", s->name(d) + " = " + (*has != 0 ? "true" : "false"), noErr);
  };
  t.PutIntegers = [](PIActionDescriptor d, DescriptorKeyID key, uint32 count,
                     int32 *values) -> OSErr {
    if (values == nullptr && count > 0) return putByKey("descriptor.PutIntegers", d, key, {});
    ActionValue v;
    v.type = typeAEList;
    auto list = std::make_shared<ActionList>();
    for (uint32 i = 0; i < count; ++i) list->items.push_back(intValue(values[i]));
    v.list = std::move(list);
    return putByKey("descriptor.PutIntegers", d, key, v);
  };
  t.GetIntegers = [](PIActionDescriptor d, DescriptorKeyID key, uint32 count, int32 *out) -> OSErr {
    return getByKey("descriptor.GetIntegers", d, key, out != nullptr || count == 0,
                    [&](const ActionValue &v) { return readIntegers(v, count, out); });
  };
  t.AsHandle = [](PIActionDescriptor d, PIDescriptorHandle *out) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    const ActionDescriptor *desc = s->desc(d);
    if (desc == nullptr || out == nullptr) return done("descriptor.AsHandle", s->name(d), paramErr);
    if (s->env.handles == nullptr) {
      return done("descriptor.AsHandle", s->name(d), errPlugInHostInsufficient);
    }
    std::string why;
    const auto filterView = toFilterDescriptor(*desc, &why);
    if (!filterView) return done("descriptor.AsHandle", s->name(d) + ": " + why, paramErr);
    *out = s->env.handles->createWith(filterView->serialize(), "host:descriptor");
    return done("descriptor.AsHandle", s->name(d), *out != nullptr ? noErr : memFullErr);
  };
  t.HandleToDescriptor = [](PIDescriptorHandle h, PIActionDescriptor *out) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    if (out == nullptr || h == nullptr || s->env.handles == nullptr || !s->env.handles->owns(h)) {
      return done("descriptor.HandleToDescriptor", "unknown handle", paramErr);
    }
    try {
      const auto bytes = s->env.handles->bytes(h);
      *out = asDesc(s->add(s->descriptors, fromFilterDescriptor(Descriptor::deserialize(bytes))));
    } catch (const std::exception &e) {
      return done("descriptor.HandleToDescriptor", e.what(), paramErr);
    }
    return done("descriptor.HandleToDescriptor", s->name(*out), noErr);
  };
  t.PutZString = [](PIActionDescriptor, DescriptorKeyID, ASZString) { return insufficient(); };
  t.GetZString = [](PIActionDescriptor, DescriptorKeyID, ASZString *) { return insufficient(); };
  t.PutData = [](PIActionDescriptor d, DescriptorKeyID key, int32 length, void *data) -> OSErr {
    if (length < 0 || (data == nullptr && length > 0)) {
      return putByKey("descriptor.PutData", d, key, std::nullopt);
    }
    return putByKey(
        "descriptor.PutData", d, key,
        textValue(std::string(static_cast<const char *>(data), static_cast<std::size_t>(length)),
                  typeRawData));
  };
  t.GetDataLength = [](PIActionDescriptor d, DescriptorKeyID key, int32 *out) -> OSErr {
    return getByKey("descriptor.GetDataLength", d, key, out != nullptr,
                    [&](const ActionValue &v) { return readDataLength(v, out); });
  };
  t.GetData = [](PIActionDescriptor d, DescriptorKeyID key, void *out) -> OSErr {
    return getByKey("descriptor.GetData", d, key, out != nullptr,
                    [&](const ActionValue &v) { return readData(v, out); });
  };
  t.PutInteger64 = [](PIActionDescriptor d, DescriptorKeyID key, int64 v) -> OSErr {
    return putByKey("descriptor.PutInteger64", d, key, intValue(v, typeSInt64));
  };
  t.GetInteger64 = [](PIActionDescriptor d, DescriptorKeyID key, int64 *out) -> OSErr {
    return getByKey("descriptor.GetInteger64", d, key, out != nullptr,
                    [&](const ActionValue &v) { return readInteger64(v, out); });
  };
  t.MakeWithClass = [](DescriptorClassID cls, PIActionDescriptor *out) -> OSErr {
    auto *s = st();
    if (s == nullptr || out == nullptr) return paramErr;
    ActionDescriptor made;
    made.classId = cls;
    *out = asDesc(s->add(s->descriptors, std::move(made)));
    return done("descriptor.MakeWithClass", s->name(*out) + " " + k(cls), noErr);
  };
  t.GetDescriptorClass = [](PIActionDescriptor d, DescriptorClassID *out) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    const ActionDescriptor *desc = s->desc(d);
    if (desc == nullptr || out == nullptr) {
      return done("descriptor.GetDescriptorClass", s->name(d), paramErr);
    }
    *out = desc->classId;
    return done("descriptor.GetDescriptorClass", s->name(d) + " = " + k(*out), noErr);
  };
  t.Copy = [](PIActionDescriptor d, PIActionDescriptor *out) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    const ActionDescriptor *desc = s->desc(d);
    if (desc == nullptr || out == nullptr) return done("descriptor.Copy", s->name(d), paramErr);
    *out = asDesc(s->add(s->descriptors, ActionDescriptor(*desc)));
    return done("descriptor.Copy", s->name(d) + " -> " + s->name(*out), noErr);
  };
  t.PutBookmark = [](PIActionDescriptor, DescriptorKeyID, CFDataRef) { return insufficient(); };
  t.GetBookmark = [](PIActionDescriptor, DescriptorKeyID, CFDataRef *) { return insufficient(); };
  return t;
}

// ---------------------------------------------------------------- list suite

template <typename Read>
OSErr getByIndex(const char *entry, PIActionList l, uint32 index, bool outOk, Read read) {
  auto *s = st();
  if (s == nullptr) return paramErr;
  const ActionList *list = s->list(l);
  const std::string where = s->name(l) + ", " + std::to_string(index);
  if (list == nullptr || !outOk || index >= list->items.size()) return done(entry, where, paramErr);
  const ActionValue &v = list->items[index];
  const OSErr status = read(v);
  return done(entry, where + (status == noErr ? " = " + v.text() : ""), status);
}

OSErr append(const char *entry, PIActionList l, std::optional<ActionValue> value) {
  auto *s = st();
  if (s == nullptr) return paramErr;
  ActionList *list = s->list(l);
  if (list == nullptr || !value) return done(entry, s->name(l), paramErr);
  const std::string shown = value->text();
  list->items.push_back(std::move(*value));
  return done(entry, s->name(l) + " += " + shown, noErr);
}

PSActionListProcs makeListSuite() {
  PSActionListProcs t{};
  t.Make = [](PIActionList *out) -> OSErr {
    auto *s = st();
    if (s == nullptr || out == nullptr) return paramErr;
    *out = asList(s->add(s->lists, ActionList{}));
    return done("list.Make", s->name(*out), noErr);
  };
  t.Free = [](PIActionList l) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    const std::string shown = s->name(l);
    return done("list.Free", shown, s->remove(s->lists, l) ? noErr : paramErr);
  };
  t.GetType = [](PIActionList l, uint32 index, DescriptorTypeID *out) -> OSErr {
    return getByIndex("list.GetType", l, index, out != nullptr, [&](const ActionValue &v) {
      *out = v.type;
      return noErr;
    });
  };
  t.GetCount = [](PIActionList l, uint32 *out) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    const ActionList *list = s->list(l);
    if (list == nullptr || out == nullptr) return done("list.GetCount", s->name(l), paramErr);
    *out = static_cast<uint32>(list->items.size());
    return done("list.GetCount", s->name(l) + " = " + std::to_string(*out), noErr);
  };
  t.PutInteger = [](PIActionList l, int32 v) { return append("list.PutInteger", l, intValue(v)); };
  t.PutFloat = [](PIActionList l, real64 v) { return append("list.PutFloat", l, floatValue(v)); };
  t.PutUnitFloat = [](PIActionList l, DescriptorUnitID unit, real64 v) {
    return append("list.PutUnitFloat", l, unitValue(unit, v));
  };
  t.PutString = [](PIActionList l, const char *text) {
    return append("list.PutString", l,
                  text != nullptr ? std::optional(textValue(text)) : std::nullopt);
  };
  t.PutBoolean = [](PIActionList l, Boolean v) {
    return append("list.PutBoolean", l, intValue(v != 0 ? 1 : 0, typeBoolean));
  };
  t.PutList = [](PIActionList l, PIActionList v) {
    return append("list.PutList", l, st() ? listValue(v) : std::nullopt);
  };
  t.PutObject = [](PIActionList l, DescriptorClassID cls, PIActionDescriptor v) {
    return append("list.PutObject", l, st() ? objectValue(typeObject, cls, v) : std::nullopt);
  };
  t.PutGlobalObject = [](PIActionList l, DescriptorClassID cls, PIActionDescriptor v) {
    return append("list.PutGlobalObject", l,
                  st() ? objectValue(typeGlobalObject, cls, v) : std::nullopt);
  };
  t.PutEnumerated = [](PIActionList l, DescriptorEnumTypeID type, DescriptorEnumID v) {
    return append("list.PutEnumerated", l, codeValue(typeEnumerated, v, type));
  };
  t.PutReference = [](PIActionList l, PIActionReference v) {
    return append("list.PutReference", l, st() ? referenceValue(v) : std::nullopt);
  };
  t.PutClass = [](PIActionList l, DescriptorClassID v) {
    return append("list.PutClass", l, codeValue(typeClass, v));
  };
  t.PutGlobalClass = [](PIActionList l, DescriptorClassID v) {
    return append("list.PutGlobalClass", l, codeValue(typeGlobalClass, v));
  };
  t.PutAlias = [](PIActionList l, Handle v) {
    return append("list.PutAlias", l, st() ? aliasValue(v) : std::nullopt);
  };
  t.GetInteger = [](PIActionList l, uint32 i, int32 *out) {
    return getByIndex("list.GetInteger", l, i, out != nullptr,
                      [&](const ActionValue &v) { return readInteger(v, out); });
  };
  t.GetFloat = [](PIActionList l, uint32 i, real64 *out) {
    return getByIndex("list.GetFloat", l, i, out != nullptr,
                      [&](const ActionValue &v) { return readFloat(v, out); });
  };
  t.GetUnitFloat = [](PIActionList l, uint32 i, DescriptorUnitID *unit, real64 *out) {
    return getByIndex("list.GetUnitFloat", l, i, out != nullptr,
                      [&](const ActionValue &v) { return readUnitFloat(v, unit, out); });
  };
  t.GetStringLength = [](PIActionList l, uint32 i, uint32 *out) {
    return getByIndex("list.GetStringLength", l, i, out != nullptr,
                      [&](const ActionValue &v) { return readStringLength(v, out); });
  };
  t.GetString = [](PIActionList l, uint32 i, char *out, uint32 max) {
    return getByIndex("list.GetString", l, i, out != nullptr,
                      [&](const ActionValue &v) { return readString(v, out, max); });
  };
  t.GetBoolean = [](PIActionList l, uint32 i, Boolean *out) {
    return getByIndex("list.GetBoolean", l, i, out != nullptr,
                      [&](const ActionValue &v) { return readBoolean(v, out); });
  };
  t.GetList = [](PIActionList l, uint32 i, PIActionList *out) {
    return getByIndex("list.GetList", l, i, out != nullptr,
                      [&](const ActionValue &v) { return readList(v, out); });
  };
  t.GetObject = [](PIActionList l, uint32 i, DescriptorClassID *type, PIActionDescriptor *out) {
    return getByIndex("list.GetObject", l, i, out != nullptr,
                      [&](const ActionValue &v) { return readObject(v, typeObject, type, out); });
  };
  t.GetGlobalObject = [](PIActionList l, uint32 i, DescriptorClassID *type,
                         PIActionDescriptor *out) {
    return getByIndex("list.GetGlobalObject", l, i, out != nullptr, [&](const ActionValue &v) {
      return readObject(v, typeGlobalObject, type, out);
    });
  };
  t.GetEnumerated = [](PIActionList l, uint32 i, DescriptorEnumTypeID *type,
                       DescriptorEnumID *out) {
    return getByIndex("list.GetEnumerated", l, i, out != nullptr,
                      [&](const ActionValue &v) { return readEnumerated(v, type, out); });
  };
  t.GetReference = [](PIActionList l, uint32 i, PIActionReference *out) {
    return getByIndex("list.GetReference", l, i, out != nullptr,
                      [&](const ActionValue &v) { return readReference(v, out); });
  };
  t.GetClass = [](PIActionList l, uint32 i, DescriptorClassID *out) {
    return getByIndex("list.GetClass", l, i, out != nullptr,
                      [&](const ActionValue &v) { return readClass(v, typeClass, out); });
  };
  t.GetGlobalClass = [](PIActionList l, uint32 i, DescriptorClassID *out) {
    return getByIndex("list.GetGlobalClass", l, i, out != nullptr,
                      [&](const ActionValue &v) { return readClass(v, typeGlobalClass, out); });
  };
  t.GetAlias = [](PIActionList l, uint32 i, Handle *out) {
    return getByIndex("list.GetAlias", l, i, out != nullptr,
                      [&](const ActionValue &v) { return makeAlias(v, out); });
  };
  t.PutIntegers = [](PIActionList l, uint32 count, int32 *values) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    ActionList *list = s->list(l);
    if (list == nullptr || (values == nullptr && count > 0)) {
      return done("list.PutIntegers", s->name(l), paramErr);
    }
    for (uint32 i = 0; i < count; ++i) list->items.push_back(intValue(values[i]));
    return done("list.PutIntegers", s->name(l) + " += " + std::to_string(count), noErr);
  };
  t.GetIntegers = [](PIActionList l, uint32 count, int32 *out) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    const ActionList *list = s->list(l);
    if (list == nullptr || (out == nullptr && count > 0) || count > list->items.size()) {
      return done("list.GetIntegers", s->name(l), paramErr);
    }
    for (uint32 i = 0; i < count; ++i) {
      if (list->items[i].type != typeInteger) return done("list.GetIntegers", s->name(l), paramErr);
    }
    for (uint32 i = 0; i < count; ++i) out[i] = static_cast<int32>(list->items[i].integer);
    return done("list.GetIntegers", s->name(l), noErr);
  };
  t.PutData = [](PIActionList l, int32 length, void *data) {
    if (length < 0 || (data == nullptr && length > 0)) {
      return append("list.PutData", l, std::nullopt);
    }
    return append(
        "list.PutData", l,
        textValue(std::string(static_cast<const char *>(data), static_cast<std::size_t>(length)),
                  typeRawData));
  };
  t.GetDataLength = [](PIActionList l, uint32 i, int32 *out) {
    return getByIndex("list.GetDataLength", l, i, out != nullptr,
                      [&](const ActionValue &v) { return readDataLength(v, out); });
  };
  t.GetData = [](PIActionList l, uint32 i, void *out) {
    return getByIndex("list.GetData", l, i, out != nullptr,
                      [&](const ActionValue &v) { return readData(v, out); });
  };
  t.PutZString = [](PIActionList, ASZString) { return insufficient(); };
  t.GetZString = [](PIActionList, uint32, ASZString *) { return insufficient(); };
  t.PutInteger64 = [](PIActionList l, int64 v) {
    return append("list.PutInteger64", l, intValue(v, typeSInt64));
  };
  t.GetInteger64 = [](PIActionList l, uint32 i, int64 *out) {
    return getByIndex("list.GetInteger64", l, i, out != nullptr,
                      [&](const ActionValue &v) { return readInteger64(v, out); });
  };
  t.PutBookmark = [](PIActionList, CFDataRef) { return insufficient(); };
  t.GetBookmark = [](PIActionList, uint32, CFDataRef *) { return insufficient(); };
  return t;
}

// ---------------------------------------------------------------- reference suite

OSErr addPart(const char *entry, PIActionReference r, ActionReferencePart part) {
  auto *s = st();
  if (s == nullptr) return paramErr;
  ActionReference *ref = s->ref(r);
  if (ref == nullptr) return done(entry, s->name(r), paramErr);
  ref->parts.push_back(std::move(part));
  return done(entry, s->name(r) + " = " + ref->text(), noErr);
}

// Reads the innermost part when it has the wanted form.
template <typename Read>
OSErr readPart(const char *entry, PIActionReference r, bool outOk, std::uint32_t form, Read read) {
  auto *s = st();
  if (s == nullptr) return paramErr;
  const ActionReference *ref = s->ref(r);
  if (ref == nullptr || !outOk || ref->parts.empty()) return done(entry, s->name(r), paramErr);
  const ActionReferencePart &p = ref->parts.front();
  if (form != 0 && p.form != form) return done(entry, s->name(r), paramErr);
  read(p);
  return done(entry, s->name(r), noErr);
}

ActionReferencePart part(DescriptorClassID cls, std::uint32_t form) {
  ActionReferencePart p;
  p.desiredClass = cls;
  p.form = form;
  return p;
}

PSActionReferenceProcs makeReferenceSuite() {
  PSActionReferenceProcs t{};
  t.Make = [](PIActionReference *out) -> OSErr {
    auto *s = st();
    if (s == nullptr || out == nullptr) return paramErr;
    *out = asRef(s->add(s->references, ActionReference{}));
    return done("reference.Make", s->name(*out), noErr);
  };
  t.Free = [](PIActionReference r) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    const std::string shown = s->name(r);
    return done("reference.Free", shown, s->remove(s->references, r) ? noErr : paramErr);
  };
  t.GetForm = [](PIActionReference r, DescriptorFormID *out) {
    return readPart("reference.GetForm", r, out != nullptr, 0,
                    [&](const ActionReferencePart &p) { *out = p.form; });
  };
  t.GetDesiredClass = [](PIActionReference r, DescriptorClassID *out) {
    return readPart("reference.GetDesiredClass", r, out != nullptr, 0,
                    [&](const ActionReferencePart &p) { *out = p.desiredClass; });
  };
  t.PutName = [](PIActionReference r, DescriptorClassID cls, const char *name) -> OSErr {
    if (name == nullptr) return done("reference.PutName", "null name", paramErr);
    auto p = part(cls, formName);
    p.name = name;
    return addPart("reference.PutName", r, p);
  };
  t.PutIndex = [](PIActionReference r, DescriptorClassID cls, uint32 v) {
    auto p = part(cls, formIndex);
    p.index = v;
    return addPart("reference.PutIndex", r, p);
  };
  t.PutIdentifier = [](PIActionReference r, DescriptorClassID cls, uint32 v) {
    auto p = part(cls, formIdentifier);
    p.index = v;
    return addPart("reference.PutIdentifier", r, p);
  };
  t.PutOffset = [](PIActionReference r, DescriptorClassID cls, int32 v) {
    auto p = part(cls, formOffset);
    p.offset = v;
    return addPart("reference.PutOffset", r, p);
  };
  t.PutEnumerated = [](PIActionReference r, DescriptorClassID cls, DescriptorEnumTypeID type,
                       DescriptorEnumID v) {
    auto p = part(cls, formEnumerated);
    p.enumType = type;
    p.enumValue = v;
    return addPart("reference.PutEnumerated", r, p);
  };
  t.PutProperty = [](PIActionReference r, DescriptorClassID cls, DescriptorKeyID v) {
    auto p = part(cls, formProperty);
    p.property = v;
    return addPart("reference.PutProperty", r, p);
  };
  t.PutClass = [](PIActionReference r, DescriptorClassID cls) {
    return addPart("reference.PutClass", r, part(cls, formClass));
  };
  t.GetNameLength = [](PIActionReference r, uint32 *out) {
    return readPart(
        "reference.GetNameLength", r, out != nullptr, formName,
        [&](const ActionReferencePart &p) { *out = static_cast<uint32>(p.name.size()); });
  };
  t.GetName = [](PIActionReference r, char *out, uint32 max) {
    return readPart("reference.GetName", r, out != nullptr && max > 0, formName,
                    [&](const ActionReferencePart &p) {
                      const std::size_t n = std::min<std::size_t>(p.name.size(), max - 1);
                      std::memcpy(out, p.name.data(), n);
                      out[n] = '\0';
                    });
  };
  t.GetIndex = [](PIActionReference r, uint32 *out) {
    return readPart("reference.GetIndex", r, out != nullptr, formIndex,
                    [&](const ActionReferencePart &p) { *out = p.index; });
  };
  t.GetIdentifier = [](PIActionReference r, uint32 *out) {
    return readPart("reference.GetIdentifier", r, out != nullptr, formIdentifier,
                    [&](const ActionReferencePart &p) { *out = p.index; });
  };
  t.GetOffset = [](PIActionReference r, int32 *out) {
    return readPart("reference.GetOffset", r, out != nullptr, formOffset,
                    [&](const ActionReferencePart &p) { *out = p.offset; });
  };
  t.GetEnumerated = [](PIActionReference r, DescriptorEnumTypeID *type, DescriptorEnumID *out) {
    return readPart("reference.GetEnumerated", r, out != nullptr, formEnumerated,
                    [&](const ActionReferencePart &p) {
                      if (type != nullptr) *type = p.enumType;
                      *out = p.enumValue;
                    });
  };
  t.GetProperty = [](PIActionReference r, DescriptorKeyID *out) {
    return readPart("reference.GetProperty", r, out != nullptr, formProperty,
                    [&](const ActionReferencePart &p) { *out = p.property; });
  };
  t.GetContainer = [](PIActionReference r, PIActionReference *out) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    const ActionReference *ref = s->ref(r);
    if (ref == nullptr || out == nullptr || ref->parts.empty()) {
      return done("reference.GetContainer", s->name(r), paramErr);
    }
    ActionReference container;
    container.parts.assign(ref->parts.begin() + 1, ref->parts.end());
    *out = asRef(s->add(s->references, std::move(container)));
    return done("reference.GetContainer", s->name(r) + " -> " + s->name(*out), noErr);
  };
  t.PutNameZString = [](PIActionReference, DescriptorClassID, ASZString) { return insufficient(); };
  t.GetNameZString = [](PIActionReference, ASZString *) { return insufficient(); };
  return t;
}

// ---------------------------------------------------------------- control suites

OSErr play(PIActionDescriptor *result, DescriptorEventID event, PIActionDescriptor descriptor,
           PIDialogPlayOptions options) {
  auto *s = st();
  if (s == nullptr) return paramErr;
  const std::string what = k(event) + ", " + (descriptor ? s->name(descriptor) : "null") + ", " +
                           std::to_string(options);
  if (result != nullptr) *result = nullptr;
  const ActionDescriptor *in = nullptr;
  if (descriptor != nullptr) {
    in = s->desc(descriptor);
    if (in == nullptr) return done("control.Play", what, paramErr);
  }
  if (!s->env.play) return done("control.Play", what, errPlugInHostInsufficient);
  s->log("control.Play(" + what + ") begins");
  std::optional<ActionDescriptor> out;
  // Copied: the plug-in may free or change its descriptor only after Play returns,
  // but the copy keeps the host independent of the store while the event runs.
  std::optional<ActionDescriptor> inCopy;
  if (in != nullptr) inCopy = *in;
  const OSErr status = s->env.play(event, inCopy ? &*inCopy : nullptr, options, out);
  std::string shown = what;
  if (out && result != nullptr) {
    *result = asDesc(s->add(s->descriptors, std::move(*out)));
    shown += " -> " + s->name(*result);
  }
  return done("control.Play", shown, status);
}

OSErr get(PIActionDescriptor *result, PIActionReference reference) {
  auto *s = st();
  if (s == nullptr) return paramErr;
  const ActionReference *ref = s->ref(reference);
  if (result != nullptr) *result = nullptr;
  if (ref == nullptr || result == nullptr) return done("control.Get", s->name(reference), paramErr);
  if (!s->env.get) return done("control.Get", ref->text(), errPlugInHostInsufficient);
  ActionDescriptor out;
  const OSErr status = s->env.get(*ref, out);
  if (status != noErr) return done("control.Get", ref->text(), status);
  *result = asDesc(s->add(s->descriptors, std::move(out)));
  return done("control.Get", ref->text() + " -> " + s->name(*result), noErr);
}

OSErr stringIdToTypeId(const char *stringId, DescriptorTypeID *typeId) {
  if (gActiveSuites == nullptr) return paramErr;
  if (stringId == nullptr || typeId == nullptr) {
    return done("control.StringIDToTypeID", "null", paramErr);
  }
  *typeId = gActiveSuites->typeIdFor(stringId);
  return done("control.StringIDToTypeID", std::string(stringId) + " = " + k(*typeId), noErr);
}

OSErr typeIdToStringId(DescriptorTypeID typeId, char *out, uint32 length) {
  if (gActiveSuites == nullptr) return paramErr;
  const auto found = gActiveSuites->stringIdFor(typeId);
  if (!found || out == nullptr || length <= found->size()) {
    return done("control.TypeIDToStringID", k(typeId), paramErr);
  }
  std::memcpy(out, found->c_str(), found->size() + 1);
  return done("control.TypeIDToStringID", k(typeId) + " = " + *found, noErr);
}

OSErr makeStringAlias(const char *newId, const char *existingId) {
  auto *s = st();
  if (s == nullptr) return paramErr;
  if (newId == nullptr || existingId == nullptr) {
    return done("control.MakeStringAlias", "null", paramErr);
  }
  s->env.stringIds[newId] = gActiveSuites->typeIdFor(existingId);
  return done("control.MakeStringAlias", std::string(newId) + " = " + existingId, noErr);
}

OSErr suspendHistory(PIActionReference, PISuspendProc proc, void *data, ASZString) {
  if (proc == nullptr) return done("control.SuspendHistory", "null proc", paramErr);
  const SPErr status = proc(data);
  return done("control.SuspendHistory", "proc -> " + std::to_string(status),
              static_cast<OSErr>(status));
}

PSActionControlProcs makeControlSuite() {
  PSActionControlProcs t{};
  t.Play = play;
  t.Get = get;
  t.StringIDToTypeID = stringIdToTypeId;
  t.TypeIDToStringID = typeIdToStringId;
  t.AddNotify = [](SPPluginRef, DescriptorEventID, PIEventNotifier, void *) {
    return insufficient();
  };
  t.RemoveNotify = [](SPPluginRef, DescriptorEventID) { return insufficient(); };
  t.SuspendHistory = suspendHistory;
  t.MakeStringAlias = makeStringAlias;
  t.AddNotifyLevel1 = [](SPPluginRef, DescriptorEventID, PIEventNotifier, void *) {
    return insufficient();
  };
  t.PostCommand = [](SPPluginRef, DescriptorEventID, PIActionDescriptor, PIDialogPlayOptions,
                     PICommandNotifier, void *, uint32 *) { return insufficient(); };
  t.CancelCommand = [](SPPluginRef, uint32) { return insufficient(); };
  t.ConvertAliasHandleToBookmark = [](Handle, CFDataRef *) { return insufficient(); };
  t.ConvertBookmarkToAliasHandle = [](CFDataRef, Handle *) { return insufficient(); };
  t.AddUniversalNotifier = [](SPPluginRef, DescriptorEventID, PIEventNotifier, void *, uint32) {
    return insufficient();
  };
  t.RemoveUniversalNotifier = [](SPPluginRef, DescriptorEventID) { return insufficient(); };
  return t;
}

PSBasicActionControlProcs makeBasicControlSuite() {
  PSBasicActionControlProcs t{};
  t.Get = get;
  t.StringIDToTypeID = stringIdToTypeId;
  t.TypeIDToStringID = typeIdToStringId;
  t.MakeStringAlias = makeStringAlias;
  t.ConvertAliasHandleToBookmark = [](Handle, CFDataRef *) { return insufficient(); };
  t.ConvertBookmarkToAliasHandle = [](CFDataRef, Handle *) { return insufficient(); };
  return t;
}

PSDescriptorRegistryProcs makeRegistrySuite() {
  PSDescriptorRegistryProcs t{};
  t.Register = [](const char *key, PIActionDescriptor d, Boolean) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    const ActionDescriptor *desc = s->desc(d);
    if (key == nullptr || desc == nullptr) return done("registry.Register", "bad key", paramErr);
    s->registry[key] = *desc;
    return done("registry.Register", key, noErr);
  };
  t.Erase = [](const char *key) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    if (key == nullptr) return done("registry.Erase", "null", paramErr);
    const auto it = s->registry.find(std::string_view(key));
    if (it == s->registry.end()) return done("registry.Erase", key, errMissingParameter);
    s->registry.erase(it);
    return done("registry.Erase", key, noErr);
  };
  t.Get = [](const char *key, PIActionDescriptor *out) -> OSErr {
    auto *s = st();
    if (s == nullptr) return paramErr;
    if (key == nullptr || out == nullptr) return done("registry.Get", "null", paramErr);
    *out = nullptr;
    const auto it = s->registry.find(std::string_view(key));
    // Nothing registered is not an error: the caller gets no descriptor.
    if (it != s->registry.end())
      *out = asDesc(s->add(s->descriptors, ActionDescriptor(it->second)));
    return done("registry.Get", key, noErr);
  };
  return t;
}

// Version 4 of the UI hooks: version 1's table and three appended entries.
struct UIHooksSuite4 {
  PSUIHooksSuite1 v1;
  SPErr (*SetPluginMenuEntry)(SPPluginRef, const void *);
  SPErr (*GetLocalizedFileName)(const char *, ASZString *);
  intptr_t (*MainAppRootWindow)(void);
};

UIHooksSuite4 makeUIHooksSuite() {
  UIHooksSuite4 t{};
  t.v1.processEvent = [](void *) {};
  t.v1.displayPixels = [](const PSPixelMap *, const VRect *, int32, int32, void *) -> OSErr {
    return errPlugInHostInsufficient;
  };
  t.v1.progressBar = [](int32, int32) {};
  t.v1.testAbort = []() -> Boolean { return 0; };
  t.v1.MainAppWindow = []() -> intptr_t {
    auto *s = st();
    const intptr_t window = s != nullptr ? s->env.mainWindow : 0;
    if (s != nullptr) s->log("uihooks.MainAppWindow() -> " + std::to_string(window));
    return window;
  };
  t.v1.SetCursor = [](const char *) -> SPErr { return kSPNoError; };
  t.v1.TickCount = []() -> uint32 {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint32>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count() *
                               60 / 1000);
  };
  t.v1.GetPluginName = [](SPPluginRef, ASZString *) -> SPErr { return kSPUnimplementedError; };
  t.SetPluginMenuEntry = [](SPPluginRef, const void *) -> SPErr { return kSPUnimplementedError; };
  t.GetLocalizedFileName = [](const char *, ASZString *) -> SPErr { return kSPUnimplementedError; };
  t.MainAppRootWindow = []() -> intptr_t {
    auto *s = st();
    return s != nullptr ? s->env.mainWindow : 0;
  };
  return t;
}

}  // namespace

ActionSuites::ActionSuites(ActionEnvironment env)
    : state_(std::make_unique<State>(std::move(env))) {}
ActionSuites::~ActionSuites() {
  if (gActiveSuites == this) gActiveSuites = nullptr;
}

ActionSuites::Activation ActionSuites::activate() {
  return {gActiveSuites, this};
}
ActionSuites *ActionSuites::active() {
  return gActiveSuites;
}

PIActionDescriptor ActionSuites::adopt(ActionDescriptor descriptor) {
  return asDesc(state_->add(state_->descriptors, std::move(descriptor)));
}
const ActionDescriptor *ActionSuites::descriptor(PIActionDescriptor d) const {
  return state_->desc(d);
}
bool ActionSuites::release(PIActionDescriptor d) {
  return state_->remove(state_->descriptors, d);
}
std::size_t ActionSuites::liveObjects() const {
  return state_->descriptors.size() + state_->lists.size() + state_->references.size();
}

std::uint32_t ActionSuites::typeIdFor(std::string_view stringId) {
  auto &ids = state_->env.stringIds;
  const auto it = ids.find(stringId);
  if (it != ids.end()) return it->second;
  const std::uint32_t id = state_->nextTypeId++;
  ids.emplace(std::string(stringId), id);
  return id;
}

std::optional<std::string> ActionSuites::stringIdFor(std::uint32_t typeId) const {
  for (const auto &[text, id] : state_->env.stringIds) {
    if (id == typeId) return text;
  }
  return std::nullopt;
}

const void *activeActionSuiteTable(std::string_view name, std::int32_t version) {
  if (gActiveSuites == nullptr) return nullptr;
  static const PSActionDescriptorProcs descriptors = makeDescriptorSuite();
  static const PSActionListProcs lists = makeListSuite();
  static const PSActionReferenceProcs references = makeReferenceSuite();
  static const PSActionControlProcs control = makeControlSuite();
  static const PSBasicActionControlProcs basicControl = makeBasicControlSuite();
  static const PSDescriptorRegistryProcs registry = makeRegistrySuite();
  static const UIHooksSuite4 uiHooks = makeUIHooksSuite();
  struct Known {
    std::string_view name;
    std::int32_t minVersion, maxVersion;
    const void *table;
  };
  const Known known[] = {
      {kPSActionDescriptorSuite, 2, 5, &descriptors},
      {kPSActionListSuite, 1, 3, &lists},
      {kPSActionReferenceSuite, 2, 3, &references},
      {kPSActionControlSuite, 2, 6, &control},
      {kPSBasicActionControlSuite, 1, 3, &basicControl},
      {kPSDescriptorRegistrySuite, 1, 1, &registry},
      {kPSUIHooksSuite, 1, 4, &uiHooks},
  };
  for (const Known &entry : known) {
    if (entry.name == name && version >= entry.minVersion && version <= entry.maxVersion) {
      return entry.table;
    }
  }
  return nullptr;
}

}  // namespace hostemu
