// Struct binding: image headers through KYR_IMAGE_typeinfo in both forms,
// the count accessor (clamping, moving the destination), base parts, trees
// of the wrong shape, and input nested far deeper than the machine stack.
// Records start filled with a byte pattern and are compared whole, so any
// byte written that shouldn't be shows.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "kyr/kyr_image.h"
#include "kyr/kyr_json.h"
#include "kyr/kyr_var_bind.h"
#include "var/var_bind_internal.h"

namespace {

struct Tree {  // a document, released on scope exit
  var_t v;
  explicit Tree(const std::string& json) : v(var_json_(json.data(), json.size(), 0)) {}
  explicit Tree(var_t w) : v(w) {}
  ~Tree() { var_free(&v); }
};

template <typename T>
T filled() {
  T t;
  std::memset(&t, 0xA5, sizeof t);
  return t;
}
#define EXPECT_SAME(a, b) EXPECT_EQ(0, std::memcmp(&(a), &(b), sizeof(a)))

void add(var_t* obj, const char* key, var_t value) {
  var_obj_addu(obj, ustr_from_strn(key, ~u64_t{0}), value);
}

}  // namespace

TEST(VarBind, ImageHeaderBindsByShortKeyOrName) {
  Tree by_key(R"({"pf": "NV12", "bsz": 6144, "pc": 2, "pl": [
      {"sz": {"w": 64, "h": 64}, "d": [1, 64], "o": 0},
      {"sz": [32, 32], "d": {"x": 2, "y": 64}, "o": 4096}]})");
  Tree by_name(R"({"pixel_format": "NV12", "buffer_size": 6144, "plane_count": 2,
      "planes": [{"size": {"width": 64, "height": 64}, "stride": [1, 64], "data": 0},
                 {"size": [32, 32], "stride": {"x": 2, "y": 64}, "data": 4096}]})");
  KYR_IMAGE want = filled<KYR_IMAGE>();
  want.pixel_format = KYR_PF_NV12;
  want.buffer_size = 6144;
  want.plane_count = 2;
  want.flags = want.unused[0] = want.unused[1] = 0;  // the 4-byte "pc"
  want.planes[0].size = {64, 64};
  want.planes[0].stride = {1, 64};
  want.planes[0].data = 0;
  want.planes[1].size = {32, 32};
  want.planes[1].stride = {2, 64};
  want.planes[1].data = 4096;
  for (const Tree* t : {&by_key, &by_name}) {
    KYR_IMAGE img = filled<KYR_IMAGE>();
    // pf (taken by its callback), bsz and pc; the planes are nested records.
    EXPECT_EQ(var_obj_read(&img, t->v, &KYR_IMAGE_typeinfo), 3u);
    EXPECT_SAME(img, want);
  }
}

TEST(VarBind, KeyChoiceAndOrder) {
  // The short key wins over the name, wherever each stands.
  Tree both(R"({"pixel_format": "BGRA", "pf": "RGBA"})");
  KYR_IMAGE img{};
  var_obj_read(&img, both.v, &KYR_IMAGE_typeinfo);
  EXPECT_EQ(img.pixel_format, KYR_PF_RGBA);

  // Of two equal keys the older member wins (lookups elsewhere take the newer).
  Tree dup(VAR_EMPTY_OBJECT);
  add(&dup.v, "x", var_int_(1));
  add(&dup.v, "x", var_int_(2));
  vec2_i16 v{0, 0};
  EXPECT_EQ(var_obj_read(&v, dup.v, &vec2_i16_typeinfo), 1u);
  EXPECT_EQ(v.x, 1);

  // Schema keys pass the text gate: one in the code page finds the name in
  // UTF-8, and the empty name is the null key.
  const typeinfo_member_t rows[] = {
      {"\xE9t\xE9", VAR_TYPE_I32, 4, 0, 0, 0, {nullptr}, nullptr, nullptr},
      {"", VAR_TYPE_I32, 4, 4, 0, 0, {nullptr}, nullptr, nullptr}};
  const typeinfo_t gated = {"gated", 8, 2, rows, nullptr, nullptr};
  Tree doc(R"({"\u00e9t\u00e9": 7})");
  var_member_of_rawkey(&doc.v, "", 0)->value = var_int_(8);
  i32_t out[2] = {0, 0};
  EXPECT_EQ(var_obj_read(out, doc.v, &gated), 2u);
  EXPECT_EQ(out[0], 7);
  EXPECT_EQ(out[1], 8);
}

