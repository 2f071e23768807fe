#include <csignal>
#include <exception>

#include "zumra-settingsd/Daemon.h"
#include "zumra-settingsd/Log.h"
#include "zumra-settingsd/Options.h"

int main(int count, char** arguments) {
    using namespace zumra::settingsd;
    try {
        const Options options = ParseOptions(count, arguments);
        std::signal(SIGPIPE, SIG_IGN);
        Log log(options.logLevel);
        try {
            if (options.checkOnly) {
                CheckSetup(options, log);
                return 0;
            }
            return RunDaemon(options, log);
        } catch (const std::exception& error) {
            log.Error(error.what());
            return 1;
        }
    } catch (const EarlyExit& exit) {
        return exit.status;
    }
}
