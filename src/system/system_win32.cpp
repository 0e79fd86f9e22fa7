// system_win32.cpp - the platform layer's system services on Windows: the
// multimedia timer, the processor relationships and the console buffer.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#include <mmsystem.h>

#include <cstdlib>

#include "core/kyr_alloc.h"
#include "system/platform.h"

namespace kyr::plat {

// ============================================================ system

uint32_t tick_counter_ms() { return timeGetTime(); }

uint32_t set_timer_period_ms(uint32_t period_ms) { return timeBeginPeriod(period_ms); }

// Nothing is cached: the first call asks for the size, the second fills the
// buffer, and records of relationship 0 are physical cores.
int32_t physical_core_count() {
  DWORD bytes = 0;
  if (GetLogicalProcessorInformation(nullptr, &bytes) ||
      GetLastError() != ERROR_INSUFFICIENT_BUFFER || !bytes)
    return 0;
  auto* info = static_cast<SYSTEM_LOGICAL_PROCESSOR_INFORMATION*>(xmalloc(bytes));
  int32_t cores = 0;
  if (GetLogicalProcessorInformation(info, &bytes)) {
    size_t n = bytes / sizeof *info;
    for (size_t i = 0; i < n; i++)
      if (info[i].Relationship == RelationProcessorCore) cores++;
  }
  std::free(info);
  return cores;
}

// The screen buffer's size, scroll-back included, not the visible window.
bool console_cells(int16_t* width, int16_t* height) {
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info)) return false;
  *width = info.dwSize.X;
  *height = info.dwSize.Y;
  return true;
}

// Large pages on Windows need a privilege and memory of their own; the
// allocator's blocks can't be given them afterwards.
void advise_large_pages(void*, size_t) {}

}  // namespace kyr::plat
