/* Standard JSON both ways (RFC 8259), beside the bag's fixed-form JSON writer
 * (TavPropertiesToJson, whose bytes other modules depend on and which is not
 * always valid JSON). This writer always writes valid JSON and the reader
 * takes it back: with the typed style every kind with a text form keeps its
 * kind and width; the plain style is what other tools read and write. */
#ifndef TAV_OS_TAVPROPERTIES_TAVPROPERTIESJSON_H
#define TAV_OS_TAVPROPERTIES_TAVPROPERTIESJSON_H

#include "Os/TavProperties/TavPropertiesTypes.h"

TAV_EXTERN_C_BEGIN

typedef enum {
    TAV_JSON_PLAIN = 0, /* {"video":{"width":640,"name":"cam"}} */
    TAV_JSON_TYPED = 1  /* each value an object with its kind's word and its value */
} TavJsonStyle;

typedef enum {
    TAV_JSON_UTF8_REPLACE = 0, /* a byte that is not valid UTF-8 is written as U+FFFD */
    TAV_JSON_UTF8_FAIL = 1     /* such a byte fails the write */
} TavJsonInvalidUtf8;

/* Options of the JSON writer and reader. A null pointer or a zero-filled
 * record gives the defaults; fields may be added at the end later, so zero
 * the whole record before setting the fields you use. */
typedef struct TavJsonOptions_ {
    TavJsonStyle style;             /* both: plain (default) or typed */
    TavUint indent;                 /* writer: spaces per level; 0 writes one line */
    TavJsonInvalidUtf8 invalidUtf8; /* writer: what a byte that is not UTF-8 becomes */
    TavBool readOnly;               /* reader: values read are not settable */
    TavSizeT maxDepth;              /* reader: deepest nesting accepted; 0 is the default */
} TavJsonOptions;

/* Where and why a text was refused: the byte offset, the line and column
 * (from 1) and a short static message. */
typedef struct TavTextError_ {
    TavSizeT offset;
    TavSizeT line;
    TavSizeT column;
    const char* message;
} TavTextError;

/* Replaces out's content with the JSON text of x (RFC 8259) and returns out;
 * on failure (allocation, or a byte that is not UTF-8 under
 * TAV_JSON_UTF8_FAIL) returns NULL and leaves out untouched. options NULL or
 * zero-filled: plain style, one line, invalid UTF-8 replaced. The text is
 * built with x's allocator; every bag is locked for its walk, outside in.
 * - Strings and names: '"', '\\' and U+0000-U+001F escaped (\b \f \n \r \t,
 *   else \u00xx), all else as is; each maximal invalid UTF-8 subsequence
 *   becomes the three bytes of U+FFFD (EF BF BD), not an escape.
 * - Numbers: integers, sizes and Time exactly; floats the shortest text that
 *   reads back to the same float or double ("-0", "1e+20"). Pointers, shared
 *   and weak pointers (locked for the read; 0 when gone) and wrappers: the
 *   address as a bare number. MediaFormat: its four-character text.
 * - Plain: a bag an object in name order, a vector an array, Resolution
 *   {"width":W,"height":H}; NaN and the infinities become null (lost).
 * - Typed: each value {"type":WORD,"value":V} with TavPropertiesToJson's
 *   words (typed pointers "shared_ptr(name)"); NaN and the infinities the
 *   strings "NaN", "Infinity", "-Infinity"; nested bags and vectors hold
 *   typed values. A nested-bag value without a bag is written as {}.
 * - indent > 0: one member or element per line, indent spaces per level,
 *   "name": value; empty containers {} and []; no newline at the end.
 * Nesting has no limit but memory (the walk keeps its own stack). */
TAV_API const TavString* TavPropertiesWriteJson(const TavProperties* x, TavString* out,
                                                const TavJsonOptions* options);

TAV_EXTERN_C_END

#endif
