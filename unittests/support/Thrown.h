#pragma once

#include <string>

#include "zumra/osa/Exception.h"

namespace zumra::test {

/// The text of the exception that the call throws.
template <class Call>
std::string Thrown(Call call) {
    try {
        call();
    } catch (const osa::Exception& e) {
        return e.what();
    }
    return "nothing was thrown";
}

}  // namespace zumra::test
