// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

// What the host's platform offers beyond Android's: for tests and for device modules.
//
// The device behind the platform is a module: the first call of the service manager or of a
// property function looks at the environment variable ANDROID_HOST_DEVICE. If it is set (and the
// program is not set-user-ID), it is the path of a shared object, which is loaded and whose
//
//   extern "C" int android_host_device_attach(void);
//
// registers services and sets properties. It returns 0, or says on standard error why it could not.
// A module that cannot be loaded or attached leaves a device without services and properties, and
// one line on standard error. The platform may be used from within the attach function, but not
// from a thread that it waits for.
//
// Without the variable there is no device: a program that wants to say so, instead of failing call
// by call, looks at the variable itself.
namespace android_host {

// DisableDeviceModule keeps this process from loading a device module: tests start from nothing.
// Has no effect on one that is loaded already.
void DisableDeviceModule();

// LogDescriptor returns where the log goes that the environment variable ANDROID_HOST_LOG asks for,
// or -1. If it is set (and the program is not set-user-ID), debug lines and those above are written
// from the program's first call on: to standard error if it is "-", else to the end of the file of
// this name. A program that sets a logger of its own takes the lines over.
int LogDescriptor();

// DeclareService lists a service as a device's manifest does, whether it is registered or not.
void DeclareService(const std::string& instance);

// ClearServices drops every registration, and with it the registry's reference to the service, and
// every declaration.
void ClearServices();

// ClearProperties removes every property, those set through android::base::SetProperty() excepted.
void ClearProperties();

// SetProperty sets a property as init does when it loads a build.prop: an "ro." property that has a
// value is overwritten. Returns false, with the reason in `*error` if given, for a name that is not
// a property name or a value that Android would refuse.
bool SetProperty(const std::string& name, const std::string& value, std::string* error);

}  // namespace android_host
