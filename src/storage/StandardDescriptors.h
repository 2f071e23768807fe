#pragma once

namespace zumra::storage {

/// To be called first of all in a program that opens files and sockets. Where standard input, output or error
/// is closed, the system would give its number to the next file or connection that is opened, and what is
/// meant for the one would go to the other. Afterwards reading or writing such a one fails, as it should.
void ReserveStandardDescriptors();

}  // namespace zumra::storage
