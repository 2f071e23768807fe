#include "CheckModes.h"

#include "zumra/check/Guard.h"

namespace zumra::tests {

namespace {

struct CheckInMode {
    settings::ZumraSettingsClient::OperationMode mode;
    ClientBody body;

    static void Run(void* check) {
        const auto& self = *static_cast<const CheckInMode*>(check);
        ClientOfCheck client(self.mode);
        self.body(client);
    }
};

}  // namespace

void RunCheckInMode(const char* file, int line, settings::ZumraSettingsClient::OperationMode mode,
                    ClientBody body) {
    CheckInMode check{mode, body};
    check::RunGuarded(file, line, CheckInMode::Run, &check);
}

}  // namespace zumra::tests
