// platform.h - the one internal interface to the operating system.
//
// Portable code calls only these functions and the standard runtime. Each
// platform implements them in files of its own, named *_posix.cpp and
// *_win32.cpp (one file per service group), and the build picks one set. No
// other file includes an operating-system header.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace kyr::plat {

// ------------------------------------------------------------ code pages
// platform_posix.cpp / platform_win32.cpp
//
// Code page numbers are the Windows identifiers: 0 the active code page,
// 65001 UTF-8, others by number. On POSIX the active code page is
// Windows-1252, fixed, so that any byte string converts; no locale or
// environment is consulted. Other numbers go through iconv's "CP<n>".

constexpr uint32_t kCodePageActive = 0;
constexpr uint32_t kCodePageUtf8 = 65001;

// Converts `len` bytes of text in `code_page` to UTF-16 units. With a null
// `dst` only measures. Returns the units written (or needed); 0 when the code
// page is unknown or the text converts to nothing. Never writes more than
// `dst_cap` units: when the output doesn't fit, the result is 0, as with the
// Win32 call. Bytes that don't decode in the code page become U+FFFD.
size_t mbs_to_utf16(uint32_t code_page, const char* src, size_t len,
                    uint16_t* dst, size_t dst_cap);

// ------------------------------------------------------------ files
// files_posix.cpp / files_win32.cpp
//
// Paths arrive as UTF-8 (the text gate has run); POSIX passes them to
// fopen/stat as they are, Win32 converts them to UTF-16.

// Opens a file with a C mode string; null on failure (errno as left).
FILE* open_file(const char* path_utf8, const char* mode);

// True when the path names anything that exists, directories included.
bool path_exists(const char* path_utf8);

// 64-bit positions: fseeko/ftello (POSIX), _fseeki64/_ftelli64 (Win32).
int seek_file(FILE* file, int64_t offset, int whence);
int64_t tell_file(FILE* file);

// ------------------------------------------------------------ system
// system_posix.cpp / system_win32.cpp

// Free-running millisecond counter, wrapping at 2^32.
uint32_t tick_counter_ms();

// Asks for a timer period in whole milliseconds; 0 on success.
uint32_t set_timer_period_ms(uint32_t period_ms);

// Physical cores (hyper-threads don't count); 0 when unknown.
int32_t physical_core_count();

// Size of standard output's console in character cells; false when there is
// none.
bool console_cells(int16_t* width, int16_t* height);

// Tells the system that a large block about to be filled whole is better
// backed by large pages: Linux maps the 2 MiB-aligned part of it that way,
// when transparent huge pages are on (one fault per 2 MiB instead of per 4
// KiB). A hint only: nothing happens elsewhere, or when it is refused.
void advise_large_pages(void* block, size_t bytes);

// ------------------------------------------------------------ modules
// modules_posix.cpp / modules_win32.cpp

// The platform's shared-library extension: ".so", ".dll" or ".dylib".
const char* module_default_ext();

// Loads a shared library by UTF-8 path; null on failure.
void* module_open(const char* path_utf8);

// Address of an entry point, or null.
void* module_symbol(void* module, const char* name);

// Releases a library; true on success.
bool module_close(void* module);

// Text of the calling thread's last module error, as UTF-8 bytes written into
// `buffer` (NUL-terminated, cut to fit); returns the byte length written.
size_t module_error_text(char* buffer, size_t size);

}  // namespace kyr::plat
