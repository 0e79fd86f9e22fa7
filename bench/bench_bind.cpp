// Struct binding: a parsed image header (an NV12 frame, two planes) bound
// into a KYR_IMAGE through KYR_IMAGE_typeinfo, against the same fields read
// by hand-written code: over the same variant tree (var_find_rawkey and the
// conversions), over a rapidjson document and over a cJSON tree. Every
// contender fills the same 13 scalar fields from a tree parsed once.
//
// Counters: the time per bind is the iteration time; "field" is the time per
// scalar field filled.
#include <benchmark/benchmark.h>
#include <cjson/cJSON.h>
#include <rapidjson/document.h>

#include <cstring>
#include <string>

#include "kyr/kyr_digits.h"
#include "kyr/kyr_image.h"
#include "kyr/kyr_json.h"
#include "kyr/kyr_var_bind.h"
#include "kyr/kyr_var_conv.h"

namespace {

constexpr int kFields = 3 + 2 * 5;  // pf, bsz, pc; per plane w, h, x, y, o

const char kShortKeys[] = R"({"pf": "NV12", "bsz": 460800, "pc": 2, "pl": [
  {"sz": {"w": 640, "h": 480}, "d": [1, 640], "o": 0},
  {"sz": {"w": 320, "h": 240}, "d": [2, 640], "o": 307200}]})";

const char kNames[] = R"({"pixel_format": "NV12", "buffer_size": 460800, "plane_count": 2,
  "planes": [
  {"size": {"width": 640, "height": 480}, "stride": [1, 640], "data": 0},
  {"size": {"width": 320, "height": 240}, "stride": [2, 640], "data": 307200}]})";

