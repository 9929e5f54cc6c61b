// Writing files whole: temporary name, sync, rename.
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Files.h"

namespace velhost {

namespace {

// Temporary files that are not renamed yet or not even there, for a signal handler: a slot's text is only read when
// `used` is set.
struct Slot {
    std::atomic<bool> taken{false};
    std::atomic<bool> used{false};
    char path[PATH_MAX];
};
std::array<Slot, 16> gSlots;

[[noreturn]] void ThrowSystem(const std::filesystem::path& path, const char* what, int error) {
    throw Error(error == ENOENT || error == ENOTDIR ? ErrorKind::NotFound : ErrorKind::Access,
                path.string() + ": " + what + ": " + std::strerror(error));
}

// A file that is deleted at the end of the scope unless it was renamed.
class TemporaryFile {
public:
    // Opens a new file beside `target`, with the permissions that a new file there gets.
    explicit TemporaryFile(const std::filesystem::path& target) : m_target(target) {
        for (int attempt = 0; m_number < 0; ++attempt) {
            m_path = target;
            m_path.replace_filename(Prefix(target, getpid()) + Unique() + kSuffix);
            // Before the file is there: a signal may come as soon as it is.
            TakeSlot();
            m_number = open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (m_number >= 0) break;
            const int error = errno;
            LeaveSlot();
            if (error != EEXIST || attempt == 100) ThrowSystem(target, "cannot be written", error);
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (m_number >= 0) close(m_number);
        if (!m_renamed) unlink(m_path.c_str());
        LeaveSlot();
    }

    // What the names of a process's temporary files for `target` begin and end with.
    static std::string Prefix(const std::filesystem::path& target, long process) {
        std::string name = ".";
        return name.append(target.filename().string(), 0, 100).append(".").append(std::to_string(process)).append("-");
    }
    static constexpr const char* kSuffix = ".tmp";

    int Number() const { return m_number; }

    void Close() {
        const int number = m_number;
        m_number = -1;
        if (close(number) != 0) ThrowSystem(m_target, "cannot be written", errno);
    }

    // Without `overwrite` a file that has appeared under the name stays, and that is an error.
    void Rename(bool overwrite) {
        if (overwrite) {
            if (rename(m_path.c_str(), m_target.c_str()) != 0) ThrowSystem(m_target, "cannot be replaced", errno);
            m_renamed = true;
            return;
        }
        if (link(m_path.c_str(), m_target.c_str()) == 0) return;
        if (errno == EEXIST) {
            throw Error(ErrorKind::Exists, m_target.string() + ": the file exists; overwriting was not asked for");
        }
        // Some file systems have no links.
        if (renameat2(AT_FDCWD, m_path.c_str(), AT_FDCWD, m_target.c_str(), RENAME_NOREPLACE) == 0) {
            m_renamed = true;
            return;
        }
        if (errno == EEXIST) {
            throw Error(ErrorKind::Exists, m_target.string() + ": the file exists; overwriting was not asked for");
        }
        ThrowSystem(m_target, "cannot be written", errno);
    }

private:
    void TakeSlot() {
        for (Slot& slot : gSlots) {
            if (m_path.native().size() >= sizeof slot.path || slot.taken.exchange(true)) continue;
            std::memcpy(slot.path, m_path.c_str(), m_path.native().size() + 1);
            slot.used = true;
            m_slot = &slot;
            break;
        }
    }
    void LeaveSlot() {
        if (!m_slot) return;
        m_slot->used = false;
        m_slot->taken = false;
        m_slot = nullptr;
    }
    static std::string Unique() {
        static std::atomic<unsigned> counter{0};
        return std::to_string(counter.fetch_add(1));
    }

    std::filesystem::path m_target;
    std::filesystem::path m_path;
    int m_number = -1;
    bool m_renamed = false;
    Slot* m_slot = nullptr;
};

void WriteAll(int number, std::span<const uint8_t> bytes, const std::filesystem::path& path) {
    while (!bytes.empty()) {
        const ssize_t written = write(number, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) ThrowSystem(path, "cannot be written", errno);
        bytes = bytes.subspan(static_cast<size_t>(written));
    }
}

void WriteDirectly(const std::filesystem::path& path, std::span<const uint8_t> bytes) {
    const int number = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (number < 0) ThrowSystem(path, "cannot be opened for writing", errno);
    try {
        WriteAll(number, bytes, path);
    } catch (...) {
        close(number);
        throw;
    }
    if (close(number) != 0) ThrowSystem(path, "cannot be written", errno);
}

void SyncFolderOf(const std::filesystem::path& path) {
    const auto folder = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
    const int number = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (number < 0) return;
    fsync(number);  // not every file system can; the file itself is safe
    close(number);
}

}  // namespace

void WriteFile(const std::filesystem::path& path, std::span<const uint8_t> bytes, bool overwrite, bool sync) {
    // A link is followed, so that the file behind it is replaced and not the link.
    std::filesystem::path target = path;
    struct stat status {};
    const bool exists = stat(path.c_str(), &status) == 0;
    if (exists) {
        if (S_ISDIR(status.st_mode)) throw Error(ErrorKind::Access, path.string() + ": is a folder");
        if (!S_ISREG(status.st_mode)) return WriteDirectly(path, bytes);
        if (!overwrite) {
            throw Error(ErrorKind::Exists, path.string() + ": the file exists; overwriting was not asked for");
        }
        std::error_code error;
        target = std::filesystem::canonical(path, error);
        if (error) target = path;
        if (access(target.c_str(), W_OK) != 0) ThrowSystem(path, "cannot be replaced", errno);
    }
    TemporaryFile file(target);
    if (exists) fchmod(file.Number(), status.st_mode & 07777);
    WriteAll(file.Number(), bytes, target);
    if (sync && fsync(file.Number()) != 0) ThrowSystem(target, "cannot be written", errno);
    file.Close();
    file.Rename(overwrite);
    if (sync) SyncFolderOf(target);
}

void RemoveTemporaryFiles() noexcept {
    for (Slot& slot : gSlots) {
        if (slot.used) unlink(slot.path);
    }
}

void RemoveTemporaryFilesOf(const std::filesystem::path& path, long process) noexcept try {
    std::error_code error;
    std::filesystem::path target = std::filesystem::canonical(path, error);
    if (error) target = path;
    const std::string prefix = TemporaryFile::Prefix(target, process);
    const auto folder = target.has_parent_path() ? target.parent_path() : std::filesystem::path(".");
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(prefix) && name.ends_with(TemporaryFile::kSuffix)) unlink(entry.path().c_str());
    }
} catch (const std::exception&) {
    // Without memory or a readable folder the files stay.
}

}  // namespace velhost
