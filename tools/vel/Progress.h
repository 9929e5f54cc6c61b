// How far a run is: a bar on a terminal, a line a picture elsewhere.
#pragma once

#include <chrono>
#include <map>
#include <string>

#include "Result.h"

namespace veltool {

class Progress {
public:
    // `total` pictures, `skipped` of them done before. Says nothing but errors when quiet, and of a single picture only
    // what a user should know.
    Progress(size_t total, size_t skipped, bool quiet);

    void Finished(const FileResult& result);
    // The last words; erases the bar.
    void End();

private:
    void Erase();
    void Draw();

    size_t m_total, m_done;
    bool m_quiet, m_bar;
    bool m_drawn = false;
    size_t m_begunAt;
    std::chrono::steady_clock::time_point m_since, m_last;
    std::map<std::string, size_t> m_notes;  // how often each note was due
};

}  // namespace veltool
