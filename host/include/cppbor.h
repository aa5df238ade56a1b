// SPDX-License-Identifier: Apache-2.0
#pragma once

// Stand-in for Android's libcppbor (state of Android 14): CBOR items (RFC 8949), their encoding and
// a readable form. Names and semantics are the platform's. Left out: Item's asBool(), asNull(),
// asSemanticTag(), isCompound(), clone(), encodedSize(), toString() and encoding other than into a
// vector; canonical order; byte strings from anything but a vector, and moving their values out;
// the view items, EncodedItem, encodeHeader() and headerSize(), and construction from iterators.
//
// Unlike the platform's, prettyPrint() gives up beyond kMaxPrettyPrintSize: nested containers
// indent every line, so that a small hostile input would print as gigabytes.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#ifdef TRUE
#undef TRUE
#endif
#ifdef FALSE
#undef FALSE
#endif

namespace cppbor {

// Upper three bits of an item's header byte, in place.
enum MajorType : uint8_t {
  UINT = 0 << 5,
  NINT = 1 << 5,
  BSTR = 2 << 5,
  TSTR = 3 << 5,
  ARRAY = 4 << 5,
  MAP = 5 << 5,
  SEMANTIC = 6 << 5,
  SIMPLE = 7 << 5,
};

enum SimpleType { BOOLEAN, NULL_T };

// Lower five bits of a header byte, where they are not a value of their own.
enum SpecialAddlInfoValues : uint8_t {
  FALSE = 20,
  TRUE = 21,
  NULL_V = 22,
  ONE_BYTE_LENGTH = 24,
  TWO_BYTE_LENGTH = 25,
  FOUR_BYTE_LENGTH = 26,
  EIGHT_BYTE_LENGTH = 27,
};

class Array;
class Bool;
class Bstr;
class Int;
class Map;
class Nint;
class Null;
class SemanticTag;
class Simple;
class Tstr;
class Uint;

// Item is one CBOR data item. The as...() casts look through tags and answer null for an item of
// another kind; the pointers they return are borrowed.
class Item {
 public:
  virtual ~Item() = default;

  virtual MajorType type() const = 0;

  Int* asInt();
  Uint* asUint();
  Nint* asNint();
  Tstr* asTstr();
  Bstr* asBstr();
  Simple* asSimple();
  Map* asMap();
  Array* asArray();

  const Int* asInt() const { return mutable_this()->asInt(); }
  const Uint* asUint() const { return mutable_this()->asUint(); }
  const Nint* asNint() const { return mutable_this()->asNint(); }
  const Tstr* asTstr() const { return mutable_this()->asTstr(); }
  const Bstr* asBstr() const { return mutable_this()->asBstr(); }
  const Simple* asSimple() const { return mutable_this()->asSimple(); }
  const Map* asMap() const { return mutable_this()->asMap(); }
  const Array* asArray() const { return mutable_this()->asArray(); }

  // Number of tags around the item, and the tag `nesting` steps out from the innermost (0).
  virtual size_t semanticTagCount() const { return 0; }
  virtual uint64_t semanticTag(size_t /*nesting*/ = 0) const { return 0; }

  // Items are equal when types and values are; tags are ignored, maps and arrays compare in order.
  // A concrete class compares with itself alone; items of different classes compare as Item.
  bool operator==(const Item& other) const;
  bool operator!=(const Item& other) const { return !(*this == other); }

  // The encoding uses the shortest header, definite lengths and the order of insertion.
  std::vector<uint8_t> encode() const;

 protected:
  friend class Array;
  friend class Map;
  friend class SemanticTag;

  // The item within its tags.
  virtual Item* content() { return this; }
  virtual void appendTo(std::vector<uint8_t>* encoding) const = 0;

 private:
  Item* mutable_this() const { return const_cast<Item*>(this); }
};

class Int : public Item {
 public:
  // value reinterprets an unsigned value above 2^63-1.
  virtual int64_t value() const = 0;
};

class Uint : public Int {
 public:
  static constexpr MajorType kMajorType = UINT;

  explicit Uint(uint64_t value) : value_(value) {}

  MajorType type() const override { return kMajorType; }
  int64_t value() const override { return static_cast<int64_t>(value_); }
  uint64_t unsignedValue() const { return value_; }
  bool operator==(const Uint& other) const { return value_ == other.value_; }

 private:
  void appendTo(std::vector<uint8_t>* encoding) const override;

  uint64_t value_;
};

class Nint : public Int {
 public:
  static constexpr MajorType kMajorType = NINT;

  // A non-negative value aborts.
  explicit Nint(int64_t value);

  MajorType type() const override { return kMajorType; }
  int64_t value() const override { return value_; }
  bool operator==(const Nint& other) const { return value_ == other.value_; }

 private:
  void appendTo(std::vector<uint8_t>* encoding) const override;

  int64_t value_;
};

class Bstr : public Item {
 public:
  static constexpr MajorType kMajorType = BSTR;

