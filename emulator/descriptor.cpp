#include "emulator/descriptor.h"

#include <cstring>
#include <sstream>
#include <stdexcept>

namespace hostemu {

namespace {

constexpr std::size_t kMaxString = 255;
constexpr int kMaxDepth = 64;  // nesting of objects in the byte form
constexpr std::uint8_t kMagic[4] = {'O', 'D', 'S', 'C'};

class Writer {
 public:
  void u8(std::uint8_t v) { out.push_back(v); }
  void u32(std::uint32_t v) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
  }
  void f64(double v) {
    std::uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    u32(static_cast<std::uint32_t>(bits));
    u32(static_cast<std::uint32_t>(bits >> 32));
  }
  void bytes(const void *p, std::size_t n) {
    u32(static_cast<std::uint32_t>(n));
    const auto *b = static_cast<const std::uint8_t *>(p);
    out.insert(out.end(), b, b + n);
  }
  std::vector<std::uint8_t> out;
};

class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> in) : in_(in) {}
  void need(std::size_t n) const {
    if (in_.size() - pos_ < n) throw std::runtime_error("descriptor bytes end too early");
  }
  std::uint8_t u8() {
    need(1);
    return in_[pos_++];
  }
  std::uint32_t u32() {
    need(4);
    std::uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v |= static_cast<std::uint32_t>(in_[pos_ + i]) << (8 * i);
    pos_ += 4;
    return v;
  }
  double f64() {
    const std::uint64_t lo = u32();
    const std::uint64_t hi = u32();
    const std::uint64_t bits = lo | (hi << 32);
    double v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
  }
  std::vector<std::uint8_t> bytes() {
    const std::uint32_t n = u32();
    need(n);
    std::vector<std::uint8_t> v(in_.begin() + static_cast<std::ptrdiff_t>(pos_),
                                in_.begin() + static_cast<std::ptrdiff_t>(pos_ + n));
    pos_ += n;
    return v;
  }
  std::string str() {
    auto b = bytes();
    return std::string(b.begin(), b.end());
  }
  bool atEnd() const { return pos_ == in_.size(); }

 private:
  std::span<const std::uint8_t> in_;
  std::size_t pos_ = 0;
};

void writeItems(Writer &w, const std::vector<DescriptorItem> &items);

void writeValue(Writer &w, const DescriptorValue &value) {
  w.u8(static_cast<std::uint8_t>(value.index()));
  std::visit(
      [&w](const auto &v) {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, double>) {
          w.f64(v);
        } else if constexpr (std::is_same_v<T, std::int32_t>) {
          w.u32(static_cast<std::uint32_t>(v));
        } else if constexpr (std::is_same_v<T, bool>) {
          w.u8(v ? 1 : 0);
        } else if constexpr (std::is_same_v<T, EnumValue>) {
          w.u32(v.type);
          w.u32(v.value);
        } else if constexpr (std::is_same_v<T, UnitFloatValue>) {
          w.u32(v.unit);
          w.f64(v.value);
        } else if constexpr (std::is_same_v<T, StringValue>) {
          w.bytes(v.text.data(), v.text.size());
        } else if constexpr (std::is_same_v<T, TextValue> || std::is_same_v<T, AliasValue>) {
          w.bytes(v.bytes.data(), v.bytes.size());
        } else if constexpr (std::is_same_v<T, ClassValue>) {
          w.u32(v.classId);
        } else if constexpr (std::is_same_v<T, CountValue>) {
          w.u32(v.count);
        } else if constexpr (std::is_same_v<T, ReferenceValue>) {
          w.u32(v.desiredClass);
          w.u32(v.keyForm);
          w.bytes(v.name.data(), v.name.size());
          w.u32(static_cast<std::uint32_t>(v.index));
          w.u32(v.type);
          w.u32(v.value);
        } else if constexpr (std::is_same_v<T, ObjectValue>) {
          w.u32(v.classId);
          writeItems(w, v.items);
        }
      },
      value);
}

void writeItems(Writer &w, const std::vector<DescriptorItem> &items) {
  w.u32(static_cast<std::uint32_t>(items.size()));
  for (const auto &item : items) {
    w.u32(item.key);
    w.u32(item.type);
    writeValue(w, item.value);
  }
}

