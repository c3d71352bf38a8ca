// Answers the CAP's wired-scan probes on one interface as this node (identity from the node's
// identity file) until Ctrl-C, restarting the listener if a stray datagram ends it.
//   ./re_responder eth0
#include <signal.h>

#include <cstdio>
#include <exception>

#include <orvamesh/orvamesh.h>

int main(int argc, char** argv) {
  using namespace ORVA::MESH::SDK;
  if (argc != 2) {
    std::fprintf(stderr, "Usage: re_responder IFACE\n");
    return 2;
  }
  Utils::NodeIdentity me;
  if (Utils::GetNodeIdentity(me) != 0) {
    std::fprintf(stderr, "no identity file at %s\n", Utils::IdentityFilePath().c_str());
    return 1;
  }
  const auto identity = ScanWired::ScanResponderInitData::FromNodeIdentity(me);
  // The library's threads and this one leave the stop signals to sigtimedwait below.
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, SIGINT);
  sigaddset(&stop, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stop, nullptr);
  try {
    ScanWired::REScanResponder responder(identity, argv[1]);
    responder.StartListening();
    const timespec second{1, 0};
    while (sigtimedwait(&stop, nullptr, &second) < 0) {
      if (!responder.IsListening()) {
        responder.StopListening();
        responder.StartListening();
      }
    }
    responder.StopListening();
    return 0;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
  }
}
