#include "zumra-settings/Json.h"

#include <cstddef>
#include <iterator>
#include <ostream>
#include <set>

#include "zumra-settings/Output.h"
#include "zumra/osa/Exception.h"

namespace zumra::cli {

namespace {

/// Reads a text and knows in which line it is.
class LineReader {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    LineReader(const char* at, std::size_t* line) : _at(at), _line(line) {}
    reference operator*() const { return *_at; }
    LineReader& operator++() {
        *_line += *_at++ == '\n' ? 1 : 0;
        return *this;
    }
    bool operator==(const LineReader& other) const { return _at == other._at; }
    bool operator!=(const LineReader& other) const { return _at != other._at; }

private:
    const char* _at;
    std::size_t* _line;
};

/// Sees every key while the text is read: afterwards one that came twice is there once.
class Keys {
public:
    explicit Keys(const std::size_t& line) : _line(line) {}

    bool operator()(int depth, Json::parse_event_t event, const Json& parsed) {
        if (event == Json::parse_event_t::key && depth == 1) {
            _group = parsed.get<std::string>();
            _names.clear();
            if (!_groups.insert(_group).second) {
                Refuse("group '" + Visible(_group) + "'");
            }
        } else if (event == Json::parse_event_t::key && depth == 2 && !_groups.empty()) {
            const auto name = parsed.get<std::string>();
            if (!_names.insert(name).second) {
                Refuse("'" + Visible(name) + "' of group '" + Visible(_group) + "'");
            }
        }
        return true;
    }

private:
    [[noreturn]] void Refuse(const std::string& what) const {
        throw osa::Exception("line " + std::to_string(_line) + ": " + what + " is there twice");
    }

    const std::size_t& _line;
    std::string _group;
    std::set<std::string> _groups;
    std::set<std::string> _names;
};

Json Parse(const std::string& text) {
    std::size_t line = 1;
    Keys keys(line);
    try {
        return Json::parse(LineReader(text.data(), &line), LineReader(text.data() + text.size(), &line),
                           [&keys](int depth, Json::parse_event_t event, const Json& parsed) {
                               return keys(depth, event, parsed);
                           });
    } catch (const Json::exception& error) {
        throw osa::Exception(error.what());
    }
}

}  // namespace

core::IniFile ReadJson(const std::string& text) {
    const Json json = Parse(text);
    if (!json.is_object()) {
        throw osa::Exception("expected an object of groups");
    }
    core::IniFile document;
    for (const auto& [group, values] : json.items()) {
        if (!values.is_object()) {
            throw osa::Exception("expected an object of values as group '" + Visible(group) + "'");
        }
        document[group];
        for (const auto& [name, value] : values.items()) {
            if (!value.is_string()) {
                throw osa::Exception("expected a string as '" + Visible(name) + "' of group '" +
                                     Visible(group) + "'");
            }
            document[group][name] = value.get<std::string>();
        }
    }
    return document;
}

Json ToJson(const core::IniFile& document) {
    Json json = Json::object();
    for (const auto& [group, values] : document) {
        Json object = Json::object();
        for (const auto& [name, value] : values) {
            object[name] = value;
        }
        json[group] = std::move(object);
    }
    return json;
}

void WriteJson(std::ostream& out, const Json& json, const std::string& what, int indent) {
    try {
        out << json.dump(indent) << '\n';
    } catch (const Json::exception&) {
        throw osa::Exception(what +
                             " holds bytes that are not UTF-8, which JSON cannot say; ask for another form");
    }
}

}  // namespace zumra::cli
