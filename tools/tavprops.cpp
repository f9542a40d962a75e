// tavprops: reads property bags written in the one-line property syntax,
// merges them, applies edits and writes the result as JSON, XML or a dump.
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "Os/TavProperties.h"

namespace {

constexpr const char* kUsage = R"(Usage: tavprops [OPTION]... [TEXT]...

Reads property bags written in the one-line property syntax from the TEXT
arguments or, when there are none, from standard input (one bag per line,
blank lines skipped), merges them in order, applies the edits in the order
given, and writes the result to standard output.

The syntax: entries separated by "," with no blanks anywhere,
  name=T  name=F         boolean
  name=12                unsigned integer
  name=-3  name=+3       signed integer
  name=0.5               floating-point number
  name="some text"       string (no double quotes or escapes inside)
  name{a=1,b=F}          nested bag
for example:  video{width=640,height=480,codec="h264"},live=T

Merging: nested bags are merged entry by entry; for any other entry the
input that comes later wins.

Options:
  --json             write JSON (the default)
  --xml              write XML-like text
  --dump             write an indented dump
  --set PATH=VALUE   store VALUE at PATH ("a.b" is entry b of nested bag a);
                     VALUE is written as after "name=" (or "{...}" for a bag)
  --remove PATH      remove the entry at PATH
  --get PATH         write only the entry at PATH (may be given several times)
  -h, --help         show this help

Exit status: 0 on success, 1 on invalid input or an edit that cannot be made,
2 on a usage error. Nothing is written to standard output on failure.
)";

// A bag for the length of a scope.
class Bag {
public:
    Bag() { ok_ = TavPropertiesConstructDefault(&bag_, TavAllocatorGetDefault()) != nullptr; }
    ~Bag() {
        if (ok_) TavPropertiesDestruct(&bag_);
    }
    Bag(const Bag&) = delete;
    Bag& operator=(const Bag&) = delete;
    bool ok() const { return ok_; }
    TavProperties* get() { return &bag_; }

private:
    TavProperties bag_;
    bool ok_ = false;
};

enum class Format { Json, Xml, Dump };

struct Edit {
    enum class Kind { Set, Remove } kind;
    std::string path;
    std::string value;  // Set only
};

struct Input {
    std::string origin;  // how the input is named in messages
    std::string text;
};

struct Options {
    Format format = Format::Json;
    std::vector<Edit> edits;
    std::vector<std::string> gets;
    std::vector<Input> inputs;
    bool help = false;
};

// Why a run stopped: its exit status and the message for standard error.
struct Failure {
    int status;
    std::string message;
};
using Outcome = std::optional<Failure>;  // empty: success

Failure Usage(const std::string& message) { return {2, message}; }
Failure Error(const std::string& message) { return {1, message}; }
const Failure kOutOfMemory = {1, "out of memory"};

std::string Quoted(const std::string& s) { return "\"" + s + "\""; }

// Splits PATH=VALUE at its first "=".
Outcome ParseSet(const std::string& arg, Options& o) {
    const std::size_t eq = arg.find('=');
    if (eq == std::string::npos || eq == 0) return Usage("--set expects PATH=VALUE, got " + Quoted(arg));
    o.edits.push_back({Edit::Kind::Set, arg.substr(0, eq), arg.substr(eq + 1)});
    return {};
}

// Options that take an operand: --set, --remove, --get.
Outcome ParseOperandOption(const std::string& option, const std::string& operand, Options& o) {
    if (option == "--set") return ParseSet(operand, o);
    if (option == "--remove") o.edits.push_back({Edit::Kind::Remove, operand, {}});
    if (option == "--get") o.gets.push_back(operand);
    return {};
}

// Options without an operand; false when option is none of them.
bool ParseFlag(const std::string& option, Options& o) {
    if (option == "--json") o.format = Format::Json;
    else if (option == "--xml") o.format = Format::Xml;
    else if (option == "--dump") o.format = Format::Dump;
    else if (option == "-h" || option == "--help") o.help = true;
    else return false;
    return true;
}

Outcome ParseArguments(int argc, char** argv, Options& o) {
    bool optionsDone = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (optionsDone || arg.empty() || arg[0] != '-') {
            o.inputs.push_back({"argument " + std::to_string(i) + " " + Quoted(arg), arg});
        } else if (arg == "--") {
            optionsDone = true;
        } else if (arg == "--set" || arg == "--remove" || arg == "--get") {
            if (i + 1 >= argc) return Usage(arg + " needs an argument");
            if (Outcome f = ParseOperandOption(arg, argv[++i], o)) return f;
        } else if (!ParseFlag(arg, o)) {
            return Usage("unknown option " + Quoted(arg) + " (see --help)");
        }
    }
    return {};
}

std::vector<Input> ReadStandardInput() {
    std::vector<Input> inputs;
    std::string line;
    for (int number = 1; std::getline(std::cin, line); ++number) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty()) continue;
        inputs.push_back({"standard input line " + std::to_string(number), line});
    }
    return inputs;
}

