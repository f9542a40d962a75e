// tavprops: reads property bags written in the one-line property syntax or
// as JSON, merges them, applies edits and writes the result as JSON, XML or a
// dump.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Os/TavProperties.h"
#include "Os/TavPropertiesVersion.h"

namespace {

constexpr const char* kUsage = R"(Usage: tavprops [OPTION]... [TEXT]...

Reads property bags from the TEXT arguments and the files given with --file,
in the order given, or, when there are none, from standard input; merges them
in order, applies the edits in the order given, and writes the result to
standard output.

An input whose first character (after white space) is "{" is one JSON
document (an object at the top). Any other input is in the one-line property
syntax; standard input and files then hold one bag per line (blank lines
skipped). A NUL byte anywhere in an input is refused.

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
  --file PATH        read an input from the file PATH (may be given several times)
  --json             write standard JSON (the default)
  --typed            JSON in and out in the typed style, each value written
                     {"type":WORD,"value":V}, so that every kind reads back
  --indent N         standard JSON with N spaces per level, one entry a line
  --legacy-json      write the earlier fixed-form JSON, byte for byte as before
                     (always typed; not always valid JSON)
  --xml              write well-formed XML
  --legacy-xml       write the earlier XML-like text (one line per entry,
                     nothing escaped, no root element), byte for byte as before
  --dump             write an indented dump
  --set PATH=VALUE   store VALUE at PATH ("a.b" is entry b of nested bag a);
                     VALUE is written as after "name=" (or "{...}" for a bag)
  --remove PATH      remove the entry at PATH
  --get PATH         write only the entry at PATH (may be given several times)
  --version          show the version
  -h, --help         show this help

A PATH is names separated by "."; a name may end with an index of a vector
element in brackets, digits only ("list[2].x"); a backslash takes the next
character into the name. Empty names, unclosed brackets and indexes on a
value that is not a vector are refused.

Exit status: 0 on success, 1 on invalid input, an edit that cannot be made or
a failed write to standard output, 2 on a usage error. Nothing is written to standard output on failure.
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

enum class Format { Json, LegacyJson, Xml, LegacyXml, Dump };

struct Edit {
    enum class Kind { Set, Remove } kind;
    std::string path;
    std::string value;  // Set only
};

struct Input {
    std::string origin;  // how the input is named in messages
    std::string text;
    bool whole = false;  // standard input or a file, not yet split into lines
    std::string path;    // of the file; empty for standard input
    bool json = false;   // set when loaded
};

struct Options {
    Format format = Format::Json;
    TavJsonOptions json{};
    std::vector<Edit> edits;
    std::vector<std::string> gets;
    std::vector<Input> inputs;
    bool help = false;
    bool version = false;
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

// The operand of --indent: a plain decimal number up to 32.
Outcome ParseIndent(const std::string& operand, Options& o) {
    const bool digits = !operand.empty() && operand.size() <= 2 &&
                        operand.find_first_not_of("0123456789") == std::string::npos;
    if (!digits || std::stoul(operand) > 32) {
        return Usage("--indent expects a number of spaces from 0 to 32, got " + Quoted(operand));
    }
    o.json.indent = static_cast<TavUint>(std::stoul(operand));
    return {};
}

// Options that take an operand: --set, --remove, --get, --file, --indent.
Outcome ParseOperandOption(const std::string& option, const std::string& operand, Options& o) {
    if (option == "--set") return ParseSet(operand, o);
    if (option == "--indent") return ParseIndent(operand, o);
    if (option == "--remove") o.edits.push_back({Edit::Kind::Remove, operand, {}});
    if (option == "--get") o.gets.push_back(operand);
    if (option == "--file") {
        if (operand.empty()) return Usage("--file needs a file name");
        o.inputs.push_back({"file " + Quoted(operand), {}, true, operand, false});
    }
    return {};
}

bool TakesOperand(const std::string& option) {
    return option == "--set" || option == "--remove" || option == "--get" || option == "--file" ||
           option == "--indent";
}

// Options without an operand; false when option is none of them.
bool ParseFlag(const std::string& option, Options& o) {
    if (option == "--json") o.format = Format::Json;
    else if (option == "--legacy-json") o.format = Format::LegacyJson;
    else if (option == "--typed") o.json.style = TAV_JSON_TYPED;
    else if (option == "--version") o.version = true;
    else if (option == "--xml") o.format = Format::Xml;
    else if (option == "--legacy-xml") o.format = Format::LegacyXml;
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
            o.inputs.push_back({"argument " + std::to_string(i) + " " + Quoted(arg), arg, false, {}, false});
        } else if (arg == "--") {
            optionsDone = true;
        } else if (TakesOperand(arg)) {
            if (i + 1 >= argc) return Usage(arg + " needs an argument");
            if (Outcome f = ParseOperandOption(arg, argv[++i], o)) return f;
        } else if (!ParseFlag(arg, o)) {
            return Usage("unknown option " + Quoted(arg) + " (see --help)");
        }
    }
    return {};
}

