// Tensors: initialisers, the owned block, access, the walk, and f32/f64
// conversion between arrays and tensors.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "kyr/kyr_log.h"
#include "kyr/kyr_tensor.h"

namespace {

// Room for a tensor of any rank.
struct AnyTensor {
  void* data;
  TENSOR_DESC desc;
  i32_t dims[2 * TENSOR_MAX_RANK];
  TENSOR* t() { return reinterpret_cast<TENSOR*>(this); }
};

struct LogRecord {
  char level;
  std::string file, func, message;
};
std::vector<LogRecord> g_logs;

int capture(char level, const char* file, const char* func, u32_t, const char* fmt,
            va_list args) {
  char buf[256];
  vsnprintf(buf, sizeof buf, fmt, args);
  g_logs.push_back({level, file, func, buf});
  return 0;
}

struct LogCapture {
  log_handler_t old = change_log_handler(capture);
  LogCapture() { g_logs.clear(); }
  ~LogCapture() { change_log_handler(old); }
};

TENSOR_DESC desc(u16_t elem_size, u8_t rank, u8_t flags = 0) {
  return TENSOR_DESC{0x1234, elem_size, rank, flags};
}

template <class A>
TENSOR* as_tensor(A* a) {
  return reinterpret_cast<TENSOR*>(a);
}

// Row-major coordinates of linear index i.
std::vector<int> coords_of(const TENSOR* t, int64_t i) {
  std::vector<int> c(t->desc.rank);
  for (int d = t->desc.rank - 1; d >= 0; --d) {
    c[d] = static_cast<int>(i % t->dims[d]);
    i /= t->dims[d];
  }
  return c;
}

std::vector<uint8_t*> walk(const TENSOR* t) {
  std::vector<uint8_t*> seen;
  TENSOR_IT it;
  TENSOR_IT_Init(&it, t);
  do seen.push_back(it.level[0].pos);
  while (TENSOR_IT_Next(&it) && seen.size() < 100000);
  return seen;
}

}  // namespace

// ------------------------------------------------------------ records

