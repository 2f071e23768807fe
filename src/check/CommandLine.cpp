#include "check/CommandLine.h"

#include <algorithm>
#include <array>
#include <map>

#include "check/NearestName.h"

namespace zumra::check {

namespace {

/// What options decide; deciding one of them twice, differently, is a contradiction.
enum class Setting { kAnswer, kFork, kPrint, kXml };

struct Option {
    std::string_view longName;
    std::string_view shortName;
    Setting setting;
    /// What the option stands for; empty when a value follows it.
    std::string_view value;
    /// How the help calls the value that follows.
    std::string_view valueName;
    std::string_view help;
};

constexpr std::array kOptions = {
    Option{"--list", "-l", Setting::kAnswer, "list", "",
           "list the suites (with -v every check) and run nothing"},
    Option{"--fork", "", Setting::kFork, "yes", "", "run each check in a process of its own (default)"},
    Option{"--no-fork", "", Setting::kFork, "no", "", "run all checks in this process"},
    Option{"--print", "", Setting::kPrint, "", "MODE", "report silent, minimal, normal (default) or verbose"},
    Option{"--quiet", "-q", Setting::kPrint, "silent", "", "the same as --print silent"},
    Option{"--verbose", "-v", Setting::kPrint, "verbose", "", "the same as --print verbose"},
    Option{"--xml", "", Setting::kXml, "", "FILE", "write Check's XML log to FILE"},
    Option{"--help", "-h", Setting::kAnswer, "help", "", "show this text"},
    Option{"--version", "-V", Setting::kAnswer, "version", "",
           "show the versions of this program and of Check"},
};

const std::vector<std::string_view> kPrintModes = {"silent", "minimal", "normal", "verbose"};

std::string Quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

std::string DidYouMean(std::string_view given, const std::vector<std::string_view>& names) {
    const std::string_view nearest = NearestName(given, names);
    return nearest.empty() ? "" : "; did you mean " + Quoted(nearest) + "?";
}

const Option& FindOption(std::string_view given) {
    std::vector<std::string_view> names;
    for (const Option& option : kOptions) {
        if (given == option.longName || given == option.shortName)
            return option;
        names.push_back(option.longName);
    }
    throw CommandLineError("unknown option " + Quoted(given) + DidYouMean(given, names));
}

class Parser {
public:
    Parser(const std::vector<std::string_view>& arguments,
           const std::optional<std::vector<std::string_view>>& knownSuites)
        : _arguments(arguments), _knownSuites(knownSuites) {}

    CommandLine Parse() {
        for (bool options = true; _next < _arguments.size();) {
            const std::string_view argument = _arguments[_next++];
            if (options && argument == "--")
                options = false;
            else if (options && argument.starts_with("--"))
                TakeLong(argument);
            else if (options && argument.starts_with("-"))
                TakeShort(argument);
            else
                TakeSuite(argument);
        }
        return Result();
    }

private:
    struct Given {
        std::string_view option;
        std::string_view value;
    };

    void TakeLong(std::string_view argument) {
        const std::size_t equals = argument.find('=');
        const Option& option = FindOption(argument.substr(0, equals));
        if (!option.value.empty() && equals != std::string_view::npos)
            throw CommandLineError("option " + Quoted(option.longName) + " takes no value");
        if (!option.value.empty())
            Decide(option, option.longName, option.value);
        else if (equals != std::string_view::npos)
            Decide(option, option.longName, argument.substr(equals + 1));
        else
            Decide(option, option.longName, FollowingValue(option));
    }

    /// One or several letters: "-q", "-lv".
    void TakeShort(std::string_view argument) {
        if (argument.size() == 1)
            throw CommandLineError("unknown option '-'; names of options begin with '--'");
        for (const char letter : argument.substr(1)) {
            const std::string name{'-', letter};
            const Option* option = std::find_if(kOptions.begin(), kOptions.end(),
                                                [&](const Option& o) { return o.shortName == name; });
            if (option == kOptions.end())
                FindOption(argument);
            else
                Decide(*option, option->shortName, option->value);
        }
    }

