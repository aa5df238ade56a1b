// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/commands/rsa_key.h"

#include <openssl/bytestring.h>
#include <openssl/evp.h>
#include <openssl/mem.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <string.h>

#include "tools/orx/cli/encoding.h"
#include "tools/orx/cli/files.h"

namespace orx_tool {
namespace {

constexpr size_t kRsaKeyFileLimit = 64UL * 1024;

int RefusePassword(char* /*buffer*/, int /*size*/, int /*writing*/, void* /*data*/) {
  return -1;
}

bool Contains(const SecretBytes& bytes, const char* text) {
  return memmem(bytes.data(), bytes.size(), text, strlen(text)) != nullptr;
}

bssl::UniquePtr<EVP_PKEY> ParsePem(const SecretBytes& file) {
  bssl::UniquePtr<BIO> bio(BIO_new_mem_buf(file.data(), static_cast<int>(file.size())));
  if (bio == nullptr) return nullptr;
  return bssl::UniquePtr<EVP_PKEY>(
      PEM_read_bio_PrivateKey(bio.get(), nullptr, RefusePassword, nullptr));
}

bssl::UniquePtr<EVP_PKEY> ParsePkcs8(const SecretBytes& file) {
  CBS bytes;
  CBS_init(&bytes, file.data(), file.size());
  bssl::UniquePtr<EVP_PKEY> key(EVP_parse_private_key(&bytes));
  if (CBS_len(&bytes) != 0) return nullptr;
  return key;
}

bssl::UniquePtr<EVP_PKEY> ParsePkcs1(const SecretBytes& file) {
  bssl::UniquePtr<RSA> rsa(RSA_private_key_from_bytes(file.data(), file.size()));
  bssl::UniquePtr<EVP_PKEY> key(EVP_PKEY_new());
  if (rsa == nullptr || key == nullptr || EVP_PKEY_set1_RSA(key.get(), rsa.get()) != 1) {
    return nullptr;
  }
  return key;
}

bssl::UniquePtr<EVP_PKEY> ParseKey(const SecretBytes& file) {
  if (Contains(file, "-----BEGIN ")) return ParsePem(file);
  if (auto key = ParsePkcs8(file)) return key;
  return ParsePkcs1(file);
}

std::optional<RsaPrivateKey> EncodePkcs8(EVP_PKEY* key) {
  bssl::ScopedCBB cbb;
  uint8_t* der = nullptr;
  size_t size = 0;
  if (!CBB_init(cbb.get(), 2048) || !EVP_marshal_private_key(cbb.get(), key) ||
      !CBB_finish(cbb.get(), &der, &size)) {
    return std::nullopt;
  }
  const bssl::UniquePtr<uint8_t> owned(der);  // wiped
  return RsaPrivateKey{SecretBytes(der, der + size), static_cast<unsigned>(EVP_PKEY_bits(key))};
}

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

Problem LineProblem(const std::string& path, size_t number, const std::string& what) {
  return MakeProblem("KEY-COMPONENTS", path + " line " + std::to_string(number) + ": " + what);
}

// ReadComponentLine stores the component of one line. Returns what is wrong with it, or nothing.
std::string ReadComponentLine(const std::string& line, RsaComponents* components) {
  const size_t equals = line.find('=');
  if (equals == std::string::npos) return "no 'name = hex'";
  const std::string name = Trimmed(line.substr(0, equals));
  for (size_t i = 0; i < kRsaComponents.size(); ++i) {
    if (name != kRsaComponents[i]) continue;
    auto& component = (*components)[i];
    if (component) return "a second '" + name + "'";
    component = ParseHex(line.substr(equals + 1));
    return component && !component->empty() ? "" : "the value of '" + name + "' is no hex number";
  }
  return "'" + name + "' is none of e, n, d, p, q, dp, dq, qinv";
}

}  // namespace

std::optional<RsaPrivateKey> ReadRsaPrivateKey(const std::string& path,
                                               std::optional<Problem>* problem) {
  const auto file = ReadWhole(path, kRsaKeyFileLimit, problem);
  if (!file) return std::nullopt;
  if (Contains(*file, "ENCRYPTED")) {
    *problem = MakeProblem("KEY-FORMAT", path + " is encrypted; decrypt it first");
    return std::nullopt;
  }
  const auto key = ParseKey(*file);
  if (key == nullptr) {
    *problem = MakeProblem("KEY-FORMAT", path + " holds no private key in PKCS#8 or PKCS#1");
    return std::nullopt;
  }
  if (EVP_PKEY_id(key.get()) != EVP_PKEY_RSA) {
    *problem = MakeProblem("KEY-FORMAT", path + " holds a private key, but not of RSA");
    return std::nullopt;
  }
  auto encoded = EncodePkcs8(key.get());
  if (!encoded) *problem = MakeProblem("CRYPTO-LIBRARY", "the key could not be encoded");
  return encoded;
}

std::optional<RsaComponents> ReadRsaComponents(const std::string& path,
                                               std::optional<Problem>* problem) {
  const auto file = ReadWhole(path, kRsaKeyFileLimit, problem);
  if (!file) return std::nullopt;
  RsaComponents components;
  size_t number = 0;
  for (size_t at = 0; at < file->size(); ++number) {
    const void* end = memchr(file->data() + at, '\n', file->size() - at);
    const size_t line_end =
        end != nullptr ? static_cast<size_t>(static_cast<const uint8_t*>(end) - file->data())
                       : file->size();
    std::string line(reinterpret_cast<const char*>(file->data()) + at, line_end - at);
    at = line_end + 1;
    const std::string trimmed = Trimmed(line);
    if (trimmed.empty() || trimmed[0] == '#') continue;
    const std::string error = ReadComponentLine(line, &components);
    WipeString(&line);
    if (error.empty()) continue;
    *problem = LineProblem(path, number + 1, error);
    return std::nullopt;
  }
  for (size_t i = 0; i < kRsaComponents.size(); ++i) {
    if (components[i]) continue;
    *problem = MakeProblem("KEY-COMPONENTS", path + ": '" + kRsaComponents[i] + "' is missing");
    return std::nullopt;
  }
  return components;
}

}  // namespace orx_tool