TEST(VarBind, PlaneAccessorKeepsCountsWithinTheRecord) {
  struct Guarded {
    uint8_t front[32];
    KYR_IMAGE img;
    uint8_t back[64];
  };
  for (int n : {0, 2, 4, 6, 7}) {
    SCOPED_TRACE(n);
    std::string planes;
    for (int i = 0; i < n; ++i) planes += std::string(i ? "," : "") + R"({"o": 64})";
    Tree t(R"({"pc": 9, "pl": [)" + planes + "]}");
    Guarded g = filled<Guarded>();
    Guarded want = g;
    want.img.plane_count = static_cast<u8_t>(n < 4 ? n : 4);
    want.img.flags = want.img.unused[0] = want.img.unused[1] = 0;
    for (int i = 0; i < want.img.plane_count; ++i) want.img.planes[i].data = 64;
    var_obj_read(&g.img, t.v, &KYR_IMAGE_typeinfo);
    EXPECT_SAME(g, want);
  }

  // Not an array: one plane is read and the accessor isn't asked.
  Tree one(R"({"pl": {"sz": [3, 4]}})");
  KYR_IMAGE img = filled<KYR_IMAGE>();
  KYR_IMAGE want = img;
  want.planes[0].size = {3, 4};
  var_obj_read(&img, one.v, &KYR_IMAGE_typeinfo);
  EXPECT_SAME(img, want);

  // "pc" writes the 4 bytes from plane_count on, flags included.
  Tree pc(R"({"pc": 32771})");  // 0x8003
  EXPECT_EQ(var_obj_read(&img, pc.v, &KYR_IMAGE_typeinfo), 1u);
  EXPECT_EQ(img.plane_count, 3);
  EXPECT_EQ(img.flags, KYR_IMAGE_OWNS_BUFFER);
}

TEST(VarBind, WrongShapesLeaveTheRecordAlone) {
  // Values that are no record; fields of the wrong shape (text for a nested
  // record, containers for scalars) with only the accessor's count stored.
  const char* docs[] = {"12", "\"RGBA\"", "null", "true", "1.5", "{}", "[]",
                        R"({"bsz": [1], "pc": {"n": 2}, "pl": [{"sz": "big", "d": 7, "o": [1]}]})"};
  for (const char* text : docs) {
    SCOPED_TRACE(text);
    Tree t(text);
    KYR_IMAGE img = filled<KYR_IMAGE>();
    KYR_IMAGE want = img;
    if (text[0] == '{' && text[1] != '}') want.plane_count = 1;  // the accessor's count
    EXPECT_EQ(var_obj_read(&img, t.v, &KYR_IMAGE_typeinfo), 0u);
    EXPECT_SAME(img, want);
  }
  Tree ok(R"({"x": 1})");
  vec2_i16 v{5, 5};
  EXPECT_EQ(var_obj_read(nullptr, ok.v, &vec2_i16_typeinfo), 0u);
  EXPECT_EQ(var_obj_read(&v, ok.v, nullptr), 0u);
  EXPECT_EQ(v.x, 5);
}

