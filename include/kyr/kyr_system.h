/*
 * kyr_system.h - services of the operating system: the library's version, a
 * millisecond tick clock, the number of processor cores, the console size and
 * the loading of shared libraries.
 *
 * Ticks: a tick is a u32 count of milliseconds since the tick origin
 * (tick_start). The counter wraps every 2^32 ms (some 49.7 days); all tick
 * arithmetic is unsigned and modulo 2^32, so a difference stays right across
 * a wrap as long as the span is shorter than that. The origin is the one
 * process-wide variable here, a plain u32 that starts at 0: set it with
 * tick_set_start at start-up, before several threads use the clock.
 *
 * Modules: a module handle is opaque; it lives from load_library or
 * open_module until close_library. Paths are UTF-8 or local-encoding text
 * and pass the text gate. On POSIX a name without '/' is searched the way
 * the system loader searches (not in the current directory).
 *
 * No locks. Only open_module logs (module "src/system/kyr_mod").
 */
#ifndef KYR_SYSTEM_H
#define KYR_SYSTEM_H

#include "kyr_geometry.h"
#include "kyr_ustr.h"

KYR_EXTERN_C_BEGIN

/* The constant 0x217D0216. An opaque build identifier: compare it for
 * equality, don't take it apart. */
KYR_API u32_t kyr_core_version(void);

/* Asks the system for a timer resolution of resolution_us microseconds,
 * rounded down to whole milliseconds, at least 1. Returns the system's code,
 * 0 on success (POSIX timers need no request: always 0). The request is
 * never withdrawn. */
KYR_API u32_t tick_set_resolution(u32_t resolution_us);

/* Sets the tick origin to the present counter on the first call and returns
 * it; later calls change nothing and return the same origin. Not
 * thread-safe: call it at start-up. */
KYR_API u32_t tick_set_start(void);

/* The tick origin: 0 until tick_set_start, when ticks are the raw counter. */
KYR_API u32_t tick_get_start(void);

/* The present tick: counter minus origin, modulo 2^32. */
KYR_API u32_t tick_now(void);

/* Milliseconds from the tick `earlier` until now, modulo 2^32. */
KYR_API u32_t tick_diff(u32_t earlier);

/* Milliseconds since the tick stored at *tick, which then becomes the
 * present tick. A null pointer stores nothing and returns the present tick
 * (as if 0 were stored). */
KYR_API u32_t tick_update(u32_t* tick);

/* Physical processor cores (hyper-threads don't add to the count); 0 when
 * the system doesn't tell. Queries the system on every call. */
KYR_API i32_t get_num_of_cpu_cores(void);

/* Size in character cells of standard output's console (on Windows the
 * screen buffer, scroll-back included); 80 x 20 when standard output is no
 * console or its size is unknown. */
KYR_API size2_i16 get_console_size(void);

/* Loads a shared library. Returns its handle, or null when path is null or
 * empty (no load is tried) or the load fails. When the handle is null and
 * error is not null, the string *error holds is released and replaced by the
 * system's text for the calling thread's last loader error (a new string the
 * caller owns; null when the system has none). On success *error is left
 * alone. */
KYR_API void* load_library(const char* path, ustr* error);

/* Address of the entry point `name` (NUL-terminated) in a library; null when
 * module or name is null or there is no such entry point. */
KYR_API void* get_library_func(void* module, const char* name);

/* Releases a library handle. Not 0 on success; 0 for a null handle or when
 * the system refuses. */
KYR_API i32_t close_library(void* module);

/* Loads a library and finds one entry point in it, forgivingly:
 * - when path doesn't load, the same name with the platform's library
 *   extension (".so", ".dll", ".dylib") in place of its own is tried, so
 *   "plugin.bin" and "plugin" both go on to "plugin.so" (logged at ' ').
 *   The extension is found as change_file_ext finds it, from the last '.'
 *   of the whole path, so "./plugin" would become ".so": give such paths
 *   with their extension;
 * - when `name` isn't found, "_" followed by name is tried (logged at ' ');
 *   a null name looks up "_" alone.
 * Returns the entry point's address and stores the handle at *out_module,
 * which the caller then releases with close_library. On failure returns
 * null, logs at 'X', releases the library if it was loaded, and leaves
 * *out_module untouched. A null out_module gives null and loads nothing:
 * the handle would have no owner. */
KYR_API void* open_module(void** out_module, const char* path, const char* name);

KYR_EXTERN_C_END

#endif /* KYR_SYSTEM_H */
