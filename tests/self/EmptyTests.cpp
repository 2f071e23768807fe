#include <vector>

#include "CheckFrame.h"
#include "self/Suites.h"

/// As many checks as the real program has, none of which does anything: what the runner and the frame cost.
namespace zumra::tests {

namespace {

CHECK(empty) {}

constexpr int kCount = 139;

}  // namespace

Suite* EmptyTests() {
    const std::vector<Checks> checks(kCount, Checks(empty));
    return BuildSuite("EmptyTests", {{"all", checks}});
}

}  // namespace zumra::tests
