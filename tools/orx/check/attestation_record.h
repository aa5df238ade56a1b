// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>
#include <openssl/x509.h>

#include <optional>
#include <string>
#include <vector>

namespace orx_tool {

// DecodeAttestationRecord decodes the Android key attestation extension (OID
// 1.3.6.1.4.1.11129.2.1.17, the DER structure KeyDescription) of a certificate. Nothing when the
// certificate has none; the member "error" says where the structure ends to make sense.
std::optional<Json::Value> DecodeAttestationRecord(const X509* certificate);

// AppendRecordLines writes a decoded record as indented text.
void AppendRecordLines(const Json::Value& record, size_t indent, std::vector<std::string>* lines);

}  // namespace orx_tool
