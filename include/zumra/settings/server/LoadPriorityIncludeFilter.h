#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "zumra/settings/server/IIncludeFilter.h"

namespace zumra::settings::server {

class ZUMRA_EXPORT LoadPriorityIncludeFilter : public IIncludeFilter {
public:
    LoadPriorityIncludeFilter();
    ~LoadPriorityIncludeFilter() override;
    using IIncludeFilter::Filter;
    void Filter(core::IniFile& document, const std::string& source) override;

private:
    std::map<std::string, std::int64_t, std::less<>> _accepted;
};

}  // namespace zumra::settings::server
