// json_read_internal.h - the pieces of the JSON reader: byte scanners,
// string decoding, number parsing and the per-parse name table.
//
// Everything here works on [p, end) and never reads at or past end, so text
// cut anywhere by its caller is read safely.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "kyr/kyr_json.h"
#include "core/block_pool.h"
#include "core/stack.h"
#include "core/kyr_alloc.h"
#include "system/platform.h"
#include "var/var_internal.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kyr::json {

using Byte = unsigned char;

// ------------------------------------------------------------ scanners
// Each scanner has a plain reference version and block versions; all give
// the same positions (a test runs them side by side). The reader picks one
// set per parse from the CPU's features.

// First position in [p, end) holding `stop`, a backslash or a NUL; end when
// there is none.
const Byte* scan_string_scalar(const Byte* p, const Byte* end, Byte stop);
const Byte* scan_string_sse2(const Byte* p, const Byte* end, Byte stop);
const Byte* scan_string_avx2(const Byte* p, const Byte* end, Byte stop);

// First position in [p, end) that is neither a blank nor a tab.
const Byte* scan_blanks_scalar(const Byte* p, const Byte* end);
const Byte* scan_blanks_sse2(const Byte* p, const Byte* end);
const Byte* scan_blanks_avx2(const Byte* p, const Byte* end);

struct Scanners {
  const Byte* (*string)(const Byte*, const Byte*, Byte);
  const Byte* (*blanks)(const Byte*, const Byte*);
};

// The fastest set this CPU runs.
Scanners pick_scanners();

// The string scan with its first 16 bytes looked at inline: most names and
// many values end there, and the call through the table is then saved.
inline const Byte* find_string_stop(const Byte* p, const Byte* end, Byte stop,
                                    const Scanners& scan) {
#if defined(__SSE2__)
  if (end - p >= 16) {
    __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    __m128i hit = _mm_or_si128(
        _mm_or_si128(_mm_cmpeq_epi8(x, _mm_set1_epi8(static_cast<char>(stop))),
                     _mm_cmpeq_epi8(x, _mm_set1_epi8('\\'))),
        _mm_cmpeq_epi8(x, _mm_setzero_si128()));
    unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(hit));
    if (mask) return p + __builtin_ctz(mask);
    p += 16;
  }
#endif
  return scan.string(p, end, stop);
}

// The same for a run of blanks and tabs: indentation mostly ends within 32
// (pretty-printed documents are often more indentation than anything else).
inline const Byte* find_blanks_end(const Byte* p, const Byte* end, const Scanners& scan) {
#if defined(__SSE2__)
  for (int group = 0; group < 2 && end - p >= 16; group++) {
    __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    __m128i hit = _mm_or_si128(_mm_cmpeq_epi8(x, _mm_set1_epi8(' ')),
                               _mm_cmpeq_epi8(x, _mm_set1_epi8('\t')));
    unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(hit)) ^ 0xFFFFu;
    if (mask) return p + __builtin_ctz(mask);
    p += 16;
  }
#endif
  return scan.blanks(p, end);
}

// ------------------------------------------------------------ skip rule

// The rest of a comment that starts at p (on the slash); p + 1 for a lone
// slash. An unterminated comment runs to end.
const Byte* skip_comment(const Byte* p, const Byte* end);

// Bytes that may start something to skip: blank, tab, LF, CR and slash.
// Most calls find a token at once, and one test of this mask says so.
inline bool may_skip(Byte c) {
  return c <= '/' && ((1ull << c) & ((1ull << ' ') | (1ull << '\t') | (1ull << '\n') |
                                     (1ull << '\r') | (1ull << '/')));
}

// Steps over white space and comments (see docs/json.md); stops at end or at
// the first byte it doesn't take. A CR counts only with an LF behind it, or
// directly behind an LF that the rule took. The loop is out of line: inlined
// in each of the reader's many calls it would crowd the reader's own loop.
const Byte* skip_space_run(const Byte* p, const Byte* end, const Scanners& scan);

inline const Byte* skip_space(const Byte* p, const Byte* end, const Scanners& scan) {
  if (p < end && !may_skip(*p)) return p;
  if (end - p >= 2 && *p == ' ' && !may_skip(p[1])) return p + 1;  // as behind a colon
  return skip_space_run(p, end, scan);
}

// ------------------------------------------------------------ strings

