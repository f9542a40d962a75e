// A C++ face over the property module's C API, header-only, for C++17 and later.
//
// It throws nothing and needs neither exceptions nor RTTI: an operation that
// can't get memory returns false or an empty optional, and an object that
// can't be built says so through ok(). Every byte still comes from a
// TavAllocator (no standard container or std::string inside), and every
// object hands out its C record (native()) for mixing with the C API.
//
//   tav::Properties bag;                                // owns a bag
//   bag.set("video.width", 640);                        // paths create nested bags
//   std::optional<int> w = bag.get<int>("video.width"); // copied out under the lock
//   auto sub = bag.on_change("", [](std::string_view name, tav::ValueRef, tav::ValueRef) {});
//   std::cout << *bag.to_json() << '\n';
//
// C++ types and kinds: bool Bool; the integer types by width and sign (16, 32
// and 64 bits: Int16, Uint16, Int, Uint, Int64, Uint64); float Float32; double
// Float64; std::string_view, const char* and what converts to string_view
// String (read back as tav::String); TavResolution Resolution; void* VoidPtr;
// tav::Properties a nested bag; tav::Vector, and any range of the types above,
// Vector. size_t, TavTime and TavMediaFormat are the same C++ types as
// uint64_t, int64_t and uint32_t on LP64 (a plain size_t is stored as a
// Uint64), so those three kinds have tag types: tav::Size{n}, tav::Time{t},
// tav::MediaFormat{code}. Kinds are exact: get<int> of an Int64 entry is empty.
//
// Threads: each call locks the bag as the C function it wraps does; copies,
// snapshots and merges take the source's lock. Construction, assignment and
// destruction of an object, and the end of a Subscription, belong to the
// thread that owns it; operator== and iteration read without the lock
// (compare or iterate a snapshot() of a bag that other threads change).
#ifndef TAV_OS_TAVPROPERTIES_HPP
#define TAV_OS_TAVPROPERTIES_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Os/TavProperties.h"

namespace tav {

class Properties;
class Value;
class ValueRef;
class Vector;

// Tag types for the kinds whose C type is another kind's C++ type.
struct Size {
    TavSizeT value;
};
struct Time {
    TavTime value;
};
struct MediaFormat {
    TavMediaFormat value;
};
inline bool operator==(Size a, Size b) { return a.value == b.value; }
inline bool operator==(Time a, Time b) { return a.value == b.value; }
inline bool operator==(MediaFormat a, MediaFormat b) { return a.value == b.value; }

namespace detail {

// Holds a bag's recursive lock for a scope.
class Lock {
public:
    explicit Lock(const TavProperties* bag) : mutex_(const_cast<TavMutex*>(&bag->mutex)) {
        TavMutexLock(mutex_);
    }
    ~Lock() { TavMutexUnlock(mutex_); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    TavMutex* mutex_;
};

// Moves a C record that owns no pointer into itself (strings, vectors,
// values) to dst by its bytes; the caller rebuilds src as an empty record.
template <class Record>
void Relocate(Record* dst, Record* src) {
    std::memcpy(static_cast<void*>(dst), static_cast<const void*>(src), sizeof(Record));
}

// An index-based iterator over a container whose operator[] gives Ref.
template <class Container, class Ref>
class IndexIterator {
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = Ref;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = Ref;
    IndexIterator(const Container* c, std::size_t i) : c_(c), i_(i) {}
    Ref operator*() const { return (*c_)[i_]; }
    IndexIterator& operator++() {
        ++i_;
        return *this;
    }
    bool operator==(const IndexIterator& o) const { return i_ == o.i_; }
    bool operator!=(const IndexIterator& o) const { return i_ != o.i_; }

private:
    const Container* c_;
    std::size_t i_;
};

}  // namespace detail

// ---- String -------------------------------------------------------------

// A TavString owned by C++: text from the JSON writer, a copied-out String
// value. Move-only (a copy would need memory it could not report missing).
class String {
public:
    explicit String(TavAllocator* a = TavAllocatorGetDefault()) noexcept {
        TavStringConstructDefault(&s_, a);
    }
    String(String&& o) noexcept {
        detail::Relocate(&s_, &o.s_);
        TavStringConstructDefault(&o.s_, s_.allocator);
    }
    String& operator=(String&& o) noexcept {
        if (this != &o) {
            TavStringDestruct(&s_);
            detail::Relocate(&s_, &o.s_);
            TavStringConstructDefault(&o.s_, s_.allocator);
        }
        return *this;
    }
    ~String() { TavStringDestruct(&s_); }

    std::string_view view() const { return {TavStringCStr(&s_), TavStringSize(&s_)}; }
    operator std::string_view() const { return view(); }
    const char* c_str() const { return TavStringCStr(&s_); }
    std::size_t size() const { return TavStringSize(&s_); }
    TavString* native() { return &s_; }
    const TavString* native() const { return &s_; }

private:
    TavString s_;
};
inline bool operator==(const String& a, std::string_view b) { return a.view() == b; }
inline bool operator!=(const String& a, std::string_view b) { return a.view() != b; }
// Writes the text to any stream (declared for whatever stream type has <<).
template <class Stream>
auto operator<<(Stream& os, const String& s) -> decltype(os << std::string_view()) {
    return os << s.view();
}

// ---- names --------------------------------------------------------------

// A bag's names, copied out in ascending order; iterates as string_views.
class Names {
public:
    explicit Names(TavAllocator* a) noexcept { TavVector_TavStringConstructDefault(&v_, a); }
    Names(Names&& o) noexcept {
        detail::Relocate(&v_, &o.v_);
        TavVector_TavStringConstructDefault(&o.v_, v_.allocator);
    }
    Names& operator=(Names&&) = delete;
    ~Names() { TavVector_TavStringDestruct(&v_); }