    void TakeSuite(std::string_view name) {
        if (_knownSuites &&
            std::find(_knownSuites->begin(), _knownSuites->end(), name) == _knownSuites->end())
            throw CommandLineError("unknown suite " + Quoted(name) + DidYouMean(name, *_knownSuites));
        _result.suites.emplace(name);
    }

    std::string_view FollowingValue(const Option& option) {
        if (_next == _arguments.size())
            throw CommandLineError("option " + Quoted(option.longName) +
                                   " needs a value: " + std::string(option.valueName));
        return _arguments[_next++];
    }

    void Decide(const Option& option, std::string_view spelling, std::string_view value) {
        if (option.setting == Setting::kPrint)
            PrintMode(value);
        if (option.setting == Setting::kXml && value.empty())
            throw CommandLineError("option '--xml' needs the name of a file, not an empty text");
        const auto [entry, isNew] = _given.try_emplace(option.setting, Given{spelling, value});
        if (!isNew && entry->second.value != value)
            throw CommandLineError("option " + Quoted(Spelled(option, {spelling, value})) + " contradicts " +
                                   Quoted(Spelled(option, entry->second)));
    }

    static std::string Spelled(const Option& option, const Given& given) {
        const bool hasValue = &option != kOptions.end() && FindOption(given.option).value.empty();
        return std::string(given.option) + (hasValue ? " " + std::string(given.value) : "");
    }

    static CommandLine::Print PrintMode(std::string_view name) {
        const auto found = std::find(kPrintModes.begin(), kPrintModes.end(), name);
        if (found == kPrintModes.end())
            throw CommandLineError("option '--print' knows no mode " + Quoted(name) +
                                   DidYouMean(name, kPrintModes));
        return static_cast<CommandLine::Print>(found - kPrintModes.begin());
    }

    CommandLine Result() {
        using Answer = CommandLine::Answer;
        static const std::map<std::string_view, Answer> answers = {
            {"help", Answer::kHelp}, {"list", Answer::kList}, {"version", Answer::kVersion}};
        for (const auto& [setting, given] : _given) {
            switch (setting) {
                case Setting::kAnswer:
                    _result.answer = answers.at(given.value);
                    break;
                case Setting::kFork:
                    _result.fork = given.value == "yes";
                    break;
                case Setting::kPrint:
                    _result.print = PrintMode(given.value);
                    break;
                case Setting::kXml:
                    _result.xmlPath = std::string(given.value);
                    break;
            }
        }
        return std::move(_result);
    }

    const std::vector<std::string_view>& _arguments;
    const std::optional<std::vector<std::string_view>>& _knownSuites;
    std::size_t _next = 0;
    std::map<Setting, Given> _given;
    CommandLine _result;
};

}  // namespace

CommandLine ParseCommandLine(const std::vector<std::string_view>& arguments,
                             const std::optional<std::vector<std::string_view>>& knownSuites) {
    return Parser(arguments, knownSuites).Parse();
}

std::string HelpText(std::string_view program) {
    std::string text =
        "Usage: " + std::string(program) +
        " [OPTION]... [SUITE]...\n"
        "Runs the named suites, all of them when none is named, in their fixed order.\n"
        "Status: 0 when every check that ran passed, 1 when one failed or the command line is wrong.\n\n";
    for (const Option& option : kOptions) {
        std::string names = option.shortName.empty() ? "    " : std::string(option.shortName) + ", ";
        names += std::string(option.longName) + (option.valueName.empty() ? "" : " ") +
                 std::string(option.valueName);
        names.resize(20, ' ');
        text += "  " + names + std::string(option.help) + "\n";
    }
    return text +
           "\nCK_DEFAULT_TIMEOUT: seconds a check may take (4); CK_TIMEOUT_MULTIPLIER: a factor for all "
           "times.\n";
}

}  // namespace zumra::check