// Where decoded string bytes go. Each chunk asks for `room` more bytes
// beyond what is kept; `keep` records how many of them were written.
class ByteSink {
 public:
  virtual Byte* reserve(size_t room) = 0;
  virtual void keep(size_t written) = 0;

 protected:
  ~ByteSink() = default;
};

// Input taken per chunk by read_string: one allocation per 4096 bytes of
// remaining input at most. The reader decodes into a reused buffer and takes
// smaller chunks, so that the buffer it keeps on the machine stack serves
// most strings.
constexpr size_t kStringChunk = 4096;
constexpr size_t kReaderChunk = 1024;
// An escape that starts inside a chunk may end behind it and write up to 4
// bytes; this much room beyond the chunk keeps it inside what was asked for.
constexpr size_t kEscapeSlack = 4;

// Decodes the string whose first byte is at p: quoted (the byte before p was
// the quote `stop`) or unquoted (stop is ':'). Escapes are decoded; every
// other byte is copied. On success returns the position of the byte that
// ended the string (the closing quote, or the ':' / NUL of unquoted text);
// on failure (end reached, NUL inside quotes, bad escape) returns null.
// Output goes through sink one chunk of at most `chunk` input bytes at a
// time, each asking for chunk + kEscapeSlack bytes of room.
const Byte* decode_string(const Byte* p, const Byte* end, Byte stop, bool quoted,
                          size_t chunk, ByteSink& sink, const Scanners& scan);

// Reads the \u escape whose hexadecimal digits start at p: up to four digits
// (none gives 0); a high surrogate must be followed by \u and a low one.
// Returns the position behind the escape and the code point in *out, or null.
const Byte* read_u_escape(uint32_t* out, const Byte* p, const Byte* end);

// A new ustr of exactly len bytes (null for 0), built directly as an exact
// svec block, from the pool when there is one.
ustr make_ustr(const Byte* bytes, size_t len, BlockPool* pool);

// An svec block of the given bytes, from the pool when there is one.
inline void* new_svec_block(size_t bytes, BlockPool* pool) {
  return pool ? pool->alloc(bytes) : xmalloc(bytes);
}

// ------------------------------------------------------------ reader

// Texts from this size on build their tree from chunks of blocks (see
// core/block_pool.h); a smaller tree would not fill one chunk.
constexpr size_t kPoolFrom = 64 << 10;

// An object takes its names without the name table from this many members
// on, when most of them were new to the table (see Reader::add_member).
constexpr size_t kBulkFrom = 1024;

// Sizes from which a parse takes its paths for large input. Tests and the
// fuzz target turn them down, so that small texts take those paths too.
struct ReadLimits {
  size_t pool_from = kPoolFrom;  // text size from which the tree comes from chunks
  size_t bulk_from = kBulkFrom;  // object size from which new names skip the table
};

// var_read_json_str with its limits given.
int read_json(var_t* out, const char** cursor, const char* end, bool as_f32,
              const ReadLimits& limits);

// ------------------------------------------------------------ stacks

// A stack of plain records whose first N live in the object itself, on the
// caller's machine stack, so that a document of moderate size takes no
// parse-local memory from the heap. (The allocator merges its small free
// blocks whenever a block of a kilobyte or more is asked for; a parse that
// asks for none keeps reusing the blocks the last tree released.) Beyond N
// it doubles on the heap.
//
// A heap block keeps an svec header's room in front of the items, so that a
// container whose items fill the whole stack (a large outermost array or
// object) can take the block over as its body: cut to size, no copy.
template <typename T, size_t N>
class LocalStack {
  static_assert(std::is_trivially_copyable_v<T>, "plain records only");

 public:
  LocalStack() = default;
  LocalStack(const LocalStack&) = delete;
  LocalStack& operator=(const LocalStack&) = delete;
  ~LocalStack() {
    if (data_ != local_) std::free(block());
  }

  void push(const T& item) {
    if (size_ == room_) grow(1);
    data_[size_++] = item;
  }
  T* extend(size_t n) {
    if (room_ - size_ < n) grow(n);
    T* first = data_ + size_;
    size_ += n;
    return first;
  }
  T pop() { return data_[--size_]; }
  T& top() { return data_[size_ - 1]; }
  T& operator[](size_t i) { return data_[i]; }
  bool empty() const { return size_ == 0; }
  size_t size() const { return size_; }
  void resize_down(size_t n) { size_ = n; }

