#include <unistd.h>

#include <iostream>

#include "storage/StandardDescriptors.h"
#include "zumra-settings/CommandLine.h"

int main(int count, char** arguments) {
    zumra::storage::ReserveStandardDescriptors();
    std::ios::sync_with_stdio(false);
    return zumra::cli::RunCommandLine(count, arguments,
                                      {std::cin, std::cout, std::cerr, ::isatty(STDOUT_FILENO) != 0});
}
