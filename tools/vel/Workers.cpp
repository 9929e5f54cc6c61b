#include "Workers.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <deque>

#include <nlohmann/json.hpp>

#include "Files.h"

namespace veltool {
namespace {

using Clock = std::chrono::steady_clock;
// What a worker that was asked to end may still take.
constexpr double kGraceSeconds = 2;

volatile sig_atomic_t gInterrupted = 0;
int gWakePipe[2] = {-1, -1};

// The parent notes the signal and wakes its poll.
void NoteSignal(int number) {
    const int saved = errno;
    gInterrupted = number;
    if (gWakePipe[1] >= 0) (void)!write(gWakePipe[1], "", 1);
    errno = saved;
}

// A process that writes pictures itself leaves nothing half done behind.
void EndOnSignal(int number) {
    velhost::RemoveTemporaryFiles();
    _exit(128 + number);
}

void Handle(void (*handler)(int), std::initializer_list<int> signals) {
    struct sigaction action {};
    action.sa_handler = handler;
    for (const int number : signals) sigaction(number, &action, nullptr);
}

FileResult Ended(const Job& job, const std::string& text) {
    FileResult result;
    result.input = job.input;
    result.output = job.output;
    result.code = kWorker;
    result.status = FileResult::Failed;
    result.error = text;
    return result;
}

bool SendAll(int descriptor, const void* data, size_t size) {
    const char* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t sent = send(descriptor, bytes, size, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return false;
        bytes += sent;
        size -= static_cast<size_t>(sent);
    }
    return true;
}

bool ReceiveAll(int descriptor, void* data, size_t size) {
    char* bytes = static_cast<char*>(data);
    while (size > 0) {
        const ssize_t received = recv(descriptor, bytes, size, 0);
        if (received < 0 && errno == EINTR) continue;
        if (received <= 0) return false;
        bytes += received;
        size -= static_cast<size_t>(received);
    }
    return true;
}

// The worker's life: receive a job's number, do it, send the result's length and text; end when the parent hangs up.
[[noreturn]] void WorkerMain(int descriptor, pid_t parent, const std::vector<Job>& jobs, const RunHooks& hooks) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(0);  // it ended before that
    // An interrupt of the terminal reaches every process; the parent decides, and asks with SIGTERM.
    Handle(SIG_IGN, {SIGINT, SIGHUP});
    Handle(EndOnSignal, {SIGTERM});
    JobFunction function;
    std::string problem;
    int code = kModule;
    try {
        function = hooks.start();
    } catch (const Failure& failure) {
        problem = failure.what();
        code = failure.Code();
    }
    uint32_t index = 0;
    while (ReceiveAll(descriptor, &index, sizeof index)) {
        FileResult result;
        if (function) {
            result = function(jobs[index], index);
        } else {
            result = Ended(jobs[index], problem);
            result.code = static_cast<ExitCode>(code);
        }
        const std::string text = ToJson(result).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
        const auto length = static_cast<uint32_t>(text.size());
        if (!SendAll(descriptor, &length, sizeof length) || !SendAll(descriptor, text.data(), text.size())) break;
    }
    _exit(0);
}

struct Worker {
    pid_t process = -1;
    int descriptor = -1;
    std::optional<unsigned> job;
    Clock::time_point since;
    bool overdue = false;  // asked to end because its job takes too long
    bool killed = false;
};

class Pool {
public:
    Pool(const std::vector<Job>& jobs, const WorkerOptions& options, const RunHooks& hooks)
        : m_jobs(jobs), m_options(options), m_hooks(hooks) {}
    ~Pool() {
        for (Worker& worker : m_workers) End(&worker, SIGKILL);
    }

    int Run(std::deque<unsigned> waiting) {
        bool go = true;
        while (gInterrupted == 0) {
            if (!go) waiting.clear();
            while (m_workers.size() < m_options.workers && m_workers.size() < waiting.size() + Busy()) Spawn();
            for (Worker& worker : m_workers) {
                if (worker.job || waiting.empty()) continue;
                if (Give(&worker, waiting.front())) waiting.pop_front();
            }
            if (Busy() == 0 && waiting.empty()) break;
            Wait();
            for (Worker& worker : m_workers) Expire(&worker);
            for (size_t i = 0; i < m_workers.size(); ++i) {
                if (!m_ready[i]) continue;
                Worker& worker = m_workers[i];
                const unsigned index = worker.job.value_or(0);
                const bool had = worker.job.has_value();
                FileResult result = Collect(&worker);
                if (had) go = m_hooks.finished(index, std::move(result)) && go;
            }
            std::erase_if(m_workers, [](const Worker& worker) { return worker.process < 0; });
        }
        if (gInterrupted != 0) Interrupt();
        return gInterrupted;
    }

private:
    size_t Busy() const {
        size_t count = 0;
        for (const Worker& worker : m_workers) count += worker.job.has_value();
        return count;
    }

    void Spawn() {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            throw Failure(kWorker, std::string("no worker process: ") + std::strerror(errno));
        }
        std::fflush(nullptr);
        const pid_t parent = getpid();
        const pid_t process = fork();
        if (process < 0) {
            close(ends[0]);
            close(ends[1]);
            throw Failure(kWorker, std::string("no worker process: ") + std::strerror(errno));
        }
        if (process == 0) {
            for (const Worker& other : m_workers) close(other.descriptor);
            close(ends[0]);
            WorkerMain(ends[1], parent, m_jobs, m_hooks);
        }
        close(ends[1]);
        m_workers.push_back({.process = process, .descriptor = ends[0], .job = {}, .since = {}});
    }

