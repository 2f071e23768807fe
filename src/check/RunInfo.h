#pragma once

#include <string>
#include <vector>

#include "check/CommandLine.h"
#include "check/JudgedLibraries.h"

namespace zumra::check {

/// What is judged, by what, where and when: the head of a report.
struct RunInfo {
    std::string program;
    std::string version;
    bool isForked = true;
    /// UTC, "2026-11-21T12:30:00".
    std::string start;
    double seconds = 0;
    std::vector<JudgedLibrary> libraries;

    std::string host;
    /// The distribution, as it names itself.
    std::string system;
    std::string kernel;
    std::string processor;
};

/// As far as the system tells; what it does not is empty.
RunInfo CollectRunInfo(const CommandLine& commandLine, const std::string& program);

}  // namespace zumra::check
