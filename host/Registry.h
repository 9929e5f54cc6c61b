// The one list of all operations. The command line, its help and man pages, JSON listings, language bindings and
// generated tests are made from it. Adding an operation is one entry in one of host/registry/*.cpp.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Values.h"

namespace velhost {

class Module;

// What an operation does with its result.
enum class ResultKind {
    InPlace,      // the input image's pixels are changed
    Replaces,     // the input image takes over a new image
    NewImage,     // a new image
    Destination,  // pixels are written into a destination image that the caller supplies
};

// What an operation makes of an image's palette.
enum class PaletteUse {
    Ignores,  // indexes are computed with as if they were greys
    Keeps,    // indexes are moved, not computed with: a new image gets the input's palette from Run
    Reads,    // colours are looked up in it
};

// One image that an operation takes.
struct ImageArgument {
    std::string name;  // kebab-case, also the name of the option that gives it
    std::string doc;
    enum Role { Source, Destination, Mask } role = Source;
    bool required = true;  // a destination that is not required is made when it is not given
};

// What holds for an operation beyond its parameters, for people and for generated documents.
struct RuleCard {
    std::vector<int> acts;         // bits per pixel that are computed
    std::vector<int> leavesAlone;  // success, but the pixels stay as they are (or as a new image has them)
    std::vector<int> refuses;      // a failing result
    std::string depths;            // conditions beyond the depth: formats, pairs of depths
    std::string border;            // what lies outside the image
    std::string rounding;
    std::string saturation;
    std::string alpha;
    std::vector<int> blueFirst;  // depths at which blue and red are treated differently; blue is first in memory
    bool namesChannels = false;  // arguments name a channel or a colour
    std::string random;          // what is drawn; empty when nothing is
    std::string window;          // pixels that one result pixel looks at
    std::string tiling;          // how the result can be computed in parts
    bool tileable = false;       // parts with a margin of the window give the same pixels as the whole
    std::vector<std::pair<std::string, std::string>> results;  // result code, its meaning here
};

// Offsets, all included, of the pixels that one result pixel looks at; both zero for the pixel alone.
struct Window {
    int64_t left = 0, top = 0, right = 0, bottom = 0;
};

// A depth question, answered before or after a run.
struct Verdict {
    enum Kind {
        Acts,
        LeavesAlone,   // success without a change
        Refuses,       // a failing result, nothing written
        ActsButFails,  // pixels are written although the result is a failure
        Impossible,    // the call must not be made: the images do not meet what the operation relies on
    } kind = Acts;
    std::string note;  // for people; names the way where there is one
};

using Arguments = std::map<std::string, Value, std::less<>>;

// Images of one call by argument name. The caller keeps its references; absent or null means not given.
using Images = std::map<std::string, IVEL*, std::less<>>;

struct Operation;

// One call as an entry's function sees it.
class Call {
public:
    Call(const Operation& operation, Module* module, const Images& images, const Arguments& arguments)
        : m_operation(operation), m_module(module), m_images(images), m_arguments(arguments) {}

    Module& Components() const { return *m_module; }
    IVEL* Image(std::string_view name) const;
    // The argument, or its default.
    const Value& Get(std::string_view name) const;
    bool Has(std::string_view name) const { return Given(Get(name)); }
    int Int(std::string_view name) const { return static_cast<int>(std::get<int64_t>(Get(name))); }
    double Float(std::string_view name) const { return std::get<double>(Get(name)); }
    bool Flag(std::string_view name) const { return std::get<bool>(Get(name)); }
    template <class T>
    const T& As(std::string_view name) const {
        return std::get<T>(Get(name));
    }

    SmartPtr<IVEL> result;         // the image that holds the result
    std::optional<int64_t> count;  // where the result code is a count

private:
    const Operation& m_operation;
    Module* m_module;  // null where nothing is run
    const Images& m_images;
    const Arguments& m_arguments;
};

struct Operation {
    std::string name;  // kebab-case
    std::vector<std::string> aliases;
    std::string component;  // object name, as in CreateFunction
    std::string method;     // its name in the component
    std::string summary;    // one line
    std::string details;    // a paragraph on what is special
    std::vector<ImageArgument> images;
    std::vector<Parameter> parameters;
    ResultKind result = ResultKind::NewImage;
    PaletteUse palette = PaletteUse::Ignores;
    RuleCard rules;
    std::string counts;  // what Call::count counts; empty when nothing
    // Parameter (and values in text form) that shows best what the operation does; empty when it has none.
    std::string mainParameter;
    std::vector<std::string> mainValues;
    // Arguments that make a presentable picture, where a required parameter has no default.
    std::map<std::string, std::string> example;
    // Files that the example is run with, as a command line names them.
    std::string exampleFiles = "-i photo.png -o result.png";

    HRESULT (*run)(Call& call) = nullptr;
    Window (*window)(const Call& call) = nullptr;         // null: see rules.window
    Verdict (*verdict)(const Call& call) = nullptr;       // null: by the depth lists of the rules
    PaletteUse (*paletteOf)(const Call& call) = nullptr;  // where `palette` depends on the arguments

    const Parameter* FindParameter(std::string_view name) const;
    const ImageArgument* FindImage(std::string_view name) const;
};

// All operations, grouped by component.
const std::vector<Operation>& Operations();
// By name or alias; underscores count as hyphens. Null when there is none.
const Operation* FindOperation(std::string_view name);
// Names (and aliases on request).
std::vector<std::string> OperationNames(bool withAliases = false);

struct Outcome {
    HRESULT code = S_OK;
    SmartPtr<IVEL> image;            // what holds the result; empty after a failure
    std::optional<int64_t> count;    // where the operation counts
    bool failed = false;             // the run is a failure for the caller
    std::string error;               // one line, when it failed
    std::vector<std::string> notes;  // what a user should know although it succeeded
};

// Checks the arguments and images against the entry: unknown names, missing ones, types and ranges.
bool CheckCall(const Operation& operation, const Images& images, const Arguments& arguments, std::string* error);

// Runs the operation through the module's binary interface. An image that the operation changes in place is changed.
Outcome Run(Module& module, const Operation& operation, const Images& images, const Arguments& arguments);

// What the operation does with these images and arguments, judged by its rules without running it.
Verdict Judge(const Operation& operation, const Images& images, const Arguments& arguments);

// "E_FAIL", "S_OK" or the hexadecimal form.
std::string ResultName(HRESULT code);

// "in-place", "replaces", "new-image" or "destination".
const char* ResultKindName(ResultKind kind);

nlohmann::json ToJson(const Operation& operation);
// {"version": ..., "operations": [...]}
nlohmann::json RegistryJson();

}  // namespace velhost
