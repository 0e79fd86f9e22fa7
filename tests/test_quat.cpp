// Quaternions: thresholds, slerp branches and kernels (Eigen as the
// oracle away from degenerate cases), log/exp, squad, pose and averages.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <bit>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "kyr/kyr_quat.h"
#include "math/quat_internal.h"

namespace {

constexpr float kPi = 3.14159265358979f;

quat_f32 normalized(quat_f32 q) {
  quat_normalize_batch(&q, 1);
  return q;
}

quat_f32 slerp1(quat_f32 a, quat_f32 b, float t) {
  quat_f32 r;
  quat_slerp_batch(&a, &b, &t, &r, 1);
  return r;
}

quat_f32 axis_angle(float x, float y, float z, float angle) {
  float s = std::sin(angle / 2) / std::sqrt(x * x + y * y + z * z);
  return {x * s, y * s, z * s, std::cos(angle / 2)};
}

Eigen::Quaternionf to_eigen(quat_f32 q) { return Eigen::Quaternionf(q.w, q.x, q.y, q.z); }

void expect_near(quat_f32 a, quat_f32 b, float tol) {
  EXPECT_NEAR(a.x, b.x, tol);
  EXPECT_NEAR(a.y, b.y, tol);
  EXPECT_NEAR(a.z, b.z, tol);
  EXPECT_NEAR(a.w, b.w, tol);
}

// Same rotation: q or -q.
void expect_same_rotation(quat_f32 a, quat_f32 b, float tol) {
  float d = a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
  EXPECT_NEAR(std::fabs(d), 1.0f, tol);
}

std::vector<quat_f32> random_quats(std::mt19937& rng, size_t n) {
  std::normal_distribution<float> g;
  std::vector<quat_f32> q(n);
  for (auto& x : q) x = {g(rng), g(rng), g(rng), g(rng)};
  quat_normalize_batch(q.data(), n);
  return q;
}

bool same_bits(const quat_f32& a, const quat_f32& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace

TEST(Quat, NormalizeFallsBackToIdentityBelowTheThreshold) {
  float tiny = std::bit_cast<float>(0x358637BDu);  // 1e-6, on the squared length
  float below = std::sqrt(std::nextafter(tiny, 0.0f)) * 0.999f;
  quat_f32 q[3] = {{0, 0, 0, 0}, {below, 0, 0, 0}, {0, 0.0011f, 0, 0}};
  quat_normalize_batch(q, 3);
  EXPECT_TRUE(same_bits(q[0], quat_f32{0, 0, 0, 1}));
  EXPECT_TRUE(same_bits(q[1], quat_f32{0, 0, 0, 1}));
  EXPECT_EQ(q[2].y, 1.0f);
  quat_normalize_batch(nullptr, 5);
}

TEST(Quat, LogExpAndAngles) {
  quat_f32 zero4 = {0, 0, 0, 0};
  EXPECT_TRUE(same_bits(quat_log(quat_f32{0, 0, 0, 1}), zero4));
  EXPECT_TRUE(same_bits(quat_log(zero4), zero4));
  EXPECT_TRUE(same_bits(quat_exp(quat_f32{0, 0, 0, 7}), quat_f32{0, 0, 0, 1}));

  std::mt19937 rng(2);
  std::uniform_real_distribution<float> u(-2.0f, 2.0f);
  for (int i = 0; i < 200; ++i) {
    quat_f32 q = {u(rng), u(rng), u(rng), u(rng)};
    quat_f32 l = quat_log(q);
    EXPECT_EQ(l.w, 0.0f);
    expect_near(quat_exp(l), normalized(q), 2e-6f);
    // The log's length is half the rotation angle (of q or of -q, which
    // quat_angle_between doesn't tell apart).
    float angle = 2.0f * std::sqrt(l.x * l.x + l.y * l.y + l.z * l.z);
    EXPECT_NEAR(std::min(angle, 2 * kPi - angle),
                quat_angle_between(quat_f32{0, 0, 0, 1}, q), 2e-3f);
  }
  quat_f32 q = axis_angle(1, 2, 3, 1.1f);
  EXPECT_EQ(quat_angle_between(q, quat_f32{-q.x, -q.y, -q.z, -q.w}), 0.0f);
  EXPECT_NEAR(quat_angle_between(quat_f32{0, 0, 0, 1}, quat_f32{1, 0, 0, 0}), kPi, 1e-6f);
}

TEST(Quat, SlerpBranches) {
  quat_f32 a = axis_angle(0, 0, 1, 0.4f), b = axis_angle(1, 1, 0, 1.3f);
  EXPECT_TRUE(same_bits(slerp1(a, b, 0.0f), a));
  // Nearly parallel: a normalised linear blend; equal inputs give the
  // normalised input for any t.
  quat_f32 big = {0, 0, 0, 3};
  EXPECT_TRUE(same_bits(slerp1(big, big, 0.37f), quat_f32{0, 0, 0, 1}));
  // A dot product of exactly 0.9995 takes the trigonometric branch (not
  // normalised, so t = 1 gives about b); one ulp above, the linear one.
  quat_f32 id = {0, 0, 0, 1}, b1 = {0, 0, 0, std::bit_cast<float>(0x3F7FDF3Bu)};
  EXPECT_NEAR(slerp1(id, b1, 1.0f).w, b1.w, 1e-4f);
  EXPECT_LT(slerp1(id, b1, 1.0f).w, 0.9999f);
  quat_f32 b2 = {0, 0, 0, std::nextafter(b1.w, 1.0f)};
  EXPECT_NEAR(slerp1(id, b2, 1.0f).w, 1.0f, 1e-7f);
  // A negative dot product goes to -b: t = 1 gives -b.
  quat_f32 nb = {-b.x, -b.y, -b.z, -b.w};
  expect_near(slerp1(a, nb, 1.0f), b, 1e-6f);
  expect_near(slerp1(a, nb, 0.5f), slerp1(a, b, 0.5f), 1e-6f);
  // Exactly opposite: a finite quaternion, the rotation of a.
  for (float t : {0.0f, 0.25f, 0.5f, 1.0f, 2.0f}) {
    quat_f32 r = slerp1(a, quat_f32{-a.x, -a.y, -a.z, -a.w}, t);
    ASSERT_TRUE(std::isfinite(r.x) && std::isfinite(r.w));
    expect_near(r, a, 1e-6f);
  }
}

TEST(Quat, SlerpAgreesWithEigenAndEveryKernelGivesTheScalarBits) {
  std::mt19937 rng(17);
  const size_t n = 4003;
  auto a = random_quats(rng, n), b = random_quats(rng, n);
  std::uniform_real_distribution<float> u(-0.5f, 1.5f);
  std::vector<float> t(n);
  for (auto& x : t) x = u(rng);
  // Cases for every branch among the random ones, at all lane positions.
  for (size_t i = 0; i < 64; i += 4) {
    b[i] = a[i];                                                   // parallel
    b[i + 1] = {-a[i + 1].x, -a[i + 1].y, -a[i + 1].z, -a[i + 1].w};  // opposite
    a[i + 2] = {0, 0, 0, 0};                                       // zero
    b[i + 3] = {a[i + 3].x * 1e-4f, a[i + 3].y, a[i + 3].z, a[i + 3].w * 5.0f};
  }
  t[7] = NAN;

  std::vector<quat_f32> want(n);
  for (size_t i = 0; i < n; ++i) want[i] = kyr::quat_slerp(a[i], b[i], t[i]);
  const kyr::SlerpKernels* kernels;
  size_t variants = kyr::slerp_kernel_variants(&kernels);
  for (size_t k = 0; k <= variants; ++k) {
    std::vector<quat_f32> got(n), in_a = a, in_b = b;
    if (k < variants) {
      kernels[k].run(a.data(), b.data(), t.data(), got.data(), n);
      kernels[k].run(in_a.data(), b.data(), t.data(), in_a.data(), n);
      kernels[k].run(a.data(), in_b.data(), t.data(), in_b.data(), n);
    } else {
      quat_slerp_batch(a.data(), b.data(), t.data(), got.data(), n);
      quat_slerp_batch(in_a.data(), b.data(), t.data(), in_a.data(), n);
      quat_slerp_batch(a.data(), in_b.data(), t.data(), in_b.data(), n);
    }
    for (size_t i = 0; i < n; ++i) {
      ASSERT_TRUE(same_bits(got[i], want[i])) << k << " " << i;
      ASSERT_TRUE(same_bits(in_a[i], want[i]) && same_bits(in_b[i], want[i])) << k << " " << i;
    }
  }

  // Away from the degenerate cases and inside 0 <= t <= 1, Eigen agrees.
  int compared = 0;
  for (size_t i = 64; i < n; ++i) {
    float d = std::fabs(a[i].x * b[i].x + a[i].y * b[i].y + a[i].z * b[i].z + a[i].w * b[i].w);
    if (d > 0.999f || t[i] < 0.0f || t[i] > 1.0f) continue;
    Eigen::Quaternionf e = to_eigen(a[i]).slerp(t[i], to_eigen(b[i]));
    ASSERT_NEAR(want[i].x, e.x(), 2e-5f) << i;
    ASSERT_NEAR(want[i].y, e.y(), 2e-5f);
    ASSERT_NEAR(want[i].z, e.z(), 2e-5f);
    ASSERT_NEAR(want[i].w, e.w(), 2e-5f);
    ++compared;
  }
  EXPECT_GT(compared, 1000);
}

TEST(Quat, RotateVectorAndPoseMatrixAgreeWithEigen) {
  std::mt19937 rng(8);
  std::uniform_real_distribution<float> u(-3.0f, 3.0f);
  for (const quat_f32& q : random_quats(rng, 300)) {
    vec4_f32 v = {u(rng), u(rng), u(rng), 99.0f};
    vec4_f32 r = quat_rotate_vec3(q, v);
    Eigen::Vector3f e = to_eigen(q) * Eigen::Vector3f(v.x, v.y, v.z);
    ASSERT_NEAR(r.x, e.x(), 1e-5f);
    ASSERT_NEAR(r.y, e.y(), 1e-5f);
    ASSERT_NEAR(r.z, e.z(), 1e-5f);
    ASSERT_EQ(r.w, 0.0f);

    vec4_f32 pos = {1, -2, 3, 42};
    mat4_f32 m = quat_look_at(quat_f32{q.x * 2, q.y * 2, q.z * 2, q.w * 2}, pos);
    Eigen::Matrix3f rot = to_eigen(q).toRotationMatrix();
    for (int c = 0; c < 3; ++c) {
      for (int row = 0; row < 3; ++row) ASSERT_NEAR(m.m[4 * c + row], rot(row, c), 1e-6f);
      ASSERT_EQ(m.m[4 * c + 3], 0.0f);
    }
    ASSERT_EQ(m.m[12], 1.0f);
    ASSERT_EQ(m.m[14], 3.0f);
    ASSERT_EQ(m.m[15], 1.0f);
  }
  mat4_f32 t = quat_look_at(quat_f32{0, 0, 0, 0}, vec4_f32{4, 5, 6, 0});
  const float want[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 4, 5, 6, 1};
  EXPECT_EQ(std::memcmp(t.m, want, sizeof want), 0);
}

TEST(Quat, SquadPassesThroughItsKeysWithControlPointsOfTheRightSign) {
  // Keys turning steadily about one axis: both logs are theta/2 along the
  // axis, so e = exp(-theta/4 axis), half a step backwards.
  const float theta = 0.6f;
  quat_f32 q0 = axis_angle(0, 1, 0, 0.0f), q1 = axis_angle(0, 1, 0, theta),
           q2 = axis_angle(0, 1, 0, 2 * theta);
  quat_f32 s1, s2;
  quat_squad_control_points(q0, q1, q2, &s1, &s2);
  expect_near(s1, axis_angle(0, 1, 0, theta / 2), 1e-6f);
  expect_near(s2, axis_angle(0, 1, 0, 1.5f * theta), 1e-6f);
  quat_squad_control_points(q0, q1, q2, nullptr, nullptr);

  // On unrelated keys squad still starts at q0 and ends at q1.
  std::mt19937 rng(4);
  auto k = random_quats(rng, 4);
  quat_f32 c1, c2, c3;
  quat_squad_control_points(k[0], k[1], k[2], &c1, &c2);
  quat_squad_control_points(k[1], k[2], k[3], &c3, nullptr);
  expect_same_rotation(quat_squad(k[1], k[2], c2, c3, 0.0f), k[1], 1e-6f);
  expect_same_rotation(quat_squad(k[1], k[2], c2, c3, 1.0f), k[2], 1e-6f);
  quat_f32 mid = quat_squad(k[1], k[2], c2, c3, 0.5f);
  EXPECT_NEAR(mid.x * mid.x + mid.y * mid.y + mid.z * mid.z + mid.w * mid.w, 1.0f, 1e-4f);
}

TEST(Quat, AveragesAlignSignsAndHonourWeights) {
  quat_f32 id = {0, 0, 0, 1};
  quat_f32 q = axis_angle(1, 0, 0, 0.8f), big = {q.x * 3, q.y * 3, q.z * 3, q.w * 3};
  EXPECT_TRUE(same_bits(quat_average(nullptr, 0), id));
  expect_near(quat_average(&big, 1), q, 3e-7f);
  quat_f32 pair[2] = {big, {-q.x, -q.y, -q.z, -q.w}};
  expect_near(quat_average(pair, 2), q, 1e-6f);
  quat_f32 three[3] = {axis_angle(0, 0, 1, 0.2f), axis_angle(0, 0, 1, 0.4f),
                       axis_angle(0, 0, -1, -0.6f)};
  expect_near(quat_average(three, 3), axis_angle(0, 0, 1, 0.4f), 1e-3f);

  float none[2] = {0.0f, -1.0f};
  EXPECT_TRUE(same_bits(quat_weighted_average(pair, none, 2), id));
  float one[2] = {0.0f, 2.0f};  // only -q counts, and it faces away from q[0]
  expect_near(quat_weighted_average(pair, one, 2), q, 1e-6f);
  float negative = -5.0f;
  expect_near(quat_weighted_average(&big, &negative, 1), q, 3e-7f);
  float small[2] = {4e-7f, 4e-7f};
  EXPECT_TRUE(same_bits(quat_weighted_average(pair, small, 2), id));
  float nan_weight[2] = {NAN, 1.0f};
  expect_near(quat_weighted_average(pair, nan_weight, 2), q, 1e-6f);
  EXPECT_TRUE(same_bits(quat_weighted_average(pair, nullptr, 2), id));
}
