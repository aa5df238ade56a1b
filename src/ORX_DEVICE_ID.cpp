// SPDX-License-Identifier: Apache-2.0
#include <cutils/properties.h>
#include <orx/device.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orx_log.h"

namespace {

// Devices that launched on this API level or a later one have product properties of their own for
// the vendor partition.
constexpr int kFirstVendorPropertyApiLevel = 34;
constexpr size_t kPropertyNameBytes = 40;

// 0 doubles as the empty cache, so that a property that appears late is seen.
int first_api_level = 0;

char product_name[PROPERTY_VALUE_MAX];
char model_name[PROPERTY_VALUE_MAX];
char brand_name[PROPERTY_VALUE_MAX];
char device_name[PROPERTY_VALUE_MAX];
char manufacturer_name[PROPERTY_VALUE_MAX];
char serial_number[PROPERTY_VALUE_MAX];

const char* GetProductProperty(const char* key, char* buffer) {
  return ORX_get_property(key, buffer) == 0 ? buffer : nullptr;
}

}  // namespace

int ORX_device_requires_generic_ids(void) {
  if (first_api_level == 0) {
    char value[PROPERTY_VALUE_MAX] = {};
    if (property_get("ro.product.first_api_level", value, nullptr) >= 1) {
      first_api_level = atoi(value);
    }
  }
  return first_api_level < kFirstVendorPropertyApiLevel ? 1 : 0;
}

int ORX_device_supports_dual_sim(void) {
  constexpr char kYes[] = "true";
  char value[PROPERTY_VALUE_MAX] = {};
  if (property_get("ro.vendor.hw.dualsim", value, "false") == 0) return 1;
  if (memcmp(value, kYes, sizeof(kYes)) != 0) return 1;
  ORX_LOG("Dual SIM card detected");
  return 0;
}

int ORX_get_property(const char* key, char* out) {
  char name[kPropertyNameBytes] = {};
  snprintf(name, sizeof(name),
           ORX_device_requires_generic_ids() == 0 ? "ro.product.vendor.%s" : "ro.product.%s", key);
  if (property_get(name, out, nullptr) <= 0) {
    ORX_LOG("Failed to get prop:%s", name);
    return 1;
  }
  return 0;
}

const char* ORX_get_product_name(void) {
  return GetProductProperty("name", product_name);
}

const char* ORX_get_model_name(void) {
  return GetProductProperty("model", model_name);
}

const char* ORX_get_brand_name(void) {
  return GetProductProperty("brand", brand_name);
}

const char* ORX_get_device_name(void) {
  return GetProductProperty("device", device_name);
}

const char* ORX_get_manufacturer_name(void) {
  return GetProductProperty("manufacturer", manufacturer_name);
}

const char* ORX_get_serial(void) {
  if (property_get("ro.vendor.boot.serialno", serial_number, nullptr) > 0) return serial_number;
  ORX_LOG("Failed to get prop:ro.vendor.boot.serialno");
  return nullptr;
}

int ORX_device_id_attestation_properties_ok(void) {
  // All six are read whatever the first ones give: every buffer is refreshed.
  int failures = ORX_get_serial() == nullptr ? 1 : 0;
  failures += ORX_get_property("manufacturer", manufacturer_name);
  failures += ORX_get_property("brand", brand_name);
  failures += ORX_get_property("name", product_name);
  failures += ORX_get_property("device", device_name);
  failures += ORX_get_property("model", model_name);
  return failures == 0 ? 0 : 1;
}

int ORX_print_device_ids(void) {
  if (ORX_device_id_attestation_properties_ok() != 0) return puts("Device ID properties not ok");
  puts("Device IDs for attestation:");
  // A property removed since the check prints as the platform's null marker.
  printf(" Model:%s\n", ORX_get_model_name());
  printf(" Product:%s\n", ORX_get_product_name());
  printf(" Device:%s\n", ORX_get_device_name());
  printf(" Serial:%s\n", ORX_get_serial());
  printf(" Manufacturer:%s\n", ORX_get_manufacturer_name());
  return printf(" Brand:%s\n", ORX_get_brand_name());
}