    std::size_t size() const { return TavVector_TavStringSize(&v_); }
    std::string_view operator[](std::size_t i) const {
        const TavString* s = TavVector_TavStringAtConst(&v_, i);
        return {TavStringCStr(s), TavStringSize(s)};
    }
    detail::IndexIterator<Names, std::string_view> begin() const { return {this, 0}; }
    detail::IndexIterator<Names, std::string_view> end() const { return {this, size()}; }
    TavVector_TavString* native() { return &v_; }

private:
    TavVector_TavString v_;
};

// ---- borrowed values ----------------------------------------------------

// A view of a value owned elsewhere (a listener's old or new value, an
// element of a Vector): valid as long as its owner. May be null.
class ValueRef {
public:
    ValueRef() = default;
    explicit ValueRef(const TavPropertyValue* v) : v_(v) {}
    explicit operator bool() const { return v_ != nullptr; }
    TavPropertyValueType type() const { return TavPropertyValueGetType(v_); }
    bool settable() const { return TavPropertyValueIsSettable(v_) != 0; }
    const TavPropertyValue* native() const { return v_; }

    // The payload as T when the value is of T's kind, else empty. A
    // string_view borrows the value's text; tav::String, Properties, Vector
    // and Value are copies (empty when out of memory).
    template <class T>
    std::optional<T> as() const;

