// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>
#include <openssl/x509.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orx_tool {

// RecordEntry is one entry of an attestation record in its place: a value, or entries of its own.
struct RecordEntry {
  std::string name;
  Json::Value value;
  std::vector<RecordEntry> entries;
};
using Record = std::vector<RecordEntry>;

// DecodeAttestationRecord decodes the Android key attestation extension (OID
// 1.3.6.1.4.1.11129.2.1.17, the DER structure KeyDescription) of a certificate. Nothing when the
// certificate has none. What cannot be read is shown in hexadecimal in its place, or, where the
// structure itself ends to make sense, as a last entry "error".
std::optional<Record> DecodeAttestationRecord(const X509* certificate);

// DecodeKeyDescription decodes the extension's value.
Record DecodeKeyDescription(const uint8_t* der, size_t size);

// RecordJson is the record as an object: numbers as numbers, dates as ISO 8601, byte strings as
// text where they are printable ASCII, else in hexadecimal.
Json::Value RecordJson(const Record& record);

// AppendRecordLines writes the record as indented text, in its own order.
void AppendRecordLines(const Record& record, size_t indent, std::vector<std::string>* lines);

}  // namespace orx_tool
