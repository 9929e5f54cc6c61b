#include "Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Console.h"

namespace veltool {
namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point since) { return std::chrono::duration<double>(Clock::now() - since).count(); }

std::string Duration(double seconds) {
    const auto whole = static_cast<long>(std::min(seconds + 0.5, 359999.0));
    char text[32];
    if (whole >= 3600) {
        std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
    } else {
        std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    }
    return text;
}

bool HasBar() {
    const char* terminal = std::getenv("TERM");
    return isatty(STDERR_FILENO) && terminal && std::strcmp(terminal, "dumb") != 0;
}

}  // namespace

Progress::Progress(size_t total, size_t skipped, bool quiet)
    : m_total(total),
      m_done(skipped),
      m_quiet(quiet),
      m_bar(!quiet && total > 1 && HasBar()),
      m_begunAt(skipped),
      m_since(Clock::now()),
      m_last(m_since - std::chrono::hours(1)) {
    if (!m_quiet && skipped > 0) {
        std::fprintf(stderr, "vel: %zu of %zu pictures are done already\n", skipped, total);
    }
}

void Progress::Finished(const FileResult& result) {
    ++m_done;
    if (result.code != kOk) {
        Erase();
        SayError(ErrorLine(result));
    } else if (!m_quiet) {
        const std::string name = InputName(result.input);
        for (const std::string& note : result.notes) {
            if (m_notes[note]++ > 0) continue;
            Erase();
            SayNote(name + ": " + note);
        }
        for (const auto& [step, count] : result.counts) {
            Erase();
            SayNote(name + ": " + step + ": count " + std::to_string(count));
        }
        if (!m_bar && m_total > 1) {
            std::fprintf(stderr, "vel: %zu/%zu %s -> %s\n", m_done, m_total, name.c_str(), result.output.c_str());
        }
    }
    Draw();
}

void Progress::Erase() {
    if (!m_drawn) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    m_drawn = false;
}

void Progress::Draw() {
    const bool due = m_done == m_total || SecondsSince(m_last) > 0.1;
    if (!m_bar || !due) return;
    m_last = Clock::now();
    constexpr size_t kCells = 24;
    const size_t full = m_total ? kCells * m_done / m_total : kCells;
    std::string cells(full, '#');
    cells.append(kCells - full, ' ');
    const double elapsed = std::max(SecondsSince(m_since), 1e-3);
    const double rate = static_cast<double>(m_done - m_begunAt) / elapsed;
    const std::string left = rate > 0 ? Duration(static_cast<double>(m_total - m_done) / rate) : "?";
    std::fprintf(stderr, "\r\033[K[%s] %zu/%zu %3zu%%  %.1f/s  %s left", cells.c_str(), m_done, m_total,
                 100 * m_done / std::max<size_t>(m_total, 1), rate, left.c_str());
    std::fflush(stderr);
    m_drawn = true;
}

void Progress::End() {
    Erase();
    if (m_quiet) return;
    for (const auto& [note, count] : m_notes) {
        if (count > 1) SayNote(std::to_string(count - 1) + " more with: " + note);
    }
    if (m_bar) {
        std::fprintf(stderr, "vel: %zu of %zu pictures in %s\n", m_done, m_total,
                     Duration(SecondsSince(m_since)).c_str());
    }
}

}  // namespace veltool
