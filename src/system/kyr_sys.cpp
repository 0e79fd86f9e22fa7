// kyr_sys.cpp - the version, the tick clock, core count and console size.
// The platform layer reads the counters; the arithmetic lives here.
#include "kyr/kyr_system.h"
#include "system/platform.h"
#include "system/sys_internal.h"

// ============================================================ helpers

namespace kyr {

uint32_t g_tick_start = 0;

uint32_t timer_period_ms(uint32_t resolution_us) {
  uint32_t ms = resolution_us / 1000;
  return ms ? ms : 1;
}

}  // namespace kyr

namespace {

// Used when standard output has no console: the usual 80 columns and a
// modest 20 rows.
constexpr size2_i16 kDefaultConsole = {80, 20};

// Ticks are u32 on purpose: the subtraction wraps modulo 2^32, which keeps
// differences right across a wrap of the counter.
uint32_t present_tick() { return kyr::plat::tick_counter_ms() - kyr::g_tick_start; }

}  // namespace

// ============================================================ exported

extern "C" {

KYR_API u32_t kyr_core_version(void) { return 0x217D0216u; }

KYR_API u32_t tick_set_resolution(u32_t resolution_us) {
  return kyr::plat::set_timer_period_ms(kyr::timer_period_ms(resolution_us));
}

KYR_API u32_t tick_set_start(void) {
  if (kyr::g_tick_start == 0) kyr::g_tick_start = kyr::plat::tick_counter_ms();
  return kyr::g_tick_start;
}

KYR_API u32_t tick_get_start(void) { return kyr::g_tick_start; }

KYR_API u32_t tick_now(void) { return present_tick(); }

KYR_API u32_t tick_diff(u32_t earlier) { return present_tick() - earlier; }

KYR_API u32_t tick_update(u32_t* tick) {
  u32_t now = present_tick();
  if (!tick) return now;
  u32_t old = *tick;
  *tick = now;
  return now - old;
}

KYR_API i32_t get_num_of_cpu_cores(void) { return kyr::plat::physical_core_count(); }

KYR_API size2_i16 get_console_size(void) {
  size2_i16 size;
  if (!kyr::plat::console_cells(&size.width, &size.height)) return kDefaultConsole;
  return size;
}

}  // extern "C"

static_assert(sizeof(size2_i16) == 4, "size2_i16 fits 32 bits");
static_assert(offsetof(size2_i16, width) == 0 && offsetof(size2_i16, height) == 2,
              "width in the low half");
