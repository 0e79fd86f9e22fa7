/* tour_system.c - a tour of the system services: the library's version, the
 * processor cores, the console size and the tick clock, and, when a module is
 * named on the command line, loading it and finding one entry point.
 *
 *   tour_system                      report and exit
 *   tour_system /path/plugin [name]  also open the module and look up name
 *                                    (default "init"); "plugin" and
 *                                    "plugin.bin" go on to plugin.so
 *                                    (folder names without dots) */
#include <kyr/kyr_core.h>

#include <stdio.h>

/* Prints the module loader's messages, which say how it found its way. */
static int print_log(char level, const char* file, const char* func, u32_t line,
                     const char* format, va_list args) {
  (void)line;
  printf("  [%c] %s %s: ", level, file, func);
  int n = vprintf(format, args);
  printf("\n");
  return n;
}

/* Some work to time: a sum the compiler can't drop. */
static volatile u64_t sink;
static void busy_work(void) {
  u64_t sum = 0;
  for (u64_t i = 0; i < 20000000u; i++) sum += i ^ (i >> 3);
  sink = sum;
}

static void open_named_module(const char* path, const char* name) {
  printf("== opening %s, entry point \"%s\"\n", path, name);
  void* module = NULL;
  void* entry = open_module(&module, path, name);
  if (!entry) {
    printf("not found (the messages above say why)\n");
    return;
  }
  printf("found at %p\n", entry);
  close_library(module);

  /* load_library alone reports a failure by text instead of a log line. */
  ustr error = NULL;
  if (!load_library("no-such-module.so", &error)) printf("a missing module: %s\n", error);
  svec_free(&error);
}

int main(int argc, char** argv) {
  tick_set_start(); /* at start-up, before any other thread uses the clock */
  change_log_handler(print_log);

  printf("== the library and the machine\n");
  printf("version         0x%08X\n", (unsigned)kyr_core_version());
  printf("physical cores  %d\n", (int)get_num_of_cpu_cores());
  size2_i16 console = get_console_size();
  printf("console         %d x %d cells%s\n", console.width, console.height,
         console.width == 80 && console.height == 20 ? " (the default: no terminal?)" : "");

  printf("== ticks\n");
  printf("timer resolution of 1 ms asked for: result %u\n", (unsigned)tick_set_resolution(1000));
  u32_t mark = tick_now();
  busy_work();
  printf("busy work took   %u ms\n", (unsigned)tick_diff(mark));
  u32_t lap = mark;
  u32_t since = tick_update(&lap); /* lap becomes the present tick */
  printf("since the mark   %u ms, and the mark is now %u\n", (unsigned)since, (unsigned)lap);
  printf("ticks since start %u (origin %u on the raw counter)\n", (unsigned)tick_now(),
         (unsigned)tick_get_start());

  if (argc > 1) open_named_module(argv[1], argc > 2 ? argv[2] : "init");
  return 0;
}
