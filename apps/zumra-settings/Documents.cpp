#include "zumra-settings/Documents.h"

#include <cerrno>
#include <cstring>
#include <ios>
#include <istream>
#include <iterator>
#include <ostream>
#include <system_error>

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

std::set<std::string> AsSet(const std::vector<std::string>& patterns) {
    return {patterns.begin(), patterns.end()};
}

std::set<std::string> AsSetOrAll(const std::vector<std::string>& patterns) {
    return patterns.empty() ? std::set<std::string>{"*"} : AsSet(patterns);
}

SettingLocator AsLocator(const std::string& text) {
    try {
        return SettingLocator::Parse(text);
    } catch (const osa::Exception&) {
        throw UsageError{"expected a locator ('[group]name'), got '" + Visible(text) + "'"};
    }
}

bool IsPattern(const std::string& text) {
    return !text.empty() && text.back() == '*';
}

int ComplainOfMissing(const Context& context, const std::set<std::string>& asked,
                      const core::IniFile& found) {
    int status = kDone;
    for (const std::string& group : asked) {
        if (!IsPattern(group) && !found.HasGroup(group)) {
            context.Complain("there is no '" + Visible(group) + "'");
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
