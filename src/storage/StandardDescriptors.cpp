#include "storage/StandardDescriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <initializer_list>

namespace zumra::storage {

void ReserveStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) < 0) {
            // The lowest number that is free is this one. Open the wrong way round: nothing is to be had
            // here.
            static_cast<void>(::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

}  // namespace zumra::storage