  // All items as an exact svec body when they are on the heap (null when
  // they are local or none); the stack is left empty on its local storage.
  //
  // The block is cut to size unless it is large. The allocator maps large
  // blocks, and one cut down makes the next parse of that size ask for more
  // than it ever got back: the allocator then maps fresh memory each time,
  // which the system zeroes and faults in. Uncut, the block comes back whole
  // and the next parse reuses it. The tail costs no memory that the process
  // didn't hold already: in a mapped block its pages were never written, and
  // otherwise they are the allocator's own, kept from others while the tree
  // lives.
  void* take_all_as_svec() {
    if (data_ == local_ || !size_) return nullptr;
    size_t exact = svec_block_bytes(size_, sizeof(T));
    void* fitted = exact >= kLargeStackBytes ? block() : xrealloc(block(), exact);
    void* body = svec_write_header(fitted, size_, sizeof(T));
    data_ = local_;
    size_ = 0;
    room_ = N;
    return body;
  }

 private:
  void* block() { return reinterpret_cast<char*>(data_) - kSvecHeaderSize; }

  // A stack this large holds a large container, which fills it as it goes.
  // Its new block is asked for large pages before the items move in: fresh
  // memory then costs a fault per 2 MiB instead of per 4 KiB. (realloc would
  // copy them first, or move them by remapping, which only pays once the
  // block is larger than the allocator's mapping threshold.) Out of line:
  // rare, and the reader's loop has many pushes.
  __attribute__((noinline)) void grow(size_t n) {
    size_t room = room_;
    while (room - size_ < n) room = sat_mul(room, 2);
    size_t bytes = sat_add(kSvecHeaderSize, sat_mul(room, sizeof(T)));
    char* fresh;
    if (data_ != local_ && bytes < kLargeStackBytes) {
      fresh = static_cast<char*>(xrealloc(block(), bytes));
    } else {
      fresh = static_cast<char*>(xmalloc(bytes));
      if (bytes >= kLargeStackBytes) plat::advise_large_pages(fresh, bytes);
      std::memcpy(fresh + kSvecHeaderSize, data_, size_ * sizeof(T));
      if (data_ != local_) std::free(block());
    }
    data_ = reinterpret_cast<T*>(fresh + kSvecHeaderSize);
    room_ = room;
  }

  static constexpr size_t kLargeStackBytes = size_t(4) << 20;

  T* data_ = local_;
  size_t size_ = 0;
  size_t room_ = N;
  T local_[N];
};

// ------------------------------------------------------------ names

// One distinct member name of a parse. Kept to 24 bytes: a document of
// many distinct names streams these records through the cache. Records are
// numbered in the order they are made; number 0 is the empty name, which has
// no string and is never a guess.
struct Name {
  ustr str;                // the shared string (its length is in its header); null for ""
  uint32_t next;           // the name that followed this one last time, a guess (0: none)
  uint32_t last_object;    // low 32 bits of the serial of the object that last took it (0: none)
  uint32_t last_position;  // that member's position, or kNoPosition
};
static_assert(sizeof(Name) == 24);

// A member position too large for a record: the object is searched instead.
constexpr uint32_t kNoPosition = UINT32_MAX;

// Equality of n bytes without a call, for the short names that make up most
// documents; the loads stay inside both ranges.
inline bool same_bytes(const void* a, const void* b, size_t n) {
  const auto* x = static_cast<const Byte*>(a);
  const auto* y = static_cast<const Byte*>(b);
  if (n > 16) return std::memcmp(x, y, n) == 0;
  if (n >= 8) {
    uint64_t a0, a1, b0, b1;
    std::memcpy(&a0, x, 8);
    std::memcpy(&b0, y, 8);
    std::memcpy(&a1, x + n - 8, 8);
    std::memcpy(&b1, y + n - 8, 8);
    return ((a0 ^ b0) | (a1 ^ b1)) == 0;
  }
  if (n >= 4) {
    uint32_t a0, a1, b0, b1;
    std::memcpy(&a0, x, 4);
    std::memcpy(&b0, y, 4);
    std::memcpy(&a1, x + n - 4, 4);
    std::memcpy(&b1, y + n - 4, 4);
    return ((a0 ^ b0) | (a1 ^ b1)) == 0;
  }
  for (size_t i = 0; i < n; i++)
    if (x[i] != y[i]) return false;
  return true;
}

