// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/doctor/doctor_probes.h"

#include <errno.h>
#include <orx/orx.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/system_properties.h>
#include <sys/un.h>
#include <unistd.h>

#include "tools/orx/cli/device.h"
#include "tools/orx/cli/file_text.h"
#include "tools/orx/diagnosis/slots.h"

namespace orx_tool {
namespace {

// A key blob has some hundred bytes; below this a store soon fails.
constexpr uint64_t kLowSpaceBytes = 64UL * 1024;

Finding Ok(const std::string& area, const std::string& text) {
  Finding finding;
  finding.area = area;
  finding.text = text;
  return finding;
}

Finding FromProblem(const std::string& area, const Problem& problem) {
  return {area, Status::kProblem, problem.cause, problem.code, problem.advice, problem.owner, {}};
}

Remedy FolderRemedy(int error, unsigned wanted) {
  return PathRemedy(std::string(kPersistFolder) + "/*.bin", kPersistFolder, error, wanted);
}

std::vector<Finding> ProbeFolder(bool /*show_ids*/) {
  constexpr const char kArea[] = "folder";
  const std::string folder = kPersistFolder;
  if (const auto problem = CheckPersistFolder()) {
    Finding finding = FromProblem(kArea, *problem);
    finding.remedy = FolderRemedy(problem->code == "PERSIST-DENIED" ? EACCES : ENOENT, R_OK | X_OK);
    return {finding};
  }
  struct stat status;
  struct statvfs space;
  if (stat(kPersistFolder, &status) != 0 || statvfs(kPersistFolder, &space) != 0) {
    return {MakeFinding(kArea, "PERSIST-DENIED", folder + ": " + strerror(errno))};
  }
  const bool writable = access(kPersistFolder, W_OK) == 0;
  const uint64_t free_bytes = static_cast<uint64_t>(space.f_bavail) * space.f_frsize;
  const std::string code = FolderProblem(free_bytes, (space.f_flag & ST_RDONLY) != 0, writable);
  const std::string text = folder + ", " + OwnerText(status) + ", mode " + ModeText(status) + ", " +
                           std::to_string(free_bytes / 1024) + " KiB free" +
                           (writable ? "" : "; not writable for this process");
  if (code.empty()) return {Ok(kArea, text)};
  Finding finding = MakeFinding(kArea, code, text);
  if (code == "PERSIST-DENIED") finding.remedy = FolderRemedy(EACCES, W_OK);
  return {finding};
}

// ConnectError tries a connection that does not wait. Returns 0 when a daemon listens, else errno.
int ConnectError() {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  memcpy(address.sun_path, kModemSocket, sizeof(kModemSocket));
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return errno;
  const int result = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
  const int error = result == 0 ? 0 : errno;
  close(fd);
  return error == EAGAIN ? 0 : error;  // its queue is full, so a daemon listens
}

std::vector<Finding> ProbeModem(bool /*show_ids*/) {
  constexpr const char kArea[] = "modem";
  const int error = ConnectError();
  if (error == 0) return {Ok(kArea, std::string("a daemon listens on ") + kModemSocket)};
  Finding finding =
      MakeFinding(kArea, "MODEM-UNREACHABLE", std::string(kModemSocket) + ": " + strerror(error));
  // A socket that refuses is well provided: its daemon has ended.
  if (error != ECONNREFUSED) {
    finding.remedy = PathRemedy(kModemSocket, kModemSocket, error, W_OK);
  }
  return {finding};
}

std::string Property(const std::string& name) {
  char value[PROP_VALUE_MAX] = {};
  __system_property_get(name.c_str(), value);
  return value;
}

// A property that the library reads.
struct ReadProperty {
  std::string name;
  bool required;    // the identifiers cannot be attested without it
  bool identifies;  // this very device
};

std::vector<ReadProperty> ReadProperties() {
  const std::string prefix =
      ORX_device_requires_generic_ids() == 1 ? "ro.product." : "ro.product.vendor.";
  std::vector<ReadProperty> properties = {{"ro.product.first_api_level", false, false},
                                          {"ro.vendor.boot.serialno", true, true}};
  for (const char* key : {"brand", "device", "name", "manufacturer", "model"}) {
    properties.push_back({prefix + key, true, false});
  }
  properties.push_back({"ro.vendor.boot.uid", false, true});
  properties.push_back({"ro.vendor.boot.secure_hardware", false, false});
  properties.push_back({"ro.vendor.hw.dualsim", false, false});
  properties.push_back({"ro.boot.factorysbprov", false, false});
  return properties;
}

std::vector<Finding> ProbeProperties(bool show_ids) {
  constexpr const char kArea[] = "property";
  std::vector<Finding> findings;
  for (const ReadProperty& property : ReadProperties()) {
    const std::string value = Property(property.name);
    if (!value.empty()) {
      const bool masked = property.identifies && !show_ids;
      findings.push_back(Ok(kArea, property.name + " = " + (masked ? MaskValue(value) : value)));
      continue;
    }
    Finding finding;
    if (property.required) {
      finding = MakeFinding(kArea, "PROPERTY-MISSING", property.name + " is not set");
    } else {
      finding = Ok(kArea, property.name + " is not set; its default holds");
      finding.status = Status::kNote;
    }
    finding.remedy = PropertyRemedy(property.name);
    findings.push_back(finding);
  }
  return findings;
}

}  // namespace

const char* StatusName(Status status) {
  switch (status) {
    case Status::kOk:
      return "ok";
    case Status::kNote:
      return "note";
    case Status::kProblem:
      break;
  }
  return "PROBLEM";
}

std::string FolderProblem(uint64_t free_bytes, bool read_only, bool writable) {
  if (read_only || free_bytes < kLowSpaceBytes) return "PERSIST-FULL";
  return writable ? "" : "PERSIST-DENIED";
}

Finding MakeFinding(const std::string& area, const std::string& code, const std::string& text) {
  return FromProblem(area, MakeProblem(code, text));
}

std::vector<Probe> Probes() {
  return {{"symmetric service", ProbeSymmetricService},
          {"service", ProbeServices},
          {"folder", ProbeFolder},
          {"key slot", ProbeSlots},
          {"modem", ProbeModem},
          {"property", ProbeProperties}};
}

}  // namespace orx_tool
