// SPDX-License-Identifier: Apache-2.0
// Calls every function of liborx.so, each in a process of its own with the calls that must come
// before it, and prints what the library looks up, reads, opens and connects to: a line each of
// function, kind and object. Its definitions of the platform's functions precede the platform's.
#include <aidl/android/hardware/security/keymint/Algorithm.h>
#include <keymint/ORX_KEYMINT.h>
#include <openssl/bytestring.h>
#include <openssl/evp.h>
#include <openssl/mem.h>
#include <orx/orx.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

#include "tests/support/interposed/interposed.h"
#include "tests/support/rsa_components.h"

namespace {

namespace orx = android::hardware::keymint::ORX;

int record_fd = -1;
const char* current_call = nullptr;

void Record(const char* kind, const char* object) {
  if (current_call == nullptr || object == nullptr || !orx_test::IsForLibrary()) return;
  dprintf(record_fd, "%s\t%s\t%s\n", current_call, kind, object);
}

const char* Text(uintptr_t word) {
  return reinterpret_cast<const char*>(word);
}

const char* PathOf(uintptr_t address) {
  const auto* const local = reinterpret_cast<const sockaddr_un*>(address);
  return local->sun_family == AF_UNIX ? local->sun_path : "not a local one";
}

}  // namespace

#define RECORDED(name, kind, object) \
  ORX_INTERPOSED(name, (Record(kind, object), real(a, b, c, d, e, f)))
RECORDED(AServiceManager_checkService, "service", Text(a))
RECORDED(property_get, "property", Text(a))
RECORDED(property_get_bool, "property", Text(a))
// The C library's two names for one function, and what fortified code calls for it.
RECORDED(open, "file", Text(a))
RECORDED(open64, "file", Text(a))
RECORDED(__open_2, "file", Text(a))
RECORDED(__open64_2, "file", Text(a))
RECORDED(fopen, "file", Text(a))
RECORDED(unlink, "file", Text(a))
RECORDED(connect, "socket", PathOf(b))

namespace {

constexpr int kAesKey = 50;
constexpr int kRsaKey = 51;
constexpr int kFile = 1;
constexpr uint32_t kAllIds = 0x1ff;

ORX_SYM_CONTEXT* context;
uint8_t bytes[ORX_MODEM_RESPONSE_MAX + 1];
uint32_t length = 16;
uint32_t handle;

void ImportAes() {
  ORX_SYM_ImportProtectedKey(0, kAesKey, bytes, 16, &context);
}

void SelectAes() {
  ORX_SYM_GetContextForID(&context, kAesKey);
}

void ImportRsa() {
  const bssl::UniquePtr<RSA> rsa = orx_test::NewRsaKey(2048);
  const bssl::UniquePtr<EVP_PKEY> key(EVP_PKEY_new());
  EVP_PKEY_set1_RSA(key.get(), rsa.get());
  bssl::ScopedCBB encoding;
  CBB_init(encoding.get(), 2048);
  EVP_marshal_private_key(encoding.get(), key.get());
  ORX_RSA_ImportKey(const_cast<uint8_t*>(CBB_data(encoding.get())),
                    static_cast<uint32_t>(CBB_len(encoding.get())), 1, kRsaKey);
}

void OpenFile(int write) {
  ORX_STORE_Open(kFile, &handle, write);
}

struct Call {
  const char* name;
  void (*run)();
};

#define JUST(function, ...)                                     \
  {                                                             \
#function, [] { static_cast<void>(function(__VA_ARGS__)); } \
  }
#define AFTER(before, function, ...) \
  {                                  \
#function, [] {                   \
     before;                         \
     static_cast<void>(function(__VA_ARGS__)); }  \
  }

