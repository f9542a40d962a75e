#include "Os/TavFile.h"

#include <cstdarg>
#include <cstdio>

extern "C" {

TavFile* TavFileConstructStream(TavFile* x, FILE* stream) {
    x->stream = stream;
    return x;
}

// The stream belongs to whoever opened it.
void TavFileDestruct(TavFile* x) { x->stream = nullptr; }

int TavFilePrintf(TavFile* x, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const int written = std::vfprintf(x->stream, fmt, args);
    va_end(args);
    return written;
}

}  // extern "C"