    bool Give(Worker* worker, unsigned index) {
        const uint32_t number = index;
        m_hooks.begins(index);
        if (!SendAll(worker->descriptor, &number, sizeof number)) {
            End(worker, SIGKILL);
            return false;
        }
        worker->job = index;
        worker->since = Clock::now();
        worker->overdue = worker->killed = false;
        return true;
    }

    // Until a worker answers or ends, a job is overdue, or a signal arrives.
    void Wait() {
        std::vector<pollfd> polls;
        double least = -1;
        for (const Worker& worker : m_workers) {
            polls.push_back({worker.descriptor, POLLIN, 0});
            if (!worker.job || m_options.timeout <= 0) continue;
            const double left = m_options.timeout + (worker.overdue ? kGraceSeconds : 0) - Age(worker);
            if (!worker.killed) least = least < 0 ? std::max(left, 0.0) : std::min(least, std::max(left, 0.0));
        }
        polls.push_back({gWakePipe[0], POLLIN, 0});
        const int milliseconds = least < 0 ? -1 : static_cast<int>(std::min(least * 1000 + 1, 1e6));
        poll(polls.data(), polls.size(), milliseconds);
        m_ready.assign(m_workers.size(), false);
        for (size_t i = 0; i < m_workers.size(); ++i)
            m_ready[i] = (polls[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0;
    }

    static double Age(const Worker& worker) {
        return std::chrono::duration<double>(Clock::now() - worker.since).count();
    }

    void Expire(Worker* worker) {
        if (!worker->job || m_options.timeout <= 0) return;
        const double age = Age(*worker);
        if (!worker->overdue && age >= m_options.timeout) {
            worker->overdue = true;
            kill(worker->process, SIGTERM);
        } else if (worker->overdue && !worker->killed && age >= m_options.timeout + kGraceSeconds) {
            worker->killed = true;
            kill(worker->process, SIGKILL);
        }
    }

    // The answer of a worker that has one, or what its end means. A worker that ended has process -1 afterwards.
    FileResult Collect(Worker* worker) {
        uint32_t length = 0;
        if (worker->job && ReceiveAll(worker->descriptor, &length, sizeof length)) {
            std::string text(length, '\0');
            if (ReceiveAll(worker->descriptor, text.data(), length)) {
                FileResult result = FromJson(nlohmann::json::parse(text, nullptr, false));
                result.seconds = Age(*worker);
                worker->job.reset();
                return result;
            }
        }
        const std::optional<unsigned> job = worker->job;
        const bool overdue = worker->overdue;
        const double age = Age(*worker);
        const int status = End(worker, 0);
        if (!job) return {};
        std::string text = "the worker process ended";
        if (overdue) {
            char seconds[32];
            std::snprintf(seconds, sizeof seconds, "%g", m_options.timeout);
            text = std::string("took longer than ") + seconds + " s";
        } else if (WIFSIGNALED(status)) {
            text += std::string(" by signal ") + std::to_string(WTERMSIG(status)) + " (" + strsignal(WTERMSIG(status)) +
                    ")";
        } else if (WIFEXITED(status)) {
            text += " with exit code " + std::to_string(WEXITSTATUS(status));
        }
        FileResult result = Ended(m_jobs[*job], text);
        result.seconds = age;
        return result;
    }

    // Hangs up and waits for the end; with a signal, sends that first. Returns the process's status.
    int End(Worker* worker, int signal) {
        int status = 0;
        if (worker->process < 0) return status;
        const pid_t process = worker->process;
        close(worker->descriptor);
        if (signal != 0) kill(process, signal);
        while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
        }
        if (worker->job && !m_jobs[*worker->job].output.empty()) {
            velhost::RemoveTemporaryFilesOf(m_jobs[*worker->job].output, process);
        }
        *worker = {};
        return status;
    }

    // Asks all workers to end, and ends them when they do not.
    void Interrupt() {
        for (const Worker& worker : m_workers) kill(worker.process, SIGTERM);
        const auto until = Clock::now() + std::chrono::duration<double>(kGraceSeconds);
        for (Worker& worker : m_workers) {
            int status = 0;
            while (waitpid(worker.process, &status, WNOHANG) == 0 && Clock::now() < until) usleep(10000);
            End(&worker, SIGKILL);
        }
        m_workers.clear();
    }

    const std::vector<Job>& m_jobs;
    const WorkerOptions& m_options;
    const RunHooks& m_hooks;
    std::vector<Worker> m_workers;
    std::vector<bool> m_ready;
};

}  // namespace

int RunInWorkers(const std::vector<Job>& jobs, const std::vector<unsigned>& indexes, const WorkerOptions& options,
                 const RunHooks& hooks) {
    if (pipe2(gWakePipe, O_CLOEXEC | O_NONBLOCK) != 0) throw Failure(kWorker, "no pipe for signals");
    Handle(NoteSignal, {SIGINT, SIGTERM, SIGHUP});
    Pool pool(jobs, options, hooks);
    return pool.Run({indexes.begin(), indexes.end()});
}

int RunHere(const std::vector<Job>& jobs, const std::vector<unsigned>& indexes, const RunHooks& hooks) {
    Handle(EndOnSignal, {SIGINT, SIGTERM, SIGHUP});
    const JobFunction function = hooks.start();
    for (const unsigned index : indexes) {
        hooks.begins(index);
        const auto since = Clock::now();
        FileResult result = function(jobs[index], index);
        result.seconds = std::chrono::duration<double>(Clock::now() - since).count();
        if (!hooks.finished(index, std::move(result))) break;
    }
    return 0;
}

}  // namespace veltool