const Call kCalls[] = {
    {"ORX_SYM_ImportProtectedKey", ImportAes},
    {"ORX_SYM_GetContextForID", SelectAes},
    JUST(ORX_SYM_DestroyContext, context),
    AFTER(SelectAes(), ORX_SYM_EncryptBegin, context, bytes, 16, 0),
    AFTER(SelectAes(), ORX_SYM_DecryptBegin, context, bytes, 16, 0),
    AFTER((SelectAes(), ORX_SYM_EncryptBegin(context, bytes, 16, 0)), ORX_SYM_Encrypt, context,
          bytes, bytes, &length),
    AFTER((SelectAes(), ORX_SYM_DecryptBegin(context, bytes, 16, 0)), ORX_SYM_Decrypt, context,
          bytes, bytes, &length),
    JUST(ORX_SYM_EncryptEnd, context),
    JUST(ORX_SYM_DecryptEnd, context),
    JUST(ORX_SYM_Decrypt_Wrapper, context, bytes, bytes, &length),
    {"ORX_SYM_GetIDFromContext",
     [] {
       int key_id = 0;
       SelectAes();
       ORX_SYM_GetIDFromContext(context, &key_id);
     }},
    AFTER(SelectAes(), ORX_SYM_DeleteKeyID, kAesKey),

    {"ORX_RSA_ImportKey", ImportRsa},
    {"ORX_RSA_ImportProtectedKey",
     [] {
       orx_test::ImportRsaComponents(orx_test::ComponentsOf(orx_test::NewRsaKey(2048).get()),
                                     kRsaKey);
     }},
    JUST(ORX_RSA_Unwrap, bytes, &length),
    JUST(ORX_RSA_Sign, kRsaKey, bytes, bytes, 16, &length, 2, 1),
    JUST(ORX_RSA_Verify, kRsaKey, bytes, bytes, 16, 16, 2, 1),
    JUST(ORX_RSA_EncryptDecrypt, kRsaKey, 0, bytes, bytes, 256, &length, nullptr, 0),
    JUST(ORX_RSA_DeleteKeyID, kRsaKey),

    JUST(ORX_HASH_Begin, 0, &handle),
    AFTER(ORX_HASH_Begin(0, &handle), ORX_HASH_Update, handle, bytes, 16),
    AFTER(ORX_HASH_Begin(0, &handle), ORX_HASH_End, handle, bytes, &length),
    JUST(ORX_HASH, 0, bytes, 16, bytes, &length),
    JUST(ORX_KDF_Gen, 0, 0, 16, bytes, 0, nullptr, 16, bytes),
    JUST(ORX_LIB_KDF_Gen, 0, 0, 16, bytes, 0, nullptr, 16, bytes),
    JUST(ORX_RNG_GetBytes, bytes, 16),
    JUST(ORX_RNG_Reseed),

    JUST(ORX_STORE_Open, kFile, &handle, 1),
    AFTER(OpenFile(1), ORX_STORE_Write, bytes, 1, 16),
    AFTER(OpenFile(1), ORX_STORE_Close, handle),
    AFTER(OpenFile(0), ORX_STORE_Read, bytes, 1, 1),
    AFTER(OpenFile(0), ORX_STORE_Size, handle, &length),
    JUST(ORX_STORE_Delete, kFile),

    AFTER(ORX_validate_attestation(true, kAllIds, false, false), ORX_validate_attestation, true,
          kAllIds, true, true),
    AFTER(ORX_validate_attestation_model("Simulated Dual", false, false),
          ORX_validate_attestation_model, "Simulated Dual", true, true),
    AFTER(ORX_validate_attestation_ids(true, kAllIds, false, false), ORX_validate_attestation_ids,
          true, kAllIds, false, true),
    AFTER(length = 800, ORX_get_attestation_id, bytes, &length),
    JUST(ORX_eSE_RoT_binding_check),
    JUST(ORX_eSE_SharedSecret_negotiation_check),

    JUST(ORX_device_requires_generic_ids),
    JUST(ORX_device_supports_dual_sim),
    JUST(ORX_device_id_attestation_properties_ok),
    JUST(ORX_get_property, "model", reinterpret_cast<char*>(bytes)),
    JUST(ORX_get_product_name),
    JUST(ORX_get_model_name),
    JUST(ORX_get_brand_name),
    JUST(ORX_get_device_name),
    JUST(ORX_get_manufacturer_name),
    JUST(ORX_get_serial),
    JUST(ORX_print_device_ids),
    {"ORX_DEVICE_GetUniqueID",
     [] {
       char* uid = nullptr;
       ORX_DEVICE_GetUniqueID(&uid, &length);
       free(uid);
     }},
    JUST(ORX_ProcessorRawUID, bytes, 16),
    JUST(ORX_DEVICE_GetMode, &handle),
    JUST(ORX_DEVICE_IsProduction),
    JUST(ORX_DEVICE_GetUnlockState),
    JUST(ORX_DEVICE_Goodix_FPS_Ready),
    JUST(ORX_DEVICE_GetImei, reinterpret_cast<char*>(bytes), 64),
    JUST(ORX_DEVICE_GetImei2, reinterpret_cast<char*>(bytes), 64),
    JUST(ORX_DEVICE_GetMeid, reinterpret_cast<char*>(bytes), 64),
    JUST(ORX_communicate_with_modem, "TCATSEND,0,AT+CGSN", reinterpret_cast<char*>(bytes)),
    // A caller reads from a descriptor of its own.
    {"ORX_read_socket",
     [] {
       int pair[2];
       socketpair(AF_UNIX, SOCK_STREAM, 0, pair);
       write(pair[1], "x", 1);
       ORX_read_socket(pair[0], 16, reinterpret_cast<char*>(bytes));
     }},

    {"android::hardware::keymint::ORX::AuthorizationSet::*",
     [] { orx::AuthorizationSet().Deduplicate(); }},
    {"android::hardware::keymint::ORX::AuthorizationSetBuilder::*",
     [] { orx::AuthorizationSetBuilder().RsaKey(2048, 65537); }},
    {"android::hardware::keymint::ORX::KeyMintService::*",
     [] {
       orx::KeyMintService tee(false);
       orx::KeyMintService strongbox(true);
     }},
    {"android::hardware::keymint::ORX::load_key_blob(int)", [] { orx::load_key_blob(kRsaKey); }},
    {"android::hardware::keymint::ORX::store_key_blob*",
     [] { orx::store_key_blob(kRsaKey, orx::load_key_blob(kRsaKey)); }},
};

// Runs in a process of its own, as the library's state is the process's.
bool RunAlone(const char* name, void (*run)()) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    current_call = name;
    run();
    _exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  if (status != 0) fprintf(stderr, "needs_recorder: %s ended with status %d\n", name, status);
  return status == 0;
}

void Prepare() {
  current_call = nullptr;
  ImportAes();
  ImportRsa();
  OpenFile(1);
  ORX_STORE_Write(bytes, 1, 16);
  ORX_STORE_Close(handle);
}

}  // namespace

int main() {
  // Standard output is for the records alone: one of the functions prints.
  record_fd = dup(STDOUT_FILENO);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  bool all_ran = RunAlone("preparation", Prepare);
  for (const Call& call : kCalls) {
    dprintf(record_fd, "%s\tcalled\t-\n", call.name);
    all_ran = RunAlone(call.name, call.run) && all_ran;
  }
  return all_ran ? 0 : 1;
}
