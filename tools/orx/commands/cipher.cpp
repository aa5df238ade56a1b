// SPDX-License-Identifier: Apache-2.0
#include <malloc.h>
#include <orx/orx.h>
#include <string.h>

#include <algorithm>

#include "tools/orx/cli/files.h"
#include "tools/orx/cli/progress.h"
#include "tools/orx/commands/command_tables.h"
#include "tools/orx/commands/common_options.h"
#include "tools/orx/commands/padding.h"
#include "tools/orx/commands/slot_argument.h"
#include "tools/orx/diagnosis/library_log.h"

namespace orx_tool {
namespace {

// One call carries its whole message through binder, whose buffer is 1 MiB for all that a process
// has under way. Pieces beyond this size gain nothing and leave the processor's cache. A multiple
// of the block size.
constexpr size_t kPieceBytes = 128UL * 1024;
constexpr int kModeCbc = 0;

enum class Direction { kEncrypt, kDecrypt };

// CbcStream runs a message of any length through the key in pieces: the last ciphertext block of
// one piece is the IV of the next, which gives the same bytes as one long message.
class CbcStream {
 public:
  CbcStream(Direction direction, const uint8_t* iv) : direction_(direction) {
    memcpy(iv_, iv, sizeof(iv_));
  }

  // Transform processes `size` bytes, a multiple of the block size.
  bool Transform(const uint8_t* input, uint8_t* output, size_t size) {
    const bool encrypt = direction_ == Direction::kEncrypt;
    auto length = static_cast<uint32_t>(size);
    ClearLibraryLog();
    if ((encrypt ? ORX_SYM_EncryptBegin : ORX_SYM_DecryptBegin)(nullptr, iv_, sizeof(iv_),
                                                                kModeCbc) != 0) {
      return false;
    }
    if ((encrypt ? ORX_SYM_Encrypt : ORX_SYM_Decrypt)(nullptr, input, output, &length) != 0) {
      return false;
    }
    memcpy(iv_, (encrypt ? output : input) + size - sizeof(iv_), sizeof(iv_));
    return (encrypt ? ORX_SYM_EncryptEnd : ORX_SYM_DecryptEnd)(nullptr) == 0;
  }

 private:
  Direction direction_;
  uint8_t iv_[kAesBlockBytes];
};

// PieceReader hands the input out in pieces of kPieceBytes and knows which one is the last.
class PieceReader {
 public:
  explicit PieceReader(Input& input)
      : input_(input),
        current_(kPieceBytes + kAesBlockBytes),
        next_(kPieceBytes + kAesBlockBytes) {}

  bool Start(std::optional<Problem>* problem) { return Fill(problem); }
  // Next makes the following piece current. The buffer has room for a block of padding behind it.
  bool Next(std::optional<Problem>* problem) {
    std::swap(current_, next_);
    size_ = next_size_;
    return Fill(problem);
  }
  uint8_t* bytes() { return current_.data(); }
  size_t size() const { return size_; }
  bool is_last() const { return next_size_ == 0; }

 private:
  bool Fill(std::optional<Problem>* problem) {
    const ssize_t got = input_.ReadFully(next_.data(), kPieceBytes, problem);
    next_size_ = static_cast<size_t>(std::max<ssize_t>(got, 0));
    return got >= 0;
  }

