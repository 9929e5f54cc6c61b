// Writes vel_ops.h and vel_ops.c, the typed functions of the C interface, and the calls of their test, from the
// registry:
//   vel_generate OUT.h OUT.c OUT_TEST.c
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "../Registry.h"

namespace {

using velhost::Choice;
using velhost::ImageArgument;
using velhost::Operation;
using velhost::Parameter;
using velhost::ResultKind;
using velhost::Value;
using velhost::ValueType;

std::string Snake(std::string text) {
    for (char& c : text) c = c == '-' ? '_' : c;
    return text;
}

std::string Upper(const std::string& text) {
    std::string upper = Snake(text);
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return upper;
}

// Without what would end a C comment.
std::string Plain(std::string text) {
    for (size_t at; (at = text.find("*/")) != std::string::npos;) text.replace(at, 2, "* /");
    return text;
}

// Text as lines of a comment, behind `first` and with `rest` before each further line.
std::string Wrapped(const std::string& first, const std::string& rest, const std::string& text) {
    std::istringstream words(Plain(text));
    std::string all, line = first, word;
    while (words >> word) {
        if (line.size() + word.size() > 116) {
            all += line + "\n";
            line = rest;
        }
        line += (line.empty() || line.back() == ' ' ? "" : " ") + word;
    }
    return all + line + "\n";
}

// Choices that operations share are one type, named after the parameter; those of one operation bear its name.
class EnumTypes {
public:
    EnumTypes() {
        std::map<std::string, std::set<std::string>> variants;
        std::map<std::string, int> uses;
        for (const Operation& operation : velhost::Operations()) {
            for (const Parameter& parameter : operation.parameters) {
                if (parameter.type != ValueType::Enumeration) continue;
                variants[parameter.name].insert(Key(parameter));
                ++uses[Key(parameter)];
            }
        }
        for (const Operation& operation : velhost::Operations()) {
            for (const Parameter& parameter : operation.parameters) {
                if (parameter.type != ValueType::Enumeration || m_names.contains(Key(parameter))) continue;
                const bool shared = variants[parameter.name].size() == 1 && uses[Key(parameter)] > 1;
                const std::string name = shared ? parameter.name : operation.name + "_" + parameter.name;
                m_names[Key(parameter)] = Snake(name);
                m_declarations += Declaration(Snake(name), parameter);
            }
        }
    }
    std::string Type(const Parameter& parameter) const { return "vel_" + m_names.at(Key(parameter)); }
    const std::string& Declarations() const { return m_declarations; }

private:
    static std::string Key(const Parameter& parameter) {
        std::string key = parameter.name;
        for (const Choice& choice : parameter.choices) key += " " + choice.name + "=" + std::to_string(choice.number);
        return key;
    }
    static std::string Declaration(const std::string& name, const Parameter& parameter) {
        std::string text = "/* " + Plain(parameter.doc) + " */\ntypedef enum vel_" + name + " {\n";
        for (const Choice& choice : parameter.choices) {
            text += "    VEL_" + Upper(name) + "_" + Upper(choice.name) + " = " + std::to_string(choice.number) +
                    ", /* " + Plain(choice.doc) + " */\n";
        }
        return text + "} vel_" + name + ";\n\n";
    }
    std::map<std::string, std::string> m_names;
    std::string m_declarations;
};

bool Wide(const Parameter& parameter) { return parameter.minimum < INT32_MIN || parameter.maximum > INT32_MAX; }

// The declaration of a parameter of a C function.
std::string Declared(const EnumTypes& types, const Parameter& parameter) {
    const std::string name = Snake(parameter.name);
    const auto valueOrPointer = [&](const char* type) {
        return (parameter.optional ? std::string("const ") + type + "* " : std::string(type) + " ") + name;
    };
    switch (parameter.type) {
        case ValueType::Integer: return valueOrPointer(Wide(parameter) ? "int64_t" : "int32_t");
        case ValueType::Float: return valueOrPointer("double");
        case ValueType::Boolean: return valueOrPointer("int");
        case ValueType::Enumeration: return valueOrPointer(types.Type(parameter).c_str());
        case ValueType::Colour: return valueOrPointer("vel_colour");
        case ValueType::Size: return valueOrPointer("vel_size");
        case ValueType::Point: return valueOrPointer("vel_point");
        case ValueType::Table: return "const uint8_t* " + name;
        case ValueType::Kernel: return "const int32_t* " + name + ", int32_t " + name + "_side";
        case ValueType::Mapping: return "vel_mapping* " + name;
    }
    return {};
}

struct Field {
    const char *kind, *member;
};
Field FieldOf(ValueType type) {
    switch (type) {
        case ValueType::Integer:
        case ValueType::Enumeration: return {"VEL_INTEGER", "integer"};
        case ValueType::Float: return {"VEL_FLOAT", "real"};
        case ValueType::Boolean: return {"VEL_BOOLEAN", "integer"};
        case ValueType::Colour: return {"VEL_COLOUR", "colour"};
        case ValueType::Size: return {"VEL_SIZE", "size"};
        case ValueType::Point: return {"VEL_POINT", "point"};
        case ValueType::Table: return {"VEL_TABLE", "table"};
        case ValueType::Kernel: return {"VEL_KERNEL", "kernel"};
        case ValueType::Mapping: return {"VEL_MAPPING", "mapping"};
    }
    return {};
}

bool GivesImage(const Operation& operation) {
    if (operation.result == ResultKind::NewImage) return true;
    for (const ImageArgument& image : operation.images) {
        if (image.role == ImageArgument::Destination && !image.required) return true;
    }
    return false;
}

// The result code of an operation that counts is the count.
bool Counts(const Operation& operation) {
    for (const auto& [code, meaning] : operation.rules.results) {
        if (code == "0 or more") return true;
    }
    return false;
}

std::string Signature(const EnumTypes& types, const Operation& operation) {
    std::string text;
    const auto add = [&](const std::string& parameter) { text += (text.empty() ? "" : ", ") + parameter; };
    for (const ImageArgument& image : operation.images) add("vel_image* " + Snake(image.name));
    for (const Parameter& parameter : operation.parameters) add(Declared(types, parameter));
    if (GivesImage(operation)) add("vel_image** result");
    if (Counts(operation)) add("int64_t* count");
    return "vel_result vel_op_" + Snake(operation.name) + "(" + text + ")";
}

std::string DepthText(const velhost::RuleCard& rules) {
    std::string text;
    const auto add = [&](const char* verb, const std::vector<int>& depths) {
        if (depths.empty()) return;
        text += (text.empty() ? "" : "; ") + std::string(verb);
        for (size_t i = 0; i < depths.size(); ++i) text += (i ? ", " : " ") + std::to_string(depths[i]);
    };
    add("computes", rules.acts);
    add("leaves alone", rules.leavesAlone);
    add("refuses", rules.refuses);
    return text + " bits" + (rules.depths.empty() ? "" : ". " + rules.depths);
}

std::string ParameterDoc(const Parameter& parameter) {
    std::string text = parameter.doc;
    if (parameter.type == ValueType::Table) {
        text += "; 256 values";
    } else if (parameter.type == ValueType::Kernel) {
        text += "; side * side coefficients, row by row";
    } else if (parameter.type == ValueType::Boolean) {
        text += "; 0 or 1";
    } else if (parameter.minimum < parameter.maximum) {
        text += "; " + velhost::AllowedText(parameter);
    }
    if (!parameter.unit.empty()) text += "; in " + parameter.unit;
    if (const bool* flag = std::get_if<bool>(&parameter.defaultValue)) {
        text += *flag ? "; usual: 1" : "; usual: 0";
    } else if (velhost::Given(parameter.defaultValue)) {
        text += "; usual: " + velhost::FormatValue(parameter, parameter.defaultValue);
    }
    return text + (parameter.optional ? "; null: not given" : "");
}

std::string Comment(const Operation& operation) {
    const velhost::RuleCard& rules = operation.rules;
    std::string text = Wrapped("/* ", " * ", operation.summary + ". " + operation.details);
    const auto add = [&](const std::string& name, const std::string& words) {
        text += Wrapped(" *   " + name + ": ", " *       ", words);
    };
    for (const ImageArgument& image : operation.images) {
        add(Snake(image.name), image.doc + (image.required ? "" : "; may be null"));
    }
    for (const Parameter& parameter : operation.parameters) add(Snake(parameter.name), ParameterDoc(parameter));
    if (GivesImage(operation)) add("result", "may be null; a reference to the image that holds the result");
    if (Counts(operation)) add("count", "may be null; what was counted");
    const std::pair<const char*, const std::string&> cards[] = {
        {"Outside", rules.border}, {"Rounding", rules.rounding}, {"Saturation", rules.saturation},
        {"Alpha", rules.alpha},    {"Window", rules.window},     {"Random", rules.random}};
    text += Wrapped(" * Depths: ", " *     ", DepthText(rules));
    for (const auto& [name, words] : cards) {
        if (!words.empty()) text += Wrapped(std::string(" * ") + name + ": ", " *     ", words);
    }
    for (const auto& [code, meaning] : rules.results) text += Wrapped(" * " + code + ": ", " *     ", meaning);
    return text + " */\n";
}

std::string Header(const EnumTypes& types) {
    std::string text =
        "/* Typed functions of VELMaths, one for each operation; made from the operation registry. vel_run does the "
        "same "
        "by\n * name, and vel_run_into writes into memory of the caller. Hyphens of names are underscores here. */\n"
        "#ifndef VEL_OPS_H\n#define VEL_OPS_H\n\n#include \"vel.h\"\n\n"
        "#ifdef __cplusplus\nextern \"C\" {\n#endif\n\n" +
        types.Declarations();
    for (const Operation& operation : velhost::Operations()) {
        text += Comment(operation) + "VEL_API " + Signature(types, operation) + ";\n\n";
    }
    return text + "#ifdef __cplusplus\n}\n#endif\n\n#endif\n";
}

std::string Body(const Operation& operation) {
    std::string text = "    const vel_image_argument images[] = {";
    for (const ImageArgument& image : operation.images) {
        text +=
            (&image == &operation.images.front() ? "" : ", ") + ("{\"" + image.name + "\", ") + Snake(image.name) + "}";
    }
    text += "};\n";
    if (!operation.parameters.empty()) {
        text += "    vel_argument arguments[" + std::to_string(operation.parameters.size()) + "];\n";
        text += "    memset(arguments, 0, sizeof arguments);\n";
    }
    for (size_t i = 0; i < operation.parameters.size(); ++i) {
        const Parameter& parameter = operation.parameters[i];
        const std::string name = Snake(parameter.name), slot = "    arguments[" + std::to_string(i) + "].";
        const auto [kind, member] = FieldOf(parameter.type);
        text += slot + "name = \"" + parameter.name + "\";\n";
        if (parameter.optional) {
            text += slot + "kind = " + name + " ? " + kind + " : VEL_NOT_GIVEN;\n";
            text +=
                "    if (" + name + ") arguments[" + std::to_string(i) + "].value." + member + " = *" + name + ";\n";
            continue;
        }
        text += slot + "kind = " + kind + ";\n" + slot + "value." + member + " = " + name + ";\n";
        if (parameter.type == ValueType::Kernel) text += slot + "side = " + name + "_side;\n";
    }
    return text + "    return vel_run(\"" + operation.name + "\", images, " + std::to_string(operation.images.size()) +
           ", " + (operation.parameters.empty() ? "NULL" : "arguments") + ", " +
           std::to_string(operation.parameters.size()) + ", " + (GivesImage(operation) ? "result" : "NULL") + ", " +
           (Counts(operation) ? "count" : "NULL") + ");\n";
}

std::string Source(const EnumTypes& types) {
    std::string text = "#include \"vel_ops.h\"\n\n#include <string.h>\n";
    for (const Operation& operation : velhost::Operations()) {
        text += "\n" + Signature(types, operation) + " {\n" + Body(operation) + "}\n";
    }
    return text;
}

// --- The test -----------------------------------------------------------------------------------------------------

std::string Joined(const auto& numbers) {
    std::string text;
    for (const auto number : numbers) text += (text.empty() ? "" : ", ") + std::to_string(number);
    return text;
}

std::string Real(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

// A value as a C expression.
std::string Expression(const EnumTypes& types, const Parameter& parameter, const Value& value) {
    using namespace velhost;
    if (const auto* number = std::get_if<int64_t>(&value)) {
        const std::string text = "INT64_C(" + std::to_string(*number) + ")";
        return parameter.type == ValueType::Enumeration ? "(" + types.Type(parameter) + ")" + text : text;
    }
    if (const auto* number = std::get_if<double>(&value)) return Real(*number);
    if (const auto* flag = std::get_if<bool>(&value)) return *flag ? "1" : "0";
    if (const auto* c = std::get_if<Colour>(&value)) {
        const std::string parts = Joined(std::vector<int>{c->red, c->green, c->blue, 0});
        return (parameter.optional ? "&(const vel_colour){" : "(vel_colour){") + parts + "}";
    }
    if (const auto* size = std::get_if<Size>(&value)) {
        return "(vel_size){" + std::to_string(size->width) + ", " + std::to_string(size->height) + "}";
    }
    if (const auto* point = std::get_if<Point>(&value)) {
        return "(vel_point){" + Real(point->x) + ", " + Real(point->y) + "}";
    }
    if (const auto* table = std::get_if<Table>(&value)) return "(const uint8_t[]){" + Joined(*table) + "}";
    if (const auto* kernel = std::get_if<Kernel>(&value)) {
        return "(const int32_t[]){" + Joined(kernel->coefficients) + "}, " + std::to_string(kernel->size);
    }
    if (const auto* mapping = std::get_if<Mapping>(&value)) return "test_mapping(\"" + mapping->text + "\")";
    return "NULL";
}

// Calls of each operation's example by typed function and by name; typed_test.h compares what they make.
std::string Test(const EnumTypes& types) {
    std::string text = "#include \"vel_ops.h\"\n\n#include \"typed_test.h\"\n\n";
    std::string list;
    for (const Operation& operation : velhost::Operations()) {
        std::string call, texts;
        for (const ImageArgument& image : operation.images) {
            call += (call.empty() ? "" : ", ") + std::string(image.required ? "images[" : "NULL");
            if (image.required) call += std::to_string(&image - operation.images.data()) + "]";
        }
        for (const Parameter& parameter : operation.parameters) {
            const auto example = operation.example.find(parameter.name);
            Value value = parameter.defaultValue;
            std::string error;
            if (example != operation.example.end()) {
                velhost::ParseValue(parameter, example->second, &value, &error);
                texts += "\"" + parameter.name + "\", \"" + example->second + "\", ";
            }
            call += ", " + Expression(types, parameter, value);
        }
        if (GivesImage(operation)) call += ", result";
        if (Counts(operation)) call += ", count";
        const std::string name = Snake(operation.name);
        text += "static vel_result run_" + name + "(vel_image** images, vel_image** result, int64_t* count) {\n" +
                "    (void)result;\n    (void)count;\n    return vel_op_" + name + "(" + call + ");\n}\n";
        std::string images;
        for (const ImageArgument& image : operation.images) images += image.required ? "\"" + image.name + "\", " : "";
        const std::vector<int>& acts = operation.rules.acts;
        const bool colour = std::find(acts.begin(), acts.end(), 24) != acts.end() && operation.name != "kernel";
        list += "    {\"" + operation.name + "\", run_" + name + ", {" + images + "NULL}, {" + texts + "NULL}, " +
                (colour ? "24" : "32") + ", " + (GivesImage(operation) ? "1" : "0") + ", " +
                (operation.rules.random.empty() ? "0" : "1") + "},\n";
    }
    return text + "\nconst typed_test typed_tests[] = {\n" + list +
           "};\nconst size_t typed_test_count = " + std::to_string(velhost::Operations().size()) + ";\n";
}

bool Write(const char* path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) std::fprintf(stderr, "vel_generate: cannot write %s\n", path);
    return static_cast<bool>(file);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) return std::fprintf(stderr, "usage: vel_generate OUT.h OUT.c OUT_TEST.c\n"), 2;
    const EnumTypes types;
    return Write(argv[1], Header(types)) && Write(argv[2], Source(types)) && Write(argv[3], Test(types)) ? 0 : 1;
}
