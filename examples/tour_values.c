/* tour_values.c - a tour of variant values: build a tree of every kind of
 * number and string, nested arrays and objects and a duplicate key, walk it
 * with VAR_IT, look members up, and free it, with a log handler installed
 * that prints whatever the library logs. */
#include <kyr/kyr_core.h>

#include <inttypes.h>
#include <stdio.h>
#include <string.h>

static int print_log(char level, const char* file, const char* func, u32_t line,
                     const char* format, va_list args) {
  printf("[log %c] %s:%u %s: ", level, file, (unsigned)line, func);
  vprintf(format, args);
  printf("\n");
  return 0;
}

static const char* type_name(u8_t type) {
  switch (type) {
    case VAR_TYPE_NULL: return "null";
    case VAR_TYPE_BOOL: return "bool";
    case VAR_TYPE_F32: return "f32";
    case VAR_TYPE_U32: return "u32";
    case VAR_TYPE_I32: return "i32";
    case VAR_TYPE_SSTR: return "short string";
    case VAR_TYPE_U48: return "u48";
    case VAR_TYPE_I48: return "i48";
    case VAR_TYPE_F64: return "f64";
    case VAR_TYPE_U64: return "u64";
    case VAR_TYPE_I64: return "i64";
    case VAR_TYPE_CSTR: return "text reference";
    case VAR_TYPE_OBJECT: return "object";
    case VAR_TYPE_ARRAY: return "array";
    case VAR_TYPE_USTR: return "string";
    default: return "other";
  }
}

/* Reads a scalar straight from its word, as the encoding lays it out. */
static void print_scalar(const var_t* v) {
  var_t w = *v;
  u8_t type = var_get_type(w);
  switch (type) {
    case VAR_TYPE_NULL: printf("null"); break;
    case VAR_TYPE_BOOL: printf("%s", (u32_t)w ? "true" : "false"); break;
    case VAR_TYPE_F32: {
      u32_t bits = (u32_t)w;
      f32_t f;
      memcpy(&f, &bits, 4);
      printf("%.7g", f);
      break;
    }
    case VAR_TYPE_U32: printf("%" PRIu32, (u32_t)w); break;
    case VAR_TYPE_I32: printf("%" PRId32, (i32_t)(u32_t)w); break;
    case VAR_TYPE_U48: printf("%" PRIu64, w & VAR_PAYLOAD_MASK); break;
    case VAR_TYPE_I48: {
      i64_t x = (i64_t)((w & VAR_PAYLOAD_MASK) << 16) >> 16; /* sign from bit 47 */
      printf("%" PRId64, x);
      break;
    }
    case VAR_TYPE_F64: printf("%.15g", var_as_f64_bits(w)); break;
    case VAR_TYPE_U64: printf("%" PRIu64, *(u64_t*)(uintptr_t)(w & VAR_PAYLOAD_MASK)); break;
    case VAR_TYPE_I64: printf("%" PRId64, *(i64_t*)(uintptr_t)(w & VAR_PAYLOAD_MASK)); break;
    default: {
      const char* text = var_get_str(v);
      printf("\"%s\"", text ? text : "");
    }
  }
  printf("  (%s)", type_name(type));
}

static const char* event_name(u32_t state) {
  switch (state) {
    case VAR_IT_VALUE: return "value";
    case VAR_IT_OBJECT_BEGIN: return "object {";
    case VAR_IT_OBJECT_END: return "} object";
    case VAR_IT_EMPTY: return "empty";
    case VAR_IT_ARRAY_BEGIN: return "array [";
    case VAR_IT_ARRAY_END: return "] array";
    default: return "?";
  }
}

/* The key of the container just entered: the walker's record is public, and
 * the parent frame stands on the member that holds it. */
