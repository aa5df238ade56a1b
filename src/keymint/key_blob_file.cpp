// SPDX-License-Identifier: Apache-2.0
#include "keymint/key_blob_file.h"

#include <android-base/file.h>
#include <android-base/unique_fd.h>
#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

namespace android::hardware::keymint::ORX {

KeyRepositoryEntry* FindKeyRepositoryEntry(KeyRepository& repository, int key_id) {
  const auto entry =
      std::find_if(repository.begin(), repository.end(),
                   [key_id](const KeyRepositoryEntry& row) { return row.key_id == key_id; });
  return entry == repository.end() ? nullptr : &*entry;
}

BlobFileResult WriteBlobFile(const char* path, mode_t mode, const std::vector<uint8_t>& blob) {
  // A failed open is not told apart: it shows as a failed write.
  const base::unique_fd fd(
      TEMP_FAILURE_RETRY(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, mode)));
  if (!base::WriteStringToFd(std::string(blob.begin(), blob.end()), fd)) {
    unlink(path);
    return BlobFileResult::kWriteFailed;
  }
  if (fsync(fd.get()) == 0) return BlobFileResult::kStored;
  if (errno == EROFS || errno == EINVAL) return BlobFileResult::kStoredWithoutSync;
  unlink(path);
  return BlobFileResult::kSyncFailed;
}

}  // namespace android::hardware::keymint::ORX
