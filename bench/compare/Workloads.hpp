// The workloads, written once over the interface every contender offers
// (SetInt, GetInt, SetPath, GetPath, Remove, Build, a copy constructor,
// WriteJson, ReadJson); a workload skips a contender without the operation.
#ifndef TAV_BENCH_COMPARE_WORKLOADS_HPP
#define TAV_BENCH_COMPARE_WORKLOADS_HPP

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Data.hpp"
#include "Harness.hpp"
#include "Report.hpp"

namespace cmp {

template <class Bag>
concept HasPaths = requires(Bag& b, const Path& p) { b.SetPath(p, 0); };
template <class Bag>
concept HasJson = requires(Bag& b, const std::string& s) { b.ReadJson(s); };
template <class Bag>
concept LinearLookup = Bag::kLinearLookup;

template <class Bag>
std::unique_ptr<Bag> EmptyBag() {
    return std::make_unique<Bag>();
}

template <class Bag>
std::unique_ptr<Bag> FilledBag(const std::vector<std::string>& names) {
    auto bag = std::make_unique<Bag>();
    for (std::size_t i = 0; i < names.size(); ++i) bag->SetInt(names[i], static_cast<std::int64_t>(i));
    return bag;
}

// Each key set, then got back, in an empty bag; set(bag, key, value) and
// get(bag, key) say how.
template <class Bag, class Key, class Set, class Get>
Cell SetThenGet(const std::vector<Key>& keys, int reps, Set set, Get get) {
    const Timing t = SampleCpuNs(reps, EmptyBag<Bag>, [&](auto& bag) {
        std::int64_t sum = 0;
        for (std::size_t i = 0; i < keys.size(); ++i) {
            set(*bag, keys[i], static_cast<std::int64_t>(i));
            sum += get(*bag, keys[i]);
        }
        Keep(sum);
    });
    return {t, static_cast<double>(keys.size())};
}

// 1. by plain name.
template <class Bag>
Cell SetGetByName(const std::vector<std::string>& names, int reps) {
    return SetThenGet<Bag>(
        names, reps, [](Bag& b, const std::string& k, std::int64_t v) { b.SetInt(k, v); },
        [](Bag& b, const std::string& k) { return b.GetInt(k); });
}

// 2. at three-level paths, the nested bags created by the sets.
template <class Bag>
Cell SetGetByPath(const std::vector<Path>& paths, int reps) {
    return SetThenGet<Bag>(
        paths, reps, [](Bag& b, const Path& k, std::int64_t v) { b.SetPath(k, v); },
        [](Bag& b, const Path& k) { return b.GetPath(k); });
}

// 3. and scaling: a deep copy of source, its destruction left out.
template <class Bag>
Cell DeepCopy(const Bag& source, int reps, double entries = 1) {
    const Timing t = SampleCpuNs(reps, [] { return std::optional<Bag>(); },
                                  [&](std::optional<Bag>& copy) { copy.emplace(source); });
    return {t, entries};
}

// 4. text into an empty bag; -1 when the contender refuses the text.
template <class Bag, class Read>
Cell ReadText(const std::string& text, int reps, Read read, double entries = 1) {
    if (!read(*EmptyBag<Bag>(), text)) return {};
    const Timing t = SampleCpuNs(reps, EmptyBag<Bag>, [&](auto& bag) { Keep(read(*bag, text)); });
    return {t, entries, static_cast<double>(text.size())};
}

// 5. the bag written into a fresh buffer, its release included.
template <class Bag, class Write>
Cell WriteText(const Bag& bag, int reps, Write write, double entries = 1) {
    std::size_t size = 0;
    const Timing t = SampleCpuNs(reps, [] { return 0; }, [&](int) { size = write(bag); });
    return {t, entries, static_cast<double>(size)};
}

// 6. threads sharing one bag of names, nine reads (the race-free read where
// the bag has one) to one set, wall time per operation.
template <class Bag>
double ContendedOnce(Bag& bag, const std::vector<std::string>& names, int threads, std::size_t opsPerThread) {
    std::atomic<bool> go{false};
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
        pool.emplace_back([&, t] {
            while (!go.load(std::memory_order_acquire)) std::this_thread::yield();
            std::int64_t sum = 0;
            for (std::size_t i = 0; i < opsPerThread; ++i) {
                const std::string& name = names[(i * 7 + static_cast<std::size_t>(t) * 501) % names.size()];
                if (i % 10 == 9) bag.SetInt(name, static_cast<std::int64_t>(i));
                else sum += bag.CopyInt(name);
            }
            Keep(sum);
        });
    const double t0 = WallNs();
    go.store(true, std::memory_order_release);
    for (std::thread& th : pool) th.join();
    return (WallNs() - t0) / static_cast<double>(opsPerThread * static_cast<std::size_t>(threads));
}

// Samples of A and B alternate, so that both meet the same load from the
// rest of the machine (wall time sees all of it); {median of A, median of B}.
template <class A, class B>
std::pair<Cell, Cell> ContendedPair(const std::vector<std::string>& names, std::size_t opsPerThread, int reps) {
    auto a = FilledBag<A>(names);
    auto b = FilledBag<B>(names);
    std::vector<double> samplesA, samplesB;
    for (int r = 0; r < reps; ++r) {
        samplesA.push_back(ContendedOnce(*a, names, 2, opsPerThread));
        samplesB.push_back(ContendedOnce(*b, names, 2, opsPerThread));
    }
    return {Cell(Summarise(samplesA)), Cell(Summarise(samplesB))};
}

// ---- scaling: per operation or per entry at n entries ---------------------

template <class Bag>
void ScaleLookups(std::map<std::string, Cell>& set, std::map<std::string, Cell>& get,
                  std::map<std::string, Cell>& remove, const std::vector<std::string>& names, int reps) {
    const double n = static_cast<double>(names.size());
    set[Bag::kName] = {SampleCpuNs(reps, EmptyBag<Bag>, [&](auto& bag) {
                           for (std::size_t i = 0; i < names.size(); ++i) bag->SetInt(names[i], 1);
                       }), n};
    const auto full = FilledBag<Bag>(names);
    get[Bag::kName] = {SampleCpuNs(reps, [] { return 0; }, [&](int) {
                           std::int64_t sum = 0;
                           for (const std::string& name : names) sum += full->GetInt(name);
                           Keep(sum);
                       }), n};
    remove[Bag::kName] = {SampleCpuNs(reps, [&] { return std::make_unique<Bag>(*full); }, [&](auto& bag) {
                              for (const std::string& name : names) Keep(bag->Remove(name));
                          }), n};
}

// A bag read from JSON text: how the whole-bag operations get their n entries,
// since filling by name would cost a contender with linear lookups n squared.
template <class Bag>
std::unique_ptr<Bag> ParsedBag(const std::string& json) {
    auto bag = std::make_unique<Bag>();
    bag->ReadJson(json);
    return bag;
}

template <class Bag>
void ScaleWholeBag(std::map<std::string, Cell>& copy, std::map<std::string, Cell>& write,
                   std::map<std::string, Cell>& read, const std::vector<std::string>& names,
                   const std::string& json, int reps) {
    const double n = static_cast<double>(names.size());
    const auto full = ParsedBag<Bag>(json);
    copy[Bag::kName] = DeepCopy(*full, reps, n);
    write[Bag::kName] = WriteText(*full, reps, [](const Bag& b) { return b.WriteJson(); }, n);
    read[Bag::kName] = ReadText<Bag>(json, reps, [](Bag& b, const std::string& t) { return b.ReadJson(t); }, n);
}

}  // namespace cmp

#endif
