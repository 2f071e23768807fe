#include "check/Supervisor.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <system_error>

#include "check/Journal.h"
#include "check/Reports.h"
#include "check/Results.h"
#include "check/RunInfo.h"
#include "check/RunningCheck.h"
#include "check/StandardStreams.h"

namespace zumra::check {

namespace {

/// The child, for the handler; zero while there is none.
volatile sig_atomic_t runner = 0;
volatile sig_atomic_t interruption = 0;

void OnInterruption(int signal) {
    interruption = signal;
    if (runner > 0)
        kill(static_cast<pid_t>(runner), signal);
}

/// Hands the signals by which people end programs on to the child, as long as an object lives.
class Interruptions {
public:
    Interruptions() {
        struct sigaction forward {};
        forward.sa_handler = OnInterruption;
        sigemptyset(&forward.sa_mask);
        for (Forwarded& one : _forwarded) {
            sigaction(one.signal, nullptr, &one.previous);
            if (one.previous.sa_handler != SIG_IGN)  // NOLINT(cppcoreguidelines-pro-type-cstyle-cast)
                sigaction(one.signal, &forward, nullptr);
        }
    }
    ~Interruptions() {
        for (const Forwarded& one : _forwarded)
            sigaction(one.signal, &one.previous, nullptr);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;

private:
    struct Forwarded {
        int signal;
        struct sigaction previous;
    };
    std::array<Forwarded, 4> _forwarded = {{{SIGINT, {}}, {SIGTERM, {}}, {SIGHUP, {}}, {SIGQUIT, {}}}};
};

/// Keeps all signals away, so that the handler knows of the child as soon as there is one.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &_previous);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &_previous, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t _previous;
};

int Await(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR)
        continue;
    runner = 0;
    return status;
}

/// How a process that ended before its time ended, in Check's words.
std::string DescribeEnd(int status) {
    if (WIFSIGNALED(status)) {
        const int number = WTERMSIG(status);
        // NOLINTNEXTLINE(concurrency-mt-unsafe): the supervisor has one thread
        const std::string name = strsignal(number);
        return "Received signal " + std::to_string(number) + " (" + name + ")";
    }
    if (WEXITSTATUS(status) == 0)
        return "the check ended its process with _exit(0)";
    return "Early exit with return value " + std::to_string(WEXITSTATUS(status));
}

std::chrono::microseconds Now() {
    using std::chrono::steady_clock;
    return std::chrono::duration_cast<std::chrono::microseconds>(steady_clock::now().time_since_epoch());
}

/// Ends this process as the child was ended; its core tells of the fault, ours would not.
[[noreturn]] void DieOf(int number) {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    signal(number, SIG_DFL);
    raise(number);
    _exit(128 + number);
}

class Supervisor {
public:
    Supervisor(const CommandLine& commandLine, const std::string& program)
        : _commandLine(commandLine), _program(program), _start(std::chrono::steady_clock::now()) {
        // A dead child has to be there for its status to be read.
        signal(SIGCHLD, SIG_DFL);
    }

    [[nodiscard]] bool WantsRound() const {
        if (_results.Rounds() == 0)
            return true;
        if (interruption != 0 || _results.Checks().empty())
            return false;
        if ((_commandLine.untilFail || _commandLine.failFast) && _status != 0)
            return false;
        const bool isEndless = _commandLine.untilFail && !_commandLine.repeat;
        return isEndless || _results.Rounds() < _commandLine.repeat.value_or(1);
    }

    /// True in the child, which signals end as they would without a supervisor.
    bool StartRound() {
        ShowRound();
        std::fflush(nullptr);
        _journal = Journal::NewFile();
        const BlockedSignals blocked;
        const pid_t process = fork();
        if (process < 0)
            throw std::system_error(errno, std::generic_category(), "cannot start a process for the checks");
        if (process == 0)
            BecomeRunner();
        else
            runner = process;
        return process == 0;
    }

    void EndRound() {
        _lastStatus = Await(static_cast<pid_t>(runner));
        const Results::BrokenEnd broken =
            _results.AddRound(Journal::Read(_journal), {DescribeEnd(_lastStatus), Now()});
        close(_journal);
        int status = WIFEXITED(_lastStatus) ? WEXITSTATUS(_lastStatus) : EXIT_FAILURE;
        if (!broken.text.empty()) {
            Report(broken);
            status = status == 0 ? EXIT_FAILURE : status;
        }
        if (_status == 0)
            _status = status;
    }

    [[noreturn]] void End() {
        try {
            WriteReports();
            RequireWrittenOutput();
        } catch (const std::exception& e) {
            std::fprintf(stderr, "%s: %s\n", _program.c_str(), e.what());
            _status = _status == 0 ? EXIT_FAILURE : _status;
        }
        std::fflush(nullptr);
        if (interruption != 0)
            DieOf(static_cast<int>(interruption));
        if (WIFSIGNALED(_lastStatus) && _results.Rounds() == 1)
            DieOf(WTERMSIG(_lastStatus));
        std::exit(_status);  // NOLINT(concurrency-mt-unsafe): the supervisor has one thread
    }

private:
    void BecomeRunner() {
        _interruptions.reset();
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        check::BecomeRunner();
        journal.Open(_journal);
    }

    void ShowRound() const {
        const bool hasRounds = _commandLine.untilFail || _commandLine.repeat.value_or(1) > 1;
        if (!hasRounds || _commandLine.print == CommandLine::Print::kSilent)
            return;
        const std::string all = _commandLine.repeat ? " of " + std::to_string(*_commandLine.repeat) : "";
        std::printf("Round %u%s\n", _results.Rounds() + 1, all.c_str());
    }

    void Report(const Results::BrokenEnd& broken) const {
        if (broken.wasReported)
            return;
        const std::string start =
            broken.reportStart.empty() ? _program + ": the run broke off: " : broken.reportStart;
        std::fprintf(stderr, "%s%s\n", start.c_str(), broken.text.c_str());
    }

    void WriteReports() const {
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - _start;
        RunInfo info = _info;
        info.seconds = time.count();
        check::WriteReports(_commandLine, _results, info);
    }

    const CommandLine& _commandLine;
    const std::string& _program;
    std::chrono::steady_clock::time_point _start;
    std::optional<Interruptions> _interruptions{std::in_place};
    RunInfo _info = CollectRunInfo(_commandLine, _program);
    Results _results;
    int _journal = -1;
    int _lastStatus = 0;
    /// That of the first round whose status was not 0.
    int _status = 0;
};

bool IsTraced() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("TracerPid:"))
            return std::atoi(line.c_str() + std::strlen("TracerPid:")) != 0;
    return false;
}

}  // namespace

bool NeedsSupervisor(const CommandLine& line) {
    const bool hasReports = line.junitPath || line.tapPath || line.htmlPath || line.durations;
    return hasReports || line.repeat || line.untilFail || (!line.fork && !IsTraced());
}

void RunSupervised(const CommandLine& commandLine, const std::string& program) {
    Supervisor supervisor(commandLine, program);
    while (supervisor.WantsRound()) {
        if (supervisor.StartRound())
            return;
        supervisor.EndRound();
    }
    supervisor.End();
}

}  // namespace zumra::check
