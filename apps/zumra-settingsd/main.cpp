#include <csignal>
#include <exception>
#include <iostream>

#include "storage/StandardDescriptors.h"
#include "zumra-settingsd/Daemon.h"
#include "zumra-settingsd/HeldSignals.h"
#include "zumra-settingsd/Log.h"
#include "zumra-settingsd/Options.h"

int main(int count, char** arguments) {
    using namespace zumra::settingsd;
    HeldSignals::Hold();
    zumra::storage::ReserveStandardDescriptors();
    try {
        const Options options = ParseOptions(count, arguments);
        // A peer that is gone, or a file over its limit, is an error of the call, not the end of the daemon.
        std::signal(SIGPIPE, SIG_IGN);
        std::signal(SIGXFSZ, SIG_IGN);
        Log log(options.logLevel);
        try {
            if (options.checkOnly) {
                HeldSignals::Release();
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
    } catch (const std::exception& error) {
        std::cerr << "zumra-settingsd: " << error.what() << '\n';  // There is no log.
        return 1;
    }
}
