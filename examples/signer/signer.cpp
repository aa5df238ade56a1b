// SPDX-License-Identifier: Apache-2.0
// Has the secure hardware make an RSA key and sign with it, through the C++ classes, and verifies
// the signature with OpenSSL in the same process. The key's blob stays in memory: no slot is used.
//
//   signer TEXT     prints "verified" and returns 0; 1 with the reason otherwise
#include <keymint/ORX_KEYMINT.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

namespace km = aidl::android::hardware::security::keymint;
using namespace android::hardware::keymint::ORX;

constexpr uint32_t kKeyBits = 2048;
constexpr uint64_t kExponent = 65537;

struct Deleter {
  void operator()(X509* certificate) const { X509_free(certificate); }
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

// SigningKey is a key of the hardware that lives as long as the object.
class SigningKey {
 public:
  SigningKey() = default;
  SigningKey(const SigningKey&) = delete;
  SigningKey& operator=(const SigningKey&) = delete;
  ~SigningKey() {
    if (!blob_.empty() && service_.DeleteKey(&blob_, /*keepBlob=*/false) != 0) {
      fputs("signer: the key was not deleted\n", stderr);
    }
  }

  // Both return a KeyMint ErrorCode, 0 on success.
  int Generate() {
    const auto params = AuthorizationSetBuilder()
                            .RsaSigningKey(kKeyBits, kExponent)
                            .Digest(km::Digest::SHA_2_256)
                            .Padding(km::PaddingMode::RSA_PKCS1_1_5_SIGN)
                            .Authorization(TAG_NO_AUTH_REQUIRED)
                            .SetDefaultValidity();
    std::vector<km::KeyCharacteristics> characteristics;
    return service_.GenerateKey(params, std::nullopt, &blob_, &characteristics, &chain_);
  }

  int Sign(const std::string& text, std::string* signature) {
    const auto params = AuthorizationSetBuilder()
                            .Digest(km::Digest::SHA_2_256)
                            .Padding(km::PaddingMode::RSA_PKCS1_1_5_SIGN);
    const int error = service_.Begin(km::KeyPurpose::SIGN, blob_, params);
    return error != 0 ? error : service_.Finish(text, "", signature);
  }

  // The certificate of the public key, X.509 in DER. That it is the hardware's own only a chain to
  // a known root tells.
  const std::vector<uint8_t>& certificate() const { return chain_.front().encodedCertificate; }

 private:
  KeyMintService service_{/*strongbox=*/false};
  std::vector<uint8_t> blob_;
  std::vector<km::Certificate> chain_;
};

// Verify returns whether OpenSSL finds that the signature is one of the text, RSASSA-PKCS1-v1_5
// with SHA-256, under the certificate's key.
bool Verify(const std::vector<uint8_t>& der, const std::string& text,
            const std::string& signature) {
  const unsigned char* start = der.data();
  const std::unique_ptr<X509, Deleter> certificate(
      d2i_X509(nullptr, &start, static_cast<long>(der.size())));
  const std::unique_ptr<EVP_MD_CTX, Deleter> context(EVP_MD_CTX_new());
  if (certificate == nullptr || context == nullptr) return false;
  EVP_PKEY* const key = X509_get0_pubkey(certificate.get());
  return key != nullptr &&
         EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key) == 1 &&
         EVP_DigestVerify(context.get(), reinterpret_cast<const unsigned char*>(signature.data()),
                          signature.size(), reinterpret_cast<const unsigned char*>(text.data()),
                          text.size()) == 1;
}

int Fail(const char* what, int error) {
  fprintf(stderr, "signer: %s; KeyMint answered %d: orx explain -- %d\n", what, error, error);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fputs("usage: signer TEXT\n", stderr);
    return 2;
  }
  SigningKey key;
  std::string signature;
  if (const int error = key.Generate(); error != 0) return Fail("no key", error);
  if (const int error = key.Sign(argv[1], &signature); error != 0)
    return Fail("no signature", error);
  if (!Verify(key.certificate(), argv[1], signature)) {
    fputs("signer: the signature is wrong\n", stderr);
    return 1;
  }
  return puts("verified") < 0 ? 1 : 0;
}
