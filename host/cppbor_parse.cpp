// SPDX-License-Identifier: Apache-2.0
#include <cppbor_parse.h>

#include <limits>

namespace cppbor {
namespace {

// Parser reads items at a cursor that stands on the next byte. A failure is recorded once, where it
// happens, and unwinds as null.
class Parser {
 public:
  Parser(const uint8_t* begin, const uint8_t* end) : cursor_(begin), end_(end) {}

  std::unique_ptr<Item> ParseItem(size_t depth);

  // Where the item failed, else the first byte behind it.
  const uint8_t* position() const { return failed_at_ != nullptr ? failed_at_ : cursor_; }
  std::string&& message() { return std::move(message_); }

 private:
  // What an item's header says: its type, and a value, length, count or tag.
  struct Header {
    const uint8_t* at;
    MajorType type;
    uint64_t value;
  };

  std::nullptr_t Fail(const uint8_t* at, std::string message) {
    failed_at_ = at;
    message_ = std::move(message);
    return nullptr;
  }
  std::nullptr_t FailShort(const Header& header, const char* what) {
    return Fail(header.at, "Need " + std::to_string(header.value) + " byte(s) for " + what +
                               ", have " + std::to_string(available()) + ".");
  }
  size_t available() const { return static_cast<size_t>(end_ - cursor_); }

  bool ReadHeader(Header* header);
  std::unique_ptr<Item> ParseEntry(const Header& container, const char* name, size_t depth);
  std::unique_ptr<Item> ParseNint(const Header& header);
  std::unique_ptr<Item> ParseBstr(const Header& header);
  std::unique_ptr<Item> ParseTstr(const Header& header);
  std::unique_ptr<Item> ParseArray(const Header& header, size_t depth);
  std::unique_ptr<Item> ParseMap(const Header& header, size_t depth);
  std::unique_ptr<Item> ParseTag(const Header& header, size_t depth);
  std::unique_ptr<Item> ParseSimple(const Header& header);

  const uint8_t* cursor_;
  const uint8_t* const end_;
  const uint8_t* failed_at_ = nullptr;
  std::string message_;
};

std::unique_ptr<Item> Parser::ParseItem(size_t depth) {
  if (depth > kMaxParseDepth) {
    return Fail(cursor_,
                "Max depth reached.  Cannot parse CBOR structures with more than 1000 levels.");
  }
  Header header;
  if (!ReadHeader(&header)) return nullptr;
  switch (header.type) {
    case UINT:
      return std::make_unique<Uint>(header.value);
    case NINT:
      return ParseNint(header);
    case BSTR:
      return ParseBstr(header);
    case TSTR:
      return ParseTstr(header);
    case ARRAY:
      return ParseArray(header, depth);
    case MAP:
      return ParseMap(header, depth);
    case SEMANTIC:
      return ParseTag(header, depth);
    case SIMPLE:
      break;
  }
  return ParseSimple(header);
}

// The caller has seen that there is a byte.
bool Parser::ReadHeader(Header* header) {
  header->at = cursor_;
  header->type = static_cast<MajorType>(*cursor_ & 0xE0);
  const uint8_t additional = *cursor_ & 0x1F;
  ++cursor_;
  if (additional < ONE_BYTE_LENGTH) {
    header->value = additional;
    return true;
  }
  if (additional > EIGHT_BYTE_LENGTH) {
    Fail(header->at,
         "Reserved additional information value or unsupported indefinite length item.");
    return false;
  }
  header->value = uint64_t{1} << (additional - ONE_BYTE_LENGTH);
  if (header->value > available()) {
    FailShort(*header, "length field");
    return false;
  }
  const uint8_t* const value_end = cursor_ + header->value;
  for (header->value = 0; cursor_ != value_end; ++cursor_) {
    header->value = header->value << 8 | *cursor_;
  }
  return true;
}

std::unique_ptr<Item> Parser::ParseEntry(const Header& container, const char* name, size_t depth) {
  if (cursor_ == end_) {
    return Fail(container.at, std::string("Not enough entries for ") + name + ".");
  }
  return ParseItem(depth + 1);
}

std::unique_ptr<Item> Parser::ParseNint(const Header& header) {
  if (header.value > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
    return Fail(header.at, "NINT values that don't fit in int64_t are not supported.");
  }
  return std::make_unique<Nint>(-1 - static_cast<int64_t>(header.value));
}

std::unique_ptr<Item> Parser::ParseBstr(const Header& header) {
  if (header.value > available()) return FailShort(header, "byte string");
  const uint8_t* const begin = cursor_;
  cursor_ += header.value;
  return std::make_unique<Bstr>(std::vector<uint8_t>(begin, cursor_));
}

std::unique_ptr<Item> Parser::ParseTstr(const Header& header) {
  if (header.value > available()) return FailShort(header, "text string");
  const uint8_t* const begin = cursor_;
  cursor_ += header.value;
  return std::make_unique<Tstr>(std::string(begin, cursor_));
}

std::unique_ptr<Item> Parser::ParseArray(const Header& header, size_t depth) {
  auto array = std::make_unique<Array>();
  for (uint64_t i = 0; i < header.value; ++i) {
    std::unique_ptr<Item> entry = ParseEntry(header, "array", depth);
    if (entry == nullptr) return nullptr;
    array->add(std::move(entry));
  }
  return array;
}

std::unique_ptr<Item> Parser::ParseMap(const Header& header, size_t depth) {
  auto map = std::make_unique<Map>();
  // The platform counts keys and values in 64 bits: 2^63 pairs read as an empty map.
  const uint64_t num_items = header.value * 2;
  for (uint64_t i = 0; i < num_items; i += 2) {
    std::unique_ptr<Item> key = ParseEntry(header, "map", depth);
    if (key == nullptr) return nullptr;
    std::unique_ptr<Item> value = ParseEntry(header, "map", depth);
    if (value == nullptr) return nullptr;
    map->add(std::move(key), std::move(value));
  }
  return map;
}

std::unique_ptr<Item> Parser::ParseTag(const Header& header, size_t depth) {
  std::unique_ptr<Item> content = ParseEntry(header, "semantic", depth);
  if (content == nullptr) return nullptr;
  return std::make_unique<SemanticTag>(header.value, std::move(content));
}

// The value counts, in whichever length it is written.
std::unique_ptr<Item> Parser::ParseSimple(const Header& header) {
  switch (header.value) {
    case FALSE:
      return std::make_unique<Bool>(false);
    case TRUE:
      return std::make_unique<Bool>(true);
    case NULL_V:
      return std::make_unique<Null>();
    default:
      return Fail(header.at, "Unsupported floating-point or simple value.");
  }
}

}  // namespace

ParseResult parse(const uint8_t* begin, const uint8_t* end) {
  if (begin == end) {
    return {nullptr, begin,
            "Input buffer is empty. Begin and end cannot point to the same location."};
  }
  Parser parser(begin, end);
  std::unique_ptr<Item> item = parser.ParseItem(0);
  return {std::move(item), parser.position(), parser.message()};
}

ParseResult parse(const Bstr* bstr) {
  if (bstr == nullptr) return {nullptr, nullptr, "Null Bstr pointer"};
  return parse(bstr->value());
}

}  // namespace cppbor
