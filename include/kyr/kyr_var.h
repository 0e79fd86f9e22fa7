/*
 * kyr_var.h - the variant value: one NaN-boxed 64-bit word, with arrays,
 * objects and the tree walker.
 *
 * The word (little-endian u64):
 *
 *   63 62........52 51..48 47..44 43..........32 31...........0
 *   +--+-----------+------+------+--------------+--------------+
 *   |s | 11 ones   | main | sub  | 0            | small payload|   main tag 0
 *   +--+-----------+------+------+--------------+--------------+
 *   |s | 11 ones   | main | 48-bit payload: text, number, address|  main 1..15
 *   +--+-----------+------+--------------------------------------+
 *
 *   (v & 0x7FFF_FFFF_FFFF_FFFF) <= 0x7FF0_0000_0000_0000: a double (code 21)
 *   main tag 0: the type code is the sub tag (0..15)
 *   main tag 1..15: the type code is 16 + main tag (17..31)
 *
 * Every double that isn't a NaN stands as its own bits; a NaN stored into a
 * var_t takes the kind its bits spell (0x7FF8000000000000 is a null text
 * reference). Short strings of up to 5 bytes live in the word, first byte
 * lowest, so the address of the var_t is the address of the text.
 *
 * Ownership: a word of a heap-owning kind (u64, i64, object, array, ustr,
 * error) is the one owner of what it points to; copying the word makes an
 * alias, not an owner. var_free releases a whole tree, iteratively, whatever
 * its depth. A value stored in a container belongs to it; a pointer to a slot
 * or member stays valid until the container next changes.
 *
 * Objects are insertion-ordered vectors of members searched linearly from the
 * newest backwards: meant for small member counts. Keys are ustr compared by
 * length and bytes; the newest of several equal keys wins every lookup.
 *
 * Threads: no shared state and no locks. A tree is used by one thread at a
 * time; key and string references are atomic and may be shared.
 */
#ifndef KYR_VAR_H
#define KYR_VAR_H

#include <string.h>

#include "kyr_ustr.h"

KYR_EXTERN_C_BEGIN

typedef u64_t var_t;

/* Type codes: what var_get_type returns, the member kinds of type records and
 * the targets of conversions. Codes without a constant have no kind. */
enum {
  VAR_TYPE_NULL = 0,
  VAR_TYPE_BOOL = 4,
  VAR_TYPE_U8 = 6,
  VAR_TYPE_I8 = 7,
  VAR_TYPE_U16 = 10,
  VAR_TYPE_I16 = 11,
  VAR_TYPE_F32 = 13,
  VAR_TYPE_U32 = 14,
  VAR_TYPE_I32 = 15,
  VAR_TYPE_SSTR = 17,
  VAR_TYPE_U48 = 18,
  VAR_TYPE_I48 = 19,
  VAR_TYPE_ANY = 20,
  VAR_TYPE_F64 = 21,
  VAR_TYPE_U64 = 22,
  VAR_TYPE_I64 = 23,
  VAR_TYPE_CSTR = 24,
  VAR_TYPE_OBJECT = 26,
  VAR_TYPE_ARRAY = 27,
  VAR_TYPE_USTR = 28,
  VAR_TYPE_ERROR = 30
};

/* Constant words and tag bases. */
#define VAR_NULL         ((var_t)0xFFF0010000000000ull)
#define VAR_FALSE        ((var_t)0x7FF0400000000000ull)
#define VAR_TRUE         ((var_t)0x7FF0400000000001ull)
#define VAR_TAG_F32      ((var_t)0x7FF0D00000000000ull)
#define VAR_TAG_U32      ((var_t)0x7FF0E00000000000ull)
#define VAR_TAG_I32      ((var_t)0x7FF0F00000000000ull)
#define VAR_TAG_SSTR     ((var_t)0x7FF1000000000000ull)
#define VAR_TAG_U48      ((var_t)0x7FF2000000000000ull)
#define VAR_TAG_I48      ((var_t)0x7FF3000000000000ull)
#define VAR_TAG_U64      ((var_t)0x7FF6000000000000ull)
#define VAR_TAG_I64      ((var_t)0x7FF7000000000000ull)
#define VAR_TAG_CSTR     ((var_t)0x7FF8000000000000ull)
#define VAR_TAG_OBJECT   ((var_t)0x7FFA000000000000ull)
#define VAR_TAG_ARRAY    ((var_t)0x7FFB000000000000ull)
#define VAR_TAG_USTR     ((var_t)0x7FFC000000000000ull)
#define VAR_TAG_ERROR    ((var_t)0x7FFE000000000000ull)
#define VAR_EMPTY_SSTR   VAR_TAG_SSTR
#define VAR_EMPTY_OBJECT VAR_TAG_OBJECT
#define VAR_EMPTY_ARRAY  VAR_TAG_ARRAY
#define VAR_PAYLOAD_MASK ((var_t)0x0000FFFFFFFFFFFFull)

