#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <string>

#include <kyr/kyr_core.h>

#include "core/svec_internal.h"

namespace {

// A ustr value of any length; var_str_ would make short strings up to 5 bytes.
var_t ustr_value(const char* s) {
  return VAR_TAG_USTR | reinterpret_cast<uintptr_t>(ustr_from_strn(s, static_cast<u64_t>(-1)));
}
var_t sstr(const char* s) { return var_sstr_(s); }
var_t dbl(double d) { return var_f64_(d); }
uint64_t* payload_cell(const var_t* v) {
  return reinterpret_cast<uint64_t*>(static_cast<uintptr_t>(*v & VAR_PAYLOAD_MASK));
}
var_t small_kind(unsigned sub_tag, uint32_t low) {
  return 0x7FF0000000000000ull | (static_cast<uint64_t>(sub_tag) << 44) | low;
}

std::string as_text(var_t v) {
  ustr s = nullptr;
  if (!var_to_ustr(&v, &s)) return "<fail>";
  std::string out = s ? s : "";
  svec_free(&s);
  return out;
}

}  // namespace

TEST(VarConv, TextAndNumbersAsBool) {
  bool b = true;
  var_t v = dbl(-0.0);
  EXPECT_TRUE(var_to_boolp(&v, &b));
  EXPECT_FALSE(b);
  for (const char* yes : {"true", " \ttrue", "True", "TRUE"}) {
    var_t t = ustr_value(yes);
    b = false;
    EXPECT_TRUE(var_to_boolp(&t, &b)) << yes;
    EXPECT_TRUE(b);
    var_free(&t);
  }
  for (const char* no : {"False", "FALSE and more", "false"}) {
    var_t t = ustr_value(no);
    b = true;
    EXPECT_TRUE(var_to_boolp(&t, &b)) << no;
    EXPECT_FALSE(b);
    var_free(&t);
  }
  for (const char* bad : {"true ", "truex", "yes", "0", "1", "", "fals"}) {
    var_t t = ustr_value(bad);
    b = true;
    EXPECT_FALSE(var_to_boolp(&t, &b)) << bad;
    EXPECT_TRUE(b);  // left alone
    var_free(&t);
  }
  var_t nan32 = var_f32_(std::nanf(""));
  EXPECT_TRUE(var_to_boolp(&nan32, &b) && b);
  var_t null = VAR_NULL;
  EXPECT_FALSE(var_to_boolp(&null, &b));
  EXPECT_FALSE(var_to_boolp(nullptr, &b));
}

TEST(VarConv, TextAsIntegers) {
  struct Case {
    const char* text;
    bool ok;
    int32_t value;
  } cases[] = {{"0x10", true, 16},  {"010", true, 8},       {"12 apples", true, 12},
               {"  -7", true, -7},  {"apples", false, 0},  {"3000000000", false, 0},
               {"4294967295", false, 0}, {"-2147483648", true, INT32_MIN}};
  for (const Case& c : cases) {
    var_t t = ustr_value(c.text);
    int32_t i = 99;
    EXPECT_EQ(var_to_i32p(&t, &i), c.ok) << c.text;
    EXPECT_EQ(i, c.ok ? c.value : 99) << c.text;
    uint32_t u = 99;
    EXPECT_EQ(var_to_u32p(&t, &u), c.ok) << c.text;  // the text range is signed 32 bits
    var_free(&t);
  }
  var_t big = ustr_value("9223372036854775807");
  int64_t i64 = 0;
  EXPECT_TRUE(var_to_i64p(&big, &i64));
  EXPECT_EQ(i64, INT64_MAX);
  var_free(&big);
  var_t over = ustr_value("18446744073709551615");
  uint64_t u64 = 5;
  EXPECT_FALSE(var_to_u64p(&over, &u64));
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(u64, 5u);
  var_free(&over);
  var_t s = sstr("-12");
  EXPECT_TRUE(var_to_i64p(&s, &i64));
  EXPECT_EQ(i64, -12);
  var_t huge = ustr_value("1e999");
  double d = 1;
  EXPECT_FALSE(var_to_f64p(&huge, &d));
  EXPECT_EQ(d, 1);
  var_free(&huge);
}

