/*
 * loader LIBRARY FUNCTION
 *
 * Prints how many nanoseconds it takes to load the library and to call the function, without
 * arguments, for the first time, with functions bound when they are called, as in a program that is
 * linked with it; and whether libsystemd is in the process then (2 as exit status).
 */
#define _POSIX_C_SOURCE 200809L
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

static int64_t Nanoseconds(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (int64_t)now.tv_sec * 1000000000 + now.tv_nsec;
}

int main(int argc, char** argv) {
  if (argc != 3) return 64;
  const int64_t start = Nanoseconds();
  void* library = dlopen(argv[1], RTLD_LAZY | RTLD_LOCAL);
  uint32_t (*function)(void) = NULL;
  if (library != NULL) *(void**)&function = dlsym(library, argv[2]);
  if (function == NULL || function() == 0) return 1;
  printf("%lld\n", (long long)(Nanoseconds() - start));
  return dlopen("libsystemd.so.0", RTLD_NOLOAD | RTLD_NOW) == NULL ? 0 : 2;
}