  Input& input_;
  SecretBytes current_;
  SecretBytes next_;
  size_t size_ = 0;
  size_t next_size_ = 0;
};

// Job is one encryption or decryption on its way.
struct Job {
  const Slot& slot;
  bool padding;
  Input& input;
  FileOutput& file;
  Output& output;
  uint64_t bytes_in = 0;
  uint64_t bytes_out = 0;
};

Problem CallProblem(const Job& job) {
  return DiagnoseStorage(LibraryLogLines(), job.slot.path());
}

bool Put(Job& job, const uint8_t* bytes, size_t size, std::optional<Problem>* problem) {
  job.bytes_out += size;
  return job.file.Write(bytes, size, problem);
}

std::optional<Problem> EncryptAll(Job& job) {
  std::optional<Problem> problem;
  uint8_t iv[kAesBlockBytes];
  if (ORX_RNG_GetBytes(iv, sizeof(iv)) != 0) {
    return MakeProblem("CRYPTO-LIBRARY", "no random bytes for the IV");
  }
  PieceReader reader(job.input);
  CbcStream stream(Direction::kEncrypt, iv);
  SecretBytes result(kPieceBytes + kAesBlockBytes);
  Progress progress(job.output, job.input.size());
  if (!reader.Start(&problem)) return problem;
  do {
    const bool first = job.bytes_in == 0;
    if (!reader.Next(&problem)) return problem;
    size_t size = reader.size();
    job.bytes_in += size;
    if (reader.is_last() && job.padding) size = AddPadding(reader.bytes(), size);
    if (size % kAesBlockBytes != 0) {
      return MakeProblem("INPUT-NOT-ALIGNED",
                         "the input has " + std::to_string(job.bytes_in) +
                             " bytes; without padding it must be a multiple of 16");
    }
    const bool transformed = size == 0 || stream.Transform(reader.bytes(), result.data(), size);
    if (!transformed) return CallProblem(job);
    // Nothing goes out before the key was seen to work.
    if (first && !Put(job, iv, sizeof(iv), &problem)) return problem;
    if (!Put(job, result.data(), size, &problem)) return problem;
    progress.Advance(reader.size());
  } while (!reader.is_last());
  return problem;
}

Problem LengthProblem(const std::string& what) {
  return MakeProblem("CIPHERTEXT-LENGTH", "the ciphertext " + what);
}

std::optional<Problem> DecryptAll(Job& job) {
  std::optional<Problem> problem;
  uint8_t iv[kAesBlockBytes];
  const ssize_t got = job.input.ReadFully(iv, sizeof(iv), &problem);
  if (problem) return problem;
  if (got < static_cast<ssize_t>(sizeof(iv))) {
    return LengthProblem("has " + std::to_string(got) + " bytes, less than its IV");
  }
  PieceReader reader(job.input);
  CbcStream stream(Direction::kDecrypt, iv);
  SecretBytes result(kPieceBytes);
  Progress progress(job.output, job.input.size());
  progress.Advance(sizeof(iv));
  job.bytes_in = sizeof(iv);
  if (!reader.Start(&problem)) return problem;
  if (reader.is_last() && job.padding) return LengthProblem("ends after its IV");
  while (!reader.is_last()) {
    if (!reader.Next(&problem)) return problem;
    size_t size = reader.size();
    job.bytes_in += size;
    if (size % kAesBlockBytes != 0) {
      return LengthProblem("has " + std::to_string(job.bytes_in) +
                           " bytes, no multiple of 16: it is cut short or damaged");
    }
    if (!stream.Transform(reader.bytes(), result.data(), size)) return CallProblem(job);
    if (reader.is_last() && job.padding) {
      const auto padding = PaddingLength(result.data(), size);
      if (!padding) {
        return MakeProblem("PADDING-WRONG", "wrong padding: another key, or changed data");
      }
      size -= *padding;
    }
    if (!Put(job, result.data(), size, &problem)) return problem;
    progress.Advance(reader.size());
  }
  return problem;
}

bool SelectKey(const Slot& slot) {
  ORX_SYM_CONTEXT* context = nullptr;
  ClearLibraryLog();
  return ORX_SYM_GetContextForID(&context, slot.key_id) == 0;
}

// KeepMemory has the allocator keep what one call returns for the next one. Each call uses several
// buffers of a piece's size, which would else go back to the system and be faulted in again.
void KeepMemory() {
#ifdef M_TRIM_THRESHOLD  // glibc; others keep memory by themselves
  mallopt(M_MMAP_THRESHOLD, 16 * static_cast<int>(kPieceBytes));
  mallopt(M_TRIM_THRESHOLD, 64 * static_cast<int>(kPieceBytes));
#endif
}

int RunCipher(Direction direction, const Args& args, Output& output) {
  std::optional<Problem> problem;
  const Slot* slot = ParseSlot(args.operands()[0], &problem);
  if (slot == nullptr) return output.Fail(*problem);
  const std::string target = args.Get("output", "-");
  if (output.json() && target == "-") {
    return output.Fail(MakeProblem("USAGE", "--json needs -o FILE: standard output carries JSON"));
  }
  Input input(args.Get("input", "-"), &problem);
  if (problem) return output.Fail(*problem);
  if (!SelectKey(*slot)) return output.Fail(DiagnoseStorage(LibraryLogLines(), slot->path()));

  KeepMemory();
  const bool encrypt = direction == Direction::kEncrypt;
  FileOutput file(target, encrypt ? Privacy::kPublic : Privacy::kSecret, &problem);
  if (problem) return output.Fail(*problem);
  Job job = {*slot, !args.Has("no-padding"), input, file, output};
  problem = encrypt ? EncryptAll(job) : DecryptAll(job);
  if (!problem) file.Commit(&problem);
  if (problem) return output.Fail(*problem);
  output.answer()["key_id"] = slot->key_id;
  output.answer()["output"] = target;
  output.answer()["bytes_in"] = static_cast<Json::UInt64>(job.bytes_in);
  output.answer()["bytes_out"] = static_cast<Json::UInt64>(job.bytes_out);
  return output.Succeed();
}

int RunEncrypt(const Args& args, Output& output) {
  return RunCipher(Direction::kEncrypt, args, output);
}

int RunDecrypt(const Args& args, Output& output) {
  return RunCipher(Direction::kDecrypt, args, output);
}

}  // namespace

std::vector<Command> CipherCommands() {
  return {
      {"encrypt",
       "ID",
       1,
       1,
       "encrypt with the AES key of a slot",
       "AES-128-CBC with PKCS#7 padding. The output is the random IV, 16 bytes, and then the\n"
       "ciphertext. Any length goes through in constant memory.\n",
       {kInput, kOutput, {"no-padding", 0, nullptr, "the input is a multiple of 16 bytes"}},
       RunEncrypt},
      {"decrypt",
       "ID",
       1,
       1,
       "decrypt what encrypt wrote",
       "A file named with -o appears only when everything was decrypted and the padding is right.\n"
       "On standard output text comes out before the end is seen: mind the exit code.\n",
       {kInput, kOutput, {"no-padding", 0, nullptr, "the text was encrypted without padding"}},
       RunDecrypt},
  };
}

}  // namespace orx_tool
