// SPDX-License-Identifier: Apache-2.0
#include <openssl/digest.h>
#include <openssl/mem.h>
#include <openssl/rand.h>
#include <orx/hash.h>
#include <orx/kdf.h>
#include <stdlib.h>

#include <algorithm>
#include <array>

#include "boringssl.h"
#include "common/secret.h"
#include "orx_log.h"

namespace {

using orx_common::Wiped;

constexpr uint32_t kWithCounter = 1;
constexpr size_t kCounterBytes = 4;
constexpr uint32_t kSha1Bytes = 20;
constexpr uint32_t kSha256Bytes = 32;

// Room for the longest digest that the one-shot hash writes, also where it reports failure.
using Digest = std::array<uint8_t, EVP_MAX_MD_SIZE>;

struct Input {
  uint32_t mode;
  uint32_t hash;
  uint32_t z_length;
  const uint8_t* z;
  uint32_t other_info_length;
  const uint8_t* other_info;
};

// Z || counter || other info, in that order, without the counter unless the mode has one: what is
// hashed for each block. It is wiped when it is freed.
struct Message {
  Message() = default;
  ~Message() {
    if (bytes != nullptr) OPENSSL_cleanse(bytes, length);
    free(bytes);
  }
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;

  uint8_t* bytes = nullptr;
  size_t length = 0;
  uint8_t* last_counter_byte = nullptr;
};

bool MakeMessage(const Input& input, Message* message) {
  const size_t counter_length = input.mode == kWithCounter ? kCounterBytes : 0;
  // More than a size can say, where that has 32 bits, is more than there is memory.
  const bool too_long = __builtin_add_overflow(uint64_t{input.z_length} + input.other_info_length,
                                               counter_length, &message->length);
  if (!too_long) message->bytes = static_cast<uint8_t*>(malloc(message->length));
  if (message->bytes == nullptr) {
    ORX_LOG("compute_hash() : malloc failed");
    return false;
  }
  uint8_t* end = std::copy_n(input.z, input.z_length, message->bytes);
  end = std::fill_n(end, counter_length, uint8_t{0});
  if (counter_length != 0) message->last_counter_byte = end - 1;
  std::copy_n(input.other_info, input.other_info_length, end);
  return true;
}

// Returns 0 with `*digest_length` bytes in `digest`, or 1.
uint32_t HashBlock(const Message& message, uint32_t hash, uint32_t iteration, Digest& digest,
                   uint32_t* digest_length) {
  // Only the last byte counts and wraps to 0 at iteration 256, see the header's WARNING.
  if (message.last_counter_byte != nullptr) {
    *message.last_counter_byte = static_cast<uint8_t>(iteration);
  }
  return ORX_HASH(hash, message.bytes, message.length, digest.data(), digest_length);
}

uint32_t Derive(const Input& input, uint32_t output_length, uint8_t* output) {
  const uint32_t block_length = input.hash != 0 ? kSha256Bytes : kSha1Bytes;
  uint32_t rounded_up = 0;
  // Lengths so near to 4 GiB that they cannot be rounded up succeed too: their output is zeros.
  if (output_length == 0 || __builtin_add_overflow(output_length, block_length - 1, &rounded_up)) {
    return 0;
  }

  const uint32_t iterations = rounded_up / block_length;
  Message message;
  const bool has_message = MakeMessage(input, &message);
  Wiped<Digest> digest;
  for (uint32_t i = 1; i <= iterations; ++i) {
    uint32_t digest_length = 0;
    if (!has_message || HashBlock(message, input.hash, i, *digest, &digest_length) != 0 ||
        digest_length != block_length) {
      ORX_LOG("Error computing hash for KDF");
      return 1;
    }
    const uint32_t done = (i - 1) * block_length;
    std::copy_n((*digest).data(), std::min(block_length, output_length - done), output + done);
  }
  return 0;
}

}  // namespace

uint32_t ORX_LIB_KDF_Gen(uint32_t mode, uint32_t hash, uint32_t z_length, const uint8_t* z,
                         uint32_t other_info_length, const uint8_t* other_info,
                         uint32_t output_length, uint8_t* output) {
  std::fill_n(output, output_length, uint8_t{0});
  return Derive({mode, hash, z_length, z, other_info_length, other_info}, output_length, output);
}

uint32_t ORX_KDF_Gen(uint32_t mode, uint32_t hash, uint32_t z_length, const uint8_t* z,
                     uint32_t other_info_length, const uint8_t* other_info, uint32_t output_length,
                     uint8_t* output) {
  if ((mode | hash) >= 2) {
    ORX_LOG("ORX_LIB_KDF_Gen() : unsupported algorithm");
    return 1;
  }
  if (z == nullptr || output == nullptr) {
    ORX_LOG("ORX_LIB_KDF_Gen() : NULL input pointer");
    return 1;
  }
  if (z_length == 0 || output_length == 0) {
    ORX_LOG("ORX_LIB_KDF_Gen() : invalid buffer length");
    return 1;
  }
  if ((other_info_length == 0) != (other_info == nullptr)) {
    ORX_LOG("ORX_LIB_KDF_Gen() : inconsistent other info buffer and length");
    return 1;
  }
  const uint32_t status = ORX_LIB_KDF_Gen(mode, hash, z_length, z, other_info_length, other_info,
                                          output_length, output);
  ORX_LOG("exiting with status=%d", static_cast<int>(status));
  return status;
}

uint32_t ORX_RNG_GetBytes(uint8_t* buffer, size_t length) {
  if (buffer == nullptr) return 1;
  const ErrorQueueGuard guard;
  return RAND_bytes(buffer, length) == 1 ? 0 : 1;
}

uint32_t ORX_RNG_Reseed(void) {
  return 0;
}