    // Calls f with the payload in its C++ type (bool, the integer types,
    // Size, float, double, Time, TavResolution, MediaFormat, void*,
    // std::string_view, const TavProperties& for a nested bag, tav::VectorRef
    // for a vector) or, for the shared, weak and wrapper kinds, this ValueRef.
    // Returns what f returns. The value must not be null.
    template <class F>
    decltype(auto) visit(F&& f) const;

private:
    const TavPropertyValue* v_ = nullptr;
};

// The elements of a vector value owned elsewhere.
class VectorRef {
public:
    explicit VectorRef(const TavVector_TavPropertyValue* v) : v_(v) {}
    std::size_t size() const { return TavVector_TavPropertyValueSize(v_); }
    ValueRef operator[](std::size_t i) const {
        return ValueRef(TavVector_TavPropertyValueAtConst(v_, i));
    }
    detail::IndexIterator<VectorRef, ValueRef> begin() const { return {this, 0}; }
    detail::IndexIterator<VectorRef, ValueRef> end() const { return {this, size()}; }

private:
    const TavVector_TavPropertyValue* v_;
};

// ---- the map from C++ types to kinds ------------------------------------

namespace detail {

template <class T>
struct Id {
    using type = T;
};
template <std::size_t Bytes, bool Signed>
struct IntOf {};  // char-sized integers have no kind: no `type`
template <> struct IntOf<2, true> { using type = std::int16_t; };
template <> struct IntOf<2, false> { using type = std::uint16_t; };
template <> struct IntOf<4, true> { using type = std::int32_t; };
template <> struct IntOf<4, false> { using type = std::uint32_t; };
template <> struct IntOf<8, true> { using type = std::int64_t; };
template <> struct IntOf<8, false> { using type = std::uint64_t; };

template <class T, class = void>
struct IsRange : std::false_type {};
template <class T>
struct IsRange<T, std::void_t<decltype(std::begin(std::declval<const T&>())),
                              decltype(std::end(std::declval<const T&>()))>> : std::true_type {};

// A range of values stored as a Vector value.
template <class R>
struct RangeOf {};

template <class T>
constexpr auto Normalize() {
    if constexpr (std::is_same_v<T, bool>)
        return Id<bool>{};
    else if constexpr (std::is_integral_v<T>)
        return IntOf<sizeof(T), std::is_signed_v<T>>{};
    else if constexpr (std::is_same_v<T, String> || std::is_same_v<T, Properties> ||
                       std::is_same_v<T, Vector> || std::is_same_v<T, Value> ||
                       std::is_same_v<T, ValueRef>)
        return Id<T>{};
    else if constexpr (std::is_convertible_v<const T&, std::string_view> &&
                       !std::is_same_v<T, std::nullptr_t>)
        return Id<std::string_view>{};
    else if constexpr (IsRange<T>::value)
        return Id<RangeOf<T>>{};
    else
        return Id<T>{};
}
// The type whose Kind<> handles a C++ type: integers by width and sign,
// string-likes as string_view, ranges as RangeOf.
template <class T>
using Normal = typename decltype(Normalize<std::decay_t<T>>())::type;

// Kind<T>: construct (a TavPropertyValue from a T, settable, with an
// allocator for what it owns; false when out of memory), read (the payload of
// a value of T's kind) and copyOut (the payload at a path, under the bag's
// lock). Specialised below for every type Normal<> gives.
template <class T>
struct Kind;

// One Kind per plain kind: X(C++ type, Kind name, C type, to C (from v), from C
// (from c)). The macro TAV_HPP_PLAIN_KIND makes Kind<bool>, Kind<int16_t>,
// Kind<uint16_t>, Kind<int32_t>, Kind<uint32_t>, Kind<int64_t>,
// Kind<uint64_t>, Kind<Size>, Kind<float>, Kind<double>, Kind<Time>,
// Kind<TavResolution>, Kind<MediaFormat> and Kind<void*>.
#define TAV_HPP_PLAIN_KINDS(X)                                             \
    X(bool, Bool, TavBool, (v ? TAV_TRUE : TAV_FALSE), (c != 0))           \
    X(std::int16_t, Int16, TavInt16, v, c)                                 \
    X(std::uint16_t, Uint16, TavUint16, v, c)                              \
    X(std::int32_t, Int, TavInt, v, c)                                     \
    X(std::uint32_t, Uint, TavUint, v, c)                                  \
    X(std::int64_t, Int64, TavInt64, v, c)                                 \
    X(std::uint64_t, Uint64, TavUint64, v, c)                              \
    X(Size, SizeT, TavSizeT, v.value, Size{c})                             \
    X(float, Float32, TavFloat32, v, c)                                    \
    X(double, Float64, TavFloat64, v, c)                                   \
    X(Time, Time, TavTime, v.value, Time{c})                               \
    X(TavResolution, Resolution, TavResolution, v, c)                      \
    X(MediaFormat, MediaFormat, TavMediaFormat, v.value, MediaFormat{c})   \
    X(void*, VoidPtr, TavVoidPtr, v, c)

#define TAV_HPP_PLAIN_KIND(Cpp, K, C, toC, fromC)                                      \
    template <>                                                                        \
    struct Kind<Cpp> {                                                                 \
        static constexpr TavPropertyValueType type = TAV_PROPERTYVALUE_TYPE_##K;       \
        static bool construct(TavPropertyValue* x, Cpp v, TavAllocator*) {             \
            return TavPropertyValueConstruct##K(x, toC, TAV_TRUE) != nullptr;          \
        }                                                                              \
        static std::optional<Cpp> read(const TavPropertyValue* x) {                    \
            const C* p = x->type == type ? TavPropertyValueGet##K(x) : nullptr;        \
            if (p == nullptr) return std::nullopt;                                     \
            const C c = *p;                                                            \
            return fromC;                                                              \
        }                                                                              \
        static std::optional<Cpp> copyOut(const TavProperties* b, const char* path) {  \
            C c;                                                                       \
            if (!TavPropertiesCopy##K##ValueCStr(b, path, &c)) return std::nullopt;    \
            return fromC;                                                              \
        }                                                                              \
    };
TAV_HPP_PLAIN_KINDS(TAV_HPP_PLAIN_KIND)
#undef TAV_HPP_PLAIN_KIND

// Builds a TavString from a view with allocator a; false when out of memory.
inline bool MakeString(TavString* s, std::string_view v, TavAllocator* a) {
    return TavStringConstructRange(s, v.data(), v.data() + v.size(), a) != nullptr;
}

template <>
struct Kind<std::string_view> {
    static bool construct(TavPropertyValue* x, std::string_view v, TavAllocator* a) {
        TavString s;
        if (!MakeString(&s, v, a)) return false;
        const bool ok = TavPropertyValueConstructString(x, &s, TAV_TRUE) != nullptr;
        TavStringDestruct(&s);
        return ok;
    }
    static std::optional<std::string_view> read(const TavPropertyValue* x) {
        const TavString* s = TavPropertyValueGetString(x);
        if (s == nullptr) return std::nullopt;
        return std::string_view(TavStringCStr(s), TavStringSize(s));
    }
    // No copyOut: a view can't outlive the bag's lock; get<tav::String>.
};

template <>
struct Kind<String> {
    static bool construct(TavPropertyValue* x, const String& v, TavAllocator* a) {
        return Kind<std::string_view>::construct(x, v.view(), a);
    }
    static std::optional<String> read(const TavPropertyValue* x) {
        const TavString* s = TavPropertyValueGetString(x);
        if (s == nullptr) return std::nullopt;
        String out(s->allocator);
        if (TavStringAssign(out.native(), s) == nullptr) return std::nullopt;
        return out;
    }
    static std::optional<String> copyOut(const TavProperties* b, const char* path) {
        String out(TavPropertiesGetAllocator(b));
        if (!TavPropertiesCopyStringValueCStr(b, path, out.native())) return std::nullopt;
        return out;
    }
};

template <>
struct Kind<Properties>;  // after Properties
template <>
struct Kind<Vector>;
template <>
struct Kind<Value>;
template <>
struct Kind<ValueRef>;
template <class R>
struct Kind<RangeOf<R>>;

}  // namespace detail

// Whether T maps to a kind (usable with set, add, get, as and Vector).
template <class T, class = void>
struct IsValueType : std::false_type {};
template <class T>
struct IsValueType<T, std::void_t<decltype(sizeof(detail::Kind<detail::Normal<T>>))>>
    : std::true_type {};

// ---- Vector -------------------------------------------------------------

// A vector of values owned by C++ (TavVector_TavPropertyValue). Move-only.
class Vector {
public:
    explicit Vector(TavAllocator* a = TavAllocatorGetDefault()) noexcept {
        TavVector_TavPropertyValueConstructDefault(&v_, a);
    }
    Vector(Vector&& o) noexcept {
        detail::Relocate(&v_, &o.v_);
        TavVector_TavPropertyValueConstructDefault(&o.v_, v_.allocator);
    }
    Vector& operator=(Vector&&) = delete;
    ~Vector() { TavVector_TavPropertyValueDestruct(&v_); }

