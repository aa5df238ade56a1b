// SPDX-License-Identifier: Apache-2.0
#include <android-base/logging.h>
#include <android-base/stringprintf.h>
#include <cppbor.h>
#include <cppbor_parse.h>
#include <openssl/sha.h>

#include <algorithm>

namespace cppbor {
namespace {

void AppendHeader(MajorType type, uint64_t value, std::vector<uint8_t>* encoding) {
  if (value < ONE_BYTE_LENGTH) {
    encoding->push_back(static_cast<uint8_t>(type | value));
    return;
  }
  uint8_t additional = ONE_BYTE_LENGTH;
  int bytes = 1;
  while (bytes < 8 && value >> (8 * bytes) != 0) {
    ++additional;
    bytes *= 2;
  }
  encoding->push_back(type | additional);
  for (int i = bytes - 1; i >= 0; --i) encoding->push_back(static_cast<uint8_t>(value >> (8 * i)));
}

template <typename Container>
void AppendString(MajorType type, const Container& value, std::vector<uint8_t>* encoding) {
  AppendHeader(type, value.size(), encoding);
  encoding->insert(encoding->end(), value.begin(), value.end());
}

bool Equal(const std::unique_ptr<Item>& a, const std::unique_ptr<Item>& b) {
  return *a == *b;
}

bool EqualPairs(const Map::entry_type& a, const Map::entry_type& b) {
  return Equal(a.first, b.first) && Equal(a.second, b.second);
}

bool IsCompound(const std::unique_ptr<Item>& item) {
  return item->type() == ARRAY || item->type() == MAP;
}

// Printer writes one item; a text that grows too long is cut off and answered as overflown.
class Printer {
 public:
  Printer(size_t max_bstr_size, const std::vector<std::string>& hidden_keys)
      : max_bstr_size_(max_bstr_size), hidden_keys_(hidden_keys) {}

  void Print(const Item& item, size_t indent);
  bool overflown() const { return text_.size() > kMaxPrettyPrintSize; }
  std::string&& text() { return std::move(text_); }

 private:
  void PrintBstr(const std::vector<uint8_t>& value);
  void PrintArray(const Array& array, size_t indent);
  void PrintMap(const Map& map, size_t indent);
  void PrintSimple(const Simple& simple);
  void NewLine(size_t indent) { text_.append(1, '\n').append(indent, ' '); }
  bool IsHidden(const Item& key) const {
    return key.asTstr() != nullptr && std::find(hidden_keys_.begin(), hidden_keys_.end(),
                                                key.asTstr()->value()) != hidden_keys_.end();
  }

