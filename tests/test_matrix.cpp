// Rectangles, 4x4 matrices (Eigen as the oracle), batch transforms with
// every processor variant against the scalar reference, and the stack.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <Eigen/Geometry>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kyr/kyr_log.h"
#include "kyr/kyr_matrix.h"
#include "kyr/kyr_svec.h"
#include "math/math_internal.h"

namespace {

using Mat = Eigen::Matrix4f;

Mat to_eigen(const mat4_f32& m) { return Eigen::Map<const Mat>(m.m); }

mat4_f32 from_eigen(const Mat& e) {
  mat4_f32 m;
  Eigen::Map<Mat>(m.m) = e;
  return m;
}

// Random matrices that are far from singular: a rotation-ish random part
// plus a dominant diagonal.
mat4_f32 well_conditioned(std::mt19937& rng) {
  std::uniform_real_distribution<float> u(-1.0f, 1.0f);
  Mat e;
  for (int i = 0; i < 16; ++i) e.data()[i] = u(rng);
  e += Mat::Identity() * 4.0f;
  return from_eigen(e);
}

bool all_finite(const mat4_f32& m) {
  for (float f : m.m)
    if (!std::isfinite(f)) return false;
  return true;
}

std::vector<std::string> g_messages;
int capture(char, const char* file, const char* func, u32_t, const char* fmt, va_list) {
  g_messages.push_back(std::string(file) + "|" + func + "|" + fmt);
  return 0;
}

}  // namespace

TEST(Rect, UnionAndPointTestByTheirEdges) {
  rect_i16 u = union_rect_i16(rect_i16{1, 2, 10, 20}, rect_i16{-5, 7, 3, 40});
  EXPECT_EQ(u.left, -5);
  EXPECT_EQ(u.top, 2);
  EXPECT_EQ(u.right, 10);
  EXPECT_EQ(u.bottom, 40);
  rect_i16 r = {-3, 4, 8, 9};
  EXPECT_TRUE(point_in_rect_i16(-3, 4, r));
  EXPECT_TRUE(point_in_rect_i16(7, 8, r));
  EXPECT_FALSE(point_in_rect_i16(8, 5, r));
  EXPECT_FALSE(point_in_rect_i16(0, 9, r));
  EXPECT_FALSE(point_in_rect_i16(-4, 5, r));
  EXPECT_EQ(vec3_f32_sqdist(vec3_f32{1, 2, 3}, vec3_f32{4, 6, 3}), 25.0f);
  EXPECT_EQ(vec2_f32_sqdist(vec2_f32{-1, 0}, vec2_f32{2, 4}), 25.0f);
}

TEST(Mat4, DeterminantAndInverseAgreeWithEigen) {
  mat4_f32 id = from_eigen(Mat::Identity());
  EXPECT_EQ(mat4_determinant(&id), 1.0);
  mat4_f32 diag = from_eigen(Eigen::Vector4f(2, 3, 5, 7).asDiagonal().toDenseMatrix());
  EXPECT_EQ(mat4_determinant(&diag), 210.0);

  std::mt19937 rng(21);
  for (int round = 0; round < 500; ++round) {
    mat4_f32 m = well_conditioned(rng);
    Mat e = to_eigen(m);
    double det = e.cast<double>().determinant();
    ASSERT_NEAR(mat4_determinant(&m), det, 1e-5 * std::fabs(det));
    mat4_f32 inv;
    ASSERT_EQ(mat4_inverse(&m, &inv), &inv);
    Mat want = e.cast<double>().inverse().cast<float>();
    ASSERT_TRUE(to_eigen(inv).isApprox(want, 1e-5f)) << round;
    // In place gives the same bits.
    mat4_f32 copy = m;
    ASSERT_EQ(mat4_inverse(&copy, nullptr), &copy);
    ASSERT_EQ(std::memcmp(&copy, &inv, sizeof inv), 0);
  }

  // Singular: non-finite floats, no message, no crash.
  g_messages.clear();
  log_handler_t old = change_log_handler(capture);
  mat4_f32 singular = from_eigen(Mat::Ones());
  mat4_f32 out;
  mat4_inverse(&singular, &out);
  EXPECT_FALSE(all_finite(out));
  EXPECT_EQ(mat4_determinant(&singular), 0.0);
  change_log_handler(old);
  EXPECT_TRUE(g_messages.empty());
}

