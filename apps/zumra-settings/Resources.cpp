// The verbs about shared resources.
#include <algorithm>
#include <charconv>
#include <iomanip>
#include <limits>
#include <map>
#include <ostream>

#include "settings/client/ResourceLayout.h"
#include "zumra-settings/Documents.h"
#include "zumra-settings/Verbs.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/ResourceManager.h"
#include "zumra/settings/ResourceReserver.h"

namespace zumra::cli {

namespace {

constexpr std::string_view kResources = "Resources/";
constexpr std::string_view kConsumers = "/Consumers/";
constexpr int kBarWidth = 30;

using Consumers = std::vector<std::string>;

/// Resource, then its consumers, as the names of the groups tell.
std::map<std::string, Consumers> FindResources(const core::IniFile& document) {
    std::map<std::string, Consumers> resources;
    for (const auto& [group, values] : document) {
        const std::string name = group.substr(kResources.size());
        const auto consumers = name.find(kConsumers);
        if (consumers != std::string::npos) {
            resources[name.substr(0, consumers)].push_back(name.substr(consumers + kConsumers.size()));
        } else if (values.count("TotalAvailable") != 0) {
            resources[name];
        }
    }
    return resources;
}

/// What anybody may write below "Resources/" need not be a resource: that is told, and left out.
void LeaveOutInvalid(const Context& context, std::map<std::string, Consumers>& resources) {
    for (auto entry = resources.begin(); entry != resources.end();) {
        try {
            const settings::client::ResourceLayout valid(entry->first);
            ++entry;
        } catch (const osa::Exception& error) {
            context.Complain(Visible(error.what()));
            entry = resources.erase(entry);
        }
    }
}

std::string Bar(long long used, long long total) {
    const long long filled =
        total <= 0 ? 0 : std::clamp(used * kBarWidth / total, 0LL, static_cast<long long>(kBarWidth));
    return std::string(static_cast<std::size_t>(filled), '#') +
           std::string(static_cast<std::size_t>(kBarWidth - filled), '.');
}

struct Row {
    std::string consumer;
    int used;
    int available;
};

struct Table {
    std::string resource;
    int total;
    std::vector<Row> rows;

    [[nodiscard]] long long Used() const {
        long long used = 0;
        for (const Row& row : rows) {
            used += row.used;
        }
        return used;
    }
};

void WriteTable(Context& context, const Table& table) {
    std::size_t width = 8;
    for (const Row& row : table.rows) {
        width = std::max(width, Visible(row.consumer).size());
    }
    const auto endLine = [&](long long used) {
        context.out << (context.style.HasBars() ? "  " + Bar(used, table.total) : "") << '\n';
    };
    context.out << context.style.Strong(Visible(table.resource)) << "  " << table.Used() << " of "
                << table.total << " used";
    endLine(table.Used());
    for (const Row& row : table.rows) {
        context.out << "  " << std::left << std::setw(static_cast<int>(width)) << Visible(row.consumer)
                    << std::right << std::setw(12) << row.used << "  may use " << row.available;
        endLine(row.used);
    }
}

core::IniFile AsDocument(const std::vector<Table>& tables) {
    core::IniFile document;
    for (const Table& table : tables) {
        auto& resource = document[table.resource];
        resource["Total"] = std::to_string(table.total);
        resource["Used"] = std::to_string(table.Used());
        for (const Row& row : table.rows) {
            auto& consumer = document[table.resource + std::string(kConsumers) + row.consumer];
            consumer["Used"] = std::to_string(row.used);
            consumer["MayUse"] = std::to_string(row.available);
        }
    }
    return document;
}

Table MakeTable(Context& context, const std::string& resource, const Consumers& consumers) {
    const settings::ResourceManager manager(&context.client());
    const settings::ResourceReserver total(&context.client(), resource, "");
    Table table{resource, total.GetTotalResources(), {}};
    for (const std::string& consumer : consumers) {
        table.rows.push_back(
            {consumer, manager.GetUsed(consumer, resource), manager.GetAvailable(consumer, resource)});
    }
    return table;
}

int ShowResources(Context& context, const std::string& only) {
    core::IniFile document;
    context.client().GetSettings(std::string(kResources) + "*", document);
    auto resources = FindResources(document);
    LeaveOutInvalid(context, resources);
    if (!only.empty() && resources.count(only) == 0) {
        context.Complain("there is no resource '" + Visible(only) + "'");
        return kMissing;
    }
    std::vector<Table> tables;
    for (const auto& [resource, consumers] : resources) {
        if (only.empty() || resource == only) {
            tables.push_back(MakeTable(context, resource, consumers));
        }
    }
    if (context.form != Form::kPeople) {
        WriteDocument(context.out, context.form, context.style, AsDocument(tables));
        return kDone;
    }
    for (const Table& table : tables) {
        WriteTable(context, table);
    }
    return kDone;
}

struct Reservation {
    std::string resource;
    std::string consumer;
    std::string amount;
};

int Reserve(Context& context, const Reservation& wanted) {
    std::string number = wanted.amount;
    const bool percent = !number.empty() && number.back() == '%';
    if (percent) {
        number.pop_back();
    }
    double amount = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), amount);
    const bool inRange =
        amount >= std::numeric_limits<int>::min() && amount <= std::numeric_limits<int>::max();
    if (error != std::errc() || end != number.data() + number.size() || !inRange ||
        (!percent && amount != static_cast<int>(amount))) {
        throw UsageError{"expected a whole number or a percentage, got '" + Visible(wanted.amount) + "'"};
    }
    settings::ResourceReserver reserver(&context.client(), wanted.resource, wanted.consumer);
    const bool done =
        percent ? reserver.TrySetUsagePercent(amount / 100) : reserver.TrySetUsage(static_cast<int>(amount));
    if (!done) {
        context.Complain("refused: " + Visible(wanted.consumer) + " may use " +
                         std::to_string(reserver.GetAvailableResources()) + " of " +
                         Visible(wanted.resource));
    }
    return done ? kDone : kRefused;
}

}  // namespace

Action AddResources(CLI::App& app) {
    auto only = std::make_shared<std::string>();
    app.add_option("resource", *only, "Only this one");
    return [only](Context& context) { return ShowResources(context, *only); };
}

Action AddReserve(CLI::App& app) {
    auto wanted = std::make_shared<Reservation>();
    app.add_option("resource", wanted->resource, "Name of the resource")->required();
    app.add_option("consumer", wanted->consumer, "Who uses it")->required();
    app.add_option("amount", wanted->amount, "How much, or which share of the total ('20%')")->required();
    return [wanted](Context& context) { return Reserve(context, *wanted); };
}

}  // namespace zumra::cli
