#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include "apps/DaemonProcess.h"
#include "support/TemporaryDirectory.h"

namespace zumra::settingsd {

/// What a run of a program came to.
struct Result {
    int status;
    std::string out;
    std::string err;
};

/// The real command line, and the real daemon with a few defaults to talk to.
class CommandLineTest : public ::testing::Test {
protected:
    void SetUp() override {
        const std::string defaults =
            _directory.Write("defaults.ini", "[Screen]\nbrightness = 80\ncontrast = 50\n");
        _daemon.emplace(
            std::vector<std::string>{"--socket", _socket, "--store", "memory:", "--defaults", defaults});
        ASSERT_TRUE(_daemon->Serves()) << _daemon->Log();
    }

    /// Runs the program through a shell: `arguments` are quoted as there.
    [[nodiscard]] Result Run(const std::string& arguments, const std::string& input = "",
                             const std::string& environment = "") const {
        // Each run has files of its own: some run at the same time.
        const std::string run = std::to_string(_runs++);
        const std::string command =
            "ZUMRA_SETTINGS_SOCKET='" + _socket + "' " + environment + " " + ZUMRA_EMULATOR + " '" +
            ZUMRA_SETTINGS_PROGRAM + "' " + arguments + " < '" + _directory.Write("in" + run, input) +
            "' > '" + _directory.File("out" + run) + "' 2> '" + _directory.File("err" + run) + "'";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Text("out" + run), Text("err" + run)};
    }
    [[nodiscard]] std::string Out(const std::string& arguments, const std::string& input = "") const {
        const Result result = Run(arguments, input);
        EXPECT_EQ(0, result.status) << arguments << ": " << result.err;
        EXPECT_EQ("", result.err) << arguments;
        return result.out;
    }
    [[nodiscard]] std::string Text(const std::string& name) const {
        std::ifstream file(_directory.File(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    test::TemporaryDirectory _directory;
    const std::string _socket = _directory.File("socket");
    std::optional<DaemonProcess> _daemon;
    mutable std::atomic<int> _runs{0};
};

}  // namespace zumra::settingsd
