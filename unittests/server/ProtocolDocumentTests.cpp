#include <gtest/gtest.h>

#include <fstream>

#include "server/SessionHarness.h"

namespace zumra::settings::server::testing {
namespace {

struct Exchange {
    int line = 0;  ///< of the request in the document
    std::string defaults;
    std::string request;
    std::string reply;
};

/// The worked exchanges: blocks marked "defaults", "request" and "reply", in this order.
std::vector<Exchange> ReadExchanges(std::istream& in) {
    std::vector<Exchange> all;
    Exchange current;
    std::string* block = nullptr;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (line == "```defaults") {
            block = &current.defaults;
        } else if (line == "```request") {
            current.line = number;
            block = &current.request;
        } else if (line == "```reply") {
            block = &current.reply;
        } else if (line == "```") {
            if (block == &current.reply) {
                all.push_back(std::exchange(current, {}));
            }
            block = nullptr;
        } else if (block != nullptr) {
            *block += line + '\n';
        }
    }
    return all;
}

TEST(ProtocolDocumentTests, EveryWorkedExchangeIsTrue) {
    std::ifstream in(ZUMRA_DOCS "/protocol.md");
    ASSERT_TRUE(in.is_open());
    const std::vector<Exchange> exchanges = ReadExchanges(in);
    ASSERT_GE(exchanges.size(), 16U);
    for (const Exchange& exchange : exchanges) {
        Server server(exchange.defaults);
        EXPECT_EQ(RunWhole(server, exchange.request), exchange.reply)
            << "docs/protocol.md, line " << exchange.line;
    }
}

}  // namespace
}  // namespace zumra::settings::server::testing
