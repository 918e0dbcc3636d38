// The helper daemon's session over a socket pair: the handshake and then
// every request type, decoded from whatever a client sends. The library
// operations are stand-ins (daemon_ops_stub.cpp), so any path is harmless.
// A session must end on its own once the client's bytes run out, reply
// without reading past a payload, and keep no descriptor.
#include <fcntl.h>
#include <sys/socket.h>

#include <string>

#include "daemon_ops_stub.h"
#include "fuzz_support.h"
#include "options.h"
#include "session.h"

using namespace kelpfuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  uint8_t flags = in.byte();
  std::string answers = in.bytes(in.byte() % 16);
  set_answers(reinterpret_cast<const uint8_t*>(answers.data()), answers.size());
  // The rest is the client's byte stream, after a valid handshake unless the
  // first flag bit asks for the raw bytes alone.
  std::string stream;
  if ((flags & 1) == 0) stream.assign("l\0\0\0\x06kelpu\0", 11);
  stream += in.rest();

  DescriptorWindow window;
  {
    SocketPair pair;
    int client = pair.theirs.get();
    // Never blocks: the replies of one input fit the socket buffer.
    ::send(client, stream.data(), stream.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    ::shutdown(client, SHUT_WR);
    // A full socket buffer ends the session instead of blocking it: this
    // client never reads its replies.
    ::fcntl(pair.ours.get(), F_SETFL, O_NONBLOCK);
    kelpd::Options options;
    options.allowed_uids.insert(0);
    options.accepted_reply = (flags & 2) ? 2 : 1;
    kelpd::Peer peer;
    peer.fd = pair.ours.get();
    peer.uid = (flags & 4) ? 1000 : 0;  // a peer the allow list refuses
    kelpd::serve_client(peer, options);
    // Descriptors still in flight close with the socket.
  }
  window.check();
  return 0;
}
