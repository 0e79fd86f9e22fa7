// modules_posix.cpp - the platform layer's shared libraries on POSIX systems:
// dlopen/dlsym/dlclose, with dlerror()'s text as the error.
#include <dlfcn.h>

#include <cstring>

#include "system/platform.h"

namespace kyr::plat {

// ============================================================ modules

const char* module_default_ext() {
#if defined(__APPLE__)
  return ".dylib";
#else
  return ".so";
#endif
}

// Symbols are bound at load, as the Windows loader does, so that a broken
// library fails here and not at its first call; they stay local to the
// library so that two plugins may export the same entry point.
void* module_open(const char* path_utf8) {
  return dlopen(path_utf8, RTLD_NOW | RTLD_LOCAL);
}

void* module_symbol(void* module, const char* name) { return dlsym(module, name); }

// dlclose(NULL) isn't defined; refuse it as FreeLibrary does.
bool module_close(void* module) { return module && dlclose(module) == 0; }

// dlerror() is per thread and reads once: the text is cleared by reading it.
// A cut falls back to the start of a UTF-8 sequence, so that a long path in
// the message doesn't end in half a character.
size_t module_error_text(char* buffer, size_t size) {
  if (!size) return 0;
  const char* text = dlerror();
  size_t len = text ? std::strlen(text) : 0;
  if (len >= size) {
    len = size - 1;
    while (len && (static_cast<unsigned char>(text[len]) & 0xC0) == 0x80) len--;
  }
  if (len) std::memcpy(buffer, text, len);
  buffer[len] = 0;
  return len;
}

}  // namespace kyr::plat
