// How the host library reports failure: one exception type with one line of text and a kind.
//
// Operations of the framework's interfaces (Image, Collection, strings) never throw; they return result codes. All
// other functions of this library throw velhost::Error and nothing else but std::bad_alloc.
#pragma once

#include <stdexcept>
#include <string>

namespace velhost {

enum class ErrorKind {
    NotFound,     // no such file, module or name
    Access,       // reading or writing failed in the operating system
    Exists,       // the output is there already and overwriting was not asked for
    Unsupported,  // well-formed, but not something that can be held or saved without a conversion that was not asked
                  // for
    Damaged,      // not a picture file, truncated or corrupted
    Limit,        // larger than the limits allow
    Argument,     // a value that makes no sense
    Memory,       // the pixels cannot be had
    Module        // VELMaths.so cannot be loaded, or lacks a component
};

// what() is one line in plain ASCII or UTF-8, without a final newline or full stop, fit to follow "vel: ".
class Error : public std::runtime_error {
public:
    Error(ErrorKind kind, const std::string& message) : std::runtime_error(OneLine(message)), m_kind(kind) {}
    ErrorKind Kind() const { return m_kind; }

private:
    // Texts of other libraries may hold line breaks and control characters.
    static std::string OneLine(std::string text) {
        for (char& c : text) {
            if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
        }
        while (!text.empty() && (text.back() == ' ' || text.back() == '.')) text.pop_back();
        return text;
    }
    ErrorKind m_kind;
};

}  // namespace velhost
