// json_read_names.cpp - the per-parse name table and the index of large open
// objects.
//
// Most documents repeat a few member names thousands of times; interning
// them makes one allocation per distinct name, and lets an open object find
// a repeated name by pointer. Both tables are open-addressed with linear
// probing: the name table up to 80% full (it probes over control bytes),
// the key index up to half.
#include <cstdlib>

#include "var/json_read_internal.h"

namespace kyr::json {

// ============================================================ helpers

namespace {

constexpr size_t kFirstSlots = 32;

inline uint64_t load_tail(const Byte* p, size_t n) {
  // 1..7 bytes, read without passing the name's end.
  if (n >= 4) {
    uint32_t a, b;
    std::memcpy(&a, p, 4);
    std::memcpy(&b, p + n - 4, 4);
    return (static_cast<uint64_t>(a) << 32) | b;
  }
  return (static_cast<uint64_t>(p[0]) << 16) | (static_cast<uint64_t>(p[n / 2]) << 8) | p[n - 1];
}

inline uint64_t mix(uint64_t x) {
  x ^= x >> 32;
  x *= 0xD6E8FEB86659FD93ull;
  x ^= x >> 32;
  return x;
}

// Seeded so that a hostile document can't aim its names at one probe chain
// without knowing the seed.
__attribute__((always_inline)) inline uint32_t hash_name(const Byte* p, size_t n,
                                                         uint64_t seed) {
  uint64_t h = seed ^ (n * 0x9E3779B97F4A7C15ull);
  for (; n >= 8; p += 8, n -= 8) {
    uint64_t w;
    std::memcpy(&w, p, 8);
    h = (h ^ w) * 0x9E3779B97F4A7C15ull;
    h ^= h >> 29;
  }
  if (n) h = (h ^ load_tail(p, n)) * 0x9E3779B97F4A7C15ull;
  return static_cast<uint32_t>(mix(h));
}

inline uint64_t hash_pointer(const char* key) {
  return mix(static_cast<uint64_t>(reinterpret_cast<uintptr_t>(key)) * 0x9E3779B97F4A7C15ull);
}

}  // namespace

// ============================================================ name table

NameTable::NameTable(BlockPool* pool)
    : control_(local_control_),
      entries_(local_entries_),
      pool_(pool),
      chunks_(chunk_list_local_) {
  // The table's own address varies with the stack layout of each process.
  seed_ = mix(reinterpret_cast<uintptr_t>(this) ^ 0x243F6A8885A308D3ull);
  std::memset(local_control_, 0, sizeof local_control_);
  chunk_list_local_[0] = local_names_;
  local_names_[0] = Name{nullptr, 0, 0, kNoPosition};
}

// The strings belong to the members that took them: only the table's own
// memory goes.
NameTable::~NameTable() {
  for (size_t c = 1; c < chunk_count_; c++) std::free(chunks_[c]);
  if (chunks_ != chunk_list_local_) std::free(chunks_);
  if (control_ != local_control_) {
    std::free(control_);
    std::free(entries_);
  }
}

namespace {

inline uint8_t control_tag(uint32_t hash) { return static_cast<uint8_t>((hash & 0x7F) + 1); }

}  // namespace

// A name's home slot is the top bits of its hash, so the table keeps its
// names in the order of their hashes, give or take the probe runs. Doubling
// sends home slot i to 2i or 2i + 1: walking the old table in order writes
// the new one in order too, and both stream through the cache instead of
// taking a miss per name. (The table doubles: for hundreds of thousands of
// names a table kept small enough to stay in cache saves more than the
// extra rehashing costs.)
void NameTable::grow() {
  size_t old = mask_ + 1;
  size_t size = 2 * old;
  auto* control = static_cast<uint8_t*>(xcalloc(size + kGroup, 1));
  auto* entries = static_cast<Entry*>(xmalloc(sat_mul(size, sizeof(Entry))));
  uint8_t* old_control = control_;
  Entry* old_entries = entries_;
  control_ = control;
  entries_ = entries;
  mask_ = size - 1;
  shift_--;
  for (size_t k = 0; k < old; k++) {
    if (!old_control[k]) continue;
    Entry e = old_entries[k];
    size_t j = home(e.hash);
    while (control_[j]) j = (j + 1) & mask_;
    set_control(j, old_control[k]);
    entries_[j] = e;
  }
  if (old_control != local_control_) {
    std::free(old_control);
    std::free(old_entries);
  }
}

uint32_t NameTable::hash(const Byte* bytes, size_t len) const {
  return hash_name(bytes, len, seed_);
}

uint32_t NameTable::new_name() {
  if (used_in_last_ == kChunkNames) {
    Name** list = static_cast<Name**>(xmalloc((chunk_count_ + 1) * sizeof(Name*)));
    std::memcpy(list, chunks_, chunk_count_ * sizeof(Name*));
    if (chunks_ != chunk_list_local_) std::free(chunks_);
    chunks_ = list;
    chunks_[chunk_count_++] = static_cast<Name*>(xmalloc(kChunkNames * sizeof(Name)));
    used_in_last_ = 0;
  }
  used_in_last_++;
  return static_cast<uint32_t>(count_++);
}

// The slot that holds the name (its record number in *found) or, when it is
// new, the empty slot where it goes (*found 0). Probing is linear, a group
// of control bytes at a time: the tags that match before the first empty
// byte are the candidates, and that empty byte ends the search.
size_t NameTable::find_slot(const Byte* bytes, size_t len, uint32_t hash,
                            uint32_t* found) const {
  uint8_t tag = control_tag(hash);
  size_t i = home(hash);
  for (;;) {
    uint32_t match = 0, empty = 0;
#if defined(__SSE2__)
    __m128i group = _mm_loadu_si128(reinterpret_cast<const __m128i*>(control_ + i));
    match = static_cast<uint32_t>(
        _mm_movemask_epi8(_mm_cmpeq_epi8(group, _mm_set1_epi8(static_cast<char>(tag)))));
    empty = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(group, _mm_setzero_si128())));
#else
    for (size_t k = 0; k < kGroup; k++) {
      match |= static_cast<uint32_t>(control_[i + k] == tag) << k;
      empty |= static_cast<uint32_t>(control_[i + k] == 0) << k;
    }
#endif
    if (empty) match &= (empty & (0u - empty)) - 1;  // only those before the first empty
    for (; match; match &= match - 1) {
      size_t slot = (i + static_cast<size_t>(__builtin_ctz(match))) & mask_;
      Entry e = entries_[slot];
      if (e.hash != hash) continue;
      const Name* n = const_cast<NameTable*>(this)->record(e.number);
      if (svec_len(n->str) == len && same_bytes(n->str, bytes, len)) {
        *found = e.number;
        return slot;
      }
    }
    if (empty) {
      *found = 0;
      return (i + static_cast<size_t>(__builtin_ctz(empty))) & mask_;
    }
    i = (i + kGroup) & mask_;
  }
}

