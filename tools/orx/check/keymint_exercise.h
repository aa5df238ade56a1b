// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "tools/orx/check/keymint_keys.h"

namespace orx_tool {

// Refusal is something that KeyMint did not do as the library needs it.
struct Refusal {
  std::string what;       // "import, RSA-4096"
  std::string call;       // the KeyMint method that failed: "importKey"
  int number = 0;         // which of the calls of that method it was, from 1
  int error = 0;          // the KeyMint error; 0: it answered something else than it should
  bool optional = false;  // no fault: the standard leaves it to this kind of KeyMint
};

Json::Value RefusalsToJson(const std::vector<Refusal>& refusals);
std::vector<Refusal> RefusalsFromJson(const Json::Value& json);

// KeyMintPort is the way to a KeyMint; its calls return KeyMint's error codes.
class KeyMintPort {
 public:
  using Blob = std::vector<uint8_t>;

  virtual ~KeyMintPort() = default;
  virtual int Import(const ExerciseKey& key, Blob* blob) = 0;
  virtual int Begin(const KeyUse& use, const Blob& blob) = 0;
  virtual int Finish(const std::string& input, std::string* output) = 0;
  virtual int Delete(Blob* blob) = 0;
};

// Exercise has KeyMint import, use and delete the keys of ExerciseKeys() and gives all that it
// refused or did wrongly. What needs a key that was not imported is left out.
std::vector<Refusal> Exercise(KeyMintPort& port, bool strongbox);

// ExerciseService does so through the library's KeyMint client.
std::vector<Refusal> ExerciseService(bool strongbox);

}  // namespace orx_tool
