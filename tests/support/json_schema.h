// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include <string>

namespace orx_test {

// ParseJson parses one document and nothing behind it; a null value when it is not JSON.
Json::Value ParseJson(const std::string& text);

// SchemaErrors checks `value` against a JSON Schema document (draft 7) and returns one line for
// each violation.
std::string SchemaErrors(const Json::Value& value, const Json::Value& document);

}  // namespace orx_test