uint32_t NameTable::lookup(const Byte* bytes, size_t len) {
  // Up to 80% full: probe runs get longer, but a group covers 16 slots.
  if (5 * count_ > 4 * (mask_ + 1)) grow();
  uint32_t h = hash_name(bytes, len, seed_);
  uint32_t number;
  size_t slot = find_slot(bytes, len, h, &number);
  if (number) return number;
  // Record numbers are 32 bits; no document that fits in memory has more
  // distinct names, but the limit is kept all the same.
  if (count_ >= UINT32_MAX) out_of_memory(UINT64_MAX);
  number = new_name();
  ustr str = make_ustr(bytes, len, pool_);
  svec_header(str)->refcount.store(0, std::memory_order_relaxed);
  *record(number) = Name{str, 0, 0, kNoPosition};
  set_control(slot, control_tag(h));
  entries_[slot] = {number, h};
  return number;
}

// ============================================================ key index

KeyIndex::~KeyIndex() { std::free(slots_); }

void KeyIndex::clear() {
  if (slots_) std::memset(slots_, 0, (mask_ + 1) * sizeof(Slot));
  count_ = 0;
}

void KeyIndex::grow() {
  size_t size = slots_ ? 2 * (mask_ + 1) : kFirstSlots;
  auto* fresh = static_cast<Slot*>(xcalloc(size, sizeof(Slot)));
  for (size_t i = 0; slots_ && i <= mask_; i++) {
    if (!slots_[i].position_plus_1) continue;
    size_t j = hash_pointer(slots_[i].key) & (size - 1);
    while (fresh[j].position_plus_1) j = (j + 1) & (size - 1);
    fresh[j] = slots_[i];
  }
  std::free(slots_);
  slots_ = fresh;
  mask_ = size - 1;
}

int64_t KeyIndex::find(const char* key) const {
  if (!slots_) return -1;
  for (size_t i = hash_pointer(key) & mask_; slots_[i].position_plus_1; i = (i + 1) & mask_)
    if (slots_[i].key == key) return static_cast<int64_t>(slots_[i].position_plus_1 - 1);
  return -1;
}

void KeyIndex::add(const char* key, uint64_t position) {
  if (2 * (count_ + 1) > mask_ + 1) grow();
  size_t i = hash_pointer(key) & mask_;
  while (slots_[i].position_plus_1) i = (i + 1) & mask_;
  slots_[i] = {key, position + 1};
  count_++;
}

}  // namespace kyr::json
