// files_win32.cpp - the platform layer's files on Windows: UTF-8 paths are
// converted to UTF-16 and handed to the wide runtime calls, so that names
// beyond the active code page work; positions are 64-bit.
#include <sys/stat.h>
#include <sys/types.h>

#include <cstdio>
#include <cstring>

#include "core/kyr_alloc.h"
#include "system/platform.h"

namespace kyr::plat {

// ============================================================ helpers

namespace {

// A NUL-terminated UTF-16 copy of a UTF-8 text, freed by its owner; null when
// the text converts to nothing.
struct Wide {
  wchar_t* text = nullptr;
  explicit Wide(const char* u8) {
    size_t len = std::strlen(u8);
    size_t n = mbs_to_utf16(kCodePageUtf8, u8, len, nullptr, 0);
    if (!n) return;
    text = static_cast<wchar_t*>(xmalloc((n + 1) * sizeof(wchar_t)));
    mbs_to_utf16(kCodePageUtf8, u8, len, reinterpret_cast<uint16_t*>(text), n);
    text[n] = 0;
  }
  ~Wide() { std::free(text); }
  Wide(const Wide&) = delete;
  Wide& operator=(const Wide&) = delete;
};

}  // namespace

// ============================================================ files

FILE* open_file(const char* path_utf8, const char* mode) {
  Wide path(path_utf8), wmode(mode);
  if (!path.text || !wmode.text) return nullptr;
  FILE* file = nullptr;
  return _wfopen_s(&file, path.text, wmode.text) == 0 ? file : nullptr;
}

bool path_exists(const char* path_utf8) {
  Wide path(path_utf8);
  struct _stat64i32 st;
  return path.text && _wstat64i32(path.text, &st) == 0;
}

int seek_file(FILE* file, int64_t offset, int whence) {
  return _fseeki64(file, offset, whence);
}

int64_t tell_file(FILE* file) { return _ftelli64(file); }

}  // namespace kyr::plat
