/* tour_json.c - a tour of the JSON reader: read a document written in the
 * relaxed dialect (comments, single quotes, bare names, hexadecimal numbers,
 * digit separators), walk the tree it gives, read members through the
 * conversions, and see what a broken document returns: an error value with
 * a code and a message. Run from the examples folder (data/ is beside it). */
#include <kyr/kyr_core.h>

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

static int print_log(char level, const char* file, const char* func, u32_t line,
                     const char* format, va_list args) {
  printf("[log %c] %s %s:%u: ", level, file, func, (unsigned)line);
  vprintf(format, args);
  printf("\n");
  return 0;
}

/* The whole file as bytes; the reader takes a length, so no terminator is
 * needed, but one is kept so the buffer can be printed. */
static char* read_file(const char* path, size_t* len) {
  FILE* f = fopen(path, "rb");
  if (!f) return NULL;
  char* buf = NULL;
  size_t cap = 0, n = 0;
  for (;;) {
    if (n + 4096 + 1 > cap) {
      cap = (n + 4096 + 1) * 2;
      char* grown = realloc(buf, cap);
      if (!grown) break;
      buf = grown;
    }
    size_t got = fread(buf + n, 1, 4096, f);
    n += got;
    if (got < 4096) break;
  }
  fclose(f);
  if (buf) buf[n] = 0;
  *len = n;
  return buf;
}

static const char* kind_name(u8_t type) {
  switch (type) {
    case VAR_TYPE_NULL: return "null";
    case VAR_TYPE_BOOL: return "bool";
    case VAR_TYPE_F32: return "f32";
    case VAR_TYPE_U32: return "u32";
    case VAR_TYPE_I32: return "i32";
    case VAR_TYPE_U48: return "u48";
    case VAR_TYPE_I48: return "i48";
    case VAR_TYPE_F64: return "f64";
    case VAR_TYPE_U64: return "u64";
    case VAR_TYPE_I64: return "i64";
    case VAR_TYPE_USTR: return "string";
    case VAR_TYPE_OBJECT: return "object";
    case VAR_TYPE_ARRAY: return "array";
    default: return "other";
  }
}

/* A scalar's text: its own text form where it has one, %.17g for doubles,
 * the cell for 64-bit integers. */
static void print_scalar(const var_t* v) {
  u8_t type = var_get_type(*v);
  ustr text = NULL;
  f64_t d;
  u64_t u;
  if (type == VAR_TYPE_NULL) {
    printf("null");
  } else if (type == VAR_TYPE_F64 && var_to_f64p(v, &d)) {
    printf("%.17g", d);
  } else if (type == VAR_TYPE_U64 && var_to_u64p(v, &u)) {
    printf("%" PRIu64 " (0x%" PRIX64 ")", u, u);
  } else if (type == VAR_TYPE_USTR) {
    const char* s = var_get_str(v);
    printf("\"%s\"", s ? s : "");
  } else if (var_to_ustr(v, &text)) {
    printf("%s", text ? text : "");
    svec_free(&text);
  }
  printf("  (%s)\n", kind_name(type));
}

/* The name of a container just entered: the member that the frame one level
 * up stands on, if that frame walks an object. */
static const char* entered_name(const VAR_IT* it) {
  const VAR_FRAME* up = (const VAR_FRAME*)svec_get(it->frames, -2);
  if (!up || up->kind != VAR_TYPE_OBJECT) return NULL;
  return ((const VAR_MEMBER*)up->body)[up->index].key;
}

