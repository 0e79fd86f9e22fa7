// yaml.cpp - var_yaml_, the structure scanner for YAML-shaped text.
//
// One pass over the bytes with an explicit stack of the lists around the
// current one; the depth of the text never reaches the machine stack.
#include "core/stack.h"
#include "kyr/kyr_yaml.h"
#include "var/var_internal.h"

using namespace kyr;

// ============================================================ types

namespace {

// A list being filled: the slot that holds it and the column of the dash that
// opened it (-1 for a list opened by a bracket, so that every dash nests
// inside it). Columns are 64-bit so that no line is long enough to wrap one.
struct Record {
  var_t* value;
  int64_t indent;
};

// What each byte does. A table, as the reader's behaviour is one: everything
// not named steps; controls and all bytes from 0x80 on stop the reader.
enum ByteClass : uint8_t { kStep, kDash, kBracket, kLf, kCr, kStop };

constexpr auto kClasses = [] {
  struct Table {
    ByteClass c[256];
  } t{};
  for (int b = 0; b < 256; b++) t.c[b] = (b >= 0x20 && b <= 0x7F) ? kStep : kStop;
  t.c[static_cast<unsigned char>('-')] = kDash;
  t.c[static_cast<unsigned char>('[')] = kBracket;
  t.c[static_cast<unsigned char>('\n')] = kLf;
  t.c[static_cast<unsigned char>('\r')] = kCr;
  return t;
}();

// ============================================================ helpers

class Scanner {
 public:
  explicit Scanner(const char* text) : line_(text), off_(0), col_(0) {}

  // Runs to the NUL; false when a byte stopped the reader.
  bool run() {
    for (;;) {
      unsigned char b = byte();
      if (!b) return true;
      switch (kClasses.c[b]) {
        case kStep: step(); break;
        case kDash: dash(); break;
        case kBracket: bracket(); break;
        case kLf: new_line(1); break;
        case kCr:
          if (line_[off_ + 1] != '\n') return false;  // a CR alone
          new_line(2);
          break;
        case kStop: return false;
      }
    }
  }

  var_t root = VAR_NULL;

 private:
  unsigned char byte() const { return static_cast<unsigned char>(line_[off_]); }

  // One byte on, never past the NUL.
  void step() {
    if (!byte()) return;
    off_++;
    col_++;
  }

  void new_line(uint64_t end_bytes) {
    line_ += off_ + end_bytes;
    off_ = 0;
    col_ = 0;
  }

  // Only blanks between the cursor and the line end (LF, CR LF or the NUL).
  bool blank_to_line_end() const {
    const char* p = line_ + off_;
    while (*p == ' ') p++;
    return *p == '\0' || *p == '\n' || (*p == '\r' && p[1] == '\n');
  }

  void bracket() {
    var_t* v = cur_.value;
    if (*v == VAR_NULL) {
      *v = VAR_EMPTY_ARRAY;
    } else if (is_array(*v)) {
      stack_.push(cur_);
      cur_ = {var_append(v, VAR_EMPTY_ARRAY), -1};
    }
    step();
  }

  void dash() {
    off_++;  // past the dash
    col_++;
    if (line_[0] != ' ' && !blank_to_line_end()) {  // not an item mark
      step();
      return;
    }
    var_t* v = cur_.value;
    if (*v == VAR_NULL) {
      *v = VAR_EMPTY_ARRAY;
      cur_.indent = col_;
      step();
    } else if (!is_array(*v)) {
      step();
    } else if (col_ == cur_.indent) {
      // The item becomes the current value: a further dash in this column
      // finds it null and makes it a list of its own.
      cur_.value = var_append(v, VAR_NULL);
    } else if (col_ > cur_.indent) {
      stack_.push(cur_);
      cur_ = {var_append(v, VAR_EMPTY_ARRAY), col_};
      step();
    } else {
      while (!stack_.empty()) {
        cur_ = stack_.pop();
        if (cur_.indent <= col_) break;
      }
    }
  }

  const char* line_;
  uint64_t off_;
  int64_t col_;
  Record cur_{&root, 0};
  Stack<Record> stack_;
};

}  // namespace

// ============================================================ exported

extern "C" {

// The scanner lives on this frame; its stack goes back with it. Slots on the
// stack stay valid: a list's body only grows while it is the current value,
// and by then every record above it has been popped.
KYR_API var_t var_yaml_(const char* text) {
  if (!text) return VAR_NULL;
  Scanner scanner(text);
  if (!scanner.run()) var_clear(&scanner.root);
  return scanner.root;
}

}  // extern "C"
