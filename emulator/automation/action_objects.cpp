#include "emulator/automation/action_objects.h"

#include <sstream>

#include "host/photoshop_api.h"

namespace hostemu {

namespace {

template <typename T>
bool samePointee(const std::shared_ptr<const T> &a, const std::shared_ptr<const T> &b) {
  if (!a || !b) return !a && !b;
  return *a == *b;
}

}  // namespace

bool ActionValue::operator==(const ActionValue &o) const {
  // Doubles compare by value on purpose: what a replay must reproduce.
  return type == o.type && integer == o.integer && number == o.number && unit == o.unit &&
         enumType == o.enumType && code == o.code && bytes == o.bytes &&
         samePointee(object, o.object) && samePointee(list, o.list) &&
         samePointee(reference, o.reference);
}

std::string ActionValue::text() const {
  std::ostringstream s;
  s.precision(17);
  s << fourCCText(type) << " ";
  switch (type) {
    case typeInteger:
    case typeSInt64:
      s << integer;
      break;
    case typeFloat:
      s << number;
      break;
    case typeUnitFloat:
      s << fourCCText(unit) << " " << number;
      break;
    case typeChar:
      s << '"' << bytes << '"';
      break;
    case typeBoolean:
      s << (integer != 0 ? "true" : "false");
      break;
    case typeEnumerated:
      s << fourCCText(enumType) << ":" << fourCCText(code);
      break;
    case typeClass:
    case typeGlobalClass:
      s << fourCCText(code);
      break;
    case typeObject:
    case typeGlobalObject:
      s << fourCCText(code) << " {" << (object ? object->items.size() : 0) << " items}";
      break;
    case typeAEList:
      s << "[" << (list ? list->items.size() : 0) << " items]";
      break;
    case typeObjectReference:
      s << (reference ? reference->text() : std::string());
      break;
    default:
      s << bytes.size() << " bytes";
      break;
  }
  return s.str();
}

const ActionValue *ActionDescriptor::find(std::uint32_t key) const {
  for (const auto &[k, v] : items) {
    if (k == key) return &v;
  }
  return nullptr;
}

void ActionDescriptor::put(std::uint32_t key, ActionValue value) {
  for (auto &[k, v] : items) {
    if (k == key) {
      v = std::move(value);
      return;
    }
  }
  items.emplace_back(key, std::move(value));
}

bool ActionDescriptor::erase(std::uint32_t key) {
  for (auto it = items.begin(); it != items.end(); ++it) {
    if (it->first == key) {
      items.erase(it);
      return true;
    }
  }
  return false;
}

bool ActionDescriptor::operator==(const ActionDescriptor &o) const {
  // Key order is not part of a descriptor's meaning.
  if (classId != o.classId || items.size() != o.items.size()) return false;
  for (const auto &[k, v] : items) {
    const ActionValue *other = o.find(k);
    if (other == nullptr || !(*other == v)) return false;
  }
  return true;
}

std::string ActionDescriptor::text() const {
  std::string out;
  for (const auto &[k, v] : items) out += fourCCText(k) + " " + v.text() + "\n";
  return out;
}

std::string ActionReference::text() const {
  std::ostringstream out;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const ActionReferencePart &p = parts[i];
    if (i > 0) out << " of ";
    out << fourCCText(p.desiredClass) << '/' << fourCCText(p.form);
    if (p.form == formProperty) out << ':' << fourCCText(p.property);
    if (p.form == formEnumerated) out << ':' << fourCCText(p.enumValue);
    if (p.form == formIndex || p.form == formIdentifier) out << ':' << p.index;
    if (p.form == formName) out << ':' << p.name;
  }
  return out.str();
}

