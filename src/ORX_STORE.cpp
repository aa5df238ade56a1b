// SPDX-License-Identifier: Apache-2.0
#include <openssl/mem.h>
#include <orx/store.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "boringssl.h"
#include "orx_log.h"

namespace {

constexpr char kFolder[] = "/mnt/vendor/persist/security";

constexpr size_t kBufferBytes = 4096;

// The one open file, or null, and what its stream buffers in: memory of the library, so that it can
// be wiped, and one for each stream, as an abandoned one goes on using its own.
FILE* stream = nullptr;
char* stream_buffer = nullptr;

// filename returns the path of a numbered file, valid until the next call.
const char* filename(int file_number) {
  static char path[64];
  snprintf(path, sizeof(path), "%s/%d.bin", kFolder, file_number);
  return path;
}

}  // namespace

uint32_t ORX_STORE_Open(int file_number, uint32_t* handle, int write) {
  // A stream that is still open is abandoned, not closed, see the header's WARNING.
  if (stream != nullptr) ORX_LOG("fp not NULL");
  if (handle != nullptr) *handle = 0;
  const char* path = filename(file_number);
  ORX_LOG("Opening file %s", path);
  // The buffer comes first: without memory for it no file is emptied.
  stream_buffer = static_cast<char*>(malloc(kBufferBytes));
  stream = stream_buffer == nullptr ? nullptr : fopen(path, write != 0 ? "w" : "r");
  if (stream == nullptr) {
    ORX_LOG("Could not open file");
    free(stream_buffer);
    return 1;
  }
  setvbuf(stream, stream_buffer, _IOFBF, kBufferBytes);
  return 0;
}

uint32_t ORX_STORE_Close(uint32_t /*handle*/) {
  const bool closed = fclose(stream) == 0;
  if (!closed) ORX_LOG("Could not close file");
  stream = nullptr;
  OPENSSL_cleanse(stream_buffer, kBufferBytes);
  free(stream_buffer);
  return closed ? 0 : 1;
}

uint32_t ORX_STORE_Read(uint8_t* buffer, size_t element_size, size_t element_count) {
  if (stream == nullptr) {
    ORX_LOG("fp NULL");
    return 1;
  }
  // `done` counts elements but is added to the buffer as bytes, see the header's WARNING.
  size_t done = 0;
  while (done < element_count) {
    const size_t remaining = element_count - done;
    const size_t got = fread(buffer + done, element_size, remaining, stream);
    if (feof(stream) != 0) {
      if (got == remaining) return 0;
      ORX_LOG("Could not read all requested elements");
      return 1;
    }
    if (ferror(stream) != 0) {
      ORX_LOG("File read failure");
      return 1;
    }
    if (element_size == 0) {
      // Elements of no size never arrive, however often they are asked for.
      ORX_LOG("Could not read all requested elements");
      return 1;
    }
    done += got;
  }
  return 0;
}

uint32_t ORX_STORE_Write(const uint8_t* buffer, size_t element_size, size_t element_count) {
  if (stream == nullptr) {
    ORX_LOG("fp NULL");
    return 1;
  }
  // The offset is that of ORX_STORE_Read.
  size_t done = 0;
  while (done < element_count) {
    const size_t remaining = element_count - done;
    const size_t put = fwrite(buffer + done, element_size, remaining, stream);
    if (put == 0) {
      ORX_LOG("Err elem_left=%zu", remaining);
      return 1;
    }
    if (ferror(stream) != 0) {
      ORX_LOG("Error while writing to the file");
      return 1;
    }
    done += put;
  }
  return 0;
}

uint32_t ORX_STORE_Size(uint32_t /*handle*/, uint32_t* size) {
  if (stream == nullptr) {
    ORX_LOG("fp NULL");
    return 1;
  }
  struct stat status;
  if (fstat(fileno(stream), &status) != 0) {
    ORX_LOG("error in fstat");
    return 1;
  }
  // Cut to 32 bits: the size modulo 4 GiB.
  *size = static_cast<uint32_t>(status.st_size);
  return 0;
}

uint32_t ORX_STORE_Delete(int file_number) {
  const char* path = filename(file_number);
  ORX_LOG("Deleting file %s", path);
  if (unlink(path) != 0) {
    ORX_LOG("Delete failed");
    return 1;
  }
  return 0;
}