// The member names of one parse: equal names share one ustr, so that an
// object's names compare by pointer and a document that repeats a name
// thousands of times allocates it once.
//
// A string's count is exact at every moment: a new name starts at 0 and each
// member that takes it adds one (a plain add: no other thread sees the tree
// yet, and whoever later hands it to another thread publishes the counts
// with it). The table itself holds no reference, so dropping it touches no
// string. That asks two things of the reader: nothing it built may be
// released while the table is in use (so no string the table points to goes
// away), and a name is interned only for a member that will take it.
//
// Documents repeat the shapes of their objects, so the name that followed a
// name last time is tried first: a right guess costs one comparison and no
// hash. Name records live in fixed chunks and never move, so frames may hold
// their addresses.
class NameTable {
 public:
  explicit NameTable(BlockPool* pool);
  ~NameTable();
  NameTable(const NameTable&) = delete;
  NameTable& operator=(const NameTable&) = delete;

  // The name's record, trying record number *guess (0: none) first; *guess
  // becomes the name's number, the guess for next time.
  Name* intern(const Byte* bytes, size_t len, uint32_t* guess) {
    if (*guess) {
      Name* g = record(*guess);
      if (svec_len(g->str) == len && same_bytes(g->str, bytes, len)) return g;
    }
    *guess = len ? lookup(bytes, len) : 0;
    return record(*guess);
  }
  Name* record(size_t number) { return &chunks_[number / kChunkNames][number % kChunkNames]; }

  // The seeded hash of a name, as the table uses it.
  uint32_t hash(const Byte* bytes, size_t len) const;

  // One more member holds the name's string.
  static void take(const Name* n) {
    if (!n->str) return;
    auto& count = svec_header(n->str)->refcount;
    count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }
 private:
  uint32_t lookup(const Byte* bytes, size_t len);
  uint32_t new_name();
  void grow();
  size_t find_slot(const Byte* bytes, size_t len, uint32_t hash, uint32_t* found) const;
  size_t home(uint32_t hash) const { return hash >> shift_; }
  void set_control(size_t slot, uint8_t tag) {
    control_[slot] = tag;
    if (slot < kGroup) control_[mask_ + 1 + slot] = tag;
  }

  // The table is split in two arrays, in the way of the faster hash
  // tables: one control byte per slot (0 empty, else 7 bits of the name's
  // hash, plus one) and the slot's entry (record number and hash). Probing
  // reads only the control bytes, 1 byte per slot, which stay in cache even
  // for hundreds of thousands of names, so a name that is new mostly costs
  // no miss on the entries; a tag that matches (about one probe in 128)
  // checks the entry's hash, and only an equal hash visits the record.
  //
  // Hashes are 32 bits: the home slot comes from the top bits and the tag
  // from the low 7, which overlap only past 2^25 slots (the tags then tell
  // fewer names apart; lookups stay correct).
  //
  // The first slots and records live in the table itself (see LocalStack):
  // 127 distinct names need nothing from the heap.
  static constexpr size_t kLocalSlots = 256;
  // Probes read the control bytes a group at a time; the first kGroup bytes
  // are mirrored behind the last slot, so that a group never wraps.
  static constexpr size_t kGroup = 16;
  static constexpr size_t kChunkNames = 128;

  uint8_t* control_;
  struct Entry {
    uint32_t number;  // of the record
    uint32_t hash;    // all of it: a tag that matches by chance costs no visit to the record
  };
  Entry* entries_;
  size_t mask_ = kLocalSlots - 1;
  unsigned shift_ = 32 - std::countr_zero(kLocalSlots);  // 32 - log2 of the slot count
  size_t count_ = 1;  // records made, the empty name included
  uint64_t seed_;
  BlockPool* pool_;  // where the strings come from, or null
  Name** chunks_;    // the local chunk first, then heap chunks
  size_t chunk_count_ = 1;
  size_t used_in_last_ = 1;
  Name* chunk_list_local_[1];
  uint8_t local_control_[kLocalSlots + kGroup];
  Entry local_entries_[kLocalSlots];
  Name local_names_[kChunkNames];
};

