// json_read_bulk.cpp - large objects of new names: their names' filter, and
// the merge of their members of equal names when they close.
//
// An object of hundreds of thousands of distinct names would cost the name
// table a probe, an entry and a record per member, in memory that no longer
// fits the cache. Such an object takes its names without the table once it
// is large, and finds its repeated names when it closes instead (see
// BulkNames).
#include <algorithm>

#include "var/json_read_internal.h"

namespace kyr::json {

namespace {

inline uint32_t position_of(uint64_t pair) { return static_cast<uint32_t>(pair); }

// A filter of at least `bits` bits (a power of two, 4096 or more, at most
// 2^32): its bit mask and its zeroed words.
uint64_t* new_filter(uint64_t bits, uint64_t* mask) {
  uint64_t size = 4096;
  while (size < bits && size < (uint64_t{1} << 32)) size *= 2;
  *mask = size - 1;
  return static_cast<uint64_t*>(xcalloc(size / 64, sizeof(uint64_t)));
}

// Same names, then positions: orders a run of pairs whose hashes are equal.
struct ByName {
  const VAR_MEMBER* members;
  bool operator()(uint64_t a, uint64_t b) const {
    ustr ka = members[position_of(a)].key;
    ustr kb = members[position_of(b)].key;
    uint64_t la = svec_len(ka), lb = svec_len(kb);
    if (la != lb) return la < lb;
    int order = la ? std::memcmp(ka, kb, la) : 0;
    if (order) return order < 0;
    return position_of(a) < position_of(b);
  }
  bool same(uint64_t a, uint64_t b) const {
    ustr ka = members[position_of(a)].key;
    ustr kb = members[position_of(b)].key;
    uint64_t len = svec_len(ka);
    return len == svec_len(kb) && same_bytes(ka, kb, len);
  }
};

// One group of equal names, in order of position: the first member takes
// the last one's value; the others go, each noted as (position << 32) |
// first in `gone`.
void merge_group(VAR_MEMBER* members, const uint64_t* group, size_t count,
                 Stack<var_t>& dropped, Stack<uint64_t>& gone) {
  uint32_t first = position_of(group[0]);
  uint32_t last = position_of(group[count - 1]);
  var_t kept = members[last].value;
  for (size_t k = 0; k + 1 < count; k++) {
    var_t old = members[position_of(group[k])].value;
    if (owns_heap(old)) dropped.push(old);
  }
  members[first].value = kept;
  for (size_t k = 1; k < count; k++) {
    uint32_t pos = position_of(group[k]);
    if (members[pos].key) dropped.push(tag_ptr(VAR_TAG_USTR, members[pos].key));
    gone.push((uint64_t{pos} << 32) | first);
  }
}

// Where the member at `pos` is once the gone ones (sorted) are out; a gone
// one's place is that of the member that took its value.
uint64_t new_position(const uint64_t* gone, size_t count, uint64_t pos) {
  const uint64_t* end = gone + count;
  const uint64_t* at = std::lower_bound(gone, end, pos << 32);
  if (at != end && (*at >> 32) == pos) {
    pos = position_of(*at);
    at = std::lower_bound(gone, end, pos << 32);
  }
  return pos - static_cast<uint64_t>(at - gone);
}

// Sorts (hash << 32) | position pairs by hash, positions keeping their
// order among equal hashes: four passes of a byte each, lowest first. (A
// large object may have tens of thousands of suspects, mostly false: this
// costs a fraction of a comparison sort.)
void sort_by_hash(uint64_t* pairs, size_t m) {
  auto* spare = static_cast<uint64_t*>(xmalloc(sat_mul(m ? m : 1, sizeof(uint64_t))));
  uint64_t* from = pairs;
  uint64_t* to = spare;
  for (unsigned shift = 32; shift < 64; shift += 8) {
    size_t starts[257] = {};
    for (size_t i = 0; i < m; i++) starts[((from[i] >> shift) & 0xFF) + 1]++;
    for (size_t b = 0; b < 256; b++) starts[b + 1] += starts[b];
    for (size_t i = 0; i < m; i++) to[starts[(from[i] >> shift) & 0xFF]++] = from[i];
    std::swap(from, to);
  }
  std::free(spare);  // after an even number of passes the pairs are back in place
}

// The members whose hashes are among the repeated ones, as (hash << 32) |
// position, sorted: a second filter, of the repeated hashes only, picks
// them out (with a few others, which find no partner).
void pick_suspects(const uint32_t* hashes, size_t n, const uint32_t* repeats, size_t count,
                   Stack<uint64_t>& out) {
  uint64_t mask;
  uint64_t* bits = new_filter(sat_mul(count, 16), &mask);
  for (size_t i = 0; i < count; i++)
    BulkNames::filter_word(bits, mask, repeats[i]) |= BulkNames::filter_bits(repeats[i]);
  for (size_t i = 0; i < n; i++) {
    uint32_t h = hashes[i];
    uint64_t mine = BulkNames::filter_bits(h);
    if ((BulkNames::filter_word(bits, mask, h) & mine) == mine) out.push((uint64_t{h} << 32) | i);
  }
  std::free(bits);
  sort_by_hash(out.data(), out.size());
}

// Merges the members of equal names among n, of which `repeats` are the
// hashes noted as met before. Returns the count left.
size_t merge_equal_names(VAR_MEMBER* members, const uint32_t* hashes, size_t n,
                         const uint32_t* repeats, size_t count, Stack<var_t>& dropped,
                         uint64_t* slot) {
  Stack<uint64_t> suspects;
  pick_suspects(hashes, n, repeats, count, suspects);
  const uint64_t* sorted = suspects.data();
  const size_t m = suspects.size();
  Stack<uint64_t> gone;
  const ByName by_name{members};
  for (size_t i = 0; i < m;) {
    size_t j = i + 1;
    while (j < m && (sorted[j] >> 32) == (sorted[i] >> 32)) j++;
    if (j - i > 1) {
      // Equal hashes: mostly one name, but different names may share a hash.
      std::sort(suspects.data() + i, suspects.data() + j, by_name);
      for (size_t g = i; g < j;) {
        size_t h = g + 1;
        while (h < j && by_name.same(sorted[g], sorted[h])) h++;
        if (h - g > 1) merge_group(members, sorted + g, h - g, dropped, gone);
        g = h;
      }
    }
    i = j;
  }
  if (gone.empty()) return n;

  std::sort(gone.data(), gone.data() + gone.size());
  if (slot) *slot = new_position(gone.data(), gone.size(), *slot);
  size_t kept = 0, next_gone = 0;
  for (size_t r = 0; r < n; r++) {
    if (next_gone < gone.size() && (gone[next_gone] >> 32) == r) {
      next_gone++;
      continue;
    }
    members[kept++] = members[r];
  }
  return kept;
}

}  // namespace

BulkNames::~BulkNames() {
  while (!filters_.empty()) std::free(filters_.pop().bits);
}

void BulkNames::open(const VAR_MEMBER* members, size_t n, const NameTable& names) {
  Filter f;
  f.bits = new_filter(sat_mul(sat_mul(n, 2), kFilterBits), &f.mask);
  f.first_hash = hashes_.size();
  f.checked = f.first_hash;
  f.first_repeat = repeats_.size();
  filters_.push(f);
  for (size_t i = 0; i < n; i++) {
    ustr key = members[i].key;
    add(names.hash(reinterpret_cast<const Byte*>(key), svec_len(key)));
  }
}

// Twice the bits: the object's hashes are set again (those already noted as
// repeats stay noted).
void BulkNames::grow(Filter& f) {
  check_all(f);
  std::free(f.bits);
  f.bits = new_filter(sat_mul(f.mask + 1, 2), &f.mask);
  for (uint64_t i = f.first_hash; i < hashes_.size(); i++) {
    uint32_t h = hashes_[i];
    filter_word(f.bits, f.mask, h) |= filter_bits(h);
  }
}

size_t BulkNames::close(VAR_MEMBER* members, size_t n, Stack<var_t>& dropped, uint64_t* slot) {
  check_all(filters_.top());
  Filter f = filters_.pop();
  std::free(f.bits);
  size_t count = repeats_.size() - f.first_repeat;
  if (count)
    n = merge_equal_names(members, &hashes_[f.first_hash], n, &repeats_[f.first_repeat], count,
                          dropped, slot);
  hashes_.resize_down(f.first_hash);
  repeats_.resize_down(f.first_repeat);
  return n;
}

}  // namespace kyr::json
