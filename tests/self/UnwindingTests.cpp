#include <cstdio>
#include <stdexcept>
#include <thread>

#include "CheckFrame.h"
#include "self/Suites.h"

namespace zumra::tests {

namespace {

/// Says on standard output when it goes.
class Owned {
public:
    explicit Owned(const char* owner) : _owner(owner) {}
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    ~Owned() {
        std::printf("destroyed: %s\n", _owner);
        std::fflush(stdout);
    }

private:
    const char* _owner;
};

void Swallow(void (*function)()) {
    try {
        function();
    } catch (...) {
    }
}

CHECK(failing_check_destroys_what_it_owns) {
    const Owned owned("failing check");
    fail("failed while owning");  // reported
}

CHECK(throwing_check_destroys_what_it_owns) {  // reported
    const Owned owned("throwing check");
    throw std::runtime_error("threw while owning");
}

CHECK(swallowed_failure_stays) {
    Swallow([] { fail("swallowed"); });  // reported
}

CHECK(first_of_two_failures_counts) {
    Swallow([] { fail("first"); });  // reported
    fail("second");
}

CHECK(failure_counts_before_exception) {
    Swallow([] { fail("first"); });  // reported
    throw std::runtime_error("second");
}

CHECK(swallowed_exception_is_no_failure) {
    Swallow([] { throw 3; });
}

CHECK(swallowed_failure_on_another_thread_stays) {
    std::thread([] { Swallow([] { fail("on another thread"); }); }).join();  // reported
}

const TestCase kAll = {
    "all",
    {
        failing_check_destroys_what_it_owns,
        throwing_check_destroys_what_it_owns,
        swallowed_failure_stays,
        first_of_two_failures_counts,
        failure_counts_before_exception,
        swallowed_exception_is_no_failure,
        swallowed_failure_on_another_thread_stays,
    },
};

CHECK(failure_in_noexcept_function) {
    const auto function = []() noexcept { fail("where nothing may be thrown"); };  // reported
    function();
}

const TestCase kTerminate = {
    "all",
    {
        failure_in_noexcept_function,
    },
};

CHECK(failure_on_another_thread) {
    std::thread([] { fail("on another thread"); }).join();  // reported
}

const TestCase kForeignThread = {
    "all",
    {
        failure_on_another_thread,
    },
};

}  // namespace

Suite* UnwindingTests() {
    return BuildSuite("UnwindingTests", {kAll});
}
Suite* TerminateTests() {
    return BuildSuite("TerminateTests", {kTerminate});
}
Suite* ForeignThreadTests() {
    return BuildSuite("ForeignThreadTests", {kForeignThread});
}

}  // namespace zumra::tests
