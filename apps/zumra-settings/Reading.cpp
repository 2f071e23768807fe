// The verbs that only read.
#include <utility>

#include "settings/client/IBackend.h"
#include "zumra-settings/Documents.h"
#include "zumra-settings/Verbs.h"

namespace zumra::cli {

namespace {

using settings::common::SettingLocator;

bool IsLocator(const std::string& text) {
    return !text.empty() && text.front() == '[';
}

int Missing(const Context& context, const std::string& what) {
    context.Complain("there is no '" + Visible(what) + "'");
    return kMissing;
}

/// One locator alone gives the bare value; anything else gives a document.
int GetOne(Context& context, const std::string& text) {
    const auto value = context.client().FindValue(AsLocator(text).ToString());
    if (!value) {
        return Missing(context, text);
    }
    WriteValue(context.out, context.form, context.style, *value);
    return kDone;
}

/// Copies the group that has the value, or as much of it as there is, into `found`.
bool GetValue(Context& context, const SettingLocator& locator, core::IniFile& found) {
    const auto value = context.client().FindValue(locator.ToString());
    if (value) {
        found[locator.group][locator.name] = *value;
    }
    return value.has_value();
}

bool HasMatch(const core::IniFile& document, const Matcher& groups) {
    std::set<std::string> names;
    groups.GetMatchingGroups(document, names);
    return !names.empty();
}

int GetMany(Context& context, const std::vector<std::string>& words) {
    std::vector<std::pair<std::string, Matcher>> selections;
    Matcher groups;
    std::vector<std::pair<std::string, SettingLocator>> locators;
    for (const std::string& word : words) {
        if (IsLocator(word)) {
            locators.emplace_back(word, AsLocator(word));
        } else {
            groups.Add(selections.emplace_back(word, AsMatcher({word})).second);
        }
    }
    core::IniFile document;
    if (!groups.empty()) {
        context.client().Backend().Get(groups, document);
    }
    int status = kDone;
    for (const auto& [word, selected] : selections) {
        if (word != "*" && !HasMatch(document, selected)) {
            status = Missing(context, word);
        }
    }
    for (const auto& [word, locator] : locators) {
        if (!GetValue(context, locator, document)) {
            status = Missing(context, word);
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

core::IniFile Selected(const core::IniFile& all, const Matcher& groups) {
    std::set<std::string> names;
    groups.GetMatchingGroups(all, names);
    core::IniFile selected;
    for (const std::string& name : names) {
        selected.SetGroup(name, *all.FindGroup(name));
    }
    return selected;
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
    app.add_option("what", *what,
                   "Locators ('[group]name'), groups and patterns ('prefix*'; '\"h*\"' is the group 'h*')")
        ->required();
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
        WriteGroupNames(context.out, context.form, context.style,
                        *prefixes ? Prefixes(document, *start) : Names(document));
        return kDone;
    };
}

Action AddExport(CLI::App& app) {
    auto patterns = std::make_shared<std::vector<std::string>>();
    app.add_option("patterns", *patterns, std::string(kGroupsHelp) + "; everything when there is none");
    return [patterns](Context& context) {
        const Matcher chosen = AsMatcherOrAll(*patterns);
        core::IniFile document;
        context.client().Backend().Get(chosen, document);
        const Form form = context.form == Form::kPeople ? Form::kIni : context.form;
        WriteDocument(context.out, form, Style(), document);
        return ComplainOfMissing(context, chosen, document);
    };
}

Action AddDiff(CLI::App& app) {
    auto patterns = std::make_shared<std::vector<std::string>>();
    app.add_option("patterns", *patterns, std::string(kGroupsHelp) + "; everything when there is none");
    return [patterns](Context& context) {
        const Matcher chosen = AsMatcherOrAll(*patterns);
        const core::IniFile defaults = Selected(context.report("defaults"), chosen);
        core::IniFile current;
        context.client().Backend().Get(chosen, current);
        const std::vector<Change> changes = Changes(defaults, current);
        WriteChanges(context, changes);
        core::IniFile either = defaults;
        either.MergeSettings(current);
        const int missing = ComplainOfMissing(context, chosen, either);
        return missing != kDone ? missing : changes.empty() ? kDone : kRefused;
    };
}

}  // namespace zumra::cli
