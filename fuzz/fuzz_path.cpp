// fuzz_path.cpp - the path walker on both roads over a fixed tree.
//
// The input is the path. It is copied into a block with exactly one byte
// behind the bound (the byte the contract keeps readable), so a read further
// out is caught by the sanitizer. Checks: looking changes nothing, gives an
// address inside the tree or null, ignores the byte at the bound, and equals
// the building road with the no-create sentinel; building on a fresh tree
// leaves a tree that releases cleanly.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "kyr/kyr_var_path.h"

namespace {

void set(var_t* obj, const char* key, var_t value) {
  var_member_of_rawkey(obj, key, std::strlen(key))->value = value;
}

// {a: {b: [1, {c: 2}, []], "k ]": {}}, list: [10, [20, 21]], n: 3,
//  s: "a longer string", "\xE9": 4, "\xC3\xA9": 5, e: []}
var_t build_tree() {
  var_t root = VAR_EMPTY_OBJECT;
  var_t* a = &var_member_of_rawkey(&root, "a", 1)->value;
  var_t* b = &var_member_of_rawkey(a, "b", 1)->value;
  var_append(b, var_int_(1));
  set(var_append(b, VAR_EMPTY_OBJECT), "c", var_int_(2));
  var_append(b, VAR_EMPTY_ARRAY);
  set(a, "k ]", VAR_EMPTY_OBJECT);
  var_t* list = &var_member_of_rawkey(&root, "list", 4)->value;
  var_append(list, var_int_(10));
  var_t* inner = var_append(list, VAR_EMPTY_ARRAY);
  var_append(inner, var_int_(20));
  var_append(inner, var_int_(21));
  set(&root, "n", var_int_(3));
  set(&root, "s", var_str_("a longer string", true));
  set(&root, "\xE9", var_int_(4));
  set(&root, "\xC3\xA9", var_int_(5));
  set(&root, "e", VAR_EMPTY_ARRAY);
  return root;
}

// Every value address of a tree, and a digest of everything a change could
// touch (events, keys, words).
uint64_t survey(const var_t* root, std::vector<const var_t*>* places) {
  uint64_t h = 1469598103934665603ull;
  auto mix = [&h](uint64_t x) { h = (h ^ x) * 1099511628211ull; };
  VAR_IT it;
  VAR_IT_Init(&it, root);
  while (VAR_IT_Next(&it)) {
    ustr key = nullptr;
    const var_t* v = VAR_IT_Get(&it, &key);
    mix(it.state);
    if (v && places) places->push_back(v);
    if (v) mix(*v);
    for (uint64_t i = 0; i < svec_length(key); i++) mix(static_cast<unsigned char>(key[i]));
    svec_free(&key);
  }
  return h;
}

// A growing index between a few thousand and the library's bound would cost
// gigabytes per run without finding anything new; such inputs only look.
bool asks_for_much(const char* path) {
  for (const char* p = std::strchr(path, '['); p; p = std::strchr(p + 1, '[')) {
    long long v = std::strtoll(p + 1, nullptr, 0);
    if (v > 4096 && v <= VAR_PATH_MAX_GROW_INDEX) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // A fresh tree each run: a tree kept across runs would hold its bodies only
  // through tagged words, which the leak checker can't read as pointers.
  var_t tree = build_tree();
  std::vector<const var_t*> places{&tree};
  const uint64_t digest = survey(&tree, &places);

  std::vector<char> path(data, data + size);
  path.push_back('1');  // readable, and a digit: reading it would change results
  const char* p = path.data();

  var_t* found = var_find_rawpath(&tree, p, size);
  if (found && std::find(places.begin(), places.end(), found) == places.end()) std::abort();
  path[size] = ']';
  if (var_find_rawpath(&tree, p, size) != found) std::abort();
  if (var_of_rawpath(&tree, p, size, VAR_PATH_NO_CREATE) != found) std::abort();
  if (survey(&tree, nullptr) != digest) std::abort();

  path[size] = 0;
  if (!asks_for_much(p)) {
    static const var_t initials[] = {VAR_NULL, var_int_(7), var_str_("ab", true)};
    if (var_t* made = var_of_rawpath(&tree, p, size, initials[size % 3])) {
      var_free(made);  // the place is the caller's to write
      *made = var_int_(1);
    }
    survey(&tree, nullptr);
  }
  var_free(&tree);
  return 0;
}
