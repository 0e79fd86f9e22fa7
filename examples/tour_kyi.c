/* tour_kyi.c - a tour of the KYi image file: lay a record over a shipped
 * NV12 frame, save it raw and LZ4-compressed into memory and into files in
 * a temporary folder, load every copy back and compare it pixel for pixel;
 * then look at the fixed header form, a stored vector and the trailer, and
 * finally turn the frame into BGRA and walk an elliptic region of it.
 *
 * usage: tour_kyi [frame.nv12]   (default: data/image_gradient_64x48.nv12) */
#if !defined(_WIN32) && !defined(_POSIX_C_SOURCE)
#define _POSIX_C_SOURCE 200809L /* mkdtemp, rmdir */
#endif
#include <kyr/kyr_core.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#ifdef _WIN32
#include <direct.h>
#else
#include <unistd.h>
#endif

enum { W = 64, H = 48 };

static int print_log(char level, const char* file, const char* func, u32_t line, const char* format,
                     va_list args) {
  printf("[log %c] %s:%u %s: ", level, file, (unsigned)line, func);
  vprintf(format, args);
  printf("\n");
  return 0;
}

static unsigned char* read_frame(const char* path, u32_t expected) {
  unsigned char* buf = malloc(expected);
  FILE* f = fopen(path, "rb");
  size_t got = 0;
  if (f) {
    got = fread(buf, 1, expected, f);
    fclose(f);
  }
  if (!f || got != expected) {
    fprintf(stderr, "cannot read %u bytes from %s\n", (unsigned)expected, path);
    free(buf);
    return NULL;
  }
  return buf;
}

/* A folder of our own under the system's temporary folder. */
static int make_temp_folder(char* path, size_t size) {
#ifdef _WIN32
  const char* base = getenv("TEMP");
  snprintf(path, size, "%s\\tour_kyi_%u", base ? base : ".", (unsigned)tick_now());
  return _mkdir(path) == 0;
#else
  const char* base = getenv("TMPDIR");
  snprintf(path, size, "%s/tour_kyi_XXXXXX", base && *base ? base : "/tmp");
  return mkdtemp(path) != NULL;
#endif
}

/* Same format, codec, size and planes, and the same pixels. */
static int same_image(const KYR_IMAGE* a, const KYR_IMAGE* b) {
  int i;
  if (a->pixel_format != b->pixel_format || a->codec != b->codec ||
      a->buffer_size != b->buffer_size || a->plane_count != b->plane_count)
    return 0;
  for (i = 0; i < a->plane_count; ++i) {
    const KYR_PXL_PLANE *p = &a->planes[i], *q = &b->planes[i];
    if (p->size.width != q->size.width || p->size.height != q->size.height ||
        p->stride.x != q->stride.x || p->stride.y != q->stride.y ||
        p->data - a->planes[0].data != q->data - b->planes[0].data)
      return 0;
  }
  return memcmp((const void*)a->planes[0].data, (const void*)b->planes[0].data, a->buffer_size) ==
         0;
}

/* Loads a KYi file from the stream's start and compares it with `want`. */
static int load_and_check(const char* what, stream_t* s, const KYR_IMAGE* want) {
  KYR_IMAGE back;
  i64_t n;
  int ok;
  memset(&back, 0, sizeof back);
  s->ops->seek(s->ctx, 0, KYR_SEEK_SET);
  n = KYR_IMAGE_LoadFromStream(&back, s, 0, 0);
  ok = n > 0 && same_image(want, &back);
  printf("  %-22s %5lld bytes, loaded %lld: %s\n", what, (long long)stream_get_size(s),
         (long long)n, ok ? "identical" : "DIFFERENT");
  KYR_IMAGE_Free(&back); /* the loaded record owns its buffer */
  return ok;
}

/* Saves `img` as KYi (JSON header) into memory and into a file, and loads
 * both back. */