/* Words of the kinds without an exported constructor, formed from the tag
 * constants (header-only helpers, not exported). */
static inline var_t var_bool_(bool b) { return b ? VAR_TRUE : VAR_FALSE; }
static inline var_t var_u32_(u32_t v) { return VAR_TAG_U32 | v; }
static inline var_t var_i32_(i32_t v) { return VAR_TAG_I32 | (u32_t)v; }
static inline var_t var_f32_(f32_t f) {
  u32_t bits;
  memcpy(&bits, &f, 4);
  return VAR_TAG_F32 | bits;
}
/* A NaN has no room in the encoding: it takes the kind its bits spell. */
static inline var_t var_f64_(f64_t d) {
  var_t w;
  memcpy(&w, &d, 8);
  return w;
}
static inline f64_t var_as_f64_bits(var_t w) {
  f64_t d;
  memcpy(&d, &w, 8);
  return d;
}

/* Element of an object body (24 bytes). */
typedef struct VAR_MEMBER {
  ustr key;       /* owning reference; null is a legal key */
  u64_t reserved; /* never written, never read */
  var_t value;    /* owned by the object */
} VAR_MEMBER;

/* Frame of the explicit stacks that walk a tree (32 bytes). */
typedef struct VAR_FRAME {
  void* body;   /* the array or object body walked */
  i64_t index;  /* current element; -1 before the first in the walker */
  i64_t count;  /* the body's length when the frame was made */
  u32_t kind;   /* VAR_TYPE_OBJECT or VAR_TYPE_ARRAY */
} VAR_FRAME;

/* The caller's tree walker, usually on its stack. */
typedef struct VAR_IT {
  var_t* root;  /* the value walked */
  svec frames;  /* svec of VAR_FRAME, innermost last; null when idle */
  u32_t state;  /* the last step's event, VAR_IT_* */
} VAR_IT;

enum {
  VAR_IT_START = 0,        /* nothing visited yet */
  VAR_IT_VALUE = 1,        /* on a value that isn't a container */
  VAR_IT_OBJECT_BEGIN = 2, /* entered a non-empty object */
  VAR_IT_OBJECT_END = 3,   /* left an object */
  VAR_IT_EMPTY = 4,        /* on an empty container; no frame pushed */
  VAR_IT_ARRAY_BEGIN = 5,  /* entered a non-empty array */
  VAR_IT_ARRAY_END = 6,    /* left an array */
  VAR_IT_DONE = 8          /* finished; VAR_IT_Next returned false */
};

/* ------------------------------------------------------------ values */

/* Type code 0..31 of any word. */
KYR_API u8_t var_get_type(var_t value);

/* Integers take the narrowest kind that holds them: u32, u48, then a u64
 * heap cell (unsigned); i32, i48, then an i64 heap cell (signed). */
KYR_API var_t var_uint_(u64_t value);
KYR_API var_t var_int_(i64_t value);

/* copy false: a text reference (kind 24) that borrows text, which the caller
 * keeps alive; null is allowed. copy true: up to 5 bytes become a short
 * string, longer text a ustr through the text gate; text must not be null. */
KYR_API var_t var_str_(const char* text, bool copy);

/* Short string of the first min(strlen, 5) bytes, cut even inside a UTF-8
 * sequence. */
KYR_API var_t var_sstr_(const char* text);

/* Formatted text: a short string up to 5 bytes, else a ustr. A failing
 * formatter gives the empty short string. */
KYR_API var_t var_printf_(const char* format, ...) KYR_PRINTF_FMT(1, 2);

/* Allocates `size` uninitialised bytes and makes *v the word with main tag
 * `main_tag` (use 6 or 7: var_free releases those with free) pointing at
 * them. Returns the block. */
KYR_API void* var_init_alloc(var_t* v, u8_t main_tag, u64_t size);