    // Appends a copy of x as a value of its kind; false (nothing appended)
    // when out of memory.
    template <class T>
    bool push_back(const T& x);

    std::size_t size() const { return TavVector_TavPropertyValueSize(&v_); }
    ValueRef operator[](std::size_t i) const { return VectorRef(&v_)[i]; }
    detail::IndexIterator<Vector, ValueRef> begin() const { return {this, 0}; }
    detail::IndexIterator<Vector, ValueRef> end() const { return {this, size()}; }
    TavVector_TavPropertyValue* native() { return &v_; }
    const TavVector_TavPropertyValue* native() const { return &v_; }

private:
    TavVector_TavPropertyValue v_;
};

// ---- owned values -------------------------------------------------------

// One TavPropertyValue of any kind, owned. A Value that could not be built
// (out of memory) holds a false Bool and reports !ok().
class Value {
public:
    Value() noexcept { TavPropertyValueConstructBool(&v_, TAV_FALSE, TAV_TRUE); }
    template <class T, class = std::enable_if_t<IsValueType<T>::value &&
                                                !std::is_same_v<std::decay_t<T>, Value>>>
    explicit Value(const T& x, TavAllocator* a = TavAllocatorGetDefault()) {
        ok_ = detail::Kind<detail::Normal<T>>::construct(&v_, x, a);
        if (!ok_) TavPropertyValueConstructBool(&v_, TAV_FALSE, TAV_TRUE);
    }
    Value(const Value& o) {
        ok_ = o.ok_ && TavPropertyValueConstructCopy(&v_, &o.v_) != nullptr;
        if (!ok_) TavPropertyValueConstructBool(&v_, TAV_FALSE, TAV_TRUE);
    }
    Value(Value&& o) noexcept : ok_(o.ok_) {
        detail::Relocate(&v_, &o.v_);
        TavPropertyValueConstructBool(&o.v_, TAV_FALSE, TAV_TRUE);
    }
    // Replaces the whole value whatever its settable flag; a failed copy
    // leaves this one unchanged.
    Value& operator=(const Value& o) {
        if (this != &o) {
            Value copy(o);
            if (copy.ok()) *this = std::move(copy);
        }
        return *this;
    }
    Value& operator=(Value&& o) noexcept {
        if (this != &o) {
            TavPropertyValueDestruct(&v_);
            detail::Relocate(&v_, &o.v_);
            ok_ = o.ok_;
            TavPropertyValueConstructBool(&o.v_, TAV_FALSE, TAV_TRUE);
        }
        return *this;
    }
    ~Value() { TavPropertyValueDestruct(&v_); }

    bool ok() const { return ok_; }
    ValueRef ref() const { return ValueRef(&v_); }
    TavPropertyValueType type() const { return v_.type; }
    template <class T>
    std::optional<T> as() const {
        return ref().as<T>();
    }
    template <class F>
    decltype(auto) visit(F&& f) const {
        return ref().visit(std::forward<F>(f));
    }
    TavPropertyValue* native() { return &v_; }
    const TavPropertyValue* native() const { return &v_; }

private:
    TavPropertyValue v_;
    bool ok_ = true;
};
// Same kind and equal payloads (settable flags aside).
inline bool operator==(const Value& a, const Value& b) {
    return TavPropertyValueEqual(a.native(), b.native()) != 0;
}
inline bool operator!=(const Value& a, const Value& b) { return !(a == b); }

// ---- listeners ----------------------------------------------------------

namespace detail {

struct ListenerNode;

// The bag of a Properties, with the listeners registered through it. Held by
// pointer so that a move leaves the bag (and its lock) where it is.
struct BagBlock {
    TavProperties bag;
    TavAllocator* alloc;       // the block's own allocator
    ListenerNode* listeners;  // guarded by bag.mutex
};

// A callable registered on a bag: the listener record handed to the C API
// (its data points back here) and the links of its bag's list.
struct ListenerNode {
    TavPropertyListener record;
    BagBlock* owner;  // null once the bag is gone
    ListenerNode* prev;
    ListenerNode* next;
    TavAllocator* alloc;
    void (*call)(const ListenerNode*, std::string_view, ValueRef, ValueRef);
    void (*destroy)(ListenerNode*);
};

template <class F>
struct ListenerOf : ListenerNode {
    explicit ListenerOf(F&& fn) : f(std::move(fn)) {}
    explicit ListenerOf(const F& fn) : f(fn) {}
    F f;

