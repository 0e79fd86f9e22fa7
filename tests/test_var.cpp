// Variant values: the word's encoding, constructors, release; arrays,
// objects and the tree walker.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "core/svec_internal.h"
#include "kyr/kyr_var.h"
#include "var/var_internal.h"

namespace {

struct Var {  // releases on scope exit
  var_t v;
  explicit Var(var_t w = VAR_NULL) : v(w) {}
  ~Var() { var_free(&v); }
};

ustr key(const char* text) { return ustr_from_strn(text, static_cast<u64_t>(-1)); }

uint64_t payload(var_t v) { return v & VAR_PAYLOAD_MASK; }
template <typename T>
T cell(var_t v) {
  return *reinterpret_cast<T*>(static_cast<uintptr_t>(payload(v)));
}
i32_t as_i32(const var_t* v) { return static_cast<i32_t>(static_cast<u32_t>(*v)); }

// Runs fn on a thread with a small machine stack: a walk that recursed on the
// depth of a million-level tree would overflow it.
void on_small_stack(std::function<void()> fn) {
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setstacksize(&attr, 128 * 1024);
  pthread_t thread;
  auto trampoline = [](void* arg) -> void* {
    (*static_cast<std::function<void()>*>(arg))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attr, trampoline, &fn), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attr);
}

TEST(VarWord, TypeOfEveryWord) {
  struct Case {
    uint64_t word;
    u8_t type;
  } cases[] = {
      {0x7FF0000000000000ull, VAR_TYPE_F64},  // +infinity
      {0xFFF0000000000000ull, VAR_TYPE_F64},  // -infinity
      {0x0000000000000000ull, VAR_TYPE_F64},
      {0x7FF0000000000001ull, VAR_TYPE_NULL},
      {0xFFF0010000000000ull, VAR_TYPE_NULL},
      {0x7FF8000000000000ull, VAR_TYPE_CSTR},  // the usual quiet NaN
      {0x7FF0400000000001ull, VAR_TYPE_BOOL},
      {0x7FF0600000000000ull, VAR_TYPE_U8},
      {0x7FF0B00000000000ull, VAR_TYPE_I16},
      {0x7FF0D00000000000ull, VAR_TYPE_F32},
      {0x7FF1000000000000ull, VAR_TYPE_SSTR},
      {0xFFF1000000000000ull, VAR_TYPE_SSTR},  // the sign plays no part
      {0x7FFA000000000000ull, VAR_TYPE_OBJECT},
      {0x7FFD000000000000ull, 29},
      {0x7FFF000000000000ull, 31},
  };
  for (const Case& c : cases) EXPECT_EQ(var_get_type(c.word), c.type) << std::hex << c.word;
}

TEST(VarWord, IntegerThresholds) {
  EXPECT_EQ(var_uint_(0), 0x7FF0E00000000000ull);
  EXPECT_EQ(var_int_(0), 0x7FF0F00000000000ull);
  EXPECT_EQ(var_get_type(var_uint_(0xFFFFFFFFull)), VAR_TYPE_U32);
  EXPECT_EQ(var_uint_(0x100000000ull), 0x7FF2000100000000ull);
  EXPECT_EQ(var_get_type(var_uint_(0xFFFFFFFFFFFFull)), VAR_TYPE_U48);
  Var big(var_uint_(0x1000000000000ull));
  EXPECT_EQ(var_get_type(big.v), VAR_TYPE_U64);
  EXPECT_EQ(cell<uint64_t>(big.v), 0x1000000000000ull);

  EXPECT_EQ(var_int_(-2147483648ll), 0x7FF0F00080000000ull);
  Var i48(var_int_(-2147483649ll));
  EXPECT_EQ(var_get_type(i48.v), VAR_TYPE_I48);
  EXPECT_EQ(static_cast<int64_t>(payload(i48.v) << 16) >> 16, -2147483649ll);
  EXPECT_EQ(var_get_type(var_int_(0x7FFFFFFFFFFFll)), VAR_TYPE_I48);
  EXPECT_EQ(var_get_type(var_int_(-0x800000000000ll)), VAR_TYPE_I48);
  Var i64(var_int_(0x800000000000ll));
  EXPECT_EQ(var_get_type(i64.v), VAR_TYPE_I64);
  EXPECT_EQ(cell<int64_t>(i64.v), 0x800000000000ll);
  Var low(var_int_(INT64_MIN));
  EXPECT_EQ(cell<int64_t>(low.v), INT64_MIN);
}

