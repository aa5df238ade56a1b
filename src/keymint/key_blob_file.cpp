// SPDX-License-Identifier: Apache-2.0
#include "keymint/key_blob_file.h"

#include <android-base/file.h>
#include <android-base/unique_fd.h>
#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "common/secret.h"

namespace android::hardware::keymint::ORX {

KeyRepositoryEntry* FindKeyRepositoryEntry(KeyRepository& repository, int key_id) {
  const auto entry =
      std::find_if(repository.begin(), repository.end(),
                   [key_id](const KeyRepositoryEntry& row) { return row.key_id == key_id; });
  return entry == repository.end() ? nullptr : &*entry;
}

BlobFileContent ReadBlobFile(KeyRepositoryEntry& entry, std::string* content) {
  if (!base::ReadFileToString(entry.path, content, /*follow_symlinks=*/false)) {
    return BlobFileContent::kUnreadable;
  }
  if (entry.size != 0 && entry.size != content->size()) return BlobFileContent::kOtherLength;
  entry.size = static_cast<uint32_t>(content->size());
  return BlobFileContent::kLoaded;
}

BlobFileResult WriteBlobFile(KeyRepositoryEntry& entry, mode_t mode,
                             const std::vector<uint8_t>& blob) {
  // All memory is taken before the file is emptied: running out of it must not cost the old key.
  const auto content = orx_common::CopyOf<std::string>(blob);
  entry.size = static_cast<uint32_t>(blob.size());
  // A failed open is not told apart: it shows as a failed write.
  const base::unique_fd fd(TEMP_FAILURE_RETRY(
      open(entry.path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, mode)));
  if (!base::WriteStringToFd(content, fd)) {
    unlink(entry.path);
    return BlobFileResult::kWriteFailed;
  }
  if (fsync(fd.get()) == 0) return BlobFileResult::kStored;
  if (errno == EROFS || errno == EINVAL) return BlobFileResult::kStoredWithoutSync;
  unlink(entry.path);
  return BlobFileResult::kSyncFailed;
}

}  // namespace android::hardware::keymint::ORX
