// A fixture for tests of the entry points against a scripted stand-in
// daemon (fake_daemon.h): what the library sends and what it makes of
// answers the reference daemon never gives.
#ifndef KELP_TESTS_SUPPORT_SCRIPTED_DAEMON_H
#define KELP_TESTS_SUPPORT_SCRIPTED_DAEMON_H

#include <map>
#include <memory>
#include <string>

#include "support/connection_modes.h"
#include "support/fake_daemon.h"

namespace kelptest {

class ScriptedDaemonTest : public JniTest {
 protected:
  void TearDown() override;

  // Starts a stand-in that serves with |script| (after ending the one
  // before; the handshake is answered 2) and connects to it.
  void serve(std::map<char, FakeDaemon::Answer> script);
  // Closes the connection and stops the stand-in.
  void hang_up();
  // The last request the stand-in received: its type, then its payload.
  std::string last();

  std::unique_ptr<FakeDaemon> daemon_;
};

}  // namespace kelptest

#endif  // KELP_TESTS_SUPPORT_SCRIPTED_DAEMON_H