TEST(VarWord, StringsLiveInTheWordOrOnTheHeap) {
  Var five(var_str_("abcde", true));
  EXPECT_EQ(five.v, 0x7FF1006564636261ull);
  EXPECT_EQ(var_get_str(&five.v), reinterpret_cast<const char*>(&five.v));
  EXPECT_STREQ(var_get_str(&five.v), "abcde");

  Var six(var_str_("abcdef", true));
  EXPECT_EQ(var_get_type(six.v), VAR_TYPE_USTR);
  EXPECT_STREQ(var_get_str(&six.v), "abcdef");
  EXPECT_EQ(var_sstr_("abcdef"), five.v);
  EXPECT_EQ(var_str_("", true), 0x7FF1000000000000ull);
  Var gate(var_str_("caf\xE9 au lait", true));  // local encoding converted
  EXPECT_STREQ(var_get_str(&gate.v), "caf\xC3\xA9 au lait");

  const char* borrowed = "borrowed text";
  var_t ref = var_str_(borrowed, false);
  EXPECT_EQ(var_get_type(ref), VAR_TYPE_CSTR);
  EXPECT_EQ(var_get_str(&ref), borrowed);
  var_t null_ref = var_str_(nullptr, false);
  EXPECT_EQ(null_ref, 0x7FF8000000000000ull);
  EXPECT_EQ(var_get_str(&null_ref), nullptr);
  var_t number = var_int_(1);
  EXPECT_EQ(var_get_str(&number), nullptr);
  EXPECT_EQ(var_get_str(nullptr), nullptr);

  Var shortp(var_printf_("%d", 12345));
  EXPECT_EQ(var_get_type(shortp.v), VAR_TYPE_SSTR);
  Var longp(var_printf_("%d", 123456));
  EXPECT_EQ(var_get_type(longp.v), VAR_TYPE_USTR);
  EXPECT_STREQ(var_get_str(&longp.v), "123456");
}

TEST(VarWord, AllocAndClear) {
  Var cellv;
  auto* p = static_cast<uint64_t*>(var_init_alloc(&cellv.v, 7, 8));
  *p = 42;
  EXPECT_EQ(var_get_type(cellv.v), VAR_TYPE_I64);
  EXPECT_EQ(cell<int64_t>(cellv.v), 42);
  uint64_t* forced = force_alloc_i64(7);
  EXPECT_EQ(*forced, 7u);
  free(forced);

  var_t d = var_f64_(2.5);
  var_clear(&d);
  EXPECT_EQ(d, 0u);
  var_t f = var_f32_(1.5f);
  var_clear(&f);
  EXPECT_EQ(f, VAR_TAG_F32);
  var_t b = VAR_TRUE;
  var_clear(&b);
  EXPECT_EQ(b, VAR_FALSE);
  var_t n = VAR_NULL;
  var_clear(&n);
  EXPECT_EQ(n, VAR_NULL);
  var_t s = var_str_("a long string", true);
  var_clear(&s);
  EXPECT_EQ(s, VAR_TAG_USTR);
  var_t arr = VAR_EMPTY_ARRAY;
  var_append(&arr, var_str_("long enough", true));
  var_clear(&arr);
  EXPECT_EQ(arr, 0x7FFB000000000000ull);
  EXPECT_EQ(var_get_count(&arr), 0);
  var_clear(nullptr);
  var_free(nullptr);
}

TEST(VarObject, MembersNewestFirst) {
  Var obj;
  obj.v = var_int_(3);  // owns nothing: becomes an object without a release
  var_member_of_key(&obj.v, key("a"))->value = var_int_(1);
  EXPECT_EQ(var_get_type(obj.v), VAR_TYPE_OBJECT);
  VAR_MEMBER* again = var_member_of_key(&obj.v, key("a"));
  EXPECT_EQ(as_i32(&again->value), 1);  // found, unchanged
  EXPECT_EQ(var_get_count(&obj.v), 1);

  var_obj_addu(&obj.v, key("dup"), var_int_(1));
  var_obj_addu(&obj.v, key("dup"), var_int_(2));
  EXPECT_EQ(var_get_count(&obj.v), 3);
  EXPECT_EQ(as_i32(var_find_rawkey(&obj.v, "dup", 3)), 2);
  EXPECT_EQ(as_i32(var_find_key(&obj.v, key("dup"))), 2);
  EXPECT_EQ(var_find_key(&obj.v, key("none")), nullptr);
  EXPECT_EQ(var_find_rawkey(nullptr, "a", 1), nullptr);

  // Keys are compared whole: an embedded NUL counts.
  var_member_of_rawkey(&obj.v, "k\0x", 3)->value = var_int_(5);
  EXPECT_EQ(var_find_rawkey(&obj.v, "k", 1), nullptr);
  EXPECT_EQ(as_i32(var_find_rawkey(&obj.v, "k\0x", 3)), 5);

  // A null key matches only a null key.
  var_member_of_rawkey(&obj.v, "", 0)->value = var_int_(9);
  EXPECT_EQ(*var_get_key_at_index(&obj.v, -1), nullptr);
  EXPECT_EQ(as_i32(var_find_key(&obj.v, nullptr)), 9);

  EXPECT_STREQ(*var_get_key_at_index(&obj.v, 0), "a");
  EXPECT_EQ(var_get_key_at_index(&obj.v, 5), nullptr);
  EXPECT_EQ(as_i32(var_get_value_at_index(&obj.v, -2)), 5);

  // A string value is released when it becomes an object.
  Var str(var_str_("released string", true));
  var_member_of_rawkey(&str.v, "x", 1);
  EXPECT_EQ(var_get_count(&str.v), 1);
}