static int save_both_ways(const KYR_IMAGE* img, const char* folder, const char* name) {
  char path[600], what[64];
  stream_t* mem = new_memory_stream(NULL);
  stream_t* file;
  int ok = 1;
  if (!mem) return 0;
  KYR_IMAGE_SaveToStream(img, mem, "kyi", NULL, 0);
  snprintf(what, sizeof what, "memory, %s", name);
  ok &= load_and_check(what, mem, img);
  delete_stream(mem);

  snprintf(path, sizeof path, "%s/%s.kyi", folder, name);
  file = new_file_stream(path, "wb");
  if (!file) {
    printf("  cannot write %s\n", path);
    return 0;
  }
  KYR_IMAGE_SaveToStream(img, file, "kyi", NULL, 0);
  delete_stream(file);
  file = new_file_stream(path, "rb");
  snprintf(what, sizeof what, "file %s.kyi", name);
  ok &= file && load_and_check(what, file, img);
  delete_stream(file);
  remove(path);
  return ok;
}

int main(int argc, char** argv) {
  const char* path = argc > 1 ? argv[1] : "data/image_gradient_64x48.nv12";
  char folder[512];
  KYR_IMAGE nv12, fixed;
  unsigned char* frame;
  int ok = 1;

  change_log_handler(print_log);
  memset(&nv12, 0, sizeof nv12); /* files and trailers store records raw */

  /* 1. The record over the shipped frame. */
  frame = read_frame(path, KYR_IMAGE_Init(NULL, W, H, KYR_PF_NV12, 0));
  if (!frame) return 1;
  KYR_IMAGE_Init(&nv12, W, H, KYR_PF_NV12, (intptr_t)frame);
  printf("NV12 frame %d x %d: %u bytes in %u planes\n", W, H, (unsigned)nv12.buffer_size,
         (unsigned)nv12.plane_count);
  if (!make_temp_folder(folder, sizeof folder)) {
    printf("cannot make a temporary folder\n");
    free(frame);
    return 1;
  }

  /* 2. Raw, then LZ4: the codec in the record decides the payload. */
  printf("== KYi with a JSON header\n");
  ok &= save_both_ways(&nv12, folder, "frame_raw");
  nv12.codec = KYR_CODEC_LZ4;
  ok &= save_both_ways(&nv12, folder, "frame_lz4");

  /* 3. The header text is readable in the file itself. */
  {
    svec bytes = NULL;
    stream_t* s = new_memory_stream(&bytes);
    u64_t size;
    KYR_IMAGE_SaveToStream(&nv12, s, "kyi", NULL, 0);
    delete_stream(s);
    size = decode_varilength((const u8_t*)bytes + 4);
    printf("header (%llu bytes): %.*s\n", (unsigned long long)size, (int)size - 1,
           (const char*)bytes + 4 + encode_varilength(NULL, size) + 2);
    svec_free(&bytes);
  }

  /* 4. The fixed header has no plane geometry: the loaded record says so,
   *    and a record of our own gives the pixels their planes again. */
  printf("== KYi with the fixed header (\"kyi-v2\")\n");
  {
    stream_t* s = new_memory_stream(NULL);
    KYR_IMAGE planes;
    memset(&fixed, 0, sizeof fixed);
    memset(&planes, 0, sizeof planes);
    printf("  saved %lld bytes\n", (long long)KYR_IMAGE_SaveToStream(&nv12, s, "kyi-v2", NULL, 0));
    s->ops->seek(s->ctx, 0, KYR_SEEK_SET);
    KYR_IMAGE_LoadFromStream(&fixed, s, 0, 0);
    printf("  geometry %s, plane 1 is %d x %d\n",
           fixed.flags & KYR_IMAGE_GEOMETRY_UNKNOWN ? "unknown" : "known",
           fixed.planes[1].size.width, fixed.planes[1].size.height);
    KYR_IMAGE_Init(&planes, W, H, fixed.pixel_format, fixed.planes[0].data);
    planes.codec = fixed.codec;
    ok &= same_image(&nv12, &planes);
    printf("  with a record of our own: %s\n",
           same_image(&nv12, &planes) ? "identical" : "DIFFERENT");
    KYR_IMAGE_Free(&fixed);
    delete_stream(s);
  }

  /* 5. A stored vector, and the trailer that describes an image from the
   *    end of a stream. */
  printf("== stored vector and trailer\n");
  {
    svec luma = svec_from_array(frame, W * H, 1), back = NULL;
    stream_t* s = new_memory_stream(NULL);
    i64_t stored = svec_save_to_stream(luma, s, true);
    u64_t loaded;
    s->ops->seek(s->ctx, 0, KYR_SEEK_SET);
    loaded = svec_load_from_stream(&back, s);
    printf("  luma plane: %d bytes stored in %lld, loaded %llu: %s\n", W * H, (long long)stored,
           (unsigned long long)loaded, svec_equals(luma, back) ? "identical" : "DIFFERENT");
    ok &= svec_equals(luma, back);
    printf("  trailer: %lld bytes\n", (long long)KYR_IMAGE_Attach(&nv12, s));
    svec_free(&luma);
    svec_free(&back);
    delete_stream(s);
  }

  /* 6. Refused input: a header that promises 4 GiB over ten bytes. */
  printf("== a file that lies about its size\n");
  {
    static const char text[] = "{\"pf\":\"GREY\",\"bsz\":4294967295,\"c\":\"RAW \",\"pl\":[]}";
    stream_t* s = new_memory_stream(NULL);
    unsigned char head[7] = {'K', 'Y', 'i', 0, sizeof text, 2, 0};
    KYR_IMAGE img;
    memset(&img, 0, sizeof img);
    s->ops->write(s->ctx, head, sizeof head);
    s->ops->write(s->ctx, text, sizeof text - 1);
    s->ops->write(s->ctx, ",0123456789", 11);
    s->ops->seek(s->ctx, 0, KYR_SEEK_SET);
    printf("  loaded %lld\n", (long long)KYR_IMAGE_LoadFromStream(&img, s, 0, 0));
    delete_stream(s);
  }

  /* 7. The frame as BGRA, and an ellipse inside it walked row by row. The
   *    sums make the output a fingerprint of both conversion and walk. */
  printf("== NV12 to BGRA, an elliptic region\n");
  {
    KYR_IMAGE bgra;
    unsigned char* pixels = malloc(KYR_IMAGE_Init(NULL, W, H, KYR_PF_BGRA, 0));
    size2_i16 size = {W, H};
    vec2_i16 tight = {0, 0}, centre = {W / 2, H / 2}, radii = {24, 16};
    roi region;
    roit it;
    unsigned long sum[3] = {0, 0, 0}, count = 0;
    int rows = 0;
    memset(&bgra, 0, sizeof bgra);
    memset(&region, 0, sizeof region);
    KYR_IMAGE_Init(&bgra, W, H, KYR_PF_BGRA, (intptr_t)pixels);
    nv12_to_bgra(pixels, frame, size, tight);
    roi_from_image(&region, &bgra, 0);
    roi_free(&region); /* keep the plane's size and strides, not its area */
    roi_add_ellipse(&region, centre, radii);
    printf("  ellipse at (%d, %d), radii %d x %d: %lu band(s)\n", centre.x, centre.y, radii.x,
           radii.y, (unsigned long)svec_length(region.areas));
    if (roit_init(&it, &region)) {
      while (roit_next(&it)) {
        const unsigned char* row = pixels + it.rect.top * it.row_stride;
        int x;
        for (x = it.x; x < it.rect.right; ++x, ++count) {
          sum[0] += row[x * it.pixel_stride];
          sum[1] += row[x * it.pixel_stride + 1];
          sum[2] += row[x * it.pixel_stride + 2];
        }
        ++rows;
      }
    }
    printf("  walked %d rows, %lu pixels; mean B,G,R = %lu,%lu,%lu\n", rows, count,
           count ? sum[0] / count : 0, count ? sum[1] / count : 0, count ? sum[2] / count : 0);
    ok &= rows == 2 * radii.y + 1 && count > 0;
    roi_free(&region);
    free(pixels);
  }

#ifdef _WIN32
  _rmdir(folder);
#else
  rmdir(folder);
#endif
  free(frame);
  printf("%s\n", ok ? "all copies identical" : "SOME COPIES DIFFER");
  return ok ? 0 : 1;
}
