/* tour_bind.c - a tour of struct binding: read a JSON image header, bind it
 * into a KYR_IMAGE through KYR_IMAGE_typeinfo, print the record; then read
 * and change values of the document by paths ("pl[0].sz", "pl[1].o") and
 * bind again. Members that a document doesn't name keep what the record held,
 * so defaults go in first. */
#include <kyr/kyr_core.h>

#include <stdio.h>
#include <string.h>

#define PATH(p) (p), (u64_t)-1

/* Short keys: pf pixel format (text or number), bsz buffer size, pc plane
 * count, pl the planes, each with sz size ({"w","h"} or [w, h]), d strides
 * ({"x","y"} or [x, y]) and o the offset in the buffer. The long names
 * (pixel_format, planes, size, ...) work as well. */
static const char kHeader[] =
    "{\n"
    "  \"pf\": \"NV12\", \"bsz\": 460800, \"pc\": 2,\n"
    "  \"pl\": [\n"
    "    {\"sz\": {\"w\": 640, \"h\": 480}, \"d\": [1, 640], \"o\": 0},\n"
    "    {\"sz\": [320, 240], \"d\": {\"x\": 2, \"y\": 640}, \"o\": 307200}\n"
    "  ]\n"
    "}\n";

static void print_code(const char* label, fourcc_t code) {
  printf("%s\"%c%c%c%c\"", label, (char)(code & 0xFF), (char)((code >> 8) & 0xFF),
         (char)((code >> 16) & 0xFF), (char)(code >> 24));
}

static void print_record(const KYR_IMAGE* img) {
  int i;
  print_code("  format ", img->pixel_format);
  print_code(", codec ", img->codec);
  printf(", buffer %u bytes, %u plane(s)\n", (unsigned)img->buffer_size,
         (unsigned)img->plane_count);
  for (i = 0; i < img->plane_count && i < 4; ++i) {
    const KYR_PXL_PLANE* p = &img->planes[i];
    printf("  plane %d: %d x %d, pixel step %d, row step %d, offset %ld\n", i,
           p->size.width, p->size.height, p->stride.x, p->stride.y, (long)p->data);
  }
}

/* A value by path, as text: numbers, texts and the shape of containers. */
static void show(var_t* doc, const char* path) {
  var_t* v = var_find_rawpath(doc, PATH(path));
  i64_t n;
  printf("  %-12s -> ", path);
  if (!v) {
    printf("nothing\n");
  } else if (var_get_count(v) >= 0) {
    printf("%s of %lld\n", var_get_type(*v) == VAR_TYPE_OBJECT ? "an object" : "an array",
           (long long)var_get_count(v));
  } else if (var_to_i64p(v, &n)) {
    printf("%lld\n", (long long)n);
  } else {
    const char* text = var_get_str(v);
    printf("\"%s\"\n", text ? text : "?");
  }
}

static u64_t bind(KYR_IMAGE* img, var_t doc) {
  u64_t converted = var_obj_read(img, doc, &KYR_IMAGE_typeinfo);
  /* "pc" is 4 bytes wide and reaches the flags: a header from outside must
   * not make the record claim a buffer it doesn't own. */
  img->flags = 0;
  return converted;
}

int main(void) {
  KYR_IMAGE img;
  var_t doc = var_json_(kHeader, strlen(kHeader), 0);
  u64_t converted;

  if (var_get_type(doc) == VAR_TYPE_ERROR) {
    printf("header: %s\n", var_get_error_message(&doc));
    var_free(&doc);
    return 1;
  }
  printf("header:\n%s", kHeader);

  /* Defaults first: binding changes only what the document names. */
  memset(&img, 0, sizeof img);
  img.codec = KYR_CODEC_RAW;
  converted = bind(&img, doc);
  /* pf, bsz and pc count; the planes are nested records and don't. */
  printf("bound, %llu top-level fields converted:\n", (unsigned long long)converted);
  print_record(&img);

  printf("reading by path:\n");
  show(&doc, "pf");
  show(&doc, "pl");
  show(&doc, "pl[0].sz");
  show(&doc, "pl[0].sz.w");
  show(&doc, "pl[1].d.[1]");
  show(&doc, "pl[-1].o");
  show(&doc, "pl[2].o");

  /* Writing by path turns the NV12 header into a YU12 one: three planes.
   * Numbers own nothing and are simply overwritten; a text is released
   * before its slot takes the new value. Missing places are built. */
  printf("changing the document to three planes:\n");
  {
    var_t* pf = var_of_rawpath(&doc, PATH("pf"), VAR_NULL);
    var_free(pf);
    *pf = var_str_("YU12", true);
  }
  /* On an object, [n] is the n-th member: here "x" and "y" of the strides. */
  *var_of_rawpath(&doc, PATH("pl[1].d.[0]"), VAR_NULL) = var_int_(1);
  *var_of_rawpath(&doc, PATH("pl[1].d.[1]"), VAR_NULL) = var_int_(320);
  /* "pl[2]" grows the array; the keys and indices below it build the rest. */
  *var_of_rawpath(&doc, PATH("pl[2].sz.w"), VAR_NULL) = var_int_(320);
  *var_of_rawpath(&doc, PATH("pl[2].sz.h"), VAR_NULL) = var_int_(240);
  *var_of_rawpath(&doc, PATH("pl[2].d.[0]"), VAR_NULL) = var_int_(1);
  *var_of_rawpath(&doc, PATH("pl[2].d.[1]"), VAR_NULL) = var_int_(320);
  *var_of_rawpath(&doc, PATH("pl[2].o"), VAR_NULL) = var_uint_(384000);
  show(&doc, "pf");
  show(&doc, "pl");
  show(&doc, "pl[1].d.y");
  show(&doc, "pl[2].d");

  converted = bind(&img, doc);
  printf("bound again, %llu top-level fields converted:\n", (unsigned long long)converted);
  print_record(&img);

  /* Wrong shapes leave the record alone: a number is no header. */
  {
    var_t number = var_int_(7);
    printf("binding the number 7: %llu fields, format still",
           (unsigned long long)var_obj_read(&img, number, &KYR_IMAGE_typeinfo));
    print_code(" ", img.pixel_format);
    printf("\n");
  }

  var_free(&doc);
  return 0;
}
