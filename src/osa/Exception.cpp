#include "zumra/osa/Exception.h"

namespace zumra::osa {

Exception::Exception(const std::string& message) : std::runtime_error(message) {}

Exception::~Exception() = default;

}  // namespace zumra::osa
