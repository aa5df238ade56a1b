// SPDX-License-Identifier: Apache-2.0
// RSA keys: the eight numbers that a caller imports, and PKCS#8 as the device parses it.
#include "sim/keys/private_key.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/mock_keymint.h"
#include "tests/support/rsa_components.h"

namespace {

// Whatever PKCS#8 the device takes it can write, and take again.
void CheckPrivateKey(const std::vector<uint8_t>& der) {
  const auto key = orx_sim::ParsePrivateKey(der.data(), der.size());
  if (!key) return;
  const auto written = orx_sim::EncodePrivateKey(key.get());
  const auto again = orx_sim::ParsePrivateKey(written.data(), written.size());
  ORX_FUZZ_CHECK(again && EVP_PKEY_cmp(key.get(), again.get()) == 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static std::vector<uint8_t> imported;
  static orx_test::MockKeyMint keymint;
  ON_CALL(*keymint.device, importKey)
      .WillByDefault([](const auto&, auto, const std::vector<uint8_t>& key, const auto&,
                        orx_test::km::KeyCreationResult* result) {
        imported = key;
        *result = orx_test::MockKeyMintDevice::Created("blob");
        return ::ndk::ScopedAStatus::ok();
      });
  orx_fuzz::Input in(data, size);
  const bool components = in.Byte() % 2 == 0;
  if (!components) {
    CheckPrivateKey(in.Rest());
    return 0;
  }
  orx_test::RsaComponents numbers;
  for (auto& number : numbers) number = in.Piece();
  imported.clear();
  const uint32_t result = orx_test::ImportRsaComponents(numbers, 50);
  ORX_FUZZ_CHECK((result == 0) == !imported.empty());
  if (result == 0) {
    const auto key = orx_sim::ParsePrivateKey(imported.data(), imported.size());
    ORX_FUZZ_CHECK(key && EVP_PKEY_id(key.get()) == EVP_PKEY_RSA);
  }
  return 0;
}
