#pragma once

#include <functional>
#include <iosfwd>
#include <string>

#include "zumra-settings/Output.h"
#include "zumra/settings/ZumraSettingsClient.h"

namespace zumra::cli {

/// What the program exits with.
enum Status {
    kDone = 0,
    kRefused = 1,  ///< the server refused, a test failed, or two things differ
    kUsage = 2,
    kMissing = 3,  ///< no such setting or group
    kNoServer = 4,
};

/// What a verb works with.
struct Context {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    Form form = Form::kPeople;
    Style style;
    /// Where the server is; empty when the settings are those of a store of this process.
    std::string socket;
    /// Connects, or opens the store, when it is first called. Throws `NoServer`.
    std::function<settings::ZumraSettingsClient&()> client;
    /// Asks for one of the server's reports ("stats", "clients", "defaults"; of a store the last alone).
    std::function<core::IniFile(const std::string& name)> report;

    /// Says on standard error what is wrong.
    void Complain(const std::string& what) const;
};

/// There is nobody to ask.
struct NoServer {
    std::string reason;
};

/// The command line asks for something that there is not.
struct UsageError {
    std::string reason;
};

}  // namespace zumra::cli
