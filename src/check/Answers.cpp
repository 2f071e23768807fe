#include "check/Answers.h"

#include <memory>

#include "check/JudgedLibraries.h"
#include "check/SuiteContent.h"

namespace zumra::check {

namespace {

/// One line a check: "SUITE/CASE/CHECK".
std::string ListChecks(const zu_check_suite& suite) {
    std::string lines;
    for (const CheckDescription& check : SelectedChecks(suite.builder))
        lines += std::string(check.suite) + "/" + check.testCase + "/" + check.name + "\n";
    return lines;
}

std::string List(const CommandLine& commandLine, const zu_check_suite* suites) {
    const bool withChecks = commandLine.print == CommandLine::Print::kVerbose;
    std::string lines;
    for (; suites != nullptr && suites->name != nullptr; ++suites)
        if (Enables(commandLine.selection, *suites))
            lines += withChecks ? ListChecks(*suites) : std::string(suites->name) + "\n";
    return lines;
}

std::string Version(std::string_view program) {
    const int check[] = {check_major_version, check_minor_version, check_micro_version};
    std::string lines = std::string(program) + " " ZUMRA_VERSION " (Check " + std::to_string(check[0]) + "." +
                        std::to_string(check[1]) + "." + std::to_string(check[2]) + ")\n";
    for (const JudgedLibrary& library : JudgedLibraries())
        lines += Describe(library) + "\n";
    return lines;
}

/// The line that begins a verbose report.
std::string Judging() {
    std::string line;
    for (const JudgedLibrary& library : JudgedLibraries())
        line += (line.empty() ? "Judging " : " and ") + Describe(library);
    return line.empty() ? "" : line + "\n";
}

}  // namespace

std::string Answer(const CommandLine& commandLine, std::string_view program, const zu_check_suite* suites) {
    switch (commandLine.answer) {
        case CommandLine::Answer::kHelp:
            return HelpText(program);
        case CommandLine::Answer::kList:
            return List(commandLine, suites);
        case CommandLine::Answer::kVersion:
            return Version(program);
        case CommandLine::Answer::kRun:
            break;
    }
    return commandLine.print == CommandLine::Print::kVerbose ? Judging() : "";
}

}  // namespace zumra::check
