#pragma once

namespace zumra::check {

/// Gives a closed standard descriptor to a file that takes and gives nothing, so that none that the program
/// opens later takes its place: a report would be written there for standard output.
void OccupyStandardDescriptors();

/// Throws `std::runtime_error` when something that was put to standard output has not been written there.
void RequireWrittenOutput();

}  // namespace zumra::check
