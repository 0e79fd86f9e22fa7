// image_registry.cpp - the table of image formats that a program adds to the
// two doors of the image family. A plain table and count without a lock:
// the registry is filled at start-up and only read afterwards.
#include <cstring>

#include "image/kyi_internal.h"

using namespace kyr;

// ============================================================ types

namespace {

struct Registry {
  ImageFormat entries[KYR_IMAGE_FORMAT_SLOTS];
  int count;
};

Registry g_registry;  // zero-initialised: no entries

}  // namespace

// ============================================================ internal

namespace kyr {

bool format_name_fits(const char* name, const char* prefix) {
  size_t n = std::strlen(prefix);
  return std::strncmp(name, prefix, n) == 0 && ends_format_name(name[n]);
}

int image_format_count() { return g_registry.count; }

const ImageFormat* image_format_at(int index) {
  return index >= 0 && index < g_registry.count ? &g_registry.entries[index] : nullptr;
}

const ImageFormat* image_format_for_save(const char* format_name) {
  for (int i = 0; i < g_registry.count; ++i) {
    const ImageFormat& f = g_registry.entries[i];
    if (f.save && format_name_fits(format_name, f.name)) return &f;
  }
  return nullptr;
}

void image_registry_clear() { g_registry = Registry{}; }

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API i32_t KYR_IMAGE_RegisterImageFormat(const char* name, KYR_IMAGE_LOAD_FUNC load,
                                            KYR_IMAGE_SAVE_FUNC save) {
  if (!name || g_registry.count == KYR_IMAGE_FORMAT_SLOTS) return -1;
  ImageFormat& f = g_registry.entries[g_registry.count];
  std::memset(f.name, 0, sizeof f.name);
  std::memcpy(f.name, name, strnlen(name, KYR_IMAGE_FORMAT_NAME_MAX));
  f.load = load;
  f.save = save;
  return g_registry.count++;
}

}  // extern "C"
