// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tools/orx/check/check.h"
#include "tools/orx/diagnosis/library_log.h"

namespace orx_tool {

// The self-tests keep what they receive to themselves. What explains a verdict elsewhere is
// therefore asked for once more, by the same requests through the library's KeyMint client.

// CapturedKey is the answer to one request for a key.
struct CapturedKey {
  int error = 0;
  CertificateChain chain;
};

struct Capture {
  CapturedKey attestation_key;
  struct Identifier {
    uint32_t bit = 0;  // of the self-tests' mask
    CapturedKey key;
  };
  std::vector<Identifier> identifiers;  // the keys attested by it, one an identifier
};

// CaptureKeys repeats the requests of an attestation self-test; those for identifiers, which may
// ask the modem, only `with_identifiers`.
Capture CaptureKeys(const Check& check, bool with_identifiers);

Json::Value CaptureToJson(const Capture& capture);
Capture CaptureFromJson(const Json::Value& json);

// ModemExchange is a command and what the modem answered.
struct ModemExchange {
  std::string command;
  std::string answer;
};

// ModemExchanges finds those of a check in the library's lines.
std::vector<ModemExchange> ModemExchanges(const std::vector<LogLine>& lines);

// MaskShape makes an identifier within a modem's answer another one of the same form, which the
// library judges alike: two characters stay, further digits become 0 and letters A.
std::string MaskShape(const std::string& answer);

}  // namespace orx_tool
