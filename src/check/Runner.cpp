#include "zumra/check/Runner.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "check/Answers.h"
#include "check/CheckEvents.h"
#include "check/ColoredReport.h"
#include "check/CommandLine.h"
#include "check/JudgedLibraries.h"
#include "check/Registry.h"
#include "check/Reports.h"
#include "check/StandardStreams.h"
#include "check/SuiteContent.h"
#include "check/Supervisor.h"

#pragma weak __zu_check_suites

using zumra::check::CommandLine;

/// What the library keeps of an accepted command line.
struct zu_check_selection {
    CommandLine commandLine;
};

namespace {

std::string_view ProgramName(int argc, char** argv) {
    const std::string_view path = argc > 0 ? argv[0] : "checks";
    return path.substr(path.rfind('/') + 1);
}

std::optional<std::vector<std::string_view>> KnownSuites() {
    if (&__zu_check_suites == nullptr)
        return std::nullopt;
    std::vector<std::string_view> names;
    for (const zu_check_suite* suite = __zu_check_suites; suite->name != nullptr; ++suite)
        names.emplace_back(suite->name);
    return names;
}

/// Check and the watchdog hand time-outs to timers, which take no endless ones.
constexpr double kLongestSeconds = 1000000;
constexpr double kGreatestMultiplier = 1000;

void LimitTimeout(const char* name, double limit) {
    const char* const text = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): before there are threads
    if (text != nullptr && std::strtod(text, nullptr) > limit)
        setenv(name, std::to_string(limit).c_str(), 1);  // NOLINT(concurrency-mt-unsafe): the same
}

/// The command line alone says what runs and where reports go; of Check's variables its two time-outs remain.
void IgnoreEnvironment() {
    for (const char* name :
         {"CK_RUN_SUITE", "CK_RUN_CASE", "CK_INCLUDE_TAGS", "CK_EXCLUDE_TAGS", "CK_LOG_FILE_NAME",
          "CK_XML_LOG_FILE_NAME", "CK_TAP_LOG_FILE_NAME", "CK_MAX_MSG_SIZE"})
        unsetenv(name);  // NOLINT(concurrency-mt-unsafe): before there are threads
    LimitTimeout("CK_DEFAULT_TIMEOUT", kLongestSeconds);
    LimitTimeout("CK_TIMEOUT_MULTIPLIER", kGreatestMultiplier);
}

CommandLine Read(int argc, char** argv) {
    const std::vector<std::string_view> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    CommandLine commandLine = zumra::check::ParseCommandLine(arguments, KnownSuites());
    zumra::check::registry.Select(commandLine.selection);
    zumra::check::RequireSelectedChecks(commandLine.selection, __zu_check_suites);
    if (commandLine.answer == CommandLine::Answer::kRun)
        zumra::check::RequireSameMajorVersion(zumra::check::JudgedLibraries(), ZUMRA_VERSION);
    const std::vector<zumra::check::ReportFile> files = zumra::check::ReportFiles(commandLine);
    zumra::check::RequireDifferent(files);
    for (const zumra::check::ReportFile& file : files)
        zumra::check::RequireWritable(file);
    return commandLine;
}

print_output CheckPrintMode(CommandLine::Print print) {
    switch (print) {
        case CommandLine::Print::kSilent:
            return CK_SILENT;
        case CommandLine::Print::kMinimal:
            return CK_MINIMAL;
        case CommandLine::Print::kVerbose:
            return CK_VERBOSE;
        case CommandLine::Print::kNormal:
            break;
    }
    return CK_NORMAL;
}

/// The program goes on from here in the process that runs the checks.
void Prepare(const CommandLine& commandLine, const std::string& program) {
    if (commandLine.timeoutMultiplier)  // NOLINTNEXTLINE(concurrency-mt-unsafe): before there are threads
        setenv("CK_TIMEOUT_MULTIPLIER", std::to_string(*commandLine.timeoutMultiplier).c_str(), 1);
    zumra::check::runOptions = {commandLine.failFast, zumra::check::WantsColor(commandLine.color)};
    if (zumra::check::NeedsSupervisor(commandLine))
        zumra::check::RunSupervised(commandLine, program);
}

void Fill(zu_check_cfg& cfg, std::unique_ptr<zu_check_selection> selection) {
    const CommandLine& commandLine = selection->commandLine;
    cfg.print_mode = CheckPrintMode(commandLine.print);
    cfg.fork_status = commandLine.fork ? CK_FORK : CK_NOFORK;
    cfg.xml_path = commandLine.xmlPath ? commandLine.xmlPath->c_str() : nullptr;
    cfg.selection = selection.release();
}

}  // namespace

int __zu_check_parse_cmdline(int argc, char** argv, zu_check_cfg* cfg, void* /*reserved*/) {
    const std::string program(ProgramName(argc, argv));
    zumra::check::OccupyStandardDescriptors();
    try {
        CommandLine commandLine = Read(argc, argv);
        IgnoreEnvironment();
        std::fputs(zumra::check::Answer(commandLine, program, __zu_check_suites).c_str(), stdout);
        if (commandLine.answer == CommandLine::Answer::kRun)
            Prepare(commandLine, program);
        else
            zumra::check::RequireWrittenOutput();
        Fill(*cfg, std::make_unique<zu_check_selection>(zu_check_selection{std::move(commandLine)}));
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s: %s\n", program.c_str(), e.what());
        return 0;
    }
}

void __zu_check_add_suite_if_enabled(SRunner** runner, const char* name, zu_check_builder builder,
                                     zu_check_cfg* cfg, SRunner* (*create)(Suite*),
                                     void (*add)(SRunner*, Suite*)) {
    const CommandLine& commandLine = cfg->selection->commandLine;
    if (commandLine.answer != CommandLine::Answer::kRun ||
        !zumra::check::Enables(commandLine.selection, {name, builder}))
        return;
    Suite* const suite = builder();
    if (*runner == nullptr)
        *runner = create(suite);
    else
        add(*runner, suite);
}

void __zu_check_destroy_cfg(zu_check_cfg* cfg) {
    delete cfg->selection;
    cfg->selection = nullptr;
    cfg->xml_path = nullptr;
}
