// Log handler forwarding and the ledger's leak report.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "core/ledger.h"
#include "kyr/kyr_log.h"

namespace {

struct Captured {
  char level;
  std::string file, func, text;
  u32_t line;
};
std::vector<Captured> g_lines;

int capture(char level, const char* file, const char* func, u32_t line,
            const char* format, va_list args) {
  char text[256];
  std::vsnprintf(text, sizeof text, format, args);
  g_lines.push_back({level, file, func, text, line});
  return 7;
}

TEST(Log, HandlerReceivesTheCallUnformatted) {
  log_handler_t original = change_log_handler(nullptr);  // reads only
  EXPECT_EQ(change_log_handler(nullptr), original);
  EXPECT_EQ(log_line('X', "src/kyr_var", "f", 1, "silent %d", 1), 0);  // default

  EXPECT_EQ(change_log_handler(capture), original);
  g_lines.clear();
  EXPECT_EQ(log_line('i', "src/kyr_array", "TENSOR_IT_Init", 42, "%s=%d", "n", 5), 7);
  ASSERT_EQ(g_lines.size(), 1u);
  EXPECT_EQ(g_lines[0].level, 'i');
  EXPECT_EQ(g_lines[0].file, "src/kyr_array");
  EXPECT_EQ(g_lines[0].func, "TENSOR_IT_Init");
  EXPECT_EQ(g_lines[0].line, 42u);
  EXPECT_EQ(g_lines[0].text, "n=5");
  EXPECT_EQ(change_log_handler(original), capture);
}

// A ledger node with its user bytes behind it, as a tracking allocator would
// lay it out.
struct TrackedBlock {
  kyr::LedgerNode node;
  unsigned char data[80];
  TrackedBlock(uint32_t number, const char* file, uint32_t line, const void* bytes,
               uint64_t size) {
    std::memset(&node, 0, sizeof node);
    node.number = number;
    node.file = file;
    node.line = line;
    node.size = size;
    std::memcpy(data, bytes, size < sizeof data ? size : sizeof data);
    kyr::ledger_link(&node);
  }
  ~TrackedBlock() { kyr::ledger_unlink(&node); }
};

std::string report(bool skip, u64_t* total) {
  testing::internal::CaptureStdout();
  *total = check_memory_usage(skip);
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

TEST(Ledger, EmptyReportsNothing) {
  u64_t total = 1;
  EXPECT_EQ(report(false, &total), "");
  EXPECT_EQ(total, 0u);
}

TEST(Ledger, DumpShowsHexAndRecognisedText) {
  TrackedBlock a(3, "f.c", 10, "ab\xC3\xA9\x01zz", 7);
  TrackedBlock b(4, "g.c", 20, "a\xC3\xA9", 3);  // a sequence ending at n: lead dropped
  TrackedBlock c(5, "h.c", 30, "", 0);
  TrackedBlock d(6, "i.c", 40, "\xE2\x82\xAC\xF0\x9F\x98\x80!", 8);

  u64_t total = 0;
  EXPECT_EQ(report(true, &total), "");
  EXPECT_EQ(total, 0u);
  EXPECT_EQ(report(false, &total),
            "3 f.c:10   7bytes 61 62 C3 A9 01 [ab\xC3\xA9]7A 7A [zz]\n"
            "4 g.c:20   3bytes 61 A9 [a]\n"
            "5 h.c:30   0bytes \n"
            "6 i.c:40   8bytes E2 82 AC F0 9F 98 80 21 [\xE2\x82\xAC\xF0\x9F\x98\x80!]\n");
  EXPECT_EQ(total, 18u);
}

TEST(Ledger, DumpStopsAt64Bytes) {
  unsigned char bytes[80];
  for (int i = 0; i < 80; i++) bytes[i] = static_cast<unsigned char>('A' + i % 26);
  TrackedBlock big(1, "big.c", 1, bytes, 80);
  u64_t total = 0;
  std::string out = report(false, &total);
  EXPECT_EQ(total, 80u);
  // 64 hex pairs and the 64 characters in brackets.
  EXPECT_EQ(out.size(), std::string("1 big.c:1   80bytes ").size() + 64 * 3 + 66 + 1);
}

}  // namespace
