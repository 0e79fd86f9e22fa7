// var_iter.cpp - VAR_IT, the caller's depth-first tree walker.
//
// The stack of open containers lives in the record's own `frames` svec, so the
// walk needs no recursion and the caller can stop at any point (releasing
// `frames` with svec_free).
#include "var/var_internal.h"

using namespace kyr;

namespace {

constexpr uint16_t kFrameSize = sizeof(VAR_FRAME);

VAR_FRAME* top_frame(VAR_IT* it) {
  return static_cast<VAR_FRAME*>(svec_get(it->frames, -1));
}

// The current frame's member, or null in an array frame or out of range.
VAR_MEMBER* current_member(VAR_IT* it) {
  VAR_FRAME* f = top_frame(it);
  if (!f || f->kind != VAR_TYPE_OBJECT || f->index < 0 || f->index >= f->count)
    return nullptr;
  return static_cast<VAR_MEMBER*>(f->body) + f->index;
}

}  // namespace

extern "C" {

KYR_API VAR_IT* VAR_IT_Init(VAR_IT* it, const var_t* root) {
  it->root = const_cast<var_t*>(root);
  it->frames = nullptr;
  it->state = VAR_IT_START;
  return it;
}

KYR_API bool VAR_IT_Next(VAR_IT* it) {
  var_t* value;
  if (it->state == VAR_IT_START) {
    value = it->root;
  } else if (!it->frames) {
    it->state = VAR_IT_DONE;
    return false;
  } else {
    VAR_FRAME* f = top_frame(it);
    if (++f->index >= f->count) {
      it->state = f->kind == VAR_TYPE_OBJECT ? VAR_IT_OBJECT_END : VAR_IT_ARRAY_END;
      svec_delete(&it->frames, -1, 1);
      return true;
    }
    value = f->kind == VAR_TYPE_OBJECT
                ? &static_cast<VAR_MEMBER*>(f->body)[f->index].value
                : &static_cast<var_t*>(f->body)[f->index];
  }
  var_t w = *value;
  bool object = is_object(w);
  if (!object && !is_array(w)) {
    it->state = VAR_IT_VALUE;
    return true;
  }
  if (!payload(w)) {
    it->state = VAR_IT_EMPTY;
    return true;
  }
  void* body = payload_ptr<void>(w);
  auto* f = static_cast<VAR_FRAME*>(svec_append(&it->frames, 1, kFrameSize));
  f->body = body;
  f->index = -1;
  f->count = static_cast<int64_t>(svec_len(body));
  f->kind = object ? VAR_TYPE_OBJECT : VAR_TYPE_ARRAY;
  it->state = object ? VAR_IT_OBJECT_BEGIN : VAR_IT_ARRAY_BEGIN;
  return true;
}

KYR_API var_t* VAR_IT_Get(VAR_IT* it, ustr* key) {
  VAR_FRAME* f = top_frame(it);
  if (!f) return it->root;
  if (f->index < 0 || f->index >= f->count) return nullptr;
  if (f->kind == VAR_TYPE_ARRAY) {
    if (key) svec_free(key);
    return &static_cast<var_t*>(f->body)[f->index];
  }
  VAR_MEMBER* m = static_cast<VAR_MEMBER*>(f->body) + f->index;
  if (key && *key != m->key) {
    svec_free(key);
    *key = static_cast<ustr>(svec_share(m->key));
  }
  return &m->value;
}

KYR_API ustr VAR_IT_GetKey(VAR_IT* it) {
  VAR_MEMBER* m = current_member(it);
  return m ? static_cast<ustr>(svec_share(m->key)) : nullptr;
}

}  // extern "C"
