#include <gtest/gtest.h>
#include <pthread.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <kyr/kyr_core.h>

#include "core/svec_internal.h"
#include "var/json_read_internal.h"
#include "var/json_read_number.h"

namespace {

var_t parse(const std::string& text, bool as_f32 = false) {
  return var_json_(text.data(), text.size(), as_f32);
}

int error_code(var_t v) {
  if (var_get_type(v) != VAR_TYPE_ERROR) return 0;
  return reinterpret_cast<VAR_ERR_INFO*>(static_cast<uintptr_t>(v & VAR_PAYLOAD_MASK))->code;
}

// A compact rendering of a tree that shows every kind: u32 bare, other
// integers with their kind, doubles with a 'd', strings between quotes.
std::string dump(const var_t* v) {
  char buf[64];
  var_t w = *v;
  switch (var_get_type(w)) {
    case VAR_TYPE_NULL: return "null";
    case VAR_TYPE_BOOL: return static_cast<uint32_t>(w) ? "true" : "false";
    case VAR_TYPE_U32: return std::to_string(static_cast<uint32_t>(w));
    case VAR_TYPE_I32: return std::to_string(static_cast<int32_t>(w)) + "i";
    case VAR_TYPE_U48: return std::to_string(w & VAR_PAYLOAD_MASK) + "u48";
    case VAR_TYPE_U64: return std::to_string(*reinterpret_cast<uint64_t*>(w & VAR_PAYLOAD_MASK)) + "u64";
    case VAR_TYPE_I48: return std::to_string(static_cast<int64_t>((w & VAR_PAYLOAD_MASK) << 16) >> 16) + "i48";
    case VAR_TYPE_I64: return std::to_string(*reinterpret_cast<int64_t*>(w & VAR_PAYLOAD_MASK)) + "i64";
    case VAR_TYPE_F64: std::snprintf(buf, sizeof buf, "%.17gd", var_as_f64_bits(w)); return buf;
    case VAR_TYPE_F32: {
      float f;
      uint32_t bits = static_cast<uint32_t>(w);
      std::memcpy(&f, &bits, 4);
      std::snprintf(buf, sizeof buf, "%.9gf", f);
      return buf;
    }
    case VAR_TYPE_USTR: {
      const char* s = var_get_str(v);
      return "\"" + std::string(s ? s : "", svec_length(const_cast<char*>(s))) + "\"";
    }
    case VAR_TYPE_ARRAY: {
      std::string out = "[";
      for (int64_t i = 0; i < var_get_count(v); i++)
        out += (i ? "," : "") + dump(var_get_value_at_index(v, i));
      return out + "]";
    }
    case VAR_TYPE_OBJECT: {
      std::string out = "{";
      for (int64_t i = 0; i < var_get_count(v); i++) {
        ustr key = *var_get_key_at_index(v, i);
        out += (i ? "," : "") + std::string(key ? key : "", svec_length(key)) + ":" +
               dump(var_get_value_at_index(v, i));
      }
      return out + "}";
    }
    default: return "?" + std::to_string(var_get_type(w));
  }
}

// Parses, renders ("E-507" for an error), checks the shape of every block
// and frees.
std::string show(const std::string& text, bool as_f32 = false);

// Every body an exact svec held once, every string and key a byte svec;
// walked without recursion.
void expect_exact_blocks(const var_t* root) {
  VAR_IT it;
  VAR_IT_Init(&it, root);
  while (VAR_IT_Next(&it)) {
    ustr key = nullptr;
    var_t* v = VAR_IT_Get(&it, &key);
    if (key) EXPECT_EQ(kyr::svec_esize(key), 1);
    svec_free(&key);
    if (!v) continue;
    uint8_t type = var_get_type(*v);
    void* body = reinterpret_cast<void*>(static_cast<uintptr_t>(*v & VAR_PAYLOAD_MASK));
    if (!body) continue;
    if (type == VAR_TYPE_ARRAY || type == VAR_TYPE_OBJECT) {
      EXPECT_EQ(kyr::svec_refs(body), 1u);
      EXPECT_EQ(kyr::svec_esize(body), type == VAR_TYPE_ARRAY ? 8 : 24);
      EXPECT_GT(kyr::svec_len(body), 0u);
    } else if (type == VAR_TYPE_USTR) {
      EXPECT_EQ(kyr::svec_esize(body), 1);
      EXPECT_EQ(static_cast<char*>(body)[kyr::svec_len(body)], 0);
    }
  }
}

std::string show(const std::string& text, bool as_f32) {
  var_t v = parse(text, as_f32);
  if (int code = error_code(v)) {
    var_free(&v);
    return "E" + std::to_string(code);
  }
  expect_exact_blocks(&v);
  std::string out = dump(&v);
  var_free(&v);
  return out;
}

// The number rules written out plainly, one byte at a time: the oracle for
// the reader's block-wise scanner. Returns false for a malformed number.
bool reference_number(const std::string& s, var_t* out, size_t* used) {
  size_t i = 0;
  bool neg = false;
  if (i < s.size() && s[i] == '-') neg = true, i++;
  auto digit = [&](size_t k) { return k < s.size() && s[k] >= '0' && s[k] <= '9'; };
  if (!digit(i)) return false;
  uint64_t m = 0, frac = 0, exp = 0;
  bool eneg = false;
  int state = 0;
  if (s[i] == '0') {
    if (!neg && i + 1 < s.size() && (s[i + 1] == 'x' || s[i + 1] == 'X')) return false;  // not here
    if (digit(i + 1)) return false;
    i++;
  }
  for (; i < s.size() && s[i]; i++) {
    char c = s[i];
    if (c >= '0' && c <= '9') {
      if (state == 2) exp = exp * 10 + (c - '0');
      else m = m * 10 + (c - '0'), frac += state == 1;
    } else if (c == '\'') {
    } else if (c == '.') {
      if (state) return false;
      state = 1;
    } else if (c == 'e' || c == 'E') {
      if (state == 2) return false;
      state = 2;
      if (i + 1 < s.size() && s[i + 1] == '-') eneg = true, i++;
      else if (i + 1 < s.size() && s[i + 1] == '+') i++;
    } else {
      break;
    }
  }
  *used = i;
  int64_t total = static_cast<int64_t>((eneg ? 0 - exp : exp) - frac);
  if (total < 0) {
    double d = std::pow(10.0, static_cast<double>(total)) * static_cast<double>(m);
    if (neg) d *= -1.0;
    *out = var_f64_(d);
  } else {
    static const uint64_t p10[20] = {1ull, 10ull, 100ull, 1000ull, 10000ull, 100000ull,
                                     1000000ull, 10000000ull, 100000000ull, 1000000000ull,
                                     10000000000ull, 100000000000ull, 1000000000000ull,
                                     10000000000000ull, 100000000000000ull,
                                     1000000000000000ull, 10000000000000000ull,
                                     100000000000000000ull, 1000000000000000000ull,
                                     10000000000000000000ull};
    uint64_t value = m * p10[total < 19 ? total : 19];
    *out = neg ? var_int_(static_cast<int64_t>(0 - value)) : var_uint_(value);
  }
  return true;
}

struct LogCapture {
  static std::vector<std::string>& lines() {
    static std::vector<std::string> all;
    return all;
  }
  static int handler(char level, const char* file, const char* func, u32_t, const char* format,
                     va_list args) {
    char text[256];
    std::vsnprintf(text, sizeof text, format, args);
    lines().push_back(std::string(1, level) + "|" + file + "|" + func + "|" + text);
    return 0;
  }
};

}  // namespace

