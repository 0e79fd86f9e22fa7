// system_posix.cpp - the platform layer's system services on POSIX systems:
// a monotonic millisecond counter, physical cores from the CPU topology, and
// the terminal size of standard output.
#include <dirent.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/kyr_alloc.h"
#include "system/platform.h"
#include "system/sys_internal.h"

namespace kyr::plat {

// ============================================================ types

namespace {

// One physical core: the package (socket) and the core within it. Logical
// processors that share both are hyper-threads of one core.
struct CoreId {
  int64_t package;
  int64_t core;
  bool operator<(const CoreId& o) const {
    return package != o.package ? package < o.package : core < o.core;
  }
  bool operator==(const CoreId& o) const {
    return package == o.package && core == o.core;
  }
};

// A growing list of core ids; the machine may have thousands of logical
// processors, so no fixed bound.
struct CoreList {
  CoreId* ids = nullptr;
  size_t len = 0, cap = 0;
  ~CoreList() { std::free(ids); }
  void add(int64_t package, int64_t core) {
    if (len == cap) {
      cap = cap ? cap * 2 : 64;
      ids = static_cast<CoreId*>(xrealloc(ids, sat_mul(cap, sizeof(CoreId))));
    }
    ids[len++] = {package, core};
  }
  int32_t distinct() {
    std::sort(ids, ids + len);
    return static_cast<int32_t>(std::unique(ids, ids + len) - ids);
  }
};

// ============================================================ helpers

// Reads one integer from a small sysfs file; false when it can't be read.
bool read_number_file(const char* path, int64_t* out) {
  FILE* f = std::fopen(path, "r");
  if (!f) return false;
  long long v;
  bool ok = std::fscanf(f, "%lld", &v) == 1;
  std::fclose(f);
  if (ok) *out = v;
  return ok;
}

bool is_cpu_entry(const char* name) {
  if (std::strncmp(name, "cpu", 3) != 0 || !name[3]) return false;
  for (const char* p = name + 3; *p; p++)
    if (*p < '0' || *p > '9') return false;
  return true;
}

// Every cpuN below dir whose topology names its package and core. Offline
// processors have no topology and are left out.
void cores_from_sysfs(const char* dir, CoreList& list) {
  DIR* d = opendir(dir);
  if (!d) return;
  char path[4096];
  while (dirent* e = readdir(d)) {
    if (!is_cpu_entry(e->d_name)) continue;
    int64_t package, core;
    std::snprintf(path, sizeof path, "%s/%s/topology/physical_package_id", dir,
                  e->d_name);
    if (!read_number_file(path, &package)) continue;
    std::snprintf(path, sizeof path, "%s/%s/topology/core_id", dir, e->d_name);
    if (!read_number_file(path, &core)) continue;
    list.add(package, core);
  }
  closedir(d);
}

// The value behind "key<blanks>: value" when the line starts with key.
bool cpuinfo_field(const char* line, const char* key, int64_t* out) {
  size_t n = std::strlen(key);
  if (std::strncmp(line, key, n) != 0) return false;
  const char* p = line + n;
  while (*p == ' ' || *p == '\t') p++;
  if (*p != ':') return false;
  char* end;
  long long v = std::strtoll(p + 1, &end, 10);
  if (end == p + 1) return false;
  *out = v;
  return true;
}

// /proc/cpuinfo: one block per logical processor, starting at "processor".
// A block without "physical id" and "core id" (some architectures and
// virtual machines give none) counts as a core of its own.
void cores_from_cpuinfo(const char* path, CoreList& list) {
  FILE* f = std::fopen(path, "r");
  if (!f) return;
  constexpr int64_t kNone = INT64_MIN;
  int64_t processor = kNone, package = kNone, core = kNone;
  auto flush = [&] {
    if (processor == kNone) return;
    if (package != kNone && core != kNone) {
      list.add(package, core);
    } else {
      list.add(kNone, processor);
    }
  };
  char line[512];
  while (std::fgets(line, sizeof line, f)) {
    int64_t v;
    if (cpuinfo_field(line, "processor", &v)) {
      flush();
      processor = v;
      package = core = kNone;
    } else if (cpuinfo_field(line, "physical id", &v)) {
      package = v;
    } else if (cpuinfo_field(line, "core id", &v)) {
      core = v;
    }
    // Lines longer than the buffer come in pieces; the tail of one never
    // starts with a key, so it is skipped like any other line.
  }
  flush();
  std::fclose(f);
}

}  // namespace

// ============================================================ system

uint32_t tick_counter_ms() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  uint64_t ms = static_cast<uint64_t>(ts.tv_sec) * 1000u +
                static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
  return static_cast<uint32_t>(ms);  // wraps like the Win32 counter
}

// POSIX timers have no global resolution to ask for; the request is accepted.
uint32_t set_timer_period_ms(uint32_t) { return 0; }

int32_t physical_core_count_from(const char* sysfs_cpu_dir,
                                 const char* cpuinfo_path) {
  CoreList list;
  cores_from_sysfs(sysfs_cpu_dir, list);
  if (!list.len) cores_from_cpuinfo(cpuinfo_path, list);
  return list.distinct();
}

int32_t physical_core_count() {
  return physical_core_count_from("/sys/devices/system/cpu", "/proc/cpuinfo");
}

// A terminal that reports 0 columns or rows doesn't know its size; that
// counts as a failure, so the caller's default applies.
bool console_cells(int16_t* width, int16_t* height) {
  winsize ws;
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &ws) != 0 || !ws.ws_col || !ws.ws_row)
    return false;
  *width = static_cast<int16_t>(std::min<unsigned>(ws.ws_col, INT16_MAX));
  *height = static_cast<int16_t>(std::min<unsigned>(ws.ws_row, INT16_MAX));
  return true;
}

void advise_large_pages(void* block, size_t bytes) {
#if defined(MADV_HUGEPAGE)
  constexpr uintptr_t kLargePage = uintptr_t(2) << 20;
  uintptr_t first = (reinterpret_cast<uintptr_t>(block) + kLargePage - 1) & ~(kLargePage - 1);
  uintptr_t last = (reinterpret_cast<uintptr_t>(block) + bytes) & ~(kLargePage - 1);
  if (first < last) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#else
  (void)block;
  (void)bytes;
#endif
}

}  // namespace kyr::plat
