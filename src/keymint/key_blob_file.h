// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace android::hardware::keymint::ORX {

// KeyRepositoryEntry names the file that holds the KeyMint blob of one key id: the blob exactly as
// the device returned it, without header, length or checksum.
struct KeyRepositoryEntry {
  int key_id;
  const char* path;
  // Length in bytes of the blob last stored or loaded; 0 while it is not known.
  uint32_t size;
};

using KeyRepository = std::array<KeyRepositoryEntry, 5>;

// MakeKeyRepository returns the table of the supported key ids. The symmetric and the RSA service
// share the files but each keeps a table of its own, and with it its own recorded sizes.
constexpr KeyRepository MakeKeyRepository() {
  return {{{17, "/mnt/vendor/persist/security/zol_key_cek", 0},
           {14, "/mnt/vendor/persist/security/zol_key_iprm", 0},
           {50, "/mnt/vendor/persist/security/zol_key_user0", 0},
           {51, "/mnt/vendor/persist/security/zol_key_user1", 0},
           {52, "/mnt/vendor/persist/security/zol_key_user2", 0}}};
}

// FindKeyRepositoryEntry returns the first row for `key_id`, or null.
KeyRepositoryEntry* FindKeyRepositoryEntry(KeyRepository& repository, int key_id);

enum class BlobFileContent {
  kLoaded,
  kUnreadable,   // `*content` is what was read before the failure
  kOtherLength,  // than the row's recorded size
};

// ReadBlobFile reads the row's file, without following a symbolic link in its last component, and
// records its length in the row.
BlobFileContent ReadBlobFile(KeyRepositoryEntry& entry, std::string* content);

enum class BlobFileResult {
  kStored,
  kStoredWithoutSync,  // the file system offers no fsync (EROFS, EINVAL)
  kWriteFailed,        // the file is removed
  kSyncFailed,         // the file is removed
};

// WriteBlobFile creates or truncates the row's file with `mode` (less the umask), without following
// a symbolic link in its last component, writes `blob` and syncs it to stable storage. No part of a
// blob stays behind on failure. The row records the blob's length in any case.
BlobFileResult WriteBlobFile(KeyRepositoryEntry& entry, mode_t mode,
                             const std::vector<uint8_t>& blob);

}  // namespace android::hardware::keymint::ORX
