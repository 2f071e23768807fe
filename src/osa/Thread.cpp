#include "zumra/osa/Thread.h"

#include <chrono>
#include <thread>

namespace zumra::osa {

void Thread::CurrentThread::Sleep(unsigned int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

}  // namespace zumra::osa
