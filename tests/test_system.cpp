// System services: tick arithmetic across a wrap of the counter, the one-time
// tick origin, core counting over real and fake CPU topologies, the console
// fallback, and module loading with its second file name and second symbol.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "kyr/kyr_log.h"
#include "kyr/kyr_system.h"
#include "system/platform.h"
#include "system/sys_internal.h"

namespace {

namespace fs = std::filesystem;

// Restores the process-wide tick origin that a test moves.
struct SavedTickStart {
  uint32_t saved = kyr::g_tick_start;
  ~SavedTickStart() { kyr::g_tick_start = saved; }
};

void sleep_ms(long ms) {
  timespec ts{0, ms * 1000000L};
  nanosleep(&ts, nullptr);
}

TEST(Ticks, OriginIsSetOnceAndRawCounterBeforeIt) {
  SavedTickStart guard;
  kyr::g_tick_start = 0;
  uint32_t before = kyr::plat::tick_counter_ms();
  EXPECT_LE(tick_now() - before, 1000u);  // the raw counter, wrap-safe

  uint32_t start = tick_set_start();
  sleep_ms(2);
  EXPECT_EQ(tick_set_start(), start);  // the second call changes nothing
  EXPECT_EQ(tick_get_start(), start);
  EXPECT_LT(tick_now(), 1000u);
}

TEST(Ticks, DifferencesStayRightAcrossAWrap) {
  SavedTickStart guard;
  // An origin just ahead of the counter puts the tick 3 ms before its wrap.
  kyr::g_tick_start = kyr::plat::tick_counter_ms() + 3;
  uint32_t before = tick_now();
  ASSERT_GT(before, 0xFFFF0000u);
  for (int i = 0; i < 1000 && tick_now() > 0x80000000u; i++) sleep_ms(1);
  ASSERT_LT(tick_now(), 0x80000000u) << "the tick never wrapped";

  uint32_t diff = tick_diff(before);
  EXPECT_TRUE(diff >= 1 && diff < 60000) << diff;
  uint32_t stored = before;
  uint32_t elapsed = tick_update(&stored);
  EXPECT_TRUE(elapsed >= diff && elapsed < 60000) << elapsed;
  EXPECT_LT(stored, 0x80000000u);  // the present tick, past the wrap
  EXPECT_LT(tick_update(&stored), 1000u);  // again at once: about 0
}

TEST(Ticks, ResolutionRoundsDownToWholeMilliseconds) {
  EXPECT_EQ(kyr::timer_period_ms(0), 1u);
  EXPECT_EQ(kyr::timer_period_ms(999), 1u);
  EXPECT_EQ(kyr::timer_period_ms(2500), 2u);
  EXPECT_EQ(kyr::timer_period_ms(UINT32_MAX), 4294967u);
  EXPECT_EQ(tick_set_resolution(0), 0u);
}

// ------------------------------------------------------------ cores

void write_file(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path) << text;
}

// cpuN/topology files for each (package, core) in the list, one per logical
// processor.
void fake_sysfs(const fs::path& dir, const std::vector<std::pair<int, int>>& cpus) {
  fs::remove_all(dir);
  for (size_t i = 0; i < cpus.size(); i++) {
    fs::path topo = dir / ("cpu" + std::to_string(i)) / "topology";
    write_file(topo / "physical_package_id", std::to_string(cpus[i].first) + "\n");
    write_file(topo / "core_id", std::to_string(cpus[i].second) + "\n");
  }
  fs::create_directories(dir / "cpufreq");  // neither a processor
  fs::create_directories(dir / ("cpu" + std::to_string(cpus.size())));  // nor online
}

TEST(Cores, DistinctPackageCorePairs) {
  fs::path root = fs::path(KYR_TEST_BINARY_DIR) / "system_cores";
  fs::path sys = root / "cpu", info = root / "cpuinfo";
  std::string none = (root / "missing").string();

  // 4 cores with 2 threads each, the siblings numbered as Linux does.
  fake_sysfs(sys, {{0, 0}, {0, 1}, {0, 2}, {0, 3}, {0, 0}, {0, 1}, {0, 2}, {0, 3}});
  EXPECT_EQ(kyr::plat::physical_core_count_from(sys.c_str(), none.c_str()), 4);
  // Core numbers repeat in every package.
  fake_sysfs(sys, {{0, 0}, {0, 1}, {1, 0}, {1, 1}});
  EXPECT_EQ(kyr::plat::physical_core_count_from(sys.c_str(), none.c_str()), 4);

  // The fallback: the same 4x2 machine in cpuinfo, then one without ids.
  std::string text;
  for (int i = 0; i < 8; i++)
    text += "processor\t: " + std::to_string(i) + "\nphysical id\t: 0\ncore id\t\t: " +
            std::to_string(i % 4) + "\n\n";
  write_file(info, text);
  EXPECT_EQ(kyr::plat::physical_core_count_from(none.c_str(), info.c_str()), 4);
  write_file(info, "processor : 0\n\nprocessor : 1\n\nprocessor : 2\n");
  EXPECT_EQ(kyr::plat::physical_core_count_from(none.c_str(), info.c_str()), 3);
  EXPECT_EQ(kyr::plat::physical_core_count_from(none.c_str(), none.c_str()), 0);
  fs::remove_all(root);

  int32_t cores = get_num_of_cpu_cores();
  EXPECT_GT(cores, 0);
  EXPECT_LE(cores, sysconf(_SC_NPROCESSORS_CONF));
}

