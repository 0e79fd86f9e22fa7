/* tour_streams.c - a tour of streams and text decoding: write a memory
 * stream and a file stream, then read text files in UTF-8, UTF-16 and UTF-32
 * (little- and big-endian, with and without a byte-order mark) and in the
 * local code page into UTF-8 strings, and print them.
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

/* Prints a decoded text line by line, stepping over CR, LF, CR LF or LF CR
 * as one line end. */
static void print_text(const char* title, ustr text) {
  printf("%-22s (%3llu bytes UTF-8)\n", title, (unsigned long long)svec_length(text));
  const char* p = text ? text : "";
  while (*p) {
    const char* line = p;
    while (*p && !check_newline(p)) p++;
    printf("    | %.*s\n", (int)(p - line), line);
    p += check_newline(p);
  }
}

static void memory_stream_tour(void) {
  printf("== a memory stream over a string of ours\n");
  ustr text = NULL;
  stream_t* s = new_memory_stream(&text);
  if (!s) return;
  s->ops->write(s->ctx, "kyr", 3);
  stream_printf(s, "-core %d.%d", 0, 1);
  /* From the end the memory stream counts backwards: 3 lands before "0.1".
   * The write overwrites those three bytes and grows the string by one. */
  s->ops->seek(s->ctx, 3, KYR_SEEK_END);
  s->ops->write(s->ctx, "v0.1", 4);
  char back[8] = {0};
  s->ops->seek(s->ctx, 0, KYR_SEEK_SET);
  s->ops->read(s->ctx, back, 3);
  printf("size %lld, first three bytes \"%s\"\n", (long long)stream_get_size(s), back);
  delete_stream(s);
  /* The string is still ours after the stream is gone. */
  printf("our string: \"%s\"\n", text);
  svec_free(&text);
}

static void file_stream_tour(void) {
  printf("== a file stream, written then copied into memory\n");
  const char* name = "tour_streams.tmp";
  stream_t* f = new_file_stream(name, "wb");
  if (!f) {
    printf("cannot write %s\n", name);
    return;
  }
  for (int i = 1; i <= 3; i++) stream_printf(f, "line %d of a file\n", i);
  delete_stream(f);

  stream_t in;
  if (stream_open_file(&in, name, "rb")) {
    stream_t* mem = new_memory_stream(NULL);
    u64_t copied = mem ? stream_copy(&in, mem) : 0;
    printf("copied %llu bytes; file exists: %s\n", (unsigned long long)copied,
           file_exists(name) ? "yes" : "no");
    if (mem) {
      ustr copy = ustr_from_strn((const char*)memory_stream_get_memory(mem), copied);
      print_text(name, copy);
      svec_free(&copy);
      delete_stream(mem);
    }
    in.ops->close(in.ctx);
  }
  remove(name);
}

/* Files with a byte-order mark, or in UTF-8 or the local code page without
 * one, decode by themselves. */
static void decode_files_tour(void) {
  static const char* const names[] = {
      "text_utf8.txt",        "text_utf8_bom.txt",    "text_utf16le_bom.txt",
      "text_utf16be_bom.txt", "text_utf32le_bom.txt", "text_utf32be_bom.txt",
      "text_cp1252.txt"};
  printf("== files that say what they are\n");
  for (size_t i = 0; i < sizeof names / sizeof names[0]; i++) {
    ustr text = ustr_from_file(data_path(names[i]));
    print_text(names[i], text);
    svec_free(&text);
  }
}

/* Without a mark, UTF-16 and UTF-32 are the caller's knowledge: read the
 * bytes, put them in order, and convert them. The units go into a vector
 * of their own width, whose zero unit behind the last is what the UTF-16
 * converter may look at after a final high surrogate. */
static void raw_units_tour(const char* name, u16_t unit_size, bool big_endian) {
  svec bytes = NULL;
  stream_t in;
  if (!stream_open_file(&in, data_path(name), "rb")) {
    printf("cannot open %s\n", name);
    return;
  }
  stream_t mem;
  if (stream_open_memory(&mem, &bytes)) {
    stream_copy(&in, &mem);
    mem.ops->close(mem.ctx);
  }
  in.ops->close(in.ctx);

  u64_t count = svec_length(bytes) / unit_size;
  svec units = svec_from_array(bytes, count, unit_size);
  ustr text = NULL;
  if (unit_size == 2) {
    if (big_endian) swap_utf16_byteorder(units, count);
    text = ustr_from_utf16n((const u16_t*)units, count);
  } else {
    if (big_endian) swap_utf32_byteorder(units, count);
    text = ustr_from_utf32n((const u32_t*)units, count);
  }
  print_text(name, text);
  svec_free(&text);
  svec_free(&units);
  svec_free(&bytes);
}

int main(int argc, char** argv) {
  if (argc > 1) snprintf(data_dir, sizeof data_dir, "%s/data", argv[1]);
  memory_stream_tour();
  file_stream_tour();
  decode_files_tour();
  printf("== files without a mark, in an encoding we know\n");
  raw_units_tour("text_utf16le.txt", 2, false);
  raw_units_tour("text_utf16be.txt", 2, true);
  raw_units_tour("text_utf32le.txt", 4, false);
  return 0;
}
