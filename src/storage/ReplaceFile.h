#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zumra::storage {

class IFileCalls;

/// The whole content of a file; nothing when there is no such file. Throws `zumra::osa::Exception`
/// "cannot read '<path>': <reason>".
[[nodiscard]] std::optional<std::string> ReadFile(IFileCalls& calls, const std::string& path);

/// Puts `content` in place of the file `path` (made with mode 0600 when new), keeping what was there as
/// `path` + ".previous". At every moment, also after a power cut, `path` or, where the file system has no
/// hard links, at least one of `path` and `path`.previous is a whole file. When this returns, the new content
/// is on disk. Throws `zumra::osa::Exception` "cannot <do what> '<path>': <reason>"; the file is then as it
/// was or, when only making the rename durable failed, already the new one.
void ReplaceFile(IFileCalls& calls, const std::string& path, std::string_view content);

/// Makes what happened to the names in the directory of `path` durable.
void SyncDirectoryOf(IFileCalls& calls, const std::string& path);

/// The name under which `ReplaceFile` keeps what was there before.
[[nodiscard]] std::string PreviousName(const std::string& path);

}  // namespace zumra::storage
