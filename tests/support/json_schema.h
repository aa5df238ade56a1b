// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include <string>

namespace orx_test {

// ParseJson parses one document and nothing behind it; a null value when it is not JSON.
Json::Value ParseJson(const std::string& text);

// SchemaErrors checks `value` against the definition `name` of a JSON Schema document and returns
// one line for each violation. It knows the keywords that report.schema.json uses: type, const,
// enum, required, properties, additionalProperties, items and $ref; any other is a violation.
std::string SchemaErrors(const Json::Value& value, const Json::Value& document,
                         const std::string& name);

}  // namespace orx_test
