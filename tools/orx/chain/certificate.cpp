// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/chain/certificate.h"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/mem.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/sha.h>
#include <string.h>

#include <algorithm>

#include "tools/orx/chain/attestation_record.h"
#include "tools/orx/cli/encoding.h"
#include "tools/orx/cli/files.h"
#include "tools/orx/cli/iso8601.h"

namespace orx_tool {
namespace {

constexpr size_t kFileLimit = 1024UL * 1024;
constexpr const char kPemLabel[] = "CERTIFICATE";
constexpr const char kPemBegin[] = "-----BEGIN ";

constexpr const char kLeafSubject[] = "/CN=Android Keystore Key";

// The attestation roots that Google publishes for devices: subject, and SHA-256 of the public key.
// The first one's certificate was renewed under the same key; the second is in use since 2026.
struct PublishedRoot {
  const char* subject;
  const char* key;
};
constexpr PublishedRoot kExpectedRoot = {
    "/serialNumber=f92009e853b6b045",
    "feb2ea7551ee316ed4bb443c8293b884dbfdea40b603ee3e4f4a897e4580fbae"};
constexpr PublishedRoot kNewerRoot = {
    "/CN=Key Attestation CA1/OU=Android/O=Google LLC/C=US",
    "3ee44512a1af2beb39c889490c60ea3f82e43f5d5a5532f5ab9419f676cd07ec"};

std::string Text(BIO* bio) {
  const uint8_t* bytes = nullptr;
  size_t size = 0;
  if (!BIO_mem_contents(bio, &bytes, &size)) return "";
  return std::string(reinterpret_cast<const char*>(bytes), size);
}

std::string TimeText(const ASN1_TIME* time) {
  const bssl::UniquePtr<ASN1_TIME> epoch(ASN1_TIME_set(nullptr, 0));
  int days = 0;
  int seconds = 0;
  if (epoch == nullptr || !ASN1_TIME_diff(&days, &seconds, epoch.get(), time)) {
    return "not readable";
  }
  return Iso8601(int64_t{days} * 24 * 3600 + seconds);
}

std::string SerialText(const X509* certificate) {
  bssl::UniquePtr<BIGNUM> number(ASN1_INTEGER_to_BN(X509_get0_serialNumber(certificate), nullptr));
  bssl::UniquePtr<char> text(number != nullptr ? BN_bn2hex(number.get()) : nullptr);
  return text != nullptr ? text.get() : "not readable";
}

// ReadBlock decodes one PEM block; false when it is cut or damaged.
bool ReadBlock(const std::string& block, std::string* label, std::vector<uint8_t>* der) {
  bssl::UniquePtr<BIO> bio(BIO_new_mem_buf(block.data(), static_cast<int>(block.size())));
  return orx_common::ReadPemBlock(bio.get(), label, der);
}

CertificateFile ReadPem(const std::string& text) {
  CertificateFile file;
  size_t number = 0;
  for (size_t at = text.find(kPemBegin); at != std::string::npos;) {
    const size_t next = text.find(kPemBegin, at + 1);
    std::string label = kPemLabel;
    std::vector<uint8_t> der;
    const bool whole = ReadBlock(text.substr(at, next - at), &label, &der);
    ++number;
    at = next;
    if (label != kPemLabel) continue;
    if (whole) file.as_received.push_back(der);
    if (whole && orx_common::ParseCertificate(der) != nullptr) {
      file.chain.push_back(std::move(der));
    } else {
      file.damage.push_back("block " + std::to_string(number) + " is " +
                            (whole ? "no X.509 certificate" : "damaged or cut"));
    }
  }
  return file;
}

CertificateFile ReadDer(std::vector<uint8_t> bytes) {
  CertificateFile file;
  while (!bytes.empty()) {
    const uint8_t* end = nullptr;
    if (orx_common::ParseCertificate(bytes, &end) == nullptr) {
      file.damage.push_back("its last " + std::to_string(bytes.size()) +
                            " bytes are no X.509 certificate");
      break;
    }
    const auto size = static_cast<size_t>(end - bytes.data());
    file.chain.emplace_back(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size));
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size));
    file.as_received = file.chain;
  }
  return file;
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

using Certificates = std::vector<bssl::UniquePtr<X509>>;

Certificates ParseAll(const CertificateChain& chain) {
  Certificates certificates;
  for (const auto& der : chain) certificates.push_back(orx_common::ParseCertificate(der));
  return certificates;
}

// RootOf is the last certificate; null when there is none or it does not parse.
const X509* RootOf(const Certificates& certificates) {
  return certificates.empty() ? nullptr : certificates.back().get();
}

std::string Which(size_t index) {
  return "certificate " + std::to_string(index);
}

// AddLinkFaults looks at one certificate and its signer, the certificate itself for the last.
void AddLinkFaults(size_t index, X509* certificate, X509* signer, std::vector<ChainFault>* faults) {
  const bool last = certificate == signer;
  const std::string by = last ? "itself" : Which(index + 1);
  const bssl::UniquePtr<EVP_PKEY> key(X509_get_pubkey(signer));
  const std::string issuer = NameText(X509_get_issuer_name(certificate));
  const std::string subject = NameText(X509_get_subject_name(certificate));
  const std::string signer_subject = NameText(X509_get_subject_name(signer));
  if (key == nullptr) {
    const size_t signing = last ? index : index + 1;
    faults->push_back({"ATTEST-CHAIN-KEY", Which(signing) + " has no usable public key", signing});
  } else if (X509_verify(certificate, key.get()) == 0) {
    faults->push_back({"ATTEST-CHAIN-SIGNATURE", Which(index) + " is not signed by " + by, index});
  }
  ERR_clear_error();
  if (issuer != signer_subject) {
    faults->push_back(
        {"ATTEST-CHAIN-NAMES",
         Which(index) + " names the issuer " + issuer +
             (last ? ", but the chain ends with it" : ", but " + by + " is " + signer_subject),
         index, /*strict_only=*/true});
  }
  if (index == 0 && subject != kLeafSubject) {
    faults->push_back({"ATTEST-LEAF-SUBJECT",
                       Which(0) + " has the subject " + subject + " instead of " + kLeafSubject,
                       0});
  }
}

}  // namespace

