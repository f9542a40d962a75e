/* Text forms of a bag: an indented dump for logs, XML-like text, one-line
 * JSON, and the compact one-line property syntax read back into a bag
 * ("a=T,b=12,c=-3,d=0.5,e=\"text\",f{g=1}"). Every writer locks each bag it
 * walks for the whole of that walk, nested bags from the outside in. The
 * walks keep their own stack of frames (the first 32 in place, deeper ones in
 * memory from the bag's allocator), never the thread's stack, so a tree of any
 * depth can be written. */
#ifndef TAV_OS_TAVPROPERTIES_TAVPROPERTIESTEXT_H
#define TAV_OS_TAVPROPERTIES_TAVPROPERTIESTEXT_H

#include "Os/TavFile.h"
#include "Os/TavProperties/TavPropertiesTypes.h"

TAV_EXTERN_C_BEGIN

/* One line per entry, "name(type): value,", each prefixed with tabs; nested
 * bags are framed by "name: [" and "]," and vectors by "name: {" and "},",
 * their contents two tabs deeper. Write errors are ignored. */
TAV_API void TavPropertiesPrint(const TavProperties* x, TavFile* file, const char* tabs);
/* The text of one value: a leaf without prefix, name or line end; the
 * contents of a nested bag or vector one tab deeper than tabs. Both dumps
 * open at most 4,096 bags and vectors inside one another (their text grows
 * with the square of the depth): a deeper one keeps its frame lines but not
 * its contents, as when its prefix can't be made. */
TAV_API void TavPropertyValuePrint(const TavPropertyValue* x, TavFile* file, const char* tabs);

/* Appends the XML-like text of x to xml (one element per line, tab-indented
 * by depth, nothing escaped) and returns xml in every case. A bag or vector
 * more than 4,096 levels down is left out entirely, as one whose indentation
 * can't be made. */
TAV_API const TavString* TavPropertiesToXml(const TavProperties* x, TavString* xml);

/* Replaces out's content with well-formed XML 1.0 of x (an XML declaration,
 * a <properties> root; <properties name=..>, <vector name=..> and
 * <value name=.. type=..>text</value>, one element a line), built with x's
 * allocator, and returns out; on allocation failure returns NULL, out
 * untouched. Names and strings escape & < > " tab LF CR as references; C0
 * controls, bytes that are not UTF-8 and U+FFFE/U+FFFF become U+FFFD. */
TAV_API const TavString* TavPropertiesWriteXml(const TavProperties* x, TavString* out);

/* Replaces json's content with the JSON text of x and returns json; on
 * failure (allocation, bags nested deeper than 63 levels below x) returns
 * NULL and leaves json untouched. Vectors don't count as a level and nest
 * without limit. */
TAV_API const TavString* TavPropertiesToJson(const TavProperties* x, TavString* json);

/* Adds the entries of the one-line property syntax in s to props (existing
 * names keep their values). True when the whole of s is one valid list;
 * entries read before a syntax error stay in props. Any nesting depth reads,
 * in time linear in the text. */
TAV_API TavBool TavPropertiesReadFromString(TavProperties* props, const char* s);

TAV_EXTERN_C_END

#endif