TEST(JsonRead, StandardDocument) {
  EXPECT_EQ(show(R"({"a": [1, -2, 3.5, true, false, null], "b": {"c": "d"}, "e": ""})"),
            R"({a:[1,-2i,3.5d,true,false,null],b:{c:"d"},e:""})");
  EXPECT_EQ(show(" \t\r\n[ ]\r\n"), "[]");
  EXPECT_EQ(show("{}"), "{}");
  EXPECT_EQ(show("\"\""), "\"\"");
}

TEST(JsonRead, EmptyAndCommentOnlyTextIsNull) {
  for (const char* text : {"", "   ", "// only a comment", "/* block */", "/* open", "\n\n"})
    EXPECT_EQ(show(text), "null") << text;
  EXPECT_EQ(show("// note\r\n1"), "1");
  EXPECT_EQ(show("/* x */1"), "1");
  EXPECT_EQ(show("[1 / 2]"), "[2]");
  EXPECT_EQ(show("[1 /* x"), "[1]");
  EXPECT_EQ(show("\r1"), "E-507");  // a lone CR opens an object; "1" runs into the end
  EXPECT_EQ(show("\n\r1"), "1");    // an LF takes the CR behind it
}

TEST(JsonRead, EarlyEndAndCommas) {
  EXPECT_EQ(show("[1,2"), "[1,2]");
  EXPECT_EQ(show(R"({"a":1)"), "{a:1}");
  EXPECT_EQ(show(R"({"a":)"), "{a:null}");
  EXPECT_EQ(show("[1,]"), "[1,null]");
  EXPECT_EQ(show("[,]"), "[null,null]");
  EXPECT_EQ(show("[1,,2]"), "[1,null,2]");
  EXPECT_EQ(show("[1,"), "[1]");
  EXPECT_EQ(show("[1, "), "[1,null]");
  EXPECT_EQ(show(R"({"a":1,})"), "E-507");
  EXPECT_EQ(show(R"([{"a":1,},{"b":2}])"), "[{a:1,},{\"b\":2}]");
}

