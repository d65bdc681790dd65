// The host's action objects as an automation plug-in reaches them through the
// action descriptor, list and reference suites: descriptors (keyed values,
// one value per key, in the order first put), lists (values by index) and
// references (parts, innermost first). Values are copied when they are put
// and when they are got, so the caller always owns what it holds.
//
// Conversion to and from the filter's descriptor (emulator/descriptor.h):
// integers, floats, unit floats, strings, booleans, enumerations, classes,
// objects and aliases cross; lists, references, 64-bit integers and raw data
// have no form in a filter's descriptor and make the conversion fail.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "emulator/descriptor.h"

namespace hostemu {

struct ActionDescriptor;
struct ActionList;
struct ActionReference;

struct ActionValue {
  std::uint32_t type = 0;  // typeInteger, typeFloat, typeChar, typeAEList, ...
  std::int64_t integer = 0;
  double number = 0.0;
  std::uint32_t unit = 0;      // unit floats
  std::uint32_t enumType = 0;  // enumerations
  std::uint32_t code = 0;      // enumeration value, class id, object class
  std::string bytes;           // text, alias and raw data
  std::shared_ptr<const ActionDescriptor> object;
  std::shared_ptr<const ActionList> list;
  std::shared_ptr<const ActionReference> reference;

  bool operator==(const ActionValue &other) const;
  std::string text() const;
};

struct ActionDescriptor {
  std::uint32_t classId = 0;
  std::vector<std::pair<std::uint32_t, ActionValue>> items;

  const ActionValue *find(std::uint32_t key) const;
  // Replaces the value under the key, or appends it.
  void put(std::uint32_t key, ActionValue value);
  bool erase(std::uint32_t key);
  bool operator==(const ActionDescriptor &other) const;
  std::string text() const;  // one "key type value" a line
};

struct ActionList {
  std::vector<ActionValue> items;
  bool operator==(const ActionList &other) const = default;
};

struct ActionReferencePart {
  std::uint32_t desiredClass = 0;
  std::uint32_t form = 0;  // formClass, formEnumerated, formIdentifier, ...
  std::string name;
  std::uint32_t index = 0;  // index or identifier
  std::int32_t offset = 0;
  std::uint32_t enumType = 0;
  std::uint32_t enumValue = 0;
  std::uint32_t property = 0;
  bool operator==(const ActionReferencePart &other) const = default;
};

struct ActionReference {
  std::vector<ActionReferencePart> parts;  // [0] innermost, then its containers
  bool operator==(const ActionReference &other) const = default;
  std::string text() const;
};

// The filter's view of a descriptor and back; nullopt (with the reason in
// `why`) for a value the other side cannot hold.
std::optional<Descriptor> toFilterDescriptor(const ActionDescriptor &in,
                                             std::string *why = nullptr);
ActionDescriptor fromFilterDescriptor(const Descriptor &in);

}  // namespace hostemu
