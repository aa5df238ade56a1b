/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_ORX_H_
#define ORX_ORX_H_

/*
 * Every family of the library's flat interface, and the conventions that hold for all of it. The
 * headers of the families say only what differs.
 *
 * Results. A function returns 0 for success and 1 for failure; a yes/no question is answered with 0
 * for yes. The one exception is ORX_device_requires_generic_ids() (1 for yes);
 * ORX_print_device_ids() and the modem channel have results of their own. The codes of KeyMint
 * (ErrorCode values) and errno appear in log lines only.
 *
 * Exceptions. None comes out of the library. Where it runs out of memory and its function does not
 * say that it returns 1 then, the process ends (SIGABRT).
 *
 * Slices. Bytes are passed as a pointer and a length in bytes and may hold zeros; only parameters
 * of type char are terminated strings. "The n bytes at p" are readable, or writable, in full.
 *
 * Null. A pointer must not be null unless its function says what null does. A null pointer with
 * length 0 is an empty slice where the function does not refuse null.
 *
 * Ownership. The caller owns every buffer it passes; nothing that is passed is kept after the
 * return. What the library returns by pointer belongs to the library, except where a function says
 * that the caller frees it.
 *
 * Outputs. On failure an output is left as it was, unless its function says what it holds. Input
 * and output buffers may be the same where the function takes all input before it writes, which is
 * the case for all key services.
 *
 * Secrets. Keys, messages, derived bytes and store content that the library copies are overwritten
 * before their memory is released. What the platform copies on their way to the hardware is the
 * platform's, and wiping its own buffers is the caller's, except where a function does it.
 *
 * Threads. A call runs on the caller's thread until its work is done. The library has no threads,
 * no locks, no initialisation and no shutdown. State that outlives a call (the selected symmetric
 * key, the digest in progress, the open store file, the last known sizes of the key blob files, the
 * static buffers of <orx/device.h>) belongs to the process: callers serialise their calls within a
 * family, those of ORX_KDF with those of ORX_HASH, those of ORX_get, ORX_device and ORX_DEVICE with
 * the attestation self-tests and ORX_get_attestation_id(), and those of ORX_SYM and ORX_RSA for one
 * key id, also between processes.
 *
 * Logging. Notable steps and failures are lines in the Android log: tag "ORX", priority debug, the
 * source's path and line in front ("src/ORX_STORE.cpp:41: fp NULL"). A failure has at least one,
 * but for those that say nothing: of ORX_RNG_GetBytes(), ORX_HASH() with SHA-512,
 * ORX_SYM_DeleteKeyID() of a key that is not selected, ORX_SYM_Decrypt_Wrapper(),
 * ORX_RSA_DeleteKeyID() of id 0, ORX_RSA_Unwrap() of a key within its limit and ORX_RSA_Verify() of
 * a valid signature. The texts are part of the interface; "orx explain" tells causes and remedies.
 *
 * Crypto library. The thread's error queue of BoringSSL is left as it was found.
 *
 * Files. Key blobs and numbered files lie in "/mnt/vendor/persist/security", which the library does
 * not create.
 *
 * WARNING paragraphs describe behaviour that looks like a fault and is kept: it is part of the
 * interface.
 */

/*
 * ORX_VERSION_MAJOR, _MINOR and _PATCH are the version of these headers and of the library that
 * they came with (semantic versioning: a program built against one runs with every later one of the
 * same major number, which is that of the shared library's name on Linux, liborx.so.1).
 * ORX_VERSION_STRING is the same as text. This is the one place where the version is written.
 */
#define ORX_VERSION_MAJOR 1
#define ORX_VERSION_MINOR 1
#define ORX_VERSION_PATCH 0
#define ORX_VERSION_TEXT_(major, minor, patch) #major "." #minor "." #patch
#define ORX_VERSION_TEXT(major, minor, patch) ORX_VERSION_TEXT_(major, minor, patch)
#define ORX_VERSION_STRING ORX_VERSION_TEXT(ORX_VERSION_MAJOR, ORX_VERSION_MINOR, ORX_VERSION_PATCH)

#include <orx/attest.h>
#include <orx/device.h>
#include <orx/ese.h>
#include <orx/hash.h>
#include <orx/kdf.h>
#include <orx/rsa.h>
#include <orx/store.h>
#include <orx/sym.h>

#endif /* ORX_ORX_H_ */