  Bstr() = default;
  explicit Bstr(std::vector<uint8_t> value) : value_(std::move(value)) {}

  MajorType type() const override { return kMajorType; }
  const std::vector<uint8_t>& value() const { return value_; }
  bool operator==(const Bstr& other) const { return value_ == other.value_; }

 private:
  void appendTo(std::vector<uint8_t>* encoding) const override;

  std::vector<uint8_t> value_;
};

// Tstr holds any bytes: whether they are UTF-8 is not checked.
class Tstr : public Item {
 public:
  static constexpr MajorType kMajorType = TSTR;

  explicit Tstr(std::string value) : value_(std::move(value)) {}
  explicit Tstr(std::string_view value) : value_(value) {}
  explicit Tstr(const char* value) : value_(value) {}

  MajorType type() const override { return kMajorType; }
  const std::string& value() const { return value_; }
  bool operator==(const Tstr& other) const { return value_ == other.value_; }

 private:
  void appendTo(std::vector<uint8_t>* encoding) const override;

  std::string value_;
};

class Simple : public Item {
 public:
  static constexpr MajorType kMajorType = SIMPLE;

  MajorType type() const override { return kMajorType; }
  virtual SimpleType simpleType() const = 0;
};

class Bool : public Simple {
 public:
  static constexpr SimpleType kSimpleType = BOOLEAN;

  explicit Bool(bool value) : value_(value) {}

  SimpleType simpleType() const override { return kSimpleType; }
  bool value() const { return value_; }
  bool operator==(const Bool& other) const { return value_ == other.value_; }

 private:
  void appendTo(std::vector<uint8_t>* encoding) const override;

  bool value_;
};

class Null : public Simple {
 public:
  static constexpr SimpleType kSimpleType = NULL_T;

  SimpleType simpleType() const override { return kSimpleType; }
  bool operator==(const Null&) const { return true; }

 private:
  void appendTo(std::vector<uint8_t>* encoding) const override;
};

namespace details {

template <typename T>
std::unique_ptr<Item> makeItem(T&& value);

}  // namespace details

// Array takes C++ values as items: bool as Bool; integers and enumerations as Uint or Nint; strings
// as Tstr; byte vectors as Bstr; nullptr as Null; an Item by value, a pointer to one or a
// unique_ptr becomes the array's own.
class Array : public Item {
 public:
  static constexpr MajorType kMajorType = ARRAY;

  Array() = default;
  Array(Array&&) = default;
  Array& operator=(Array&&) = default;
  template <typename T,
            typename = std::enable_if_t<!std::is_base_of_v<Array, std::remove_reference_t<T>>>>
  explicit Array(T&& value) {
    add(std::forward<T>(value));
  }
  template <typename First, typename Second, typename... Rest>
  Array(First&& first, Second&& second, Rest&&... rest) {
    add(std::forward<First>(first));
    add(std::forward<Second>(second));
    (add(std::forward<Rest>(rest)), ...);
  }

  MajorType type() const override { return kMajorType; }

  virtual size_t size() const { return entries_.size(); }
  std::unique_ptr<Item>& operator[](size_t index) { return entries_[index]; }
  const std::unique_ptr<Item>& operator[](size_t index) const { return entries_[index]; }
  std::unique_ptr<Item>& get(size_t index) { return entries_[index]; }
  const std::unique_ptr<Item>& get(size_t index) const { return entries_[index]; }

  template <typename T>
  Array& add(T&& value) & {
    entries_.push_back(details::makeItem(std::forward<T>(value)));
    return *this;
  }
  template <typename T>
  Array&& add(T&& value) && {
    return std::move(add(std::forward<T>(value)));
  }

  auto begin() { return entries_.begin(); }
  auto begin() const { return entries_.begin(); }
  auto end() { return entries_.end(); }
  auto end() const { return entries_.end(); }

  bool operator==(const Array& other) const;

 private:
  void appendTo(std::vector<uint8_t>* encoding) const override;

  std::vector<std::unique_ptr<Item>> entries_;
};

// Map keeps its entries in the order of insertion, duplicates included. Keys and values convert as
// those of Array.
class Map : public Item {
 public:
  static constexpr MajorType kMajorType = MAP;
  using entry_type = std::pair<std::unique_ptr<Item>, std::unique_ptr<Item>>;

  Map() = default;
  Map(Map&&) = default;
  Map& operator=(Map&&) = default;
  template <typename Key, typename Value, typename... Rest>
  Map(Key&& key, Value&& value, Rest&&... rest) {
    static_assert(sizeof...(rest) % 2 == 0, "a map is made of keys and values in turn");
    addAll(std::forward<Key>(key), std::forward<Value>(value), std::forward<Rest>(rest)...);
  }

  MajorType type() const override { return kMajorType; }

  // size is the number of pairs.
  virtual size_t size() const { return entries_.size(); }
  entry_type& operator[](size_t index) { return entries_[index]; }
  const entry_type& operator[](size_t index) const { return entries_[index]; }

