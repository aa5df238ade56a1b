// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/result_bytes.h"

namespace orx_tool {

ResultBytes::ResultBytes(const Args& args, Output& output, Format default_format, Privacy privacy,
                         std::optional<Problem>* problem)
    : output_(output), format_(default_format), path_(args.Get("output", "-")) {
  if (args.Has("format")) {
    const auto format = ParseFormat(args.Get("format"));
    if (!format) *problem = MakeProblem("USAGE", "--format takes raw, hex or base64");
    format_ = format.value_or(default_format);
  }
  if (*problem) return;
  const bool in_answer = output.json() && path_ == "-";
  if (!in_answer) file_.emplace(path_, privacy, problem);
}

bool ResultBytes::Write(const uint8_t* bytes, size_t size, std::optional<Problem>* problem) {
  size_ += size;
  if (!file_) {
    hex_ += ToHex(bytes, size);
    return true;
  }
  std::string text = Encode(format_, bytes, size);
  if (format_ != Format::kRaw) text.pop_back();  // the line feed comes once, at the end
  const bool written = file_->Write(text.data(), text.size(), problem);
  WipeString(&text);
  return written;
}

bool ResultBytes::Finish(std::optional<Problem>* problem) {
  output_.answer()["size"] = static_cast<Json::UInt64>(size_);
  if (!file_) {
    output_.answer()["hex"] = hex_;
    WipeString(&hex_);
    return true;
  }
  if (path_ != "-") output_.answer()["output"] = path_;
  if (format_ != Format::kRaw && !file_->Write("\n", 1, problem)) return false;
  return file_->Commit(problem);
}

int WriteResult(const Args& args, Output& output, const uint8_t* bytes, size_t size,
                Format default_format, Privacy privacy) {
  std::optional<Problem> problem;
  ResultBytes result(args, output, default_format, privacy, &problem);
  if (problem || !result.Write(bytes, size, &problem) || !result.Finish(&problem)) {
    return output.Fail(*problem);
  }
  return output.Succeed();
}

}  // namespace orx_tool