// Later inputs win: the bag read so far is merged into the newer one, whose
// values, being read from text, are not settable and so are kept.
Outcome MergeInputs(const std::vector<Input>& inputs, TavProperties* result) {
    for (const Input& input : inputs) {
        Bag newer;
        if (!newer.ok()) return kOutOfMemory;
        if (!TavPropertiesReadFromString(newer.get(), input.text.c_str())) {
            return Error(input.origin + ": not valid property syntax");
        }
        if (TavPropertiesMerge(newer.get(), result) == nullptr ||
            TavPropertiesAssign(result, newer.get()) == nullptr) {
            return kOutOfMemory;
        }
    }
    return {};
}

// Stores value at path. Values read from text are fixed, so replacing one
// means removing it first.
bool Store(TavProperties* bag, const char* path, const TavPropertyValue* value) {
    return TavPropertiesSetPropertyAtPathCStr(bag, path, value) ||
           (TavPropertiesRemovePropertyAtPathCStr(bag, path) &&
            TavPropertiesSetPropertyAtPathCStr(bag, path, value));
}

// The value of an edit is read as the value of an entry named "x".
Outcome ApplySet(const Edit& edit, TavProperties* bag) {
    Bag scratch;
    if (!scratch.ok()) return kOutOfMemory;
    const std::string text = (edit.value.rfind('{', 0) == 0 ? "x" : "x=") + edit.value;
    const TavPropertyValue* value = nullptr;
    if (TavPropertiesReadFromString(scratch.get(), text.c_str())) {
        value = TavPropertiesGetPropertyCStrConst(scratch.get(), "x");
    }
    if (value == nullptr) {
        return Error("--set " + edit.path + "=" + edit.value + ": value " + Quoted(edit.value) +
                     " is not valid property syntax");
    }
    if (!Store(bag, edit.path.c_str(), value)) {
        return Error("--set " + edit.path + ": cannot store a value at this path");
    }
    return {};
}

Outcome ApplyEdits(const std::vector<Edit>& edits, TavProperties* bag) {
    for (const Edit& edit : edits) {
        if (edit.kind == Edit::Kind::Set) {
            if (Outcome f = ApplySet(edit, bag)) return f;
        } else if (!TavPropertiesRemovePropertyAtPathCStr(bag, edit.path.c_str())) {
            return Error("--remove " + edit.path + ": no entry at this path");
        }
    }
    return {};
}

// A bag holding the requested entries, each under its path as its name.
Outcome Select(const std::vector<std::string>& paths, TavProperties* from, TavProperties* to) {
    for (const std::string& path : paths) {
        const TavPropertyValue* v = TavPropertiesGetPropertyAtPathCStrConst(from, path.c_str());
        if (v == nullptr) return Error("--get " + path + ": no entry at this path");
        TavPropertiesAddPropertyCStr(to, path.c_str(), v);
    }
    return {};
}

// The JSON (with a line end) or XML text of bag.
Outcome Render(Format format, TavProperties* bag, std::string& out) {
    TavString text;
    TavStringConstructDefault(&text, TavAllocatorGetDefault());
    bool ok = true;
    if (format == Format::Json) {
        ok = TavPropertiesToJson(bag, &text) != nullptr && TavStringAppendChar(&text, '\n');
    } else {
        TavPropertiesToXml(bag, &text);
    }
    out.assign(TavStringCStr(&text), TavStringSize(&text));
    TavStringDestruct(&text);
    if (!ok) return Error("cannot write JSON (out of memory, or bags nested too deeply)");
    return {};
}

Outcome Write(Format format, TavProperties* bag) {
    if (format == Format::Dump) {
        TavFile file;
        TavFileConstructStream(&file, stdout);
        TavPropertiesPrint(bag, &file, "");
        TavFileDestruct(&file);
        return {};
    }
    std::string out;
    if (Outcome f = Render(format, bag, out)) return f;
    std::fwrite(out.data(), 1, out.size(), stdout);
    return {};
}

// Writes the whole result, or only the entries asked for with --get.
Outcome WriteResult(const Options& o, TavProperties* result) {
    if (o.gets.empty()) return Write(o.format, result);
    Bag selected;
    if (!selected.ok()) return kOutOfMemory;
    if (Outcome f = Select(o.gets, result, selected.get())) return f;
    return Write(o.format, selected.get());
}

Outcome Run(int argc, char** argv) {
    Options o;
    if (Outcome f = ParseArguments(argc, argv, o)) return f;
    if (o.help) {
        std::fputs(kUsage, stdout);
        return {};
    }
    if (o.inputs.empty()) o.inputs = ReadStandardInput();
    Bag result;
    if (!result.ok()) return kOutOfMemory;
    if (Outcome f = MergeInputs(o.inputs, result.get())) return f;
    if (Outcome f = ApplyEdits(o.edits, result.get())) return f;
    return WriteResult(o, result.get());
}

}  // namespace

int main(int argc, char** argv) {
    const Outcome failure = Run(argc, argv);
    if (!failure) return 0;
    std::cerr << "tavprops: " << failure->message << "\n";
    return failure->status;
}