  // get returns the value of the first entry with `key` (an integer, enumeration or text), or an
  // empty pointer. Tags of the entry's key are ignored; a bool looks for a Bool.
  template <typename Key,
            typename = std::enable_if_t<std::is_integral_v<Key> || std::is_enum_v<Key> ||
                                        std::is_convertible_v<Key, std::string_view>>>
  const std::unique_ptr<Item>& get(Key key) const {
    return find(*details::makeItem(key));
  }

  template <typename Key, typename Value>
  Map& add(Key&& key, Value&& value) & {
    entries_.emplace_back(details::makeItem(std::forward<Key>(key)),
                          details::makeItem(std::forward<Value>(value)));
    return *this;
  }
  template <typename Key, typename Value>
  Map&& add(Key&& key, Value&& value) && {
    return std::move(add(std::forward<Key>(key), std::forward<Value>(value)));
  }

  auto begin() { return entries_.begin(); }
  auto begin() const { return entries_.begin(); }
  auto end() { return entries_.end(); }
  auto end() const { return entries_.end(); }

  bool operator==(const Map& other) const;

 private:
  void addAll() {}
  template <typename Key, typename Value, typename... Rest>
  void addAll(Key&& key, Value&& value, Rest&&... rest) {
    add(std::forward<Key>(key), std::forward<Value>(value));
    addAll(std::forward<Rest>(rest)...);
  }
  const std::unique_ptr<Item>& find(const Item& key) const;
  void appendTo(std::vector<uint8_t>* encoding) const override;

  std::vector<entry_type> entries_;
};

// SemanticTag behaves as the item it wraps.
class SemanticTag : public Item {
 public:
  static constexpr MajorType kMajorType = SEMANTIC;

  template <typename T>
  SemanticTag(uint64_t tag, T&& item)
      : tag_(tag),
        item_(details::makeItem(std::forward<T>(item))),
        count_(item_->semanticTagCount() + 1) {}
  SemanticTag(SemanticTag&&) = default;
  SemanticTag& operator=(SemanticTag&&) = default;

  MajorType type() const override { return item_->type(); }

  size_t semanticTagCount() const override { return count_; }
  uint64_t semanticTag(size_t nesting = 0) const override;
  size_t size() const { return 1; }
  bool operator==(const SemanticTag& other) const { return *item_ == *other.item_; }

 private:
  Item* content() override { return item_->content(); }
  void appendTo(std::vector<uint8_t>* encoding) const override;

  uint64_t tag_;
  std::unique_ptr<Item> item_;
  size_t count_;
};

namespace details {

template <typename T>
struct IsUniquePtr : std::false_type {};
template <typename T>
struct IsUniquePtr<std::unique_ptr<T>> : std::true_type {};

template <typename T>
std::unique_ptr<Item> makeItem(T&& value) {
  using Value = std::decay_t<T>;
  if constexpr (std::is_same_v<Value, bool>) {
    return std::make_unique<Bool>(value);
  } else if constexpr (std::is_same_v<Value, std::nullptr_t>) {
    return std::make_unique<Null>();
  } else if constexpr (std::is_enum_v<Value>) {
    return makeItem(static_cast<std::underlying_type_t<Value>>(value));
  } else if constexpr (std::is_integral_v<Value>) {
    if constexpr (std::is_signed_v<Value>) {
      if (value < 0) return std::make_unique<Nint>(value);
    }
    return std::make_unique<Uint>(value);
  } else if constexpr (std::is_base_of_v<Item, Value>) {
    return std::make_unique<Value>(std::forward<T>(value));
  } else if constexpr (IsUniquePtr<Value>::value) {
    return std::forward<T>(value);
  } else if constexpr (std::is_convertible_v<Value, const Item*>) {
    return std::unique_ptr<Item>(value);
  } else if constexpr (std::is_convertible_v<Value, std::string_view>) {
    return std::make_unique<Tstr>(std::string_view(value));
  } else {
    return std::make_unique<Bstr>(std::vector<uint8_t>(std::forward<T>(value)));
  }
}

}  // namespace details

inline constexpr size_t kMaxPrettyPrintSize = size_t{16} << 20;

// prettyPrint returns the item in a readable form of its own. Byte strings longer than
// `maxBStrSize` show as their length and SHA-1 digest; the value of an entry whose text key is in
// `mapKeysToNotPrint` shows as "<not printed>". A null item gives "<NULL>", a form longer than
// kMaxPrettyPrintSize "" and one ERROR line in the log.
std::string prettyPrint(const Item* item, size_t maxBStrSize = 32,
                        const std::vector<std::string>& mapKeysToNotPrint = {});

// The same for the first item in `encodedCbor`; "" and one ERROR line where it does not parse.
std::string prettyPrint(const std::vector<uint8_t>& encodedCbor, size_t maxBStrSize = 32,
                        const std::vector<std::string>& mapKeysToNotPrint = {});

}  // namespace cppbor
