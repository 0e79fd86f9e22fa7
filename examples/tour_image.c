/* tour_image.c - a tour of the image family: lay image records over a
 * shipped NV12 frame, convert it to BGRA, walk an elliptic region of it row
 * by row (drawn as text), swap it to RGBA, and send the buffer through the
 * compression facade and back, checking every byte.
 *
 * usage: tour_image [frame.nv12]   (default: data/image_gradient_64x48.nv12,
 *                                   a 64 x 48 frame: a bright disc in the
 *                                   middle, blue growing to the right, red
 *                                   fading downwards) */
#include <kyr/kyr_core.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { W = 64, H = 48 };

static int print_log(char level, const char* file, const char* func, u32_t line,
                     const char* format, va_list args) {
  printf("[log %c] %s:%u %s: ", level, file, (unsigned)line, func);
  vprintf(format, args);
  printf("\n");
  return 0;
}

static void print_code(const char* label, fourcc_t code) {
  printf("%s\"%c%c%c%c\"", label, (char)(code & 0xFF), (char)((code >> 8) & 0xFF),
         (char)((code >> 16) & 0xFF), (char)(code >> 24));
}

static void print_record(const char* name, const KYR_IMAGE* img) {
  int i;
  printf("%s:", name);
  print_code(" format ", img->pixel_format);
  print_code(" codec ", img->codec);
  printf(" buffer %u bytes, %u plane(s)\n", (unsigned)img->buffer_size,
         (unsigned)img->plane_count);
  for (i = 0; i < img->plane_count; ++i) {
    const KYR_PXL_PLANE* p = &img->planes[i];
    print_code("  plane ", p->id);
    printf(" %d x %d, pixel step %d, row step %d, offset %ld\n", p->size.width,
           p->size.height, p->stride.x, p->stride.y,
           (long)(p->data - img->planes[0].data));
  }
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

int main(int argc, char** argv) {
  const char* path = argc > 1 ? argv[1] : "data/image_gradient_64x48.nv12";
  KYR_IMAGE nv12, bgra;
  unsigned char *frame, *pixels, *block, *back;
  char mask[H][W + 1];
  u32_t frame_size, pixel_size;
  i32_t bound, packed, unpacked;
  roi region;
  roit it;
  int rows = 0, y;

  change_log_handler(print_log);
  memset(&nv12, 0, sizeof nv12); /* files store records raw: start from zeros */
  memset(&bgra, 0, sizeof bgra);

  /* 1. Size query, then the record over the buffer. "NM12" would do too. */
  frame_size = KYR_IMAGE_Init(NULL, W, H, KYR_PF_NV12, 0);
  frame = read_frame(path, frame_size);
  if (!frame) return 1;
  KYR_IMAGE_Init(&nv12, W, H, KYR_PF_NV12, (intptr_t)frame);
  print_record("NV12 frame", &nv12);

  /* An alias is stored in its usual form; an unknown code is logged. */
  KYR_IMAGE_Init(&bgra, W, H, KYR_FOURCC('A', 'R', '2', '4'), 0);
  print_code("\"AR24\" is stored as ", bgra.pixel_format);
  printf("\n");
  printf("size of an unknown format: %u\n",
         (unsigned)KYR_IMAGE_Init(NULL, W, H, KYR_FOURCC('W', 'H', 'A', 'T'), 0));

  /* 2. NV12 to BGRA: a zero stride means tight rows of 4-byte pixels. */
  pixel_size = KYR_IMAGE_Init(NULL, W, H, KYR_PF_BGRA, 0);
  pixels = malloc(pixel_size);
  KYR_IMAGE_Init(&bgra, W, H, KYR_PF_BGRA, (intptr_t)pixels);
  {
    size2_i16 size = {W, H};
    vec2_i16 tight = {0, 0};
    nv12_to_bgra(pixels, frame, size, tight);
  }
  print_record("BGRA image", &bgra);
  printf("centre pixel B,G,R,A = %u,%u,%u,%u\n", pixels[4 * (24 * W + 32)],
         pixels[4 * (24 * W + 32) + 1], pixels[4 * (24 * W + 32) + 2],
         pixels[4 * (24 * W + 32) + 3]);

  /* 3. An ellipse inscribed in a rectangle, clipped to the plane, walked
   *    row by row; each row's mean red and blue are printed, and the region
   *    is drawn with the pixel's brightness inside it. */
  roi_from_image(&region, &bgra, 0);
  roi_free(&region); /* keep size and strides, drop the full-plane area */
  {
    rect_i16 box = {4, -6, 60, 42}; /* reaches above the top edge */
    rect_i16 plane = {0, 0, W, H};
    roi_add_ellipse_by_rect(&region, box);
    printf("ellipse: %lu band(s) before clipping\n",
           (unsigned long)svec_length(region.areas));
    roi_clip(&region, plane);
  }
  for (y = 0; y < H; ++y) {
    memset(mask[y], '.', W);
    mask[y][W] = 0;
  }
  if (roit_init(&it, &region)) {
    while (roit_next(&it)) {
      const unsigned char* row = pixels + it.rect.top * it.row_stride;
      unsigned red = 0, blue = 0, n = 0;
      int x;
      for (x = it.x; x < it.rect.right; ++x, ++n) {
        const unsigned char* px = row + x * it.pixel_stride;
        unsigned light = (px[0] + px[1] + px[2]) / 3;
        red += px[2];
        blue += px[0];
        mask[it.rect.top][x] = " :-=+*#%@"[light * 9 / 256];
      }
      if (it.rect.top % 6 == 0)
        printf("  row %2d: columns %2d..%2d, mean red %3u, mean blue %3u\n", it.rect.top,
               it.x, it.rect.right - 1, red / n, blue / n);
      ++rows;
    }
  }
  printf("walked %d rows in %lu area(s):\n", rows, (unsigned long)svec_length(region.areas));
  for (y = 0; y < H; y += 2) printf("  %s\n", mask[y]);
  roi_free(&region);
  roit_init(&it, &region); /* an empty region can't be walked: logged */

  /* 4. BGRA to RGBA in place: bytes 0 and 2 of each pixel change places. */
  printf("pixel 0 as BGRA: %u %u %u %u\n", pixels[0], pixels[1], pixels[2], pixels[3]);
  printf("converted %d pixels\n", (int)bgra_to_rgba(pixels, pixels, W * H));
  printf("pixel 0 as RGBA: %u %u %u %u\n", pixels[0], pixels[1], pixels[2], pixels[3]);

  /* 5. Compression: ask for the bound, compress, expand, compare. */
  bound = compress(KYR_COMPRESS_LZ4, NULL, 0, NULL, pixel_size);
  block = malloc((size_t)bound);
  back = malloc(pixel_size);
  packed = compress(KYR_COMPRESS_LZ4, block, (u32_t)bound, pixels, pixel_size);
  unpacked = decompress(KYR_COMPRESS_LZ4, back, pixel_size, block, (u32_t)packed);
  printf("LZ4: %u bytes -> %d (bound %d) -> %d, %s\n", (unsigned)pixel_size, (int)packed,
         (int)bound, (int)unpacked,
         unpacked == (i32_t)pixel_size && memcmp(back, pixels, pixel_size) == 0
             ? "identical"
             : "DIFFERENT");
  printf("a block cut in half expands to %d (negative: refused)\n",
         (int)decompress(KYR_COMPRESS_LZ4, back, pixel_size, block, (u32_t)packed / 2));

  free(back);
  free(block);
  free(pixels);
  free(frame);
  KYR_IMAGE_Free(&nv12); /* owns nothing: a no-op, as for any Init'd record */
  return unpacked == (i32_t)pixel_size ? 0 : 1;
}