TEST(VarBind, ArraysBindByPosition) {
  vec3_f32 v{9, 9, 9};
  Tree two("[1, 2]"), five("[4, 5, 6, 7, 8]"), obj(R"({"x": 3})");
  EXPECT_EQ(var_obj_read(&v, two.v, &vec3_f32_typeinfo), 2u);
  EXPECT_EQ(v.x + v.y + v.z, 1.0f + 2.0f + 9.0f);
  EXPECT_EQ(var_obj_read(&v, five.v, &vec3_f32_typeinfo), 3u);
  EXPECT_EQ(v.z, 6.0f);

  // An element that doesn't convert keeps its row as it was.
  size2_i16 s{1, 1};
  Tree mixed("[null, 300, 4]");
  EXPECT_EQ(var_obj_read(&s, mixed.v, &size2_i16_typeinfo), 1u);
  EXPECT_EQ(s.width, 1);
  EXPECT_EQ(s.height, 300);

  // Each internal form takes its own shape only.
  EXPECT_EQ(kyr::var_read_tuple(&v, obj.v, &vec3_f32_typeinfo), 0u);
  EXPECT_EQ(kyr::var_read_fields(&v, five.v, &vec3_f32_typeinfo), 0u);
  EXPECT_EQ(kyr::var_read_fields(&v, obj.v, &vec3_f32_typeinfo), 1u);
  EXPECT_EQ(v.x, 3.0f);
}

namespace {

// Nodes whose children live in a pool that the accessor hands out: the
// destination moves, and the schema nests as deep as the input does.
struct Node {
  i32_t value;
  u32_t kid_count;
  Node* kids;
};
std::vector<Node>* g_pool;

u64_t node_kids(void* record, u64_t count, void** dst) {
  auto* node = static_cast<Node*>(record);
  size_t first = g_pool->size();
  count = std::min<u64_t>(count, g_pool->capacity() - first);
  g_pool->resize(first + count, Node{0, 0, nullptr});
  node->kid_count = static_cast<u32_t>(count);
  *dst = node->kids = g_pool->data() + first;
  return count;
}

extern const typeinfo_t node_typeinfo;
const typeinfo_member_t node_rows[] = {
    {"value", VAR_TYPE_I32, 4, offsetof(Node, value), 0, 0, {nullptr}, nullptr, "v"},
    {"kids", VAR_TYPE_OBJECT, sizeof(Node), offsetof(Node, kids), 0, 0, {&node_typeinfo},
     node_kids, "k"}};
const typeinfo_t node_typeinfo = {"Node", sizeof(Node), 2, node_rows, nullptr, nullptr};

}  // namespace

TEST(VarBind, AccessorMovesTheDestinationAtAnyDepth) {
  std::vector<Node> pool;
  pool.reserve(16);
  g_pool = &pool;
  Tree small(R"({"v": 1, "k": [{"v": 2}, {"v": 3, "k": [{"v": 4}]}]})");
  Node root{0, 0, nullptr};
  EXPECT_EQ(var_obj_read(&root, small.v, &node_typeinfo), 1u);  // nested don't count
  ASSERT_EQ(root.kid_count, 2u);
  EXPECT_EQ(root.kids[1].value, 3);
  ASSERT_EQ(root.kids[1].kid_count, 1u);
  EXPECT_EQ(root.kids[1].kids[0].value, 4);

  // A chain 200000 levels deep: the binder's stack is its own.
  const int depth = 200000;
  pool.clear();
  pool.reserve(depth);
  Tree chain(VAR_EMPTY_OBJECT);
  var_t* level = &chain.v;
  for (int i = 0; i < depth; ++i) {
    add(level, "v", var_int_(i));
    if (i + 1 < depth) {
      var_t* kids = var_obj_addu(level, ustr_from_strn("k", 1), VAR_EMPTY_ARRAY);
      level = var_append(kids, VAR_EMPTY_OBJECT);
    }
  }
  var_obj_read(&root, chain.v, &node_typeinfo);
  const Node* n = &root;
  int seen = 0;
  for (; n->kid_count == 1; n = n->kids) ++seen;
  EXPECT_EQ(seen, depth - 1);
  EXPECT_EQ(n->value, depth - 1);
  g_pool = nullptr;

  // An accessor that answers more than it was given gets no more elements
  // than the array holds.
  struct Pair {
    i32_t v[2];
    i32_t guard;
  } p{{0, 0}, -1};
  auto greedy = [](void*, u64_t, void**) -> u64_t { return ~u64_t{0}; };
  const typeinfo_member_t rows[] = {{"v", VAR_TYPE_I32, 4, 0, 0, 2, {nullptr}, greedy, nullptr}};
  const typeinfo_t pair = {"Pair", sizeof(Pair), 1, rows, nullptr, nullptr};
  Tree t(R"({"v": [1, 2]})");
  EXPECT_EQ(var_obj_read(&p, t.v, &pair), 2u);
  EXPECT_EQ(p.v[1], 2);
  EXPECT_EQ(p.guard, -1);
}

