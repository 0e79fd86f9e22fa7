/*
 * kyr_var_bind.h - struct binding: fill a plain record from a variant tree,
 * with a typeinfo_t (kyr_rtti.h) as the schema.
 *
 * Binding is forgiving by rule: a field that the tree doesn't name, or whose
 * value doesn't convert, keeps what it held. Set the defaults first, then
 * bind; bind several times to layer documents. The tree is only read.
 *
 * Two forms, picked by the value:
 *
 *   object  each row in order looks for its short key, then for its name;
 *           the search runs oldest member first, so of two equal keys the
 *           first written wins. {"w": 640, "h": 480} and
 *           {"width": 640, "height": 480} both fill a size2_i16.
 *   array   element i goes to row i: [640, 480] fills the same size2_i16.
 *           Keys, count accessors and the base part play no part; extra
 *           elements are ignored, missing ones leave their rows alone.
 *
 * A row of kind 26 binds its nested record from the member's value in either
 * form. A row with a count accessor, given an array, hands the array's length
 * to the accessor, which stores the count in the record and says how many
 * elements to read (at most that length); they are read `stride` bytes apart,
 * from the row's offset or from wherever the accessor pointed its
 * destination. Given anything but an array, such a row reads one element.
 * Scalars convert by the rules of var_to (kyr_var_conv.h), with the row's
 * callback for text; a text row (kind 28) stores a new ustr that the record
 * then owns, and the old content of that field is not released.
 *
 * The tables must describe the record: offsets, strides and accessors are
 * trusted, and a field written is always within what the rows say. Nothing
 * from the tree can move a write elsewhere: element counts come from the
 * accessor and never exceed the array at hand, and nesting in the tree
 * deeper than the schema's is not followed. The walk holds its own stack, so
 * a schema that nests through accessor storage may meet input of any depth.
 *
 * Nothing logs. Several threads may bind from one tree into different
 * records at once.
 */
#ifndef KYR_VAR_BIND_H
#define KYR_VAR_BIND_H

#include "kyr_rtti.h"
#include "kyr_var.h"

KYR_EXTERN_C_BEGIN

/* Fills `record` from `value` as `type` describes it; returns the number of
 * scalar fields that converted at this level (fields of nested records are
 * not counted: compare with what the top-level rows expect). A text that a
 * row's callback took counts too ("RGBA" for a pixel format), although the
 * number conversion that var_to runs behind the callback fails on it.
 *
 * An object binds the base part first when type->base is set, at the address
 * that type->get_base gives (the record itself when get_base is null; the
 * base part is skipped when it gives null), then the record's own rows. An
 * array binds by position. A double, null, bool, number, text, error or any
 * other kind gives 0 and writes nothing; so do a null record or type. */
KYR_API u64_t var_obj_read(void* record, var_t value, const typeinfo_t* type);

/* One scalar described by an rtti_t: var_to(value, out, type->kind,
 * type->strconv), giving 1 when it converted (or the callback took a text,
 * as above) and 0 otherwise. Structures
 * (kind 26) are not bound through rtti records: 0 at once, nothing written;
 * so does a null type. */
KYR_API u64_t var_to_struct(const var_t* value, void* out, const rtti_t* type);

KYR_EXTERN_C_END

#endif /* KYR_VAR_BIND_H */