// The names of the open bulk objects: large objects of new names, which
// take their names without the table (see Reader::add_member) and merge
// their members of equal names when they close.
//
// Each member's name hash is kept, in order, and set in a bit filter of the
// object (8 to 16 bits per name: small enough to stay in the cache that the
// object's own memory streams through, at the price of noting a few percent
// of the names falsely); a hash whose bits were set already may be a
// repeated name and is noted. When the object closes, only the members
// whose hashes were noted are sorted and compared, so an object without
// repeated names costs a hash and a bit per member. Bulk objects nest like
// the frames that hold them, and each of the stacks here does too.
class BulkNames {
 public:
  BulkNames() = default;
  ~BulkNames();
  BulkNames(const BulkNames&) = delete;
  BulkNames& operator=(const BulkNames&) = delete;

  // Starts a bulk object whose first n members are there already.
  void open(const VAR_MEMBER* members, size_t n, const NameTable& names);

  // The hash of the next member's name, in the innermost bulk object. A
  // filter of a large object is larger than the fast caches, so each hash is
  // checked a few members after it comes, its word asked for meanwhile.
  void add(uint32_t hash) {
    Filter& f = filters_.top();
    if (sat_mul(hashes_.size() - f.first_hash + 1, kFilterBits) > f.mask && f.mask < UINT32_MAX)
      grow(f);
    hashes_.push(hash);
    __builtin_prefetch(&filter_word(f.bits, f.mask, hash), 1);
    if (hashes_.size() - f.checked > kAhead) check(f, hashes_[f.checked++]);
  }

  // A hash's two bits in its word of a filter: from its low bits, which also
  // pick the word, and its top bits. Two bits where one would do cut the
  // false repeats about four times over.
  static uint64_t filter_bits(uint32_t hash) {
    return (uint64_t{1} << (hash & 63)) | (uint64_t{1} << (hash >> 26));
  }
  // The word of a filter (its bit mask given) that holds a hash's bits.
  static uint64_t& filter_word(uint64_t* bits, uint64_t mask, uint32_t hash) {
    return bits[(hash & mask) >> 6];
  }

  // Ends the innermost bulk object, whose n members start at `members`.
  // Members of equal names become one, at the place of the first and with
  // the value of the last, as if the names had been found while reading;
  // what they drop (values, strings) goes to `dropped`. Returns the count
  // left. A position in *slot (may be null) follows its member; when that
  // member went, it moves to the one that took its value.
  size_t close(VAR_MEMBER* members, size_t n, Stack<var_t>& dropped, uint64_t* slot);

 private:
  static constexpr size_t kFilterBits = 8;  // at least, per name
  static constexpr size_t kAhead = 8;       // hashes that wait for their word

  struct Filter {
    uint64_t* bits;
    uint64_t mask;           // bit count - 1
    uint64_t first_hash;     // of the object, on hashes_
    uint64_t checked;        // hashes_ before this are in the filter
    uint64_t first_repeat;   // of the object, on repeats_
  };
  // Sets the hash in the filter, noting it when it was there already.
  void check(Filter& f, uint32_t hash) {
    uint64_t& word = filter_word(f.bits, f.mask, hash);
    uint64_t bits = filter_bits(hash);
    if ((word & bits) == bits)
      repeats_.push(hash);
    else
      word |= bits;
  }
  void check_all(Filter& f) {
    while (f.checked < hashes_.size()) check(f, hashes_[f.checked++]);
  }
  void grow(Filter& f);

  Stack<uint32_t> hashes_;   // one per member, in order
  Stack<uint32_t> repeats_;  // hashes met before in their object
  Stack<Filter> filters_;    // one per open bulk object
};

// Index of the members of one large open object by key pointer, so that a
// repeated name is found without scanning the object backwards.
class KeyIndex {
 public:
  KeyIndex() = default;
  ~KeyIndex();
  KeyIndex(const KeyIndex&) = delete;
  KeyIndex& operator=(const KeyIndex&) = delete;

  // Forgets every entry but keeps the memory.
  void clear();
  // Member position of key, or -1.
  int64_t find(const char* key) const;
  // Records a new member position for key (which must not be present).
  void add(const char* key, uint64_t position);

 private:
  struct Slot {
    const char* key;
    uint64_t position_plus_1;  // 0: an empty slot
  };
  void grow();
  Slot* slots_ = nullptr;
  size_t mask_ = 0;
  size_t count_ = 0;
};

}  // namespace kyr::json
