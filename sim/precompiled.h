// SPDX-License-Identifier: Apache-2.0
// What most of the simulated device includes and nobody here changes, compiled once. A build
// without precompiled headers takes each file's own includes, so that none comes to depend on this
// list.
#pragma once

#include <aidl/android/hardware/security/keymint/BnKeyMintDevice.h>
#include <android-base/file.h>
#include <android-base/strings.h>
#include <android-base/unique_fd.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>
