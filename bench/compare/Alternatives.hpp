// The alternatives this build found (bench/CMakeLists.txt defines
// TAV_BENCH_HAVE_<NAME> for each); a missing one is a missing column.
#ifndef TAV_BENCH_COMPARE_ALTERNATIVES_HPP
#define TAV_BENCH_COMPARE_ALTERNATIVES_HPP

#include <string>

#ifdef TAV_BENCH_HAVE_NLOHMANN
#include "Nlohmann.hpp"
#endif
#ifdef TAV_BENCH_HAVE_RAPIDJSON
#include "RapidJson.hpp"
#endif
#ifdef TAV_BENCH_HAVE_BOOST
#include <boost/version.hpp>

#include "BoostTree.hpp"
#endif
#ifdef TAV_BENCH_HAVE_GST
#include "Gst.hpp"
#endif

namespace cmp {

inline void InitAlternatives() {
#ifdef TAV_BENCH_HAVE_GST
    gst_init(nullptr, nullptr);
#endif
}

// "nlohmann::json 3.11.2, RapidJSON 1.1.0, ..." or "none found".
inline std::string AlternativeVersions() {
    std::string out;
    auto add = [&](const std::string& s) { out += (out.empty() ? "" : ", ") + s; };
#ifdef TAV_BENCH_HAVE_NLOHMANN
    add("nlohmann::json " + std::to_string(NLOHMANN_JSON_VERSION_MAJOR) + "." +
        std::to_string(NLOHMANN_JSON_VERSION_MINOR) + "." + std::to_string(NLOHMANN_JSON_VERSION_PATCH));
#endif
#ifdef TAV_BENCH_HAVE_RAPIDJSON
    add(std::string("RapidJSON ") + RAPIDJSON_VERSION_STRING);
#endif
#ifdef TAV_BENCH_HAVE_BOOST
    add(std::string("Boost.PropertyTree ") + BOOST_LIB_VERSION);
#endif
#ifdef TAV_BENCH_HAVE_GST
    gchar* gst = gst_version_string();
    add(std::string("GstStructure (") + gst + ")");
    g_free(gst);
#endif
    return out.empty() ? "none found" : out;
}

}  // namespace cmp

#endif
