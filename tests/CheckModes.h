#pragma once

/// Checks of the settings client that are written once and run once a mode of operation:
///
///     CHECK_IN_ALL_MODES(Merge_Works, ZumraSettingsClient& client) {
///         client.SetValue("[a]b", "c");
///     }
///
/// defines the checks "Merge_Works__kLocal", "Merge_Works__kLocalSingleThreadedPipe" and
/// "Merge_Works__kLocalMultiThreadedPipe", each with a new client that is destroyed when the body ends. The
/// suite's list names the family once. All its checks report the family's line. Include this header last, see
/// CheckAssertions.h.
///
/// The program that runs the same bodies against a daemon is compiled with ZUMRA_CHECKS_ON_DAEMON: a family
/// is then one check, "Merge_Works__kRemote".

#ifdef ZUMRA_CHECKS_ON_DAEMON
#include "daemon/DaemonClient.h"
#else
#include "zumra/settings/ZumraSettingsClient.h"
#endif

#include "CheckFrame.h"

#ifdef ZUMRA_CHECKS_ON_DAEMON

#define CHECK_IN_ALL_MODES(name, clientParameter)                  \
    ZU_CHECK_FAMILY(name, clientParameter)                         \
    static const TTest name[] = {ZU_CHECK_IN_MODE(name, kRemote)}; \
    static void name##_body(clientParameter)
#define CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES CHECK_IN_ALL_MODES

#else

/// kLocal, kLocalSingleThreadedPipe, kLocalMultiThreadedPipe.
#define CHECK_IN_ALL_MODES(name, clientParameter)                                  \
    ZU_CHECK_FAMILY(name, clientParameter)                                         \
    static const TTest name[] = {ZU_CHECK_IN_MODE(name, kLocal),                   \
                                 ZU_CHECK_IN_MODE(name, kLocalSingleThreadedPipe), \
                                 ZU_CHECK_IN_MODE(name, kLocalMultiThreadedPipe)}; \
    static void name##_body(clientParameter)

/// kLocal, kLocalMultiThreadedPipe.
#define CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(name, clientParameter)             \
    ZU_CHECK_FAMILY(name, clientParameter)                                         \
    static const TTest name[] = {ZU_CHECK_IN_MODE(name, kLocal),                   \
                                 ZU_CHECK_IN_MODE(name, kLocalMultiThreadedPipe)}; \
    static void name##_body(clientParameter)

#endif

#define ZU_CHECK_FAMILY(name, clientParameter)                                 \
    static void name##_body(clientParameter);                                  \
    template <::zumra::settings::ZumraSettingsClient::OperationMode mode>      \
    static void name##_run(int) {                                              \
        ::zumra::tests::RunCheckInMode(__FILE__, __LINE__, mode, name##_body); \
    }
#define ZU_CHECK_IN_MODE(name, mode)                                                                     \
    TTest {                                                                                              \
#name "__" #mode, name##_run < ::zumra::settings::ZumraSettingsClient::mode>, __FILE__, __LINE__ \
    }

namespace zumra::tests {

/// What a check makes its clients of: with a store of their own, whose defaults may be given.
#ifdef ZUMRA_CHECKS_ON_DAEMON
using ClientOfCheck = DaemonClient;
#else
using ClientOfCheck = settings::ZumraSettingsClient;
#endif

using ClientBody = void (*)(settings::ZumraSettingsClient& client);

/// Runs a family's body on a new client in the exception guard, which covers the client too.
void RunCheckInMode(const char* file, int line, settings::ZumraSettingsClient::OperationMode mode,
                    ClientBody body);

}  // namespace zumra::tests
