// ledger.h - the memory ledger's node and its registration helpers.
//
// A tracked block would carry this node directly in front of its user data:
//
//   +--------+--------+--------+--------+--------+--------+--------+------------+
//   | magic  | number | file   | next   | prev   | line   | size   | user data  |
//   | "kyrm" | u32    | char*  | node*  | node*  | u32    | u64    | size bytes |
//   +--------+--------+--------+--------+--------+--------+--------+------------+
//    0        4        8        16       24       32       40       48
//
// Nothing in the library registers blocks; the helpers exist for a tracking
// allocator and for the tests of check_memory_usage.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyr {

struct LedgerNode {
  uint32_t magic;
  uint32_t number;
  const char* file;
  LedgerNode* next;
  LedgerNode* prev;
  uint32_t line;
  uint64_t size;
};
static_assert(sizeof(LedgerNode) == 48, "user data starts 48 bytes in");
static_assert(offsetof(LedgerNode, file) == 8);
static_assert(offsetof(LedgerNode, next) == 16);
static_assert(offsetof(LedgerNode, prev) == 24);
static_assert(offsetof(LedgerNode, line) == 32);
static_assert(offsetof(LedgerNode, size) == 40);

constexpr uint32_t kLedgerMagic = 'k' | ('y' << 8) | ('r' << 16) | ('m' << 24);

// Links a node (magic set here) before the tail, or takes it out again.
void ledger_link(LedgerNode* node);
void ledger_unlink(LedgerNode* node);

}  // namespace kyr
