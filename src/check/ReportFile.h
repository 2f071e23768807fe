#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zumra::check {

/// A file that a report goes to; "-" is standard output.
struct ReportFile {
    /// What is written there, as messages name it: "XML log".
    std::string_view report;
    std::string path;
};

/// Throws `CommandLineError` when two reports are to be written to one file, however it is called.
void RequireDifferent(const std::vector<ReportFile>& files);

/// Throws `CommandLineError` when no report can be written to the file, without leaving a trace there: it
/// would be known only after the run. A pipe is kept open until the program ends, so that who reads it waits
/// for the report.
void RequireWritable(const ReportFile& file);

/// Makes `content` the file's content. Throws `std::runtime_error` when not all of it could be written.
void Write(const ReportFile& file, std::string_view content);

}  // namespace zumra::check