std::optional<Descriptor> toFilterDescriptor(const ActionDescriptor &in, std::string *why) {
  Descriptor out;
  for (const auto &[key, v] : in.items) {
    switch (v.type) {
      case typeInteger:
        out.putInteger(key, static_cast<std::int32_t>(v.integer));
        break;
      case typeFloat:
        out.putFloat(key, v.number);
        break;
      case typeUnitFloat:
        out.putUnitFloat(key, v.unit, v.number);
        break;
      case typeChar:
        // A filter reads strings of up to 255 bytes; longer ones as text.
        if (v.bytes.size() <= 255) {
          out.putString(key, v.bytes);
        } else {
          out.putText(key, v.bytes);
        }
        break;
      case typeBoolean:
        out.putBoolean(key, v.integer != 0);
        break;
      case typeEnumerated:
        out.putEnumerated(key, v.enumType, v.code);
        break;
      case typeClass:
        out.putClass(key, v.code);
        break;
      case typeGlobalClass:
        out.add({key, desc_type::kGlobalClass, ClassValue{v.code}});
        break;
      case typeAlias:
        out.putAlias(
            key, std::span(reinterpret_cast<const std::uint8_t *>(v.bytes.data()), v.bytes.size()));
        break;
      case typeObject:
      case typeGlobalObject: {
        auto inner = v.object ? toFilterDescriptor(*v.object, why) : Descriptor();
        if (!inner) return std::nullopt;
        out.add({key, v.type == typeObject ? desc_type::kObject : desc_type::kGlobalObject,
                 ObjectValue{v.code, inner->items()}});
        break;
      }
      default:
        if (why != nullptr) {
          *why = "the value under " + fourCCText(key) + " (" + fourCCText(v.type) +
                 ") has no form in a filter's descriptor";
        }
        return std::nullopt;
    }
  }
  return out;
}

namespace {

ActionValue fromFilterValue(const DescriptorItem &item) {
  ActionValue v;
  std::visit(
      [&](const auto &x) {
        using T = std::decay_t<decltype(x)>;
        if constexpr (std::is_same_v<T, double>) {
          v.type = typeFloat;
          v.number = x;
        } else if constexpr (std::is_same_v<T, std::int32_t>) {
          v.type = typeInteger;
          v.integer = x;
        } else if constexpr (std::is_same_v<T, bool>) {
          v.type = typeBoolean;
          v.integer = x ? 1 : 0;
        } else if constexpr (std::is_same_v<T, EnumValue>) {
          v.type = typeEnumerated;
          v.enumType = x.type;
          v.code = x.value;
        } else if constexpr (std::is_same_v<T, UnitFloatValue>) {
          v.type = typeUnitFloat;
          v.unit = x.unit;
          v.number = x.value;
        } else if constexpr (std::is_same_v<T, StringValue>) {
          v.type = typeChar;
          v.bytes = x.text;
        } else if constexpr (std::is_same_v<T, TextValue>) {
          v.type = typeChar;
          v.bytes = x.bytes;
        } else if constexpr (std::is_same_v<T, AliasValue>) {
          v.type = typeAlias;
          v.bytes.assign(x.bytes.begin(), x.bytes.end());
        } else if constexpr (std::is_same_v<T, ClassValue>) {
          v.type = item.type == desc_type::kGlobalClass ? typeGlobalClass : typeClass;
          v.code = x.classId;
        } else if constexpr (std::is_same_v<T, CountValue>) {
          v.type = typeInteger;
          v.integer = x.count;
        } else if constexpr (std::is_same_v<T, ReferenceValue>) {
          auto ref = std::make_shared<ActionReference>();
          ActionReferencePart part;
          part.desiredClass = x.desiredClass;
          part.form = x.keyForm;
          part.name = x.name;
          part.index = static_cast<std::uint32_t>(x.index);
          part.enumType = x.type;
          part.enumValue = x.value;
          ref->parts.push_back(part);
          v.type = typeObjectReference;
          v.reference = std::move(ref);
        } else if constexpr (std::is_same_v<T, ObjectValue>) {
          v.type = item.type == desc_type::kGlobalObject ? typeGlobalObject : typeObject;
          v.code = x.classId;
          auto inner =
              std::make_shared<ActionDescriptor>(fromFilterDescriptor(Descriptor(x.items)));
          inner->classId = x.classId;
          v.object = std::move(inner);
        }
      },
      item.value);
  return v;
}

}  // namespace

ActionDescriptor fromFilterDescriptor(const Descriptor &in) {
  ActionDescriptor out;
  // A filter's descriptor may hold a key twice; the later value wins, as a
  // filter reading it in turn would end up with.
  for (const auto &item : in.items()) out.put(item.key, fromFilterValue(item));
  return out;
}

}  // namespace hostemu
