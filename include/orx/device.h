/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_DEVICE_H_
#define ORX_DEVICE_H_

/*
 * The device's identifiers: product properties and serial number, the unique hardware ID, and IMEI
 * and MEID, which are read from the modem.
 *
 * Functions return 0 for success or yes and 1 for failure or no where nothing else is said. They
 * run on the caller's thread. Nothing here is guarded against concurrent calls: callers serialise
 * them. Property values have at most 91 bytes and a terminator (PROP_VALUE_MAX, 92).
 *
 * WARNING: a property "ro." may be longer; its value reads as the platform's notice then ("Must use
 * __system_property_read_callback() to read"), which is the same on every such device: so is the
 * unique hardware ID that is made of it.
 */

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

/*
 * ORX_device_requires_generic_ids returns whether the device launched on an API level below 34,
 * whose product identifiers are the generic properties "ro.product.<key>"; later devices have
 * "ro.product.vendor.<key>". A property "ro.product.first_api_level" that is missing, or that is
 * not a number as atoi() reads it, counts as below 34.
 *
 * The level is read once a process; one that is missing or reads as 0 is looked for again at each
 * call.
 *
 * WARNING: the answer is 1 for yes and 0 for no, the only function of the library where it is so.
 */
ORX_EXPORT int ORX_device_requires_generic_ids(void);

/*
 * ORX_device_supports_dual_sim returns 0 when the property "ro.vendor.hw.dualsim" is exactly
 * "true", and 1 for any other value ("True", "1", "true " too) or none.
 */
ORX_EXPORT int ORX_device_supports_dual_sim(void);

/*
 * ORX_device_id_attestation_properties_ok returns 0 when serial number, manufacturer, brand,
 * product name, device and model can all be read and are not empty. All six are read in every case.
 *
 * WARNING: it overwrites the static buffers of the getters below.
 */
ORX_EXPORT int ORX_device_id_attestation_properties_ok(void);

/*
 * ORX_get_property reads the product property of `key` ("name", "model", "brand", "device",
 * "manufacturer") into the 92 bytes at `out`. Returns 1 when it is missing or empty; what `out`
 * holds then is what the platform leaves there.
 *
 * WARNING: the full property name ("ro.product.<key>" or "ro.product.vendor.<key>") is cut to 39
 * characters, and the property of the cut name is read.
 */
ORX_EXPORT int ORX_get_property(const char* key, char* out);

/*
 * ORX_get_product_name, ORX_get_model_name, ORX_get_brand_name, ORX_get_device_name and
 * ORX_get_manufacturer_name return the value of the product property "name", "model", "brand",
 * "device" and "manufacturer", or null when it is missing or empty.
 *
 * WARNING: the value is in a static buffer, one for each function: the function's next call
 * overwrites it. Copy what you keep, and never free it.
 */
ORX_EXPORT const char* ORX_get_product_name(void);

/* ORX_get_model_name: see ORX_get_product_name. */
ORX_EXPORT const char* ORX_get_model_name(void);

/* ORX_get_brand_name: see ORX_get_product_name. */
ORX_EXPORT const char* ORX_get_brand_name(void);

/* ORX_get_device_name: see ORX_get_product_name. */
ORX_EXPORT const char* ORX_get_device_name(void);

/* ORX_get_manufacturer_name: see ORX_get_product_name. */
ORX_EXPORT const char* ORX_get_manufacturer_name(void);

/*
 * ORX_get_serial returns the value of "ro.vendor.boot.serialno", on devices of every API level, or
 * null when it is missing or empty.
 *
 * WARNING: the value is in a static buffer that the next call overwrites.
 */
ORX_EXPORT const char* ORX_get_serial(void);

/*
 * ORX_print_device_ids prints model, product, device, serial number, manufacturer and brand to
 * standard output, a line each, or the one line "Device ID properties not ok" when one of them is
 * missing. Returns what the last print call returned: negative when standard output failed. Where
 * standard output is buffered, as into a file, that is not known yet: flush it and look.
 */
ORX_EXPORT int ORX_print_device_ids(void);

/*
 * ORX_DEVICE_GetUniqueID returns in `*uid` the unique hardware ID as 32 characters and a
 * terminator, allocated with malloc() and freed by the caller, and 32 in `*uid_len`: the first 16
 * characters of the property "ro.vendor.boot.uid", which the bootloader sets, and 16 characters
 * '0'. Returns 1 for a null argument or when there is no memory, with both outputs untouched.
 *
 * WARNING: a property that is missing, short (below 16 characters) or starts with 16 zeros is not a
 * failure: the unique ID is 32 characters '0' then.
 */
ORX_EXPORT int ORX_DEVICE_GetUniqueID(char** uid, uint32_t* uid_len);

/*
 * ORX_ProcessorRawUID converts the 16 hexadecimal digits of the unique hardware ID to 8 bytes at
 * `out`. Returns 1 for a null `out`, for an `out_size` below 16, and when a character is no
 * hexadecimal digit; in the last case the bytes before it are in `out` and zeros behind them.
 *
 * WARNING: 16 bytes are required and all `out_size` bytes are cleared, though 8 are produced. A
 * property that is missing, short or starts with 16 zeros gives 8 zero bytes and 0.
 */
ORX_EXPORT int ORX_ProcessorRawUID(uint8_t* out, int32_t out_size);

/*
 * ORX_DEVICE_GetMode sets `*mode`, which must not be null, to 1 on secure hardware (a production
 * device) and to 2 otherwise. Always returns 0.
 *
 * WARNING: only a property "ro.vendor.boot.secure_hardware" that says no ("0", "false", "n", "no",
 * "off") gives 2: a device without the property counts as a production device.
 */
ORX_EXPORT int ORX_DEVICE_GetMode(uint32_t* mode);

