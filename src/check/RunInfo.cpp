#include "check/RunInfo.h"

#include <sys/utsname.h>

#include <ctime>
#include <fstream>
#include <thread>

namespace zumra::check {

namespace {

std::string Now() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[sizeof "2026-11-21T12:30:00"] = "";
    return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc)};
}

/// The value of the first line "NAME<blanks><separator><blanks>VALUE"; quotes around it are dropped.
std::string ValueIn(const char* path, const std::string& name, char separator) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (!line.starts_with(name) || line.find_first_not_of(" \t", name.size()) != line.find(separator))
            continue;
        const std::size_t first = line.find_first_not_of(" \t\"", line.find(separator) + 1);
        return first == std::string::npos ? ""
                                          : line.substr(first, line.find_last_not_of(" \t\"") - first + 1);
    }
    return "";
}

std::string Processor(const char* machine) {
    std::string name = ValueIn("/proc/cpuinfo", "model name", ':');
    if (name.empty())
        name = ValueIn("/proc/cpuinfo", "Model", ':');
    const std::string cores = std::to_string(std::thread::hardware_concurrency());
    return cores + " × " + (name.empty() ? machine : name);
}

}  // namespace

RunInfo CollectRunInfo(const CommandLine& commandLine, const std::string& program) {
    utsname names{};
    uname(&names);
    RunInfo info;
    info.program = program;
    info.version = ZUMRA_VERSION;
    info.isForked = commandLine.fork;
    info.start = Now();
    info.libraries = JudgedLibraries();
    info.host = names.nodename;
    info.system = ValueIn("/etc/os-release", "PRETTY_NAME", '=');
    info.kernel = std::string(names.sysname) + " " + names.release + ", " + names.machine;
    info.processor = Processor(names.machine);
    return info;
}

}  // namespace zumra::check
