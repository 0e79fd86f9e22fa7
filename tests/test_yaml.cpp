// test_yaml.cpp - the list structure scanner: marks, columns, brackets, the
// bytes that stop it, and depth.
#include <gtest/gtest.h>

#include <string>

#include "kyr/kyr_yaml.h"

namespace {

// The tree as compact text: "n" for null, "[...]" for arrays, "?" otherwise.
std::string shape(const var_t& root) {
  std::string out;
  struct Frame {
    const var_t* v;
    int64_t next;
  };
  std::vector<Frame> stack{{&root, -1}};
  while (!stack.empty()) {
    Frame& f = stack.back();
    u8_t type = var_get_type(*f.v);
    if (type != VAR_TYPE_ARRAY) {
      out += type == VAR_TYPE_NULL ? "n" : "?";
      stack.pop_back();
      continue;
    }
    if (f.next < 0) out += "[";
    int64_t i = ++f.next;
    if (i > 0 && i < var_get_count(f.v)) out += ",";
    if (i >= var_get_count(f.v)) {
      out += "]";
      stack.pop_back();
      continue;
    }
    stack.push_back({var_get_value_at_index(f.v, i), -1});
  }
  return out;
}

std::string yaml(const std::string& text) {
  var_t v = var_yaml_(text.c_str());
  std::string s = shape(v);
  var_free(&v);
  return s;
}

}  // namespace

TEST(Yaml, MarksAndColumns) {
  const struct {
    const char* text;
    const char* shape;
  } cases[] = {
      {"", "n"},
      {"abc: 1", "n"},
      {"[", "[]"},
      {"[a, b]", "[]"},
      {"[[", "[[]]"},
      {"{a: [", "[]"},           // "{" is a plain byte
      {"- a", "n"},              // the line starts with the dash and text follows
      {" - a", "[]"},            // the first dash only creates the list
      {" - a\n - b", "[n]"},     // same column: an item
      {" - a\r\n - b", "[n]"},   // CR LF is a line end
      {" - a\n - b\n - c", "[[]]"},  // the item is current: the next dash makes it a list
      {" - a\n   - b", "[[]]"},  // deeper: a nested list
      // The item that the third line made current is null: the shallower dash
      // makes it a list before any column is compared.
      {" - a\n   - b\n   - c\n - d", "[[[]]]"},
      {" - a\n   - b\n - c\n - d", "[[],n]"},  // back out to the outer list
      {"-", "[]"},               // a dash as the last byte ends the text normally
      {"-\n-", "[[]]"},          // the byte behind an opening dash is passed over
      {"a -", "[]"},             // only blanks behind the dash: an item mark
      {"a - b", "n"},
      {" - [x\n - y", "[[[]]]"},  // every dash nests inside a bracket list
      {" -\x7F", "[]"},          // DEL steps like a printable byte
  };
  for (const auto& c : cases) EXPECT_EQ(yaml(c.text), c.shape) << c.text;
}

TEST(Yaml, BytesThatStopTheReader) {
  const struct {
    std::string text;
    const char* shape;
  } cases[] = {
      {"a\tb", "n"},                  // tab
      {" - a\n - b\tc", "[]"},         // the lists opened so far come back empty
      {" - a\r - b", "[]"},            // a CR alone
      {"[[ caf\xC3\xA9", "[]"},        // any multi-byte character
      {"x\x01", "n"},
      {" - a\n\xFF", "[]"},
  };
  for (const auto& c : cases) EXPECT_EQ(yaml(c.text), c.shape) << c.text;
  EXPECT_EQ(var_yaml_(nullptr), VAR_NULL);
}

// Nesting deeper than any machine stack would allow for recursion, and many
// pops back: both are loops over the heap stack.
TEST(Yaml, DepthIsOnTheHeap) {
  std::string brackets(200000, '[');
  var_t v = var_yaml_(brackets.c_str());
  const var_t* p = &v;
  int depth = 0;
  while (var_get_count(p) == 1) {
    p = var_get_value_at_index(p, 0);
    depth++;
  }
  EXPECT_EQ(depth, 199999);
  var_free(&v);

  std::string text;
  for (int i = 1; i <= 3000; i++) text += std::string(static_cast<size_t>(i), ' ') + "- x\n";
  text += " - y\n";  // back to the first column: pops everything
  for (int i = 2; i <= 4; i++) text += std::string(static_cast<size_t>(i), ' ') + "- z\n";
  v = var_yaml_(text.c_str());
  EXPECT_EQ(var_get_type(v), VAR_TYPE_ARRAY);
  var_free(&v);
}
