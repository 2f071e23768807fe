// The verbs that only read.
#include <ostream>

#include "zumra-settings/Documents.h"
#include "zumra-settings/Verbs.h"
#include "zumra/settings/common/GroupNameMatcher.h"
#include "zumra/settings/common/SettingLocator.h"

namespace zumra::cli {

namespace {

using settings::common::SettingLocator;

bool IsLocator(const std::string& text) {
    return !text.empty() && text.front() == '[';
}

int Missing(Context& context, const std::string& what) {
    context.err << "zumra-settings: there is no '" << Visible(what) << "'\n";
    return kMissing;
}

/// One locator alone gives the bare value; anything else gives a document.
int GetOne(Context& context, const std::string& locator) {
    const auto value = context.client().FindValue(locator);
    if (!value) {
        return Missing(context, locator);
    }
    WriteValue(context.out, context.form, *value);
    return kDone;
}

int GetMany(Context& context, const std::vector<std::string>& what) {
    core::IniFile document;
    int status = kDone;
    for (const std::string& text : what) {
        const std::size_t before = document.size();
        if (IsLocator(text)) {
            const auto value = context.client().FindValue(text);
            if (value) {
                const SettingLocator locator = SettingLocator::Parse(text);
                document[locator.group][locator.name] = *value;
            } else {
                status = Missing(context, text);
            }
            continue;
        }
        context.client().GetSettings(text, document);
        const bool found = text.back() == '*' ? document.size() > before : document.HasGroup(text);
        if (!found && text != "*") {
            status = Missing(context, text);
        }
    }
    WriteDocument(context.out, context.form, context.style, document);
    return status;
}

std::vector<std::string> Names(const core::IniFile& document) {
    std::vector<std::string> names;
    for (const auto& [name, values] : document) {
        names.push_back(name);
    }
    return names;
}

/// What follows `start` up to the next "/", once each.
std::vector<std::string> Prefixes(const core::IniFile& document, const std::string& start) {
    std::vector<std::string> prefixes;
    for (const auto& [name, values] : document) {
        const auto slash = name.find('/', start.size());
        const std::string prefix = slash == std::string::npos ? name : name.substr(0, slash + 1);
        if (prefixes.empty() || prefixes.back() != prefix) {
            prefixes.push_back(prefix);
        }
    }
    return prefixes;
}

}  // namespace

Action AddGet(CLI::App& app) {
    auto what = std::make_shared<std::vector<std::string>>();
    app.add_option("what", *what, "Locators ('[group]name'), groups, or patterns ('prefix*')")->required();
    return [what](Context& context) {
        return what->size() == 1 && IsLocator(what->front()) ? GetOne(context, what->front())
                                                             : GetMany(context, *what);
    };
}

Action AddList(CLI::App& app) {
    auto start = std::make_shared<std::string>();
    auto prefixes = std::make_shared<bool>(false);
    app.add_option("start", *start, "Only groups whose names begin with this");
    app.add_flag("--prefixes", *prefixes, "Only up to the next '/', like a folder's content");
    return [start, prefixes](Context& context) {
        core::IniFile document;
        context.client().GetSettings(*start + "*", document);
        WriteTexts(context.out, context.form, *prefixes ? Prefixes(document, *start) : Names(document));
        return kDone;
    };
}

Action AddExport(CLI::App& app) {
    auto patterns = std::make_shared<std::vector<std::string>>();
    app.add_option("patterns", *patterns, "Groups and patterns; everything when there is none");
    return [patterns](Context& context) {
        core::IniFile document;
        context.client().GetSettings(patterns->empty() ? std::set<std::string>{"*"} : AsSet(*patterns),
                                     document);
        const Form form = context.form == Form::kPeople ? Form::kIni : context.form;
        WriteDocument(context.out, form, Style(), document);
        return kDone;
    };
}

Action AddDiff(CLI::App& app) {
    auto patterns = std::make_shared<std::vector<std::string>>();
    app.add_option("patterns", *patterns, "Groups and patterns; everything when there is none");
    return [patterns](Context& context) {
        const std::set<std::string> chosen =
            patterns->empty() ? std::set<std::string>{"*"} : AsSet(*patterns);
        const core::IniFile all = context.report("defaults");
        std::set<std::string> names;
        settings::common::GroupNameMatcher(chosen).GetMatchingGroups(all, names);
        core::IniFile defaults;
        for (const std::string& name : names) {
            defaults.SetGroup(name, *all.FindGroup(name));
        }
        core::IniFile current;
        context.client().GetSettings(chosen, current);
        return WriteDifference(context.out, context.style, defaults, current) ? kRefused : kDone;
    };
}

}  // namespace zumra::cli