TEST(Tensor, InitDerivesStridesAndSetsContiguousOnlyWhenPacked) {
  AnyTensor a;
  TENSOR_Init(a.t(), nullptr, desc(4, 3), 2, 3, 5, 0, 0, 0);
  EXPECT_EQ(a.dims[3], 60);
  EXPECT_EQ(a.dims[4], 20);
  EXPECT_EQ(a.dims[5], 4);
  EXPECT_TRUE(a.desc.flags & TENSOR_FLAG_CONTIGUOUS);
  EXPECT_EQ(a.desc.elem_type, 0x1234u);

  TENSOR_Init(a.t(), nullptr, desc(4, 3), 2, 3, 5, 60, 20, 4);
  EXPECT_TRUE(a.desc.flags & TENSOR_FLAG_CONTIGUOUS);

  // A gap in the middle: outer zero strides derive from the gapped value.
  TENSOR_Init(a.t(), nullptr, desc(4, 3, 0xF0), 2, 3, 5, 0, 32, 0);
  EXPECT_EQ(a.dims[3], 96);
  EXPECT_EQ(a.dims[5], 4);
  EXPECT_EQ(a.desc.flags, 0xF0);  // high bits kept, not contiguous

  // A caller's contiguous bit stays whatever the strides say.
  TENSOR_Init(a.t(), nullptr, desc(4, 2, TENSOR_FLAG_CONTIGUOUS), 2, 3, 64, 4);
  EXPECT_TRUE(a.desc.flags & TENSOR_FLAG_CONTIGUOUS);

  TENSOR_Init(a.t(), nullptr, desc(2, 16), 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2,
              0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
  EXPECT_EQ(a.dims[31], 2);
  EXPECT_EQ(a.dims[16], 4);
  EXPECT_EQ(TENSOR_CalcCount(a.t()), 2);

  ARRAY2D m;
  ARRAY2D_Init(&m, nullptr, desc(8, 2), 3, 4, 0, 0);
  EXPECT_EQ(m.strides[0], 32);
  EXPECT_EQ(m.strides[1], 8);
  EXPECT_FALSE(m.desc.flags & TENSOR_FLAG_CONTIGUOUS);
}

TEST(Tensor, BadInputLogsAndLeavesRecordsUnwritten) {
  LogCapture logs;
  AnyTensor a;
  std::memset(&a, 0xAB, sizeof a);
  AnyTensor before = a;
  EXPECT_EQ(TENSOR_Init(a.t(), nullptr, desc(4, 0), 1, 1), a.t());
  TENSOR_Init(a.t(), nullptr, desc(4, 17), 1, 1);
  EXPECT_EQ(std::memcmp(&a, &before, sizeof a), 0);
  EXPECT_EQ(TENSOR_Init(nullptr, nullptr, desc(4, 1), 1, 0), nullptr);
  ASSERT_EQ(g_logs.size(), 3u);
  EXPECT_EQ(g_logs[0].level, 'X');
  EXPECT_EQ(g_logs[0].file, "src/kyr_array");
  EXPECT_EQ(g_logs[0].func, "TENSOR_ValidateAndSetBase");
  EXPECT_NE(g_logs[1].message.find(", rank=17"), std::string::npos);
  EXPECT_EQ(g_logs[0].message.find("Invalid parameter: self="), 0u);

  ARRAY1D a1;
  ARRAY2D a2;
  ARRAY3D a3;
  std::memset(&a2, 0xAB, sizeof a2);
  ARRAY2D a2_before = a2;
  ARRAY1D_Init(&a1, nullptr, desc(4, 2), 1, 0);
  ARRAY2D_Init(&a2, nullptr, desc(4, 3), 1, 1, 0, 0);
  ARRAY3D_Init(nullptr, nullptr, desc(4, 3), 1, 1, 1, 0, 0, 0);
  ARRAY3D_Init(&a3, nullptr, desc(4, 16), 1, 1, 1, 0, 0, 0);
  EXPECT_EQ(std::memcmp(&a2, &a2_before, sizeof a2), 0);
  ASSERT_EQ(g_logs.size(), 7u);
  EXPECT_EQ(g_logs[3].func, "ARRAY1D_Init");
  EXPECT_EQ(g_logs[3].message, "Invalid array or descriptor for 1D");
  EXPECT_EQ(g_logs[4].message, "Invalid array or descriptor for 2D");
  EXPECT_EQ(g_logs[6].message, "Invalid array or descriptor for 3D");

  TENSOR_IT it;
  std::memset(&it, 0xCD, sizeof it);
  TENSOR_IT_Init(&it, nullptr);
  a.desc.rank = 0;
  TENSOR_IT_Init(&it, a.t());
  TENSOR_IT_Init(nullptr, as_tensor(&a1));
  ASSERT_EQ(g_logs.size(), 10u);
  EXPECT_EQ(g_logs[9].func, "TENSOR_IT_Init");
  EXPECT_EQ(g_logs[9].message, "Invalid tensor or iterator");
  EXPECT_EQ(reinterpret_cast<uintptr_t>(it.tensor), 0xCDCDCDCDCDCDCDCDull);

  EXPECT_EQ(TENSOR_CalcSize(nullptr), 0);
  EXPECT_EQ(TENSOR_CalcSize(a.t()), 0);  // rank 0
}

// ------------------------------------------------------------ access

TEST(Tensor, LinearAndCoordinateAccessAgreeOnStridedTensors) {
  std::vector<uint8_t> buf(4096);
  AnyTensor a;
  // 3 x 4 x 5 elements of 2 bytes, with gaps in both outer strides.
  TENSOR_Init(a.t(), buf.data(), desc(2, 3), 3, 4, 5, 200, 12, 2);
  ASSERT_FALSE(a.desc.flags & TENSOR_FLAG_CONTIGUOUS);
  int count = TENSOR_CalcCount(a.t());
  ASSERT_EQ(count, 60);
  EXPECT_EQ(TENSOR_CalcSize(a.t()), 600);
  for (int i = -count; i < count; ++i) {
    auto c = coords_of(a.t(), i < 0 ? i + count : i);
    uint8_t* want = buf.data() + c[0] * 200 + c[1] * 12 + c[2] * 2;
    ASSERT_EQ(TENSOR_GetLinear(a.t(), i), want) << i;
    ASSERT_EQ(TENSOR_GetPtrByIndices(a.t(), c.data()), want);
    ASSERT_EQ(TENSOR_Get(a.t(), c[0], c[1], c[2]), want);
  }
  // The last element is the last element, not the end of a byte run.
  EXPECT_EQ(TENSOR_GetLinear(a.t(), -1), buf.data() + 2 * 200 + 3 * 12 + 4 * 2);

  // Rank 1 counts negative coordinates from the end; rank 2 does not.
  ARRAY1D v;
  ARRAY1D_Init(&v, buf.data(), desc(4, 1), 10, 8);
  EXPECT_EQ(TENSOR_Get(as_tensor(&v), -1), buf.data() + 72);
  EXPECT_EQ(TENSOR_GetLinear(as_tensor(&v), -10), buf.data());
  ARRAY2D m;
  ARRAY2D_Init(&m, buf.data() + 100, desc(4, 2), 3, 5, 0, 0);
  EXPECT_EQ(TENSOR_Get(as_tensor(&m), 1, -1), buf.data() + 100 + 20 - 4);

  // Set copies elem_size bytes, or nothing for a null value.
  std::fill(buf.begin(), buf.end(), 0);
  uint32_t value = 0xDEADBEEF, got;
  uint8_t* p = static_cast<uint8_t*>(TENSOR_Set(as_tensor(&m), &value, 2, 3));
  ASSERT_EQ(p, buf.data() + 100 + 40 + 12);
  std::memcpy(&got, p, 4);
  EXPECT_EQ(got, value);
  EXPECT_EQ(p[4], 0);
  EXPECT_EQ(TENSOR_Set(as_tensor(&m), nullptr, 0, 0), buf.data() + 100);
  EXPECT_EQ(buf[100], 0);
}

// ------------------------------------------------------------ walk

TEST(Tensor, WalkVisitsEveryElementInLinearOrder) {
  std::mt19937 rng(11);
  std::vector<uint8_t> buf(1 << 16);
  for (int round = 0; round < 300; ++round) {
    AnyTensor a;
    int rank = 1 + static_cast<int>(rng() % 5);
    u16_t elem = static_cast<u16_t>(1 + rng() % 8);
    a.data = buf.data();
    a.desc = desc(elem, static_cast<u8_t>(rank), round % 3 ? 0 : TENSOR_FLAG_CONTIGUOUS);
    int64_t stride = elem;
    for (int d = rank - 1; d >= 0; --d) {
      a.dims[d] = 1 + static_cast<int>(rng() % 4);
      // Packed only when the descriptor says contiguous; else random gaps.
      int gap = (a.desc.flags & TENSOR_FLAG_CONTIGUOUS) ? 0 : static_cast<int>(rng() % 3) * elem;
      a.dims[rank + d] = static_cast<int>(stride) + gap;
      stride = (stride + gap) * a.dims[d];
    }
    int count = TENSOR_CalcCount(a.t());
    auto seen = walk(a.t());
    ASSERT_EQ(seen.size(), static_cast<size_t>(count)) << "round " << round;
    for (int i = 0; i < count; ++i) ASSERT_EQ(seen[i], TENSOR_GetLinear(a.t(), i));
  }

  // Two rows of three with a row stride above 3 elements: six steps, the
  // second row at its own address.
  ARRAY2D m;
  ARRAY2D_Init(&m, buf.data(), desc(4, 2), 2, 3, 20, 0);
  auto seen = walk(as_tensor(&m));
  ASSERT_EQ(seen.size(), 6u);
  EXPECT_EQ(seen[3], buf.data() + 20);
  // A packed block laid out by ARRAY2D_Init is walked in two levels in the
  // same order as the contiguous form of it.
  ARRAY2D packed, marked;
  ARRAY2D_Init(&packed, buf.data(), desc(4, 2), 3, 5, 0, 0);
  ARRAY2D_Init(&marked, buf.data(), desc(4, 2, TENSOR_FLAG_CONTIGUOUS), 3, 5, 0, 0);
  TENSOR_IT it;
  TENSOR_IT_Init(&it, as_tensor(&packed));
  EXPECT_EQ(it.level_count, 2);
  EXPECT_EQ(walk(as_tensor(&packed)), walk(as_tensor(&marked)));

  // No elements: the walk ends at its first step, even with an inner
  // extent of 0 below a non-empty outer one.
  ARRAY2D empty;
  ARRAY2D_Init(&empty, buf.data(), desc(4, 2), 3, 0, 64, 4);
  TENSOR_IT_Init(&it, as_tensor(&empty));
  EXPECT_FALSE(TENSOR_IT_Next(&it));
}

// ------------------------------------------------------------ block

TEST(Tensor, AllocAlignsOwnsAndReplacesBlocks) {
  ARRAY2D m;
  ARRAY2D_Init(&m, nullptr, desc(4, 2, TENSOR_FLAG_CONTIGUOUS | 0xA0), 7, 9, 0, 0);
  for (u32_t align = 16; align <= 131072; align *= 2) {
    auto* p = static_cast<uint8_t*>(TENSOR_Alloc(as_tensor(&m), true, align));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % align, 0u);
    EXPECT_EQ(m.desc.flags & 0xF3, TENSOR_FLAG_CONTIGUOUS | TENSOR_FLAG_OWNED | 0xA0);
    for (int i = 0; i < 7 * 9 * 4; ++i) ASSERT_EQ(p[i], 0);
    p[7 * 9 * 4 - 1] = 1;  // the whole span is ours (ASan checks)
  }
  // Replacing an owned block releases it (the leak checker watches), and
  // other alignments give a plain block.
  for (u32_t align : {0u, 8u, 24u, 262144u, 0xFFFFFFFFu}) {
    ASSERT_NE(TENSOR_Alloc(as_tensor(&m), false, align), nullptr);
    EXPECT_FALSE(m.desc.flags & TENSOR_FLAG_ALIGNED);
  }
  TENSOR_Free(as_tensor(&m));
  EXPECT_EQ(m.data, nullptr);
  EXPECT_EQ(m.desc.flags, TENSOR_FLAG_CONTIGUOUS | 0xA0);

  // Over the caller's memory: Alloc leaves it alone.
  std::vector<uint8_t> mine(7 * 9 * 4, 0x5A);
  m.data = mine.data();
  ASSERT_NE(TENSOR_Alloc(as_tensor(&m), true, 64), mine.data());
  EXPECT_EQ(mine[0], 0x5A);
  TENSOR_Free(as_tensor(&m));

  // Sizes beyond memory or beyond 64 bits fail cleanly.
  ARRAY1D huge;
  ARRAY1D_Init(&huge, mine.data(), desc(4, 1), std::numeric_limits<int>::max(),
               std::numeric_limits<int>::max());
  EXPECT_EQ(TENSOR_Alloc(as_tensor(&huge), false, 131072), nullptr);
  EXPECT_EQ(huge.data, nullptr);
  EXPECT_FALSE(huge.desc.flags & TENSOR_FLAG_OWNED);
  ARRAY1D_Init(&huge, nullptr, desc(4, 1), 1, -8);  // negative span
  EXPECT_EQ(TENSOR_Alloc(as_tensor(&huge), true, 64), nullptr);
  // An empty tensor still gets a block of its own.
  ARRAY1D_Init(&huge, nullptr, desc(4, 1), 0, 4);
  EXPECT_NE(TENSOR_Alloc(as_tensor(&huge), false, 0), nullptr);
  TENSOR_Free(as_tensor(&huge));
}

