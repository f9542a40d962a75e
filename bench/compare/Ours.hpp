// This library behind the interface every contender offers the workloads
// (see Workloads.hpp): plain names and paths through the typed accessors,
// the deep copy, both JSON writers and both text readers.
#ifndef TAV_BENCH_COMPARE_OURS_HPP
#define TAV_BENCH_COMPARE_OURS_HPP

#include <string>

#include "Data.hpp"
#include "Os/TavProperties.h"

namespace cmp {

class Ours {
public:
    static constexpr const char* kName = "TavProperties";
    explicit Ours(TavAllocator* alloc = TavAllocatorGetDefault()) {
        TavPropertiesConstructDefault(&bag_, alloc);
    }
    Ours(const Ours& other) { TavPropertiesConstructCopy(&bag_, &other.bag_); }
    Ours& operator=(const Ours&) = delete;
    ~Ours() { TavPropertiesDestruct(&bag_); }

    // Names and paths go in through the TavString forms, as the others take
    // their std::string keys: a TavString that borrows the caller's text
    // (capacity 0, so it owns nothing and costs nothing). The CStr forms
    // would add the temporary copy of the name that their contract makes.
    void SetInt(const std::string& name, std::int64_t v) {
        const TavString n = Borrowed(name);
        TavPropertiesSetInt64Value(&bag_, &n, v, TAV_TRUE);
    }
    std::int64_t GetInt(const std::string& name) const {
        const TavString n = Borrowed(name);
        const TavInt64* v = TavPropertiesGetInt64Value(&bag_, &n);
        return v != nullptr ? *v : -1;
    }
    // The read that is safe while other threads set: a copy made under the lock.
    std::int64_t CopyInt(const std::string& name) const {
        const TavString n = Borrowed(name);
        TavInt64 v = -1;
        TavPropertiesCopyInt64Value(&bag_, &n, &v);
        return v;
    }
    void SetPath(const Path& path, std::int64_t v) { SetInt(path.dotted, v); }
    std::int64_t GetPath(const Path& path) const { return GetInt(path.dotted); }
    bool Remove(const std::string& name) {
        const TavString n = Borrowed(name);
        return TavPropertiesRemoveProperty(&bag_, &n);
    }

    void Build(const Tree& tree) {
        std::string path;
        for (const Group& g : tree)
            for (const Leaf& leaf : g.leaves) {
                path = g.name + "." + leaf.name;
                std::visit([&](const auto& x) { Store(path.c_str(), x); }, leaf.value);
            }
    }

    // The fixed-form writer (typed, the bytes other modules rely on).
    std::size_t ToJson() const { return Written(TavPropertiesToJson); }
    // The standard writer, plain style, one line.
    std::size_t WriteJson() const { return Written(WriteJsonPlain); }
    std::string JsonText() const {
        TavString out;
        TavStringConstructDefault(&out, TavAllocatorGetDefault());
        WriteJsonPlain(&bag_, &out);
        std::string text(TavStringCStr(&out), TavStringSize(&out));
        TavStringDestruct(&out);
        return text;
    }
    bool ReadJson(const std::string& text) {
        return TavPropertiesReadJson(&bag_, text.data(), text.size(), nullptr, nullptr);
    }
    bool ReadOneLine(const std::string& text) { return TavPropertiesReadFromString(&bag_, text.c_str()); }

private:
    TavString Borrowed(const std::string& text) const {
        return TavString{TavPropertiesGetAllocator(&bag_), const_cast<char*>(text.c_str()),
                         text.size(), 0};
    }
    void Store(const char* path, std::int64_t v) { TavPropertiesSetInt64ValueCStr(&bag_, path, v, TAV_TRUE); }
    void Store(const char* path, double v) { TavPropertiesSetFloat64ValueCStr(&bag_, path, v, TAV_TRUE); }
    void Store(const char* path, const std::string& v) {
        TavPropertiesSetStringCStrValueCStr(&bag_, path, v.c_str(), TAV_TRUE);
    }
    static const TavString* WriteJsonPlain(const TavProperties* bag, TavString* out) {
        return TavPropertiesWriteJson(bag, out, nullptr);
    }
    // Size of what write puts in a fresh string, the string's release included.
    std::size_t Written(const TavString* (*write)(const TavProperties*, TavString*)) const {
        TavString out;
        TavStringConstructDefault(&out, TavAllocatorGetDefault());
        write(&bag_, &out);
        const std::size_t size = TavStringSize(&out);
        TavStringDestruct(&out);
        return size;
    }

    TavProperties bag_;
};

}  // namespace cmp

#endif
