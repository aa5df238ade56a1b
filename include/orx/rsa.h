/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_RSA_H_
#define ORX_RSA_H_

/*
 * RSA keys that live in the device's secure hardware (KeyMint, TEE instance), by key id. A private
 * key is handed over once, at import; only the hardware can use the blob that is kept of it. Each
 * call stands for itself: it finds the service, loads the blob, runs one operation (RFC 8017) and
 * releases all.
 *
 * Keys are named by their id, which has one blob file each in "/mnt/vendor/persist/security":
 *
 *   17  zol_key_cek       50  zol_key_user0
 *   14  zol_key_iprm      51  zol_key_user1
 *                         52  zol_key_user2
 *
 * A new blob file has mode 0660 less the umask; one that exists keeps its mode. It is shared with
 * <orx/sym.h>: an import there replaces the key here. A file whose length differs from the one that
 * these functions last loaded or stored in this process is refused: after an import by the
 * symmetric functions, too, unless both blobs have the same length.
 *
 * Selectors are plain numbers:
 *
 *   digest     2  SHA-256             any other  SHA-1
 *   padding    1  PKCS#1 v1.5         any other  none
 *   direction  1  encrypt             any other  decrypt
 *
 * Padding none serves decryption only (RFC 8017, RSADP), of an input that has the length of the
 * modulus: a signature is always asked for with a digest, which KeyMint takes with padding only.
 * The hardware judges that, and the lengths; input goes over in one piece of less than 1 MiB.
 *
 * Upgrades. After an update of the system the hardware may want a key's blob upgraded. The
 * operation that meets this upgrades the blob, begins anew with it and replaces the blob file
 * before it goes on. When the file cannot be replaced, the operation fails and the file is removed,
 * if the file system lets it be: the key must be imported again.
 *
 * WARNING: a store, and with it an upgrade, empties the blob file before it writes. A process that
 * is killed in between leaves an empty or partial blob, and the key is lost: import it again.
 */

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

/*
 * ORX_RSA_ImportProtectedKey imports the RSA private key of the given components under `key_id`, as
 * ORX_RSA_ImportKey imports its PKCS#8 encoding (RFC 5208). Each component is an unsigned
 * big-endian integer, leading zeros allowed: public exponent e, modulus n, private exponent d,
 * primes p and q, d mod p-1, d mod q-1 and q^-1 mod p (RFC 8017, RSAPrivateKey). `ignored` is not
 * read.
 *
 * Returns 1 before the hardware is asked when the components do not make one key: when one is empty
 * (length 0, or null), too large for a key of 16384 bits, or does not fit the others, or when e has
 * more than 33 bits, and when there is no memory to encode the key. The components themselves are
 * not wiped.
 *
 * WARNING: the order is e, n, not n, e.
 */
ORX_EXPORT uint32_t ORX_RSA_ImportProtectedKey(
    const void* ignored, uint32_t e_length, const uint8_t* e, uint32_t n_length, const uint8_t* n,
    uint32_t d_length, const uint8_t* d, uint32_t p_length, const uint8_t* p, uint32_t q_length,
    const uint8_t* q, uint32_t dp_length, const uint8_t* dp, uint32_t dq_length, const uint8_t* dq,
    uint32_t qinv_length, const uint8_t* qinv, int key_id);

