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
    /* {"video":{"width":640,"name":"cam"}}; a resolution {"width":W,"height":H};
     * NaN and the infinities are written null (lost) */
    TAV_JSON_PLAIN = 0,
    /* each value {"type":WORD,"value":V} with TavPropertiesToJson's words
     * ("shared_ptr(name)" for typed pointers); NaN and the infinities as the
     * strings "NaN", "Infinity", "-Infinity" */
    TAV_JSON_TYPED = 1
} TavJsonStyle;

typedef enum {
    /* each maximal invalid sequence (overlong, surrogate, past U+10FFFF,
     * truncated) is written as U+FFFD, in UTF-8 (EF BF BD), not escaped */
    TAV_JSON_UTF8_REPLACE = 0,
    TAV_JSON_UTF8_FAIL = 1     /* such a byte fails the write */
} TavJsonInvalidUtf8;

/* Options of the JSON writer and reader. A null pointer or a zero-filled
 * record gives the defaults; fields may be added at the end later, so zero
 * the whole record before setting the fields you use. */
typedef struct TavJsonOptions_ {
    TavJsonStyle style;             /* both: plain (default) or typed */
    TavUint indent;                 /* writer: spaces per level, one member or element
                                     * a line, "name": value, empty {} and [], no final
                                     * newline; 0 writes one line */
    TavJsonInvalidUtf8 invalidUtf8; /* writer: what a byte that is not UTF-8 becomes */
    TavBool readOnly;               /* reader: values read are not settable */
    TavSizeT maxDepth;              /* reader: deepest nesting accepted; 0 is the default */
} TavJsonOptions;

/* Where and why a text was refused: the byte offset, the line and column
 * (from 1) and a short static message. When a typed value of a member is
 * refused (a pointer kind, a value that does not fit its type), member and
 * memberSize give that member's name as it stands in the text, between its
 * quotes with any escapes left as written: it points into the caller's text.
 * Otherwise (an element of a vector, a syntax error) member is NULL. */
typedef struct TavTextError_ {
    TavSizeT offset;
    TavSizeT line;
    TavSizeT column;
    const char* message;
    const char* member;
    TavSizeT memberSize;
} TavTextError;

/* Replaces out's content with the JSON text of x, built with x's allocator,
 * and returns out; on failure (allocation, or a byte that is not UTF-8 under
 * TAV_JSON_UTF8_FAIL) returns NULL with out untouched. options NULL: plain,
 * one line, replace. Each bag is locked for its walk, outside in; nesting has
 * no limit but memory. Strings and names escape '"', the backslash and
 * U+0000-U+001F only; floats are the shortest text that reads back the same
 * ("-0", "1e+20"); pointers, shared and weak ones (0 once gone) and wrappers
 * are their address as a number; a media format its four-character text. */
TAV_API const TavString* TavPropertiesWriteJson(const TavProperties* x, TavString* out,
                                                const TavJsonOptions* options);

/* Reads length bytes of JSON (RFC 8259, UTF-8, an object at the top) into x.
 * The text is read whole first, with x's allocator: a refused text leaves x
 * untouched and tells no listener. Then each top-level member is Set by name
 * (never a path) under x's lock: listeners hear it, a present entry is
 * assigned, one not settable keeps its value (no failure). Plain: object ->
 * settable bag, array -> Vector, integer -> Int64, else Uint64, else Float64
 * (as other numbers; infinity beyond range), null -> member left out, VoidPtr
 * NULL in an array; the last of duplicate names wins. Typed: the writer's
 * {"type":WORD,"value":V} per value, kind and width kept, pointers refused.
 * Leaves settable unless options->readOnly; maxDepth 0 is 10000 levels of
 * objects and arrays. error (may be NULL) gets offset, line, column (of the
 * member for a refused typed value) and a static message. Only no memory in
 * the Sets leaves x changed: earlier members set, the current one as the
 * failed Set leaves it. */
TAV_API TavBool TavPropertiesReadJson(TavProperties* x, const char* text, TavSizeT length,
                                      const TavJsonOptions* options, TavTextError* error);

TAV_EXTERN_C_END

#endif
