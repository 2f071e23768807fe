// The verbs that change settings.
#include <ostream>

#include "zumra-settings/Documents.h"
#include "zumra-settings/Verbs.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/common/SettingLocator.h"

namespace zumra::cli {

namespace {

using settings::common::SettingLocator;

int Set(Context& context, const std::vector<std::string>& words) {
    if (words.size() % 2 != 0) {
        context.err << "zumra-settings: expected a value after '" << Visible(words.back()) << "'\n";
        return kUsage;
    }
    core::IniFile document;
    for (std::size_t index = 0; index < words.size(); index += 2) {
        const SettingLocator locator = SettingLocator::Parse(words[index]);
        const std::string& value = words[index + 1];
        document[locator.group][locator.name] = value == "-" ? ReadText(context, "-") : value;
    }
    context.client().MergeSettings(document);
    return kDone;
}

int Unset(Context& context, const std::vector<std::string>& locators) {
    int status = kDone;
    for (const std::string& locator : locators) {
        if (!context.client().FindValue(locator)) {
            context.err << "zumra-settings: there is no '" << Visible(locator) << "'\n";
            status = kMissing;
            continue;
        }
        context.client().EraseValue(locator);
    }
    return status;
}

struct Test {
    std::string expect;
    std::string merge;
    std::vector<std::string> exactly;
};

int TestAndMerge(Context& context, const Test& test) {
    const core::IniFile expected = ReadDocument(context, test.expect);
    const core::IniFile merged = ReadDocument(context, test.merge);
    settings::ZumraSettingsClient::Difference difference;
    const bool done = test.exactly.empty() ? context.client().TestAndMerge(expected, merged, &difference)
                                           : context.client().TestExactlyAndMerge(
                                                 AsSet(test.exactly), expected, merged, &difference);
    if (!done) {
        context.err << "zumra-settings: refused: " << Describe(difference) << '\n';
    }
    return done ? kDone : kRefused;
}

using Patterns = std::shared_ptr<std::vector<std::string>>;

Patterns AddPatterns(CLI::App& app) {
    auto patterns = std::make_shared<std::vector<std::string>>();
    app.add_option("patterns", *patterns, "Groups and patterns ('prefix*')")->required();
    return patterns;
}

std::shared_ptr<std::string> AddFile(CLI::App& app, const char* name) {
    auto file = std::make_shared<std::string>("-");
    app.add_option(name, *file, "INI file; '-' or nothing: standard input");
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
        context.client().MergeSettings(ReadDocument(context, *file));
        return kDone;
    };
}

Action AddOverwrite(CLI::App& app) {
    const auto patterns = AddPatterns(app);
    const auto file = AddFile(app, "--from");
    return [patterns, file](Context& context) {
        context.client().OverwriteSettings(AsSet(*patterns), ReadDocument(context, *file));
        return kDone;
    };
}

Action AddErase(CLI::App& app) {
    const auto patterns = AddPatterns(app);
    return [patterns](Context& context) {
        context.client().EraseGroups(AsSet(*patterns));
        return kDone;
    };
}

Action AddRestore(CLI::App& app) {
    const auto patterns = AddPatterns(app);
    return [patterns](Context& context) {
        context.client().RestoreToDefaults(AsSet(*patterns));
        return kDone;
    };
}

Action AddTestAndMerge(CLI::App& app) {
    auto test = std::make_shared<Test>();
    app.add_option("--expect", test->expect, "INI file with what must be there")->required();
    app.add_option("--merge", test->merge, "INI file with what is merged then")->required();
    app.add_option("--exactly", test->exactly, "Patterns of the groups that must be just the expected ones");
    return [test](Context& context) { return TestAndMerge(context, *test); };
}

}  // namespace zumra::cli
