// What a run has done so far, line by line on the disk, so that a later run can go on from there.
#pragma once

#include <map>
#include <string>

#include "Grammar.h"
#include "Result.h"

namespace veltool {

// What results depend on besides the picture: the steps, and the options that change pixels or their files.
std::string Fingerprint(const Plan& plan);

// JSON lines: first what the journal belongs to, then "started" and "finished" of every picture. A line that a crash
// cut short is dropped.
class Journal {
public:
    // Without `resume` a new file; it must not exist. With it, one of the same fingerprint is gone on with, or a new
    // one begun. Throws Failure(kOutput), or Failure(kUsage) for a journal of something else.
    Journal(const std::string& path, const std::string& fingerprint, bool resume);
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    // Done before: the input is as it was then, and the output is there.
    bool IsDone(const std::string& input, const std::string& output) const;
    // Begun before and not finished: what stands under the output's name is the earlier run's.
    bool WasBegun(const std::string& output) const;

    void Started(const std::string& input, const std::string& output);
    void Finished(const FileResult& result);

private:
    void Read();
    void Write(const std::string& line);

    std::string m_path;
    int m_descriptor = -1;
    std::string m_fingerprint;
    std::map<std::string, std::string> m_done;   // output: state of the input when it was done
    std::map<std::string, std::string> m_begun;  // output: state of the input when it was begun
};

}  // namespace veltool
