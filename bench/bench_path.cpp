// Path lookups: var_find_rawpath at depth 1 to 8 through objects of 4 to 64
// members and through arrays of as many slots, against the same lookups made
// step by step without a path, against rapidjson's pointers (parsed from text
// on every call, and parsed once) and against cJSON's item lookups.
//
// Every level of a tree has `members` members or slots; the path follows the
// middle one, so an object scan, which runs newest first, passes half the
// members. The counter "step" is the time per path step.
#include <benchmark/benchmark.h>
#include <cjson/cJSON.h>
#include <rapidjson/document.h>
#include <rapidjson/pointer.h>

#include <string>
#include <vector>

#include "kyr/kyr_var_path.h"

namespace {

std::string key_of(int i) { return "member" + std::to_string(i); }

struct Shape {
  int depth, members;
  bool arrays;
  int middle() const { return members / 2; }
};

Shape shape_of(const benchmark::State& state, bool arrays) {
  return {static_cast<int>(state.range(0)), static_cast<int>(state.range(1)), arrays};
}

void count_steps(benchmark::State& state, const Shape& s) {
  state.counters["step"] = benchmark::Counter(
      s.depth, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// ------------------------------------------------------------ the trees

// Each level: `members` numbers, except the middle one, which holds the next
// level (a number at the last level).
var_t kyr_tree(const Shape& s) {
  var_t root = VAR_NULL;
  var_t* level = &root;
  for (int d = 0; d < s.depth; d++) {
    for (int m = 0; m < s.members; m++) {
      if (s.arrays)
        var_append(level, var_int_(m));
      else
        var_obj_addu(level, ustr_from_strn(key_of(m).c_str(), -1), var_int_(m));
    }
    // Taken after the level is full: growing a body moves it.
    level = var_get_value_at_index(level, s.middle());
  }
  return root;
}

void rj_tree(const Shape& s, rapidjson::Document* doc) {
  auto& alloc = doc->GetAllocator();
  rapidjson::Value* level = doc;
  for (int d = 0; d < s.depth; d++) {
    s.arrays ? level->SetArray() : level->SetObject();
    for (int m = 0; m < s.members; m++) {
      if (s.arrays) {
        level->PushBack(m, alloc);
      } else {
        rapidjson::Value k(key_of(m).c_str(), alloc);
        level->AddMember(k, m, alloc);
      }
    }
    level = s.arrays ? &(*level)[s.middle()] : &(*level)[key_of(s.middle()).c_str()];
  }
}

cJSON* cj_tree(const Shape& s) {
  cJSON* root = nullptr;
  cJSON* parent = nullptr;
  for (int d = 0; d < s.depth; d++) {
    cJSON* level = s.arrays ? cJSON_CreateArray() : cJSON_CreateObject();
    if (parent) {
      // Replace the parent's middle number by this level.
      s.arrays ? cJSON_ReplaceItemInArray(parent, s.middle(), level)
               : cJSON_ReplaceItemInObjectCaseSensitive(parent, key_of(s.middle()).c_str(), level);
    } else {
      root = level;
    }
    for (int m = 0; m < s.members; m++) {
      if (s.arrays)
        cJSON_AddItemToArray(level, cJSON_CreateNumber(m));
      else
        cJSON_AddNumberToObject(level, key_of(m).c_str(), m);
    }
    parent = level;
  }
  return root;
}

// ------------------------------------------------------------ the paths

std::string kyr_path(const Shape& s) {
  std::string p;
  for (int d = 0; d < s.depth; d++) {
    if (d) p += '.';
    p += s.arrays ? "[" + std::to_string(s.middle()) + "]" : key_of(s.middle());
  }
  return p;
}

std::string pointer_path(const Shape& s) {
  std::string p;
  for (int d = 0; d < s.depth; d++)
    p += "/" + (s.arrays ? std::to_string(s.middle()) : key_of(s.middle()));
  return p;
}

// ------------------------------------------------------------ benchmarks

void BM_kyr_path(benchmark::State& state, bool arrays) {
  Shape s = shape_of(state, arrays);
  var_t root = kyr_tree(s);
  std::string path = kyr_path(s);
  for (auto _ : state)
    benchmark::DoNotOptimize(var_find_rawpath(&root, path.data(), path.size()));
  if (var_get_type(*var_find_rawpath(&root, path.data(), path.size())) != VAR_TYPE_I32)
    state.SkipWithError("wrong place");
  count_steps(state, s);
  var_free(&root);
}

// The building road over a path that exists: what a caller pays for writing
// a deep value again.
void BM_kyr_of_path(benchmark::State& state, bool arrays) {
  Shape s = shape_of(state, arrays);
  var_t root = kyr_tree(s);
  std::string path = kyr_path(s);
  for (auto _ : state)
    benchmark::DoNotOptimize(var_of_rawpath(&root, path.data(), path.size(), VAR_NULL));
  count_steps(state, s);
  var_free(&root);
}

// The floor: the same steps through the container calls, no text to read.
void BM_kyr_steps(benchmark::State& state, bool arrays) {
  Shape s = shape_of(state, arrays);
  var_t root = kyr_tree(s);
  std::string key = key_of(s.middle());
  for (auto _ : state) {
    const var_t* v = &root;
    for (int d = 0; d < s.depth; d++)
      v = arrays ? var_get_value_at_index(v, s.middle())
                 : var_find_rawkey(v, key.data(), key.size());
    benchmark::DoNotOptimize(v);
  }
  count_steps(state, s);
  var_free(&root);
}

void BM_rapidjson_pointer_text(benchmark::State& state, bool arrays) {
  Shape s = shape_of(state, arrays);
  rapidjson::Document doc;
  rj_tree(s, &doc);
  std::string path = pointer_path(s);
  for (auto _ : state) {
    rapidjson::Pointer p(path.data(), path.size());
    benchmark::DoNotOptimize(p.Get(doc));
  }
  count_steps(state, s);
}

void BM_rapidjson_pointer_parsed(benchmark::State& state, bool arrays) {
  Shape s = shape_of(state, arrays);
  rapidjson::Document doc;
  rj_tree(s, &doc);
  rapidjson::Pointer p(pointer_path(s).c_str());
  for (auto _ : state) benchmark::DoNotOptimize(p.Get(doc));
  count_steps(state, s);
}

void BM_cjson_steps(benchmark::State& state, bool arrays) {
  Shape s = shape_of(state, arrays);
  cJSON* root = cj_tree(s);
  std::string key = key_of(s.middle());
  for (auto _ : state) {
    const cJSON* v = root;
    for (int d = 0; d < s.depth; d++)
      v = arrays ? cJSON_GetArrayItem(v, s.middle())
                 : cJSON_GetObjectItemCaseSensitive(v, key.c_str());
    benchmark::DoNotOptimize(v);
  }
  count_steps(state, s);
  cJSON_Delete(root);
}

void shapes(benchmark::internal::Benchmark* b) {
  for (int members : {4, 16, 64})
    for (int depth : {1, 2, 4, 8}) b->Args({depth, members});
  b->ArgNames({"depth", "members"});
}

#define PATH_BENCH(fn)                                         \
  BENCHMARK_CAPTURE(fn, object, false)->Apply(shapes);         \
  BENCHMARK_CAPTURE(fn, array, true)->Apply(shapes)

PATH_BENCH(BM_kyr_path);
PATH_BENCH(BM_kyr_of_path);
PATH_BENCH(BM_kyr_steps);
PATH_BENCH(BM_rapidjson_pointer_text);
PATH_BENCH(BM_rapidjson_pointer_parsed);
PATH_BENCH(BM_cjson_steps);

}  // namespace

BENCHMARK_MAIN();
