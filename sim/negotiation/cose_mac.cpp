// SPDX-License-Identifier: Apache-2.0
#include "sim/negotiation/cose_mac.h"

#include <openssl/digest.h>
#include <openssl/hmac.h>
#include <openssl/mem.h>

#include "sim/base/bytes.h"

namespace orx_sim {
namespace {

constexpr size_t kMacLength = 32;
constexpr int kHeaderAlgorithm = 1;
constexpr int kAlgorithmHmac256 = 5;

Bytes ProtectedHeader() {
  return CborWriter().Map(1).Unsigned(kHeaderAlgorithm).Unsigned(kAlgorithmHmac256).Take();
}

Bytes Mac(const Bytes& payload, const Bytes& external_data, const HmacKey& key) {
  const Bytes structure = CborWriter()
                              .Array(4)
                              .Text("MAC0")
                              .Bytes(ProtectedHeader())
                              .Bytes(external_data)
                              .Bytes(payload)
                              .Take();
  Bytes mac(kMacLength);
  HMAC(EVP_sha256(), key.data(), key.size(), structure.data(), structure.size(), mac.data(),
       nullptr);
  return mac;
}

// What stands before the payload.
CborWriter& AppendHeaders(CborWriter& writer) {
  return writer.Array(4).Bytes(ProtectedHeader()).Map(0);
}

}  // namespace

Bytes EncodeMac0(CborWriter writer, const Bytes& payload, const Bytes& external_data,
                 const HmacKey& key) {
  return AppendHeaders(writer).Bytes(payload).Bytes(Mac(payload, external_data, key)).Take();
}

std::optional<Bytes> OpenMac0(const CborWriter& writer, const Bytes& message,
                              const Bytes& external_data, const HmacKey& key) {
  constexpr size_t kTagLength = 2 + kMacLength;
  CborWriter headers = writer;
  const size_t headers_length = AppendHeaders(headers).Take().size();
  // Only the length of the head before the payload is unknown. The right one reproduces the
  // message.
  for (size_t head_length = 1; head_length <= 3; ++head_length) {
    const size_t begin = headers_length + head_length;
    if (message.size() < begin + kTagLength) return std::nullopt;
    Bytes payload(message.data() + begin, message.data() + message.size() - kTagLength);
    const Bytes expected = EncodeMac0(writer, payload, external_data, key);
    if (expected.size() == message.size() &&
        CRYPTO_memcmp(expected.data(), message.data(), message.size()) == 0) {
      return payload;
    }
  }
  return std::nullopt;
}

}  // namespace orx_sim