std::vector<DescriptorItem> readItems(Reader &r, int depth);

DescriptorValue readValue(Reader &r, int depth) {
  switch (r.u8()) {
    case 0:
      return r.f64();
    case 1:
      return static_cast<std::int32_t>(r.u32());
    case 2:
      return r.u8() != 0;
    case 3: {
      EnumValue v;
      v.type = r.u32();
      v.value = r.u32();
      return v;
    }
    case 4: {
      UnitFloatValue v;
      v.unit = r.u32();
      v.value = r.f64();
      return v;
    }
    case 5:
      return StringValue{r.str()};
    case 6:
      return TextValue{r.str()};
    case 7:
      return AliasValue{r.bytes()};
    case 8:
      return ClassValue{r.u32()};
    case 9:
      return CountValue{r.u32()};
    case 10: {
      ReferenceValue v;
      v.desiredClass = r.u32();
      v.keyForm = r.u32();
      v.name = r.str();
      v.index = static_cast<std::int32_t>(r.u32());
      v.type = r.u32();
      v.value = r.u32();
      return v;
    }
    case 11: {
      if (depth >= kMaxDepth) throw std::runtime_error("descriptor objects nested too deeply");
      ObjectValue v;
      v.classId = r.u32();
      v.items = readItems(r, depth + 1);
      return v;
    }
    default:
      throw std::runtime_error("descriptor bytes hold an unknown value kind");
  }
}

std::vector<DescriptorItem> readItems(Reader &r, int depth) {
  const std::uint32_t n = r.u32();
  std::vector<DescriptorItem> items;
  for (std::uint32_t i = 0; i < n; ++i) {
    DescriptorItem item;
    item.key = r.u32();
    item.type = r.u32();
    item.value = readValue(r, depth);
    items.push_back(std::move(item));
  }
  return items;
}

std::string valueText(const DescriptorValue &value) {
  std::ostringstream os;
  os.precision(17);
  std::visit(
      [&os](const auto &v) {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, double> || std::is_same_v<T, std::int32_t>) {
          os << v;
        } else if constexpr (std::is_same_v<T, bool>) {
          os << (v ? "true" : "false");
        } else if constexpr (std::is_same_v<T, EnumValue>) {
          os << fourCCText(v.type) << ':' << fourCCText(v.value);
        } else if constexpr (std::is_same_v<T, UnitFloatValue>) {
          os << v.value << ' ' << fourCCText(v.unit);
        } else if constexpr (std::is_same_v<T, StringValue>) {
          os << '"' << v.text << '"';
        } else if constexpr (std::is_same_v<T, TextValue>) {
          os << "text \"" << v.bytes << '"';
        } else if constexpr (std::is_same_v<T, AliasValue>) {
          os << "alias of " << v.bytes.size() << " bytes";
        } else if constexpr (std::is_same_v<T, ClassValue>) {
          os << "class " << fourCCText(v.classId);
        } else if constexpr (std::is_same_v<T, CountValue>) {
          os << "count " << v.count;
        } else if constexpr (std::is_same_v<T, ReferenceValue>) {
          os << "reference " << fourCCText(v.desiredClass) << ' ' << fourCCText(v.keyForm);
        } else if constexpr (std::is_same_v<T, ObjectValue>) {
          os << "object " << fourCCText(v.classId) << " {";
          for (const auto &item : v.items) os << ' ' << item.text() << ';';
          os << " }";
        }
      },
      value);
  return os.str();
}

}  // namespace

bool ObjectValue::operator==(const ObjectValue &o) const {
  return classId == o.classId && items == o.items;
}

std::string DescriptorItem::text() const {
  return fourCCText(key) + ' ' + fourCCText(type) + ' ' + valueText(value);
}

