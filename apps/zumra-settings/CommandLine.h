#pragma once

#include <iosfwd>

namespace zumra::cli {

struct Terminal {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    /// Whether a person looks at `out`.
    bool isTerminal;
};

/// Does what the command line says; the status to exit with.
int RunCommandLine(int count, const char* const* arguments, const Terminal& terminal);

}  // namespace zumra::cli
