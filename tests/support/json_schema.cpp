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
      CheckType(value, argument, path);
    } else if (keyword == "const") {
      if (value != argument) Fail(path, "is not " + argument.asString());
    } else if (keyword == "enum") {
      if (std::find(argument.begin(), argument.end(), value) == argument.end()) {
        Fail(path, "has a value outside its enum: " + value.toStyledString());
      }
    } else if (keyword == "required") {
      for (const Json::Value& name : argument) {
        if (value.isObject() && !value.isMember(name.asString())) Fail(path, "lacks " + name.asString());
      }
    } else if (keyword == "items") {
      for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
        Check(value[i], argument, path + "[" + std::to_string(i) + "]");
      }
    } else if (keyword == "$ref") {
      Check(value, Definition(argument.asString()), path);
    } else if (keyword == "anyOf") {
      CheckAnyOf(value, argument, path);
    } else if (keyword == "properties") {
      CheckProperties(value, schema, path);
    } else if (keyword != "additionalProperties" && !Describes(keyword)) {
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

  static bool Describes(const std::string& keyword) {
    return keyword == "$schema" || keyword == "$defs" || keyword == "title" ||
           keyword == "description";
  }

  const Json::Value& Definition(const std::string& reference) const {
    return document_["$defs"][reference.substr(std::string("#/$defs/").size())];
  }

  void CheckType(const Json::Value& value, const Json::Value& types, const std::string& path) {
    if (types.isString() && HasType(value, types.asString())) return;
    for (const Json::Value& type : types.isArray() ? types : Json::Value()) {
      if (HasType(value, type.asString())) return;
    }
    Fail(path, "is no " + types.toStyledString());
  }

  void CheckAnyOf(const Json::Value& value, const Json::Value& schemas, const std::string& path) {
    std::string all;
    for (const Json::Value& schema : schemas) {
      Checker branch(document_);
      branch.Check(value, schema, path + "(" + schema["$ref"].asString() + ")");
      if (branch.errors().empty()) return;
      all += branch.errors();
    }
    Fail(path, "fits none of:\n" + all);
  }

  static bool HasType(const Json::Value& value, const std::string& type) {
    if (type == "object") return value.isObject();
    if (type == "array") return value.isArray();
    if (type == "string") return value.isString();
    if (type == "null") return value.isNull();
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

std::string SchemaErrors(const Json::Value& value, const Json::Value& document) {
  if (!document.isObject()) return "no schema\n";
  Checker checker(document);
  checker.Check(value, document, "answer");
  return checker.errors();
}

}  // namespace orx_test
