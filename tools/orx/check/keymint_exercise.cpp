// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/keymint_exercise.h"

#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <keymint/ORX_KEYMINT.h>

#include <algorithm>
#include <iterator>
#include <map>

namespace orx_tool {
namespace {

namespace orx = android::hardware::keymint::ORX;
using aidl::android::hardware::security::keymint::ErrorCode;

// What a StrongBox answers to a size or a digest that the standard does not demand of it.
constexpr ErrorCode kNotOffered[] = {ErrorCode::UNSUPPORTED_KEY_SIZE, ErrorCode::UNSUPPORTED_DIGEST,
                                     ErrorCode::INCOMPATIBLE_DIGEST};

bool IsNotOffered(int error) {
  return std::any_of(std::begin(kNotOffered), std::end(kNotOffered),
                     [&](ErrorCode code) { return error == static_cast<int>(code); });
}

class Run {
 public:
  Run(KeyMintPort& port, bool strongbox) : port_(port), strongbox_(strongbox) {}

  void Exercise(const ExerciseKey& key) {
    KeyMintPort::Blob blob;
    const bool imported = Count("importKey", "import, " + key.name, key.optional_on_strongbox,
                                port_.Import(key, &blob));
    if (!imported) return;
    for (const KeyUse& use : key.uses) Use(use, blob);
    Count("deleteKey", "deletion, " + key.name, false, port_.Delete(&blob));
  }

  const std::vector<Refusal>& refusals() const { return refusals_; }

 private:
  void Use(const KeyUse& use, const KeyMintPort::Blob& blob) {
    const bool optional = use.optional_on_strongbox;
    std::string output;
    if (!Count("begin", use.name, optional, port_.Begin(use, blob))) return;
    if (!Count("finish", use.name, optional, port_.Finish(use.input, &output))) return;
    if (output != use.expected)
      refusals_.push_back({use.name, "finish", calls_["finish"], 0, false});
  }

  // Count counts a call of `method` and notes its error; true if there was none.
  bool Count(const std::string& method, const std::string& what, bool optional, int error) {
    const int number = ++calls_[method];
    if (error == 0) return true;
    refusals_.push_back(
        {what, method, number, error, strongbox_ && optional && IsNotOffered(error)});
    return false;
  }

  KeyMintPort& port_;
  const bool strongbox_;
  std::map<std::string, int> calls_;
  std::vector<Refusal> refusals_;
};

class ServicePort : public KeyMintPort {
 public:
  explicit ServicePort(bool strongbox) : service_(strongbox) {}

  int Import(const ExerciseKey& key, Blob* blob) override {
    std::vector<orx::km::KeyCharacteristics> characteristics;
    return service_.ImportKey(key.import_params, key.format, key.data, blob, &characteristics);
  }
  int Begin(const KeyUse& use, const Blob& blob) override {
    return service_.Begin(use.purpose, blob, use.params);
  }
  int Finish(const std::string& input, std::string* output) override {
    return service_.Finish(input, "", output);
  }
  int Delete(Blob* blob) override { return service_.DeleteKey(blob, /*keepBlob=*/false); }

 private:
  orx::KeyMintService service_;
};

}  // namespace

std::vector<Refusal> Exercise(KeyMintPort& port, bool strongbox) {
  Run run(port, strongbox);
  for (const ExerciseKey& key : ExerciseKeys()) run.Exercise(key);
  return run.refusals();
}

std::vector<Refusal> ExerciseService(bool strongbox) {
  ServicePort port(strongbox);
  return Exercise(port, strongbox);
}

Json::Value RefusalsToJson(const std::vector<Refusal>& refusals) {
  Json::Value json(Json::arrayValue);
  for (const Refusal& refusal : refusals) {
    Json::Value& one = json.append(Json::Value(Json::objectValue));
    one["what"] = refusal.what;
    one["call"] = refusal.call;
    one["number"] = refusal.number;
    one["error"] = refusal.error;
    one["optional"] = refusal.optional;
  }
  return json;
}

std::vector<Refusal> RefusalsFromJson(const Json::Value& json) {
  std::vector<Refusal> refusals;
  for (const Json::Value& one : json) {
    refusals.push_back({one["what"].asString(), one["call"].asString(), one["number"].asInt(),
                        one["error"].asInt(), one["optional"].asBool()});
  }
  return refusals;
}

}  // namespace orx_tool
