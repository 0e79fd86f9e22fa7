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

  CHECK(check_memory_usage(false) == 0);
  if (failures) return 1;
  puts("c api ok");
  return 0;
}
