#include "check/CommandLine.h"

#include <algorithm>
#include <map>

#include "check/Options.h"

namespace zumra::check {

namespace {

using Names = std::vector<std::string_view>;

/// `name`: which of an option's two names `given` is. `place`: where it was found, for the message.
const Option& Find(std::string_view given, std::string_view Option::*name, const std::string& place = "") {
    Names names;
    for (const Option& option : Options()) {
        if (option.*name == given)
            return option;
        if (!(option.*name).empty())
            names.push_back(option.*name);
    }
    throw CommandLineError("unknown option " + Quoted(given) + place + DidYouMean(given, names));
}

class Parser {
public:
    Parser(const Names& arguments, const std::optional<Names>& knownSuites)
        : _arguments(arguments), _knownSuites(knownSuites) {}

    CommandLine Parse() {
        bool mayBeOption = true;
        while (_next < _arguments.size()) {
            const std::string_view argument = _arguments[_next++];
            if (mayBeOption && argument == "--")
                mayBeOption = false;
            else if (mayBeOption && argument.starts_with("--"))
                TakeLong(argument);
            else if (mayBeOption && argument.starts_with("-") && argument.size() > 1)
                TakeShort(argument);
            else
                TakeSuite(argument);
        }
        return std::move(_result);
    }

private:
    struct Given {
        std::string spelling;
        std::string_view value;
    };

    void TakeLong(std::string_view argument) {
        const std::size_t equals = argument.find('=');
        const Option& option = Find(argument.substr(0, equals), &Option::longName);
        const bool hasValue = equals != std::string_view::npos;
        if (!option.TakesValue() && hasValue)
            throw CommandLineError("option " + Quoted(option.longName) + " takes no value");
        const std::string name(option.longName);
        if (!option.TakesValue())
            return Apply(option, {name, option.value});
        const std::string_view value = hasValue ? argument.substr(equals + 1) : FollowingValue(option);
        Apply(option, {name + " " + std::string(value), value});
    }

    /// One or several letters: "-q", "-lv"; a value may follow at once or as the next argument.
    void TakeShort(std::string_view argument) {
        for (std::size_t i = 1; i < argument.size(); ++i) {
            const std::string name{'-', argument[i]};
            const Option& option =
                Find(name, &Option::shortName, argument.size() == 2 ? "" : " in " + Quoted(argument));
            if (option.TakesValue())
                return TakeShortsValue(option, argument.substr(i + 1));
            Apply(option, {name, option.value});
        }
    }

    void TakeShortsValue(const Option& option, std::string_view rest) {
        const std::string_view value = rest.empty() ? FollowingValue(option) : rest;
        Apply(option, {std::string(option.shortName) + " " + std::string(value), value});
    }

    void TakeSuite(std::string_view name) {
        if (_knownSuites &&
            std::find(_knownSuites->begin(), _knownSuites->end(), name) == _knownSuites->end())
            throw CommandLineError("unknown suite " + Quoted(name) + DidYouMean(name, *_knownSuites));
        _result.selection.suites.emplace(name);
    }

    std::string_view FollowingValue(const Option& option) {
        if (_next == _arguments.size())
            throw CommandLineError("option " + Quoted(option.longName) +
                                   " needs a value: " + std::string(option.valueName));
        return _arguments[_next++];
    }

    void Apply(const Option& option, const Given& given) {
        const auto [earlier, isFirst] = _given.try_emplace(option.setting, given);
        if (!option.IsRepeatable() && !isFirst && earlier->second.value != given.value)
            throw CommandLineError("option " + Quoted(given.spelling) + " contradicts " +
                                   Quoted(earlier->second.spelling));
        option.apply(_result, given.value);
    }

    const Names& _arguments;
    const std::optional<Names>& _knownSuites;
    std::size_t _next = 0;
    std::map<Setting, Given> _given;
    CommandLine _result;
};

/// "  -q, --quiet                 the same as --print silent"
std::string HelpLine(const Option& option) {
    std::string names = option.shortName.empty() ? "    " : std::string(option.shortName) + ", ";
    names += option.longName;
    if (option.TakesValue())
        names += " " + std::string(option.valueName);
    names.resize(28, ' ');
    return "  " + names + std::string(option.help) + "\n";
}

}  // namespace

CommandLine ParseCommandLine(const Names& arguments, const std::optional<Names>& knownSuites) {
    return Parser(arguments, knownSuites).Parse();
}

std::string HelpText(std::string_view program) {
    std::string text = "Usage: " + std::string(program) + " [OPTION]... [SUITE]...\n";
    text += "Runs the named suites, all of them when none is named, in their fixed order.\n\n";
    for (const Option& option : Options())
        text += HelpLine(option);
    text +=
        "\nA GLOB is for the whole name, as -l -v shows it; * ? [...] also stand for a slash. --filter and\n";
    text += "--exclude may be given several times; selecting no check at all is an error.\n";
    text += "\nA check may take 4 seconds; CK_DEFAULT_TIMEOUT in the environment sets other ones, and\n";
    text += "CK_TIMEOUT_MULTIPLIER multiplies every check's time.\n";
    text +=
        "\nFILE may be - for standard output, where with -q nothing else goes. Reports other than Check's "
        "XML\n";
    text += "log are written when the program ends, also where a check has ended it.\n";
    text +=
        "\nStatus: 0 when every check that ran passed, 1 when one failed, the command line is wrong, or a\n";
    text += "report cannot be written.\n";
    text += "Where Check itself cannot go on (no temporary file, no process to be had) the status is 2.\n";
    return text;
}

}  // namespace zumra::check
