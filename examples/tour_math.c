/* tour_math.c - a tour of tensors and math: walk a strided tensor, convert a
 * padded f64 image to packed f32, carry points through a matrix stack, and
 * interpolate a rotation smoothly through key frames with squad. */
#include <kyr/kyr_core.h>

#include <stdio.h>
#include <string.h>

static int print_log(char level, const char* file, const char* func, u32_t line,
                     const char* format, va_list args) {
  printf("[log %c] %s:%u %s: ", level, file, (unsigned)line, func);
  vprintf(format, args);
  printf("\n");
  return 0;
}

/* A 2 x 3 x 4 view over every other row of a 2 x 6 x 4 block of i16: the
 * walk follows the strides and visits the elements in row-major order, the
 * order of TENSOR_GetLinear. */
static void tensor_walk(void) {
  i16_t block[2][6][4];
  for (int a = 0; a < 2; ++a)
    for (int b = 0; b < 6; ++b)
      for (int c = 0; c < 4; ++c) block[a][b][c] = (i16_t)(100 * a + 10 * b + c);

  TENSOR_DESC desc;
  TENSOR_DESC_Init(&desc, 0 /* caller's own type code */, sizeof(i16_t), 3, 0);
  ARRAY3D view; /* 2 x 3 x 4, rows 2 apart: strides 48, 16, 2 bytes */
  ARRAY3D_Init(&view, block, desc, 2, 3, 4, 0, 2 * 4 * (i32_t)sizeof(i16_t), 0);
  TENSOR* t = (TENSOR*)&view;

  printf("tensor: %d elements, strides %d %d %d, contiguous: %s\n", TENSOR_CalcCount(t),
         view.strides[0], view.strides[1], view.strides[2],
         (view.desc.flags & TENSOR_FLAG_CONTIGUOUS) ? "yes" : "no");
  TENSOR_IT it;
  TENSOR_IT_Init(&it, t);
  printf("walk:");
  do {
    i16_t v;
    memcpy(&v, it.level[0].pos, sizeof v);
    printf(" %d", v);
  } while (TENSOR_IT_Next(&it));
  printf("\n");
  printf("linear -1 is %d, element (1, 2, 3) is %d\n", *(i16_t*)TENSOR_GetLinear(t, -1),
         *(i16_t*)TENSOR_Get(t, 1, 2, 3));
}

/* A 3 x 4 image of doubles stored with rows of 6 (padding at the end of
 * each row) becomes a packed 3 x 4 array of floats. */
static void strided_conversion(void) {
  f64_t padded[3][6];
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 6; ++c) padded[r][c] = c < 4 ? r + c / 8.0 + 1e-9 : -1.0;

  TENSOR_DESC src_desc = {0, sizeof(f64_t), 2, 0};
  ARRAY2D src;
  ARRAY2D_Init(&src, padded, src_desc, 3, 4, 6 * (i32_t)sizeof(f64_t), 0);

  ARRAY2D dst;
  TENSOR_DESC dst_desc = {0, sizeof(f32_t), 2, TENSOR_FLAG_CONTIGUOUS};
  ARRAY2D_Init(&dst, NULL, dst_desc, 3, 4, 0, 0);
  f32_t* packed = TENSOR_Alloc((TENSOR*)&dst, true, 64); /* a 64-byte aligned block */
  if (!packed) return;

  i32_t n = TENSOR_F32FromF64((TENSOR*)&dst, (const TENSOR*)&src, 0);
  printf("converted %d doubles (row stride %d bytes) into packed floats:\n", n,
         src.strides[0]);
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 4; ++c) printf(" %6.3f", packed[4 * r + c]);
    printf("\n");
  }
  TENSOR_Free((TENSOR*)&dst);
}

/* A scene graph in miniature: the stack's bottom is a camera with a
 * perspective row, each push adds a local transform. */