// Releasing a tree whose members share key strings gives back exactly the
// references the members held, however the shared keys interleave.
TEST(VarObject, SharedKeysReleaseExactly) {
  ustr keys[40];
  for (int k = 0; k < 40; k++) {
    char name[16];
    snprintf(name, sizeof name, "name-%d", k);
    keys[k] = ustr_from_strn(name, (u64_t)-1);
  }
  var_t list = VAR_EMPTY_ARRAY;
  for (int i = 0; i < 500; i++) {
    var_t* obj = var_append(&list, VAR_EMPTY_OBJECT);
    for (int k = 0; k < 40; k += 1 + i % 3) var_obj_addu(obj, static_cast<ustr>(svec_share(keys[k])), var_int_(k));
  }
  var_free(&list);
  for (ustr& k : keys) {
    EXPECT_EQ(kyr::svec_header(k)->refcount.load(), 1u);
    EXPECT_EQ(svec_free(&k), 0u);
  }
}

TEST(VarObject, RenameNeverDuplicates) {
  Var obj(VAR_EMPTY_OBJECT);
  var_member_of_rawkey(&obj.v, "a", 1)->value = var_int_(1);
  var_member_of_rawkey(&obj.v, "b", 1)->value = var_int_(2);
  EXPECT_FALSE(var_set_key(&obj.v, 0, key("b")));
  EXPECT_TRUE(var_set_key(&obj.v, 0, key("a")));
  EXPECT_TRUE(var_set_key(&obj.v, -1, key("c")));
  EXPECT_STREQ(*var_get_key_at_index(&obj.v, 1), "c");
  EXPECT_FALSE(var_set_key(&obj.v, 2, key("d")));
  var_t number = var_int_(1);
  EXPECT_FALSE(var_set_key(&number, 0, key("d")));
}

TEST(VarArray, SlotsAndResizing) {
  Var arr(VAR_EMPTY_ARRAY);
  var_t* slot = var_of_index(&arr.v, 3, true);
  *slot = var_int_(3);
  EXPECT_EQ(var_get_count(&arr.v), 4);
  for (int i = 0; i < 3; i++) EXPECT_EQ(*var_get_value_at_index(&arr.v, i), VAR_NULL);
  var_t* clamped = var_of_index(&arr.v, -10, true);
  EXPECT_EQ(clamped, var_get_value_at_index(&arr.v, 0));
  EXPECT_EQ(var_of_index(&arr.v, 5, false), nullptr);
  EXPECT_EQ(as_i32(var_of_index(&arr.v, -1, false)), 3);

  Var text(var_str_("replaced by an array", true));
  var_t* made = var_of_index(&text.v, 7, true);
  EXPECT_EQ(made, var_get_value_at_index(&text.v, 0));
  EXPECT_EQ(var_get_count(&text.v), 1);
  var_t number = var_int_(1);
  EXPECT_EQ(var_of_index(&number, 0, false), nullptr);

  Var list(VAR_EMPTY_ARRAY);
  for (int i = 1; i <= 3; i++) var_append(&list.v, var_int_(i));
  var_append(&list.v, var_str_("a long string value", true));
  EXPECT_EQ(var_flip_arr(&list.v), 4u);
  EXPECT_EQ(as_i32(var_get_value_at_index(&list.v, 1)), 3);
  EXPECT_EQ(as_i32(var_get_value_at_index(&list.v, 3)), 1);
  var_flip_arr(&list.v);
  EXPECT_TRUE(var_del_elem(&list.v, 1, 1000));
  EXPECT_EQ(var_get_count(&list.v), 1);
  EXPECT_TRUE(var_del_elem(&list.v, 5, 1));
  EXPECT_EQ(var_get_count(&list.v), 1);
  EXPECT_TRUE(var_del_elem(&list.v, -1, 1));
  EXPECT_EQ(list.v, VAR_EMPTY_ARRAY);
  EXPECT_FALSE(var_del_elem(&number, 0, 1));

  var_resize_arr(&list.v, 3);
  EXPECT_EQ(var_get_count(&list.v), 3);
  *var_get_value_at_index(&list.v, 2) = var_str_("freed on shrink", true);
  var_resize_arr(&list.v, 1);
  EXPECT_EQ(var_get_count(&list.v), 1);
  var_resize_arr(&list.v, 0);
  EXPECT_EQ(list.v, 0x7FFB000000000000ull);
  EXPECT_EQ(var_flip_arr(&list.v), 0u);
  EXPECT_EQ(var_get_count(&number), -1);

  Var obj(VAR_EMPTY_OBJECT);
  EXPECT_EQ(var_get_count(&obj.v), 0);
  var_member_of_rawkey(&obj.v, "a", 1)->value = var_str_("a long member value", true);
  var_member_of_rawkey(&obj.v, "b", 1);
  EXPECT_TRUE(var_del_elem(&obj.v, 0, 1));
  EXPECT_STREQ(*var_get_key_at_index(&obj.v, 0), "b");
}