Descriptor &Descriptor::add(DescriptorItem item) {
  items_.push_back(std::move(item));
  return *this;
}
Descriptor &Descriptor::putFloat(std::uint32_t key, double v) {
  return add({key, desc_type::kFloat, v});
}
Descriptor &Descriptor::putInteger(std::uint32_t key, std::int32_t v) {
  return add({key, desc_type::kInteger, v});
}
Descriptor &Descriptor::putBoolean(std::uint32_t key, bool v) {
  return add({key, desc_type::kBoolean, v});
}
Descriptor &Descriptor::putEnumerated(std::uint32_t key, std::uint32_t type, std::uint32_t value) {
  return add({key, desc_type::kEnumerated, EnumValue{type, value}});
}
Descriptor &Descriptor::putUnitFloat(std::uint32_t key, std::uint32_t unit, double v) {
  return add({key, desc_type::kUnitFloat, UnitFloatValue{unit, v}});
}
Descriptor &Descriptor::putString(std::uint32_t key, std::string_view text) {
  return add({key, desc_type::kText, StringValue{std::string(text.substr(0, kMaxString))}});
}
Descriptor &Descriptor::putText(std::uint32_t key, std::string_view bytes) {
  return add({key, desc_type::kText, TextValue{std::string(bytes)}});
}
Descriptor &Descriptor::putAlias(std::uint32_t key, std::span<const std::uint8_t> bytes) {
  return add({key, desc_type::kAlias, AliasValue{{bytes.begin(), bytes.end()}}});
}
Descriptor &Descriptor::putClass(std::uint32_t key, std::uint32_t classId) {
  return add({key, desc_type::kClass, ClassValue{classId}});
}
Descriptor &Descriptor::putCount(std::uint32_t key, std::uint32_t count) {
  return add({key, desc_type::kInteger, CountValue{count}});
}
Descriptor &Descriptor::putReference(std::uint32_t key, const ReferenceValue &ref) {
  ReferenceValue r = ref;
  if (r.name.size() > kMaxString) r.name.resize(kMaxString);
  return add({key, desc_type::kReference, r});
}
Descriptor &Descriptor::putObject(std::uint32_t key, std::uint32_t classId,
                                  const Descriptor &object) {
  return add({key, desc_type::kObject, ObjectValue{classId, object.items()}});
}

const DescriptorItem *Descriptor::find(std::uint32_t key) const {
  for (const auto &item : items_) {
    if (item.key == key) return &item;
  }
  return nullptr;
}

std::vector<const DescriptorItem *> Descriptor::findAll(std::uint32_t key) const {
  std::vector<const DescriptorItem *> out;
  for (const auto &item : items_) {
    if (item.key == key) out.push_back(&item);
  }
  return out;
}

std::optional<double> Descriptor::getFloat(std::uint32_t key) const {
  const auto *item = find(key);
  if (item == nullptr) return std::nullopt;
  if (const auto *v = std::get_if<double>(&item->value)) return *v;
  return std::nullopt;
}

std::optional<std::int32_t> Descriptor::getInteger(std::uint32_t key) const {
  const auto *item = find(key);
  if (item == nullptr) return std::nullopt;
  if (const auto *v = std::get_if<std::int32_t>(&item->value)) return *v;
  return std::nullopt;
}

std::optional<EnumValue> Descriptor::getEnumerated(std::uint32_t key) const {
  const auto *item = find(key);
  if (item == nullptr) return std::nullopt;
  if (const auto *v = std::get_if<EnumValue>(&item->value)) return *v;
  return std::nullopt;
}

std::optional<std::string> Descriptor::getString(std::uint32_t key) const {
  const auto *item = find(key);
  if (item == nullptr) return std::nullopt;
  if (const auto *v = std::get_if<StringValue>(&item->value)) return v->text;
  if (const auto *v = std::get_if<TextValue>(&item->value)) return v->bytes;
  return std::nullopt;
}

std::string Descriptor::text() const {
  std::string out;
  for (const auto &item : items_) {
    out += item.text();
    out += '\n';
  }
  return out;
}

std::vector<std::uint8_t> Descriptor::serialize() const {
  Writer w;
  for (std::uint8_t b : kMagic) w.u8(b);
  writeItems(w, items_);
  return std::move(w.out);
}

Descriptor Descriptor::deserialize(std::span<const std::uint8_t> bytes) {
  Reader r(bytes);
  for (std::uint8_t b : kMagic) {
    if (r.u8() != b) throw std::runtime_error("handle does not hold a descriptor of this host");
  }
  Descriptor d(readItems(r, 0));
  if (!r.atEnd()) throw std::runtime_error("descriptor bytes have trailing data");
  return d;
}

}  // namespace hostemu