TEST(Mat4, RotationsAgreeWithEigenAngleAxis) {
  std::mt19937 rng(5);
  std::uniform_real_distribution<float> u(-1.0f, 1.0f);
  for (int round = 0; round < 500; ++round) {
    vec4_f32 axis = {u(rng), u(rng), u(rng), 0.0f};
    float angle = 4.0f * u(rng);
    Eigen::Vector3f ax(axis.x, axis.y, axis.z);
    if (ax.norm() < 0.1f) continue;
    Eigen::Matrix3f r = Eigen::AngleAxisf(angle, ax.normalized()).toRotationMatrix();
    mat4_f32 m = mat4_rotation(angle, axis);
    Mat want = Mat::Identity();
    want.topLeftCorner<3, 3>() = r;
    ASSERT_TRUE(to_eigen(m).isApprox(want, 1e-5f)) << round;

    // rotate: m R, with the fourth column of m kept and axis.w ignored.
    mat4_f32 base = well_conditioned(rng);
    mat4_f32 rotated;
    vec4_f32 with_w = axis;
    with_w.w = 0.5f;
    mat4_rotate(&base, angle, with_w, &rotated);
    Mat expect = to_eigen(base) * want;
    expect.col(3) = to_eigen(base).col(3);
    ASSERT_TRUE(to_eigen(rotated).isApprox(expect, 1e-5f));
    mat4_f32 in_place = base;
    mat4_rotate(&in_place, angle, axis, nullptr);
    ASSERT_EQ(std::memcmp(&in_place, &rotated, sizeof rotated), 0);
  }

  // A quarter turn about z takes x to y.
  mat4_f32 q = mat4_rotation(static_cast<float>(M_PI / 2), vec4_f32{0, 0, 1, 0});
  vec4_f32 v = {1, 0, 0, 1};
  EXPECT_EQ(mat4_mul_vec4_n(&q, &v, 1, nullptr), &v);
  EXPECT_NEAR(v.x, 0.0f, 1e-7f);
  EXPECT_EQ(v.y, 1.0f);
  EXPECT_EQ(v.w, 1.0f);
  // The axis's w lands in floats 3, 7, 11; a zero axis gives NaNs.
  mat4_f32 w = mat4_rotation(0.3f, vec4_f32{1, 0, 0, 0.5f});
  EXPECT_NE(w.m[3], 0.0f);
  EXPECT_EQ(w.m[7], 0.0f);  // the axis has no y
  EXPECT_FALSE(all_finite(mat4_rotation(0.3f, vec4_f32{0, 0, 0, 0})));
}

