/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_SYM_H_
#define ORX_SYM_H_

/*
 * AES-128 keys that live in the device's secure hardware (KeyMint, TEE instance), by key id, and
 * AES-CBC without padding (FIPS 197, SP 800-38A) with them. A key is handed over once, at import;
 * only the hardware can use the blob that is kept of it.
 *
 * Keys are named by their id, which has one blob file each in "/mnt/vendor/persist/security":
 *
 *   17  zol_key_cek       50  zol_key_user0
 *   14  zol_key_iprm      51  zol_key_user1
 *                         52  zol_key_user2
 *
 * A new blob file has mode 0666 less the umask; one that exists keeps its mode. It is shared with
 * <orx/rsa.h>: an import there replaces the key here. A file whose length differs from the one that
 * these functions last loaded or stored in this process is refused: after an import by the RSA
 * functions, too, unless both blobs have the same length. The blob that was selected before stays
 * selected then.
 *
 * One key is selected in a process, by ORX_SYM_ImportProtectedKey or, later, by
 * ORX_SYM_GetContextForID. For each message then: EncryptBegin, Encrypt, EncryptEnd, or the same
 * with Decrypt. A message goes over in one piece: its length is a multiple of 16 bytes and below
 * the limit of a binder transaction (1 MiB less its overhead). Longer data goes in pieces, each
 * with the last 16 bytes of the ciphertext before it as its IV.
 *
 * WARNING: KeyMint is looked up once, by the first call that needs it, and without waiting. A
 * process that starts before the service, or outlives it, gets failures until it is started anew.
 *
 * WARNING: a store empties the blob file before it writes. A process that is killed in between
 * leaves an empty or partial blob, which is selected with success and refused by the hardware at
 * the next Begin: import the key again.
 *
 * The context stands for the selected key: it is null, and no function reads it.
 */

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

/* ORX_SYM_CONTEXT is never defined: pointers to it are placeholders. */
typedef struct _ORX_SYM_CONTEXT_S ORX_SYM_CONTEXT;

/*
 * ORX_SYM_ImportProtectedKey imports the `key_length` bytes at `key` under `key_id`, whose former
 * key it replaces, selects the key and writes null to `*context`. `key_type` is 0 (AES-128) and
 * `key_length` is 16. The key encrypts and decrypts with IVs of the caller and needs no user
 * authentication.
 *
 * Returns 1 for a key id of 0, a null `key` or `context`, another length, another type, in this
 * order; when the hardware refuses; and when the blob cannot be stored, in which case the blob file
 * is removed if the file system lets it be. The selection then stays as it was. `key` is not wiped.
 *
 * WARNING: an id without a blob file is refused only after the hardware has imported the key, which
 * nothing deletes.
 *
 * WARNING: hardware that fails with the service-specific error 0 is taken at its word: an empty
 * blob is stored and selected, and the result is 0.
 */
ORX_EXPORT uint32_t ORX_SYM_ImportProtectedKey(int key_type, int key_id, const uint8_t* key,
                                               int key_length, struct _ORX_SYM_CONTEXT_S** context);

/*
 * ORX_SYM_GetContextForID loads the blob file of `key_id`, selects the key and writes null to
 * `*context`. Returns 1, with the selection as it was, for a key id of 0, a null `context`, an id
 * without a blob file, and a file that cannot be read or has another length than last seen. The
 * hardware is not asked: a blob that it refuses shows at the next Begin.
 */
ORX_EXPORT uint32_t ORX_SYM_GetContextForID(struct _ORX_SYM_CONTEXT_S** context, int key_id);

/*
 * ORX_SYM_GetIDFromContext writes the id of the selected key to `*key_id`. Returns 1 when no key is
 * selected.
 */
ORX_EXPORT uint32_t ORX_SYM_GetIDFromContext(struct _ORX_SYM_CONTEXT_S* context, int* key_id);

/*
 * ORX_SYM_DestroyContext ends the selection. Always returns 0. The key and its file stay.
 */
ORX_EXPORT uint32_t ORX_SYM_DestroyContext(struct _ORX_SYM_CONTEXT_S* context);

