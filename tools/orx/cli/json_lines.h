// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

namespace orx_tool {

// How a child process tells its parent what it finds: one JSON value a line, so that what arrived
// before it was ended is whole.
bool SendLine(int fd, const Json::Value& json);
std::vector<Json::Value> ParseLines(const std::string& payload);

// Texts and FromTexts turn a list of texts into a JSON array and back.
Json::Value Texts(const std::vector<std::string>& texts);
std::vector<std::string> FromTexts(const Json::Value& array);

}  // namespace orx_tool
