// sys_internal.h - pieces of the system services that tests reach directly.
#pragma once

#include <cstdint>

namespace kyr {

// The tick origin behind tick_set_start/tick_get_start: a plain variable,
// 0 at load, written once at start-up.
extern uint32_t g_tick_start;

// The timer period asked for a resolution in microseconds: whole
// milliseconds rounded down, at least 1.
uint32_t timer_period_ms(uint32_t resolution_us);

namespace plat {

// POSIX only: the physical core count from a sysfs CPU folder (cpuN/topology
// beneath it) with a cpuinfo file as fallback, so that tests can point it at
// a tree of their own. physical_core_count() uses the system's paths.
int32_t physical_core_count_from(const char* sysfs_cpu_dir,
                                 const char* cpuinfo_path);

}  // namespace plat
}  // namespace kyr
