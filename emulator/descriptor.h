// The host's scripting descriptor as a plain C++ value: an ordered list of
// (key, type, value) items, duplicates allowed, in the order they were put.
// Tests and the driver build the descriptor handed to a filter with it and
// inspect the one the filter writes back. The host keeps descriptors in its
// handles in a private byte form (serialize / deserialize).
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "emulator/fourcc.h"

namespace hostemu {

// Type codes reported by the reader for each kind of value.
namespace desc_type {
inline constexpr std::uint32_t kFloat = fourCC("doub");
inline constexpr std::uint32_t kInteger = fourCC("long");
inline constexpr std::uint32_t kEnumerated = fourCC("enum");
inline constexpr std::uint32_t kText = fourCC("TEXT");  // strings and text
inline constexpr std::uint32_t kBoolean = fourCC("bool");
inline constexpr std::uint32_t kUnitFloat = fourCC("UntF");
inline constexpr std::uint32_t kAlias = fourCC("alis");
inline constexpr std::uint32_t kClass = fourCC("type");
inline constexpr std::uint32_t kGlobalClass = fourCC("GlbC");  // scoped class
inline constexpr std::uint32_t kObject = fourCC("Objc");
inline constexpr std::uint32_t kGlobalObject = fourCC("GlbO");  // scoped object
inline constexpr std::uint32_t kReference = fourCC("obj ");
}  // namespace desc_type

struct DescriptorItem;

struct EnumValue {
  std::uint32_t type = 0;   // enumeration type, e.g. "intT"
  std::uint32_t value = 0;  // enumeration value, e.g. "biCu"
  bool operator==(const EnumValue &) const = default;
};
struct UnitFloatValue {
  std::uint32_t unit = 0;
  double value = 0.0;
  bool operator==(const UnitFloatValue &) const = default;
};
struct StringValue {  // putString/getString: at most 255 bytes
  std::string text;
  bool operator==(const StringValue &) const = default;
};
struct TextValue {  // putText/getText: the bytes of a handle, any length
  std::string bytes;
  bool operator==(const TextValue &) const = default;
};
struct AliasValue {
  std::vector<std::uint8_t> bytes;
  bool operator==(const AliasValue &) const = default;
};
struct ClassValue {
  std::uint32_t classId = 0;
  bool operator==(const ClassValue &) const = default;
};
struct CountValue {
  std::uint32_t count = 0;
  bool operator==(const CountValue &) const = default;
};
struct ReferenceValue {  // PIDescriptorSimpleReference
  std::uint32_t desiredClass = 0;
  std::uint32_t keyForm = 0;
  std::string name;  // at most 255 bytes
  std::int32_t index = 0;
  std::uint32_t type = 0;
  std::uint32_t value = 0;
  bool operator==(const ReferenceValue &) const = default;
};
struct ObjectValue {
  std::uint32_t classId = 0;
  std::vector<DescriptorItem> items;  // the nested descriptor
  bool operator==(const ObjectValue &) const;
};

// double = float, std::int32_t = integer, bool = boolean.
using DescriptorValue =
    std::variant<double, std::int32_t, bool, EnumValue, UnitFloatValue, StringValue, TextValue,
                 AliasValue, ClassValue, CountValue, ReferenceValue, ObjectValue>;

struct DescriptorItem {
  std::uint32_t key = 0;
  std::uint32_t type = 0;  // the type code the reader reports (desc_type::...)
  DescriptorValue value;
  bool operator==(const DescriptorItem &) const = default;
  std::string text() const;  // "paK1 doub 0.25"
};

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(std::vector<DescriptorItem> items) : items_(std::move(items)) {}

  Descriptor &putFloat(std::uint32_t key, double v);
  Descriptor &putInteger(std::uint32_t key, std::int32_t v);
  Descriptor &putBoolean(std::uint32_t key, bool v);
  Descriptor &putEnumerated(std::uint32_t key, std::uint32_t type, std::uint32_t value);
  Descriptor &putUnitFloat(std::uint32_t key, std::uint32_t unit, double v);
  Descriptor &putString(std::uint32_t key, std::string_view text);  // cut to 255 bytes
  Descriptor &putText(std::uint32_t key, std::string_view bytes);
  Descriptor &putAlias(std::uint32_t key, std::span<const std::uint8_t> bytes);
  Descriptor &putClass(std::uint32_t key, std::uint32_t classId);
  Descriptor &putCount(std::uint32_t key, std::uint32_t count);
  Descriptor &putReference(std::uint32_t key, const ReferenceValue &ref);
  Descriptor &putObject(std::uint32_t key, std::uint32_t classId, const Descriptor &object);
  // Any item as it stands, including a type code that does not match the
  // value (to see how a filter copes with an unexpected type).
  Descriptor &add(DescriptorItem item);

  const std::vector<DescriptorItem> &items() const { return items_; }
  std::size_t size() const { return items_.size(); }
  bool empty() const { return items_.empty(); }
  // The first item with this key, null when absent.
  const DescriptorItem *find(std::uint32_t key) const;
  std::vector<const DescriptorItem *> findAll(std::uint32_t key) const;
  // Typed look-ups of the first item with the key; nullopt when absent or of
  // another kind.
  std::optional<double> getFloat(std::uint32_t key) const;
  std::optional<std::int32_t> getInteger(std::uint32_t key) const;
  std::optional<EnumValue> getEnumerated(std::uint32_t key) const;
  std::optional<std::string> getString(std::uint32_t key) const;

  // One item per line.
  std::string text() const;

  // The host's private byte form, as held in descriptor handles.
  std::vector<std::uint8_t> serialize() const;
  // Throws std::runtime_error when the bytes are not a descriptor.
  static Descriptor deserialize(std::span<const std::uint8_t> bytes);

  bool operator==(const Descriptor &) const = default;

 private:
  std::vector<DescriptorItem> items_;
};

}  // namespace hostemu
