/* tour_text.c - a tour of the text and hash families: the CRC-32 and SipHash
 * of a file, the lines of a text file with their display widths and wrapped
 * to 60 columns, a string list split and joined, and the list structure of a
 * YAML file.
 *
 * usage: tour_text [lines-file [yaml-file]]
 *   (defaults: data/textx_lines.txt and data/textx_sample.yaml, relative to
 *   the examples folder) */
#include <kyr/kyr_core.h>

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define WRAP_COLUMNS 60

/* The whole file in a NUL-terminated malloc'd buffer, plain stdio. */
static char* read_file(const char* path, size_t* size) {
  FILE* f = fopen(path, "rb");
  if (!f) return NULL;
  size_t room = 4096, len = 0;
  char* buf = malloc(room);
  size_t got;
  while (buf && (got = fread(buf + len, 1, room - len - 1, f)) > 0) {
    len += got;
    if (room - len - 1 == 0) {
      char* bigger = realloc(buf, room * 2);
      if (!bigger) {
        free(buf);
        buf = NULL;
        break;
      }
      buf = bigger;
      room *= 2;
    }
  }
  fclose(f);
  if (buf) buf[len] = '\0';
  *size = len;
  return buf;
}

static void show_hashes(const char* path, const char* data, size_t size) {
  /* SipHash takes a 128-bit key: here the bytes 00 01 ... 0F. */
  u8_t key_bytes[16];
  u64_t key[2];
  for (int i = 0; i < 16; i++) key_bytes[i] = (u8_t)i;
  memcpy(key, key_bytes, sizeof key);
  printf("%s: %zu bytes\n", path, size);
  printf("  CRC-32      %08" PRIx32 "\n", kyr_crc32(data, size));
  printf("  SipHash-2-4 %016" PRIx64 "\n", siphash24(data, (u32_t)size, key));
}

/* Each line with its columns, then cut to WRAP_COLUMNS with word_wrap. The
 * wrapper writes NULs into its buffer, so every line is copied first. */
static void show_lines(ustrs lines) {
  u64_t count = svec_length(lines);
  printf("\n%" PRIu64 " lines, display width in columns (bytes):\n", count);
  for (u64_t i = 0; i < count; i++) {
    const char* text = lines[i].str ? lines[i].str : "";
    text_metrics_t m = kyr_u8smetrics(text, (u64_t)-1);
    printf("  %2" PRIu64 " %4" PRIi64 " (%3" PRIu64 ")  %s\n", i + 1, m.width, m.bytes, text);
  }

  printf("\nwrapped to %d columns:\n", WRAP_COLUMNS);
  printf("  +%.*s+\n", WRAP_COLUMNS,
         "------------------------------------------------------------");
  for (u64_t i = 0; i < count; i++) {
    char buf[512];
    snprintf(buf, sizeof buf, "%s", lines[i].str ? lines[i].str : "");
    char* p = buf;
    while (p) {
      word_wrap_t r = word_wrap(p, WRAP_COLUMNS, NULL);
      /* Pad by columns, not bytes, so the right border lines up. */
      printf("  |%s%*s|\n", r.line, (int)(WRAP_COLUMNS - r.width), "");
      if (!r.next || r.next == p) break; /* end, or a character wider than a line */
      *r.next = r.saved;
      p = r.next;
    }
  }
  printf("  +%.*s+\n", WRAP_COLUMNS,
         "------------------------------------------------------------");

  /* With a suffix the text is cut once, with room for the mark. */
  char cut[512];
  const char* last = lines && count ? lines[count - 1].str : "";
  printf("\nellipse to 40 columns: %s\n", ellipse(last, cut, sizeof cut, 40, "..."));
}

static void show_list(void) {
  const char* csv = "red,green,,blue,cyan";
  ustrs list = NULL;
  u64_t n = ustrs_add_delimited(&list, csv, (i64_t)strlen(csv), ',');
  printf("\n\"%s\" splits into %" PRIu64 " fields:", csv, n);
  for (u64_t i = 0; i < n; i++) printf(" [%s]", list[i].str ? list[i].str : "(null)");
  printf("\n");

  /* Keys are consumed by the lookups; objects are the caller's words. */
  i64_t blue = ustrs_index_of_key(list, ustr_from_strn("blue", (u64_t)-1));
  printf("\"blue\" is field %" PRIi64 "\n", blue);
  ustrs_delete(&list, 2, NULL); /* the empty field */
  ustrs_add(&list, ustr_from_strn("magenta", (u64_t)-1), 7);
  printf("the entry with object 7 is [%s]\n", ustrs_item_of_obj(list, 7)->str);

  ustr joined = NULL;
  for (u64_t i = 0; i < svec_length(list); i++) {
    if (i) ustr_cat_strn(&joined, " | ", (u64_t)-1);
    ustr_append(&joined, (ustr)svec_share(list[i].str));
  }
  printf("joined: %s\n", joined);
  svec_free(&joined);
  ustrs_clear(&list, NULL);
}

/* The tree holds only arrays and nulls: print it as nested brackets. */
static void show_yaml(const char* path) {
  size_t size;
  char* text = read_file(path, &size);
  if (!text) {
    printf("\ncannot read %s\n", path);
    return;
  }
  var_t root = var_yaml_(text);
  free(text);
  printf("\nlist structure of %s:\n  ", path);
  VAR_IT it;
  VAR_IT_Init(&it, &root);
  int first = 1;
  while (VAR_IT_Next(&it)) {
    if (it.state != VAR_IT_ARRAY_END && !first) printf(", ");
    first = 0;
    switch (it.state) {
      case VAR_IT_ARRAY_BEGIN: printf("["); first = 1; break;
      case VAR_IT_ARRAY_END: printf("]"); break;
      case VAR_IT_EMPTY: printf("[]"); break;
      default: printf("null"); break;
    }
  }
  printf("\n");
  var_free(&root);
}

int main(int argc, char** argv) {
  const char* lines_path = argc > 1 ? argv[1] : "data/textx_lines.txt";
  const char* yaml_path = argc > 2 ? argv[2] : "data/textx_sample.yaml";

  size_t size;
  char* data = read_file(lines_path, &size);
  if (!data) {
    fprintf(stderr, "cannot read %s\n", lines_path);
    return 1;
  }
  show_hashes(lines_path, data, size);

  ustrs lines = NULL;
  ustrs_add_rawtext(&lines, data, size);
  free(data);
  show_lines(lines);
  ustrs_clear(&lines, NULL);

  show_list();
  show_yaml(yaml_path);
  return 0;
}
