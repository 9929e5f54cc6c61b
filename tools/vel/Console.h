// What the tool says and how it ends.
#pragma once

#include <stdexcept>
#include <string>

namespace veltool {

// Exit codes, one per kind of failure; `vel help exit-codes` explains them.
enum ExitCode {
    kOk = 0,
    kDifferent = 1,  // vel compare: the pictures differ
    kUsage = 2,      // the command line makes no sense
    kInput = 3,      // an input cannot be read
    kOutput = 4,     // an output cannot be written
    kOperation = 5,  // an operation failed
    kWorker = 6,     // a worker process ended by itself, or took too long
    kModule = 7,     // VELMaths.so cannot be loaded
    kInterrupted = 130
};

// Text of the exit codes for help and man pages.
struct ExitCodeText {
    ExitCode code;
    const char* meaning;
};
extern const ExitCodeText kExitCodes[9];

// A failure with its exit code; what() is one line.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, const std::string& text) : std::runtime_error(text), m_code(code) {}
    ExitCode Code() const { return m_code; }

private:
    ExitCode m_code;
};

enum class Tone { Plain, Bold, Dim, Red, Green, Yellow, Cyan };

// `text` in a colour where the stream is a terminal that shows colours and NO_COLOR is not set.
std::string Paint(Tone tone, const std::string& text, bool onStderr = false);

// One line on standard error: "vel: text", "vel: note: text".
void SayError(const std::string& text);
void SayNote(const std::string& text);

// Columns of the terminal, or 80.
int TerminalWidth();

// `text` broken into lines of at most `width` columns, each after `indent` spaces; the first without them.
std::string Wrap(const std::string& text, int indent, int width);

}  // namespace veltool
