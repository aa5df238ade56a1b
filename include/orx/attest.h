/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_ATTEST_H_
#define ORX_ATTEST_H_

/*
 * Self-tests of KeyMint key attestation, and the identifiers that a device attests.
 *
 * A self-test has a KeyMint instance (the TEE's, or the StrongBox's if `strongbox` is set) generate
 * EC P-256 keys and checks the certificates that come back. It returns 0 when every check passed
 * and 1 at the first failure, whose reason is in the debug log. The keys it generates are not
 * deleted; their blobs are dropped.
 *
 * Without identifiers a self-test takes seconds, keeps no state and may run on any thread. With
 * identifiers it gathers them as ORX_get_attestation_id() does, all of them whatever the mask
 * selects: it asks the modem, which can take half a minute or have no end, and overwrites the
 * static buffers of <orx/device.h>, with whose functions it must be serialised.
 */

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

/*
 * Bits of `id_mask`: the identifiers to attest. Other bits are ignored.
 *
 * WARNING: the bits skip from the IMEI (6) to the MEID (8). Bit 7 means the second IMEI to
 * ORX_validate_attestation_ids() and nothing to ORX_validate_attestation(). Both it and bit 8
 * read values that ORX_get_attestation_id() does not return, so that today neither has anything
 * attested, and a mask of all bits can be passed.
 */
enum {
  ORX_ATTEST_ID_BRAND = 1 << 0,
  ORX_ATTEST_ID_DEVICE = 1 << 1,
  ORX_ATTEST_ID_PRODUCT = 1 << 2,
  ORX_ATTEST_ID_SERIAL = 1 << 3,
  ORX_ATTEST_ID_MANUFACTURER = 1 << 4,
  ORX_ATTEST_ID_MODEL = 1 << 5,
  ORX_ATTEST_ID_IMEI = 1 << 6,
  ORX_ATTEST_ID_SECOND_IMEI = 1 << 7,
  ORX_ATTEST_ID_MEID = 1 << 8
};

/*
 * ORX_validate_attestation generates an attestation key and checks its certificate chain (RFC
 * 5280); then, if `attest_ids` is set, generates one key per identifier that `id_mask` selects,
 * attested by the first and carrying that identifier, and checks its chain too. An identifier
 * without a value is skipped; a device that refuses to attest one fails.
 *
 * The attestation key's chain has four certificates, but for a StrongBox whose keys are provisioned
 * remotely (property "ro.boot.factorysbprov" is not "true"): there it is one, self-signed. The
 * chain of a key that carries an identifier has one more.
 *
 * Every chain must be linked by its signatures and start at the subject "/CN=Android Keystore Key".
 * Unless `relaxed` is set, its names must link as well, and its root must have the subject
 * "/serialNumber=f92009e853b6b045".
 *
 * WARNING: the root is recognised by its subject alone, and neither validity nor revocation nor the
 * attestation extension is looked at: a pass says that the device attests, not that a server will
 * trust it.
 *
 * WARNING: only the result 0 of the signature check counts as a failure.
 *
 * WARNING: on a remotely provisioned StrongBox the attestation key is its own root, so that the
 * test passes with `relaxed` only.
 */
ORX_EXPORT int ORX_validate_attestation(bool attest_ids, uint32_t id_mask, bool relaxed,
                                        bool strongbox);

/*
 * ORX_validate_attestation_model is ORX_validate_attestation() with one identifier, the model name
 * `model` (zero-terminated) instead of the device's own.
 *
 * WARNING: with an empty or null `model` the attestation key alone is checked.
 */
ORX_EXPORT int ORX_validate_attestation_model(const char* model, bool relaxed, bool strongbox);

/*
 * ORX_validate_attestation_ids is the self-test of a device whose attestation keys are provisioned
 * remotely. It has the IRemotelyProvisionedComponent HAL make a P-256 key pair, whose public key
 * comes as a COSE_Mac0 (RFC 9052); then, if `attest_ids` is set, has one key per identifier that
 * `id_mask` selects attested by that pair, and checks each certificate's signature; and last
 * demands that the KeyMint instance refuses, with whatever error, to attest a key without being
 * given an attestation key.
 *
 * WARNING: a KeyMint instance that is missing or broken passes the last check, as it refuses too.
 * The log line "Negative Test: return error = ..." has the code: only
 * ATTESTATION_KEYS_NOT_PROVISIONED (-74) says that the device holds no attestation keys.
 *
 * WARNING: `relaxed` is accepted and not used. No chain is checked against the attestation root.
 *
 * WARNING: the last check runs whether or not `attest_ids` is set, and fails on a device that still
 * holds attestation keys from the factory.
 *
 * WARNING: the MAC of the public key is not verified, as only the secure hardware can; its length
 * is. Only the result 0 of a certificate's signature check counts as a failure.
 *
 * The platform's CBOR parser (RFC 8949), which reads the public key, has no limit of depth before
 * Android 15: a component that answers tens of thousands of nested levels ends the process.
 */
ORX_EXPORT int ORX_validate_attestation_ids(bool attest_ids, uint32_t id_mask, bool relaxed,
                                            bool strongbox);

/*
 * ORX_get_attestation_id gathers the identifiers that KeyMint is asked to attest in records of 100
 * bytes, back to back in `buf`. `*len` is the capacity of `buf`, at least 800, and becomes 700.
 *
 *   offset  bytes  field (native byte order)
 *        0      4  KeyMint tag, type BYTES
 *        4      4  length of the value, at most 92
 *        8     92  value, terminated and padded with zeros
 *
 * The tags of the records are ATTESTATION_ID_BRAND, _DEVICE, _PRODUCT, _SERIAL, _MANUFACTURER,
 * _MODEL (the properties of <orx/device.h>) and _IMEI (ORX_DEVICE_GetImei(), which also says how
 * long the call can block).
 *
 * Returns 0, or 1 for a null argument, a capacity below 800, a missing property or an IMEI that the
 * modem did not give; `buf` and `*len` are untouched then. Callers serialise the functions of
 * <orx/device.h>, this one and the self-tests with identifiers.
 *
 * WARNING: 800 bytes are required and 700 are written. The eighth record, the MEID (or the IMEI
 * without its last digit when the modem has no MEID), is assembled and left out: callers that zero
 * their 800 bytes first read it as an empty value.
 *
 * WARNING: it overwrites the static buffers that the getters of <orx/device.h> return.
 */
ORX_EXPORT int ORX_get_attestation_id(uint8_t* buf, uint32_t* len);

ORX_END_DECLS

#endif /* ORX_ATTEST_H_ */