    static void Call(const ListenerNode* n, std::string_view name, ValueRef o, ValueRef v) {
        const F& f = static_cast<const ListenerOf*>(n)->f;
        if constexpr (std::is_invocable_v<const F&, std::string_view, ValueRef, ValueRef>)
            f(name, o, v);
        else
            f(name);
    }
    static void Destroy(ListenerNode* n) {
        auto* self = static_cast<ListenerOf*>(n);
        TavAllocator* a = self->alloc;
        TavPropertyListenerDestruct(&self->record);
        self->~ListenerOf();
        TavAllocatorDeallocate(a, self, sizeof(ListenerOf));
    }
};

// The one C callback of every C++ listener; a throwing callable ends the
// program here rather than unwinding through the library.
inline void Dispatch(const TavPropertyListener* l, TavProperties*, const TavString* name,
                     const TavPropertyValue* oldValue, const TavPropertyValue* newValue) noexcept {
    auto* n = static_cast<const ListenerNode*>(TavPropertyListenerGetData(l));
    n->call(n, std::string_view(TavStringCStr(name), TavStringSize(name)), ValueRef(oldValue),
            ValueRef(newValue));
}

inline void Unlink(ListenerNode* n) {
    if (n->prev) n->prev->next = n->next;
    else n->owner->listeners = n->next;
    if (n->next) n->next->prev = n->prev;
}

}  // namespace detail

// Keeps a listener registered; removes it when destroyed or reset. Move-only.
// It belongs to the bag, not to the Properties object: it follows a moved
// Properties and does nothing more once the bag is destroyed. End it on the
// thread that owns the Properties, not from inside a callback of its bag.
class Subscription {
public:
    Subscription() = default;
    explicit Subscription(detail::ListenerNode* n) : n_(n) {}
    Subscription(Subscription&& o) noexcept : n_(std::exchange(o.n_, nullptr)) {}
    Subscription& operator=(Subscription&& o) noexcept {
        if (this != &o) {
            reset();
            n_ = std::exchange(o.n_, nullptr);
        }
        return *this;
    }
    ~Subscription() { reset(); }

    // Whether the listener is registered on a living bag.
    explicit operator bool() const { return n_ != nullptr && n_->owner != nullptr; }
    void reset() {
        if (n_ == nullptr) return;
        if (detail::BagBlock* owner = n_->owner) {
            detail::Lock lock(&owner->bag);
            TavPropertiesRemoveListener(&owner->bag, &n_->record);
            detail::Unlink(n_);
        }
        n_->destroy(std::exchange(n_, nullptr));
    }

private:
    detail::ListenerNode* n_ = nullptr;
};

// ---- Properties ---------------------------------------------------------

// One entry of a bag being iterated: its name and a view of its value.
struct Entry {
    std::string_view name;
    ValueRef value;
};

// Owns a bag. Each call locks the bag as the C function it wraps does, so a
// Properties may be shared between threads (construction, assignment and
// destruction aside). A Properties that could not be built, or was moved
// from, reports !ok(); its operations then return false or empty. Paths and
// names are zero-terminated ("video.width", "list[2]").
class Properties {
public:
    explicit Properties(TavAllocator* a = TavAllocatorGetDefault()) noexcept : b_(Allocate(a)) {
        if (b_ != nullptr && TavPropertiesConstructDefault(&b_->bag, a) == nullptr) Free();
    }
    // A copy of o's entries taken under o's lock, without o's listeners.
    Properties(const Properties& o) noexcept
        : Properties(o.b_ ? &o.b_->bag : nullptr, nullptr) {}
    // Takes o's bag, listeners included; o is left !ok().
    Properties(Properties&& o) noexcept : b_(std::exchange(o.b_, nullptr)) {}
    // Both assignments keep this bag's allocator and listeners and tell them
    // nothing (as TavPropertiesAssign). Copy: o's entries under o's lock, this
    // unchanged when out of memory. Move: the two bags' entries are exchanged
    // (no memory needed when their allocators are the same one); into a
    // Properties that is !ok(), o's bag itself moves, as in construction.
    Properties& operator=(const Properties& o) noexcept {
        assign(o);
        return *this;
    }
    Properties& operator=(Properties&& o) noexcept {
        if (this == &o) return *this;
        if (b_ == nullptr) {
            std::swap(b_, o.b_);
        } else if (o.b_ != nullptr && Allocator() == o.Allocator()) {
            detail::Lock lock(&b_->bag);
            TavMap_TavString__TavPropertyValueSwap(&b_->bag.map, &o.b_->bag.map);
        } else {
            assign(o);
        }
        return *this;
    }
    ~Properties() { Release(); }

    // The copy assignment with its result: false (this unchanged) when out
    // of memory or when o is !ok().
    bool assign(const Properties& o) noexcept;

    bool ok() const { return b_ != nullptr; }
    TavProperties* native() { return b_ ? &b_->bag : nullptr; }
    const TavProperties* native() const { return b_ ? &b_->bag : nullptr; }
    // A copy of the entries taken under the lock: iterate it while other
    // threads change this bag.
    Properties snapshot() const { return *this; }

