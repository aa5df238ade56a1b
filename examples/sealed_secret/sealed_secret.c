/* SPDX-License-Identifier: Apache-2.0 */
/*
 * A daemon that keeps a secret of 32 bytes across restarts, sealed under a key of the secure
 * hardware.
 *
 *   sealed_secret provision   makes key and secret; once, where the device is made
 *   sealed_secret show        opens the secret and prints the public id that is derived from it
 *   sealed_secret serve       the same, and then keeps the secret until SIGTERM
 *
 * Exit codes (sysexits.h): 0 done, 64 usage, 65 the sealed secret is damaged, 71 nothing random or
 * a digest or derivation failed, 73 there is a secret already, 74 a file cannot be read or written,
 * 75 the secure hardware does not answer: start the daemon again later.
 *
 * Two copies of the sealed secret are kept, as a write to a file of the store is neither atomic nor
 * synced. A copy is the IV (16 bytes) and the ciphertext of the secret and its SHA-256; the digest
 * finds damage, not forgery.
 */
#include <orx/orx.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <sysexits.h>
#include <time.h>
#include <unistd.h>

enum {
  KEY_ID = 50,
  AES = 0,
  CBC = 0,
  SHA256 = 2,
  FIRST_FILE = 100, /* files 100.bin and 101.bin of the store */
  COPIES = 2,
  KEY_SIZE = 16,
  IV_SIZE = 16,
  SECRET_SIZE = 32,
  TEXT_SIZE = SECRET_SIZE + 32, /* a multiple of the block size, 16: there is no padding */
  SEALED_SIZE = IV_SIZE + TEXT_SIZE,
  ATTEMPTS = 3
};

static void say(const char* what) {
  fprintf(stderr, "sealed_secret: %s\n", what);
}

static int fail(int exit_code, const char* what) {
  say(what);
  return exit_code;
}

/* A compiler may leave out a memset() of what is not read again. */
static void wipe(void* bytes, size_t length) {
  volatile uint8_t* const b = bytes;
  for (size_t i = 0; i < length; ++i) b[i] = 0;
}

/* Returns 0, or 1 when the hardware did not do it in three attempts. An operation is gone once it
 * failed, so each attempt begins anew. */
static int crypt_text(int encrypt, const uint8_t* iv, const uint8_t* input, uint8_t* output) {
  const struct timespec pause = {0, 200 * 1000 * 1000};

  for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
    uint32_t length = TEXT_SIZE;
    if (attempt > 0) nanosleep(&pause, NULL);
    if (encrypt) {
      if (ORX_SYM_EncryptBegin(NULL, iv, IV_SIZE, CBC) == 0 &&
          ORX_SYM_Encrypt(NULL, input, output, &length) == 0) {
        return 0;
      }
    } else if (ORX_SYM_DecryptBegin(NULL, iv, IV_SIZE, CBC) == 0 &&
               ORX_SYM_Decrypt(NULL, input, output, &length) == 0) {
      return 0;
    }
  }
  return 1;
}

/* Returns 0, or 1 when the file is missing, unreadable or of another size. */
static int read_copy(int file, uint8_t sealed[SEALED_SIZE]) {
  uint32_t handle, size = 0;
  int failed;

  if (ORX_STORE_Open(file, &handle, 0) != 0) return 1;
  failed = ORX_STORE_Size(handle, &size) != 0 || size != SEALED_SIZE ||
           ORX_STORE_Read(sealed, 1, SEALED_SIZE) != 0;
  return ORX_STORE_Close(handle) != 0 || failed;
}

/* Returns 0, or 1 with no file left. What was written is known only when Close succeeded. */
static int write_copy(int file, const uint8_t sealed[SEALED_SIZE]) {
  uint32_t handle;
  int failed;

  if (ORX_STORE_Open(file, &handle, 1) != 0) return 1;
  failed = ORX_STORE_Write(sealed, 1, SEALED_SIZE) != 0;
  if (ORX_STORE_Close(handle) != 0 || failed) {
    ORX_STORE_Delete(file); /* may fail: a file of a wrong size is no copy either */
    return 1;
  }
  sync();
  return 0;
}

/* Returns 0, or 1 when the digest is not that of the secret. */
static int check_text(const uint8_t text[TEXT_SIZE]) {
  uint8_t digest[64];
  uint32_t length;

  return ORX_HASH(SHA256, text, SECRET_SIZE, digest, &length) != 0 ||
         memcmp(digest, text + SECRET_SIZE, TEXT_SIZE - SECRET_SIZE) != 0;
}

/* Imports a new random key, which nobody else ever sees. */
static int make_key(void) {
  uint8_t key[KEY_SIZE];
  ORX_SYM_CONTEXT* context;
  int exit_code = 0;

  if (ORX_RNG_GetBytes(key, sizeof key) != 0) return fail(EX_OSERR, "no random bytes");
  if (ORX_SYM_ImportProtectedKey(AES, KEY_ID, key, sizeof key, &context) != 0) {
    exit_code = fail(EX_TEMPFAIL, "the secure hardware took no key, or its blob was not stored");
  }
  wipe(key, sizeof key);
  return exit_code;
}

