// The verbs that change settings.
#include <utility>

#include "settings/client/IBackend.h"
#include "zumra-settings/Documents.h"
#include "zumra-settings/Verbs.h"

namespace zumra::cli {

namespace {

using settings::common::SettingLocator;

constexpr const char* kOneInput = "standard input ('-') can be read only once";

int Set(Context& context, const std::vector<std::string>& words) {
    if (words.size() % 2 != 0) {
        throw UsageError{"expected a value after '" + Visible(words.back()) + "'"};
    }
    core::IniFile document;
    bool inputTaken = false;
    for (std::size_t index = 0; index < words.size(); index += 2) {
        const SettingLocator locator = AsLocator(words[index]);
        std::string value = words[index + 1];
        if (value == "-") {
            if (std::exchange(inputTaken, true)) {
                throw UsageError{kOneInput};
            }
            value = ReadText(context, "-");
        }
        document[locator.group][locator.name] = std::move(value);
    }
    context.client().MergeSettings(document);
    return kDone;
}

int Unset(Context& context, const std::vector<std::string>& words) {
    std::vector<std::string> locators;
    locators.reserve(words.size());
    for (const std::string& word : words) {
        locators.push_back(AsLocator(word).ToString());
    }
    int status = kDone;
    for (const std::string& locator : locators) {
        if (!context.client().FindValue(locator)) {
            context.Complain("there is no '" + Visible(locator) + "'");
            status = kMissing;
            continue;
        }
        context.client().EraseValue(locator);
    }
    return status;
}

int Erase(Context& context, const Matcher& groups) {
    core::IniFile present;
    context.client().Backend().Get(groups, present);
    context.client().Backend().Erase(groups);
    return ComplainOfMissing(context, groups, present);
}

int Restore(Context& context, const Matcher& groups) {
    context.client().Backend().Restore(groups);
    return ComplainOfMissing(context, groups, context.report("defaults"));
}

struct Test {
    std::string expect;
    std::string merge;
    std::vector<std::string> exactly;
};

int TestAndMerge(Context& context, const Test& test) {
    if (test.expect == "-" && test.merge == "-") {
        throw UsageError{kOneInput};
    }
    const Matcher exactly = AsMatcher(test.exactly);
    const core::IniFile expected = ReadDocumentFile(context, test.expect);
    const core::IniFile merged = ReadDocumentFile(context, test.merge);
    settings::ZumraSettingsClient::Difference difference;
    settings::client::IBackend& backend = context.client().Backend();
    const bool done = exactly.empty() ? backend.TestAndMerge(expected, merged, &difference)
                                      : backend.TestExactlyAndMerge(exactly, expected, merged, &difference);
    if (!done) {
        context.Complain("refused: " + Describe(difference));
    }
    return done ? kDone : kRefused;
}

using Patterns = std::shared_ptr<std::vector<std::string>>;

Patterns AddPatterns(CLI::App& app) {
    auto patterns = std::make_shared<std::vector<std::string>>();
    app.add_option("patterns", *patterns, kGroupsHelp)->required();
    return patterns;
}

std::shared_ptr<std::string> AddFile(CLI::App& app, const char* name) {
    auto file = std::make_shared<std::string>("-");
    app.add_option(name, *file, "File with a document; '-' or nothing: standard input")->type_name("FILE");
    return file;
}

}  // namespace

Action AddSet(CLI::App& app) {
    auto words = std::make_shared<std::vector<std::string>>();
    app.add_option("settings", *words,
                   "Locator, value, locator, value ...; '-' for a value from standard input")
        ->required();
    return [words](Context& context) { return Set(context, *words); };
}

Action AddUnset(CLI::App& app) {
    auto locators = std::make_shared<std::vector<std::string>>();
    app.add_option("locators", *locators, "Locators ('[group]name')")->required();
    return [locators](Context& context) { return Unset(context, *locators); };
}

Action AddMerge(CLI::App& app) {
    const auto file = AddFile(app, "file");
    return [file](Context& context) {
        const core::IniFile document = ReadDocumentFile(context, *file);
        context.client().MergeSettings(document);
        return kDone;
    };
}

Action AddOverwrite(CLI::App& app) {
    const auto patterns = AddPatterns(app);
    const auto file = AddFile(app, "--from");
    return [patterns, file](Context& context) {
        const Matcher groups = AsMatcher(*patterns);
        const core::IniFile document = ReadDocumentFile(context, *file);
        context.client().Backend().Overwrite(groups, document);
        return kDone;
    };
}

Action AddErase(CLI::App& app) {
    const auto patterns = AddPatterns(app);
    return [patterns](Context& context) { return Erase(context, AsMatcher(*patterns)); };
}

Action AddRestore(CLI::App& app) {
    const auto patterns = AddPatterns(app);
    return [patterns](Context& context) { return Restore(context, AsMatcher(*patterns)); };
}

Action AddTestAndMerge(CLI::App& app) {
    auto test = std::make_shared<Test>();
    app.add_option("--expect", test->expect, "File with what must be there")->required()->type_name("FILE");
    app.add_option("--merge", test->merge, "File with what is merged then")->required()->type_name("FILE");
    app.add_option("--exactly", test->exactly,
                   "Group or pattern of groups that must be just the expected ones")
        ->expected(1)
        ->allow_extra_args(false)
        ->take_all()
        ->type_name("GROUPS");
    return [test](Context& context) { return TestAndMerge(context, *test); };
}

}  // namespace zumra::cli