bool StartsAsJson(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    return first != std::string::npos && text[first] == '{';
}

// "line L, column C" (both from 1) of the byte at offset.
std::string Position(const std::string& text, std::size_t offset) {
    std::size_t line = 1, lineStart = 0;
    for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
        if (text[i] == '\n') ++line, lineStart = i + 1;
    }
    return "line " + std::to_string(line) + ", column " + std::to_string(offset - lineStart + 1);
}

// A NUL byte would silently end the text for the one-line reader, so any
// input holding one is refused whatever its syntax.
Outcome RefuseNul(const Input& input) {
    const std::size_t nul = input.text.find('\0');
    if (nul == std::string::npos) return {};
    return Error(input.origin + ": NUL byte at offset " + std::to_string(nul) + " (" +
                 Position(input.text, nul) + ")");
}

// Splits a whole input in the one-line syntax into one input per non-blank line.
void AppendLines(const Input& whole, std::vector<Input>& inputs) {
    std::size_t start = 0;
    for (int number = 1; start < whole.text.size(); ++number) {
        std::size_t end = whole.text.find('\n', start);
        if (end == std::string::npos) end = whole.text.size();
        std::string line = whole.text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty()) inputs.push_back({whole.origin + " line " + std::to_string(number), line, false, {}, false});
        start = end + 1;
    }
}

// Reads standard input (path empty) or a file whole into input.text.
Outcome ReadWhole(const std::string& path, Input& input) {
    if (path.empty()) {
        input.text.assign(std::istreambuf_iterator<char>(std::cin), {});
        if (std::cin.bad()) return Error("cannot read standard input");
        return {};
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) return Error(input.origin + ": cannot open: " + std::strerror(errno));
    input.text.assign(std::istreambuf_iterator<char>(file), {});
    if (file.bad()) return Error(input.origin + ": cannot read");
    return {};
}

// Reads standard input and the files, then splits those in the one-line
// syntax into lines; a JSON document stays whole.
Outcome LoadInputs(std::vector<Input>& inputs) {
    if (inputs.empty()) inputs.push_back({"standard input", {}, true, {}, false});
    std::vector<Input> loaded;
    for (Input& input : inputs) {
        if (input.whole) {
            if (Outcome f = ReadWhole(input.path, input)) return f;
        }
        if (Outcome f = RefuseNul(input)) return f;
        input.json = StartsAsJson(input.text);
        if (input.whole && !input.json) {
            AppendLines(input, loaded);
        } else {
            loaded.push_back(input);
        }
    }
    inputs.swap(loaded);
    return {};
}

// Reads one input, JSON or the one-line syntax, into bag; values read are
// not settable, which the merge below relies on.
Outcome ReadInput(const Input& input, const TavJsonOptions& json, TavProperties* bag) {
    if (!input.json) {
        if (TavPropertiesReadFromString(bag, input.text.c_str())) return {};
        return Error(input.origin + ": not valid property syntax");
    }
    TavJsonOptions options = json;
    options.readOnly = 1;
    TavTextError e{};
    if (TavPropertiesReadJson(bag, input.text.data(), input.text.size(), &options, &e)) return {};
    const std::string member =
        e.member != nullptr ? " (member \"" + std::string(e.member, e.memberSize) + "\")" : "";
    return Error(input.origin + ": invalid JSON at offset " + std::to_string(e.offset) + " (line " +
                 std::to_string(e.line) + ", column " + std::to_string(e.column) + "): " +
                 (e.message ? e.message : "refused") + member);
}

// Later inputs win: the bag read so far is merged into the newer one, whose
// values, being read from text, are not settable and so are kept.
Outcome MergeInputs(const std::vector<Input>& inputs, const TavJsonOptions& json,
                    TavProperties* result) {
    for (const Input& input : inputs) {
        Bag newer;
        if (!newer.ok()) return kOutOfMemory;
        if (Outcome f = ReadInput(input, json, newer.get())) return f;
        if (TavPropertiesMerge(newer.get(), result) == nullptr ||
            TavPropertiesAssign(result, newer.get()) == nullptr) {
            return Error(input.origin + ": cannot merge (out of memory, or bags nested deeper than 63 levels)");
        }
    }
    return {};
}

