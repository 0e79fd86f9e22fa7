// Shared vector: block shape, copy-on-write, index rules, pops and equality.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "core/svec_internal.h"
#include "kyr/kyr_svec.h"

namespace {

using kyr::svec_header;

struct Vec {  // releases on scope exit so a failing test doesn't leak
  svec v = nullptr;
  ~Vec() { svec_free(&v); }
};

int* ints(svec v) { return static_cast<int*>(v); }

svec make_ints(std::initializer_list<int> xs) {
  return svec_from_array(std::data(xs), xs.size(), sizeof(int));
}

std::vector<int> contents(svec v) {
  return std::vector<int>(ints(v), ints(v) + svec_length(v));
}

u32_t refs(svec v) { return kyr::svec_refs(v); }

TEST(Svec, BlockHeaderAndTerminator) {
  EXPECT_EQ(svec_hdr_size(), 16u);
  Vec a;
  a.v = svec_from_array("abc", 3, 1);
  uint32_t second_word;
  std::memcpy(&second_word, static_cast<char*>(a.v) - 12, 4);
  EXPECT_EQ(second_word, 1u << 16);  // elem_size << 16, reserved 0
  EXPECT_EQ(refs(a.v), 1u);
  EXPECT_STREQ(static_cast<char*>(a.v), "abc");

  // Widths 2 and 4 keep a zero unit behind the last element; others none.
  Vec w2, w4;
  w2.v = svec_alloc(3, 2);
  w4.v = svec_alloc(3, 4);
  EXPECT_EQ(static_cast<u16_t*>(w2.v)[3], 0);
  EXPECT_EQ(static_cast<u32_t*>(w4.v)[3], 0u);

  // Shrinking rewrites the terminator at the new end.
  svec_set_length(&a.v, 1, 1);
  EXPECT_EQ(static_cast<char*>(a.v)[1], 0);
  EXPECT_EQ(svec_length(a.v), 1u);

  EXPECT_EQ(svec_alloc(0, 4), nullptr);
  EXPECT_EQ(svec_from_array("x", 0, 1), nullptr);
  EXPECT_EQ(svec_length(nullptr), 0u);
  EXPECT_EQ(svec_elem_size(nullptr), 0u);
  EXPECT_EQ(svec_size(w4.v), 12u);
}

TEST(Svec, SharingCopiesOnWrite) {
  Vec a, b;
  a.v = make_ints({1, 2, 3});
  b.v = svec_share(a.v);
  EXPECT_EQ(a.v, b.v);
  EXPECT_FALSE(svec_is_unique(a.v));
  EXPECT_TRUE(svec_is_unique(nullptr));

  // Any change on a shared vector goes to a private clone.
  *static_cast<int*>(svec_append(&a.v, 1, sizeof(int))) = 4;
  EXPECT_NE(a.v, b.v);
  EXPECT_EQ(contents(a.v), (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(contents(b.v), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(refs(b.v), 1u);

  // An unchanged length on a shared vector still makes it private.
  svec_assign(&a.v, svec_share(b.v));
  svec_set_length(&a.v, 3, sizeof(int));
  EXPECT_NE(a.v, b.v);
  EXPECT_EQ(refs(a.v), 1u);

  // Length 0 releases only the caller's reference.
  svec_assign(&a.v, svec_share(b.v));
  EXPECT_EQ(svec_set_length(&a.v, 0, sizeof(int)), nullptr);
  EXPECT_EQ(a.v, nullptr);
  EXPECT_EQ(contents(b.v), (std::vector<int>{1, 2, 3}));

  // make_unique copies the whole block, terminator included.
  Vec s, t;
  s.v = svec_from_array("hey", 3, 1);
  t.v = svec_share(s.v);
  void* p = svec_make_unique(&s.v);
  EXPECT_EQ(p, s.v);
  EXPECT_NE(s.v, t.v);
  EXPECT_STREQ(static_cast<char*>(s.v), "hey");
  EXPECT_EQ(svec_make_unique(&s.v), s.v);  // private: unchanged

  // assign to itself keeps the count; free reports what is left.
  svec_assign(&s.v, s.v);
  EXPECT_EQ(refs(s.v), 1u);
  svec keep = svec_share(t.v);
  EXPECT_EQ(svec_free(&keep), 1u);
  EXPECT_EQ(keep, nullptr);
  svec none = nullptr;
  EXPECT_EQ(svec_free(&none), 0u);
}

TEST(Svec, IndexingCountsFromTheEnd) {
  Vec a;
  a.v = make_ints({10, 20, 30});
  EXPECT_EQ(*static_cast<int*>(svec_get(a.v, -1)), 30);
  EXPECT_EQ(*static_cast<int*>(svec_get(a.v, -3)), 10);
  EXPECT_EQ(svec_get(a.v, -4), nullptr);
  EXPECT_EQ(svec_get(a.v, 3), nullptr);
  EXPECT_EQ(svec_get(nullptr, 0), nullptr);
}

TEST(Svec, InsertPlacesTheGap) {
  auto insert_at = [](std::initializer_list<int> xs, i64_t index) {
    svec v = make_ints(xs);
    *static_cast<int*>(svec_insert(&v, index, 1, sizeof(int))) = 99;
    std::vector<int> out = contents(v);
    svec_free(&v);
    return out;
  };
  EXPECT_EQ(insert_at({1, 2, 3}, 3), (std::vector<int>{1, 2, 3, 99}));
  EXPECT_EQ(insert_at({1, 2, 3}, 8), (std::vector<int>{1, 2, 3, 99}));
  EXPECT_EQ(insert_at({1, 2, 3}, -1), (std::vector<int>{1, 2, 99, 3}));
  EXPECT_EQ(insert_at({1, 2, 3}, -6), (std::vector<int>{99, 1, 2, 3}));
  EXPECT_EQ(insert_at({1, 2, 3}, 1), (std::vector<int>{1, 99, 2, 3}));

  Vec n;
  EXPECT_EQ(svec_insert(&n.v, 5, 0, 4), nullptr);
  EXPECT_NE(svec_insert(&n.v, 5, 2, 4), nullptr);
  EXPECT_EQ(svec_length(n.v), 2u);

  // A block of length 0 is replaced without leaking.
  Vec z;
  svec_ensure_capa(&z.v, 0, 4);
  ASSERT_NE(z.v, nullptr);
  EXPECT_EQ(svec_length(z.v), 0u);
  svec_insert(&z.v, 0, 1, 4);
  EXPECT_EQ(svec_length(z.v), 1u);
}

TEST(Svec, DeleteRanges) {
  Vec a;
  a.v = make_ints({1, 2, 3, 4, 5});
  svec_delete(&a.v, 1, 2);
  EXPECT_EQ(contents(a.v), (std::vector<int>{1, 4, 5}));
  svec_delete(&a.v, -1, 1);
  EXPECT_EQ(contents(a.v), (std::vector<int>{1, 4}));
  EXPECT_EQ(svec_delete(&a.v, 2, 1), nullptr);  // out of range: unchanged
  EXPECT_EQ(svec_length(a.v), 2u);
  EXPECT_EQ(svec_delete(&a.v, 1, ~0ull), a.v);  // truncates to the index
  EXPECT_EQ(contents(a.v), (std::vector<int>{1}));
  EXPECT_EQ(svec_delete(&a.v, 0, 1), nullptr);
  EXPECT_EQ(a.v, nullptr);

  // On a shared vector the other holder keeps its contents and length.
  Vec b, c;
  b.v = make_ints({1, 2, 3, 4});
  c.v = svec_share(b.v);
  svec_delete(&b.v, 1, 2);
  EXPECT_EQ(contents(b.v), (std::vector<int>{1, 4}));
  EXPECT_EQ(contents(c.v), (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(refs(b.v), 1u);
  EXPECT_EQ(svec_header(b.v)->elem_size, sizeof(int));
}

TEST(Svec, EnsureCapaAndIncLength) {
  Vec a, b;
  a.v = make_ints({1, 2, 3});
  void* before = a.v;
  EXPECT_EQ(svec_ensure_capa(&a.v, 2, sizeof(int)), before);
  EXPECT_EQ(contents(a.v), (std::vector<int>{1, 2, 3}));  // untouched

  b.v = svec_share(a.v);
  svec_ensure_capa(&a.v, 2, sizeof(int));
  EXPECT_NE(a.v, b.v);
  EXPECT_EQ(svec_length(a.v), 2u);
  EXPECT_EQ(contents(b.v), (std::vector<int>{1, 2, 3}));

  Vec n;
  EXPECT_EQ(svec_inc_length(&n.v, 0, 8), 0u);  // a block of length 0
  ASSERT_NE(n.v, nullptr);
  EXPECT_EQ(svec_inc_length(&n.v, 3, 8), 0u);
  EXPECT_EQ(svec_inc_length(&n.v, 1, 8), 3u);
  EXPECT_EQ(svec_length(n.v), 4u);
}

TEST(Svec, AppendAndCat) {
  Vec a;
  EXPECT_EQ(svec_append(&a.v, 0, 1), nullptr);
  EXPECT_EQ(a.v, nullptr);
  svec_cat(&a.v, 3, 1, "abc");
  svec_cat(&a.v, 2, 1, nullptr);  // room only
  EXPECT_EQ(svec_length(a.v), 5u);
  EXPECT_EQ(svec_append(&a.v, 0, 1), static_cast<char*>(a.v) + 5);

  // Appending a vector to itself reads the source after the block moved.
  Vec s;
  s.v = svec_from_array("xyz", 3, 1);
  for (int i = 0; i < 6; i++) svec_cat(&s.v, svec_length(s.v), 1, s.v);
  EXPECT_EQ(svec_length(s.v), 3u * 64);
  EXPECT_EQ(std::string(static_cast<char*>(s.v), 6), "xyzxyz");
  EXPECT_EQ(static_cast<char*>(s.v)[svec_length(s.v)], 0);
}

TEST(Svec, MoveToLast) {
  Vec a, b;
  a.v = make_ints({1, 2, 3, 4});
  b.v = svec_share(a.v);
  svec_move_to_last(a.v, 1);
  EXPECT_EQ(contents(b.v), (std::vector<int>{1, 3, 4, 2}));  // in place, shared
  svec_move_to_last(a.v, -1);
  svec_move_to_last(a.v, 4);
  svec_move_to_last(a.v, -9);
  EXPECT_EQ(contents(a.v), (std::vector<int>{1, 3, 4, 2}));

  Vec wide;  // elements above 64 bytes stay where they are
  wide.v = svec_alloc(2, 80);
  std::memset(wide.v, 1, 80);
  std::memset(static_cast<char*>(wide.v) + 80, 2, 80);
  svec_move_to_last(wide.v, 0);
  EXPECT_EQ(static_cast<char*>(wide.v)[0], 1);
}

TEST(Svec, PopsCallBackOnceBeforeTheChange) {
  Vec a;
  a.v = make_ints({1, 2, 3, 4, 5});
  int buf[8] = {};
  EXPECT_EQ(svec_popback_cb(&a.v, buf, 2, default_copy_elem_func), 2u);
  EXPECT_EQ(buf[0], 4);
  EXPECT_EQ(buf[1], 5);
  EXPECT_EQ(contents(a.v), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(svec_popfront_cb(&a.v, buf, 1, default_move_elem_func), 1u);
  EXPECT_EQ(buf[0], 1);
  EXPECT_EQ(contents(a.v), (std::vector<int>{2, 3}));

  int calls = 0;
  auto counting = [](void* ctx, const void*, i64_t n, i64_t) -> void* {
    *static_cast<int*>(ctx) += static_cast<int>(n);
    return ctx;
  };
  EXPECT_EQ(svec_popback_cb(&a.v, &calls, 9, counting), 2u);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(a.v, nullptr);
  EXPECT_EQ(svec_popback_cb(&a.v, &calls, 1, counting), 0u);
  EXPECT_EQ(calls, 2);
}

TEST(Svec, Equality) {
  Vec a, b, empty;
  a.v = make_ints({1, 2});
  b.v = make_ints({1, 2});
  svec_ensure_capa(&empty.v, 0, sizeof(int));
  EXPECT_TRUE(svec_equals(a.v, b.v));
  EXPECT_TRUE(svec_equals(nullptr, nullptr));
  EXPECT_FALSE(svec_equals(nullptr, empty.v));
  int raw[2] = {1, 2};
  EXPECT_TRUE(svec_equals_raw(a.v, raw, 2, sizeof(int)));
  EXPECT_FALSE(svec_equals_raw(a.v, raw, 2, 2));
  EXPECT_FALSE(svec_equals_raw(nullptr, raw, 0, 4));
  Vec bytes;
  bytes.v = svec_from_array(raw, 8, 1);  // same bytes, other element size
  EXPECT_FALSE(svec_equals(a.v, bytes.v));
}

TEST(SvecDeathTest, ImpossibleSizeStopsWithOneLine) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(svec_alloc(~0ull, 64),
               "kyr-core: out of memory allocating 18446744073709551615 bytes");
}

}  // namespace
