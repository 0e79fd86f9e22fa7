/* A C11 program over the umbrella header, linked to the shared library: the
 * headers are valid C and the exported names resolve. */
#include <kyr/kyr_core.h>

#include <stdio.h>
#include <string.h>

static int failures = 0;
#define CHECK(cond)                                               \
  do {                                                            \
    if (!(cond)) {                                                \
      fprintf(stderr, "%s:%d: %s failed\n", __FILE__, __LINE__, #cond); \
      failures++;                                                 \
    }                                                             \
  } while (0)

int main(void) {
  ustr s = ustr_from_strn("hello, world", (u64_t)-1);
  CHECK(svec_length(s) == 12 && strcmp(s, "hello, world") == 0);
  svec_free(&s);
  CHECK(s == NULL);

  var_t root = VAR_EMPTY_OBJECT;
  var_member_of_rawkey(&root, "n", 1)->value = var_int_(-5);
  *var_append(&var_member_of_rawkey(&root, "list", 4)->value, VAR_NULL) = var_bool_(true);
  CHECK(var_get_type(*var_find_rawkey(&root, "n", 1)) == VAR_TYPE_I32);
  CHECK(var_get_count(&root) == 2);

  VAR_IT it;
  int events = 0;
  VAR_IT_Init(&it, &root);
  while (VAR_IT_Next(&it)) events++;
  CHECK(events == 6); /* object begin, n, list begin, true, list end, object end */
  var_free(&root);

  /* One call into each of the other families, through the shared library. */
  var_t doc = var_json_("{'pl':[{sz:0x10}]}", (u64_t)-1, 0);
  var_t* sz = var_of_rawpath(&doc, "pl[0].sz", (u64_t)-1, VAR_PATH_NO_CREATE);
  f64_t d = 0;
  CHECK(sz && var_to_f64p(sz, &d) && d == 16.0);
  ustr json = var_to_json(&doc, 0);
  CHECK(json && strcmp(json, "{\"pl\":[{\"sz\":16}]}") == 0);
  svec_free(&json);
  var_free(&doc);

  CHECK(kyr_crc32("123456789", 9) == 0xCBF43926u);
  CHECK(f16_to_f32(f32_to_f16(1.5f)) == 1.5f);
  CHECK(GetImageBufferSize(4, 2, KYR_PF_RGBA) == 32);
  mat4_f32 rot = mat4_rotation(0.5f, (vec4_f32){0, 0, 1, 0});
  CHECK(mat4_determinant(&rot) > 0.999 && mat4_determinant(&rot) < 1.001);

  CHECK(check_memory_usage(false) == 0);
  if (failures) return 1;
  puts("c api ok");
  return 0;
}
