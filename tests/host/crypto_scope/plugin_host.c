/* SPDX-License-Identifier: Apache-2.0
 * A program that loads OpenSSL for everybody and then the client as a plugin.
 * usage: plugin_host OPENSSL_LIBRARY PLUGIN */
#include <dlfcn.h>
#include <stdio.h>

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  void* const openssl = dlopen(argv[1], RTLD_NOW | RTLD_GLOBAL);
  void* const plugin = openssl == NULL ? NULL : dlopen(argv[2], RTLD_NOW | RTLD_LOCAL);
  int (*const run)(void) = plugin == NULL ? NULL : (int (*)(void))dlsym(plugin, "RunClient");
  if (run == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    return 2;
  }
  return run();
}