TEST(VarConv, NumberMatrix) {
  uint32_t u = 0;
  int32_t i = 0;
  var_t v = var_uint_(0x123456789ABull);  // u48
  EXPECT_TRUE(var_to_u32p(&v, &u));
  EXPECT_EQ(u, 0x456789ABu);
  v = var_uint_(0xFFFF000012345678ull);  // u64 cell
  EXPECT_TRUE(var_to_u32p(&v, &u));
  EXPECT_EQ(u, 0x12345678u);
  var_free(&v);
  v = dbl(1e20);
  EXPECT_TRUE(var_to_i32p(&v, &i));  // no range check
  v = dbl(-1.0);
  EXPECT_TRUE(var_to_u32p(&v, &u));
  EXPECT_EQ(u, 0xFFFFFFFFu);
  v = dbl(3e9);
  EXPECT_TRUE(var_to_u32p(&v, &u));
  EXPECT_EQ(u, 3000000000u);
  v = var_f32_(3e9f);  // an f32 truncates to signed 32 bits even for u32
  EXPECT_TRUE(var_to_u32p(&v, &u));
  EXPECT_NE(u, 3000000000u);
  v = dbl(-3.9);
  EXPECT_TRUE(var_to_i32p(&v, &i));
  EXPECT_EQ(i, -3);

  uint64_t u64 = 0;
  int64_t i64 = 0;
  v = dbl(18446744073709549568.0);  // 2^64 - 2048
  EXPECT_TRUE(var_to_u64p(&v, &u64));
  EXPECT_EQ(u64, 18446744073709549568ull);
  v = dbl(9223372036854775808.0);
  EXPECT_TRUE(var_to_u64p(&v, &u64));
  EXPECT_EQ(u64, 0x8000000000000000ull);
  v = var_uint_(0xFFFFFFFFFFFFull);
  EXPECT_TRUE(var_to_u64p(&v, &u64));
  EXPECT_EQ(u64, 0xFFFFFFFFFFFFull);
  v = var_int_(-5000000000ll);  // i48
  EXPECT_TRUE(var_to_i64p(&v, &i64));
  EXPECT_EQ(i64, -5000000000ll);
  EXPECT_TRUE(var_to_u32p(&v, &u));
  EXPECT_EQ(u, static_cast<uint32_t>(-5000000000ll));

  double d = 0;
  float f = 0;
  v = var_uint_(0xFFFFFFFFFFFFFFFFull);  // correct rounding of the top bit
  EXPECT_TRUE(var_to_f64p(&v, &d));
  EXPECT_EQ(d, 18446744073709551616.0);
  EXPECT_TRUE(var_to_f32p(&v, &f));
  EXPECT_EQ(f, 18446744073709551616.0f);
  var_free(&v);
  v = var_uint_(0x8000000000000401ull);  // halving keeps the sticky bit
  EXPECT_TRUE(var_to_f64p(&v, &d));
  EXPECT_EQ(d, static_cast<double>(0x8000000000000401ull));
  var_free(&v);
  v = VAR_TRUE;
  EXPECT_TRUE(var_to_f32p(&v, &f));
  EXPECT_EQ(f, 1.0f);
  for (var_t refused : {VAR_NULL, VAR_EMPTY_ARRAY, VAR_EMPTY_OBJECT, small_kind(6, 5),
                        var_err_code_msg_func_(-1, nullptr, nullptr)}) {
    EXPECT_FALSE(var_to_f64p(&refused, &d));
    EXPECT_FALSE(var_to_i64p(&refused, &i64));
    var_free(&refused);
  }
}

TEST(VarConv, TextForms) {
  EXPECT_EQ(as_text(var_int_(-5000000000ll)), "-5000000000");
  EXPECT_EQ(as_text(var_uint_(0x123456789ABull)), "1250999896491");
  EXPECT_EQ(as_text(VAR_TRUE), "true");
  EXPECT_EQ(as_text(var_f32_(0.1f)), "0.1");
  EXPECT_EQ(as_text(small_kind(6, 200)), "200");
  EXPECT_EQ(as_text(small_kind(7, 0xFF)), "-1");
  EXPECT_EQ(as_text(small_kind(11, 0xFFFF)), "-1");
  EXPECT_EQ(as_text(var_int_(-3)), "-3");
  EXPECT_EQ(as_text(sstr("abc")), "abc");
  EXPECT_EQ(as_text(dbl(1.5)), "<fail>");
  var_t cell = var_uint_(1ull << 60);
  EXPECT_EQ(as_text(cell), "<fail>");
  var_free(&cell);
  var_t none = var_str_(nullptr, false);
  ustr s = ustr_from_strn("old", static_cast<u64_t>(-1));
  EXPECT_TRUE(var_to_ustr(&none, &s));  // a text reference without text: no string
  EXPECT_EQ(s, nullptr);                // and the old one released

  // A ustr is shared, not copied; a variable holding it keeps one reference.
  var_t u = ustr_value("shared text");
  ustr held = nullptr;
  EXPECT_TRUE(var_to_ustr(&u, &held));
  EXPECT_EQ(held, var_get_str(&u));
  EXPECT_EQ(kyr::svec_refs(held), 2u);
  EXPECT_TRUE(var_to_ustr(&u, &held));
  EXPECT_EQ(kyr::svec_refs(held), 2u);
  ustr other = ustr_from_strn("old", static_cast<u64_t>(-1));
  EXPECT_TRUE(var_to_ustr(&u, &other));  // the old string is released
  EXPECT_EQ(kyr::svec_refs(held), 3u);
  svec_free(&other);
  svec_free(&held);
  var_free(&u);

  const char* p = nullptr;
  var_t sh = sstr("hi");
  EXPECT_TRUE(var_to_char(&sh, &p));
  EXPECT_EQ(p, reinterpret_cast<const char*>(&sh));
  var_t num = var_uint_(1);
  EXPECT_FALSE(var_to_char(&num, &p));
}

