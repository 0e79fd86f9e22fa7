// kyr_mod.cpp - loading shared libraries, and open_module's forgiving lookup
// of one entry point: a second file name with the platform's extension and a
// second symbol name with a leading underscore.
#include "kyr/kyr_file.h"
#include "kyr/kyr_log.h"
#include "kyr/kyr_system.h"
#include "system/platform.h"
#include "text/ustr_internal.h"

// ============================================================ helpers

namespace {

constexpr const char* kModule = "src/system/kyr_mod";

// dlerror's text carries the path, which may be as long as PATH_MAX (4096),
// followed by the reason; longer texts are cut.
constexpr size_t kErrorTextMax = 8192;

// Log arguments for %s: the handler formats them, and a null would be
// undefined there.
const char* shown(const char* text) { return text ? text : "(null)"; }

// Replaces the caller's error string with the platform's last loader error.
void take_error_text(ustr* error) {
  char text[kErrorTextMax];
  kyr::plat::module_error_text(text, sizeof text);
  svec_free(error);
  *error = kyr::ustr_from_cstr(text);
}

// path with its extension replaced by the platform's, as a new string.
ustr with_default_ext(const char* path) {
  return change_file_ext(kyr::ustr_from_cstr(path),
                         kyr::ustr_from_cstr(kyr::plat::module_default_ext()));
}

// The entry point `name`, or else "_" + name. Logs before the second try.
void* find_entry(void* module, const char* name) {
  if (name) {
    if (void* fn = kyr::plat::module_symbol(module, name)) return fn;
  }
  log_line(KYR_LOG_WARNING, kModule, "open_module", __LINE__,
           "> %s is not found, trying _ functions", shown(name));
  ustr alt = kyr::ustr_from_cstr("_");
  if (name) ustr_cat_strn(&alt, name, UINT64_MAX);
  void* fn = kyr::plat::module_symbol(module, alt);
  svec_free(&alt);
  return fn;
}

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API void* load_library(const char* path, ustr* error) {
  void* module = nullptr;
  // The path passes the text gate: local-encoding names reach the loader as
  // UTF-8. A null or empty path tries no load.
  ustr path_u8 = kyr::ustr_from_cstr(path);
  if (path_u8) {
    module = kyr::plat::module_open(path_u8);
    svec_free(&path_u8);
  }
  if (!module && error) take_error_text(error);
  return module;
}

KYR_API void* get_library_func(void* module, const char* name) {
  if (!module || !name) return nullptr;
  return kyr::plat::module_symbol(module, name);
}

KYR_API i32_t close_library(void* module) {
  return kyr::plat::module_close(module) ? 1 : 0;
}

KYR_API void* open_module(void** out_module, const char* path, const char* name) {
  if (!out_module) return nullptr;
  ustr error = nullptr;
  void* module = load_library(path, &error);
  if (!module) {
    ustr other = with_default_ext(path);
    log_line(KYR_LOG_WARNING, kModule, "open_module", __LINE__,
             "%s is not found, trying default ext, %s", shown(path), shown(other));
    module = load_library(other, &error);
    svec_free(&other);
    if (!module) {
      log_line(KYR_LOG_ERROR, kModule, "open_module", __LINE__,
               "Cannot open module %s - %s", shown(path), error ? error : "");
      svec_free(&error);
      return nullptr;
    }
  }
  svec_free(&error);
  void* fn = find_entry(module, name);
  if (!fn) {
    log_line(KYR_LOG_ERROR, kModule, "open_module", __LINE__,
             "Cannot find function %s in the %s", shown(name), shown(path));
    kyr::plat::module_close(module);
    return nullptr;
  }
  *out_module = module;
  return fn;
}

}  // extern "C"
