// files_posix.cpp - the platform layer's files on POSIX systems: UTF-8 paths
// go to fopen and stat as they are, positions are 64-bit through
// fseeko/ftello.
#include <sys/stat.h>

#include <cstdio>

#include "system/platform.h"

static_assert(sizeof(off_t) == 8, "64-bit file positions");

namespace kyr::plat {

// ============================================================ files

FILE* open_file(const char* path_utf8, const char* mode) {
  return std::fopen(path_utf8, mode);
}

bool path_exists(const char* path_utf8) {
  struct stat st;
  return ::stat(path_utf8, &st) == 0;
}

int seek_file(FILE* file, int64_t offset, int whence) {
  return ::fseeko(file, static_cast<off_t>(offset), whence);
}

int64_t tell_file(FILE* file) { return static_cast<int64_t>(::ftello(file)); }

}  // namespace kyr::plat
