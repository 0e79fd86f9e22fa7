// Paths into variant trees: the grammar, the looking road (which must change
// nothing and allocate no more than one converted key), and what the
// building road leaves behind, also after a failure.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kyr/kyr_var_path.h"
#include "var/var_path_internal.h"

// Counting allocator: the test binary's malloc forwards to the C library's and
// counts calls while a window is open. Sanitizers bring their own allocator,
// so the count is taken only in plain builds.
#if defined(__SANITIZE_ADDRESS__)
#define COUNT_ALLOCS 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define COUNT_ALLOCS 0
#endif
#endif
#ifndef COUNT_ALLOCS
#define COUNT_ALLOCS 1
#endif

#if COUNT_ALLOCS
static std::atomic<bool> g_counting{false};
static std::atomic<int> g_allocs{0};
extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void __libc_free(void*);
void* malloc(size_t n) { return g_allocs += g_counting, __libc_malloc(n); }
void* calloc(size_t n, size_t s) { return g_allocs += g_counting, __libc_calloc(n, s); }
void* realloc(void* p, size_t n) { return g_allocs += g_counting, __libc_realloc(p, n); }
void free(void* p) { __libc_free(p); }
}
#endif

namespace {

struct Var {  // releases on scope exit
  var_t v;
  explicit Var(var_t w = VAR_NULL) : v(w) {}
  ~Var() { var_free(&v); }
};

var_t* find(const var_t* root, const std::string& path) {
  return var_find_rawpath(root, path.data(), path.size());
}
var_t* make(var_t* root, const std::string& path, var_t initial = VAR_NULL) {
  return var_of_rawpath(root, path.data(), path.size(), initial);
}
var_t* member(var_t* v, const char* key) { return var_find_rawkey(v, key, strlen(key)); }
i32_t as_i32(const var_t* v) { return static_cast<i32_t>(static_cast<u32_t>(*v)); }

// Everything a change could touch: events, keys, scalar words, body addresses.
std::string snapshot(const var_t* root) {
  std::string s;
  VAR_IT it;
  VAR_IT_Init(&it, root);
  while (VAR_IT_Next(&it)) {
    ustr key = nullptr;
    const var_t* v = VAR_IT_Get(&it, &key);
    s += std::to_string(it.state) + ":" + std::string(key ? key : "", svec_length(key)) +
         "=" + (v ? std::to_string(*v) : "-") + ";";
    svec_free(&key);
  }
  return s;
}

// {window: {size: [640, 480]}, planes: [{sz: 1}, {sz: 2}], list: [10, 11, 12],
//  grid: [[7, 8]], "a b ": {"x]": 5}, "é" (converted key): 9}
struct Doc : Var {
  Doc() {
    *make(&v, "window.size[0]") = var_int_(640);
    *make(&v, "window.size[1]") = var_int_(480);
    *make(&v, "planes[0].sz") = var_int_(1);
    *make(&v, "planes[1].sz") = var_int_(2);
    for (int i = 0; i < 3; i++) var_append(make(&v, "list"), var_int_(10 + i));
    *make(&v, "grid[0].[0]") = var_int_(7);
    *make(&v, "grid[0].[1]") = var_int_(8);
    *make(&v, "a b .x]") = var_int_(5);
    var_obj_addu(&v, ustr_from_strn("\xE9", 1), var_int_(9));
  }
  var_t* at(const char* key) { return member(&v, key); }
};

TEST(VarPath, IndexReaderIsStrtollWithinTheBound) {
  const char* cases[] = {" \t\n\v\f\r5", "0X1f", "010", "08", "0x", "0xg", "- 1", "+",
                         "9223372036854775808", "-9223372036854775808",
                         "-0x8000000000000001", "00000000000000000000000000017"};
  std::mt19937 rng(7);
  const char alphabet[] = " \t\n+-0123456789abcdefxX]";
  std::vector<std::string> inputs(std::begin(cases), std::end(cases));
  for (int n = 0; n < 20000; n++) {
    std::string s(rng() % 24, ' ');
    for (char& c : s) c = alphabet[rng() % (sizeof alphabet - 1)];
    inputs.push_back(s);
  }
  for (const std::string& s : inputs) {
    errno = 0;
    char* end;
    long long want = strtoll(s.c_str(), &end, 0);
    int want_errno = errno;
    errno = 0;
    kyr::PathIndex got = kyr::read_path_index(s.data(), 0, s.size());
    EXPECT_EQ(got.value, want) << s;
    EXPECT_EQ(got.end, static_cast<size_t>(end - s.c_str())) << s;
    EXPECT_EQ(errno, want_errno) << s;
  }
  // The bound cuts digits, and nothing past it is read (an exact-size block).
  std::unique_ptr<char[]> two(new char[2]{'1', '2'});
  kyr::PathIndex cut = kyr::read_path_index(two.get(), 0, 2);
  EXPECT_EQ(cut.value, 12);
  EXPECT_EQ(cut.end, 2u);
  EXPECT_FALSE(kyr::read_path_index(two.get(), 2, 2).digits);
}

TEST(VarPath, FindGrammar) {
  Doc d;
  var_t* size = member(d.at("window"), "size");
  var_t* list = d.at("list");
  struct Case {
    std::string path;
    const var_t* want;
  } cases[] = {  // each also through the building road with the sentinel
      {"", &d.v},
      {" \t..", &d.v},
      {"window..size", size},
      {" \t.window.size.", size},
      {"planes[1].sz", member(var_of_index(d.at("planes"), 1, false), "sz")},
      {"planes.[1].[0]", member(var_of_index(d.at("planes"), 1, false), "sz")},
      {"grid[0].[1]", var_of_index(var_of_index(d.at("grid"), 0, false), 1, false)},
      {"list[-1]", var_of_index(list, 2, false)},
      {"list[-5]", var_of_index(list, 0, false)},
      {"list[\n+0x1\t]  ", var_of_index(list, 1, false)},
      {"list[02]", var_of_index(list, 2, false)},
      {"[0]", d.at("window")},
      {"[-1]", d.at("\xC3\xA9")},
      {"a b .x]", member(d.at("a b "), "x]")},
      {"\xE9", d.at("\xC3\xA9")},  // the gate converts the path's key
      {std::string("list\0.x", 7), list},
      {"list[3]", nullptr},
      {"grid[0][1]", nullptr},
      {"list[1]b", nullptr},
      {"list[1] .x", nullptr},
      {"list[x]", nullptr},
      {"list[]", nullptr},
      {"list[1", nullptr},
      {"list[08]", nullptr},
      {"list[9223372036854775808]", nullptr},
      {std::string("list[1\0]", 8), nullptr},
      {"list.x", nullptr},
      {"window.missing.x", nullptr},
      {"window[5]", nullptr},
      {"window.size[0].[0]", nullptr},
  };
  std::string before = snapshot(&d.v);
  for (const Case& c : cases) {
    EXPECT_EQ(find(&d.v, c.path), c.want) << c.path;
    EXPECT_EQ(make(&d.v, c.path, VAR_PATH_NO_CREATE), c.want) << c.path;
  }
  EXPECT_EQ(snapshot(&d.v), before);

  // Lengths: -1 reads to the NUL, 0 and a null path are the empty path.
  EXPECT_EQ(var_find_rawpath(&d.v, "list[1]", -1), var_of_index(list, 1, false));
  EXPECT_EQ(var_find_rawpath(&d.v, "list", 0), &d.v);
  EXPECT_EQ(var_find_rawpath(&d.v, nullptr, 5), &d.v);
  EXPECT_EQ(var_find_rawpath(nullptr, "list", 4), nullptr);
  EXPECT_EQ(var_of_rawpath(nullptr, "list", 4, VAR_NULL), nullptr);

  // errno: cleared for each index, ERANGE after an overflow, untouched without
  // brackets.
  errno = 42;
  EXPECT_NE(find(&d.v, "list[1]"), nullptr);
  EXPECT_EQ(errno, 0);
  EXPECT_EQ(find(&d.v, "list[0x10000000000000000]"), nullptr);
  EXPECT_EQ(errno, ERANGE);
  errno = 42;
  EXPECT_NE(find(&d.v, "window.size"), nullptr);
  EXPECT_EQ(errno, 42);
}

#if COUNT_ALLOCS
int allocs_of(const std::function<void()>& fn) {
  g_allocs = 0;
  g_counting = true;
  fn();
  g_counting = false;
  return g_allocs;
}

TEST(VarPath, FindAllocatesOnlyAConvertedKey) {
  Doc d;
  EXPECT_EQ(allocs_of([&] { find(&d.v, "planes[1].sz"); }), 0);
  EXPECT_EQ(allocs_of([&] { find(&d.v, "window.missing"); }), 0);
  // A key that needs the gate costs what converting it once costs.
  int one_key = allocs_of([] {
    ustr k = ustr_from_strn("\xE9", 1);
    svec_free(&k);
  });
  EXPECT_GT(one_key, 0);
  EXPECT_EQ(allocs_of([&] { EXPECT_NE(find(&d.v, "\xE9"), nullptr); }), one_key);
  // Members that exist cost the building road no key either.
  EXPECT_EQ(allocs_of([&] { make(&d.v, "planes[1].sz", var_int_(3)); }), 0);
}
#endif

TEST(VarPath, BuildingCreatesWhatIsMissing) {
  Var root;
  var_t* b = make(&root.v, "a.b", var_int_(5));
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(as_i32(b), 5);
  EXPECT_EQ(make(&root.v, "a.b", var_int_(7)), b);
  EXPECT_EQ(as_i32(b), 5);
  EXPECT_EQ(find(&root.v, "a.b"), b);
  EXPECT_EQ(var_get_count(&root.v), 1);

  // A number in the way becomes an object; nothing to release.
  Var num(var_int_(3));
  EXPECT_EQ(*make(&num.v, "x", var_int_(1)), var_int_(1));
  EXPECT_EQ(var_get_type(num.v), VAR_TYPE_OBJECT);

  // Arrays grow with null slots; a negative index clamps to slot 0; a value of
  // another kind becomes an array of one slot whatever the index.
  Var arr(VAR_EMPTY_ARRAY);
  var_t* s3 = make(&arr.v, "[3]", var_int_(1));
  EXPECT_EQ(var_get_count(&arr.v), 4);
  EXPECT_EQ(*s3, VAR_NULL);
  EXPECT_EQ(make(&arr.v, "[-10]"), var_of_index(&arr.v, 0, false));
  Var text(var_str_("a string on the heap", true));
  var_t* slot = make(&text.v, "[99999999999]");
  EXPECT_EQ(slot, var_of_index(&text.v, 0, false));
  EXPECT_EQ(var_get_count(&text.v), 1);

  // On an object an index picks a member and never creates one.
  Var obj;
  make(&obj.v, "p.x", var_int_(1));
  EXPECT_EQ(make(&obj.v, "p[0]"), member(member(&obj.v, "p"), "x"));
  EXPECT_EQ(make(&obj.v, "p[5]"), nullptr);
  EXPECT_EQ(var_get_count(member(&obj.v, "p")), 1);

  // Keys are stored raw: the looking road converts the same bytes and misses.
  Var raw;
  var_t* e9 = make(&raw.v, "\xE9");
  EXPECT_EQ(var_find_rawkey(&raw.v, "\xE9", 1), e9);
  EXPECT_EQ(find(&raw.v, "\xE9"), nullptr);

  // A single key may take a value that owns memory: the tree owns it when
  // created, the caller keeps it when the member existed.
  Var owned;
  var_t s = var_str_("owned by the tree now", true);
  EXPECT_EQ(*make(&owned.v, "s", s), s);
  Var kept(var_str_("still the caller's", true));
  EXPECT_EQ(*make(&owned.v, "s", kept.v), s);
}

TEST(VarPath, FailuresLeaveWhatWasBuilt) {
  struct Case {
    const char* path;
    const char* left;  // names what the failing walk built
    i64_t count;       // its element count; -1 for a scalar
    var_t word;        // the scalar's word
  } cases[] = {
      {"a[1][2]", "a[0]", -1, VAR_NULL}, {"a[1]b", "a", 1, 0},
      {"a[x]", "a", -1, var_int_(5)},     {"a[]", "a", -1, var_int_(5)},
      {"a.b[", "a.b", -1, var_int_(5)},   {"a.b[1", "a.b", -1, var_int_(5)},
      {"a.b[1]c", "a.b", 1, 0},           {"a[99999999999999999999]", "a", -1, var_int_(5)},
  };
  for (const Case& c : cases) {
    Var root;
    EXPECT_EQ(make(&root.v, c.path, var_int_(5)), nullptr) << c.path;
    const var_t* left = find(&root.v, c.left);
    ASSERT_NE(left, nullptr) << c.path;
    EXPECT_EQ(var_get_count(left), c.count) << c.path;
    if (c.count < 0) EXPECT_EQ(*left, c.word) << c.path;
  }

  // An index past the growth bound is refused on an array, which stays as it
  // was; the same index on a value that isn't a container still gives slot 0.
  Var arr(VAR_EMPTY_ARRAY);
  var_append(&arr.v, var_int_(1));
  std::string past = "[" + std::to_string(VAR_PATH_MAX_GROW_INDEX + 1) + "]";
  EXPECT_EQ(make(&arr.v, past), nullptr);
  EXPECT_EQ(var_get_count(&arr.v), 1);
  Var none;
  EXPECT_NE(make(&none.v, past), nullptr);
  EXPECT_EQ(var_get_count(&none.v), 1);
}

}  // namespace