// Where each index of a checked path is: the path up to the end of the name
// it follows, which must then name a vector.
using IndexedPrefixes = std::vector<std::string>;

// The bracket group at path[open] ('['): digits only, then ']' ending the
// name. Returns the position after ']' or an error message.
std::variant<std::size_t, std::string> CheckIndex(const std::string& path, std::size_t open) {
    const std::size_t close = path.find(']', open);
    if (close == std::string::npos) return std::string("unclosed bracket");
    const std::string digits = path.substr(open + 1, close - open - 1);
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) {
        return "index [" + digits + "] is not a plain decimal number";
    }
    // Too large an index would read as "no index" and address the vector itself.
    if (digits.size() > 18) return "index [" + digits + "] is too large";
    if (close + 1 < path.size() && path[close + 1] != '.') {
        return std::string("an index must end its name");
    }
    return close + 1;
}

// Refuses what the library would read as another entry than the one
// written: empty names, unclosed brackets, indexes that are not plain
// numbers, anything after an index within a name.
std::optional<std::string> CheckPath(const std::string& path, IndexedPrefixes& indexed) {
    std::size_t nameLength = 0;
    for (std::size_t i = 0; i <= path.size();) {
        const char c = i < path.size() ? path[i] : '.';
        if (c == '.') {
            if (nameLength == 0) return std::string("empty name");
            nameLength = 0;
            ++i;
        } else if (c == '[') {
            if (nameLength == 0) return std::string("empty name");
            indexed.push_back(path.substr(0, i));
            auto next = CheckIndex(path, i);
            if (auto* message = std::get_if<std::string>(&next)) return *message;
            i = std::get<std::size_t>(next);
            if (i == path.size()) break;
        } else {
            i += (c == '\\' && i + 1 < path.size()) ? 2 : 1;
            ++nameLength;
        }
    }
    return {};
}

// Checks path for an option (--get, --set, --remove) against bag: well
// formed, and every index on a vector.
Outcome CheckPathIn(const std::string& option, const std::string& path, const TavProperties* bag) {
    IndexedPrefixes indexed;
    if (auto message = CheckPath(path, indexed)) {
        return Error(option + " " + path + ": malformed path: " + *message);
    }
    for (const std::string& prefix : indexed) {
        const TavPropertyValue* v = TavPropertiesGetPropertyAtPathCStrConst(bag, prefix.c_str());
        if (v != nullptr && TavPropertyValueGetType(v) != TAV_PROPERTYVALUE_TYPE_Vector) {
            return Error(option + " " + path + ": " + prefix + " is not a vector");
        }
    }
    return {};
}

bool MakeVectorsEditable(TavProperties* bag);

// A vector and everything in it becomes settable; a nested bag in it has its
// own vectors made so. False when out of memory.
bool MakeEditable(TavPropertyValue* v) {
    v->settable = TAV_TRUE;
    if (TavPropertyValueGetType(v) == TAV_PROPERTYVALUE_TYPE_Properties) return MakeVectorsEditable(v->u.p);
    if (TavPropertyValueGetType(v) != TAV_PROPERTYVALUE_TYPE_Vector) return true;
    for (TavPropertyValue* e = v->u.vec.begin; e != v->u.vec.end; ++e) {
        if (!MakeEditable(e)) return false;
    }
    return true;
}

// Inputs are read with fixed values so that the merge keeps the later input's
// entries; a vector can only be edited element by element when it and its
// elements are settable, so once merged every vector (found only in JSON
// inputs) is made so. The bag is the tool's own: no listener, no other thread.
// Entries outside vectors stay fixed and are replaced by remove-then-add.
bool MakeVectorsEditable(TavProperties* bag) {
    TavVector_TavString names;
    if (TavVector_TavStringConstructDefault(&names, TavAllocatorGetDefault()) == nullptr) return false;
    bool ok = TavPropertiesGetAllNames(bag, &names);
    for (TavString* name = names.begin; ok && name != names.end; ++name) {
        TavPropertyValue* v = TavPropertiesGetProperty(bag, name);
        const TavPropertyValueType type = TavPropertyValueGetType(v);
        if (type == TAV_PROPERTYVALUE_TYPE_Vector) ok = MakeEditable(v);
        if (type == TAV_PROPERTYVALUE_TYPE_Properties) ok = MakeVectorsEditable(v->u.p);
    }
    TavVector_TavStringDestruct(&names);
    return ok;
}

