// modules_win32.cpp - the platform layer's shared libraries on Windows:
// LoadLibraryW with a UTF-16 path, and the system's text for the last error.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cstdlib>
#include <cstring>

#include "core/kyr_alloc.h"
#include "system/platform.h"
#include "text/utf8.h"

namespace kyr::plat {

// ============================================================ modules

const char* module_default_ext() { return ".dll"; }

void* module_open(const char* path_utf8) {
  size_t len = std::strlen(path_utf8);
  size_t n = mbs_to_utf16(kCodePageUtf8, path_utf8, len, nullptr, 0);
  if (!n) return nullptr;
  auto* wide = static_cast<wchar_t*>(xmalloc((n + 1) * sizeof(wchar_t)));
  mbs_to_utf16(kCodePageUtf8, path_utf8, len, reinterpret_cast<uint16_t*>(wide), n);
  wide[n] = 0;
  HMODULE module = LoadLibraryW(wide);
  std::free(wide);
  return module;
}

void* module_symbol(void* module, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

bool module_close(void* module) { return FreeLibrary(static_cast<HMODULE>(module)) != 0; }

// The calling thread's last error in the system's default language, line end
// included as the system writes it; cut at a whole unit to fit.
size_t module_error_text(char* buffer, size_t size) {
  if (!size) return 0;
  buffer[0] = 0;
  DWORD code = GetLastError();
  wchar_t* message = nullptr;
  DWORD units = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                   FORMAT_MESSAGE_IGNORE_INSERTS,
                               nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                               reinterpret_cast<wchar_t*>(&message), 0, nullptr);
  if (!units || !message) return 0;
  // At most 3 bytes per unit; keep only as many units as surely fit.
  size_t keep = units < (size - 1) / 3 ? units : (size - 1) / 3;
  if (keep && message[keep - 1] >= 0xD800 && message[keep - 1] < 0xDC00) keep--;
  size_t len = utf16_to_utf8_lenient(reinterpret_cast<const uint16_t*>(message), keep, buffer);
  buffer[len] = 0;
  LocalFree(message);
  return len;
}

}  // namespace kyr::plat
