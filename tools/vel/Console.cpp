#include "Console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace veltool {

const ExitCodeText kExitCodes[9] = {
    {kOk, "everything was done"},
    {kDifferent, "compare: the pictures differ"},
    {kUsage, "the command line or recipe makes no sense; nothing was done"},
    {kInput, "an input cannot be read: missing, damaged, of a kind that is not held, over a limit"},
    {kOutput, "an output cannot be written: it exists already, no permission, no space"},
    {kOperation, "an operation refused its images or failed"},
    {kWorker, "a worker process took too long or ended by itself"},
    {kModule, "VELMaths.so cannot be loaded"},
    {kInterrupted, "interrupted (128 + the number of the signal)"},
};

namespace {

bool ShowsColours(int descriptor) {
    const char* no = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return !(no && *no) && isatty(descriptor) && terminal && std::strcmp(terminal, "dumb") != 0;
}

}  // namespace

std::string Paint(Tone tone, const std::string& text, bool onStderr) {
    static const bool shows[2] = {ShowsColours(STDOUT_FILENO), ShowsColours(STDERR_FILENO)};
    static constexpr const char* kCodes[] = {"0", "1", "2", "31", "32", "33", "36"};
    if (!shows[onStderr] || tone == Tone::Plain) return text;
    return std::string("\033[") + kCodes[static_cast<int>(tone)] + "m" + text + "\033[0m";
}

// One write a line, so that lines of several processes do not mix.
static void WriteLine(const std::string& line) {
    const std::string whole = line + "\n";
    std::fwrite(whole.data(), 1, whole.size(), stderr);
    std::fflush(stderr);
}

// Names of files and words of users may hold anything; a message is one line without control characters.
static std::string Plain(std::string text) {
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
    }
    return text;
}

void SayError(const std::string& text) { WriteLine(Paint(Tone::Red, "vel:", true) + " " + Plain(text)); }

void SayNote(const std::string& text) { WriteLine(Paint(Tone::Yellow, "vel:", true) + " note: " + Plain(text)); }

int TerminalWidth() {
    winsize size{};
    if (isatty(STDOUT_FILENO) && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col >= 40) {
        return std::min<int>(size.ws_col, 120);
    }
    return 80;
}

std::string Wrap(const std::string& text, int indent, int width) {
    std::istringstream words(text);
    std::string word, lines;
    int column = indent;
    while (words >> word) {
        const int length = static_cast<int>(word.size());
        if (column > indent && column + 1 + length > width) {
            lines += '\n';
            lines.append(static_cast<size_t>(indent), ' ');
            column = indent;
        } else if (column > indent) {
            lines += ' ';
            ++column;
        }
        lines += word;
        column += length;
    }
    return lines;
}

}  // namespace veltool
