/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_KDF_H_
#define ORX_KDF_H_

/*
 * Key derivation and random numbers.
 *
 * The derivation is the one of ANSI X9.63 (also SEC 1, section 3.6.1) with SHA-1: block i, counted
 * from 1, is SHA-1(Z || i || other info) with i as 32 bits big-endian; the output is the blocks one
 * after the other, cut to the length asked for.
 *
 *   mode           1  with the counter
 *                  0  without: every block is SHA-1(Z || other info)
 *   hash           0  SHA-1, blocks of 20 bytes
 *                  1  none, see below
 *   z              the shared secret, z_length bytes
 *   other_info     what both sides add, other_info_length bytes; may be absent (null and 0)
 *   output         output_length bytes, which must not overlap the inputs
 *
 * A derivation runs through the digest in progress of <orx/hash.h>: one that was begun there is
 * abandoned.
 *
 * WARNING: the counter has 8 bits and wraps to 0 at block 256, so that the output repeats itself
 * from block 257 (byte 5120) on. Outputs of up to 5100 bytes are those of X9.63.
 *
 * WARNING: hash 1 announces blocks of 32 bytes but names no digest: the derivation fails, and the
 * output is zeros.
 *
 * WARNING: an output length of more than 2^32 - 20 bytes gives zeros and success.
 */

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

/*
 * ORX_KDF_Gen derives `output_length` bytes. Returns 1, with the output as it was, for a mode or
 * hash above 1, a null `z` or `output`, a z_length or output_length of 0, or when exactly one of
 * other_info_length and other_info is zero, in this order. Returns 1 when there is no memory or no
 * such digest; the output then holds the blocks before the failure and zeros behind them.
 */
ORX_EXPORT uint32_t ORX_KDF_Gen(uint32_t mode, uint32_t hash, uint32_t z_length, const uint8_t* z,
                                uint32_t other_info_length, const uint8_t* other_info,
                                uint32_t output_length, uint8_t* output);

/*
 * ORX_LIB_KDF_Gen is the derivation of ORX_KDF_Gen without its checks: pointers must be valid for
 * their lengths, and an output_length of 0 derives nothing and succeeds. A mode other than 1 is
 * taken as 0.
 *
 * WARNING: hash is handed to ORX_HASH() as its algorithm: 2 derives with SHA-256, and all others
 * but 0 fail.
 */
ORX_EXPORT uint32_t ORX_LIB_KDF_Gen(uint32_t mode, uint32_t hash, uint32_t z_length,
                                    const uint8_t* z, uint32_t other_info_length,
                                    const uint8_t* other_info, uint32_t output_length,
                                    uint8_t* output);

/*
 * ORX_RNG_GetBytes fills the `length` bytes at `buffer` from BoringSSL's random generator, which is
 * seeded by the system. Returns 1 for a null buffer. May be called from several threads.
 */
ORX_EXPORT uint32_t ORX_RNG_GetBytes(uint8_t* buffer, size_t length);

/*
 * ORX_RNG_Reseed does nothing and returns 0: the generator seeds itself.
 */
ORX_EXPORT uint32_t ORX_RNG_Reseed(void);

ORX_END_DECLS

#endif /* ORX_KDF_H_ */
