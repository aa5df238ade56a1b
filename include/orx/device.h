/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_DEVICE_H_
#define ORX_DEVICE_H_

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

ORX_EXPORT int ORX_device_requires_generic_ids(void);

ORX_EXPORT int ORX_device_supports_dual_sim(void);

ORX_EXPORT int ORX_device_id_attestation_properties_ok(void);

ORX_EXPORT int ORX_get_property(const char* key, char* out);

ORX_EXPORT const char* ORX_get_product_name(void);

ORX_EXPORT const char* ORX_get_model_name(void);

ORX_EXPORT const char* ORX_get_brand_name(void);

ORX_EXPORT const char* ORX_get_device_name(void);

ORX_EXPORT const char* ORX_get_manufacturer_name(void);

ORX_EXPORT const char* ORX_get_serial(void);

ORX_EXPORT int ORX_print_device_ids(void);

ORX_EXPORT int ORX_DEVICE_GetUniqueID(char** uid, uint32_t* uid_len);

ORX_EXPORT int ORX_ProcessorRawUID(uint8_t* out, int32_t out_size);

ORX_EXPORT int ORX_DEVICE_GetMode(uint32_t* mode);

ORX_EXPORT int ORX_DEVICE_IsProduction(void);

ORX_EXPORT int ORX_DEVICE_GetUnlockState(void);

ORX_EXPORT int ORX_DEVICE_Goodix_FPS_Ready(void);

ORX_EXPORT int ORX_DEVICE_GetImei(char* buf, uint32_t len);

ORX_EXPORT int ORX_DEVICE_GetImei2(char* buf, uint32_t len);

ORX_EXPORT int ORX_DEVICE_GetMeid(char* buf, uint32_t len);

/* ORX_MODEM_RESPONSE_MAX is the most that one receive takes from the modem daemon, in bytes. */
#define ORX_MODEM_RESPONSE_MAX 3072

ORX_EXPORT int ORX_communicate_with_modem(const char* at_command, char* response);

ORX_EXPORT int ORX_read_socket(int fd, int len, char* buf);

ORX_END_DECLS

#endif /* ORX_DEVICE_H_ */
