// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/json_lines.h"

#include <unistd.h>

#include <memory>

namespace orx_tool {

bool SendLine(int fd, const Json::Value& json) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  const std::string line = Json::writeString(builder, json) + "\n";
  return write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size());
}

std::vector<Json::Value> ParseLines(const std::string& payload) {
  std::vector<Json::Value> values;
  const Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  size_t begin = 0;
  for (size_t end = payload.find('\n'); end != std::string::npos;
       begin = end + 1, end = payload.find('\n', begin)) {
    Json::Value value;
    if (reader->parse(payload.data() + begin, payload.data() + end, &value, nullptr)) {
      values.push_back(value);
    }
  }
  return values;
}

Json::Value Texts(const std::vector<std::string>& texts) {
  Json::Value array(Json::arrayValue);
  for (const std::string& text : texts) array.append(text);
  return array;
}

std::vector<std::string> FromTexts(const Json::Value& array) {
  std::vector<std::string> texts;
  for (const Json::Value& text : array) texts.push_back(text.asString());
  return texts;
}

}  // namespace orx_tool
