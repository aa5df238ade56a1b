// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation/factory_chain.h"

#include <android-base/strings.h>
#include <openssl/bio.h>
#include <openssl/mem.h>
#include <openssl/nid.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <unistd.h>

#include "common/certificate.h"
#include "sim/attestation/x509_parts.h"
#include "sim/base/files.h"
#include "sim/keys/private_key.h"

namespace orx_sim {
namespace {

constexpr char kFileName[] = "attestation.pem";
constexpr Instance kInstances[] = {kTee, kStrongBox};
constexpr size_t kChainLength = 3;

constexpr uint64_t kNotBefore = 1577836800000;        // 2020-01-01
constexpr uint64_t kExpiredNotAfter = 1609459200000;  // 2021-01-01
constexpr uint64_t kNotAfter = 4102444800000;         // 2100-01-01

struct Authority {
  bssl::UniquePtr<EVP_PKEY> key;
  bssl::UniquePtr<X509> certificate;
};

// "/TYPE=value/TYPE=value": the form in which X509_NAME_oneline prints a name.
bssl::UniquePtr<X509_NAME> NameFromOneLine(const std::string& text) {
  bssl::UniquePtr<X509_NAME> name(X509_NAME_new());
  if (!name || text.empty() || text[0] != '/') return nullptr;
  for (const std::string& entry : android::base::Split(text.substr(1), "/")) {
    const size_t equals = entry.find('=');
    if (equals == std::string::npos ||
        !X509_NAME_add_entry_by_txt(name.get(), entry.substr(0, equals).c_str(), MBSTRING_UTF8,
                                    reinterpret_cast<const uint8_t*>(entry.c_str()) + equals + 1,
                                    -1, -1, 0)) {
      return nullptr;
    }
  }
  return name;
}

bool SetRandomSerial(X509* certificate) {
  uint64_t serial = 0;
  RAND_bytes(reinterpret_cast<uint8_t*>(&serial), sizeof(serial));
  return ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial >> 1 | 1);
}

// A certificate authority under `issuer`, self-signed if that is null.
bool Certify(const std::string& subject, const Authority* issuer, uint64_t not_after,
             Authority* authority) {
  authority->key = NewEcPair(NID_X9_62_prime256v1);
  authority->certificate.reset(X509_new());
  const bssl::UniquePtr<X509_NAME> name = NameFromOneLine(subject);
  X509* const certificate = authority->certificate.get();
  if (!authority->key || certificate == nullptr || !name) return false;
  EVP_PKEY* const signing_key = issuer != nullptr ? issuer->key.get() : authority->key.get();
  X509_NAME* const issuer_name =
      issuer != nullptr ? X509_get_subject_name(issuer->certificate.get()) : name.get();
  return X509_set_version(certificate, X509_VERSION_3) && SetRandomSerial(certificate) &&
         X509_set_subject_name(certificate, name.get()) &&
         X509_set_issuer_name(certificate, issuer_name) &&
         SetValidity(certificate, kNotBefore, not_after) &&
         X509_set_pubkey(certificate, authority->key.get()) &&
         AddCaExtensions(certificate, authority->key.get()) &&
         (issuer == nullptr || AddAuthorityKeyIdentifier(certificate, signing_key)) &&
         X509_sign(certificate, signing_key, EVP_sha256()) > 0;
}

bool MakeChain(const Instance& instance, const Authority& root, bool expired, FactoryChain* chain) {
  const uint64_t not_after = expired ? kExpiredNotAfter : kNotAfter;
  const std::string suffix = std::string(" of simulated device, ") + instance.name;
  Authority intermediate;
  Authority factory;
  if (!Certify("/CN=Attestation CA" + suffix, &root, not_after, &intermediate) ||
      !Certify("/CN=Attestation key" + suffix, &intermediate, not_after, &factory)) {
    return false;
  }
  for (X509* certificate :
       {factory.certificate.get(), intermediate.certificate.get(), root.certificate.get()}) {
    chain->certificates.push_back(EncodeCertificate(certificate));
  }
  chain->key = std::move(factory.key);
  return true;
}

// Whether the stored chain is the one that the device's settings ask for now.
bool MadeWith(const FactoryChain& chain, const FactoryChainSettings& settings) {
  const bssl::UniquePtr<X509> own = orx_common::ParseCertificate(chain.certificates.front());
  const bssl::UniquePtr<X509> root = orx_common::ParseCertificate(chain.certificates.back());
  const bssl::UniquePtr<X509_NAME> subject = NameFromOneLine(settings.root_subject);
  if (!own || !root || !subject) return false;
  const bool expired = X509_cmp_current_time(X509_get0_notAfter(own.get())) < 0;
  return expired == settings.expired &&
         X509_NAME_cmp(X509_get_subject_name(root.get()), subject.get()) == 0;
}

bool WriteChain(BIO* bio, const FactoryChain& chain) {
  if (!PEM_write_bio_PKCS8PrivateKey(bio, chain.key.get(), nullptr, nullptr, 0, nullptr, nullptr)) {
    return false;
  }
  for (const Bytes& der : chain.certificates) {
    const bssl::UniquePtr<X509> certificate = orx_common::ParseCertificate(der);
    if (!certificate || !PEM_write_bio_X509(bio, certificate.get())) return false;
  }
  return true;
}

bool ReadChain(BIO* bio, FactoryChain* chain) {
  chain->key.reset(PEM_read_bio_PrivateKey(bio, nullptr, nullptr, nullptr));
  for (size_t i = 0; i < kChainLength; ++i) {
    const bssl::UniquePtr<X509> certificate(PEM_read_bio_X509(bio, nullptr, nullptr, nullptr));
    if (!certificate) return false;
    chain->certificates.push_back(EncodeCertificate(certificate.get()));
  }
  return chain->key != nullptr;
}

bool Write(const std::string& path, const std::vector<FactoryChain>& chains, std::string* error) {
  bssl::UniquePtr<BIO> bio(BIO_new(BIO_s_mem()));
  for (const FactoryChain& chain : chains) {
    if (!WriteChain(bio.get(), chain)) {
      *error = path + ": cannot encode the attestation keys";
      return false;
    }
  }
  const uint8_t* text = nullptr;
  size_t length = 0;
  BIO_mem_contents(bio.get(), &text, &length);
  return ReplaceFile(path, {reinterpret_cast<const char*>(text), length}, error);
}

bool Read(const std::string& path, std::vector<FactoryChain>* chains, std::string* error) {
  std::string text;
  if (!ReadFile(path, &text, error)) return false;
  const bssl::UniquePtr<BIO> bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
  for (size_t i = 0; i < std::size(kInstances); ++i) {
    chains->emplace_back();
    if (!ReadChain(bio.get(), &chains->back())) {
      *error = path + ": damaged; once it is deleted, the device makes new attestation keys";
      break;
    }
  }
  OPENSSL_cleanse(text.data(), text.size());
  return error->empty();
}

bool Make(const FactoryChainSettings& settings, std::vector<FactoryChain>* chains) {
  Authority root;
  if (!Certify(settings.root_subject, nullptr, kNotAfter, &root)) return false;
  for (const Instance& instance : kInstances) {
    chains->emplace_back();
    if (!MakeChain(instance, root, settings.expired, &chains->back())) return false;
  }
  return true;
}

// Reads the file, or makes it anew where it does not fit the settings.
bool ReadOrMake(const std::string& path, const FactoryChainSettings& settings,
                std::vector<FactoryChain>* chains, std::string* error) {
  if (access(path.c_str(), F_OK) == 0 && !Read(path, chains, error)) return false;
  if (!chains->empty() && MadeWith(chains->front(), settings)) return true;
  chains->clear();
  if (!Make(settings, chains)) {
    *error = "no attestation keys can be made under the root " + settings.root_subject;
    return false;
  }
  return Write(path, *chains, error);
}

}  // namespace

FactoryChain OpenFactoryChain(const std::string& folder, const Instance& instance,
                              const FactoryChainSettings& settings, std::string* error) {
  error->clear();
  const android::base::unique_fd lock = LockFolder(folder, error);
  std::vector<FactoryChain> chains;
  if (!lock.ok() || !ReadOrMake(folder + "/" + kFileName, settings, &chains, error)) return {};
  return std::move(chains[instance.IsStrongBox() ? 1 : 0]);
}

}  // namespace orx_sim
