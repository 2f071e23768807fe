#include "zumra/core/IniFile.h"

namespace zumra::core {

IniFile::IniFile() = default;
IniFile::IniFile(const IniFile&) = default;
IniFile::IniFile(IniFile&&) noexcept = default;
IniFile& IniFile::operator=(const IniFile&) = default;
IniFile& IniFile::operator=(IniFile&&) noexcept = default;
IniFile::~IniFile() = default;

}  // namespace zumra::core
