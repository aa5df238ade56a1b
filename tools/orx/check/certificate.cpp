// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/certificate.h"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/sha.h>
#include <string.h>

#include "tools/orx/check/attestation_record.h"
#include "tools/orx/cli/encoding.h"
#include "tools/orx/cli/files.h"

namespace orx_tool {
namespace {

constexpr size_t kFileLimit = 1024UL * 1024;
constexpr const char kPemLabel[] = "CERTIFICATE";

// The attestation root that Google publishes for devices: its subject and the SHA-256 of its public
// key. Its certificate was renewed under the same key.
constexpr const char kPublishedRootSubject[] = "/serialNumber=f92009e853b6b045";
constexpr const char kPublishedRootKey[] =
    "feb2ea7551ee316ed4bb443c8293b884dbfdea40b603ee3e4f4a897e4580fbae";
// Its successor, in use since 2026.
constexpr const char kNewerRootSubject[] = "/CN=Key Attestation CA1/OU=Android/O=Google LLC/C=US";

std::string Text(BIO* bio) {
  const uint8_t* bytes = nullptr;
  size_t size = 0;
  if (!BIO_mem_contents(bio, &bytes, &size)) return "";
  return std::string(reinterpret_cast<const char*>(bytes), size);
}

std::string TimeText(const ASN1_TIME* time) {
  bssl::UniquePtr<BIO> bio(BIO_new(BIO_s_mem()));
  if (bio == nullptr || !ASN1_TIME_print(bio.get(), time)) return "not readable";
  return Text(bio.get());
}

std::string SerialText(const X509* certificate) {
  bssl::UniquePtr<BIGNUM> number(ASN1_INTEGER_to_BN(X509_get0_serialNumber(certificate), nullptr));
  bssl::UniquePtr<char> text(number != nullptr ? BN_bn2hex(number.get()) : nullptr);
  return text != nullptr ? text.get() : "not readable";
}

std::optional<CertificateChain> ReadPem(const SecretBytes& file) {
  bssl::UniquePtr<BIO> bio(BIO_new_mem_buf(file.data(), static_cast<int>(file.size())));
  CertificateChain chain;
  for (;;) {
    char* name = nullptr;
    char* header = nullptr;
    uint8_t* bytes = nullptr;
    long size = 0;
    if (!PEM_read_bio(bio.get(), &name, &header, &bytes, &size)) return chain;
    const bool certificate = strcmp(name, kPemLabel) == 0;
    if (certificate) chain.emplace_back(bytes, bytes + size);
    OPENSSL_free(name);
    OPENSSL_free(header);
    OPENSSL_free(bytes);
  }
}

// Validity of `certificate` now, in words; empty when it is in its time.
std::string OutOfTime(const X509* certificate) {
  if (X509_cmp_current_time(X509_get0_notAfter(certificate)) < 0) {
    return "expired on " + TimeText(X509_get0_notAfter(certificate));
  }
  if (X509_cmp_current_time(X509_get0_notBefore(certificate)) > 0) {
    return "is not valid before " + TimeText(X509_get0_notBefore(certificate));
  }
  return "";
}

std::string RootAdvice(const X509* root) {
  const std::string subject = NameText(X509_get_subject_name(root));
  if (subject == kNewerRootSubject) {
    return "the chain ends in the newer attestation root " + subject +
           " (in use since 2026), which the strict check does not know; --relaxed accepts it";
  }
  if (subject == kPublishedRootSubject && KeyDigest(root) != kPublishedRootKey) {
    return "the root has the expected subject but another key than the published attestation "
           "root: a development or simulated device";
  }
  return "";
}

}  // namespace

std::optional<CertificateChain> ReadCertificates(const std::string& path,
                                                 std::optional<Problem>* problem) {
  const auto file = ReadWhole(path, kFileLimit, problem);
  if (!file) return std::nullopt;
  const bool pem = memmem(file->data(), file->size(), "-----BEGIN ", 11) != nullptr;
  auto chain = pem ? ReadPem(*file) : CertificateChain{{file->data(), file->data() + file->size()}};
  bool parsed = !chain->empty();
  for (const auto& der : *chain) parsed = parsed && orx_common::ParseCertificate(der) != nullptr;
  if (parsed) return chain;
  *problem = MakeProblem("CERTIFICATE-FORMAT", path + " holds no readable X.509 certificate");
  return std::nullopt;
}

std::string WritePem(const CertificateChain& chain) {
  bssl::UniquePtr<BIO> bio(BIO_new(BIO_s_mem()));
  for (const auto& der : chain) {
    PEM_write_bio(bio.get(), kPemLabel, "", der.data(), static_cast<long>(der.size()));
  }
  return Text(bio.get());
}

std::string NameText(const X509_NAME* name) {
  bssl::UniquePtr<char> text(X509_NAME_oneline(name, nullptr, 0));
  return text != nullptr ? text.get() : "";
}

std::string KeyText(const EVP_PKEY* key) {
  if (key == nullptr) return "not readable";
  const int bits = EVP_PKEY_bits(key);
  if (EVP_PKEY_id(key) == EVP_PKEY_RSA) return "RSA " + std::to_string(bits);
  if (EVP_PKEY_id(key) == EVP_PKEY_EC) return "EC P-" + std::to_string(bits);
  return "another kind, " + std::to_string(bits) + " bits";
}

std::string KeyDigest(const X509* certificate) {
  uint8_t* der = nullptr;
  const int size = i2d_X509_PUBKEY(X509_get_X509_PUBKEY(certificate), &der);
  if (size <= 0) return "";
  uint8_t digest[SHA256_DIGEST_LENGTH];
  SHA256(der, static_cast<size_t>(size), digest);
  OPENSSL_free(der);
  return ToHex(digest, sizeof(digest));
}

Json::Value DescribeCertificate(const X509* certificate) {
  Json::Value json(Json::objectValue);
  json["subject"] = NameText(X509_get_subject_name(certificate));
  json["issuer"] = NameText(X509_get_issuer_name(certificate));
  json["serial"] = SerialText(certificate);
  json["not_before"] = TimeText(X509_get0_notBefore(certificate));
  json["not_after"] = TimeText(X509_get0_notAfter(certificate));
  const bssl::UniquePtr<EVP_PKEY> key(X509_get_pubkey(const_cast<X509*>(certificate)));
  json["key"] = KeyText(key.get());
  json["key_sha256"] = KeyDigest(certificate);
  if (const auto record = DecodeAttestationRecord(certificate)) json["attestation"] = *record;
  return json;
}

std::vector<std::string> CertificateLines(const X509* certificate) {
  const Json::Value json = DescribeCertificate(certificate);
  std::vector<std::string> lines = {
      "subject:    " + json["subject"].asString(), "issuer:     " + json["issuer"].asString(),
      "serial:     " + json["serial"].asString(),
      "validity:   " + json["not_before"].asString() + " to " + json["not_after"].asString(),
      "key:        " + json["key"].asString() + ", SHA-256 " + json["key_sha256"].asString()};
  const std::string time = OutOfTime(certificate);
  if (!time.empty()) lines.push_back("note:       the certificate " + time);
  if (!json.isMember("attestation")) return lines;
  lines.push_back("attestation record:");
  AppendRecordLines(json["attestation"], 2, &lines);
  return lines;
}

std::vector<std::string> ChainAdvice(const CertificateChain& chain) {
  std::vector<std::string> advice;
  for (size_t i = 0; i < chain.size(); ++i) {
    const auto certificate = orx_common::ParseCertificate(chain[i]);
    const std::string which = "certificate " + std::to_string(i) + " of the chain ";
    if (certificate == nullptr) {
      advice.push_back(which + "does not parse");
      continue;
    }
    const std::string time = OutOfTime(certificate.get());
    if (!time.empty()) advice.push_back(which + time + "; the self-test does not look at that");
    if (i + 1 != chain.size()) continue;
    const std::string root = RootAdvice(certificate.get());
    if (!root.empty()) advice.push_back(root);
  }
  return advice;
}

}  // namespace orx_tool
