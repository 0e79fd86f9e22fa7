// bench_kyi.cpp - saving and loading a 1920 x 1080 RGBA image as KYi, raw
// and LZ4, to and from memory streams, against the bare calls a program
// would make without the file format on the same buffer:
//   save raw   one stream write of the buffer into a new memory stream
//   load raw   malloc of the buffer and one stream read into it
//   save LZ4   malloc of the bound, LZ4_compress_default, one stream write
//   load LZ4   malloc of the buffer, LZ4_decompress_safe straight from the
//              stored block (no copy of the block at all)
// The format's own work (header text, checks, the block's copy out of the
// stream) should stay within 10% of these.
//
// The image is a smooth gradient with a little noise in the low bits, so
// that LZ4 has something to do but doesn't shrink it to nothing.
#include <benchmark/benchmark.h>
#include <lz4.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "kyr/kyr_image.h"
#include "kyr/kyr_varint.h"

namespace {

constexpr int kW = 1920, kH = 1080;

struct Image {
  std::vector<uint8_t> pixels;
  KYR_IMAGE img{};
  Image() {
    pixels.resize(KYR_IMAGE_Init(nullptr, kW, kH, KYR_PF_RGBA, 0));
    uint32_t r = 1;
    for (int y = 0; y < kH; ++y)
      for (int x = 0; x < kW; ++x) {
        uint8_t* p = &pixels[4 * (static_cast<size_t>(y) * kW + x)];
        r = r * 1103515245 + 12345;
        p[0] = static_cast<uint8_t>(x * 255 / kW);
        p[1] = static_cast<uint8_t>(y * 255 / kH);
        p[2] = static_cast<uint8_t>(((x + y) / 8) ^ ((r >> 16) & 3));
        p[3] = 255;
      }
    KYR_IMAGE_Init(&img, kW, kH, KYR_PF_RGBA, reinterpret_cast<intptr_t>(pixels.data()));
  }
};

const Image& image() {
  static const Image the_image;
  return the_image;
}

// A KYi file of the image in memory, made once per codec.
svec saved_file(fourcc_t codec) {
  KYR_IMAGE img = image().img;
  img.codec = codec;
  svec bytes = nullptr;
  stream_t s;
  stream_open_memory(&s, &bytes);
  KYR_IMAGE_SaveToStream(&img, &s, "kyi", nullptr, 0);
  s.ops->close(s.ctx);
  return bytes;
}

// The bare LZ4 block of the image, for the load peer.
const std::vector<char>& bare_block() {
  static const std::vector<char> block = [] {
    const Image& im = image();
    std::vector<char> b(LZ4_compressBound(static_cast<int>(im.pixels.size())));
    int n = LZ4_compress_default(reinterpret_cast<const char*>(im.pixels.data()), b.data(),
                                 static_cast<int>(im.pixels.size()), static_cast<int>(b.size()));
    b.resize(static_cast<size_t>(n));
    return b;
  }();
  return block;
}

void set_bytes(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * image().pixels.size()));
}

// ============================================================ save

void BM_save_kyi(benchmark::State& state) {
  KYR_IMAGE img = image().img;
  img.codec = state.range(0) ? KYR_CODEC_LZ4 : KYR_CODEC_RAW;
  for (auto _ : state) {
    stream_t* s = new_memory_stream(nullptr);
    benchmark::DoNotOptimize(KYR_IMAGE_SaveToStream(&img, s, "kyi", nullptr, 0));
    delete_stream(s);
  }
  set_bytes(state);
}
BENCHMARK(BM_save_kyi)->ArgName("lz4")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_save_bare(benchmark::State& state) {
  const Image& im = image();
  const int size = static_cast<int>(im.pixels.size());
  for (auto _ : state) {
    stream_t* s = new_memory_stream(nullptr);
    if (state.range(0)) {
      int bound = LZ4_compressBound(size);
      char* block = static_cast<char*>(std::malloc(static_cast<size_t>(bound)));
      int n = LZ4_compress_default(reinterpret_cast<const char*>(im.pixels.data()), block, size,
                                   bound);
      benchmark::DoNotOptimize(s->ops->write(s->ctx, block, static_cast<uint64_t>(n)));
      std::free(block);
    } else {
      benchmark::DoNotOptimize(s->ops->write(s->ctx, im.pixels.data(), im.pixels.size()));
    }
    delete_stream(s);
  }
  set_bytes(state);
}
BENCHMARK(BM_save_bare)->ArgName("lz4")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// ============================================================ load

void BM_load_kyi(benchmark::State& state) {
  svec file = saved_file(state.range(0) ? KYR_CODEC_LZ4 : KYR_CODEC_RAW);
  for (auto _ : state) {
    stream_t s;
    stream_open_memory(&s, &file);
    KYR_IMAGE img{};
    benchmark::DoNotOptimize(KYR_IMAGE_LoadFromStream(&img, &s, 0, 0));
    KYR_IMAGE_Free(&img);
    s.ops->close(s.ctx);
  }
  set_bytes(state);
  state.counters["file_bytes"] = static_cast<double>(svec_length(file));
  svec_free(&file);
}
BENCHMARK(BM_load_kyi)->ArgName("lz4")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_load_bare(benchmark::State& state) {
  const size_t size = image().pixels.size();
  svec raw = svec_from_array(image().pixels.data(), size, 1);
  const std::vector<char>& block = bare_block();
  for (auto _ : state) {
    char* buffer = static_cast<char*>(std::malloc(size));
    if (state.range(0)) {
      benchmark::DoNotOptimize(LZ4_decompress_safe(block.data(), buffer,
                                                   static_cast<int>(block.size()),
                                                   static_cast<int>(size)));
    } else {
      stream_t s;
      stream_open_memory(&s, &raw);
      benchmark::DoNotOptimize(s.ops->read(s.ctx, buffer, size));
      s.ops->close(s.ctx);
    }
    benchmark::DoNotOptimize(buffer);
    std::free(buffer);
  }
  set_bytes(state);
  svec_free(&raw);
}
BENCHMARK(BM_load_bare)->ArgName("lz4")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