TEST(VarConv, ToByTypeCode) {
  uint64_t word = 0;
  var_t v = var_int_(-1);
  EXPECT_FALSE(var_to(&v, &word, VAR_TYPE_NULL, nullptr));
  EXPECT_EQ(word, v);
  uint8_t b = 0;
  v = dbl(300.7);
  EXPECT_TRUE(var_to(&v, &b, VAR_TYPE_U8, nullptr));
  EXPECT_EQ(b, 44);  // 300 cut to a byte
  v = dbl(-1.5);
  EXPECT_TRUE(var_to(&v, &b, VAR_TYPE_I8, nullptr));
  EXPECT_EQ(b, 0xFF);
  uint16_t h = 0;
  var_t t = sstr("70000");
  EXPECT_TRUE(var_to(&t, &h, VAR_TYPE_U16, nullptr));
  EXPECT_EQ(h, 70000 & 0xFFFF);
  int64_t ptr_sized = 0;
  v = var_uint_(77);
  EXPECT_TRUE(var_to(&v, &ptr_sized, VAR_TYPE_ARRAY, nullptr));  // 27: an intptr
  EXPECT_EQ(ptr_sized, 77);
  bool flag = false;
  v = VAR_TRUE;
  EXPECT_TRUE(var_to(&v, &flag, VAR_TYPE_BOOL, nullptr));
  EXPECT_TRUE(flag);
  EXPECT_FALSE(var_to(&v, &flag, VAR_TYPE_OBJECT, nullptr));
  EXPECT_FALSE(var_to(nullptr, &flag, VAR_TYPE_BOOL, nullptr));

  ustr s = reinterpret_cast<ustr>(1);
  t = ustr_value("some text");
  EXPECT_TRUE(var_to(&t, &s, VAR_TYPE_USTR, nullptr));
  EXPECT_STREQ(s, "some text");
  EXPECT_NE(s, var_get_str(&t));  // a new string
  svec_free(&s);
  var_free(&t);
  v = var_uint_(5);
  s = reinterpret_cast<ustr>(1);
  EXPECT_FALSE(var_to(&v, &s, VAR_TYPE_USTR, nullptr));
  EXPECT_EQ(s, nullptr);

  // The callback runs first; a text that isn't a number keeps its result.
  uint32_t code = 0;
  t = ustr_value("RGBA8");
  EXPECT_FALSE(var_to(&t, &code, VAR_TYPE_U32, fourcc_strconv));
  EXPECT_EQ(code, KYR_FOURCC('R', 'G', 'B', 'A'));
  var_free(&t);
  t = sstr("12");
  EXPECT_TRUE(var_to(&t, &code, VAR_TYPE_U32, fourcc_strconv));
  EXPECT_EQ(code, 12u);
}

