// What is compared with our card: another protocol's card, built on a library for it, that holds the same variables and does
// the same work in that library's own natural way.
#ifndef BENCH_PEERS_PEER_H
#define BENCH_PEERS_PEER_H

#include <memory>
#include <vector>

namespace bench {

// The works of the shared card.
enum class Work { R1, R12, R80, W1, W12, N50 };

// Where a server and its client meet; made before the server's process is.
struct Place {
  Work work;
  unsigned short port;  // where the server is to listen
  int ticks;            // a UDP socket of the server: each datagram on it tells to change fifty numbers and report them
};

class PeerServer {
 public:
  virtual ~PeerServer() = default;
  // Waits for one question and answers it; N50: for one tick.
  virtual void answer() = 0;
};

class PeerClient {
 public:
  virtual ~PeerClient() = default;
  // Whether the work was done so often, as far as the answers show; all are asked before the first answer is taken. A report
  // is waited for one at a time.
  virtual bool asks(int atATime) = 0;
};

struct Peer {
  const char* name;
  bool doesReport;                // whether N50 has a meaning
  int (*questionsOf)(Work work);  // how many the work takes
  std::unique_ptr<PeerServer> (*serve)(const Place& place);
  std::unique_ptr<PeerClient> (*ask)(const Place& place);
};

// Ours, as udpRatios runs it.
Peer trelPeer();
// The same bytes without the work.
Peer echoPeer();
Peer modbusPeer();
// Without access control: the callbacks that ask for it are taken off. With: one community, and a view of two branches that
// it may read and write. With TCP wrappers besides: what Debian's build asks about each datagram.
Peer snmpPeer();
Peer controlledSnmpPeer();
Peer debianSnmpPeer();
Peer coapPeer();

// Ours first.
inline std::vector<Peer> allPeers() {
  return {trelPeer(), echoPeer(), modbusPeer(), coapPeer(), snmpPeer(), controlledSnmpPeer(), debianSnmpPeer()};
}

constexpr const char* WORK_NAMES[] = {"R1", "R12", "R80", "W1", "W12", "N50"};
constexpr int WORKS = 6;

// A place that nobody has taken.
Place newPlace(Work work);

}  // namespace bench

#endif
