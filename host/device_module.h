// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace android_host {

// EnsureDevice loads the device module that the environment names, once, before anything of the
// platform is used. Returns when it is attached, or at once when called by the module itself.
void EnsureDevice();

}  // namespace android_host
