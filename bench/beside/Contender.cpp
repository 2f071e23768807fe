#include "Contender.h"

#include <unistd.h>

#include <chrono>
#include <thread>

namespace zumra::beside {

void Contender::Start(Keeping keeping) {
    _process = Run(keeping);
    ::close(ConnectSoon(Socket()));
    while (!Answers()) {
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
}

void Contender::Stop() {
    _process.Stop();
}

}  // namespace zumra::beside
