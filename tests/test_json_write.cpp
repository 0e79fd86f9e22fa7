#include <gtest/gtest.h>
#include <pthread.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <string>

#include <kyr/kyr_core.h>

#include "text/ustr_internal.h"
#include "var/json_write_internal.h"
#include "var/var_conv_internal.h"

namespace {

std::string to_json(const var_t& v, u32_t indent = 0) {
  ustr s = var_to_json(&v, indent);
  std::string out(s ? s : "", svec_length(s));
  svec_free(&s);
  return out;
}

var_t parse(const std::string& text) { return var_json_(text.data(), text.size(), 0); }

std::string printf_text(const char* format, double d) {
  char buf[400];
  std::snprintf(buf, sizeof buf, format, d);
  return buf;
}

var_t small_word(unsigned sub, uint32_t low) {
  return 0x7FF0000000000000ull | (uint64_t{sub} << 44) | low;
}
var_t tagged_word(unsigned main, uint64_t payload) {
  return 0x7FF0000000000000ull | (uint64_t{main} << 48) | payload;
}

// A stream that records every write and accepts at most `limit` bytes of
// each, with no vprintf slot.
struct Recorder {
  std::string bytes;
  int writes = 0;
  u64_t limit = ~0ull;
};
const stream_ops_t kRecorderOps = {
    nullptr, nullptr,
    [](void* ctx, const void* buf, u64_t n) -> i64_t {
      auto* r = static_cast<Recorder*>(ctx);
      r->writes++;
      u64_t take = std::min(n, r->limit);
      r->bytes.append(static_cast<const char*>(buf), take);
      return r->limit ? static_cast<i64_t>(take) : -1;
    },
    nullptr, nullptr, nullptr};

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

TEST(JsonWrite, LayoutAndReadingBack) {
  var_t v = parse(R"({"a":[1,2],"e":[],"o":{},"n":null,"s":"","t":{"x":[[true]]}})");
  EXPECT_EQ(to_json(v), R"({"a":[1,2],"e":[],"o":{},"n":null,"s":"","t":{"x":[[true]]}})");
  EXPECT_EQ(to_json(v, 2),
            "{\n  \"a\":[\n    1,\n    2\n  ],\n  \"e\":[],\n  \"o\":{},\n  \"n\":null,\n"
            "  \"s\":\"\",\n  \"t\":{\n    \"x\":[\n      [\n        true\n      ]\n    ]\n  }\n}");
  var_free(&v);
  var_t seven = var_uint_(7), empty = VAR_EMPTY_ARRAY;
  EXPECT_EQ(to_json(seven, 4), "7");
  EXPECT_EQ(to_json(empty, 4), "[]");
  EXPECT_EQ(var_to_json(nullptr, 2), nullptr);

  // Members in body order, a null name as "", duplicates as they stand.
  var_t obj = VAR_NULL;
  var_obj_addu(&obj, nullptr, var_uint_(1));
  var_obj_addu(&obj, kyr::ustr_from_cstr("k"), var_uint_(2));
  var_obj_addu(&obj, kyr::ustr_from_cstr("k"), var_uint_(3));
  EXPECT_EQ(to_json(obj), R"({"":1,"k":2,"k":3})");
  var_free(&obj);

  // Indented text reads back to a tree that prints the same.
  var_t first = parse(R"({"s":"caf\u00e9 \"x\"\n","n":[0,4294967296,18446744073709551615,-1,)"
                      R"(-5000000000,-9223372036854775808,1.25,-0.5,true,null,[],{}],"":{}})");
  var_t again = parse(to_json(first, 4));
  EXPECT_EQ(to_json(again), to_json(first));
  EXPECT_EQ(to_json(again),
            R"({"s":"café \"x\"\n","n":[0,4294967296,18446744073709551615,-1,-5000000000,)"
            R"(-9223372036854775808,1.250000,-0.500000,true,null,[],{}],"":{}})");
  var_free(&first);
  var_free(&again);
}

TEST(JsonWrite, EveryKindOfWord) {
  var_t error = var_err_code_msg_func_(-5, "x", nullptr);
  char address[32];
  std::snprintf(address, sizeof address, "0x%012llx",
                static_cast<unsigned long long>(error & VAR_PAYLOAD_MASK));
  var_t big = var_uint_(~0ull), low = var_int_(INT64_MIN), text = var_str_("tab\tand \"q\"", true);
  const char* borrowed = "a/b\\c";
  struct Case {
    var_t word;
    std::string text;
  } cases[] = {
      {var_f64_(1.5), "1.500000"}, {var_f64_(-0.0), "-0.000000"}, {var_f64_(-INFINITY), "-inf"},
      {var_f32_(1.5f), "1.5"}, {var_f32_(1e10f), "1e+10"}, {VAR_NULL, "null"},
      {small_word(0, 5), "null"}, {VAR_FALSE, "false"}, {small_word(4, 0x100), "true"},
      {var_u32_(4294967295u), "4294967295"}, {var_i32_(-7), "-7"},
      {var_uint_(0xFFFFFFFFFFFFull), "281474976710655"}, {var_int_(-5000000000), "-5000000000"},
      {big, "18446744073709551615"}, {low, "-9223372036854775808"}, {VAR_TAG_U64, "0"},
      {var_sstr_("ab\"c"), "\"ab\\\"c\""}, {VAR_EMPTY_SSTR, "\"\""},
      {tagged_word(1, 0x414141414141), "\"AAAAAA\""},  // no NUL in the payload
      {var_str_(borrowed, false), "\"a/b\\\\c\""}, {VAR_TAG_CSTR, "null"},
      {text, "\"tab\tand \\\"q\\\"\""}, {VAR_TAG_USTR, "\"\""},
      {error, address}, {0xFFFB000000000000ull, "[]"},
      // Codes without a kind and the sub tags without a constructor print by
      // their rows of the scalar format table.
      {small_word(3, 0xABC), "0xabc"}, {small_word(5, 0xFF), "-1"}, {small_word(6, 0x1FF), "255"},
      {small_word(7, 0x80), "-128"}, {small_word(8, 0xAB), "0x000000ab"},
      {small_word(9, 0x12345), "0x12345"}, {small_word(10, 0x1FFFF), "65535"},
      {small_word(11, 0x8000), "-32768"}, {small_word(12, 0xDEADBEEF), "0xdeadbeef"},
      {tagged_word(4, 0xFFFFFFFFFFFF), "281474976710655"}, {tagged_word(5, 0), "nan"},
      {tagged_word(5, 0) | (1ull << 63), "-nan"}, {tagged_word(9, 0xABC), "0x000000000abc"},
      {tagged_word(13, 0x123456789ABC), "0x123456789abc"}, {tagged_word(15, 1), "0x000000000001"},
  };
  for (const Case& c : cases) EXPECT_EQ(to_json(c.word), c.text) << std::hex << c.word;
  var_free(&error), var_free(&big), var_free(&low), var_free(&text);
}

TEST(JsonWrite, EscapesSixBytesOnly) {
  std::string all;
  for (int i = 0; i < 256; i++) all += static_cast<char>(i);
  const char bytes[] = "\b\n\f\r\"\\", letters[] = "bnfr\"\\";
  std::string expected = "\"";
  for (int i = 0; i < 256; i++) {
    const char* hit = i ? std::strchr(bytes, i) : nullptr;
    if (hit) expected += {'\\', letters[hit - bytes]};
    else expected += static_cast<char>(i);
  }
  expected += "\"";
  // A ustr goes out by its length, NULs and all, as value and as member name.
  auto* raw = static_cast<ustr>(svec_from_array(all.data(), all.size(), 1));
  var_t v = VAR_NULL;
  var_obj_addu(&v, static_cast<ustr>(svec_share(raw)),
               VAR_TAG_USTR | reinterpret_cast<uintptr_t>(raw));
  EXPECT_EQ(to_json(v), "{" + expected + ":" + expected + "}");
  var_free(&v);

  // The block-wise scan against the byte loop, at every offset and length
  // around its 16-byte steps, over bytes dense in the ones it looks for.
  std::mt19937 rng(3);
  const char pool[] = "\x08\x09\x0A\x0B\x0C\x0D\x0E\"\\/a\x7F\x80\xFF";
  std::string text(300, ' ');
  for (char& c : text) c = rng() % 3 ? 'x' : pool[rng() % (sizeof pool - 1)];
  std::vector<char> fast(700), slow(700);
  for (size_t at = 0; at < 20; at++)
    for (size_t n = 0; n < 280; n++) {
      auto* p = reinterpret_cast<const unsigned char*>(text.data() + at);
      size_t a = kyr::json::escape_text(p, n, fast.data()) - fast.data();
      size_t b = kyr::json::escape_text_bytewise(p, n, slow.data()) - slow.data();
      ASSERT_EQ(std::string(fast.data(), a), std::string(slow.data(), b)) << at << " " << n;
    }
}

TEST(JsonWrite, FixedAndShortFormsMatchPrintf) {
  std::vector<double> values = {0.0, -0.0, 0.5, 1e-7, -1e-7, 5e-7, 4.9999999e-7, 0.0078125,
                                0.0234375, 1.0 / 3, 2.5e-6, 1e13, 9999999999999.998,
                                1e13 - 0.0009765625, 1.8e13, 123456789.123456789, DBL_MAX,
                                -DBL_MAX, DBL_MIN, DBL_TRUE_MIN, 1e300, INFINITY, -INFINITY,
                                NAN, -NAN};
  std::mt19937_64 rng(11);
  for (int i = 0; i < 200000; i++) {
    uint64_t bits = rng();
    double d;
    std::memcpy(&d, &bits, 8);
    values.push_back(d);                                     // every exponent
    values.push_back(std::ldexp(static_cast<double>(rng() >> 11), -static_cast<int>(rng() % 80)));
    values.push_back(static_cast<double>(rng() % 200000000) / 1e6 - 100);  // near six-decimal steps
  }
  char buf[kyr::json::kFixedMax];
  for (double d : values) {
    size_t n = kyr::json::format_fixed6(d, buf);
    ASSERT_EQ(std::string(buf, n), printf_text("%f", d)) << std::hexfloat << d;
  }
  // f32 through the shared scalar rows, as the writer and var_to_ustr print it.
  char small[kyr::kScalarTextMax];
  for (int i = 0; i < 200000; i++) {
    uint32_t bits = static_cast<uint32_t>(rng());
    float f;
    std::memcpy(&f, &bits, 4);
    size_t n = kyr::format_scalar(VAR_TYPE_F32, var_f32_(f), small);
    ASSERT_EQ(std::string(small, n), printf_text("%.7g", f)) << std::hexfloat << f;
  }
}

TEST(JsonWrite, LargeTokensAndDeepIndentPrintWhole) {
  var_t arr = VAR_NULL;
  var_append(&arr, var_f64_(DBL_MAX));
  var_append(&arr, var_f64_(-1e300));
  EXPECT_EQ(to_json(arr), "[" + printf_text("%f", DBL_MAX) + "," + printf_text("%f", -1e300) + "]");
  var_free(&arr);

  // Levels of up to 30,000 blanks: far beyond one token, split across blocks.
  var_t deep = VAR_NULL;
  var_t* cur = &deep;
  for (int i = 0; i < 100; i++) cur = var_append(cur, VAR_NULL);
  *cur = var_uint_(1);
  std::string expected;
  for (int k = 1; k <= 100; k++) expected += "[\n" + std::string(300 * k, ' ');
  expected += "1";
  for (int k = 100; k >= 1; k--) expected += "\n" + std::string(300 * (k - 1), ' ') + "]";
  EXPECT_EQ(to_json(deep, 300), expected);
  Recorder sink;
  stream_t s = {&kRecorderOps, &sink};
  var_write_json(&s, &deep, 300);
  EXPECT_EQ(sink.bytes, expected);
  var_free(&deep);
}

TEST(JsonWrite, StreamsGetTheSameTextAndShortWritesAreIgnored) {
  // Long strings and many members: the stream takes them in blocks.
  var_t v = VAR_NULL;
  std::string long_text(50000, 'q');
  for (size_t i = 0; i < long_text.size(); i += 7) long_text[i] = '\n';
  var_append(&v, var_str_(long_text.c_str(), true));
  for (int i = 0; i < 5000; i++) var_append(&v, var_f64_(i * 0.25));
  std::string expected = to_json(v, 3);

  Recorder all;
  stream_t s = {&kRecorderOps, &all};
  EXPECT_EQ(var_write_json(&s, &v, 3), 1);
  EXPECT_EQ(all.bytes, expected);
  EXPECT_GT(all.writes, 2);

  for (u64_t limit : {u64_t{0}, u64_t{1}}) {  // failing (-1) and one byte per write
    Recorder short_writes;
    short_writes.limit = limit;
    s.ctx = &short_writes;
    EXPECT_EQ(var_write_json(&s, &v, 3), 1);
    EXPECT_EQ(short_writes.writes, all.writes);
  }
  EXPECT_EQ(var_write_json(&s, nullptr, 0), 1);
  EXPECT_EQ(var_write_json(nullptr, &v, 0), 1);
  var_free(&v);
}

// The writer's frames are a doubling heap stack, so the full depth stays
// fast also under the sanitizers.
TEST(JsonWrite, MillionLevelsWithoutMachineStack) {
  constexpr size_t kDepth = 1000000;
  for (bool objects : {false, true}) {
    var_t root = VAR_NULL;
    var_t* cur = &root;
    for (size_t i = 0; i < kDepth; i++)
      cur = objects ? &var_member_of_rawkey(cur, "a", 1)->value : var_append(cur, VAR_NULL);
    *cur = var_sstr_("end");
    std::string expected;
    for (size_t i = 0; i < kDepth; i++) expected += objects ? "{\"a\":" : "[";
    expected.append("\"end\"").append(kDepth, objects ? '}' : ']');
    on_small_stack([&] {
      EXPECT_TRUE(to_json(root) == expected);
      Recorder sink;
      stream_t s = {&kRecorderOps, &sink};
      var_write_json(&s, &root, 0);
      EXPECT_TRUE(sink.bytes == expected);
    });
    var_free(&root);
  }
}

}  // namespace
