// SPDX-License-Identifier: Apache-2.0
#include "sim/replay/replay.h"

#include <android-base/parseint.h>
#include <android-base/strings.h>
#include <openssl/bio.h>
#include <openssl/err.h>

#include <algorithm>

#include "common/certificate.h"
#include "sim/base/files.h"

namespace orx_sim {
namespace {

using android::base::Split;

constexpr char kFirstLine[] = "orx-replay 1";

bool ReadChain(const std::string& path, Replay::Chain* chain, std::string* error) {
  std::string text;
  if (!ReadFile(path, &text, error)) return false;
  const bssl::UniquePtr<BIO> bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
  std::string label;
  Bytes der;
  while (orx_common::ReadPemBlock(bio.get(), &label, &der)) chain->push_back(der);
  ERR_clear_error();
  if (chain->empty()) *error = path + ": there is no certificate in it";
  return !chain->empty();
}

bool ParseHexText(const std::string& hex, std::string* text) {
  if (hex.size() % 2 != 0) return false;
  for (size_t i = 0; i < hex.size(); i += 2) {
    unsigned byte = 0;
    if (!android::base::ParseUint("0x" + hex.substr(i, 2), &byte, 255U)) return false;
    text->push_back(static_cast<char>(byte));
  }
  return true;
}

// LineReader takes in the lines of one file.
class LineReader {
 public:
  LineReader(std::string folder, Replay* replay) : folder_(std::move(folder)), replay_(*replay) {}

  bool Take(const std::string& line, std::string* error) {
    const std::vector<std::string> words = Split(line, " ");
    const std::string& kind = words[0];
    const std::string rest = line.substr(std::min(line.size(), kind.size() + 1));
    if (line.empty() || line[0] == '#') return true;
    *error = "not understood: " + line;
    int tag = 0;
    const bool of_tag = words.size() == 4 && android::base::ParseInt(words[2], &tag);
    if (kind == "fault" && !rest.empty()) {
      replay_.faults.push_back(rest);
    } else if (kind == "chain" && words.size() == 3) {
      return ReadNamed(words[2], &replay_.chains[words[1]], error);
    } else if (kind == "leaf" && of_tag) {
      return ReadNamed(words[3], &replay_.leaves[{words[1], tag}], error);
    } else if (kind == "refuse" && of_tag) {
      return android::base::ParseInt(words[3], &replay_.refusals[{words[1], tag}]);
    } else if (kind == "modem" && words.size() == 3) {
      return ParseHexText(words[2], &replay_.modem[words[1]]);
    } else if (kind == "absent" && words.size() == 2) {
      replay_.absent.insert(words[1]);
    } else if (line == "no-modem") {
      replay_.has_modem = false;
    } else if (kind == "left-out") {
      replay_.left_out.push_back(rest);
    } else {
      return false;
    }
    return true;
  }

 private:
  // A file of the folder itself, whatever the line says.
  bool ReadNamed(const std::string& name, Replay::Chain* chain, std::string* error) const {
    if (name.find('/') != std::string::npos) return false;
    return ReadChain(folder_ + "/" + name, chain, error);
  }

  const std::string folder_;
  Replay& replay_;
};

// Certificates gives the chain in KeyMint's form.
std::vector<km::Certificate> Certificates(const Replay::Chain& chain) {
  std::vector<km::Certificate> certificates;
  for (const Bytes& der : chain) certificates.push_back({der});
  return certificates;
}

}  // namespace

bool LoadReplay(const std::string& folder, Replay* replay, std::string* error) {
  const std::string path = folder + "/replay";
  std::string text;
  if (!ReadFile(path, &text, error)) return false;
  const std::vector<std::string> lines = Split(text, "\n");
  if (lines[0] != kFirstLine) {
    *error = path + ": does not begin with \"" + kFirstLine + "\"";
    return false;
  }
  LineReader reader(folder, replay);
  for (size_t i = 1; i < lines.size(); ++i) {
    if (reader.Take(lines[i], error)) continue;
    *error = path + ":" + std::to_string(i + 1) + ": " + *error;
    return false;
  }
  return true;
}

ndk::ScopedAStatus ReplayedKeyMint::generateKey(
    const KeyParams& params, const std::optional<km::AttestationKey>& attestation_key,
    km::KeyCreationResult* result) {
  const Replay::Chain* chain = nullptr;
  const auto known = replay_->chains.find(instance_name_);
  if (!attestation_key && known != replay_->chains.end() &&
      Contains(params, Tag::PURPOSE, km::KeyPurpose::ATTEST_KEY)) {
    chain = &known->second;
  }
  for (const km::KeyParameter& param : params) {
    const auto key = std::make_pair(instance_name_, static_cast<int>(param.tag) & 0xffff);
    const auto refusal = replay_->refusals.find(key);
    // That of a challenge is of keys that the device's own are to attest.
    const bool by_other = param.tag == Tag::ATTESTATION_CHALLENGE && attestation_key;
    if (refusal != replay_->refusals.end() && !by_other) {
      return ndk::ScopedAStatus::fromServiceSpecificError(refusal->second);
    }
    const auto leaf = replay_->leaves.find(key);
    if (attestation_key && leaf != replay_->leaves.end()) chain = &leaf->second;
  }
  // The key itself is this device's own, so that it can be used.
  ndk::ScopedAStatus status = KeyMintDevice::generateKey(params, attestation_key, result);
  if (status.isOk() && chain != nullptr) result->certificateChain = Certificates(*chain);
  return status;
}

}  // namespace orx_sim
