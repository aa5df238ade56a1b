// SPDX-License-Identifier: Apache-2.0
// Key blob files as the library loads them, and what a blob of the simulated device contains.
#include <fcntl.h>
#include <keymint/ORX_KEYMINT.h>
#include <openssl/aead.h>
#include <orx/sym.h>
#include <sys/stat.h>
#include <unistd.h>

#include "sim/keys/key_vault.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/temp_folder.h"

namespace {

namespace orx = android::hardware::keymint::ORX;
using orx_sim::Bytes;

constexpr char kFile[] = "/mnt/vendor/persist/security/zol_key_user0";

// A file of another length than the last one stored is refused; the length is the process's, so
// each input begins with a store.
void CheckFile(const Bytes& stored, const Bytes& found) {
  ORX_FUZZ_CHECK(orx::store_key_blob(50, stored) == 0);
  const int fd = open(kFile, O_WRONLY | O_TRUNC);
  ORX_FUZZ_CHECK(write(fd, found.data(), found.size()) == static_cast<ssize_t>(found.size()));
  close(fd);
  const bool fits = stored.empty() || stored.size() == found.size();
  ORX_FUZZ_CHECK(orx::load_key_blob(50) == (fits ? found : Bytes{}));
  // What is no file is read as nothing, an id without a file too.
  ORX_FUZZ_CHECK(unlink(kFile) == 0 && mkdir(kFile, 0700) == 0);
  ORX_FUZZ_CHECK(orx::load_key_blob(50).empty());
  ORX_FUZZ_CHECK(rmdir(kFile) == 0 && orx::load_key_blob(50).empty());
  for (const int no_id : {0, 1}) ORX_FUZZ_CHECK(orx::load_key_blob(no_id).empty());
  ORX_SYM_CONTEXT* context = nullptr;
  ORX_SYM_GetContextForID(&context, 50);
}

// Seals `plain` as the vault does.
Bytes Seal(const orx_sim::SecretBytes& key, const Bytes& plain) {
  Bytes blob = {'O', 'S', 'K', 'B', 1};
  const size_t header = blob.size();
  const Bytes nonce(12);
  blob.insert(blob.end(), nonce.begin(), nonce.end());
  const size_t begin = blob.size();
  blob.resize(begin + plain.size() + 16);
  const bssl::UniquePtr<EVP_AEAD_CTX> aead(
      EVP_AEAD_CTX_new(EVP_aead_aes_256_gcm(), key.data(), key.size(), 16));
  size_t length = 0;
  ORX_FUZZ_CHECK(EVP_AEAD_CTX_seal(aead.get(), blob.data() + begin, &length, plain.size() + 16,
                                   nonce.data(), nonce.size(), plain.data(), plain.size(),
                                   blob.data(), header) == 1);
  return blob;
}

// Whatever key a blob holds, the vault seals and opens again.
void CheckBlob(const Bytes& plain) {
  static const orx_test::TempFolder temp;
  static std::string error;
  static const auto folder = orx_sim::DeviceFolder::Create(temp / "device", "dual-sim", &error);
  ORX_FUZZ_CHECK(folder != nullptr);
  static const auto sealing_key = folder->DeriveKey("key blobs of default", 32);
  static const orx_sim::KeyVault vault(folder, "default");
  orx_sim::Key key;
  if (!vault.Unseal(Seal(sealing_key, plain), &key)) return;
  orx_sim::Key again;
  ORX_FUZZ_CHECK(vault.Unseal(vault.Seal(key), &again));
  ORX_FUZZ_CHECK(again.id == key.id && again.era == key.era && again.secret == key.secret);
  ORX_FUZZ_CHECK(again.authorizations == key.authorizations);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  orx_fuzz::Input in(data, size);
  const bool file = in.Byte() % 2 == 0;
  if (file) {
    const Bytes stored = in.Piece();
    CheckFile(stored, in.Rest());
  } else {
    CheckBlob(in.Rest());
  }
  return 0;
}
