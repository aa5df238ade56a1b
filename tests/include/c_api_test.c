/* SPDX-License-Identifier: Apache-2.0 */
/* Calls every family of liborx.so from C, on a device without services, modem and properties. */

#include <orx/orx.h>
#include <stdio.h>
#include <string.h>

static int failures;

static void expect(int holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "c_api_test: failed: %s\n", what);
  ++failures;
}
#define EXPECT(condition) expect(condition, #condition)

static void data_services(void) {
  static const uint8_t abc_sha1[20] = {0xa9, 0x99, 0x3e, 0x36, 0x47, 0x06, 0x81, 0x6a, 0xba, 0x3e,
                                       0x25, 0x71, 0x78, 0x50, 0xc2, 0x6c, 0x9c, 0xd0, 0xd8, 0x9d};
  uint8_t digest[64] = {0}, derived[20] = {0}, random[2][32] = {{0}}, read[4] = {0};
  uint32_t length = 0, handle = 1;

  EXPECT(ORX_HASH(0, "abc", 3, digest, &length) == 0);
  EXPECT(length == sizeof abc_sha1 && memcmp(digest, abc_sha1, sizeof abc_sha1) == 0);

  EXPECT(ORX_KDF_Gen(0, 0, 3, (const uint8_t*)"abc", 0, NULL, sizeof derived, derived) == 0);
  EXPECT(memcmp(derived, abc_sha1, sizeof derived) == 0);

  EXPECT(ORX_RNG_GetBytes(random[0], sizeof random[0]) == 0 && ORX_RNG_Reseed() == 0);
  EXPECT(ORX_RNG_GetBytes(random[1], sizeof random[1]) == 0);
  EXPECT(memcmp(random[0], random[1], sizeof random[0]) != 0);

  EXPECT(ORX_STORE_Open(3, &handle, 1) == 0 && handle == 0);
  EXPECT(ORX_STORE_Write((const uint8_t*)"abcd", 1, 4) == 0 && ORX_STORE_Close(handle) == 0);
  EXPECT(ORX_STORE_Open(3, &handle, 0) == 0 && ORX_STORE_Read(read, 1, 4) == 0);
  EXPECT(ORX_STORE_Size(handle, &length) == 0 && length == 4 && memcmp(read, "abcd", 4) == 0);
  EXPECT(ORX_STORE_Close(handle) == 0 && ORX_STORE_Delete(3) == 0);
}

static void key_services(void) {
  uint8_t bytes[16] = {1, 2, 3};
  uint32_t length = sizeof bytes;
  ORX_SYM_CONTEXT* context = NULL;

  EXPECT(ORX_SYM_ImportProtectedKey(0, 50, bytes, sizeof bytes, &context) == 1);
  EXPECT(ORX_SYM_GetContextForID(&context, 50) == 1);
  EXPECT(ORX_SYM_DestroyContext(context) == 0);
  EXPECT(ORX_RSA_Sign(50, bytes, bytes, sizeof bytes, &length, 2, 1) == 1);
  EXPECT(ORX_RSA_ImportKey(bytes, sizeof bytes, 1, 50) == 1);
  EXPECT(bytes[0] == 0 && bytes[1] == 0 && bytes[2] == 0);
}

static void device_and_self_tests(void) {
  uint32_t length = 0;

  EXPECT(ORX_device_requires_generic_ids() == 1);
  EXPECT(ORX_device_supports_dual_sim() == 1);
  EXPECT(ORX_get_serial() == NULL && ORX_get_product_name() == NULL);
  EXPECT(ORX_DEVICE_GetUnlockState() == 0);
  EXPECT(ORX_DEVICE_GetImei(NULL, 0) == 1);
  EXPECT(ORX_get_attestation_id(NULL, &length) == 1);
  EXPECT(ORX_validate_attestation(false, 0, false, false) == 1);
  EXPECT(ORX_eSE_RoT_binding_check() == 1);
  EXPECT(ORX_eSE_SharedSecret_negotiation_check() == 1);
}

int main(void) {
  data_services();
  key_services();
  device_and_self_tests();
  return failures == 0 ? 0 : 1;
}