TEST(Mat4, BatchVariantsGiveTheScalarBits) {
  const kyr::Mat4Kernels* kernels;
  size_t variants = kyr::mat4_kernel_variants(&kernels);
  ASSERT_GE(variants, 2u);
  std::mt19937 rng(9);
  std::uniform_real_distribution<float> u(-100.0f, 100.0f);
  mat4_f32 m = well_conditioned(rng);
  m.m[3] = 0.01f, m.m[7] = -0.02f, m.m[11] = 0.005f, m.m[12] = 7.0f;
  std::vector<float> data(4000);
  for (auto& f : data) f = u(rng);
  data[5] = INFINITY, data[6] = NAN, data[9] = 1e-40f;

  for (size_t n : {0, 1, 2, 3, 7, 8, 9, 17, 250}) {
    // Packed vec4, separate and in place.
    std::vector<float> want(data.size(), -1.0f);
    kernels[0].vec4(m.m, reinterpret_cast<const vec4_f32*>(data.data()), n,
                    reinterpret_cast<vec4_f32*>(want.data()));
    for (size_t k = 0; k <= variants; ++k) {  // the last round: the exported call
      std::vector<float> got(data.size(), -1.0f), in_place = data;
      auto* src = reinterpret_cast<vec4_f32*>(data.data());
      auto* dst = reinterpret_cast<vec4_f32*>(got.data());
      auto* self = reinterpret_cast<vec4_f32*>(in_place.data());
      if (k < variants) {
        kernels[k].vec4(m.m, src, n, dst);
        kernels[k].vec4(m.m, self, n, self);
      } else {
        mat4_mul_vec4_n(&m, src, n, dst);
        mat4_mul_vec4_n(&m, self, n, nullptr);
      }
      ASSERT_EQ(std::memcmp(got.data(), want.data(), 4 * want.size()), 0) << k << " " << n;
      ASSERT_EQ(std::memcmp(in_place.data(), want.data(), 16 * n), 0) << k << " " << n;
    }
    // Points at several strides, a negative one and an unaligned one among
    // them; in place, and with the output one point ahead of the input
    // (which must behave as one point after another).
    for (int stride : {12, 16, 20, 13, -12}) {
      size_t base = stride < 0 ? 12 * 260 : 0;
      auto* in = reinterpret_cast<unsigned char*>(data.data()) + base;
      std::vector<float> ref(data.size(), -1.0f), ref_shift = data;
      auto* ref_bytes = reinterpret_cast<unsigned char*>(ref.data()) + base;
      auto* shift_bytes = reinterpret_cast<unsigned char*>(ref_shift.data()) + base;
      kernels[0].pnt3(m.m, in, n, stride, ref_bytes);
      kernels[0].pnt3(m.m, shift_bytes, n, stride, shift_bytes + stride);
      for (size_t k = 0; k <= variants; ++k) {
        std::vector<float> got(data.size(), -1.0f), in_place = data, shifted = data;
        auto* got_bytes = reinterpret_cast<unsigned char*>(got.data()) + base;
        auto* self = reinterpret_cast<unsigned char*>(in_place.data()) + base;
        auto* sh = reinterpret_cast<unsigned char*>(shifted.data()) + base;
        if (k < variants) {
          kernels[k].pnt3(m.m, in, n, stride, got_bytes);
          kernels[k].pnt3(m.m, self, n, stride, self);
          kernels[k].pnt3(m.m, sh, n, stride, sh + stride);
        } else {
          auto* f = reinterpret_cast<float*>(in);
          EXPECT_EQ(mat4_mul_pnt3_ns(&m, f, n, stride, reinterpret_cast<float*>(got_bytes)),
                    reinterpret_cast<float*>(got_bytes));
          EXPECT_EQ(mat4_mul_pnt3_ns(&m, reinterpret_cast<float*>(self), n, stride, nullptr),
                    nullptr);
          mat4_mul_pnt3_ns(&m, reinterpret_cast<float*>(sh), n, stride,
                           reinterpret_cast<float*>(sh + stride));
        }
        ASSERT_EQ(std::memcmp(got.data(), ref.data(), 4 * ref.size()), 0) << k << " " << stride;
        ASSERT_EQ(std::memcmp(shifted.data(), ref_shift.data(), 4 * ref.size()), 0) << k;
        for (size_t i = 0; i < n; ++i)
          ASSERT_EQ(std::memcmp(self + i * stride, ref_bytes + i * stride, 12), 0) << k;
      }
    }
  }

  // Stride 20 over records of five floats: floats 3 and 4 stay, and the
  // result is the perspective-divided product.
  float recs[3][5] = {{1, 2, 3, -7, -8}, {4, 5, 6, -7, -8}, {-1, 0, 2, -7, -8}};
  float orig[3][5];
  std::memcpy(orig, recs, sizeof recs);
  mat4_mul_pnt3_ns(&m, &recs[0][0], 3, 20, nullptr);
  Mat e = to_eigen(m);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(recs[i][3], -7.0f);
    EXPECT_EQ(recs[i][4], -8.0f);
    Eigen::Vector4f p = e * Eigen::Vector4f(orig[i][0], orig[i][1], orig[i][2], 1.0f);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(recs[i][c], p[c] / p[3], 1e-4f * std::fabs(p[c] / p[3]));
  }
}

TEST(MatrixStack, GrowsByDoublingAndRefusesUnderflow) {
  MSTK s = {nullptr, 0};
  svec_set_length(&s.matrices, 1, sizeof(mat4_f32));
  s.matrices[0] = mat4_rotation(0.5f, vec4_f32{0, 1, 0, 0});
  MSTK_push(&s);
  EXPECT_EQ(s.top, 1);
  EXPECT_EQ(svec_length(s.matrices), 2u);
  EXPECT_EQ(std::memcmp(&s.matrices[1], &s.matrices[0], sizeof(mat4_f32)), 0);
  s.matrices[1].m[12] = 5.0f;
  MSTK_push(&s);
  EXPECT_EQ(svec_length(s.matrices), 4u);
  EXPECT_EQ(s.matrices[2].m[12], 5.0f);
  MSTK_pop(&s);
  MSTK_pop(&s);
  EXPECT_EQ(s.top, 0);
  EXPECT_EQ(svec_length(s.matrices), 4u);
  EXPECT_EQ(s.matrices[1].m[12], 5.0f);  // left as it was

  g_messages.clear();
  log_handler_t old = change_log_handler(capture);
  MSTK_pop(&s);
  change_log_handler(old);
  EXPECT_EQ(s.top, 0);
  ASSERT_EQ(g_messages.size(), 1u);
  EXPECT_EQ(g_messages[0], "src/math/kyr_matrix|MSTK_pop|Matrix stack underflow!");
  MSTK_push(&s);
  EXPECT_EQ(s.top, 1);
  svec_free(&s.matrices);

  // A zeroed record works too: the first push makes room for two.
  MSTK z = {nullptr, 0};
  MSTK_push(&z);
  EXPECT_EQ(svec_length(z.matrices), 2u);
  svec_free(&z.matrices);
}