/* A new 8-byte heap cell holding value; no word is built. */
KYR_API u64_t* force_alloc_i64(u64_t value);

/* The text of a short string (the address passed in), text reference or
 * ustr (may be null); null for a null address or any other kind. */
KYR_API const char* var_get_str(const var_t* v);

/* Releases everything the value owns, the whole tree for containers, without
 * recursion. The word itself is left dangling. A null address is accepted. */
KYR_API void var_free(var_t* v);

/* var_free, then the word keeps its kind with an empty payload: 0.0, false,
 * 0, the empty string, array or object. A null address is accepted. */
KYR_API void var_clear(var_t* v);

/* ------------------------------------------------------------ containers */

/* Address of the member with `key` (newest first), added with a null value
 * when missing. A value that isn't an object is released and becomes one.
 * Consumes the key reference. v must not be null. */
KYR_API VAR_MEMBER* var_member_of_key(var_t* v, ustr key);

/* As var_member_of_key with the key as len raw bytes (no text gate, len 0
 * is the null key); nothing consumed. */
KYR_API VAR_MEMBER* var_member_of_rawkey(var_t* v, const char* key, u64_t len);

/* Address of the value of the newest member with the key, or null (v null,
 * not an object, empty, or not found). var_find_key consumes the key. */
KYR_API var_t* var_find_key(const var_t* v, ustr key);
KYR_API var_t* var_find_rawkey(const var_t* v, const char* key, u64_t len);

/* Address of the key field of member `index` (negative counts from the end),
 * or null for v null, a non-object or an index out of range. */
KYR_API ustr* var_get_key_at_index(const var_t* v, i64_t index);

/* Address of array slot `index` or of member `index`'s value, or null. */
KYR_API var_t* var_get_value_at_index(const var_t* v, i64_t index);

/* Appends value (ownership moves) and returns its slot. A value that isn't an
 * array is released and becomes one. */
KYR_API var_t* var_append(var_t* v, var_t value);

/* Adds a member without searching (the caller knows the key is new, or
 * accepts that the newer member shadows the older). A value that isn't an
 * object is overwritten WITHOUT release. Consumes key, takes value. */
KYR_API var_t* var_obj_addu(var_t* v, ustr key, var_t value);

/* Slot `index` of an array (negative counts from the end, clamped to 0).
 * With create, missing slots up to index are added as null; a value that is
 * neither array nor object becomes an array of one null slot and slot 0 is
 * returned. On an object, the member at index. */
KYR_API var_t* var_of_index(var_t* v, i64_t index, bool create);

/* Elements of an array or object; 0 for an empty one; -1 for other kinds. */
KYR_API i64_t var_get_count(const var_t* v);

/* Makes *v an array of count slots: shrinking frees the dropped values,
 * growing adds null slots; a non-array is released first. */
KYR_API void var_resize_arr(var_t* v, u64_t count);

/* Removes up to count elements from index (negative counts from the end),
 * releasing them. False for kinds other than array and object. */
KYR_API bool var_del_elem(var_t* v, i64_t index, u64_t count);

/* Renames member `index`; never creates a duplicate (false when another
 * member has the key). Consumes key. */
KYR_API bool var_set_key(var_t* v, i64_t index, ustr key);

/* Reverses an array in place; returns its length, 0 for non-arrays. */
KYR_API u64_t var_flip_arr(var_t* v);

/* ------------------------------------------------------------ walker */

/* Depth-first walk in storage order without recursion:
 *
 *   VAR_IT it;
 *   VAR_IT_Init(&it, &root);
 *   while (VAR_IT_Next(&it)) { ... it.state, VAR_IT_Get(&it, &key) ... }
 *
 * A caller that stops early releases it.frames with svec_free. */
KYR_API VAR_IT* VAR_IT_Init(VAR_IT* it, const var_t* root);
KYR_API bool VAR_IT_Next(VAR_IT* it);

/* Address of the current value (the container just left after an END
 * event), null right after entering a container. With a key variable, an
 * object member's key replaces what it held (new reference); in an array it
 * is released and set to null. */
KYR_API var_t* VAR_IT_Get(VAR_IT* it, ustr* key);

/* The current member's key as a new reference, or null. */
KYR_API ustr VAR_IT_GetKey(VAR_IT* it);

KYR_EXTERN_C_END

#endif /* KYR_VAR_H */
