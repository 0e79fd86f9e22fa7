// ustrs.cpp - string lists: a keyed list with linear lookup, and the target
// of splitting text into fields and lines.
//
// The list is an svec of 16-byte elements that the library never shares, so
// elements are changed in place and copied without new references.
#include "core/svec_internal.h"
#include "text/ustr_internal.h"
#include "text/ustrs_internal.h"

using namespace kyr;

// ============================================================ helpers

namespace {

constexpr uint16_t kItemSize = sizeof(ustrs_item);
static_assert(sizeof(void*) != 8 ||
              (sizeof(ustrs_item) == 16 && offsetof(ustrs_item, str) == 0 &&
               offsetof(ustrs_item, obj) == 8),
              "list elements are 16 bytes: str, then obj");

void append_item(ustrs* list, ustr str, uintptr_t obj) {
  auto* item = static_cast<ustrs_item*>(svec_append(list, 1, kItemSize));
  item->str = str;
  item->obj = obj;
}

i64_t find_key(ustrs list, ustr key) {
  uint64_t n = svec_len(list);
  for (uint64_t i = 0; i < n; i++)
    if (svec_equals(list[i].str, key)) return static_cast<i64_t>(i);
  return -1;
}

i64_t find_obj(ustrs list, uintptr_t obj) {
  uint64_t n = svec_len(list);
  for (uint64_t i = 0; i < n; i++)
    if (list[i].obj == obj) return static_cast<i64_t>(i);
  return -1;
}

}  // namespace

// ============================================================ implementation

namespace kyr {

void ustrs_add_strn(ustrs* list, const char* text, uint64_t len) {
  // ustr_from_strn reads a bound of 0 as "no text", so an empty field is null.
  append_item(list, ustr_from_strn(text, len), 0);
}

}  // namespace kyr

// ============================================================ exported

extern "C" {

KYR_API u64_t ustrs_add(ustrs* list, ustr str, uintptr_t obj) {
  uint64_t index = svec_len(*list);
  append_item(list, str, obj);
  return index;
}

KYR_API void ustrs_clear(ustrs* list, ustrs_free_func free_obj) {
  ustrs items = *list;
  for (uint64_t i = svec_len(items); i-- > 0;) {
    svec_free(&items[i].str);
    if (free_obj) free_obj(items[i].obj, 1);
  }
  svec_free(list);
}

KYR_API void ustrs_delete(ustrs* list, i64_t index, ustrs_free_func free_obj) {
  uint64_t n = svec_len(*list);
  if (index < 0) index += static_cast<i64_t>(n);
  if (index < 0 || static_cast<uint64_t>(index) >= n) return;
  ustrs_item* item = &(*list)[index];
  svec_free(&item->str);
  if (free_obj) free_obj(item->obj, 1);
  svec_delete(list, index, 1);
}

KYR_API i64_t ustrs_index_of_key(ustrs list, ustr key) {
  i64_t index = find_key(list, key);
  svec_free(&key);
  return index;
}

KYR_API ustrs_item* ustrs_item_of_key(ustrs list, ustr key) {
  i64_t index = ustrs_index_of_key(list, key);
  return index < 0 ? nullptr : &list[index];
}

KYR_API i64_t ustrs_index_of_obj(ustrs list, uintptr_t obj) { return find_obj(list, obj); }

KYR_API ustrs_item* ustrs_item_of_obj(ustrs list, uintptr_t obj) {
  i64_t index = find_obj(list, obj);
  return index < 0 ? nullptr : &list[index];
}

KYR_API u64_t ustrs_add_delimited(ustrs* list, const char* text, i64_t len,
                                  char delimiter) {
  if (!text || len < 1) return 0;
  u64_t added = 0;
  const char* field = text;
  const char* end = text + len;
  for (const char* p = text; p < end; p++) {
    if (*p != delimiter) continue;
    ustrs_add_strn(list, field, static_cast<uint64_t>(p - field));
    added++;
    field = p + 1;
  }
  if (field < end) {
    ustrs_add_strn(list, field, static_cast<uint64_t>(end - field));
    added++;
  }
  return added;
}

// A line end looks one byte ahead for its partner, but only inside the text:
// a CR or LF as the last byte ends the last line whatever follows it.
KYR_API u64_t ustrs_add_rawtext(ustrs* list, const char* text, u64_t len) {
  if (!text || !len) return 0;
  u64_t added = 0;
  const char* line = text;
  const char* end = text + len;
  for (const char* p = text; p < end; p++) {
    char c = *p;
    if (c != '\r' && c != '\n') continue;
    append_item(list, ustr_from_raw(line, static_cast<uint64_t>(p - line)), 0);
    added++;
    char partner = c == '\r' ? '\n' : '\r';
    if (p + 1 < end && p[1] == partner) p++;
    line = p + 1;
  }
  if (line < end) {
    append_item(list, ustr_from_raw(line, static_cast<uint64_t>(end - line)), 0);
    added++;
  }
  return added;
}

KYR_API u64_t ustrs_add_text(ustrs* list, ustr str) {
  if (!str) return 0;
  u64_t added = ustrs_add_rawtext(list, str, svec_len(str));
  svec_free(&str);
  return added;
}

}  // extern "C"
