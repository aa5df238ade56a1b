// SPDX-License-Identifier: Apache-2.0
#include <android-base/file.h>
#include <android-base/unique_fd.h>
#include <android/binder_manager.h>
#include <android/log.h>
#include <cppbor.h>
#include <cppbor_parse.h>
#include <fcntl.h>
#include <keymint/ORX_KEYMINT.h>
#include <openssl/bn.h>
#include <openssl/ec_key.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <orx/orx.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

#include "bench/bench.h"
#include "bench/instant_device.h"
#include "common/secret.h"
#include "keymint/ORX_ATTEST_RKP.h"
#include "tests/support/certificate_builder.h"
#include "tests/support/maced_key.h"
#include "tests/support/scripted_modem.h"

namespace orx_bench {
namespace {

using namespace android::hardware::keymint::ORX;
using android::base::unique_fd;
using orx_common::Wiped;
using Bytes = std::vector<uint8_t>;
using Set = std::vector<km::KeyParameter>;

constexpr char kBlobFile[] = "/mnt/vendor/persist/security/zol_key_user0";  // of key id 50
constexpr char kRawFile[] = "/mnt/vendor/persist/security/raw";
const Bytes kBlob(300, 'b'), kNonce(16, 'n');

bool EncryptRaw(const Bytes& in, Bytes* out) {
  bssl::ScopedEVP_CIPHER_CTX context;
  int length = static_cast<int>(in.size());
  return EVP_EncryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, &kBlob[0], &kNonce[0]) &&
         EVP_EncryptUpdate(context.get(), out->data(), &length, in.data(), length);
}

// One message straight to the device: what no client can do without.
bool AskDevice(const AuthorizationSet& params, const std::optional<Bytes>& message, Bytes* output) {
  static const auto device = InstantDevice();
  km::BeginResult begun;
  return device->begin(km::KeyPurpose::SIGN, kBlob, params.vector_data(), {}, &begun).isOk() &&
         begun.operation->finish(message, Bytes(), {}, {}, {}, output).isOk();
}

void WritingLogger(const __android_logger_data* data, const char* message) {
  static const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dprintf(null, "%s D: %s\n", data->tag, message);
}

void AddMessages() {
  const AuthorizationSet params = AuthorizationSetBuilder()
                                      .BlockMode({km::BlockMode::CBC})
                                      .Authorization(TAG_NONCE, &kNonce[0], kNonce.size())
                                      .Padding(km::PaddingMode::NONE);
  for (const size_t size : {16, 256, 4096, 16384, 65536, 262144, 1048576}) {
    const Bytes in(size, 'x');
    const auto encrypt = [=, out = std::make_shared<Bytes>(size)] {
      auto length = static_cast<uint32_t>(size);
      return ORX_SYM_EncryptBegin(nullptr, &kNonce[0], 16, 0) == 0 &&
             ORX_SYM_Encrypt(nullptr, in.data(), out->data(), &length) == 0 &&
             ORX_SYM_EncryptEnd(nullptr) == 0;
    };
    const auto encrypt_in_device = [=] {
      OnFinish() = EncryptRaw;
      const bool done = encrypt();
      OnFinish() = nullptr;
      return done;
    };
    const auto encrypt_logged = [=](__android_logger_function logger) {
      __android_log_set_logger(logger);
      __android_log_set_minimum_priority(ANDROID_LOG_DEBUG);
      const bool done = encrypt();
      __android_log_set_minimum_priority(ANDROID_LOG_WARN);
      return done;
    };
    const auto use_service = [params, text = std::string(size, 'x')] {
      static KeyMintService service(false);
      std::string output;
      return service.Begin(km::KeyPurpose::SIGN, kBlob, params) == 0 &&
             service.Finish(text, "", &output) == 0;
    };
    const auto ask = [=, message = std::optional<Bytes>(in)] {
      Bytes output;
      return AskDevice(params, message, &output);
    };
    // The two copies that the interfaces on both sides dictate, wiped, and nothing else.
    const auto copy_and_ask = [=, out = Bytes(size)]() mutable {
      const Wiped<std::optional<Bytes>> message(std::in_place, in);
      Wiped<Bytes> answer;
      const bool done = AskDevice(params, *message, &*answer);
      std::copy_n((*answer).data(), size, out.data());
      return done;
    };
    const auto raw = [in, out = Bytes(size)]() mutable { return EncryptRaw(in, &out); };
    Compare("sym/message", size, encrypt, ask);
    Compare("sym/copies", size, copy_and_ask, ask);
    Compare("sym/aes-cbc", size, encrypt_in_device, raw);
    Compare("keymint/begin-finish", size, use_service, ask);
    if (size != 16) continue;
    const auto no_logger = [](const __android_logger_data*, const char*) {};
    Compare("sym/log-formatted", size, std::bind(encrypt_logged, no_logger), ask);
    Compare("sym/log-written", size, std::bind(encrypt_logged, WritingLogger), ask);
  }
  const auto sign = [message = Bytes(32), signature = Bytes(32)]() mutable {
    uint32_t length = 32;
    return ORX_RSA_Sign(50, &message[0], &signature[0], 32, &length, 2, 1) == 0;
  };
  const auto raw = [] {
    std::string blob;
    Bytes output;
    AuthorizationSetBuilder signing;
    signing.Digest(km::Digest::SHA_2_256).Padding(km::PaddingMode::RSA_PKCS1_1_5_SIGN);
    signing.Authorization(TAG_NO_AUTH_REQUIRED);
    return android::base::ReadFileToString(kBlobFile, &blob) &&
           AskDevice(signing, Bytes(32), &output);
  };
  Compare("rsa/sign", 32, sign, raw);
}

void AddDigests() {
  const EVP_MD* const kDigests[] = {EVP_sha1(), nullptr, EVP_sha256()};
  for (const size_t size : {64, 4096, 65536, 1048576}) {
    for (const uint32_t algorithm : {0, 2}) {
      const auto hash = [=, in = Bytes(size), out = Bytes(64)]() mutable {
        uint32_t length = 0;
        return ORX_HASH(algorithm, &in[0], in.size(), &out[0], &length) == 0;
      };
      const auto raw = [digest = kDigests[algorithm], in = Bytes(size), out = Bytes(64)]() mutable {
        unsigned length = 0;
        return EVP_Digest(&in[0], in.size(), &out[0], &length, digest, nullptr) == 1;
      };
      Compare(algorithm == 0 ? "hash/sha1" : "hash/sha256", size, hash, raw);
    }
  }
  for (const uint32_t size : {32, 256, 4096}) {
    const auto derive = [size, message = Bytes(52), out = Bytes(size)]() mutable {
      return ORX_LIB_KDF_Gen(1, 2, 32, &message[0], 16, &message[32], size, &out[0]) == 0;
    };
    const auto raw = [size, message = Bytes(52), out = Bytes(size)]() mutable {
      uint32_t length = 0, failed = 0;  // of the calls that it is made of
      for (uint32_t at = 0; at < size; at += 32)
        failed |= ORX_HASH(2, &message[0], 52, &out[at], &length);
      return failed == 0;
    };
    Compare("kdf/sha256", size, derive, raw);
  }
  for (const size_t size : {16, 4096}) {
    const auto ours = [out = Bytes(size)]() mutable {
      return ORX_RNG_GetBytes(&out[0], out.size()) == 0;
    };
    const auto raw = [out = Bytes(size)]() mutable { return RAND_bytes(&out[0], out.size()) == 1; };
    Compare("random", size, ours, raw);
  }
}

// `count` parameters in no order; of two sets of one size, half the elements are the same.
Set Parameters(size_t count, size_t first) {
  Set made;
  for (size_t i = first; i < first + count; ++i) {
    const auto value = static_cast<int32_t>((i * 2654435761u) % 1000003);
    made.push_back({i % 3 == 0 ? km::Tag::KEY_SIZE : km::Tag::MAC_LENGTH,
                    km::KeyParameterValue::make<km::KeyParameterValue::integer>(value)});
  }
  return made;
}

void AddSets() {
  enum Work { kSort, kDeduplicate, kUnion, kSubtract };
  const std::pair<Work, const char*> works[] = {{kSort, "sets/sort"},
                                                {kDeduplicate, "sets/unique"},
                                                {kUnion, "sets/union"},
                                                {kSubtract, "sets/subtract"}};
  for (const size_t size : {10, 100, 1000, 10000}) {
    const Set a = Parameters(size, 0), b = Parameters(size, size / 2);
    for (const auto& [work, name] : works) {
      const auto ours = [=, work = work] {
        AuthorizationSet set(a), other(b);
        if (work == kSort) set.Sort();
        if (work == kDeduplicate) set.Deduplicate();
        if (work == kUnion) set.Union(other);
        if (work == kSubtract) set.Subtract(other);
        return !set.empty();
      };
      const auto raw = [=, work = work] {
        Set set = a, other = b, kept;
        if (work == kUnion) set.insert(set.end(), other.begin(), other.end());
        std::sort(set.begin(), set.end());
        const auto first = std::make_move_iterator(set.begin());
        const auto last = std::make_move_iterator(set.end());
        const auto out = std::back_inserter(kept);
        if (work == kDeduplicate || work == kUnion) std::unique_copy(first, last, out);
        if (work != kSubtract) return true;
        std::sort(other.begin(), other.end());
        std::set_difference(first, last, other.begin(), other.end(), out);
        return !kept.empty();
      };
      Compare(name, size, ours, raw);
    }
  }
}

bool VerifyOnce(const std::vector<km::Certificate>& chain) {
  std::vector<bssl::UniquePtr<X509>> parsed;
  bool good = true;
  for (const auto& each : chain) parsed.push_back(legacy::parse_cert_blob(each.encodedCertificate));
  for (size_t i = 0; i < parsed.size(); ++i) {
    X509* const signer = parsed[std::min(i + 1, parsed.size() - 1)].get();
    const bssl::UniquePtr<EVP_PKEY> key(X509_get_pubkey(signer));
    good = good && X509_verify(parsed[i].get(), key.get()) == 1;
  }
  return good;
}

void AddCertificates() {
  const std::tuple<const char*, int, int> kinds[] = {
      {"chain/rsa-4096", EVP_PKEY_RSA, 4096},
      {"chain/rsa-2048", EVP_PKEY_RSA, 2048},
      {"chain/p-256", EVP_PKEY_EC, NID_X9_62_prime256v1},
      {"chain/p-384", EVP_PKEY_EC, NID_secp384r1}};
  for (const auto& [name, type, bits_or_curve] : kinds) {
    EVP_PKEY* const key = orx_test::Key(type, bits_or_curve, 0);
    for (const unsigned length : {4, 5}) {
      const auto chain = orx_test::MakeChain(orx_test::ChainFields({length, key}));
      const auto ours = [=] { return legacy::verify_chain(chain, length, true); };
      Compare(name, length, ours, [=] { return VerifyOnce(chain); });
    }
  }
  const km::MacedPublicKey maced = {orx_test::MacedKey(orx_test::CoseKey(orx_test::EcKey(0)))};
  const auto ours = [=] {
    Bytes payload;
    RKP::PublicKeyPtr key;
    return RKP::check_maced_pubkey(maced, &payload) && RKP::p256_pub_key(payload, &key);
  };
  const auto raw = [=] {  // parsing what must be parsed, and the key made of its point
    const auto mac0 = cppbor::parse(maced.macedKey);
    const auto item = cppbor::parse(std::get<0>(mac0)->asArray()->get(2)->asBstr());
    const auto number = [map = std::get<0>(item)->asMap()](int label) {
      const Bytes& bytes = map->get(label)->asBstr()->value();
      return bssl::UniquePtr<BIGNUM>(BN_bin2bn(bytes.data(), bytes.size(), nullptr));
    };
    const bssl::UniquePtr<EC_KEY> ec(EC_KEY_new_by_curve_name(NID_X9_62_prime256v1));
    const auto set = EC_KEY_set_public_key_affine_coordinates;
    return set(ec.get(), number(-2).get(), number(-3).get()) == 1;
  };
  Compare("cose/key", 1, ours, raw);
}

bool WriteFile(const char* path, bool sync) {
  const unique_fd fd(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  const bool written = write(fd.get(), &kBlob[0], kBlob.size()) == ssize_t(kBlob.size());
  return written && (!sync || fsync(fd.get()) == 0);
}

void AddFiles() {
  const auto load_raw = [] {
    struct stat status {};
    const unique_fd fd(open(kBlobFile, O_RDONLY | O_CLOEXEC));
    fstat(fd.get(), &status);
    Bytes bytes(static_cast<size_t>(status.st_size));
    return read(fd.get(), bytes.data(), bytes.size()) == status.st_size;
  };
  const auto write = [] {
    uint32_t handle;
    return ORX_STORE_Open(1, &handle, 1) == 0 && ORX_STORE_Write(&kBlob[0], 1, kBlob.size()) == 0 &&
           ORX_STORE_Close(0) == 0;
  };
  const auto store = [] { return store_key_blob(51, kBlob) == 0; };
  Compare(
      "file/blob-load", 300, [] { return !load_key_blob(50).empty(); }, load_raw);
  Compare("file/blob-store", 300, store, std::bind(WriteFile, kRawFile, true));
  Compare("file/store-write", 300, write, std::bind(WriteFile, kRawFile, false));
}

void AddModem() {
  static orx_test::ScriptedModem modem(orx_test::ScriptedModem::Answers("+EGMR: \"0123456789\""));
  static std::string response(ORX_MODEM_RESPONSE_MAX, 0);
  const auto ours = [] { return ORX_communicate_with_modem("AT+EGMR=0,7", &response[0]) == 0; };
  const auto raw = [] {
    const sockaddr_un to = {AF_UNIX, "/dev/socket/rild-oem"};
    const unique_fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const char request[] = "\1\0\0\0\13\0\0\0AT+EGMR=0,7";
    return connect(fd.get(), reinterpret_cast<const sockaddr*>(&to), sizeof(to)) == 0 &&
           send(fd.get(), request, sizeof(request) - 1, 0) > 0 &&
           recv(fd.get(), &response[0], response.size(), 0) > 0;
  };
  Compare("modem/exchange", 1, ours, raw);
}

}  // namespace

void AddLibrary() {
  InstantDevice();
  __android_log_set_minimum_priority(ANDROID_LOG_WARN);
  struct _ORX_SYM_CONTEXT_S* context = nullptr;
  Must(WriteFile(kBlobFile, false) && ORX_SYM_GetContextForID(&context, 50) == 0, kBlobFile);
  AddMessages();
  AddDigests();
  AddSets();
  AddCertificates();
  AddFiles();
  AddModem();
}

}  // namespace orx_bench