// Stores value at path. Values read from text are fixed, so replacing one
// means removing it first, then adding: for a vector element, Add inserts at
// the index where Set would land on the element after it.
bool Store(TavProperties* bag, const char* path, const TavPropertyValue* value) {
    return TavPropertiesSetPropertyAtPathCStr(bag, path, value) ||
           (TavPropertiesRemovePropertyAtPathCStr(bag, path) &&
            TavPropertiesAddPropertyAtPathCStr(bag, path, value));
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
    if (Outcome f = CheckPathIn("--set", edit.path, bag)) return f;
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
            continue;
        }
        if (Outcome f = CheckPathIn("--remove", edit.path, bag)) return f;
        if (!TavPropertiesRemovePropertyAtPathCStr(bag, edit.path.c_str())) {
            return Error("--remove " + edit.path + ": no entry at this path");
        }
    }
    return {};
}

// A bag holding the requested entries, each under its path as its name.
Outcome Select(const std::vector<std::string>& paths, TavProperties* from, TavProperties* to) {
    for (const std::string& path : paths) {
        if (Outcome f = CheckPathIn("--get", path, from)) return f;
        const TavPropertyValue* v = TavPropertiesGetPropertyAtPathCStrConst(from, path.c_str());
        if (v == nullptr) return Error("--get " + path + ": no entry at this path");
        TavPropertiesAddPropertyCStr(to, path.c_str(), v);
    }
    return {};
}

// The JSON (with a line end) or XML text of bag; only the earlier XML-like
// text can't fail.
Outcome Render(const Options& o, TavProperties* bag, std::string& out) {
    TavString text;
    TavStringConstructDefault(&text, TavAllocatorGetDefault());
    bool ok = true;
    if (o.format == Format::Json) {
        ok = TavPropertiesWriteJson(bag, &text, &o.json) != nullptr && TavStringAppendChar(&text, '\n');
    } else if (o.format == Format::LegacyJson) {
        ok = TavPropertiesToJson(bag, &text) != nullptr && TavStringAppendChar(&text, '\n');
    } else if (o.format == Format::Xml) {
        ok = TavPropertiesWriteXml(bag, &text) != nullptr;
    } else {
        TavPropertiesToXml(bag, &text);
    }
    out.assign(TavStringCStr(&text), TavStringSize(&text));
    TavStringDestruct(&text);
    if (!ok) return Error("cannot make the output text (out of memory, or bags nested too deeply)");
    return {};
}

Outcome Write(const Options& o, TavProperties* bag) {
    if (o.format == Format::Dump) {
        TavFile file;
        TavFileConstructStream(&file, stdout);
        TavPropertiesPrint(bag, &file, "");
        TavFileDestruct(&file);
        return {};
    }
    std::string out;
    if (Outcome f = Render(o, bag, out)) return f;
    std::fwrite(out.data(), 1, out.size(), stdout);  // errors are sticky: see FlushOutput
    return {};
}

// Writes the whole result, or only the entries asked for with --get.
Outcome WriteResult(const Options& o, TavProperties* result) {
    if (o.gets.empty()) return Write(o, result);
    Bag selected;
    if (!selected.ok()) return kOutOfMemory;
    if (Outcome f = Select(o.gets, result, selected.get())) return f;
    return Write(o, selected.get());
}

Outcome Run(int argc, char** argv) {
    Options o;
    if (Outcome f = ParseArguments(argc, argv, o)) return f;
    if (o.help || o.version) {
        std::fputs(o.help ? kUsage : "tavprops " TAV_PROPERTIES_VERSION "\n", stdout);
        return {};
    }
    if (Outcome f = LoadInputs(o.inputs)) return f;
    Bag result;
    if (!result.ok()) return kOutOfMemory;
    if (Outcome f = MergeInputs(o.inputs, o.json, result.get())) return f;
    if (!MakeVectorsEditable(result.get())) return kOutOfMemory;
    if (Outcome f = ApplyEdits(o.edits, result.get())) return f;
    return WriteResult(o, result.get());
}

// A write that failed (a closed pipe, a full disk) is an error like any
// other: the reader of the output must not take a truncated text for whole.
Outcome FlushOutput() {
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return {};
    return Error(std::string("cannot write to standard output: ") + std::strerror(errno));
}

}  // namespace

int main(int argc, char** argv) {
    // A closed pipe then shows as EPIPE, reported below, instead of a silent death.
    std::signal(SIGPIPE, SIG_IGN);
    Outcome failure = Run(argc, argv);
    if (!failure) failure = FlushOutput();
    if (!failure) return 0;
    std::cerr << "tavprops: " << failure->message << "\n";
    return failure->status;
}
