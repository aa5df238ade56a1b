// SPDX-License-Identifier: Apache-2.0
#include "tests/support/json_schema.h"

#include <algorithm>
#include <memory>

namespace orx_test {
namespace {

// Checker walks a value and its schema side by side.
class Checker {
 public:
  explicit Checker(const Json::Value& document) : document_(document) {}

  void Check(const Json::Value& value, const Json::Value& schema, const std::string& path) {
    for (const std::string& keyword : schema.getMemberNames()) {
      CheckKeyword(value, schema, keyword, path);
    }
  }
  const std::string& errors() const { return errors_; }

 private:
  void CheckKeyword(const Json::Value& value, const Json::Value& schema, const std::string& keyword,
                    const std::string& path) {
    const Json::Value& argument = schema[keyword];
    if (keyword == "type") {
      if (!HasType(value, argument.asString())) Fail(path, "is no " + argument.asString());
    } else if (keyword == "const") {
      if (value != argument) Fail(path, "is not " + argument.asString());
    } else if (keyword == "enum") {
      if (std::find(argument.begin(), argument.end(), value) == argument.end()) {
        Fail(path, "has a value outside its enum: " + value.toStyledString());
      }
    } else if (keyword == "required") {
      for (const Json::Value& name : argument) {
        if (!value.isMember(name.asString())) Fail(path, "lacks " + name.asString());
      }
    } else if (keyword == "items") {
      for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
        Check(value[i], argument, path + "[" + std::to_string(i) + "]");
      }
    } else if (keyword == "$ref") {
      Check(value, document_["$defs"][argument.asString().substr(8)], path);
    } else if (keyword == "properties") {
      CheckProperties(value, schema, path);
    } else if (keyword != "additionalProperties") {
      Fail(path, "has the unknown keyword " + keyword);
    }
  }

  void CheckProperties(const Json::Value& value, const Json::Value& schema,
                       const std::string& path) {
    if (!value.isObject()) return;
    const Json::Value& properties = schema["properties"];
    for (const std::string& name : value.getMemberNames()) {
      if (properties.isMember(name)) {
        Check(value[name], properties[name], path + "." + name);
      } else if (schema.isMember("additionalProperties")) {
        Fail(path, "has the unknown member " + name);
      }
    }
  }

  static bool HasType(const Json::Value& value, const std::string& type) {
    if (type == "object") return value.isObject();
    if (type == "array") return value.isArray();
    if (type == "string") return value.isString();
    if (type == "boolean") return value.isBool();
    if (type == "integer") return value.isIntegral() && !value.isBool();
    return type == "number" && value.isNumeric() && !value.isBool();
  }

  void Fail(const std::string& path, const std::string& what) {
    errors_ += path + " " + what + "\n";
  }

  const Json::Value& document_;
  std::string errors_;
};

}  // namespace

Json::Value ParseJson(const std::string& text) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  if (!reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) return {};
  return value;
}

std::string SchemaErrors(const Json::Value& value, const Json::Value& document,
                         const std::string& name) {
  if (!document["$defs"].isMember(name)) return "no definition " + name + "\n";
  Checker checker(document);
  checker.Check(value, document["$defs"][name], name);
  return checker.errors();
}

}  // namespace orx_test