/* Walks the tree depth first without recursion, one line per event. */
static void walk(var_t* root) {
  VAR_IT it;
  int depth = 0;
  VAR_IT_Init(&it, root);
  while (VAR_IT_Next(&it)) {
    ustr key = NULL;
    var_t* v = VAR_IT_Get(&it, &key);
    if (it.state == VAR_IT_OBJECT_END || it.state == VAR_IT_ARRAY_END) depth--;
    printf("%*s", 2 * depth, "");
    if (it.state == VAR_IT_OBJECT_BEGIN || it.state == VAR_IT_ARRAY_BEGIN) {
      const char* name = entered_name(&it);
      if (name) printf("%s: ", name);
    } else if (key && it.state != VAR_IT_OBJECT_END && it.state != VAR_IT_ARRAY_END) {
      printf("%s: ", key);
    }
    switch (it.state) {
      case VAR_IT_OBJECT_BEGIN: printf("{\n"); depth++; break;
      case VAR_IT_ARRAY_BEGIN: printf("[\n"); depth++; break;
      case VAR_IT_OBJECT_END: printf("}\n"); break;
      case VAR_IT_ARRAY_END: printf("]\n"); break;
      case VAR_IT_EMPTY: printf("%s\n", var_get_type(*v) == VAR_TYPE_ARRAY ? "[]" : "{}"); break;
      default: print_scalar(v); break;
    }
    svec_free(&key);
  }
}

int main(void) {
  change_log_handler(print_log);

  size_t len = 0;
  char* text = read_file("data/relaxed.json", &len);
  if (!text) {
    printf("cannot read data/relaxed.json (run from the examples folder)\n");
    return 1;
  }
  var_t doc = var_json_(text, len, 0);
  free(text);  /* the tree owns no part of the text */
  if (var_get_type(doc) == VAR_TYPE_ERROR) {
    printf("relaxed.json: %s\n", var_get_error_message(&doc));
    var_free(&doc);
    return 1;
  }
  printf("== data/relaxed.json, %" PRIi64 " members\n", var_get_count(&doc));
  walk(&doc);

  /* Members read through the conversions, with defaults for what is missing. */
  printf("\n== reading members\n");
  printf("width x height: %u x %u\n", var_prop_as_u32_def(&doc, "width", 0),
         var_prop_as_u32_def(&doc, "height", 0));
  printf("pixel format: %.4s\n", (const char*)&(fourcc_t){
      var_prop_as_fourcc_def(&doc, "pixel_format", KYR_FOURCC('?', '?', '?', '?'))});
  printf("gain as f32: %g, missing 'zoom' gives its default: %g\n",
         var_prop_as_f32_def(&doc, "gain", 1.0f), var_prop_as_f32_def(&doc, "zoom", 1.0f));
  printf("flags as i32: %d\n", var_prop_as_i32_def(&doc, "flags", -1));

  var_t* stages = var_find_rawkey(&doc, "stages", 6);
  var_t* second = var_get_value_at_index(stages, -1);
  var_t* curve = var_find_rawkey(second, "curve", 5);
  printf("last stage: %s, curve has %" PRIi64 " points\n",
         var_get_str(var_find_rawkey(second, "op", 2)), var_get_count(curve));

  /* validate_result checks a value against the wanted kind and logs a miss
   * through the handler installed above, naming the caller's own place. */
  bool enabled = false;
  var_t copy = *var_find_rawkey(&doc, "enabled", 7); /* a bool owns nothing */
  if (validate_result(copy, &enabled, VAR_TYPE_BOOL, "tour_json.c", "main", __LINE__, NULL))
    printf("enabled: %s\n", enabled ? "yes" : "no");
  u32_t count = 0;
  validate_result(var_str_("not a number", true), &count, VAR_TYPE_U32, "tour_json.c", "main",
                  __LINE__, NULL);
  var_free(&doc);

  /* A broken document gives an error value instead of a tree. */
  printf("\n== data/broken.json\n");
  text = read_file("data/broken.json", &len);
  if (!text) return 1;
  var_t bad = var_json_(text, len, 0);
  free(text);
  if (var_get_type(bad) == VAR_TYPE_ERROR) {
    const VAR_ERR_INFO* info = (const VAR_ERR_INFO*)(uintptr_t)(bad & VAR_PAYLOAD_MASK);
    printf("error value: code %d, message \"%s\"\n", info->code, var_get_error_message(&bad));
  }
  /* The same error value goes through validate_result like any result. */
  var_t tree = VAR_NULL;
  validate_result(bad, &tree, VAR_TYPE_OBJECT, "tour_json.c", "main", __LINE__, NULL);
  return 0;
}