std::vector<u32_t> walk_states(const var_t* root) {
  std::vector<u32_t> states;
  VAR_IT it;
  VAR_IT_Init(&it, root);
  while (VAR_IT_Next(&it)) states.push_back(it.state);
  EXPECT_EQ(it.state, static_cast<u32_t>(VAR_IT_DONE));
  EXPECT_EQ(it.frames, nullptr);
  return states;
}

TEST(VarWalk, EventsAndKeys) {
  Var obj(VAR_EMPTY_OBJECT);
  var_member_of_rawkey(&obj.v, "a", 1)->value = VAR_EMPTY_ARRAY;
  var_append(&var_member_of_rawkey(&obj.v, "b", 1)->value, var_int_(7));
  EXPECT_EQ(walk_states(&obj.v), (std::vector<u32_t>{2, 4, 5, 1, 6, 3}));

  VAR_IT it;
  VAR_IT_Init(&it, &obj.v);
  ustr k = nullptr;
  ASSERT_TRUE(VAR_IT_Next(&it));  // object begin
  EXPECT_EQ(VAR_IT_Get(&it, &k), nullptr);
  ASSERT_TRUE(VAR_IT_Next(&it));  // a: empty
  ustr got = VAR_IT_GetKey(&it);
  EXPECT_STREQ(got, "a");
  svec_free(&got);
  EXPECT_EQ(*VAR_IT_Get(&it, &k), VAR_EMPTY_ARRAY);
  EXPECT_STREQ(k, "a");
  ASSERT_TRUE(VAR_IT_Next(&it));  // b: array begin
  ASSERT_TRUE(VAR_IT_Next(&it));  // 7
  EXPECT_EQ(as_i32(VAR_IT_Get(&it, &k)), 7);
  EXPECT_EQ(k, nullptr);  // array slots have no key
  EXPECT_EQ(VAR_IT_GetKey(&it), nullptr);
  ASSERT_TRUE(VAR_IT_Next(&it));  // array end: the container just left
  EXPECT_EQ(VAR_IT_Get(&it, &k), var_find_rawkey(&obj.v, "b", 1));
  EXPECT_STREQ(k, "b");
  svec_free(&k);
  svec_free(&it.frames);  // stopping early

  var_t number = var_int_(1);
  EXPECT_EQ(walk_states(&number), (std::vector<u32_t>{1}));
  VAR_IT one;
  VAR_IT_Init(&one, &number);
  VAR_IT_Next(&one);
  EXPECT_EQ(VAR_IT_Get(&one, nullptr), &number);
  var_t empty = VAR_EMPTY_OBJECT;
  EXPECT_EQ(walk_states(&empty), (std::vector<u32_t>{4}));
}

// The walker's frames are an exact-size svec: each push is one realloc, which
// glibc does in place or by remapping pages, but which the sanitizers' realloc
// always copies. There the depth is cut so the walk stays fast; the small
// machine stack still proves that nothing recurses.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KYR_TEST_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(KYR_TEST_ASAN)
constexpr int kDeepLevels = 5000;
#else
constexpr int kDeepLevels = 1000000;
#endif

TEST(VarWalk, MillionLevelsWithoutMachineStack) {
  constexpr int kDepth = kDeepLevels;
  for (bool objects : {false, true}) {
    var_t root = VAR_NULL;
    var_t* cur = &root;
    for (int i = 0; i < kDepth; i++)
      cur = objects ? &var_member_of_rawkey(cur, "a", 1)->value
                    : var_append(cur, VAR_NULL);
    *cur = var_str_("the innermost value", true);
    on_small_stack([&] {
      size_t events = 0, deepest = 0;
      VAR_IT it;
      VAR_IT_Init(&it, &root);
      while (VAR_IT_Next(&it)) {
        events++;
        deepest = std::max<size_t>(deepest, svec_length(it.frames));
      }
      EXPECT_EQ(events, 2u * kDepth + 1);
      EXPECT_EQ(deepest, static_cast<size_t>(kDepth));
      var_free(&root);
    });
  }
}

}  // namespace