    // Store a copy of v at the path, settable, creating missing nested bags:
    // set adds or assigns (a present entry that is not settable keeps its
    // value: false), add fails on a present entry. A nested Properties is
    // stored without its listeners. False when out of memory.
    template <class T>
    bool set(const char* path, const T& v) {
        return Store(path, v, false);
    }
    template <class T>
    bool add(const char* path, const T& v) {
        return Store(path, v, true);
    }
    template <class T>
    bool set(const char* path, std::initializer_list<T> v) {
        return Store(path, v, false);
    }
    template <class T>
    bool add(const char* path, std::initializer_list<T> v) {
        return Store(path, v, true);
    }
    // A copy of the payload at the path, taken under the lock; empty when
    // nothing of T's kind is there or out of memory. T: a value type (a
    // tav::String for text), tav::Properties, tav::Vector or tav::Value.
    template <class T>
    std::optional<T> get(const char* path) const {
        static_assert(!std::is_same_v<detail::Normal<T>, std::string_view>,
                      "a view can't outlive the lock: get<tav::String>");
        if (b_ == nullptr) return std::nullopt;
        return detail::Kind<detail::Normal<T>>::copyOut(&b_->bag, path);
    }
    bool remove(const char* path) {
        return b_ != nullptr && TavPropertiesRemovePropertyAtPathCStr(&b_->bag, path);
    }
    bool contains(const char* path) const {
        return b_ != nullptr && TavPropertiesGetTypeValueCStr(&b_->bag, path) != nullptr;
    }
    std::optional<TavPropertyValueType> type_at(const char* path) const;
    std::size_t size() const {
        if (b_ == nullptr) return 0;
        detail::Lock lock(&b_->bag);
        return TavMap_TavString__TavPropertyValueSize(&b_->bag.map);
    }
    // The top-level names in ascending order; empty when out of memory.
    std::optional<Names> names() const;
    // Sets every entry of o into this bag (nested bags merged), from a
    // snapshot of o; false when out of memory or past 63 levels, keeping
    // what was merged.
    bool merge(const Properties& o);

    // Standard JSON (TavPropertiesWriteJson): plain or typed, one line or
    // indented; empty when out of memory.
    std::optional<String> to_json(TavJsonStyle style = TAV_JSON_PLAIN, TavUint indent = 0) const;
    // Reads JSON into this bag (TavPropertiesReadJson): each top-level member
    // is set by name; a refused text leaves the bag untouched and, when error
    // is given, says where and why.
    bool from_json(std::string_view text, TavJsonStyle style = TAV_JSON_PLAIN,
                   TavTextError* error = nullptr);

    // Calls f(name, old value, new value), or f(name), after (before) each
    // change of the entry `name` of this bag, or of every entry when name is
    // "" or null; old and new may be null (see TavPropertiesAddListener). f
    // runs on the changing thread with the bag locked. The listener lives as
    // long as the returned Subscription, which is empty when out of memory.
    template <class F>
    Subscription on_change(const char* name, F&& f) {
        return Listen(TAV_PROPERTYLISTENER_TRIGGER_After, name, std::forward<F>(f));
    }
    template <class F>
    Subscription on_before_change(const char* name, F&& f) {
        return Listen(TAV_PROPERTYLISTENER_TRIGGER_Before, name, std::forward<F>(f));
    }

    // The entries in name order, read without the lock: iterate a
    // snapshot() of a bag that other threads change.
    class Iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Entry;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = Entry;
        explicit Iterator(TavMap_TavString__TavPropertyValueConstIterator i) : i_(i) {}
        Entry operator*() const {
            const TavPair_TavString__TavPropertyValue* p =
                TavMap_TavString__TavPropertyValueConstIteratorContentOfConst(&i_);
            return {{TavStringCStr(&p->first), TavStringSize(&p->first)}, ValueRef(&p->second)};
        }
        Iterator& operator++() {
            TavMap_TavString__TavPropertyValueConstIteratorIncrement(&i_);
            return *this;
        }
        bool operator==(const Iterator& o) const { return i_ == o.i_; }
        bool operator!=(const Iterator& o) const { return i_ != o.i_; }

    private:
        TavMap_TavString__TavPropertyValueConstIterator i_;
    };
    Iterator begin() const {
        return Iterator(b_ ? TavMap_TavString__TavPropertyValueBeginConst(&b_->bag.map) : nullptr);
    }
    Iterator end() const {
        return Iterator(b_ ? TavMap_TavString__TavPropertyValueEndConst(&b_->bag.map) : nullptr);
    }

    // A Properties holding a snapshot of a C bag (!ok() when out of memory
    // or source is null); the C bag is locked while it is copied.
    static Properties snapshot_of(const TavProperties* source) { return Properties(source, nullptr); }

private:
    Properties(const TavProperties* source, std::nullptr_t) noexcept
        : b_(source ? Allocate(TavPropertiesGetAllocator(source)) : nullptr) {
        if (b_ != nullptr && TavPropertiesConstructSnapshot(&b_->bag, source) == nullptr) Free();
    }
    static detail::BagBlock* Allocate(TavAllocator* a) {
        void* p = TavAllocatorAllocate(a, sizeof(detail::BagBlock));
        return p ? new (p) detail::BagBlock{{}, a, nullptr} : nullptr;
    }
    void Free() {
        TavAllocatorDeallocate(b_->alloc, b_, sizeof(detail::BagBlock));
        b_ = nullptr;
    }
    // Destroys the bag (its listeners hear the entries go), then leaves the
    // subscriptions without a bag.
    void Release() {
        if (b_ == nullptr) return;
        TavPropertiesDestruct(&b_->bag);
        for (detail::ListenerNode* n = b_->listeners; n != nullptr; n = n->next) n->owner = nullptr;
        Free();
    }
    TavAllocator* Allocator() const { return TavPropertiesGetAllocator(&b_->bag); }

