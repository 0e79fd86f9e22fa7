/* tour_json_files.c - JSON from files and streams, and back to text: read
 * one document stored in UTF-8, UTF-16 and UTF-32 (with a byte-order mark,
 * and without one where the caller knows the encoding), write it back
 * indented to a file, read that file again and see that the tree is the
 * same; then see what files and streams without a document give.
 *
 * Run from the examples folder, or pass the folder that holds data/. */
#include <kyr/kyr_core.h>

#include <stdio.h>
#include <string.h>

static char data_dir[512] = "data";

static const char* data_path(const char* name) {
  static char path[1024];
  snprintf(path, sizeof path, "%s/%s", data_dir, name);
  return path;
}

/* The compact text of a tree: two trees that print the same are the same
 * shape, with the same names in the same order and the same values as the
 * writer shows them (doubles to six decimals). */
static ustr compact(const var_t* tree) { return var_to_json(tree, 0); }

static bool same_text(ustr a, ustr b) {
  return svec_length(a) == svec_length(b) && memcmp(a, b, svec_length(a)) == 0;
}

/* Elements and members in the whole tree, counted by a walk. */
static unsigned long count_values(var_t* tree) {
  unsigned long n = 0;
  VAR_IT it;
  VAR_IT_Init(&it, tree);
  while (VAR_IT_Next(&it))
    if (it.state != VAR_IT_OBJECT_END && it.state != VAR_IT_ARRAY_END) n++;
  return n;
}

static void print_error(const char* what, var_t* v) {
  const VAR_ERR_INFO* info = (const VAR_ERR_INFO*)(uintptr_t)(*v & VAR_PAYLOAD_MASK);
  printf("%-34s error %d \"%s\"\n", what, info->code, var_get_error_message(v));
}

/* Files that carry a byte-order mark (or are UTF-8) decode by themselves;
 * each gives the same tree as the plain UTF-8 file. */
static void marked_files_tour(ustr reference) {
  static const char* const names[] = {"json_utf8_bom.json",    "json_utf16le_bom.json",
                                      "json_utf16be_bom.json", "json_utf32le_bom.json",
                                      "json_utf32be_bom.json"};
  printf("== files that say what they are\n");
  for (size_t i = 0; i < sizeof names / sizeof names[0]; i++) {
    var_t tree = var_json_file_(data_path(names[i]), 0);
    if (var_get_type(tree) == VAR_TYPE_ERROR) {
      print_error(names[i], &tree);
    } else {
      ustr text = compact(&tree);
      printf("%-34s %lu values, %s\n", names[i], count_values(&tree),
             same_text(text, reference) ? "same tree as json_utf8.json" : "DIFFERENT tree");
      svec_free(&text);
    }
    var_free(&tree);
  }
}

/* Without a mark, UTF-16 and UTF-32 are the caller's knowledge. Read as they
 * are, the first zero byte ends the text; with the mark put in front of the
 * bytes in a memory stream, the decoder knows what it has. */
static void unmarked_file_tour(const char* name, const char* mark, size_t mark_len,
                               ustr reference) {
  var_t as_is = var_json_file_(data_path(name), 0);
  ustr text = compact(&as_is);
  printf("%-34s read as it is: %s\n", name, text ? text : "(nothing)");
  svec_free(&text);
  var_free(&as_is);

  stream_t file;
  if (!stream_open_file(&file, data_path(name), "rb")) {
    printf("cannot open %s\n", name);
    return;
  }
  stream_t* mem = new_memory_stream(NULL);
  if (mem) {
    mem->ops->write(mem->ctx, mark, mark_len);
    stream_copy(&file, mem);
    mem->ops->seek(mem->ctx, 0, KYR_SEEK_SET); /* decoding starts at 0 */
    var_t tree = var_json_stream_(mem, 0);
    text = compact(&tree);
    printf("%-34s with its mark in front: %s\n", name,
           same_text(text, reference) ? "same tree as json_utf8.json" : "DIFFERENT tree");
    svec_free(&text);
    var_free(&tree);
    delete_stream(mem);
  }
  file.ops->close(file.ctx);
}

/* Writes the tree indented to a file, reads the file again, and compares. */
static void round_trip_tour(var_t* tree, ustr reference) {
  const char* name = "tour_json_files.tmp.json";
  printf("== written back with an indent of 2, to %s\n", name);
  stream_t* out = new_file_stream(name, "wb");
  if (!out) {
    printf("cannot create %s\n", name);
    return;
  }
  var_write_json(out, tree, 2);
  delete_stream(out);

  ustr text = ustr_from_file(name);
  printf("%s\n", text ? text : "");
  svec_free(&text);

  var_t again = var_json_file_(name, 0);
  text = compact(&again);
  printf("read back: %s\n", same_text(text, reference) ? "the same tree" : "a DIFFERENT tree");
  svec_free(&text);
  var_free(&again);
  remove(name);
}

static void no_document_tour(void) {
  printf("== no document\n");
  var_t missing = var_json_file_(data_path("no_such_file.json"), 0);
  print_error("no_such_file.json", &missing);
  var_free(&missing);

  var_t no_stream = var_json_stream_(NULL, 0);
  print_error("a null stream", &no_stream);
  var_free(&no_stream);

  stream_t* mem = new_memory_stream(NULL);
  if (mem) {
    mem->ops->write(mem->ctx, "\xEF\xBB\xBF", 3); /* a mark and nothing behind it */
    mem->ops->seek(mem->ctx, 0, KYR_SEEK_SET);
    var_t empty = var_json_stream_(mem, 0);
    print_error("a stream of only a mark", &empty);
    var_free(&empty);
    delete_stream(mem);
  }
}

int main(int argc, char** argv) {
  if (argc > 1) snprintf(data_dir, sizeof data_dir, "%s/data", argv[1]);

  var_t tree = var_json_file_(data_path("json_utf8.json"), 0);
  if (var_get_type(tree) == VAR_TYPE_ERROR) {
    print_error("json_utf8.json", &tree);
    var_free(&tree);
    return 1;
  }
  ustr reference = compact(&tree);
  printf("== json_utf8.json, %lu values\n%s\n", count_values(&tree), reference);

  marked_files_tour(reference);
  printf("== files without a mark\n");
  unmarked_file_tour("json_utf16le.json", "\xFF\xFE", 2, reference);
  unmarked_file_tour("json_utf32be.json", "\0\0\xFE\xFF", 4, reference);
  round_trip_tour(&tree, reference);
  no_document_tour();

  svec_free(&reference);
  var_free(&tree);
  return 0;
}