/* ORX_DEVICE_IsProduction returns 0 when ORX_DEVICE_GetMode() gives 1, otherwise 1. */
ORX_EXPORT int ORX_DEVICE_IsProduction(void);

/* ORX_DEVICE_GetUnlockState returns 0 on every device: nothing is asked. */
ORX_EXPORT int ORX_DEVICE_GetUnlockState(void);

/* ORX_DEVICE_Goodix_FPS_Ready returns 1 on every device: nothing is asked. */
ORX_EXPORT int ORX_DEVICE_Goodix_FPS_Ready(void);

/*
 * ORX_DEVICE_GetImei asks the modem for the IMEI (3GPP TS 23.003) with AT+CGSN (3GPP TS 27.007) and
 * leaves its 15 digits in `buf`, which has `len` bytes, at least 16. Returns 1 with `buf` untouched
 * when it is null or shorter, and 1 when the modem cannot be asked or answers anything but 15
 * digits.
 *
 * Blocks like ORX_communicate_with_modem(): half a minute or more when no modem daemon listens,
 * without end when it does not answer.
 *
 * WARNING: fill `buf` with zeros first. No terminator is written; the answer is taken to end at the
 * first zero, so that bytes left over in `buf` make a good answer fail.
 *
 * WARNING: 15 characters '-' are written to `buf` first and the answer over them, so that one that
 * is too short shows. After a failure they are still there, or what came of the answer. An answer
 * longer than `buf` is cut at `len`; no terminator is in `buf` then.
 */
ORX_EXPORT int ORX_DEVICE_GetImei(char* buf, uint32_t len);

/*
 * ORX_DEVICE_GetImei2 asks for the second IMEI with AT+EGMR=0,10, whose answer has it in double
 * quotes. Otherwise like ORX_DEVICE_GetImei(), except that all `len` bytes of `buf` are cleared
 * once the modem has answered.
 *
 * WARNING: what stands in quotes is cut to 15 characters, so that 16 digits pass as the first 15 of
 * them, and the closing quote may be missing. An answer without quotes, or one that starts with a
 * quote, leaves `buf` empty and gives 1.
 */
ORX_EXPORT int ORX_DEVICE_GetImei2(char* buf, uint32_t len);

/*
 * ORX_DEVICE_GetMeid asks for the MEID (3GPP2 S.R0048) with AT^MEID and leaves its 14 digits in
 * `buf`, which has `len` bytes, at least 15. Otherwise like ORX_DEVICE_GetImei(), with 14 dashes.
 *
 * WARNING: a MEID with the hexadecimal digits A to F is refused.
 */
ORX_EXPORT int ORX_DEVICE_GetMeid(char* buf, uint32_t len);

/* ORX_MODEM_RESPONSE_MAX is the most that one receive takes from the modem daemon, in bytes. */
#define ORX_MODEM_RESPONSE_MAX 3072

/*
 * ORX_communicate_with_modem connects to the modem daemon's reserved local socket "rild-oem", sends
 * the `at_command` ("TCATSEND,0,AT+CGSN"), writes what one receive gives to `response` and closes
 * the connection. The request is the word 1, the command's length and the command's bytes without a
 * terminator; words have 32 bits in the host's byte order.
 *
 * Returns 0 on success; -1 when no connection could be made in 30 attempts, a second apart, or when
 * sending, waiting or receiving failed; -2 when the receive failed with EAGAIN or EINTR; -3 for a
 * null or empty command, before anything is opened. `response` is untouched unless 0 is returned.
 *
 * WARNING: `response` must hold ORX_MODEM_RESPONSE_MAX bytes and one more, all zeros: the daemon
 * decides how much is written, there is no terminator behind it, and the text is logged up to the
 * first zero. With a null `response` the call never returns once an answer has come.
 *
 * WARNING: neither the wait for the answer has a time limit nor the connecting, which waits while
 * the daemon's queue of clients is full.
 *
 * WARNING: an answer that comes in several segments is not joined; `response` holds the first.
 *
 * WARNING: a connection on descriptor 0 counts as a failed attempt and is closed: in a process
 * whose standard input is closed, all 30 attempts fail. Waiting on a descriptor of FD_SETSIZE
 * (1024) or above fails.
 *
 * WARNING: the socket gets O_NONBLOCK alone as its flags while it connects and the flags it was
 * opened with afterwards. An errno of 0 after that counts as connected; any other value, which can
 * be the caller's own from before, first waits up to a second for the socket.
 *
 * WARNING: a daemon that goes away before the command is sent raises SIGPIPE in the caller.
 *
 * WARNING: when no connection could be made, the copy of the command (its length and one byte) is
 * not released. The library keeps this leak; a leak checker may be told so.
 */
ORX_EXPORT int ORX_communicate_with_modem(const char* at_command, char* response);

/*
 * ORX_read_socket receives once, at most `len` bytes, from the connected socket `fd` into `buf`,
 * and logs `buf` up to its first zero, which must stand behind the `len` bytes at the latest.
 * Returns 0 when at least one byte came, -1 after 10 empty receives (the peer closed the
 * connection, or `len` is 0), and -2 when the receive failed with EAGAIN or EINTR. `fd` stays open.
 *
 * WARNING: a negative `len` is no limit: all that has come is written to `buf`. Where `buf` is less
 * than 2 GiB from the end of the address space, as on some stacks, the receive fails, for ever.
 *
 * WARNING: EAGAIN and EINTR end the call, and every other error makes it receive again without
 * limit: the reverse of the usual rule. A descriptor that is no socket, or data for a null `buf`,
 * makes it spin forever.
 */
ORX_EXPORT int ORX_read_socket(int fd, int len, char* buf);

ORX_END_DECLS

#endif /* ORX_DEVICE_H_ */