/*
 * ORX_RSA_ImportKey imports the `key_length` bytes at `key`, an RSA private key as PKCS#8
 * PrivateKeyInfo in DER (RFC 5208, RFC 5958), under `key_id`, whose former key it replaces.
 * `key_is_plain` is not 0. The key can sign, verify, encrypt and decrypt, with SHA-1 or SHA-256,
 * with PKCS#1 v1.5 padding or none, and needs no user authentication.
 *
 * When `key_is_plain` is not 0, the caller's key is overwritten with zeros, whatever the result.
 *
 * Returns 1 when the hardware refuses the key, and when its blob cannot be stored; the key id then
 * has no blob file, or its former one when the hardware refused.
 *
 * WARNING: the key size is declared by the length of the encoding: 2048 bits up to 2000 bytes, 4096
 * bits above, and the exponent as 65537. Hardware that compares refuses keys of other sizes (one of
 * 3072 bits takes less than 2000 bytes) and exponents.
 *
 * WARNING: an id without a blob file is refused only after the hardware has imported the key.
 *
 * WARNING: with `key_is_plain` 0 the key is taken as wrapped, which ORX_RSA_Unwrap does not
 * support: the result is 1, and the key is not wiped.
 *
 * WARNING: hardware that fails with the service-specific error 0 is taken at its word: an empty
 * blob is stored, and the result is 0.
 */
ORX_EXPORT uint32_t ORX_RSA_ImportKey(uint8_t* key, uint32_t key_length, int key_is_plain,
                                      int key_id);

/*
 * ORX_RSA_Unwrap is meant to decrypt a wrapped key of `*length` bytes at `buffer` in place. It is
 * not supported: the result is 1, with a line in the log when `*length` is above 4098, and the
 * buffer as it was.
 */
ORX_EXPORT uint32_t ORX_RSA_Unwrap(void* buffer, uint32_t* length);

/*
 * ORX_RSA_DeleteKeyID deletes the key of `key_id` in the hardware. Returns 1 when there is no blob,
 * or the hardware refuses.
 *
 * WARNING: the blob file stays. It names a key that is no more, where the hardware deletes at all:
 * for keys that are not rollback resistant it may leave the key usable.
 */
ORX_EXPORT uint32_t ORX_RSA_DeleteKeyID(int key_id);

/*
 * ORX_RSA_Sign signs the `data_length` bytes at `data` with the key of `key_id` and writes the
 * signature to `signature`, which has `*signature_length` bytes, and its length to
 * `*signature_length`: that of the modulus, 256 bytes for 2048 bits. With PKCS#1 v1.5 padding the
 * hardware computes the digest (RFC 8017, RSASSA-PKCS1-v1_5).
 *
 * Returns 1 for a null pointer or a length of 0, and when the operation fails.
 *
 * WARNING: a signature that is longer than the buffer is cut to it, and the result is 0.
 */
ORX_EXPORT uint32_t ORX_RSA_Sign(int key_id, const uint8_t* data, uint8_t* signature,
                                 uint32_t data_length, uint32_t* signature_length, int digest,
                                 int padding);

/*
 * ORX_RSA_Verify has the hardware verify the `signature_length` bytes at `signature` for the
 * `data_length` bytes at `data`, with the key of `key_id`.
 *
 * WARNING: it returns 1 in every case, for a valid signature too. To check a signature, use the
 * public key with a crypto library.
 */
ORX_EXPORT uint32_t ORX_RSA_Verify(int key_id, const uint8_t* data, const uint8_t* signature,
                                   uint32_t data_length, uint32_t signature_length, int digest,
                                   int padding);

/*
 * ORX_RSA_EncryptDecrypt encrypts or decrypts the `input_length` bytes at `input` with the key of
 * `key_id` (RFC 8017, RSAES-PKCS1-v1_5) and writes the result to `output`, which has
 * `*output_length` bytes, and its length to `*output_length`. `ignored` is not read. With padding
 * an input to encrypt is at least 11 bytes shorter than the modulus.
 *
 * Returns 1 for a null pointer or a length of 0, when the operation fails, and when its result is
 * empty, as that of an empty message. Hardware may offer encryption for no RSA key, as the standard
 * leaves public-key operations to software.
 *
 * WARNING: a result that is longer than the buffer is cut to it, and the result is 0.
 */
ORX_EXPORT uint32_t ORX_RSA_EncryptDecrypt(int key_id, int padding, const uint8_t* input,
                                           uint8_t* output, uint32_t input_length,
                                           uint32_t* output_length, const void* ignored,
                                           int direction);

ORX_END_DECLS

#endif /* ORX_RSA_H_ */