TEST(VarConv, InPlace) {
  var_t v = var_uint_(0x80000001u);
  int32_t* i = var_mut_to_i32(&v);
  ASSERT_EQ(i, reinterpret_cast<int32_t*>(&v));
  EXPECT_EQ(v, 0x7FF0F00080000001ull);  // only the high half changed
  v = dbl(3.5);
  EXPECT_EQ(*var_mut_to_i32(&v), 3);
  EXPECT_EQ(var_get_type(v), VAR_TYPE_I32);
  v = dbl(-1.0);
  EXPECT_EQ(*var_mut_to_u32(&v), 0xFFFFFFFFu);
  v = dbl(2.0);
  EXPECT_TRUE(*var_mut_to_bool(&v));
  EXPECT_EQ(v, VAR_TRUE);
  v = dbl(0.25);
  EXPECT_EQ(*var_mut_to_f32(&v), 0.25f);

  v = ustr_value("  42 is the answer");
  EXPECT_EQ(*var_mut_to_i32(&v), 42);  // the string is released (a leak shows)
  v = VAR_EMPTY_OBJECT;
  EXPECT_EQ(var_mut_to_i32(&v), nullptr);
  EXPECT_EQ(v, VAR_EMPTY_OBJECT);

  v = var_int_(-1ll << 60);
  uint64_t* cell = payload_cell(&v);
  EXPECT_EQ(var_mut_to_u64(&v), cell);  // same cell, new tag
  EXPECT_EQ(var_get_type(v), VAR_TYPE_U64);
  EXPECT_EQ(*cell, static_cast<uint64_t>(-1ll << 60));
  var_free(&v);
  v = dbl(-2.5);
  EXPECT_EQ(*var_mut_to_i64(&v), -2);
  var_free(&v);
  v = ustr_value("123456789012");
  EXPECT_EQ(*var_mut_to_u64(&v), 123456789012ull);
  var_free(&v);
  v = var_int_(-1ll << 60);
  var_clear(&v);  // an i64 word without a cell reads as 0
  EXPECT_EQ(*var_mut_to_i64(&v), 0);
  var_free(&v);
  v = sstr("2.5");
  EXPECT_EQ(*var_mut_to_f64(&v), 2.5);
  EXPECT_EQ(v, var_f64_(2.5));
  v = VAR_NULL;
  EXPECT_EQ(var_mut_to_f64(&v), nullptr);
}

TEST(VarConv, NeverFailingPointers) {
  var_t v = VAR_EMPTY_ARRAY;
  var_append(&v, var_uint_(1));
  EXPECT_EQ(*var_get_i32p(&v), 0);  // the array is released and replaced
  EXPECT_EQ(v, VAR_TAG_I32);
  v = ustr_value("42");
  EXPECT_EQ(*var_get_i32p(&v), 42);
  v = var_err_code_msg_func_(-5, "broken", nullptr);
  *var_get_f64p(&v) = 7.5;
  EXPECT_EQ(v, var_f64_(7.5));
  v = VAR_NULL;
  int64_t* cell = var_get_i64p(&v);
  EXPECT_EQ(*cell, 0);
  EXPECT_EQ(var_get_type(v), VAR_TYPE_I64);
  var_free(&v);
  v = VAR_EMPTY_OBJECT;
  EXPECT_EQ(*var_get_f32p(&v), 0.0f);
  EXPECT_EQ(v, VAR_TAG_F32);
}

TEST(VarConv, MembersWithDefaults) {
  var_t obj = var_json_("{\"n\":12,\"d\":-2.7,\"z\":null,\"t\":\"abc\",\"tx\":\"0x20\","
                        "\"f3\":\"RGB\",\"f5\":\"RGBA8\",\"e\":\"\",\"f\":1.5}",
                        static_cast<u64_t>(-1), 0);
  EXPECT_EQ(var_prop_as_u32_def(&obj, "n", 9), 12u);
  EXPECT_EQ(var_prop_as_u32_def(&obj, "missing", 9), 9u);
  EXPECT_EQ(var_prop_as_u32_def(&obj, "z", 9), 9u);
  EXPECT_EQ(var_prop_as_u32_def(&obj, "t", 9), 9u);
  EXPECT_EQ(var_prop_as_u32_def(&obj, "tx", 9), 32u);
  EXPECT_EQ(var_prop_as_i32_def(&obj, "d", 9), -2);
  EXPECT_EQ(var_prop_as_f32_def(&obj, "f", 9), 1.5f);
  EXPECT_EQ(var_prop_as_f32_def(&obj, "n", 9), 12.0f);
  EXPECT_EQ(var_prop_as_fourcc_def(&obj, "f3", 7), KYR_FOURCC('R', 'G', 'B', ' '));
  EXPECT_EQ(var_prop_as_fourcc_def(&obj, "f5", 7), KYR_FOURCC('R', 'G', 'B', 'A'));
  EXPECT_EQ(var_prop_as_fourcc_def(&obj, "e", 7), 0x20202020u);
  EXPECT_EQ(var_prop_as_fourcc_def(&obj, "n", 7), 7u);
  EXPECT_EQ(var_prop_as_fourcc_def(&obj, "missing", 7), 7u);
  var_t number = var_uint_(3);
  EXPECT_EQ(var_prop_as_i32_def(&number, "n", -1), -1);
  EXPECT_EQ(var_prop_as_i32_def(nullptr, "n", -1), -1);
  var_free(&obj);
}