// ------------------------------------------------------------ conversion

TEST(TensorConvert, FlatLoopsMatchTheElementLoopBitForBit) {
  std::mt19937 rng(3);
  std::vector<double> d(3 << 20);  // 12 MB of f32 output: the streaming path
  for (auto& x : d)
    x = std::ldexp(static_cast<double>(rng()) - 2147483648.0, static_cast<int>(rng() % 300) - 180);
  const double specials[] = {3.0e39, -3.0e39, 1e-50, -0.0, INFINITY, NAN,
                             std::nextafter(1.0, 2.0), 1.0 + 0x1p-24, 1.0 + 0x1p-24 + 0x1p-50};
  std::copy(std::begin(specials), std::end(specials), d.begin() + 5);
  std::vector<float> f(d.size() + 2);
  std::vector<double> back(d.size() + 2);

  for (size_t n : {size_t{0}, size_t{1}, size_t{3}, size_t{4}, size_t{17}, size_t{1000}, d.size()}) {
    for (size_t off : {0, 1}) {  // misaligned destinations take the scalar head
      std::fill(f.begin(), f.end(), -1.0f);
      int count = static_cast<int>(n);
      ASSERT_EQ(TENSOR_F32FromF64_CC(f.data() + off, d.data(), count), count);
      for (size_t i = 0; i < n; ++i) {
        float want = static_cast<float>(d[i]);
        ASSERT_EQ(std::memcmp(&f[i + off], &want, 4), 0) << n << " " << i;
      }
      EXPECT_EQ(f[n + off], -1.0f);
      ASSERT_EQ(TENSOR_F64FromF32_CC(back.data() + off, f.data() + off, count), count);
      for (size_t i = 0; i < n; ++i) {
        double want = static_cast<double>(f[i + off]);
        ASSERT_EQ(std::memcmp(&back[i + off], &want, 8), 0) << n << " " << i;
      }
    }
  }
  TENSOR_F32FromF64_CC(f.data(), d.data() + 5, 2);
  EXPECT_EQ(f[0], INFINITY);  // 3e39 is past the f32 range
  EXPECT_EQ(f[1], -INFINITY);

  // In place, f64 -> f32, the whole large array.
  std::vector<double> in_place = d;
  float* fp = reinterpret_cast<float*>(in_place.data());
  TENSOR_F32FromF64_CC(fp, in_place.data(), static_cast<int>(d.size()));
  for (size_t i = 0; i < d.size(); ++i) {
    float want = static_cast<float>(d[i]);
    ASSERT_EQ(std::memcmp(&fp[i], &want, 4), 0) << i;
  }
  EXPECT_EQ(TENSOR_F64FromF32_CC(back.data(), f.data(), -5), 0);
}

