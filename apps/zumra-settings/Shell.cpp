#include "zumra-settings/Shell.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>
#include <system_error>

#include "settings/client/connection/FileDescriptor.h"
#include "zumra/osa/Exception.h"

namespace zumra::cli {

namespace {

using settings::client::FileDescriptor;

[[noreturn]] void Fail(const ShellCommand& command, int error) {
    throw osa::Exception("cannot run '" + command.script + "': " + std::generic_category().message(error));
}

/// Texts as the system takes them.
class Pointers {
public:
    explicit Pointers(std::vector<std::string> texts) : _texts(std::move(texts)) {
        for (std::string& text : _texts) {
            _pointers.push_back(text.data());
        }
        _pointers.push_back(nullptr);
    }
    [[nodiscard]] char* const* Get() const { return _pointers.data(); }

private:
    std::vector<std::string> _texts;
    std::vector<char*> _pointers;
};

std::vector<std::string> Words(const ShellCommand& command) {
    std::vector<std::string> words{"sh", "-c", command.script, "sh"};
    words.insert(words.end(), command.arguments.begin(), command.arguments.end());
    return words;
}

std::vector<std::string> Environment(const ShellCommand& command) {
    std::vector<std::string> all;
    for (const auto& [name, value] : command.environment) {
        all.push_back(name);
        all.back().append("=").append(value);
    }
    const std::size_t added = all.size();
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        const auto begins = [text](const std::string& own) {
            return text.substr(0, text.find('=')) == own.substr(0, own.find('='));
        };
        if (std::none_of(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(added), begins)) {
            all.emplace_back(text);
        }
    }
    return all;
}

/// Starts it with this as its standard input, unless negative.
pid_t Start(const ShellCommand& command, int input) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (input >= 0) {
        posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    }
    // What this process ignores, the command should not.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    for (const int signal : {SIGPIPE, SIGINT, SIGQUIT}) {
        sigaddset(&defaults, signal);
    }
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    const Pointers words(Words(command));
    const Pointers environment(Environment(command));
    pid_t process = -1;
    const int error =
        ::posix_spawn(&process, "/bin/sh", &actions, &attributes, words.Get(), environment.Get());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        Fail(command, error);
    }
    return process;
}

void WriteAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

int Await(pid_t process) {
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

int RunShell(const ShellCommand& command) {
    if (!command.input) {
        return Await(Start(command, -1));
    }
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        Fail(command, errno);
    }
    FileDescriptor reading(ends[0]);
    FileDescriptor writing(ends[1]);
    const pid_t process = Start(command, reading.Get());
    reading.Close();
    WriteAll(writing.Get(), *command.input);
    writing.Close();
    return Await(process);
}

}  // namespace zumra::cli
