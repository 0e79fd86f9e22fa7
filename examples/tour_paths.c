/* tour_paths.c - a tour of paths: build a document in a few calls with
 * var_of_rawpath, read values back by paths such as "planes[0].sz" and
 * "list[-1]", and see what a path that names nothing gives. */
#include <kyr/kyr_core.h>

#include <stdio.h>
#include <string.h>

/* Paths here are NUL-terminated literals: -1 lets the NUL end them. */
#define PATH(p) (p), (u64_t)-1

static void show(const var_t* root, const char* path) {
  const var_t* v = var_find_rawpath(root, PATH(path));
  char quoted[64];
  snprintf(quoted, sizeof quoted, "\"%s\"", path);
  printf("  %-26s -> ", quoted);
  if (!v) {
    printf("null (names nothing)\n");
    return;
  }
  switch (var_get_type(*v)) {
    case VAR_TYPE_I32: printf("%d\n", (int)(i32_t)(u32_t)*v); break;
    case VAR_TYPE_F64: printf("%g\n", var_as_f64_bits(*v)); break;
    case VAR_TYPE_OBJECT: printf("an object of %lld members\n", (long long)var_get_count(v)); break;
    case VAR_TYPE_ARRAY: printf("an array of %lld slots\n", (long long)var_get_count(v)); break;
    case VAR_TYPE_NULL: printf("null value\n"); break;
    default: {
      const char* text = var_get_str(v);
      printf("\"%s\"\n", text ? text : "?");
    }
  }
}

int main(void) {
  var_t doc = VAR_NULL;

  /* Each call builds what is missing: doc becomes an object, "planes" an
   * array, slot 0 an object with "sz". The initial value (null here) goes
   * into every member the walk creates; write the leaf through the result. */
  *var_of_rawpath(&doc, PATH("name"), VAR_NULL) = var_str_("a small document", true);
  *var_of_rawpath(&doc, PATH("planes[0].sz"), VAR_NULL) = var_int_(640);
  *var_of_rawpath(&doc, PATH("planes[0].fmt"), VAR_NULL) = var_str_("RGBA", true);
  *var_of_rawpath(&doc, PATH("planes[1].sz"), VAR_NULL) = var_int_(320);
  *var_of_rawpath(&doc, PATH("planes[1].fmt"), VAR_NULL) = var_str_("Y", true);

  /* An index past the end grows the array with null slots. */
  for (int i = 0; i < 4; i++) {
    char path[16];
    snprintf(path, sizeof path, "list[%d]", i);
    *var_of_rawpath(&doc, PATH(path), VAR_NULL) = var_int_(i * i);
  }

  /* A number as the initial value is a default: it lands only where the
   * member is new. "scale" gets 1; the second call finds it and leaves it. */
  var_of_rawpath(&doc, PATH("view.scale"), var_int_(1));
  var_of_rawpath(&doc, PATH("view.scale"), var_int_(2));

  printf("reading:\n");
  show(&doc, "name");
  show(&doc, "planes");
  show(&doc, "planes[0].sz");
  show(&doc, "planes[1].fmt");
  show(&doc, "planes[-1].sz");    /* negative counts from the end */
  show(&doc, "planes.[1].[0]");   /* on an object, [n] is the n-th member */
  show(&doc, "list[-1]");
  show(&doc, "list[0x2]");        /* indices take hex and octal too */
  show(&doc, "  view..scale.");   /* leading blanks and extra dots pass */
  show(&doc, "");                 /* the empty path is the root */

  printf("failing:\n");
  show(&doc, "planes[2].sz");     /* past the end */
  show(&doc, "planes[0].depth");  /* no such member */
  show(&doc, "list[1][2]");       /* a slot of a slot is written list[1].[2] */
  show(&doc, "list[x]");          /* not a number */

  /* With the no-create sentinel, var_of_rawpath only looks. */
  printf("  %-26s -> %s\n", "\"view.offset\", no create",
         var_of_rawpath(&doc, PATH("view.offset"), VAR_PATH_NO_CREATE) ? "found" : "null");

  var_free(&doc);
  return 0;
}
