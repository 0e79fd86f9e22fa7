#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include <kyr/kyr_core.h>

namespace {

const std::string kData = KYR_TEST_DATA_DIR "/json/";

// The compact text of a tree, or "code message" of an error value; the value
// is released.
std::string result(var_t v) {
  std::string out;
  if (var_get_type(v) == VAR_TYPE_ERROR) {
    auto* info = reinterpret_cast<VAR_ERR_INFO*>(static_cast<uintptr_t>(v & VAR_PAYLOAD_MASK));
    out = std::to_string(info->code) + " " + var_get_error_message(&v);
  } else {
    ustr s = var_to_json(&v, 0);
    out.assign(s ? s : "", svec_length(s));
    svec_free(&s);
  }
  var_free(&v);
  return out;
}

// var_json_file_ over a file of the given bytes.
std::string read_bytes(const std::string& bytes, u8_t as_f32 = 0) {
  std::string path = std::string(KYR_TEST_BINARY_DIR) + "/json_file.json";
  FILE* f = std::fopen(path.c_str(), "wb");
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
  return result(var_json_file_(path.c_str(), as_f32));
}

TEST(JsonFile, EveryEncodingGivesTheSameTree) {
  const std::string doc = R"({"city":"Zürich","tokyo":"東京","smile":"😀",)"
                          R"("list":[1,-2,3.500000,true,null],"nested":{"empty":[]}})";
  for (const char* name : {"doc_utf8.json", "doc_utf8_bom.json", "doc_utf16le_bom.json",
                           "doc_utf16be_bom.json", "doc_utf32le_bom.json",
                           "doc_utf32be_bom.json"}) {
    EXPECT_EQ(result(var_json_file_((kData + name).c_str(), 0)), doc) << name;
    stream_t in;
    ASSERT_NE(stream_open_file(&in, (kData + name).c_str(), "rb"), nullptr);
    EXPECT_EQ(result(var_json_stream_(&in, 0)), doc) << name;
    in.ops->close(in.ctx);
  }
  // Unmarked text that isn't UTF-8 comes from the active code page.
  EXPECT_EQ(result(var_json_file_((kData + "doc_cp1252.json").c_str(), 0)),
            R"({"city":"Zürich","tokyo":"Tokyo","smile":"¡hola!",)"
            R"("list":[1,-2,3.500000,true,null],"nested":{"empty":[]}})");
  EXPECT_EQ(read_bytes("[1.5]", 1), "[1.5]");                   // as_f32 reaches the reader
  EXPECT_EQ(read_bytes(std::string("[1,2]\0[3", 8)), "[1,2]");  // the first NUL ends the text
  EXPECT_EQ(read_bytes(" \n"), "null");
}

TEST(JsonFile, FilesWithoutTextAreErrors) {
  const std::string cannot = "-600 Cannot read file";
  EXPECT_EQ(result(var_json_file_(nullptr, 0)), cannot);
  EXPECT_EQ(result(var_json_file_((kData + "no_such_file.json").c_str(), 0)), cannot);
  EXPECT_EQ(result(var_json_file_(kData.c_str(), 0)), cannot);  // a directory
  EXPECT_EQ(read_bytes(""), cannot);
  for (std::string mark : {std::string("\xEF\xBB\xBF"), std::string("\xFF\xFE"),
                           std::string("\xFE\xFF"), std::string("\xFF\xFE\0\0", 4),
                           std::string("\0\0\xFE\xFF", 4)})
    EXPECT_EQ(read_bytes(mark), cannot);
  // A stray high surrogate decodes the whole text to nothing.
  EXPECT_EQ(read_bytes(std::string("\xFF\xFE[\0\x00\xD8]\0", 8)), cannot);
  // The reader's own failures pass through.
  EXPECT_EQ(read_bytes("[012]"), "-507 Syntax error");
  EXPECT_EQ(read_bytes("[nul]"), "-508 Unexpected token");
}

// A stream that claims 100 bytes and delivers 3.
const stream_ops_t kShortOps = {
    [](void*, i64_t, i32_t) -> i32_t { return 0; },
    [](void*, void* buf, u64_t n) -> i64_t {
      u64_t k = n < 3 ? n : 3;
      std::memcpy(buf, "[1]", k);
      return static_cast<i64_t>(k);
    },
    nullptr, nullptr, [](void*) -> i64_t { return 100; }, nullptr};

TEST(JsonFile, StreamsWithoutTextAreErrors) {
  EXPECT_EQ(result(var_json_stream_(nullptr, 0)), "-301 Stream cannot be NULL");
  const std::string empty = "-600 Empty data";
  stream_t* s = new_memory_stream(nullptr);
  EXPECT_EQ(result(var_json_stream_(s, 0)), empty);
  s->ops->write(s->ctx, "\xFE\xFF", 2);  // a mark and nothing behind it
  s->ops->seek(s->ctx, 0, KYR_SEEK_SET);
  EXPECT_EQ(result(var_json_stream_(s, 0)), empty);
  delete_stream(s);
  stream_t short_reads = {&kShortOps, nullptr};
  EXPECT_EQ(result(var_json_stream_(&short_reads, 0)), empty);
}

}  // namespace