void count_fields(benchmark::State& state) {
  state.counters["field"] = benchmark::Counter(
      kFields, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

bool check(benchmark::State& state, const KYR_IMAGE& img) {
  bool ok = img.pixel_format == KYR_PF_NV12 && img.buffer_size == 460800 &&
            img.plane_count == 2 && img.planes[1].size.width == 320 &&
            img.planes[1].stride.x == 2 && img.planes[1].data == 307200;
  if (!ok) state.SkipWithError("fields differ");
  return ok;
}

// ------------------------------------------------------------ binding

void BM_bind(benchmark::State& state, const char* text) {
  var_t tree = var_json_(text, std::strlen(text), 0);
  KYR_IMAGE img{};
  for (auto _ : state) {
    benchmark::DoNotOptimize(var_obj_read(&img, tree, &KYR_IMAGE_typeinfo));
    benchmark::ClobberMemory();
  }
  check(state, img);
  count_fields(state);
  var_free(&tree);
}
BENCHMARK_CAPTURE(BM_bind, short_keys, kShortKeys);
BENCHMARK_CAPTURE(BM_bind, names, kNames);

// ------------------------------------------------------------ by hand, variants

const var_t* key(const var_t* v, const char* k) { return var_find_rawkey(v, k, std::strlen(k)); }

void hand_i16(const var_t* v, i16_t* out) {
  i32_t x;
  if (v && var_to_i32p(v, &x)) *out = static_cast<i16_t>(x);
}

void BM_hand_var(benchmark::State& state) {
  var_t tree = var_json_(kShortKeys, std::strlen(kShortKeys), 0);
  KYR_IMAGE img{};
  for (auto _ : state) {
    if (const char* pf = var_get_str(key(&tree, "pf"))) img.pixel_format = fourcc_strn_(pf, 4);
    if (const var_t* v = key(&tree, "bsz")) var_to_u32p(v, &img.buffer_size);
    u32_t pc;
    if (const var_t* v = key(&tree, "pc"); v && var_to_u32p(v, &pc))
      img.plane_count = static_cast<u8_t>(pc);
    if (const var_t* pl = key(&tree, "pl")) {
      i64_t n = var_get_count(pl);
      for (i64_t i = 0; i < n && i < 4; ++i) {
        const var_t* p = var_get_value_at_index(pl, i);
        KYR_PXL_PLANE& plane = img.planes[i];
        if (const var_t* sz = key(p, "sz")) {
          hand_i16(key(sz, "w"), &plane.size.width);
          hand_i16(key(sz, "h"), &plane.size.height);
        }
        if (const var_t* d = key(p, "d")) {
          hand_i16(var_get_value_at_index(d, 0), &plane.stride.x);
          hand_i16(var_get_value_at_index(d, 1), &plane.stride.y);
        }
        if (const var_t* o = key(p, "o")) {
          i64_t x;
          if (var_to_i64p(o, &x)) plane.data = static_cast<intptr_t>(x);
        }
      }
    }
    benchmark::ClobberMemory();
  }
  check(state, img);
  count_fields(state);
  var_free(&tree);
}
BENCHMARK(BM_hand_var);

// ------------------------------------------------------------ by hand, peers

void BM_hand_rapidjson(benchmark::State& state) {
  rapidjson::Document doc;
  doc.Parse(kShortKeys);
  KYR_IMAGE img{};
  for (auto _ : state) {
    auto m = doc.FindMember("pf");
    if (m != doc.MemberEnd() && m->value.IsString())
      img.pixel_format = fourcc_strn_(m->value.GetString(), m->value.GetStringLength());
    if ((m = doc.FindMember("bsz")) != doc.MemberEnd() && m->value.IsUint())
      img.buffer_size = m->value.GetUint();
    if ((m = doc.FindMember("pc")) != doc.MemberEnd() && m->value.IsUint())
      img.plane_count = static_cast<u8_t>(m->value.GetUint());
    if ((m = doc.FindMember("pl")) != doc.MemberEnd() && m->value.IsArray()) {
      const auto& pl = m->value;
      for (rapidjson::SizeType i = 0; i < pl.Size() && i < 4; ++i) {
        const auto& p = pl[i];
        KYR_PXL_PLANE& plane = img.planes[i];
        auto sz = p.FindMember("sz");
        if (sz != p.MemberEnd() && sz->value.IsObject()) {
          auto w = sz->value.FindMember("w"), h = sz->value.FindMember("h");
          if (w != sz->value.MemberEnd() && w->value.IsInt())
            plane.size.width = static_cast<i16_t>(w->value.GetInt());
          if (h != sz->value.MemberEnd() && h->value.IsInt())
            plane.size.height = static_cast<i16_t>(h->value.GetInt());
        }
        auto d = p.FindMember("d");
        if (d != p.MemberEnd() && d->value.IsArray() && d->value.Size() >= 2) {
          plane.stride.x = static_cast<i16_t>(d->value[0].GetInt());
          plane.stride.y = static_cast<i16_t>(d->value[1].GetInt());
        }
        auto o = p.FindMember("o");
        if (o != p.MemberEnd() && o->value.IsInt64())
          plane.data = static_cast<intptr_t>(o->value.GetInt64());
      }
    }
    benchmark::ClobberMemory();
  }
  check(state, img);
  count_fields(state);
}
BENCHMARK(BM_hand_rapidjson);

void BM_hand_cjson(benchmark::State& state) {
  cJSON* doc = cJSON_Parse(kShortKeys);
  KYR_IMAGE img{};
  auto i16 = [](const cJSON* v, i16_t* out) {
    if (cJSON_IsNumber(v)) *out = static_cast<i16_t>(v->valueint);
  };
  for (auto _ : state) {
    const cJSON* v = cJSON_GetObjectItemCaseSensitive(doc, "pf");
    if (cJSON_IsString(v)) img.pixel_format = fourcc_strn_(v->valuestring, 4);
    if (cJSON_IsNumber(v = cJSON_GetObjectItemCaseSensitive(doc, "bsz")))
      img.buffer_size = static_cast<u32_t>(v->valuedouble);
    if (cJSON_IsNumber(v = cJSON_GetObjectItemCaseSensitive(doc, "pc")))
      img.plane_count = static_cast<u8_t>(v->valueint);
    const cJSON* pl = cJSON_GetObjectItemCaseSensitive(doc, "pl");
    int i = 0;
    for (const cJSON* p = pl ? pl->child : nullptr; p && i < 4; p = p->next, ++i) {
      KYR_PXL_PLANE& plane = img.planes[i];
      const cJSON* sz = cJSON_GetObjectItemCaseSensitive(p, "sz");
      i16(cJSON_GetObjectItemCaseSensitive(sz, "w"), &plane.size.width);
      i16(cJSON_GetObjectItemCaseSensitive(sz, "h"), &plane.size.height);
      const cJSON* d = cJSON_GetObjectItemCaseSensitive(p, "d");
      i16(cJSON_GetArrayItem(d, 0), &plane.stride.x);
      i16(cJSON_GetArrayItem(d, 1), &plane.stride.y);
      if (cJSON_IsNumber(v = cJSON_GetObjectItemCaseSensitive(p, "o")))
        plane.data = static_cast<intptr_t>(v->valuedouble);
    }
    benchmark::ClobberMemory();
  }
  check(state, img);
  count_fields(state);
  cJSON_Delete(doc);
}
BENCHMARK(BM_hand_cjson);

}  // namespace

BENCHMARK_MAIN();
