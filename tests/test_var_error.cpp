#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <kyr/kyr_core.h>

#include "core/svec_internal.h"

namespace {

VAR_ERR_INFO* record(var_t v) {
  return reinterpret_cast<VAR_ERR_INFO*>(static_cast<uintptr_t>(v & VAR_PAYLOAD_MASK));
}

std::vector<std::string> g_lines;
int capture(char level, const char* file, const char* func, u32_t line, const char* format,
            va_list args) {
  char text[256];
  std::vsnprintf(text, sizeof text, format, args);
  g_lines.push_back(std::string(1, level) + "|" + file + "|" + func + "|" +
                    std::to_string(line) + "|" + text);
  return 0;
}

int g_calls = 0;
ustr counted_message(i32_t code) {
  g_calls++;
  return ustr_from_fmt("call %d for %d", g_calls, code);
}
ustr no_message(i32_t) { return nullptr; }

struct Handler {
  log_handler_t old = change_log_handler(capture);
  Handler() { g_lines.clear(); }
  ~Handler() { change_log_handler(old); }
};

}  // namespace

TEST(VarError, RecordLayoutAndText) {
  var_t e = var_err_code_msg_func_(-507, "Syntax error", nullptr);
  EXPECT_EQ(var_get_type(e), VAR_TYPE_ERROR);
  VAR_ERR_INFO* rec = record(e);
  EXPECT_EQ(rec->code, -507);
  EXPECT_EQ(svec_length(rec), 23u + 12u);
  const char* text = var_get_error_message(&e);
  EXPECT_EQ(text, reinterpret_cast<char*>(rec) + 16);  // at offset 16, not copied
  EXPECT_STREQ(text, "Syntax error");
  var_free(&e);

  e = var_err_code_msg_func_(-5, nullptr, nullptr);
  EXPECT_EQ(svec_length(record(e)), 23u);
  const char* first = var_get_error_message(&e);
  EXPECT_STREQ(first, "Unknown error code: -5");
  EXPECT_EQ(svec_length(record(e)), 23u + 22u);
  EXPECT_EQ(var_get_error_message(&e), first);  // no second formatting
  var_free(&e);

  e = var_err_code_msg_func_(-1, "caf\xE9", nullptr);  // the text gate converts
  EXPECT_STREQ(var_get_error_message(&e), "caf\xC3\xA9");
  var_free(&e);
  var_t number = var_uint_(1);
  EXPECT_EQ(var_get_error_message(&number), nullptr);
}

TEST(VarError, MessageFunctionsAndSetMessage) {
  g_calls = 0;
  var_t e = var_err_code_msg_func_(-600, "stored text", counted_message);
  EXPECT_STREQ(var_get_error_message(&e), "call 1 for -600");
  EXPECT_STREQ(var_get_error_message(&e), "call 2 for -600");  // renewed on every request

  // A shared record is copied before it changes; the other holder keeps its text.
  var_t alias = VAR_TAG_ERROR | reinterpret_cast<uintptr_t>(svec_share(record(e)));
  EXPECT_STREQ(var_get_error_message(&e), "call 3 for -600");
  EXPECT_NE(record(e), record(alias));
  EXPECT_STREQ(record(alias)->message, "call 2 for -600");
  var_free(&alias);
  var_free(&e);

  e = var_err_code_msg_func_(-1, "a long stored text", no_message);
  EXPECT_STREQ(var_get_error_message(&e), "a long ");  // cut to the record's own 7 bytes
  var_free(&e);

  e = var_err_code_msg_func_(-2, "first", nullptr);
  VAR_ERR_INFO* rec = record(e);
  VAR_ERR_INFO_SetErrorMessage(&rec, ustr_from_strn("replaced text", static_cast<u64_t>(-1)));
  EXPECT_EQ(rec->code, -2);
  EXPECT_STREQ(rec->message, "replaced text");
  EXPECT_EQ(svec_length(rec), 23u + 13u);
  VAR_ERR_INFO_SetErrorMessage(&rec, nullptr);
  EXPECT_EQ(svec_length(rec), 23u);
  e = VAR_TAG_ERROR | reinterpret_cast<uintptr_t>(rec);
  var_free(&e);
}

TEST(VarError, ValidateResult) {
  Handler h;
  uint32_t u = 0;
  EXPECT_TRUE(validate_result(var_uint_(7), &u, VAR_TYPE_U32, "f.c", "fn", 3, nullptr));
  EXPECT_EQ(u, 7u);

  EXPECT_FALSE(validate_result(var_err_code_msg_func_(-507, "Syntax error", nullptr), &u,
                               VAR_TYPE_U32, "f.c", "fn", 4, nullptr));
  EXPECT_FALSE(validate_result(VAR_EMPTY_OBJECT, &u, VAR_TYPE_ARRAY, "f.c", "fn", 5, nullptr));
  EXPECT_FALSE(validate_result(var_json_("{\"a\":[1]}", static_cast<u64_t>(-1), 0), &u,
                               VAR_TYPE_U32, "f.c", "fn", 6, "custom %d", 42));
  EXPECT_FALSE(validate_result(var_err_code_msg_func_(-1, "x", nullptr), &u, VAR_TYPE_ANY,
                               "f.c", "fn", 7, "own %s", "words"));
  ASSERT_EQ(g_lines.size(), 4u);
  EXPECT_EQ(g_lines[0], "X|f.c|fn|4|Syntax error");
  EXPECT_EQ(g_lines[1], "X|f.c|fn|5|Type Conversion Error");
  EXPECT_EQ(g_lines[2], "X|f.c|fn|6|custom 42");
  EXPECT_EQ(g_lines[3], "X|f.c|fn|7|own words");

  var_t tree = VAR_NULL;
  EXPECT_TRUE(validate_result(var_json_("[1,2]", 5, 0), &tree, VAR_TYPE_NULL, "f.c", "fn", 8,
                              nullptr));
  EXPECT_EQ(var_get_count(&tree), 2);  // handed over, the caller releases it
  var_free(&tree);
  EXPECT_TRUE(validate_result(var_json_("{}", 2, 0), &tree, VAR_TYPE_OBJECT, "f.c", "fn", 9,
                              nullptr));
  EXPECT_EQ(tree, VAR_EMPTY_OBJECT);
  ustr s = nullptr;
  EXPECT_TRUE(validate_result(var_str_("a ustr value", true), &s, VAR_TYPE_USTR, "f.c", "fn",
                              10, nullptr));
  EXPECT_STREQ(s, "a ustr value");
  svec_free(&s);
  EXPECT_EQ(g_lines.size(), 4u);
}