static int make_secret(uint8_t sealed[SEALED_SIZE]) {
  uint8_t text[TEXT_SIZE];
  uint32_t length;
  int exit_code = 0;

  if (ORX_RNG_GetBytes(text, SECRET_SIZE) != 0 || ORX_RNG_GetBytes(sealed, IV_SIZE) != 0) {
    exit_code = fail(EX_OSERR, "no random bytes");
  } else if (ORX_HASH(SHA256, text, SECRET_SIZE, text + SECRET_SIZE, &length) != 0) {
    exit_code = fail(EX_OSERR, "no digest");
  } else if (crypt_text(1, sealed, text, sealed + IV_SIZE) != 0) {
    exit_code = fail(EX_TEMPFAIL, "the secure hardware does not encrypt");
  }
  wipe(text, sizeof text);
  return exit_code;
}

static int provision(void) {
  uint8_t sealed[SEALED_SIZE];
  uint32_t handle;
  int exit_code;

  for (int i = 0; i < COPIES; ++i) {
    if (ORX_STORE_Open(FIRST_FILE + i, &handle, 0) == 0) {
      ORX_STORE_Close(handle);
      return fail(EX_CANTCREAT, "there is a secret already; nothing was changed");
    }
  }
  exit_code = make_key();
  if (exit_code == 0) exit_code = make_secret(sealed);
  for (int i = 0; exit_code == 0 && i < COPIES; ++i) {
    if (write_copy(FIRST_FILE + i, sealed) == 0) continue;
    for (int j = 0; j < i; ++j) ORX_STORE_Delete(FIRST_FILE + j);
    exit_code = fail(EX_IOERR, "the sealed secret was not stored");
  }
  return exit_code;
}

/* Opens the first copy that is whole into `secret`; one in front of it that is not is replaced. */
static int unseal(uint8_t secret[SECRET_SIZE]) {
  uint8_t sealed[SEALED_SIZE], text[TEXT_SIZE];
  ORX_SYM_CONTEXT* context;
  int exit_code = EX_IOERR, damaged = 0;

  if (ORX_SYM_GetContextForID(&context, KEY_ID) != 0) return fail(EX_IOERR, "there is no key");
  for (int i = 0; i < COPIES && exit_code == EX_IOERR; ++i) {
    if (read_copy(FIRST_FILE + i, sealed) != 0) continue;
    if (crypt_text(0, sealed, sealed + IV_SIZE, text) != 0) {
      exit_code = fail(EX_TEMPFAIL, "the secure hardware does not decrypt");
    } else if (check_text(text) != 0) {
      damaged = 1;
    } else {
      memcpy(secret, text, SECRET_SIZE);
      exit_code = 0;
      for (int j = 0; j < i; ++j) {
        say(write_copy(FIRST_FILE + j, sealed) == 0 ? "a damaged copy was replaced"
                                                    : "a damaged copy cannot be replaced");
      }
    }
  }
  wipe(text, sizeof text);
  if (exit_code != EX_IOERR) return exit_code;
  return damaged ? fail(EX_DATAERR, "the sealed secret is damaged")
                 : fail(EX_IOERR, "no copy of the sealed secret can be read");
}

/* What a daemon does with its secret: it derives from it, a purpose each. */
static int print_id(const uint8_t secret[SECRET_SIZE]) {
  static const uint8_t purpose[] = "public id";
  uint8_t id[8];

  if (ORX_KDF_Gen(1, 0, SECRET_SIZE, secret, sizeof purpose - 1, purpose, sizeof id, id) != 0) {
    return fail(EX_OSERR, "no derivation");
  }
  for (size_t i = 0; i < sizeof id; ++i) printf("%02x", id[i]);
  return printf("\n") < 0 || fflush(stdout) != 0 ? fail(EX_IOERR, "standard output failed") : 0;
}

int main(int argc, char** argv) {
  const char* const command = argc == 2 ? argv[1] : "";
  uint8_t secret[SECRET_SIZE] = {0};
  sigset_t ending;
  int number, exit_code;

  umask(077); /* the store's files are the daemon's alone */
  if (strcmp(command, "provision") == 0) return provision();
  if (strcmp(command, "show") != 0 && strcmp(command, "serve") != 0) {
    return fail(EX_USAGE, "usage: sealed_secret provision|show|serve");
  }
  sigemptyset(&ending);
  sigaddset(&ending, SIGTERM);
  sigaddset(&ending, SIGINT);
  if (sigprocmask(SIG_BLOCK, &ending, NULL) != 0) return fail(EX_OSERR, "signals");

  exit_code = unseal(secret);
  if (exit_code == 0) exit_code = print_id(secret);
  if (exit_code == 0 && strcmp(command, "serve") == 0) sigwait(&ending, &number);
  wipe(secret, sizeof secret);
  return exit_code;
}