  const size_t max_bstr_size_;
  const std::vector<std::string>& hidden_keys_;
  std::string text_;
};

void Printer::Print(const Item& item, size_t indent) {
  if (overflown()) return;
  for (size_t nesting = item.semanticTagCount(); nesting > 0; --nesting) {
    text_ += "tag " + std::to_string(item.semanticTag(nesting - 1)) + " ";
  }
  switch (item.type()) {
    case UINT:
      text_ += std::to_string(item.asUint()->unsignedValue());
      return;
    case NINT:
      text_ += std::to_string(item.asNint()->value());
      return;
    case BSTR:
      return PrintBstr(item.asBstr()->value());
    case TSTR:
      // Up to the first zero byte, as the platform prints it.
      text_.append("'").append(item.asTstr()->value().c_str()).append("'");
      return;
    case ARRAY:
      return PrintArray(*item.asArray(), indent);
    case MAP:
      return PrintMap(*item.asMap(), indent);
    case SIMPLE:
      return PrintSimple(*item.asSimple());
    case SEMANTIC:
      return;  // the type of no item: a tagged one has that of its content
  }
}

void Printer::PrintBstr(const std::vector<uint8_t>& value) {
  if (value.size() > max_bstr_size_) {
    uint8_t digest[SHA_DIGEST_LENGTH];
    SHA1(value.data(), value.size(), digest);
    text_ += "<bstr size=" + std::to_string(value.size()) + " sha1=";
    for (uint8_t byte : digest) text_ += android::base::StringPrintf("%02x", byte);
    text_ += ">";
    return;
  }
  text_ += "{";
  const char* separator = "";
  for (uint8_t byte : value) {
    text_ += android::base::StringPrintf("%s0x%02x", separator, byte);
    separator = ", ";
  }
  text_ += "}";
}

void Printer::PrintArray(const Array& array, size_t indent) {
  const bool multi_line = std::any_of(array.begin(), array.end(), IsCompound);
  text_ += "[";
  if (multi_line) NewLine(indent);
  for (const auto& entry : array) {
    if (multi_line) text_ += "  ";
    Print(*entry, indent + 2);
    text_ += multi_line ? "," : ", ";
    if (multi_line) NewLine(indent);
    if (overflown()) return;
  }
  text_ += "]";
}

void Printer::PrintMap(const Map& map, size_t indent) {
  text_ += "{";
  if (map.size() > 0) NewLine(indent);
  for (const auto& [key, value] : map) {
    text_ += "  ";
    Print(*key, indent + 2);
    text_ += " : ";
    if (IsHidden(*key)) {
      text_ += "<not printed>";
    } else {
      Print(*value, indent + 2);
    }
    text_ += ",";
    NewLine(indent);
    if (overflown()) return;
  }
  text_ += "}";
}

void Printer::PrintSimple(const Simple& simple) {
  if (simple.simpleType() == NULL_T) {
    text_ += "null";
    return;
  }
  text_ += static_cast<const Bool&>(simple).value() ? "true" : "false";
}

}  // namespace

Int* Item::asInt() {
  return type() == UINT || type() == NINT ? static_cast<Int*>(content()) : nullptr;
}
Uint* Item::asUint() {
  return type() == UINT ? static_cast<Uint*>(content()) : nullptr;
}
Nint* Item::asNint() {
  return type() == NINT ? static_cast<Nint*>(content()) : nullptr;
}
Tstr* Item::asTstr() {
  return type() == TSTR ? static_cast<Tstr*>(content()) : nullptr;
}
Bstr* Item::asBstr() {
  return type() == BSTR ? static_cast<Bstr*>(content()) : nullptr;
}
Simple* Item::asSimple() {
  return type() == SIMPLE ? static_cast<Simple*>(content()) : nullptr;
}
Map* Item::asMap() {
  return type() == MAP ? static_cast<Map*>(content()) : nullptr;
}
Array* Item::asArray() {
  return type() == ARRAY ? static_cast<Array*>(content()) : nullptr;
}

bool Item::operator==(const Item& other) const {
  if (type() != other.type()) return false;
  switch (type()) {
    case UINT:
      return *asUint() == *other.asUint();
    case NINT:
      return *asNint() == *other.asNint();
    case BSTR:
      return *asBstr() == *other.asBstr();
    case TSTR:
      return *asTstr() == *other.asTstr();
    case ARRAY:
      return *asArray() == *other.asArray();
    case MAP:
      return *asMap() == *other.asMap();
    case SIMPLE:
      return asSimple()->encode() == other.asSimple()->encode();
    case SEMANTIC:
      break;  // the type of no item
  }
  return false;
}

std::vector<uint8_t> Item::encode() const {
  std::vector<uint8_t> encoding;
  appendTo(&encoding);
  return encoding;
}

void Uint::appendTo(std::vector<uint8_t>* encoding) const {
  AppendHeader(kMajorType, value_, encoding);
}

Nint::Nint(int64_t value) : value_(value) {
  CHECK_LT(value, 0) << "Nint takes negative values only";
}

void Nint::appendTo(std::vector<uint8_t>* encoding) const {
  AppendHeader(kMajorType, static_cast<uint64_t>(-1 - value_), encoding);
}

void Bstr::appendTo(std::vector<uint8_t>* encoding) const {
  AppendString(kMajorType, value_, encoding);
}

void Tstr::appendTo(std::vector<uint8_t>* encoding) const {
  AppendString(kMajorType, value_, encoding);
}

void Bool::appendTo(std::vector<uint8_t>* encoding) const {
  AppendHeader(kMajorType, value_ ? TRUE : FALSE, encoding);
}

void Null::appendTo(std::vector<uint8_t>* encoding) const {
  AppendHeader(kMajorType, NULL_V, encoding);
}

void Array::appendTo(std::vector<uint8_t>* encoding) const {
  AppendHeader(kMajorType, entries_.size(), encoding);
  for (const auto& entry : entries_) entry->appendTo(encoding);
}

bool Array::operator==(const Array& other) const {
  return std::equal(begin(), end(), other.begin(), other.end(), Equal);
}

void Map::appendTo(std::vector<uint8_t>* encoding) const {
  AppendHeader(kMajorType, entries_.size(), encoding);
  for (const auto& [key, value] : entries_) {
    key->appendTo(encoding);
    value->appendTo(encoding);
  }
}

bool Map::operator==(const Map& other) const {
  return std::equal(begin(), end(), other.begin(), other.end(), EqualPairs);
}

const std::unique_ptr<Item>& Map::find(const Item& key) const {
  static const std::unique_ptr<Item> kMissing;
  const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const entry_type& each) { return *each.first == key; });
  return entry == entries_.end() ? kMissing : entry->second;
}

uint64_t SemanticTag::semanticTag(size_t nesting) const {
  return nesting + 1 >= count_ ? tag_ : item_->semanticTag(nesting);
}

void SemanticTag::appendTo(std::vector<uint8_t>* encoding) const {
  AppendHeader(kMajorType, tag_, encoding);
  item_->appendTo(encoding);
}

std::string prettyPrint(const Item* item, size_t maxBStrSize,
                        const std::vector<std::string>& mapKeysToNotPrint) {
  if (item == nullptr) return "<NULL>";
  Printer printer(maxBStrSize, mapKeysToNotPrint);
  printer.Print(*item, 0);
  if (printer.overflown()) {
    LOG(ERROR) << "Data to pretty print is longer than " << kMaxPrettyPrintSize << " bytes";
    return "";
  }
  return printer.text();
}

std::string prettyPrint(const std::vector<uint8_t>& encodedCbor, size_t maxBStrSize,
                        const std::vector<std::string>& mapKeysToNotPrint) {
  const auto [item, position, message] = parse(encodedCbor);
  if (item == nullptr) {
    LOG(ERROR) << "Data to pretty print is not valid CBOR: " << message;
    return "";
  }
  return prettyPrint(item.get(), maxBStrSize, mapKeysToNotPrint);
}

}  // namespace cppbor
