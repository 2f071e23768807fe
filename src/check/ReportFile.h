#pragma once

#include <string>
#include <string_view>

namespace zumra::check {

/// A file that a report goes to; "-" is standard output.
struct ReportFile {
    /// What is written there, as messages name it: "XML log".
    std::string_view report;
    std::string path;
};

/// Throws `CommandLineError` when no report can be written to the file, without leaving a trace there: it
/// would be known only after the run.
void RequireWritable(const ReportFile& file);

/// Makes `content` the file's content. Throws `std::runtime_error` when not all of it could be written.
void Write(const ReportFile& file, std::string_view content);

}  // namespace zumra::check
