// SPDX-License-Identifier: Apache-2.0
// A device module as small as one can be, for device_module_test.
#include <android_host/host.h>

extern "C" int android_host_device_attach() {
  android_host::DeclareService("a.b.IFoo/default");
  return android_host::SetProperty("ro.product.device", "module", nullptr) ? ATTACH_RESULT : 2;
}
