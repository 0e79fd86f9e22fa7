// log.cpp - the log call, its replaceable handler, and the ledger report.
#include <cstdio>
#include <cstring>

#include "core/ledger.h"
#include "kyr/kyr_log.h"

// ============================================================ log handler

namespace {

int silent_handler(char, const char*, const char*, u32_t, const char*, va_list) {
  return 0;
}

// Process-wide, plain variable: set at start-up before threads use the library.
log_handler_t g_handler = silent_handler;

}  // namespace

extern "C" {

KYR_API int log_line(char level, const char* file, const char* func, u32_t line,
                     const char* format, ...) {
  va_list args;
  va_start(args, format);
  int r = g_handler(level, file, func, line, format, args);
  va_end(args);
  return r;
}

KYR_API log_handler_t change_log_handler(log_handler_t handler) {
  log_handler_t old = g_handler;
  if (handler) g_handler = handler;
  return old;
}

}  // extern "C"

// ============================================================ ledger

namespace kyr {
namespace {

// Static sentinels, linked to each other from load on: no init code.
extern LedgerNode g_tail;
LedgerNode g_head = {kLedgerMagic, 0, nullptr, &g_tail, nullptr, 0, 0};
LedgerNode g_tail = {kLedgerMagic, 0, nullptr, nullptr, &g_head, 0, 0};

// Byte dump of one node: hex of up to 64 user bytes, with runs of printable
// text and whole UTF-8 sequences collected and shown in brackets.
void dump_bytes(const unsigned char* p, uint64_t size) {
  uint64_t n = size < 64 ? size : 64;
  char text[64 + 1];
  size_t text_len = 0;
  auto flush_text = [&] {
    if (text_len) {
      text[text_len] = 0;
      std::printf("[%s]", text);
      text_len = 0;
    }
  };
  // Continuation bytes are looked for behind the 64-byte window too, as far
  // as the block goes, but never past the block's own size.
  auto is_cont = [&](uint64_t j) { return j < size && (p[j] & 0xC0) == 0x80; };
  uint64_t i = 0;
  while (i < n) {
    unsigned char b = p[i];
    int seq = 0;
    if (b >= 0x20 && b <= 0x7E) {
      seq = 1;
    } else if ((b & 0xE0) == 0xC0 && is_cont(i + 1)) {
      seq = 2;
    } else if ((b & 0xF0) == 0xE0 && is_cont(i + 1) && is_cont(i + 2)) {
      seq = 3;
    } else if ((b & 0xF1) == 0xF0 && is_cont(i + 1) && is_cont(i + 2) &&
               is_cont(i + 3)) {
      seq = 4;  // mask 0xF1 on purpose: the report has always used it
    }
    if (seq > 1 && i + seq >= n) {
      // A sequence that ends at the dump's end is not shown: drop its lead.
      i += 1;
      continue;
    }
    if (seq == 0) {
      std::printf("%02X ", b);
      flush_text();
      i += 1;
      continue;
    }
    for (int k = 0; k < seq; k++) {
      std::printf("%02X ", p[i + k]);
      text[text_len++] = static_cast<char>(p[i + k]);
    }
    i += seq;
  }
  flush_text();
}

}  // namespace

void ledger_link(LedgerNode* node) {
  node->magic = kLedgerMagic;
  node->prev = g_tail.prev;
  node->next = &g_tail;
  g_tail.prev->next = node;
  g_tail.prev = node;
}

void ledger_unlink(LedgerNode* node) {
  node->prev->next = node->next;
  node->next->prev = node->prev;
  node->next = node->prev = nullptr;
}

}  // namespace kyr

extern "C" KYR_API u64_t check_memory_usage(bool skip) {
  using namespace kyr;
  if (skip) return 0;
  uint64_t total = 0;
  for (LedgerNode* node = g_head.next; node != &g_tail; node = node->next) {
    total += node->size;
    std::printf("%d %s:%d   %llubytes ", static_cast<int>(node->number), node->file,
                static_cast<int>(node->line),
                static_cast<unsigned long long>(node->size));
    dump_bytes(reinterpret_cast<const unsigned char*>(node + 1), node->size);
    std::printf("\n");
  }
  return total;
}
