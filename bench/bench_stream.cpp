// bench_stream.cpp - what the memory stream's exact-size growth costs: 1 MiB
// written in small pieces (each write past the end is one realloc) against
// the same bytes in one write; and stream_copy through its 64 KiB buffer.
#include <benchmark/benchmark.h>

#include <string>

#include "kyr/kyr_stream.h"

namespace {

constexpr size_t kTotal = size_t{1} << 20;

void BM_memory_stream_pieces(benchmark::State& state) {
  const size_t piece = static_cast<size_t>(state.range(0));
  std::string bytes(piece, 'x');
  for (auto _ : state) {
    stream_t* s = new_memory_stream(nullptr);
    for (size_t done = 0; done < kTotal; done += piece) s->ops->write(s->ctx, bytes.data(), piece);
    benchmark::DoNotOptimize(memory_stream_get_memory(s));
    delete_stream(s);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kTotal));
}
BENCHMARK(BM_memory_stream_pieces)->Arg(1)->Arg(16)->Arg(256)->Arg(kTotal);

void BM_stream_copy_memory(benchmark::State& state) {
  svec src_v = svec_alloc(16 * kTotal, 1);
  for (auto _ : state) {
    stream_t* src = new_memory_stream(&src_v);
    stream_t* dst = new_memory_stream(nullptr);
    benchmark::DoNotOptimize(stream_copy(src, dst));
    delete_stream(src);
    delete_stream(dst);
  }
  svec_free(&src_v);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * 16 * kTotal));
}
BENCHMARK(BM_stream_copy_memory)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
