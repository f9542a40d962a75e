#include "Utils/TavString.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

// Every string with no owned buffer points here, so an empty string costs no
// allocation. Writes happen only into owned buffers (capacity above zero);
// keeping this read-only turns a stray write into a fault, not a corruption.
const char emptyText_[1] = {'\0'};

char* EmptyText() { return const_cast<char*>(emptyText_); }

// The first buffer a growing string gets: a few small appends then need no
// further reallocation.
constexpr TavSizeT kMinGrowCapacity = 15;

bool Owns(const TavString* x) { return x->capacity != 0; }

// A buffer holds capacity characters plus the terminating NUL.
char* AllocateBuffer(TavAllocator* a, TavSizeT capacity) {
    if (capacity == TAV_STRING_NPOS) return nullptr;  // capacity + 1 would wrap
    return static_cast<char*>(TavAllocatorAllocate(a, capacity + 1));
}

void ReleaseBuffer(TavString* x) {
    if (Owns(x)) TavAllocatorDeallocate(x->allocator, x->buf, x->capacity + 1);
}

void MakeEmpty(TavString* x) {
    x->buf = EmptyText();
    x->size = 0;
    x->capacity = 0;
}

void AdoptBuffer(TavString* x, char* buf, TavSizeT size, TavSizeT capacity) {
    ReleaseBuffer(x);
    x->buf = buf;
    x->size = size;
    x->capacity = capacity;
}

// Geometric growth keeps a run of appends linear in total.
TavSizeT GrownCapacity(const TavString* x, TavSizeT needed) {
    TavSizeT grown = x->capacity > TAV_STRING_NPOS / 4 ? TAV_STRING_NPOS - 1 : x->capacity * 2;
    if (grown < kMinGrowCapacity) grown = kMinGrowCapacity;
    return grown > needed ? grown : needed;
}

bool FitsInPlace(const TavString* x, TavSizeT size) { return Owns(x) && size <= x->capacity; }

// A new buffer of `capacity` holding x's text with `gap` unset characters at
// pos, NUL-terminated; x itself is not touched, so the caller may still read
// from x's old buffer while filling the gap.
char* AllocateWithGap(const TavString* x, TavSizeT pos, TavSizeT gap, TavSizeT capacity) {
    char* fresh = AllocateBuffer(x->allocator, capacity);
    if (fresh == nullptr) return nullptr;
    std::memcpy(fresh, x->buf, pos);
    std::memcpy(fresh + pos + gap, x->buf + pos, x->size - pos);
    fresh[x->size + gap] = '\0';
    return fresh;
}

// Room for `needed` characters, text kept; false (x untouched) on failure.
bool Reserve(TavString* x, TavSizeT needed) {
    if (FitsInPlace(x, needed)) return true;
    const TavSizeT capacity = GrownCapacity(x, needed);
    char* fresh = AllocateWithGap(x, x->size, 0, capacity);
    if (fresh == nullptr) return false;
    AdoptBuffer(x, fresh, x->size, capacity);
    return true;
}

// Inserts n characters from src at pos. src may point into x's text when
// pos is the end (appending a string to itself): the old buffer is released
// only after the copy.
TavString* InsertRange(TavString* x, TavSizeT pos, const char* src, TavSizeT n) {
    if (n == 0) return x;  // an empty string stays without a buffer
    const TavSizeT newSize = x->size + n;
    if (newSize < x->size) return nullptr;  // length overflow
    if (FitsInPlace(x, newSize)) {
        std::memmove(x->buf + pos + n, x->buf + pos, x->size - pos + 1);
        std::memmove(x->buf + pos, src, n);
        x->size = newSize;
        return x;
    }
    const TavSizeT capacity = GrownCapacity(x, newSize);
    char* fresh = AllocateWithGap(x, pos, n, capacity);
    if (fresh == nullptr) return nullptr;
    std::memcpy(fresh + pos, src, n);
    AdoptBuffer(x, fresh, newSize, capacity);
    return x;
}

// Room left behind the text without reallocating (the NUL excluded).
TavSizeT SpareCapacity(const TavString* x) { return x->capacity - x->size; }

// vsnprintf into the spare room of an owned buffer, or just measures when
// there is none; returns the full length of the formatted text.
int FormatIntoSpare(TavString* x, const char* fmt, va_list args) {
    if (!Owns(x)) return std::vsnprintf(nullptr, 0, fmt, args);
    return std::vsnprintf(x->buf + x->size, SpareCapacity(x) + 1, fmt, args);
}

// After the first pass: keep what fit, or grow and format again.
bool FinishFormatted(TavString* x, TavSizeT length, const char* fmt, va_list retry) {
    if (length == 0) return true;
    const TavSizeT newSize = x->size + length;
    if (FitsInPlace(x, newSize)) {
        x->size = newSize;
        return true;
    }
    if (!Reserve(x, newSize)) return false;
    std::vsnprintf(x->buf + x->size, length + 1, fmt, retry);
    x->size = newSize;
    return true;
}

