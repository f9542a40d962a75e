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

/* Reads a JSON text of exactly length bytes (RFC 8259; its top level an
 * object, UTF-8) into x: the text is read whole into a bag of its own from
 * x's allocator first, so on any failure x is untouched and no listener is
 * called; then each top-level member is set by name (TavPropertiesSetProperty
 * under x's lock: listeners hear it, a present entry is assigned, one that is
 * not settable keeps its value, which is no failure). Names are never paths.
 * Plain style: object -> nested bag (settable), array -> Vector, string,
 * true/false -> Bool, integer -> Int64, else Uint64, else Float64, other
 * numbers -> Float64 (infinity beyond range); null leaves a member out and
 * is a VoidPtr NULL in an array; of duplicate names the last wins. Typed
 * style: each value {"type":WORD,"value":V} as the writer's typed form, kept
 * kind and width (range-checked); pointer kinds are refused. Leaves are
 * settable unless options->readOnly. Nesting beyond options->maxDepth (0:
 * 10000 levels of objects and arrays, the top object included) fails. error
 * may be NULL; on failure it gets the offset, line and column of the fault
 * (of the member's name for a refused typed value) and a static message.
 * Only a lack of memory while setting the members can leave x with some of
 * them set (the members before it, in name order). */
TAV_API TavBool TavPropertiesReadJson(TavProperties* x, const char* text, TavSizeT length,
                                      const TavJsonOptions* options, TavTextError* error);

TAV_EXTERN_C_END

#endif