TEST(TensorConvert, CountsOfTheFormsAndBadOperands) {
  std::vector<float> src = {1, 2, 3, 4, 5, 6};
  std::vector<double> dst(16, -1.0);
  ARRAY2D d;  // 2 x 2 doubles, rows 5 apart
  ARRAY2D_Init(&d, dst.data(), desc(8, 2), 2, 2, 40, 0);
  EXPECT_EQ(TENSOR_F64FromF32_DC(as_tensor(&d), src.data(), 100), 4);
  EXPECT_EQ(dst[5], 3.0);
  EXPECT_EQ(dst[2], -1.0);
  EXPECT_EQ(TENSOR_F64FromF32_DC(as_tensor(&d), src.data(), 0), 0);
  EXPECT_EQ(TENSOR_F32FromF64_CD(src.data(), as_tensor(&d), -1), 0);
  EXPECT_EQ(TENSOR_F32FromF64_CD(src.data(), as_tensor(&d), 100), 4);
  EXPECT_EQ(TENSOR_F64FromF32(as_tensor(&d), as_tensor(&d), -3), 0);

  // An invalid tensor logs through the iterator and converts nothing.
  LogCapture logs;
  ARRAY1D bad;
  ARRAY1D_Init(&bad, dst.data(), desc(8, 1), 4, 0);
  bad.desc.rank = 0;
  EXPECT_EQ(TENSOR_F64FromF32_DC(as_tensor(&bad), src.data(), 3), 0);
  EXPECT_EQ(TENSOR_F64FromF32(nullptr, as_tensor(&d), 0), 0);
  ASSERT_EQ(g_logs.size(), 1u);
  EXPECT_EQ(g_logs[0].func, "TENSOR_IT_Init");
}

