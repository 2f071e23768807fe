#include "zumra-settings/Documents.h"

#include <cerrno>
#include <cstring>
#include <ios>
#include <istream>
#include <iterator>
#include <ostream>
#include <system_error>

#include "settings/common/MatcherLines.h"
#include "storage/FileCalls.h"
#include "storage/ReplaceFile.h"
#include "zumra/osa/Exception.h"

namespace zumra::cli {

using settings::common::SettingLocator;

void Context::Complain(const std::string& what) const {
    err << "zumra-settings: " << what << '\n';
}

std::string ReadText(Context& context, const std::string& path) {
    if (path == "-") {
        try {
            return {std::istreambuf_iterator<char>(context.in), {}};
        } catch (const std::ios_base::failure& failure) {
            throw osa::Exception("cannot read standard input: " + failure.code().message());
        }
    }
    storage::SystemFileCalls calls;
    const auto text = storage::ReadFile(calls, path);
    if (!text) {
        throw osa::Exception("cannot read '" + path + "': " + std::generic_category().message(ENOENT));
    }
    return *text;
}

core::IniFile ReadDocumentFile(Context& context, const std::string& path) {
    const std::string text = ReadText(context, path);
    try {
        return ReadDocument(context.form, text);
    } catch (const osa::Exception& error) {
        throw osa::Exception("'" + path + "': " + error.what());
    }
}

Matcher AsMatcher(const std::vector<std::string>& words) {
    Matcher matcher;
    for (const std::string& word : words) {
        try {
            settings::common::MatcherLines::Add(matcher, word);
        } catch (const osa::Exception&) {
            throw UsageError{"expected a group or pattern, in quotes as a whole or not at all, got '" +
                             Visible(word) + "'"};
        }
    }
    return matcher;
}

Matcher AsMatcherOrAll(const std::vector<std::string>& words) {
    return words.empty() ? Matcher("*") : AsMatcher(words);
}

SettingLocator AsLocator(const std::string& text) {
    try {
        return SettingLocator::Parse(text);
    } catch (const osa::Exception&) {
        throw UsageError{"expected a locator ('[group]name'), got '" + Visible(text) + "'"};
    }
}

int ComplainOfMissing(const Context& context, const Matcher& asked, const core::IniFile& found) {
    int status = kDone;
    for (const std::string& group : asked.Names()) {
        if (!found.HasGroup(group)) {
            context.Complain("there is no '" + Visible(GroupWord(group)) + "'");
            status = kMissing;
        }
    }
    return status;
}

std::string Describe(const settings::ZumraSettingsClient::Difference& difference) {
    const std::string where =
        Visible(SettingLocator{difference.group, difference.name.value_or("")}.ToString());
    const auto text = [](const std::optional<std::string>& value) {
        return value ? "'" + Visible(*value) + "'" : std::string("nothing");
    };
    if (!difference.name) {
        return where + (difference.actual ? " is there" : " is not there");
    }
    return where + ": expected " + text(difference.expected) + ", found " + text(difference.actual);
}

}  // namespace zumra::cli