TEST(JsonRead, NamesAndReplacement) {
  EXPECT_EQ(show("{a:1}"), "{a:1}");
  EXPECT_EQ(show("{a : 1}"), "{a :1}");
  EXPECT_EQ(show(R"({'a':"b"})"), R"({a:"b"})");
  EXPECT_EQ(show(R"({"a":1,"a":2})"), "{a:2}");
  EXPECT_EQ(show(R"({"a":1,"b":3,"a":2})"), "{a:2,b:3}");
  EXPECT_EQ(show(R"({"a":"x","a":)"), "{a:null}");
  EXPECT_EQ(show(R"({"":1,"":2})"), "{:2}");
  // A name used by a nested object in between is still found in its own.
  EXPECT_EQ(show(R"({"a":1,"c":{"a":2,"b":0},"a":3,"b":4})"), "{a:3,c:{a:2,b:0},b:4}");
  EXPECT_EQ(show("[1 2]"), "[2]");
  EXPECT_EQ(show("1 2"), "2");
  EXPECT_EQ(show("[1] [2]"), "[2]");
  EXPECT_EQ(show("[1}"), "[1]");
  EXPECT_EQ(show("]"), "null");
  EXPECT_EQ(show("[1]]"), "[1]");
  EXPECT_EQ(show("[[1] 2]"), "[[2]]");  // behind a close the slot stays in the closed array
  EXPECT_EQ(show("[[1][2]]"), "[[[2]]]");
  EXPECT_EQ(show("xab:1"), "{ab:1}");
  EXPECT_EQ(show("a:1"), "{:1}");
  EXPECT_EQ(show("\xEF\xBB\xBF{\"a\":1}"), "{\xBB\xBF{\"a\":1}");
  EXPECT_EQ(show("nullx"), "{}");  // the object that x opens replaces the null
  EXPECT_EQ(show("{\"a\":1}x"), "{}");
}

TEST(JsonRead, Keywords) {
  EXPECT_EQ(show("nul"), "E-508");
  EXPECT_EQ(show("True"), "E-507");
  EXPECT_EQ(show("[tru]"), "E-508");
  EXPECT_EQ(show("[fals]"), "E-508");
  EXPECT_EQ(show("[true false null]"), "[null]");
  EXPECT_EQ(show("truex:1"), "{:1}");
}

