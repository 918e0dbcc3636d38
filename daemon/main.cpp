// kelp-helperd: the reference privileged helper daemon of the Kelp Hadoop
// library. It answers the library's requests on /var/run/kelp_conn_sock
// with the library's own local operations, run with the daemon's rights.
#include <signal.h>

#include <cstdio>

#include "log.h"
#include "options.h"
#include "server.h"

int main(int argc, char** argv) {
  kelpd::Options options;
  int exit_status = 0;
  if (!kelpd::parse_options(argc, argv, options, exit_status)) return exit_status;

  // A client that goes away mid-reply must cost only its own connection.
  ::signal(SIGPIPE, SIG_IGN);
  // The stop signals are taken through a signalfd; blocked here, before any
  // thread exists, so no session thread ever receives them.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGTERM);
  sigaddset(&stop_signals, SIGINT);
  if (::pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr) != 0) {
    kelpd::log_line("cannot block the stop signals");
    return 1;
  }
  return kelpd::run_server(options);
}