TEST(Console, DefaultWhenStandardOutputIsNoTerminal) {
  if (isatty(STDOUT_FILENO)) GTEST_SKIP() << "run under ctest, without a terminal";
  size2_i16 size = get_console_size();
  uint32_t bits;
  std::memcpy(&bits, &size, sizeof bits);
  EXPECT_EQ(bits, 0x00140050u);  // 80 wide, 20 high
}

// ------------------------------------------------------------ modules

// Each message as its level character, a blank and the formatted text.
std::vector<std::string> g_log;

int capture(char level, const char* file, const char* func, u32_t, const char* format,
            va_list args) {
  EXPECT_STREQ(file, "src/system/kyr_mod");
  EXPECT_STREQ(func, "open_module");
  char text[8192];
  std::vsnprintf(text, sizeof text, format, args);
  g_log.push_back(std::string(1, level) + " " + text);
  return 0;
}

class Modules : public ::testing::Test {
 protected:
  void SetUp() override {
    g_log.clear();
    original_ = change_log_handler(capture);
  }
  void TearDown() override { change_log_handler(original_); }
  log_handler_t original_ = nullptr;
};

int call(void* fn) { return reinterpret_cast<int (*)()>(fn)(); }

bool still_loaded(const char* path) {
  void* h = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
  if (h) dlclose(h);
  return h != nullptr;
}

TEST_F(Modules, LoadLibraryAndItsErrorText) {
  ustr error = ustr_from_strn("old text", UINT64_MAX);
  ustr old = error;
  void* m = load_library(KYR_PLUGIN_INIT, &error);
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(error, old);  // a load that works leaves the text alone
  EXPECT_EQ(call(get_library_func(m, "init")), 1);
  EXPECT_EQ(get_library_func(nullptr, "init"), nullptr);
  EXPECT_EQ(get_library_func(m, nullptr), nullptr);
  EXPECT_NE(close_library(m), 0);
  EXPECT_EQ(close_library(nullptr), 0);

  // A missing file replaces the old text with the system's message.
  EXPECT_EQ(load_library("/nonexistent/kyr_plugin.so", &error), nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_NE(std::string(error).find("kyr_plugin.so"), std::string::npos) << error;
  EXPECT_EQ(load_library("", nullptr), nullptr);
  svec_free(&error);
  EXPECT_TRUE(g_log.empty());  // only open_module logs
}

TEST_F(Modules, OpenModuleFindsTheEntryPoint) {
  void* m = nullptr;
  void* fn = open_module(&m, KYR_PLUGIN_INIT, "init");
  ASSERT_NE(fn, nullptr);
  EXPECT_EQ(call(fn), 1);
  EXPECT_TRUE(g_log.empty());
  close_library(m);

  fn = open_module(&m, KYR_PLUGIN_UNDERSCORE, "init");
  ASSERT_NE(fn, nullptr);
  EXPECT_EQ(call(fn), 2);
  EXPECT_EQ(g_log, std::vector<std::string>{"  > init is not found, trying _ functions"});
  close_library(m);

  // Another file name: the platform's extension in place of the given one.
  std::string so = KYR_PLUGIN_INIT, bin = so.substr(0, so.size() - 3) + ".bin";
  g_log.clear();
  fn = open_module(&m, bin.c_str(), "init");
  ASSERT_NE(fn, nullptr);
  EXPECT_EQ(call(fn), 1);
  EXPECT_EQ(g_log, std::vector<std::string>{"  " + bin + " is not found, trying default ext, " + so});
  close_library(m);
}

TEST_F(Modules, OpenModuleFailuresLeaveNothingBehind) {
  void* sentinel = &g_log;
  void* m = sentinel;
  EXPECT_EQ(open_module(&m, KYR_PLUGIN_INIT, "absent"), nullptr);
  EXPECT_FALSE(still_loaded(KYR_PLUGIN_INIT));
  ASSERT_EQ(g_log.size(), 2u);
  EXPECT_EQ(g_log[1], std::string("X Cannot find function absent in the ") + KYR_PLUGIN_INIT);

  // A null name looks up "_" alone, which no plugin has.
  g_log.clear();
  EXPECT_EQ(open_module(&m, KYR_PLUGIN_UNDERSCORE, nullptr), nullptr);
  EXPECT_FALSE(still_loaded(KYR_PLUGIN_UNDERSCORE));
  ASSERT_EQ(g_log.size(), 2u);
  EXPECT_EQ(g_log[0], "  > (null) is not found, trying _ functions");

  // Both files missing: the error text is the second try's.
  g_log.clear();
  EXPECT_EQ(open_module(&m, "/nonexistent/mod.bin", "init"), nullptr);
  ASSERT_EQ(g_log.size(), 2u);
  EXPECT_EQ(g_log[1].rfind("X Cannot open module /nonexistent/mod.bin - ", 0), 0u);
  EXPECT_NE(g_log[1].find("mod.so"), std::string::npos) << g_log[1];

  g_log.clear();
  EXPECT_EQ(open_module(&m, nullptr, "init"), nullptr);
  ASSERT_EQ(g_log.size(), 2u);
  EXPECT_EQ(g_log[0], "  (null) is not found, trying default ext, .so");
  EXPECT_EQ(m, sentinel);  // no failure wrote it

  g_log.clear();
  EXPECT_EQ(open_module(nullptr, KYR_PLUGIN_INIT, "init"), nullptr);
  EXPECT_TRUE(g_log.empty());
}

}  // namespace
