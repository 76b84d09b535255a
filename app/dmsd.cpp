// dmsd: the media server daemon for a Linux host.
//
// Start-up order: parse and check options, block SIGINT/SIGTERM in every
// thread (so only sigwait below sees them), start the server's services, wait
// for a signal, then stop in reverse order.
#include <signal.h>

#include <cstdio>
#include <string>

#include "dms_platform.h"
#include "nuv_log.h"
#include "options.h"

namespace {

constexpr int kExitStartup = 1;
constexpr int kExitUsage = 2;

unsigned int logMaskFor(int verbosity) {
  if (verbosity >= 2) return NUV_LOG_ERROR | NUV_LOG_INFO | NUV_LOG_DUMP;
  if (verbosity == 1) return NUV_LOG_ERROR | NUV_LOG_INFO;
  return NUV_LOG_ERROR;
}

int waitForStopSignal(const sigset_t& signals) {
  int received = 0;
  while (sigwait(&signals, &received) != 0) {
  }
  return received;
}

}  // namespace

int main(int argc, char** argv) {
  DaemonOptions options;
  std::string error = ParseDaemonOptions(argc, argv, &options);
  if (!error.empty()) {
    fprintf(stderr, "dmsd: %s\n", error.c_str());
    return kExitUsage;
  }
  if (options.help) {
    fputs(DaemonUsage(), stdout);
    return 0;
  }
  if (options.version) {
    puts("dmsd 0.1.0");
    return 0;
  }
  error = ValidateDaemonOptions(&options);
  if (!error.empty()) {
    fprintf(stderr, "dmsd: %s\n", error.c_str());
    return kExitStartup;
  }
  NUVLogSetMask(logMaskFor(options.verbosity));

  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  if (DMSAppHelperInitialize() != 1) {
    fprintf(stderr, "dmsd: cannot start the platform services\n");
    return kExitStartup;
  }
  printf("dmsd: serving %s on %s, port %d; state in %s\n", options.media.c_str(),
         options.interfaceName.empty() ? options.address.c_str() : options.interfaceName.c_str(),
         options.port, options.stateDir.c_str());
  printf("dmsd: running; stop with Ctrl-C or SIGTERM\n");
  fflush(stdout);

  int signal = waitForStopSignal(signals);
  printf("dmsd: %s received, stopping\n", signal == SIGINT ? "SIGINT" : "SIGTERM");
  DMSAppStopTimerThread();
  DMSAppHelperTerminate();
  printf("dmsd: stopped\n");
  return 0;
}
