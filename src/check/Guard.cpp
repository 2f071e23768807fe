#include "zumra/check/Guard.h"

#include <exception>

#include "check/FirstFailure.h"

namespace zumra::check {

namespace {

void RunBody(const char* file, int line, void (*body)(void*), void* argument) {
    try {
        body(argument);
    } catch (const LeaveCheck&) {
    } catch (const std::exception& e) {
        firstFailure.Note(e.what(), file, line);
    } catch (...) {
        firstFailure.Note("unknown exception occurred", file, line);
    }
}

}  // namespace

void RunGuarded(const char* file, int line, void (*body)(void*), void* argument) {
    firstFailure.Clear();
    RunBody(file, line, body, argument);
    if (firstFailure.IsSet())
        firstFailure.Report();
}

}  // namespace zumra::check