TEST(JsonRead, Strings) {
  EXPECT_EQ(show("'it''s'"), "\"s\"");
  EXPECT_EQ(show(R"('a"b')"), "\"a\"b\"");
  EXPECT_EQ(show(R"("a'b")"), "\"a'b\"");
  EXPECT_EQ(show(R"("a:b")"), "\"a:b\"");
  EXPECT_EQ(show(R"("\"\/\\\b\f\n\r\t")"), "\"\"/\\\b\f\n\r\t\"");
  EXPECT_EQ(show(R"("\'")"), "E-507");
  EXPECT_EQ(show(R"("\u41")"), "\"A\"");
  EXPECT_EQ(show(R"("\uD800")"), "E-507");
  EXPECT_EQ(show(R"("\uD800\u0041")"), "E-507");
  EXPECT_EQ(show(R"("\uD83D\uDE00")"), "\"\xF0\x9F\x98\x80\"");
  EXPECT_EQ(show(R"("\uDC00")"), "\"\xED\xB0\x80\"");
  EXPECT_EQ(show(R"("a\u0000b")"), std::string("\"a\0b\"", 5));
  EXPECT_EQ(show(R"("a\u")"), std::string("\"a\0\"", 4));
  EXPECT_EQ(show("\"\xFF\xC0\x80 bad\""), "\"\xFF\xC0\x80 bad\"");  // copied, not checked
  EXPECT_EQ(show("\"line\nbreak\ttab\""), "\"line\nbreak\ttab\"");
  EXPECT_EQ(show("\"open"), "E-507");
  EXPECT_EQ(show(std::string("\"a\0b\"", 5)), "E-507");
  EXPECT_EQ(show("{a\\u0062:1}"), "{ab:1}");  // escapes work in bare names
  EXPECT_EQ(show("{\"a\\\"\":1}"), "{a\":1}");
}

// Output room comes a chunk of input at a time; escapes that straddle a
// chunk boundary must still fit and decode.
TEST(JsonRead, LongStringsAcrossChunks) {
  for (size_t at : {4090u, 4093u, 4094u, 4095u, 4096u, 8190u}) {
    std::string body(at, 'x');
    body += "\\uD83D\\uDE00\\n";
    body += std::string(5000, 'y');
    std::string expect = std::string(at, 'x') + "\xF0\x9F\x98\x80\n" + std::string(5000, 'y');
    EXPECT_EQ(show("\"" + body + "\""), "\"" + expect + "\"") << at;
    var_t v;
    std::string quoted = "'" + body + "'";
    const char* cursor = quoted.c_str();
    EXPECT_EQ(read_string(&v, &cursor, quoted.c_str() + quoted.size()),
              static_cast<i64_t>(expect.size()));
    EXPECT_EQ(cursor, quoted.c_str() + quoted.size());
    EXPECT_EQ(std::string(var_get_str(&v), expect.size()), expect);
    var_free(&v);
  }
}

TEST(JsonRead, ReadStringContract) {
  std::string text = "key: 1";
  const char* cursor = text.c_str();
  var_t v = 0;
  EXPECT_EQ(read_string(nullptr, &cursor, text.c_str() + text.size()), -1);
  EXPECT_EQ(read_string(&v, &cursor, text.c_str() + text.size()), 3);
  EXPECT_EQ(*cursor, ':');  // a bare name leaves its colon
  EXPECT_STREQ(var_get_str(&v), "key");
  var_free(&v);
  std::string bad = "\"abc";
  cursor = bad.c_str();
  EXPECT_EQ(read_string(&v, &cursor, bad.c_str() + bad.size()), -1);
  EXPECT_EQ(v, ~0ull);
  EXPECT_EQ(cursor, bad.c_str());
  std::string empty = "\"\"";
  cursor = empty.c_str();
  EXPECT_EQ(read_string(&v, &cursor, empty.c_str() + 2), 0);
  EXPECT_EQ(v, VAR_TAG_USTR);
}

TEST(JsonRead, NumberKinds) {
  EXPECT_EQ(show("[0, -0, 1'000'000, 0x10, 0x, 0x0000000000000010, 0xFFFFFFFFF]"),
            "[0,0i,1000000,16,0,16u64,68719476735u48]");
  EXPECT_EQ(show("[1.5e1, 1e3, 1.0, 100e-2, 1E+2, 2e-1]"), "[15,1000,1d,1d,100,0.20000000000000001d]");
  EXPECT_EQ(show("18446744073709551615"), "18446744073709551615u64");
  EXPECT_EQ(show("18446744073709551616"), "0");
  EXPECT_EQ(show("[1e30, 1e-400, -0.0]"), "[10000000000000000000u64,0d,-0d]");
  EXPECT_EQ(show("[4294967296, -2147483649, -140737488355329]"),
            "[4294967296u48,-2147483649i48,-140737488355329i64]");
  EXPECT_EQ(show("[1.5, -2.25]", true), "[1.5f,-2.25f]");
  EXPECT_EQ(show("[7]", true), "[7]");
  EXPECT_EQ(show("0x123456789ABCDEF01"), "1");  // 16 digits; the 17th is a new value
  for (const char* bad : {"012", "-012", "-", "-x", "1.2.3", "1e2e3", "[1.2.3]", "[-]"})
    EXPECT_EQ(show(bad), "E-507") << bad;
  EXPECT_EQ(show("-0x10"), "E-507");
}

// The block-wise scanner against the plain rules, over digit runs of every
// length and every kind of byte behind them, cut by the text's end anywhere.
TEST(JsonRead, NumbersMatchPlainRules) {
  std::mt19937_64 rng(7);
  const char alphabet[] = "0123456789012345678901234567890123456789''..eE+-x, ";
  for (int n = 0; n < 20000; n++) {
    std::string s = (rng() % 3 == 0) ? "-" : "";
    s += static_cast<char>('1' + rng() % 9);
    size_t len = rng() % 40;
    for (size_t i = 0; i < len; i++) s += alphabet[rng() % (sizeof alphabet - 1)];
    std::vector<char> exact(s.begin(), s.end());  // no byte behind the end
    var_t want = 0, got = 0;
    size_t used = 0;
    bool ok = reference_number(s, &want, &used);
    const char* cursor = exact.data();
    i32_t r = read_number(&got, &cursor, exact.data() + exact.size(), 0);
    ASSERT_EQ(r >= 0, ok) << s;
    if (!ok) continue;
    ASSERT_EQ(static_cast<size_t>(r), used) << s;
    ASSERT_EQ(dump(&got), dump(&want)) << s;
    var_free(&got);
    var_free(&want);
  }
}

TEST(JsonRead, LongNumbersWrap) {
  std::string digits = "1" + std::string(5000, '0');
  var_t want;
  size_t used;
  ASSERT_TRUE(reference_number(digits, &want, &used));
  EXPECT_EQ(show(digits), dump(&want));
  var_free(&want);
  std::string fraction = "0." + std::string(3000, '3');
  ASSERT_TRUE(reference_number(fraction, &want, &used));
  EXPECT_EQ(show(fraction), dump(&want));
}

// Floats are pow(10, total) * mantissa bit for bit, so the table of negative
// powers may stand in for pow only where every entry equals it.
TEST(JsonRead, PowerTableEqualsPow) {
  for (int k = 0; k < kyr::json::kNegPow10Count; k++) {
    double p = std::pow(10.0, -k);
    ASSERT_EQ(std::memcmp(&p, &kyr::json::kNegPow10[k], 8), 0) << k;
  }
  EXPECT_EQ(std::pow(10.0, -kyr::json::kNegPow10Count), 0.0);
}

TEST(JsonRead, ScannerVariantsAgree) {
  using namespace kyr::json;
  std::mt19937_64 rng(3);
  std::vector<Byte> buf(300);
  for (int n = 0; n < 3000; n++) {
    for (auto& b : buf) b = (rng() % 8) ? static_cast<Byte>(" \tab\"\\:'"[rng() % 8]) : static_cast<Byte>(rng());
    size_t from = rng() % 100, to = from + rng() % 200;
    const Byte* p = buf.data() + from;
    const Byte* e = buf.data() + to;
    for (Byte stop : {Byte('"'), Byte('\''), Byte(':')}) {
      const Byte* want = scan_string_scalar(p, e, stop);
      ASSERT_EQ(scan_string_sse2(p, e, stop), want);
      if (__builtin_cpu_supports("avx2")) ASSERT_EQ(scan_string_avx2(p, e, stop), want);
    }
    const Byte* want = scan_blanks_scalar(p, e);
    ASSERT_EQ(scan_blanks_sse2(p, e), want);
    if (__builtin_cpu_supports("avx2")) ASSERT_EQ(scan_blanks_avx2(p, e), want);
  }
}

TEST(JsonRead, CursorAndCodes) {
  struct Case {
    const char* text;
    int code;
    size_t at;
  } cases[] = {
      {"[1, \"abc", -507, 4},   {"[012]", -507, 2},       {"[1.2.3]", -507, 4},
      {"[nul]", -508, 1},       {"[ tru", -508, 2},       {"[falze]", -508, 2},
      {"{\"a\" 1}", -508, 5},   {"{\"a\"", -508, 4},      {"{\"a\"  ", -508, 6},
      {"[1]\0[2]", 0, 3},       {"[1,2]", 0, 5},          {"{\"a\":1,}", -507, 7},
  };
  for (const Case& c : cases) {
    size_t len = std::strlen(c.text);
    if (c.code == 0 && len == 3) len = 7;  // the case with an inner NUL
    var_t out = 0;
    const char* cursor = c.text;
    EXPECT_EQ(var_read_json_str(&out, &cursor, c.text + len, 0), c.code) << c.text;
    EXPECT_EQ(static_cast<size_t>(cursor - c.text), c.at) << c.text;
    if (c.code) EXPECT_EQ(out, VAR_NULL);
    var_free(&out);
  }
  var_t e = parse("[1, \"abc");
  EXPECT_STREQ(var_get_error_message(&e), "Syntax error");
  var_free(&e);
  e = parse("nul");
  EXPECT_STREQ(var_get_error_message(&e), "Unexpected token");
  var_free(&e);
}

TEST(JsonRead, ValueWithoutSlotIsLogged) {
  log_handler_t old = change_log_handler(LogCapture::handler);
  LogCapture::lines().clear();
  EXPECT_EQ(show("1,2"), "E-507");
  ASSERT_EQ(LogCapture::lines().size(), 1u);
  EXPECT_EQ(LogCapture::lines()[0], "X|src/kyr_var|var_read_json_str|Invalid owner_type 0x00");
  LogCapture::lines().clear();
  EXPECT_EQ(show("1,]2"), "2");  // a close gives the root back as the slot
  EXPECT_EQ(LogCapture::lines().size(), 1u);
  EXPECT_EQ(show("1,\"s\""), "E-507");
  change_log_handler(old);
}

TEST(JsonRead, NulAndBounds) {
  EXPECT_EQ(show(std::string("[1,\0 2]", 7)), "[1,null]");
  EXPECT_EQ(show(std::string("{a\0:1}", 6)), "E-508");
  var_t v = var_json_("[1,2]tail", 5, 0);
  EXPECT_EQ(dump(&v), "[1,2]");
  var_free(&v);
  v = var_json_("[12345]", 3, 0);  // the bound cuts the number
  EXPECT_EQ(dump(&v), "[12]");
  var_free(&v);
  v = var_json_("{\"ab\":1}", static_cast<u64_t>(-1), 0);
  EXPECT_EQ(dump(&v), "{ab:1}");
  var_free(&v);
  EXPECT_EQ(var_json_(nullptr, 3, 0), VAR_NULL);
}

// Equal names share one key string by count; repeated names keep one member,
// and what a replaced value held is released.
TEST(JsonRead, SharedNames) {
  var_t v = parse(R"([{"name":1,"x":{"inner":1}},{"name":2,"x":{"inner":2},"x":3}])");
  ustr k0 = *var_get_key_at_index(var_get_value_at_index(&v, 0), 0);
  ustr k1 = *var_get_key_at_index(var_get_value_at_index(&v, 1), 0);
  EXPECT_EQ(k0, k1);
  EXPECT_EQ(kyr::svec_refs(k0), 2u);
  ustr inner = *var_get_key_at_index(var_get_value_at_index(var_get_value_at_index(&v, 0), 1), 0);
  EXPECT_EQ(kyr::svec_refs(inner), 1u);  // the second object's "inner" went with its value
  EXPECT_EQ(dump(&v), "[{name:1,x:{inner:1}},{name:2,x:3}]");
  var_free(&v);
  // A replaced value may hold the only reference to a name that comes back.
  v = parse(R"({"a":{"gone":1},"a":2,"b":{"gone":3},"c":["gone"] 4,"d":{"gone":5}})");
  EXPECT_EQ(dump(&v), "{a:2,b:{gone:3},c:[4],d:{gone:5}}");
  EXPECT_EQ(kyr::svec_refs(*var_get_key_at_index(var_find_rawkey(&v, "b", 1), 0)), 2u);
  var_free(&v);
  // A new name whose member never comes (no colon) goes with the failed parse.
  v = parse(R"({"a":1,"never" 2})");
  EXPECT_EQ(error_code(v), -508);
  var_free(&v);
}

TEST(JsonRead, LargeObjectsFindRepeatedNames) {
  std::string text = "{";
  for (int i = 0; i < 3000; i++) text += "\"k" + std::to_string(i) + "\":" + std::to_string(i) + ",";
  for (int i = 0; i < 3000; i += 7) text += "\"k" + std::to_string(i) + "\":\"again\",";
  // Names that a nested object takes in between are searched through the index.
  text += "\"child\":{\"k14\":0,\"fresh\":0},\"k14\":\"third\",\"fresh\":1,";
  text += "\"last\":0}";
  var_t v = parse(text);
  EXPECT_EQ(var_get_count(&v), 3003);
  EXPECT_EQ(dump(var_find_rawkey(&v, "k7", 2)), "\"again\"");
  EXPECT_EQ(dump(var_find_rawkey(&v, "k14", 3)), "\"third\"");
  EXPECT_EQ(dump(var_find_rawkey(&v, "fresh", 5)), "1");
  EXPECT_STREQ(*var_get_key_at_index(&v, 3001), "fresh");
  EXPECT_EQ(dump(var_find_rawkey(&v, "k8", 2)), "8");
  EXPECT_STREQ(*var_get_key_at_index(&v, 7), "k7");  // kept in the place of the first
  expect_exact_blocks(&v);
  var_free(&v);
}

namespace {

// A reading with the given limits, rendered as show() does, with the code
// and the cursor's offset.
std::string read_with(const std::string& text, const kyr::json::ReadLimits& limits) {
  var_t v = VAR_NULL;
  const char* cursor = text.data();
  int code = kyr::json::read_json(&v, &cursor, text.data() + text.size(), false, limits);
  expect_exact_blocks(&v);
  std::string out = dump(&v) + " code " + std::to_string(code) + " at " +
                    std::to_string(cursor - text.data());
  var_free(&v);
  return out;
}

}  // namespace

// Objects of new names that skip the table from their second member on must
// read exactly as through the table: equal names merged in the place of the
// first with the value of the last, slots that follow them, failures.
TEST(JsonRead, BulkObjectsReadAsThroughTheTable) {
  std::vector<std::string> texts = {
      R"({"a":1,"b":2,"a":3})",
      R"({"a":1,"b":2,"a":{"x":1},"c":[1],"a":"s","b":null})",
      R"([{"a":1,"b":2,"a":3} 9])",          // the slot behind '}' is the merged member
      R"([{"a":1,"b":{"c":1,"d":2,"c":3},"a":4,"b":5},{"a":1,"b":2,"a":3}])",
      R"({"":1,"b":2,"":3,"b":4})",     // the empty name; a name given by escapes
      R"({a:1,b:2 3,'a':4,c:{a:1,b:2} 5})",  // values without commas replace
      R"({"a":1,"b":2,"a":)",                 // cut behind a repeated name
      R"({"a":1,"b":2,"a" 3})",               // -508
      R"({"a":1,"b":[1,2,{"b":1,"c":2,"b":3}],"a":)",
  };
  std::string big = "{";
  for (int i = 0; i < 5000; i++) big += "\"n" + std::to_string(i % 3100) + "\":" + std::to_string(i) + ",";
  big += R"("inner":{"n1":1,"q":2,"n1":3},"n5":"last"})";
  texts.push_back(big);
  for (const std::string& text : texts) {
    std::string usual = read_with(text, {SIZE_MAX, SIZE_MAX});
    EXPECT_EQ(read_with(text, {SIZE_MAX, 2}), usual) << text;
    EXPECT_EQ(read_with(text, {0, 2}), usual) << text;
    EXPECT_EQ(read_with(text, {SIZE_MAX, kyr::json::kBulkFrom}), usual) << text;
  }
  // An object of known names stays with the table, and shares their strings.
  var_t v = VAR_NULL;
  std::string text = R"([{"a":1,"b":2,"c":3},{"a":1,"b":2,"c":3}])";
  const char* cursor = text.data();
  ASSERT_EQ(kyr::json::read_json(&v, &cursor, text.data() + text.size(), false, {SIZE_MAX, 2}), 0);
  EXPECT_EQ(*var_get_key_at_index(var_get_value_at_index(&v, 0), 1),
            *var_get_key_at_index(var_get_value_at_index(&v, 1), 1));
  EXPECT_NE(*var_get_key_at_index(var_get_value_at_index(&v, 0), 2),
            *var_get_key_at_index(var_get_value_at_index(&v, 1), 2));
  var_free(&v);
}

// Bodies large enough to keep the block their stack grew in are still exact
// svecs, and a large object of new names merges its repeats.
TEST(JsonRead, LargeBodiesStayExact) {
  std::string text = "[";
  for (int i = 0; i < 600000; i++) text += std::to_string(i % 1000) + ",";
  text += "7]";
  var_t v = parse(text);
  ASSERT_EQ(var_get_count(&v), 600001);
  EXPECT_EQ(dump(var_get_value_at_index(&v, 600000)), "7");
  EXPECT_EQ(dump(var_get_value_at_index(&v, 1999)), "999");
  expect_exact_blocks(&v);
  var_free(&v);

  text = "{";
  for (int i = 0; i < 200000; i++) text += "\"k" + std::to_string(i) + "\":" + std::to_string(i) + ",";
  text += R"("k5":"five","k199999":"last","k0":null})";
  v = parse(text);
  ASSERT_EQ(var_get_count(&v), 200000);
  EXPECT_EQ(dump(var_find_rawkey(&v, "k5", 2)), "\"five\"");
  EXPECT_EQ(dump(var_find_rawkey(&v, "k0", 2)), "null");
  EXPECT_STREQ(*var_get_key_at_index(&v, 199999), "k199999");
  EXPECT_EQ(dump(var_get_value_at_index(&v, 199999)), "\"last\"");
  expect_exact_blocks(&v);
  var_free(&v);
}

// Different names under one hash must stay apart; equal ones merge however
// they are spread.
TEST(JsonRead, BulkMergeTellsNamesOfOneHashApart) {
  using kyr::json::make_ustr;
  const char* names[] = {"x", "y", "x", "zz", "y", "", "x", ""};
  const size_t n = sizeof names / sizeof *names;
  VAR_MEMBER members[n];
  for (size_t i = 0; i < n; i++) {
    members[i].key = make_ustr(reinterpret_cast<const unsigned char*>(names[i]),
                               std::strlen(names[i]), nullptr);
    members[i].value = var_uint_(i);
  }
  members[3].value = parse("[1,2]");  // kept: "zz" is alone
  members[0].value = parse("{\"v\":0}");  // replaced by a later "x"
  kyr::json::BulkNames bulk;
  kyr::json::NameTable table(nullptr);
  bulk.open(members, 0, table);
  for (size_t i = 0; i < n; i++) bulk.add(7);
  kyr::Stack<var_t> dropped;
  uint64_t slot = 4;  // the last "y": moves to the first
  EXPECT_EQ(bulk.close(members, n, dropped, &slot), 4u);
  EXPECT_EQ(slot, 1u);
  std::string got;
  for (size_t i = 0; i < 4; i++)
    got += std::string(members[i].key ? members[i].key : "") + "=" + dump(&members[i].value) + " ";
  EXPECT_EQ(got, "x=6 y=4 zz=[1,2] =7 ");
  EXPECT_EQ(dropped.size(), 4u);  // the first x's object, the strings of x, y, x (not of "")
  while (!dropped.empty()) {
    var_t old = dropped.pop();
    var_free(&old);
  }
  for (size_t i = 0; i < 4; i++) {
    svec_free(&members[i].key);
    var_free(&members[i].value);
  }
}

namespace {

// Runs fn on a thread with a small machine stack: a reader that recursed on
// depth would overflow it.
void on_small_stack(void (*fn)()) {
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setstacksize(&attr, 256 * 1024);
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attr, [](void* f) -> void* {
              reinterpret_cast<void (*)()>(f)();
              return nullptr;
            }, reinterpret_cast<void*>(fn)), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attr);
}

void deep_documents() {
  const size_t depth = 1000000;
  std::string arrays(depth, '[');
  var_t v = parse(arrays + "1" + std::string(depth, ']'));
  EXPECT_EQ(var_get_type(v), VAR_TYPE_ARRAY);
  var_free(&v);
  v = parse(arrays);  // cut: every container counts as complete
  EXPECT_EQ(var_get_type(v), VAR_TYPE_ARRAY);
  var_free(&v);
  std::string objects;
  for (size_t i = 0; i < depth; i++) objects += "{\"a\":";
  v = parse(objects + "1" + std::string(depth, '}'));
  EXPECT_EQ(var_get_type(v), VAR_TYPE_OBJECT);
  var_free(&v);
  v = parse(objects + "{\"a");  // cut inside a name
  EXPECT_EQ(error_code(v), -507);
  var_free(&v);
  v = parse(objects + "tru");
  EXPECT_EQ(error_code(v), -508);
  var_free(&v);
}

}  // namespace

TEST(JsonRead, MillionLevelsOnASmallStack) { on_small_stack(deep_documents); }