// Random shapes and strides on both sides, contiguous or not, against
// element i of one meeting element i of the other (found through
// TENSOR_GetLinear): the shorter side ends the walk, gaps stay untouched, a
// contiguous side is never overrun. One round is large enough to stream,
// with padded rows on both sides.
TEST(TensorConvert, RandomLayoutsMatchTheLinearOrder) {
  std::mt19937 rng(23);
  auto layout = [&](AnyTensor& a, void* data, u16_t elem, bool big) {
    int rank = big ? 2 : 1 + static_cast<int>(rng() % 4);
    bool contiguous = !big && rng() % 3 == 0;
    a.data = data;
    a.desc = desc(elem, static_cast<u8_t>(rank), contiguous ? TENSOR_FLAG_CONTIGUOUS : 0);
    int64_t stride = elem;
    for (int d = rank - 1; d >= 0; --d) {
      a.dims[d] = big ? (d == 0 ? 1100 : 1000) : 1 + static_cast<int>(rng() % 5);
      // Gaps, sometimes of odd bytes (unaligned elements, element by element).
      int gap = contiguous ? 0 : static_cast<int>(rng() % 3) * (rng() % 2 ? elem : 3);
      a.dims[rank + d] = static_cast<int>(stride) + gap;
      stride = (stride + gap) * a.dims[d];
    }
  };
  std::vector<uint8_t> sbuf(12 << 20), dbuf(24 << 20);
  for (int round = 0; round < 400; ++round) {
    bool big = round == 0, narrow = round % 2;
    AnyTensor s, d;
    layout(s, sbuf.data(), narrow ? 8 : 4, big);
    layout(d, dbuf.data(), narrow ? 4 : 8, big);
    int sn = TENSOR_CalcCount(s.t()), dn = TENSOR_CalcCount(d.t());
    for (int i = 0; i < sn; ++i) {
      uint8_t* p = static_cast<uint8_t*>(TENSOR_GetLinear(s.t(), i));
      double v = std::ldexp(static_cast<double>(rng() % 2000001) - 1e6,
                            static_cast<int>(rng() % 40) - 20);
      if (narrow) std::memcpy(p, &v, 8);
      else {
        float f = static_cast<float>(v);
        std::memcpy(p, &f, 4);
      }
    }
    size_t span = static_cast<size_t>(TENSOR_CalcSize(d.t()));
    ASSERT_LE(span, dbuf.size());
    std::fill(dbuf.begin(), dbuf.begin() + static_cast<ptrdiff_t>(span), 0xEE);
    int got = narrow ? TENSOR_F32FromF64(d.t(), s.t(), 0) : TENSOR_F64FromF32(d.t(), s.t(), 0);
    int want = std::min(sn, dn);
    ASSERT_EQ(got, want) << round;
    std::vector<bool> written(dbuf.size());
    for (int i = 0; i < want; ++i) {
      auto* sp = static_cast<uint8_t*>(TENSOR_GetLinear(s.t(), i));
      auto* dp = static_cast<uint8_t*>(TENSOR_GetLinear(d.t(), i));
      if (narrow) {
        double v;
        std::memcpy(&v, sp, 8);
        float f = static_cast<float>(v);
        ASSERT_EQ(std::memcmp(dp, &f, 4), 0) << round << " " << i;
      } else {
        float f;
        std::memcpy(&f, sp, 4);
        double v = f;
        ASSERT_EQ(std::memcmp(dp, &v, 8), 0) << round << " " << i;
      }
      for (int k = 0; k < (narrow ? 4 : 8); ++k) written[dp - dbuf.data() + k] = true;
    }
    // Nothing else in the destination's span changed.
    for (size_t k = 0; k < span; ++k)
      if (!written[k]) ASSERT_EQ(dbuf[k], 0xEE) << round << " " << k;
  }
}
