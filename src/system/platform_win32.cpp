// platform_win32.cpp - the platform layer on Windows: code-page conversion.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <climits>

#include "system/platform.h"

namespace kyr::plat {

// ============================================================ code pages

// The Win32 calls take 32-bit counts; longer texts are outside their reach.
size_t mbs_to_utf16(uint32_t code_page, const char* src, size_t len,
                    uint16_t* dst, size_t dst_cap) {
  if (!src || !len || len > INT_MAX) return 0;
  int cap = dst ? static_cast<int>(dst_cap > INT_MAX ? INT_MAX : dst_cap) : 0;
  int n = MultiByteToWideChar(code_page, 0, src, static_cast<int>(len),
                              reinterpret_cast<wchar_t*>(dst), cap);
  return n > 0 ? static_cast<size_t>(n) : 0;
}

}  // namespace kyr::plat
