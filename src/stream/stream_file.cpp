// stream_file.cpp - the file stream: the six operations over a stdio FILE,
// with 64-bit positions through the platform layer.
#include <cstdio>
#include <cstdlib>

#include "kyr/kyr_file.h"
#include "kyr/kyr_stream.h"
#include "stream/stream_internal.h"
#include "system/platform.h"

using namespace kyr;

// ============================================================ operations

namespace {

inline FILE* file_of(void* ctx) { return static_cast<FILE*>(ctx); }

// whence values 0, 1, 2 map to the runtime's own; anything else is refused
// rather than passed on as an undefined origin.
constexpr int kWhence[3] = {SEEK_SET, SEEK_CUR, SEEK_END};

i32_t file_seek(void* ctx, i64_t offset, i32_t whence) {
  if (whence < 0 || whence > 2) return -1;
  return plat::seek_file(file_of(ctx), offset, kWhence[whence]);
}

i64_t file_read(void* ctx, void* buffer, u64_t count) {
  return static_cast<i64_t>(std::fread(buffer, 1, count, file_of(ctx)));
}

i64_t file_write(void* ctx, const void* buffer, u64_t count) {
  return static_cast<i64_t>(std::fwrite(buffer, 1, count, file_of(ctx)));
}

i32_t file_vprintf(void* ctx, const char* format, va_list args) {
  return std::vfprintf(file_of(ctx), format, args);
}

i64_t file_tell(void* ctx) { return plat::tell_file(file_of(ctx)); }

i32_t file_close(void* ctx) { return std::fclose(file_of(ctx)); }

}  // namespace

namespace kyr {

const stream_ops_t kFileStreamOps = {file_seek, file_read, file_write,
                                     file_vprintf, file_tell, file_close};

}  // namespace kyr

// ============================================================ exported

extern "C" {

// The record is allocated first, so a failed allocation leaves no file open.
KYR_API stream_t* new_file_stream(const char* path, const char* mode) {
  auto* s = static_cast<stream_t*>(std::malloc(sizeof(stream_t)));
  if (!s) return nullptr;
  if (!stream_open_file(s, path, mode)) {
    std::free(s);
    return nullptr;
  }
  return s;
}

KYR_API FILE* stream_open_file(stream_t* s, const char* path, const char* mode) {
  if (!s) return nullptr;
  FILE* file = kyr_fopen(path, mode);
  stream_init_file(s, file);
  return file;
}

}  // extern "C"
