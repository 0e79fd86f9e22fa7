/*
 * kyr_log.h - the log call and the memory ledger report.
 *
 * The library has no log of its own. Every diagnostic goes through one
 * replaceable handler, silent until an application installs one. Levels are
 * characters: 'X' (88) an error, ' ' (32) a warning, 'i' (105) information.
 * The file argument names the module ("src/kyr_var", "src/image/kyr_image",
 * ...), the function argument is the call site's own literal. Formatting is
 * the handler's business: messages arrive as a printf format and arguments.
 *
 * Threads: the handler pointer is a plain variable. Install the handler at
 * start-up, before the library is used from several threads; the handler runs
 * on the caller's thread and must itself be safe for that.
 */
#ifndef KYR_LOG_H
#define KYR_LOG_H

#include "kyr_types.h"

KYR_EXTERN_C_BEGIN

#define KYR_LOG_ERROR   'X'
#define KYR_LOG_WARNING ' '
#define KYR_LOG_INFO    'i'

typedef int (*log_handler_t)(char level, const char* file, const char* func,
                             u32_t line, const char* format, va_list args);

/* Forwards level, file, function, line and format unchanged to the handler,
 * with the variable arguments as a va_list. Returns what the handler returns. */
KYR_API int log_line(char level, const char* file, const char* func, u32_t line,
                     const char* format, ...) KYR_PRINTF_FMT(5, 6);

/* Returns the handler in force and installs `handler` unless it is null
 * (a null argument only reads). Keep the first result to reinstall the
 * silent default. */
KYR_API log_handler_t change_log_handler(log_handler_t handler);

/* Leak report over the ledger of tracked blocks: prints one line per block
 * to standard output ("%d %s:%d   %llubytes " then up to 64 bytes in hex with
 * recognised text in brackets) and returns the total of their sizes. With
 * skip true, returns 0 and prints nothing. Nothing in this library tracks
 * blocks, so the ledger is empty unless a tracking allocator is added. */
KYR_API u64_t check_memory_usage(bool skip);

KYR_EXTERN_C_END

#endif /* KYR_LOG_H */