static void matrix_stack(void) {
  MSTK stack = {NULL, 0};
  svec_set_length(&stack.matrices, 1, sizeof(mat4_f32));
  mat4_f32* m = &stack.matrices[0];
  memset(m, 0, sizeof *m);
  m->m[0] = m->m[5] = m->m[10] = 1.0f;
  m->m[11] = 0.25f; /* w = 1 + z / 4: a gentle perspective */
  m->m[15] = 1.0f;

  /* Points as records of five floats (x, y, z, and two that aren't ours). */
  f32_t pts[3][5] = {{1, 0, 0, 7, 7}, {0, 1, 0, 7, 7}, {1, 1, 4, 7, 7}};

  MSTK_push(&stack); /* a child object: turned a quarter about z, moved */
  m = &stack.matrices[stack.top];
  vec4_f32 z_axis = {0, 0, 1, 0};
  m->m[12] += 2.0f;
  mat4_rotate(m, 1.5707963f /* a quarter turn */, z_axis, NULL);
  mat4_f32 inv;
  printf("stack depth %d (capacity %llu), det %.3f\n", stack.top,
         (unsigned long long)svec_length(stack.matrices), mat4_determinant(m));

  mat4_mul_pnt3_ns(m, &pts[0][0], 3, 5 * sizeof(f32_t), NULL);
  for (int i = 0; i < 3; ++i)
    printf("point %d -> (%.3f, %.3f, %.3f), untouched %.0f %.0f\n", i, pts[i][0], pts[i][1],
           pts[i][2], pts[i][3], pts[i][4]);

  mat4_inverse(m, &inv);
  mat4_f32 round = *m;
  vec4_f32 probe = {0.5f, -1.5f, 2.0f, 1.0f}, back = probe;
  mat4_mul_vec4_n(&round, &back, 1, NULL);
  mat4_mul_vec4_n(&inv, &back, 1, NULL);
  printf("M^-1 M (%.1f, %.1f, %.1f, %.1f) = (%.3f, %.3f, %.3f, %.3f)\n", probe.x, probe.y,
         probe.z, probe.w, back.x, back.y, back.z, back.w);

  MSTK_pop(&stack);
  MSTK_pop(&stack); /* one too many: logged, and nothing changes */
  printf("after pops: top %d\n", stack.top);
  svec_free(&stack.matrices);
}

/* The rotation by `angle` about a unit axis is the exponential of half the
 * angle along the axis. */
static quat_f32 axis_angle(f32_t x, f32_t y, f32_t z, f32_t angle) {
  quat_f32 v = {x * angle / 2, y * angle / 2, z * angle / 2, 0};
  return quat_exp(v);
}

/* Four key orientations; squad between keys 1 and 2 with control points
 * from their neighbours. */
static void squad_interpolation(void) {
  quat_f32 keys[4] = {axis_angle(0, 0, 1, 0.0f), axis_angle(0, 0, 1, 0.8f),
                      axis_angle(0, 0.7071068f, 0.7071068f, 1.6f),
                      axis_angle(0.7071068f, 0.7071068f, 0, 2.0f)};
  quat_f32 s1, s2, unused;
  quat_squad_control_points(keys[0], keys[1], keys[2], &unused, &s1);
  quat_squad_control_points(keys[1], keys[2], keys[3], &s2, &unused);
  (void)unused;

  vec4_f32 x_axis = {1, 0, 0, 0};
  for (int i = 0; i <= 4; ++i) {
    f32_t t = i / 4.0f;
    quat_f32 q = quat_squad(keys[1], keys[2], s1, s2, t);
    vec4_f32 v = quat_rotate_vec3(q, x_axis);
    printf("t=%.2f  q=(%+.3f %+.3f %+.3f %+.3f)  angle to key 1 %.3f  x -> (%+.3f %+.3f %+.3f)\n",
           t, q.x, q.y, q.z, q.w, quat_angle_between(keys[1], q), v.x, v.y, v.z);
  }
  quat_f32 mean = quat_average(keys, 4);
  printf("average of the keys: (%+.3f %+.3f %+.3f %+.3f)\n", mean.x, mean.y, mean.z, mean.w);
  printf("half of 1/3: 0x%04x, back: %.6f\n", f32_to_f16(1.0f / 3), f16_to_f32(f32_to_f16(1.0f / 3)));
}

int main(void) {
  change_log_handler(print_log);
  printf("-- tensor walk\n");
  tensor_walk();
  printf("-- strided precision conversion\n");
  strided_conversion();
  printf("-- matrix stack\n");
  matrix_stack();
  printf("-- squad\n");
  squad_interpolation();
  return 0;
}
