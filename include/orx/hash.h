/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_HASH_H_
#define ORX_HASH_H_

/*
 * SHA-1, SHA-256 and SHA-512 (FIPS 180-4) of data of any size, in software. Algorithms are named by
 * number:
 *
 *   0  SHA-1    20 bytes
 *   2  SHA-256  32 bytes
 *   4  SHA-512  64 bytes
 *
 * There is one digest in progress in a process. The handles stand for it: Begin writes 0, the
 * others read nothing.
 */

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

/*
 * ORX_HASH_Begin starts a digest and writes 0 to `*handle`, which may be null. Returns 1 for a
 * number that names no algorithm, with the digest in progress and `*handle` as they were, and when
 * there is no memory, with 0 in `*handle` and no digest in progress.
 *
 * WARNING: a digest that is still in progress is abandoned and its memory lost (a few hundred
 * bytes), with a line in the log. End each digest, also one that is no longer wanted.
 */
ORX_EXPORT uint32_t ORX_HASH_Begin(uint32_t algorithm, uint32_t* handle);

/*
 * ORX_HASH_Update adds the `length` bytes at `data` to the digest in progress. Returns 1 when there
 * is none. A length of 0 changes nothing and succeeds, `data` may be null then.
 */
ORX_EXPORT uint32_t ORX_HASH_Update(uint32_t handle, const void* data, size_t length);

/*
 * ORX_HASH_End writes the digest in progress to `digest`, which has room for the algorithm's digest
 * (64 bytes are enough for all), and its length in bytes to `*digest_length`, which is not read.
 * Returns 1 when there is none. No digest is in progress afterwards, whatever the result.
 */
ORX_EXPORT uint32_t ORX_HASH_End(uint32_t handle, uint8_t* digest, uint32_t* digest_length);

/*
 * ORX_HASH computes the digest of the `length` bytes at `data` in one call: Begin, Update and End,
 * so that it abandons a digest in progress as ORX_HASH_Begin does. `digest` has room for the
 * algorithm's digest; its length in bytes is written to `*digest_length`.
 *
 * WARNING: with SHA-512 (4) the result is 1 although all 64 bytes of the digest and their length
 * are written: success is for digests of up to 32 bytes. Use Begin, Update and End for SHA-512.
 */
ORX_EXPORT uint32_t ORX_HASH(uint32_t algorithm, const void* data, size_t length, uint8_t* digest,
                             uint32_t* digest_length);

ORX_END_DECLS

#endif /* ORX_HASH_H_ */