namespace {

struct Derived {
  i32_t own;
  u8_t pad[4];
  vec2_i16 base_part;
};
const void* g_seen_type;

void* base_of(void* record, var_t, const typeinfo_t* type) {
  g_seen_type = type;
  return &static_cast<Derived*>(record)->base_part;
}

}  // namespace

TEST(VarBind, BasePartIsFilledThroughGetBase) {
  const typeinfo_member_t rows[] = {{"own", VAR_TYPE_I32, 4, 0, 0, 0, {nullptr}, nullptr, nullptr}};
  const typeinfo_t derived = {"Derived", sizeof(Derived), 1, rows, &vec2_i16_typeinfo, base_of};
  Tree t(R"({"x": 3, "y": 4, "own": 5})");
  Derived d{};
  EXPECT_EQ(var_obj_read(&d, t.v, &derived), 3u);  // base rows count too
  EXPECT_EQ(d.own, 5);
  EXPECT_EQ(d.base_part.y, 4);
  EXPECT_EQ(g_seen_type, &derived);

  // Without get_base the base part starts the record; a null base is skipped.
  const typeinfo_t at_start = {"AtStart", sizeof(Derived), 1, rows, &vec2_i16_typeinfo, nullptr};
  Tree only_base(R"({"x": 7, "y": 8})");
  d = Derived{};
  EXPECT_EQ(var_obj_read(&d, only_base.v, &at_start), 2u);
  EXPECT_EQ(d.own, 7 | (8 << 16));
  auto nowhere = [](void*, var_t, const typeinfo_t*) -> void* { return nullptr; };
  const typeinfo_t lost = {"Lost", sizeof(Derived), 1, rows, &vec2_i16_typeinfo, nowhere};
  EXPECT_EQ(var_obj_read(&d, only_base.v, &lost), 0u);

  // The positional form ignores the base.
  Tree arr("[9, 10]");
  d = Derived{};
  EXPECT_EQ(var_obj_read(&d, arr.v, &derived), 1u);
  EXPECT_EQ(d.own, 9);
  EXPECT_EQ(d.base_part.x, 0);
}

TEST(VarBind, TextFieldsAndRttiScalars) {
  // A text row stores a new string that the record owns.
  ustr name = nullptr;
  const typeinfo_member_t rows[] = {{"name", VAR_TYPE_USTR, 8, 0, 0, 0, {nullptr}, nullptr, "n"}};
  const typeinfo_t named = {"Named", sizeof(ustr), 1, rows, nullptr, nullptr};
  Tree t(R"({"n": "a longer name"})");
  EXPECT_EQ(var_obj_read(&name, t.v, &named), 1u);
  EXPECT_STREQ(name, "a longer name");
  EXPECT_NE(name, var_get_str(var_find_rawkey(&t.v, "n", 1)));
  svec_free(&name);

  // var_to_struct: scalars only, with the record's callback for text.
  fourcc_t code = 0;
  var_t num = var_uint_(0x41424344), text = var_str_("YV12", true);
  EXPECT_EQ(var_to_struct(&num, &code, &fourcc_t_rtti), 1u);
  EXPECT_EQ(code, 0x41424344u);
  EXPECT_EQ(var_to_struct(&text, &code, &fourcc_t_rtti), 1u);
  EXPECT_EQ(code, KYR_PF_YV12);
  KYR_IMAGE img = filled<KYR_IMAGE>();
  const KYR_IMAGE want = img;
  EXPECT_EQ(var_to_struct(&t.v, &img, &KYR_IMAGE_rtti), 0u);
  EXPECT_EQ(var_to_struct(&num, &img, nullptr), 0u);
  EXPECT_SAME(img, want);
}