// Formats once into the spare room, which is enough for most appends; only a
// text that did not fit costs a reallocation and a second formatting pass.
TavString* AppendFormattedV(TavString* x, const char* fmt, va_list args) {
    va_list retry;
    va_copy(retry, args);
    const int length = FormatIntoSpare(x, fmt, args);
    const bool ok = length >= 0 && FinishFormatted(x, static_cast<TavSizeT>(length), fmt, retry);
    va_end(retry);
    // A truncated first pass wrote over the NUL; a failed append must leave
    // the text as it was.
    if (!ok && Owns(x)) x->buf[x->size] = '\0';
    return ok ? x : nullptr;
}

}  // namespace

extern "C" {

TavString* TavStringConstructDefault(TavString* x, TavAllocator* a) {
    x->allocator = a;
    MakeEmpty(x);
    return x;
}

TavString* TavStringConstructRange(TavString* x, const char* first, const char* last,
                                   TavAllocator* a) {
    TavStringConstructDefault(x, a);
    return TavStringAssignRange(x, first, last);
}

TavString* TavStringConstructCStr(TavString* x, const char* s, TavAllocator* a) {
    return TavStringConstructRange(x, s, s + std::strlen(s), a);
}

TavString* TavStringConstructCopy(TavString* x, const TavString* y) {
    return TavStringConstructRange(x, y->buf, y->buf + y->size, y->allocator);
}

TavString* TavStringAssign(TavString* x, const TavString* y) {
    if (x == y) return x;
    return TavStringAssignRange(x, y->buf, y->buf + y->size);
}

TavString* TavStringMove(TavString* x, TavString* y) {
    if (x == y) return x;
    if (x->allocator != y->allocator) {
        if (TavStringAssign(x, y) == nullptr) return nullptr;
        TavStringDestruct(y);  // y keeps its allocator and is left empty
        return x;
    }
    AdoptBuffer(x, y->buf, y->size, y->capacity);
    MakeEmpty(y);
    return x;
}

void TavStringDestruct(TavString* x) {
    ReleaseBuffer(x);
    MakeEmpty(x);
}

void TavStringClear(TavString* x) {
    x->size = 0;
    if (Owns(x)) {
        x->buf[0] = '\0';
    } else {
        x->buf = EmptyText();  // a static text is dropped, not written over
    }
}

TavBool TavStringEqual(const TavString* x, const TavString* y) {
    return x->size == y->size && std::memcmp(x->buf, y->buf, x->size) == 0;
}

int TavStringCompare(const TavString* x, const TavString* y) {
    const TavSizeT common = x->size < y->size ? x->size : y->size;
    const int order = std::memcmp(x->buf, y->buf, common);  // compares unsigned bytes
    if (order != 0) return order;
    return x->size < y->size ? -1 : (x->size > y->size ? 1 : 0);
}

TavBool TavStringLess(const TavString* x, const TavString* y) { return TavStringCompare(x, y) < 0; }

// The range may lie inside x's own text: in place it is moved, otherwise it
// is copied before the old buffer goes.
TavString* TavStringAssignRange(TavString* x, const char* first, const char* last) {
    const TavSizeT n = static_cast<TavSizeT>(last - first);
    if (FitsInPlace(x, n)) {
        std::memmove(x->buf, first, n);
        x->buf[n] = '\0';
        x->size = n;
        return x;
    }
    if (n == 0) {
        MakeEmpty(x);  // x owns no buffer here, so nothing is lost
        return x;
    }
    char* fresh = AllocateBuffer(x->allocator, n);
    if (fresh == nullptr) return nullptr;
    std::memcpy(fresh, first, n);
    fresh[n] = '\0';
    AdoptBuffer(x, fresh, n, n);
    return x;
}

TavString* TavStringAppendChar(TavString* x, char c) { return InsertRange(x, x->size, &c, 1); }

TavString* TavStringAppendCStr(TavString* x, const char* s) {
    return InsertRange(x, x->size, s, std::strlen(s));
}

TavString* TavStringInsertChar(TavString* x, TavSizeT index, char c) {
    if (index > x->size) return nullptr;
    return InsertRange(x, index, &c, 1);
}

TavString* TavStringAppendFormatted(TavString* x, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    TavString* result = AppendFormattedV(x, fmt, args);
    va_end(args);
    return result;
}

TavSizeT TavStringFindFirstOfChar(const TavString* x, TavSizeT start, char c) {
    if (start >= x->size) return TAV_STRING_NPOS;
    const void* hit = std::memchr(x->buf + start, c, x->size - start);
    return hit == nullptr ? TAV_STRING_NPOS
                          : static_cast<TavSizeT>(static_cast<const char*>(hit) - x->buf);
}

const char* TavStringCStr(const TavString* x) { return x->buf; }

TavSizeT TavStringSize(const TavString* x) { return x->size; }

TavBool TavStringEmpty(const TavString* x) { return x->size == 0; }

const char* TavStringAtConst(const TavString* x, TavSizeT i) { return x->buf + i; }

}  // extern "C"