std::optional<CertificateFile> ReadCertificates(const std::string& path,
                                                std::optional<Problem>* problem) {
  const auto bytes = ReadWhole(path, kFileLimit, problem);
  if (!bytes) return std::nullopt;
  const std::string text(bytes->begin(), bytes->end());
  const bool pem = text.find(kPemBegin) != std::string::npos;
  CertificateFile file = pem ? ReadPem(text) : ReadDer({bytes->begin(), bytes->end()});
  for (std::string& damage : file.damage) damage.insert(0, path + ": ");
  if (!file.chain.empty()) return file;
  const std::string why = pem && !file.damage.empty() ? " (" + file.damage[0] + ")" : "";
  *problem = MakeProblem("CERTIFICATE-FORMAT", path + " holds no readable X.509 certificate" + why);
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
  const bssl::UniquePtr<uint8_t> owned(der);
  if (size <= 0) return "";
  uint8_t digest[SHA256_DIGEST_LENGTH];
  SHA256(der, static_cast<size_t>(size), digest);
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
  if (const auto record = DecodeAttestationRecord(certificate)) {
    json["attestation"] = RecordJson(*record);
  }
  return json;
}

std::vector<std::string> CertificateLines(const X509* certificate) {
  const Json::Value json = DescribeCertificate(certificate);
  std::vector<std::string> lines = {
      "subject:    " + json["subject"].asString(), "issuer:     " + json["issuer"].asString(),
      "serial:     " + json["serial"].asString(),
      "validity:   " + json["not_before"].asString() + " to " + json["not_after"].asString(),
      "key:        " + json["key"].asString() + ", SHA-256 " + json["key_sha256"].asString()};
  const auto record = DecodeAttestationRecord(certificate);
  if (!record) return lines;
  lines.push_back("attestation record:");
  AppendRecordLines(*record, 2, &lines);
  return lines;
}

std::string RootFinding(const std::string& subject, const std::string& key_digest) {
  const bool newer_key = key_digest == kNewerRoot.key;
  if (newer_key || subject == kNewerRoot.subject) {
    return std::string("the chain ends in the newer attestation root (in use since 2026), which ") +
           "the strict check does not know; --relaxed accepts it" +
           (newer_key ? "" : ". Its key is another than the published one");
  }
  if (subject != kExpectedRoot.subject) {
    return "the chain ends in " + subject + ", not in the attestation root " +
           kExpectedRoot.subject;
  }
  if (key_digest == kExpectedRoot.key) return "";
  return "the root's key is not the published one: a development or simulated device";
}

std::vector<ChainFault> ChainFaults(const CertificateChain& chain) {
  const auto certificates = ParseAll(chain);
  std::vector<ChainFault> faults;
  for (size_t i = 0; i < certificates.size(); ++i) {
    X509* certificate = certificates[i].get();
    X509* signer = i + 1 < certificates.size() ? certificates[i + 1].get() : certificate;
    if (certificate == nullptr) {
      faults.push_back({"ATTEST-CHAIN-INVALID", Which(i) + " does not parse", i});
    } else if (signer != nullptr) {
      AddLinkFaults(i, certificate, signer, &faults);
    }
  }
  const X509* root = RootOf(certificates);
  const std::string subject = root != nullptr ? NameText(X509_get_subject_name(root)) : "";
  if (subject != kExpectedRoot.subject) {
    faults.push_back({"ATTEST-ROOT", RootFinding(subject, root != nullptr ? KeyDigest(root) : ""),
                      chain.empty() ? 0 : chain.size() - 1, /*strict_only=*/true});
  }
  return faults;
}

std::optional<ChainFault> FirstChainFault(const CertificateChain& chain,
                                          const std::vector<size_t>& sizes, bool strict) {
  if (std::find(sizes.begin(), sizes.end(), chain.size()) == sizes.end()) {
    std::string expected;
    for (const size_t size : sizes) {
      expected += (expected.empty() ? "" : ", ") + std::to_string(size);
    }
    return ChainFault{"ATTEST-CHAIN-SIZE", "the chain has " + std::to_string(chain.size()) +
                                               " certificates; expected: " + expected};
  }
  for (const ChainFault& fault : ChainFaults(chain)) {
    if (strict || !fault.strict_only) return fault;
  }
  return std::nullopt;
}

std::vector<std::string> ChainAdvice(const CertificateChain& chain) {
  const auto certificates = ParseAll(chain);
  const X509* root = RootOf(certificates);
  std::vector<std::string> advice;
  for (const ChainFault& fault : ChainFaults(chain)) {
    if (fault.code != "ATTEST-ROOT") advice.push_back(fault.text);
  }
  const std::string finding =
      root != nullptr ? RootFinding(NameText(X509_get_subject_name(root)), KeyDigest(root)) : "";
  if (!finding.empty()) advice.push_back(finding);
  for (size_t i = 0; i < certificates.size(); ++i) {
    const std::string time = certificates[i] != nullptr ? OutOfTime(certificates[i].get()) : "";
    if (!time.empty()) advice.push_back(Which(i) + " " + time + "; the self-test does not look");
  }
  return advice;
}

}  // namespace orx_tool