/*
 * ORX_SYM_DeleteKeyID deletes the key of `key_id`, which must be the selected one, in the hardware
 * and ends the selection. Returns 1 for any other id, and when the hardware refuses.
 *
 * WARNING: the blob file stays. It names a key that is no more, where the hardware deletes at all.
 *
 * WARNING: when the hardware refuses, the id stays selected but its blob is dropped from memory:
 * the next Begin fails until the key is selected again.
 *
 * WARNING: with no key selected, id 0 counts as the selected one, and the hardware is asked to
 * delete the blob that was last selected, or an empty one when none is in memory.
 */
ORX_EXPORT uint32_t ORX_SYM_DeleteKeyID(int key_id);

/*
 * ORX_SYM_EncryptBegin begins to encrypt a message under the selected key with the `iv_length`
 * bytes at `iv`; the hardware takes 16, and a length below 0 is sent as 0. An IV must not be used
 * twice with a key, and must be unpredictable (SP 800-38A, appendix C). `mode` is 0 or 1.
 *
 * Returns 1 when no key is selected, for a null `iv`, for another mode, in this order, and when the
 * hardware refuses. A key that needs an upgrade after an update of the system is refused: import it
 * again.
 *
 * WARNING: both modes are AES-CBC without padding; the number selects nothing.
 *
 * WARNING: only a successful Begin drops the operation that was begun before. That one is otherwise
 * still there for the next Encrypt or Decrypt, also after another key was selected, the context was
 * destroyed or the key was deleted.
 */
ORX_EXPORT uint32_t ORX_SYM_EncryptBegin(struct _ORX_SYM_CONTEXT_S* context, const uint8_t* iv,
                                         int iv_length, int mode);

/* ORX_SYM_DecryptBegin begins to decrypt a message; all else is as for ORX_SYM_EncryptBegin. */
ORX_EXPORT uint32_t ORX_SYM_DecryptBegin(struct _ORX_SYM_CONTEXT_S* context, const uint8_t* iv,
                                         int iv_length, int mode);

/*
 * ORX_SYM_Encrypt hands the whole message, `*length` bytes at `input`, to the operation that was
 * begun, and writes its result to the `*length` bytes at `output`. The operation ends once the
 * hardware is asked, whatever it answers. Returns 1 for a null `input` or `output`, when no
 * operation was begun, and when the hardware refuses, as for a length that is not a multiple of 16.
 *
 * WARNING: `length` must be valid, and so must `input` unless `*length` is 0: they are read before
 * the checks.
 *
 * WARNING: `*length` is not changed. A result that is longer than the input is cut to it, and the
 * length of a shorter one is not told; without padding both lengths are the same.
 */
ORX_EXPORT uint32_t ORX_SYM_Encrypt(struct _ORX_SYM_CONTEXT_S* context, const uint8_t* input,
                                    uint8_t* output, uint32_t* length);

/*
 * ORX_SYM_Decrypt is the same function as ORX_SYM_Encrypt: the operation that was begun decides the
 * direction.
 */
ORX_EXPORT uint32_t ORX_SYM_Decrypt(struct _ORX_SYM_CONTEXT_S* context, const uint8_t* input,
                                    uint8_t* output, uint32_t* length);

/* ORX_SYM_EncryptEnd does nothing and returns 0. */
ORX_EXPORT uint32_t ORX_SYM_EncryptEnd(struct _ORX_SYM_CONTEXT_S* context);

/* ORX_SYM_DecryptEnd does nothing and returns 0. */
ORX_EXPORT uint32_t ORX_SYM_DecryptEnd(struct _ORX_SYM_CONTEXT_S* context);

/*
 * ORX_SYM_Decrypt_Wrapper is not supported: it reads nothing and returns 1, always.
 */
ORX_EXPORT uint32_t ORX_SYM_Decrypt_Wrapper(struct _ORX_SYM_CONTEXT_S* context,
                                            const uint8_t* input, uint8_t* output,
                                            uint32_t* length);

ORX_END_DECLS

#endif /* ORX_SYM_H_ */
