#pragma once

#include <string>

#include "check/CommandLine.h"

namespace zumra::check {

/// Whether a run has to be supervised: for reports that must be written however it ends, for several rounds,
/// and for checks without a process of their own, whose end would be the end of everything. A debugger is
/// left with the one process that it started, unless there is something to write or repeat.
bool NeedsSupervisor(const CommandLine& commandLine);

/// Runs the checks in a child process, once a round, and ends the program when the last round is over, with
/// the child's status: returns only in a child, which is to go on with the run. A round that ends before
/// its checks do is named on standard error. Signals that are to end the program end the child too; when the
/// child was killed by a signal, so is this process.
///
/// To be called while the process has one thread.
void RunSupervised(const CommandLine& commandLine, const std::string& program);

}  // namespace zumra::check
