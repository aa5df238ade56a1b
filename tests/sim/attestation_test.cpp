// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation.h"

#include <gtest/gtest.h>
#include <openssl/nid.h>
#include <openssl/rsa.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>

#include "simulated_device.h"

namespace orx_sim {
namespace {

using km::KeyPurpose;
using Chain = std::vector<km::Certificate>;

KeyParams Request(KeyPurpose purpose = KeyPurpose::SIGN) { return EcRequest(purpose); }

km::KeyParameter Text(Tag tag, const std::string& text) {
  return BlobParam(tag, Bytes(text.begin(), text.end()));
}

ErrorCode Generate(Services& services, const KeyParams& params,
                   const std::optional<km::AttestationKey>& attestation_key = std::nullopt) {
  km::KeyCreationResult result;
  const ErrorCode code =
      CodeOf(services.keymint->generateKey(params, attestation_key, &result));
  if (code != ErrorCode::OK) EXPECT_EQ(result, km::KeyCreationResult());
  return code;
}

// A key that must come to be.
km::KeyCreationResult Generated(Services& services, const KeyParams& params,
                                const std::optional<km::AttestationKey>& attestation_key = {}) {
  km::KeyCreationResult result;
  EXPECT_EQ(CodeOf(services.keymint->generateKey(params, attestation_key, &result)),
            ErrorCode::OK);
  return result;
}

km::AttestationKey AsAttestationKey(const km::KeyCreationResult& key) {
  return {key.keyBlob, {}, DefaultSubjectName()};
}

std::vector<bssl::UniquePtr<X509>> Parsed(const Chain& chain) {
  std::vector<bssl::UniquePtr<X509>> certificates;
  for (const auto& one : chain) certificates.push_back(ParseCertificate(one.encodedCertificate));
  return certificates;
}

// Whether each certificate is signed by the next, and names it, up to a self-signed last one.
void ExpectLinked(const Chain& chain) {
  const auto certificates = Parsed(chain);
  for (size_t i = 0; i < certificates.size(); ++i) {
    X509* const issuer = certificates[std::min(i + 1, certificates.size() - 1)].get();
    const bssl::UniquePtr<EVP_PKEY> key(X509_get_pubkey(issuer));
    EXPECT_EQ(X509_verify(certificates[i].get(), key.get()), 1) << i;
    EXPECT_EQ(OneLine(X509_get_issuer_name(certificates[i].get())),
              OneLine(X509_get_subject_name(issuer)));
  }
}

std::string RootSubject(const Chain& chain) {
  return OneLine(X509_get_subject_name(Parsed(chain).back().get()));
}

bool Contains(const Bytes& whole, const Bytes& part) {
  return std::search(whole.begin(), whole.end(), part.begin(), part.end()) != whole.end();
}

Bytes Record(const km::KeyCreationResult& key) {
  return Extension(Parsed(key.certificateChain).front().get(), kAttestationOid);
}

// What the openssl command says about a chain whose last certificate it is told to trust.
int OpensslVerify(const Chain& chain, const std::string& folder) {
  const std::vector<std::string> names = {"leaf", "ca", "root"};
  for (size_t i = 0; i < chain.size(); ++i) {
    const std::string name = i == 0 ? "leaf" : i + 1 == chain.size() ? "root" : "ca";
    FILE* const file = fopen((folder + "/" + name + ".pem").c_str(), i < 2 || name == "root" ? "w" : "a");
    PEM_write_X509(file, ParseCertificate(chain[i].encodedCertificate).get());
    fclose(file);
  }
  return system(("openssl verify -x509_strict -CAfile " + folder + "/root.pem -untrusted " + folder +
                 "/ca.pem " + folder + "/leaf.pem >/dev/null")
                    .c_str());
}

}  // namespace
}  // namespace orx_sim