static const char* entered_key(const VAR_IT* it) {
  if (svec_length(it->frames) < 2) return NULL;
  const VAR_FRAME* parent = (const VAR_FRAME*)svec_get(it->frames, -2);
  if (parent->kind != VAR_TYPE_OBJECT) return NULL;
  return ((const VAR_MEMBER*)parent->body)[parent->index].key;
}

int main(void) {
  change_log_handler(print_log);

  /* Numbers take the narrowest kind that holds them. */
  var_t root = VAR_EMPTY_OBJECT;
  var_t* numbers = &var_member_of_rawkey(&root, "numbers", 7)->value;
  var_append(numbers, var_uint_(4000000000u));           /* u32 */
  var_append(numbers, var_uint_(100000000000ull));       /* u48 */
  var_append(numbers, var_uint_(18000000000000000000ull)); /* u64, heap cell */
  var_append(numbers, var_int_(-7));                      /* i32 */
  var_append(numbers, var_int_(-100000000000ll));         /* i48 */
  var_append(numbers, var_int_(-9000000000000000000ll));  /* i64, heap cell */
  var_append(numbers, var_f32_(0.5f));
  var_append(numbers, var_f64_(3.141592653589793));
  var_append(numbers, var_bool_(true));
  var_append(numbers, VAR_NULL);

  /* Up to 5 bytes live in the word; longer text is a shared ustr. */
  var_member_of_rawkey(&root, "short", 5)->value = var_str_("kyr", true);
  var_member_of_rawkey(&root, "long", 4)->value =
      var_str_("a string too long for the word", true);
  var_member_of_rawkey(&root, "formatted", 9)->value = var_printf_("%d-%s", 42, "answer");

  /* Nesting: an array of objects, and an empty array. */
  var_t* points = &var_member_of_rawkey(&root, "points", 6)->value;
  for (int i = 0; i < 2; i++) {
    var_t* p = var_append(points, VAR_EMPTY_OBJECT);
    var_member_of_rawkey(p, "x", 1)->value = var_int_(i * 10);
    var_member_of_rawkey(p, "y", 1)->value = var_int_(-i);
  }
  var_member_of_rawkey(&root, "none", 4)->value = VAR_EMPTY_ARRAY;

  /* var_obj_addu adds without searching: a second "short" shadows the first. */
  var_obj_addu(&root, ustr_from_strn("short", 5), var_str_("newer", true));

  printf("walk:\n");
  VAR_IT it;
  int depth = 0;
  VAR_IT_Init(&it, &root);
  while (VAR_IT_Next(&it)) {
    if (it.state == VAR_IT_OBJECT_END || it.state == VAR_IT_ARRAY_END) depth--;
    ustr key = NULL;
    const var_t* v = VAR_IT_Get(&it, &key);
    printf("%*s%-9s", depth * 2, "", event_name(it.state));
    const char* name = key;
    if (it.state == VAR_IT_OBJECT_BEGIN || it.state == VAR_IT_ARRAY_BEGIN)
      name = entered_key(&it);
    if (name) printf(" %s:", name);
    if (v && (it.state == VAR_IT_VALUE)) {
      printf(" ");
      print_scalar(v);
    }
    printf("\n");
    svec_free(&key);
    if (it.state == VAR_IT_OBJECT_BEGIN || it.state == VAR_IT_ARRAY_BEGIN) depth++;
  }

  printf("\nlookups:\n");
  const var_t* found = var_find_rawkey(&root, "short", 5);
  printf("  short -> ");
  print_scalar(found);
  printf("   (the newer of %lld members)\n", (long long)var_get_count(&root));
  const var_t* second = var_of_index(var_find_rawkey(&root, "points", 6), 1, false);
  printf("  points[1].x -> ");
  print_scalar(var_find_rawkey(second, "x", 1));
  printf("\n  missing -> %s\n", var_find_rawkey(&root, "missing", 7) ? "found" : "null");

  var_free(&root);
  printf("\nfreed; tracked bytes still held: %llu\n",
         (unsigned long long)check_memory_usage(false));
  return 0;
}