    template <class T>
    bool Store(const char* path, const T& v, bool add);
    template <class F>
    Subscription Listen(TavPropertyListenerTrigger trigger, const char* name, F&& f);

    detail::BagBlock* b_;
};

inline bool operator==(const Properties& a, const Properties& b) {
    if (!a.ok() || !b.ok()) return a.ok() == b.ok();
    return TavPropertiesEqual(a.native(), b.native()) != 0;
}
inline bool operator!=(const Properties& a, const Properties& b) { return !(a == b); }

// ---- the composite kinds ------------------------------------------------

namespace detail {

template <>
struct Kind<Properties> {
    // Stored from a snapshot: the Properties' own listeners stay with it.
    static bool construct(TavPropertyValue* x, const Properties& v, TavAllocator*) {
        const Properties snapshot = v.snapshot();
        return snapshot.ok() &&
               TavPropertyValueConstructProperties(x, snapshot.native(), TAV_TRUE) != nullptr;
    }
    static std::optional<Properties> read(const TavPropertyValue* x) {
        const TavProperties* p = TavPropertyValueGetProperties(x);
        if (p == nullptr) return std::nullopt;
        Properties out = Properties::snapshot_of(p);
        if (!out.ok()) return std::nullopt;
        return out;
    }
    static std::optional<Properties> copyOut(const TavProperties* b, const char* path) {
        Lock lock(b);  // keeps the nested bag alive while it is copied
        const TavProperties* p = TavPropertiesGetPropertiesValueCStr(b, path);
        if (p == nullptr) return std::nullopt;
        Properties out = Properties::snapshot_of(p);
        if (!out.ok()) return std::nullopt;
        return out;
    }
};

template <>
struct Kind<Value> {
    static bool construct(TavPropertyValue* x, const Value& v, TavAllocator*) {
        return v.ok() && TavPropertyValueConstructCopy(x, v.native()) != nullptr;
    }
    static std::optional<Value> read(const TavPropertyValue* x) {
        Value out;
        TavPropertyValueDestruct(out.native());
        if (TavPropertyValueConstructCopy(out.native(), x) == nullptr) {
            TavPropertyValueConstructBool(out.native(), TAV_FALSE, TAV_TRUE);
            return std::nullopt;
        }
        return out;
    }
    static std::optional<Value> copyOut(const TavProperties* b, const char* path) {
        Value out;
        TavPropertyValueDestruct(out.native());
        if (!TavPropertiesCopyPropertyAtPathCStr(b, path, out.native())) {
            TavPropertyValueConstructBool(out.native(), TAV_FALSE, TAV_TRUE);
            return std::nullopt;
        }
        return out;
    }
};

template <>
struct Kind<ValueRef> {
    static bool construct(TavPropertyValue* x, ValueRef v, TavAllocator*) {
        return v && TavPropertyValueConstructCopy(x, v.native()) != nullptr;
    }
};

template <>
struct Kind<Vector> {
    static bool construct(TavPropertyValue* x, const Vector& v, TavAllocator*) {
        return TavPropertyValueConstructVector(x, v.native(), TAV_TRUE) != nullptr;
    }
    static std::optional<Vector> read(const TavPropertyValue* x) {
        const TavVector_TavPropertyValue* v = TavPropertyValueGetVector(x);
        if (v == nullptr) return std::nullopt;
        Vector out(v->allocator);
        if (TavVector_TavPropertyValueAssign(out.native(), v) == nullptr) return std::nullopt;
        return out;
    }
    // Copies the whole value out under the lock, then takes its vector.
    static std::optional<Vector> copyOut(const TavProperties* b, const char* path) {
        std::optional<Value> value = Kind<Value>::copyOut(b, path);
        if (!value || value->type() != TAV_PROPERTYVALUE_TYPE_Vector) return std::nullopt;
        TavVector_TavPropertyValue* inside = &value->native()->u.vec;
        Vector out(inside->allocator);
        TavVector_TavPropertyValueSwap(out.native(), inside);
        return out;
    }
};

template <class R>
struct Kind<RangeOf<R>> {
    static bool construct(TavPropertyValue* x, const R& range, TavAllocator* a) {
        Vector v(a);
        for (const auto& element : range)
            if (!v.push_back(element)) return false;
        return Kind<Vector>::construct(x, v, a);
    }
};

// visit's cases for the plain kinds: X(C++ type, Kind name, ...) as above.
#define TAV_HPP_VISIT_CASE(Cpp, K, C, toC, fromC) \
    case TAV_PROPERTYVALUE_TYPE_##K:              \
        return f(*Kind<Cpp>::read(v));

template <class F>
decltype(auto) Visit(const TavPropertyValue* v, F& f) {
    switch (v->type) {
        TAV_HPP_PLAIN_KINDS(TAV_HPP_VISIT_CASE)
        case TAV_PROPERTYVALUE_TYPE_String:
            return f(*Kind<std::string_view>::read(v));
        case TAV_PROPERTYVALUE_TYPE_Properties:
            return f(static_cast<const TavProperties&>(*v->u.p));
        case TAV_PROPERTYVALUE_TYPE_Vector:
            return f(VectorRef(&v->u.vec));
        default:
            return f(ValueRef(v));
    }
}
#undef TAV_HPP_VISIT_CASE

}  // namespace detail

// ---- definitions ----------------------------------------------------------

template <class T>
std::optional<T> ValueRef::as() const {
    if (v_ == nullptr) return std::nullopt;
    return detail::Kind<detail::Normal<T>>::read(v_);
}

template <class F>
decltype(auto) ValueRef::visit(F&& f) const {
    return detail::Visit(v_, f);
}

template <class T>
bool Vector::push_back(const T& x) {
    TavPropertyValue value;
    if (!detail::Kind<detail::Normal<T>>::construct(&value, x, v_.allocator)) return false;
    const bool ok = TavVector_TavPropertyValuePushBack(&v_, &value) != 0;
    TavPropertyValueDestruct(&value);
    return ok;
}

inline bool Properties::assign(const Properties& o) noexcept {
    if (!o.ok()) return false;
    if (this == &o) return true;
    Properties copy(o);
    if (!copy.ok()) return false;
    if (b_ == nullptr) {
        std::swap(b_, copy.b_);
        return true;
    }
    if (Allocator() != copy.Allocator()) {
        // Entries go into this bag's allocator before the exchange, so that
        // the exchange itself can't fail half-way.
        Properties local(Allocator());
        if (!local.ok() ||
            TavMap_TavString__TavPropertyValueAssign(&local.b_->bag.map, &copy.b_->bag.map) ==
                nullptr)
            return false;
        std::swap(copy.b_, local.b_);
    }
    detail::Lock lock(&b_->bag);
    return TavMap_TavString__TavPropertyValueSwap(&b_->bag.map, &copy.b_->bag.map) != 0;
}

template <class T>
bool Properties::Store(const char* path, const T& v, bool add) {
    if (b_ == nullptr) return false;
    TavPropertyValue value;
    if (!detail::Kind<detail::Normal<T>>::construct(&value, v, Allocator())) return false;
    const bool ok = add ? TavPropertiesAddPropertyAtPathCStr(&b_->bag, path, &value)
                        : TavPropertiesSetPropertyAtPathCStr(&b_->bag, path, &value);
    TavPropertyValueDestruct(&value);
    return ok;
}

inline std::optional<TavPropertyValueType> Properties::type_at(const char* path) const {
    if (b_ == nullptr) return std::nullopt;
    detail::Lock lock(&b_->bag);  // the getter's pointer is read before anyone can remove it
    const TavPropertyValueType* t = TavPropertiesGetTypeValueCStr(&b_->bag, path);
    if (t == nullptr) return std::nullopt;
    return *t;
}

inline std::optional<Names> Properties::names() const {
    if (b_ == nullptr) return std::nullopt;
    Names names(Allocator());
    if (!TavPropertiesGetAllNames(&b_->bag, names.native())) return std::nullopt;
    return names;
}

inline bool Properties::merge(const Properties& o) {
    if (b_ == nullptr) return false;
    const Properties snapshot = o.snapshot();
    return snapshot.ok() && TavPropertiesMerge(&b_->bag, snapshot.native()) != nullptr;
}

inline std::optional<String> Properties::to_json(TavJsonStyle style, TavUint indent) const {
    if (b_ == nullptr) return std::nullopt;
    TavJsonOptions options{};
    options.style = style;
    options.indent = indent;
    String out(Allocator());
    if (TavPropertiesWriteJson(&b_->bag, out.native(), &options) == nullptr) return std::nullopt;
    return out;
}

inline bool Properties::from_json(std::string_view text, TavJsonStyle style,
                                  TavTextError* error) {
    if (b_ == nullptr) return false;
    TavJsonOptions options{};
    options.style = style;
    const char* bytes = text.empty() ? "" : text.data();
    return TavPropertiesReadJson(&b_->bag, bytes, text.size(), &options, error) != 0;
}

template <class F>
Subscription Properties::Listen(TavPropertyListenerTrigger trigger, const char* name, F&& f) {
    using Node = detail::ListenerOf<std::decay_t<F>>;
    static_assert(alignof(Node) <= alignof(std::max_align_t), "over-aligned callable");
    if (b_ == nullptr) return {};
    TavAllocator* a = Allocator();
    void* memory = TavAllocatorAllocate(a, sizeof(Node));
    if (memory == nullptr) return {};
    Node* n = new (memory) Node(std::forward<F>(f));
    n->owner = nullptr;
    n->alloc = a;
    n->call = &Node::Call;
    n->destroy = &Node::Destroy;
    if (TavPropertyListenerConstructCStr(&n->record, trigger, name && *name ? name : nullptr,
                                         &detail::Dispatch, static_cast<detail::ListenerNode*>(n),
                                         a) == nullptr) {
        n->~Node();
        TavAllocatorDeallocate(a, n, sizeof(Node));
        return {};
    }
    detail::Lock lock(&b_->bag);
    if (!TavPropertiesAddListener(&b_->bag, &n->record)) {
        n->destroy(n);
        return {};
    }
    n->owner = b_;
    n->prev = nullptr;
    n->next = b_->listeners;
    if (n->next) n->next->prev = n;
    b_->listeners = n;
    return Subscription(n);
}

}  // namespace tav

#undef TAV_HPP_PLAIN_KINDS

#endif
