// SPDX-License-Identifier: Apache-2.0
#include "sim/negotiation/cose_mac.h"

#include <keymaster/cppcose/cppcose.h>
#include <openssl/digest.h>
#include <openssl/hmac.h>
#include <openssl/mem.h>

namespace orx_sim {
namespace {

constexpr size_t kMacLength = 32;

Bytes ProtectedHeader() {
  return cppbor::Map(cppcose::ALGORITHM, cppcose::HMAC_256).encode();
}

Bytes Mac(const Bytes& payload, const Bytes& external_data, const HmacKey& key) {
  const Bytes structure = cppbor::Array("MAC0", ProtectedHeader(), external_data, payload).encode();
  Bytes mac(kMacLength);
  HMAC(EVP_sha256(), key.data(), key.size(), structure.data(), structure.size(), mac.data(),
       nullptr);
  return mac;
}

}  // namespace

cppbor::Array NewMac0(const Bytes& payload, const Bytes& external_data, const HmacKey& key) {
  return cppbor::Array(ProtectedHeader(), cppbor::Map(), payload, Mac(payload, external_data, key));
}

std::optional<Bytes> OpenMac0(const cppbor::Array& message, const Bytes& external_data,
                              const HmacKey& key) {
  if (message.size() != cppcose::kCoseMac0EntryCount) return std::nullopt;
  const cppbor::Bstr* const header = message[cppcose::kCoseMac0ProtectedParams]->asBstr();
  const cppbor::Map* const unprotected = message[cppcose::kCoseMac0UnprotectedParams]->asMap();
  const cppbor::Bstr* const payload = message[cppcose::kCoseMac0Payload]->asBstr();
  const cppbor::Bstr* const tag = message[cppcose::kCoseMac0Tag]->asBstr();
  if (header == nullptr || header->value() != ProtectedHeader() || unprotected == nullptr ||
      unprotected->size() != 0 || payload == nullptr || tag == nullptr) {
    return std::nullopt;
  }
  const Bytes mac = Mac(payload->value(), external_data, key);
  if (tag->value().size() != mac.size() ||
      CRYPTO_memcmp(tag->value().data(), mac.data(), mac.size()) != 0) {
    return std::nullopt;
  }
  return payload->value();
}

}  // namespace orx_sim
