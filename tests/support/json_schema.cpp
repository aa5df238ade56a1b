// SPDX-License-Identifier: Apache-2.0
#include "tests/support/json_schema.h"

#include <memory>
#include <valijson/adapters/jsoncpp_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

namespace orx_test {

Json::Value ParseJson(const std::string& text) {
  Json::CharReaderBuilder builder;
  builder["failIfExtra"] = true;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  if (!reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) return {};
  return value;
}

std::string SchemaErrors(const Json::Value& value, const Json::Value& document) {
  using valijson::adapters::JsonCppAdapter;
  valijson::Schema schema;
  valijson::SchemaParser().populateSchema(JsonCppAdapter(document), schema);
  valijson::ValidationResults results;
  valijson::Validator().validate(schema, JsonCppAdapter(value), &results);
  std::string errors;
  for (const auto& error : results) {
    for (const std::string& step : error.context) errors += step;
    errors += ": " + error.description + "\n";
  }
  return errors;
}

}  // namespace orx_test
