// Trees of large texts are carved from chunks: their blocks must behave as
// separate svec blocks in every way a caller can reach.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <kyr/kyr_core.h>

#include "core/block_pool.h"
#include "core/svec_internal.h"
#include "var/json_read_internal.h"

namespace {

// About 300 KB: past the size from which the reader uses chunks, and more
// than one chunk of blocks.
std::string big_document(int items) {
  std::string s = "[";
  for (int i = 0; i < items; i++) {
    s += i ? "," : "";
    s += "{\"name\":\"item" + std::to_string(i) + "\",\"tags\":[\"a\",\"b\"],\"pos\":[" +
         std::to_string(i) + "," + std::to_string(i + 1) + "]}";
  }
  return s + "]";
}

std::string text_of(const var_t* v) {
  const char* s = var_get_str(v);
  return s ? std::string(s, svec_length(const_cast<char*>(s))) : std::string();
}

var_t* member(var_t* obj, const char* name) { return var_find_rawkey(obj, name, std::strlen(name)); }

TEST(BlockPool, BlocksOutliveTheirTreeAndMoveOutToGrow) {
  std::string text = big_document(6000);
  var_t tree = var_json_(text.data(), text.size(), 0);
  ASSERT_EQ(var_get_type(tree), VAR_TYPE_ARRAY);
  ASSERT_EQ(var_get_count(&tree), 6000);
  EXPECT_TRUE(kyr::pooled_svec_block(kyr::svec_header(var_get_str(member(var_of_index(&tree, 7, false), "name")))));

  // A string kept by reference and a subtree taken out survive the tree.
  ustr kept = static_cast<ustr>(svec_share(const_cast<char*>(var_get_str(member(var_of_index(&tree, 10, false), "name")))));
  var_t* slot = var_of_index(&tree, 20, false);
  var_t item = *slot;
  *slot = VAR_NULL;
  var_free(&tree);

  EXPECT_EQ(std::string(kept), "item10");
  EXPECT_EQ(text_of(member(&item, "name")), "item20");
  // Growing a pooled string or body moves it out of its chunk.
  ustr_cat_strn(&kept, "-more", 5);
  EXPECT_EQ(std::string(kept), "item10-more");
  EXPECT_FALSE(kyr::pooled_svec_block(kyr::svec_header(kept)));
  var_t* tags = member(&item, "tags");
  var_append(tags, var_uint_(7));
  ASSERT_EQ(var_get_count(tags), 3);
  EXPECT_EQ(text_of(var_of_index(tags, 1, false)), "b");
  // A shared pooled string copied for a private change.
  var_t* name = member(&item, "name");
  ustr shared = static_cast<ustr>(svec_share(const_cast<char*>(var_get_str(name))));
  svec_make_unique(&shared);
  EXPECT_EQ(std::string(shared), "item20");
  EXPECT_NE(static_cast<const void*>(shared), static_cast<const void*>(var_get_str(name)));

  svec_free(&shared);
  svec_free(&kept);
  var_free(&item);
}

TEST(BlockPool, SubtreesReleasedOnOtherThreads) {
  std::string text = big_document(8000);
  for (int round = 0; round < 3; round++) {
    var_t tree = var_json_(text.data(), text.size(), 0);
    ASSERT_EQ(var_get_type(tree), VAR_TYPE_ARRAY);
    // Every fourth item goes to one of four threads; the rest stays.
    std::vector<std::vector<var_t>> parts(4);
    for (int i = 0; i < 8000; i += 4) {
      var_t* slot = var_of_index(&tree, i, false);
      parts[(i / 4) % 4].push_back(*slot);
      *slot = VAR_NULL;
    }
    std::vector<std::thread> threads;
    for (auto& part : parts)
      threads.emplace_back([&part] {
        for (var_t& v : part) var_free(&v);
      });
    var_free(&tree);
    for (auto& t : threads) t.join();
  }
}

TEST(BlockPool, ChunksAndPlainBlocks) {
  const size_t small = kyr::svec_block_bytes(24, 1);
  std::vector<void*> early, late;
  void* big;
  {
    kyr::BlockPool pool;
    // Enough blocks for several chunks; a block too large for a chunk comes
    // from malloc.
    for (int i = 0; i < 30000; i++) {
      void* block = pool.alloc(small);
      std::memset(kyr::svec_write_header(block, 24, 1), 'x', 24);
      (i % 3 ? late : early).push_back(block);
    }
    big = pool.alloc(kyr::svec_block_bytes(kyr::kPoolBlockMax, 1));
    kyr::svec_write_header(big, kyr::kPoolBlockMax, 1);
    EXPECT_FALSE(kyr::pooled_svec_block(big));
    EXPECT_TRUE(kyr::pooled_svec_block(early.front()));
    // Released while the pool still carves: the chunks stay.
    for (void* block : early) kyr::release_svec_block(block);
  }
  void* plain = kyr::xmalloc(small);
  EXPECT_FALSE(kyr::pooled_svec_block(plain));
  std::free(plain);
  // Released after the pool is gone, in runs: the last release of each chunk
  // frees it (the leak checker sees any that stays).
  kyr::ChunkDrops drops;
  for (void* block : late) {
    EXPECT_EQ(std::memcmp(static_cast<char*>(block) + kyr::kSvecHeaderSize, "xxxx", 4), 0);
    drops.release(block);
  }
  drops.flush();
  kyr::release_svec_block(big);
}

// Small texts read with chunks give the same trees, also where values are
// replaced (and released) while the tree is built.
TEST(BlockPool, TreesFromChunksEqualPlainTrees) {
  const char* texts[] = {
      R"({"a": [1, "x", {"b": "c"}], "a": {"d": ["e", "f"]}, "g": "h" "i"})",
      R"([{"k": "v", "k": "w"}, [[], {}, ""], "t\u00e9xt", 'q' ])",
      R"({a: 1, b: [1, 2, 3], c: {a: "x", b: "y", a: "z"}})",
      R"({"u": "v",)",  // the text ends inside the object
  };
  for (const char* text : texts) {
    const char* end = text + std::strlen(text);
    var_t plain = VAR_NULL, chunked = VAR_NULL;
    const char* c1 = text;
    const char* c2 = text;
    int r1 = kyr::json::read_json(&plain, &c1, end, false, {SIZE_MAX, kyr::json::kBulkFrom});
    int r2 = kyr::json::read_json(&chunked, &c2, end, false, {0, kyr::json::kBulkFrom});
    EXPECT_EQ(r1, r2) << text;
    EXPECT_EQ(c1, c2) << text;
    ustr a = var_to_json(&plain, 0);
    ustr b = var_to_json(&chunked, 0);
    EXPECT_STREQ(a, b) << text;
    svec_free(&a);
    svec_free(&b);
    var_free(&plain);
    var_free(&chunked);
  }
}

TEST(BlockPool, FailedParseReleasesEverything) {
  std::string text = big_document(4000);
  text.pop_back();
  text += ",{\"name\" 1}]";  // a name without its colon, at the end of the text
  var_t v = var_json_(text.data(), text.size(), 0);
  EXPECT_EQ(var_get_type(v), VAR_TYPE_ERROR);
  var_free(&v);
}

}  // namespace
