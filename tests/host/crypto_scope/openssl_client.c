/* SPDX-License-Identifier: Apache-2.0
 * A client that uses OpenSSL and the library side by side, as a daemon with a TLS stack does. It is
 * linked both ways round and, as it stands, also as a plugin. Runs inside a simulated device. */
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <orx/orx.h>
#include <stdio.h>

int RunClient(void);

static const uint8_t kText[] = "signed by the device, verified by OpenSSL";
static const int kKeyId = 50;

/* Imports a key that OpenSSL made and has OpenSSL verify the device's signature. */
static int DeviceSignatureVerifies(void) {
  int verified = 0;
  uint8_t signature[256];
  uint32_t length = sizeof signature;
  uint8_t* der = NULL;
  EVP_PKEY* key = EVP_RSA_gen(2048);
  PKCS8_PRIV_KEY_INFO* info = EVP_PKEY2PKCS8(key);
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  const int der_length = i2d_PKCS8_PRIV_KEY_INFO(info, &der);
  if (der_length > 0 && ORX_RSA_ImportKey(der, (uint32_t)der_length, 1, kKeyId) == 0 &&
      ORX_RSA_Sign(kKeyId, kText, signature, sizeof kText, &length, 2, 1) == 0) {
    verified = EVP_DigestVerifyInit(context, NULL, EVP_sha256(), NULL, key) == 1 &&
               EVP_DigestVerify(context, signature, length, kText, sizeof kText) == 1;
  }
  EVP_MD_CTX_free(context);
  PKCS8_PRIV_KEY_INFO_free(info);
  OPENSSL_free(der);
  EVP_PKEY_free(key);
  return verified;
}

int RunClient(void) {
  const int verified = DeviceSignatureVerifies();
  const int certified = ORX_validate_attestation_ids(true, 0x1ff, true, true) == 0;
  printf("a device signature verifies: %d, remote keys are certified: %d\n", verified, certified);
  return !verified || !certified;
}

int main(void) {
  return RunClient();
}
