// A ready-made UDP transport: the engine with a socket under it, for applications that have no transport of their own.
//
//   your class -- overrides hooks --> TrelUdp -- is a --> TrelProtocolBase
//                                        | sendMsg, one IPv4 UDP socket
//                                        v
//                                      peers
//
//   TrelUdp card;                                   // or a class derived from it: amiMessageHandler, handleTrelMsgOld, ...
//   card.registerObject(&sensors);
//   if (!card.open("127.0.0.1", 4000)) complain(card.errorText());
//   for (;;) {
//     card.waitForDatagram(1000);                   // or poll() on card.fd(), see below
//     card.handleDatagrams();                       // serves what came, a bounded number of datagrams
//     card.eventHandler();                          // your period, if the card reports events
//   }
//
//   TrelUdp manager;
//   if (!manager.open() || !manager.setPeer("127.0.0.1", 4000)) complain(manager.errorText());
//   if (manager.readObject(mirror) == 0) complain(manager.lastResult().str());
//
// What goes where
//   response             to the address and port that asked, remembered for each datagram, also when calls nest
//   request              to the peer (setPeer); the call waits for the one reply that comes from that address and port with the
//                        request's message id and its action + 2, and hands nothing else to the engine meanwhile
//   autonomous message   to the event receiver (setEventReceiver), in several datagrams when it is large
//
// Large autonomous messages
//   The engine puts no bound on an autonomous message, and most networks carry 1200 bytes whole. A longer one (setAmiLimit)
//   goes as several datagrams, its parts: each a message of its own for the receiver, with the header of the whole, so that
//   all have its message id and its time stamp. The variables keep their order, and their values are of one moment. The
//   receiver calls its amiMessageHandler once for each part, and parts may be lost or overtake each other like any datagrams.
//   A variable that alone is over the limit gets a datagram of its own, which the network may cut up on its way. One that no
//   datagram carries is left out.
//
//   The engine sends its pending message whenever 51 changes have come together, and does not empty it by that: without a
//   flush that finds a change to send, the same variables go out again with each 51 more (51, 102, 153, ...), for ever. At the
//   third such sending one WARNING line tells, and no more until the list was emptied. A burst of 153 changes before one flush
//   looks the same. The remedy is the application's: flush (checkForEvent(nullptr, nullptr, false, true)) before 51 changes
//   have come together.
//
// What reaches the engine
//   Nothing is authenticated: whoever can send from an allowed address is believed. What a datagram must be, in this order; the
//   first that it is not is the reason of its drop (TrelUdpDrop):
//     size           whole, and of 8 bytes at least
//     peer           from an address that may speak
//     role           of a kind that its sender may send: a manager asks (actions 1 and 2), a card reports (action 5). Unless
//                    told otherwise the peer is a card, the other allowed addresses are managers, and where nobody is named
//                    127.0.0.1 is both (setAllowedPeers). A response (3 and 4) only when it is the one awaited, from whom it
//                    is awaited
//     action         1 to 5. The engine answers others with an error, so they pass as often as header errors may
//     version        ours; likewise. Two ends of different versions so cannot answer each other without end
//     magic number   ours
//     rate           what its sender may send, and all together (setPeerRate, setTotalRate, setHeaderErrorRate). An awaited
//                    reply counts for no rate
//   Each drop is counted, by reason and by sender (counters, peers), and told in the log.
//
// No thread, no signal. Log lines come from the engine, and from the transport behind the same trace levels: WARNING for what
// was dropped, a line for each reason once a second at most, with their number and the last sender; about large autonomous
// messages ERROR for what was not sent of one, WARNING for a list that grows, DEBUG1 for each one that is split. What is
// dropped less than a second after a line is told with the next drop of that reason, or by the first handleDatagrams when the
// second is over. What else fails is told by errorText, and by lastResult. The socket is non-blocking and closed on exec; only
// client operations and waitForDatagram wait, both with a deadline on the monotonic clock. All calls come from the thread that
// drives the engine. An exception of a hook passes through to the caller; the next call works as if it had not happened.
#ifndef TREL_TRELUDP_H
#define TREL_TRELUDP_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "trel/trelProtocolBase.h"

// The library's own build defines TREL_UDP_API, to mark what it exports. Applications leave it alone.
#ifndef TREL_UDP_API
#define TREL_UDP_API
#endif

// Addresses that may speak to one TrelUdp, its peer among them: as many as the engine follows, for the life of the
// process.
inline constexpr unsigned int TREL_UDP_MAX_PEERS = static_cast<unsigned int>(TREL_SENDER_CONTEXTS);
// Datagrams that are kept while a client operation waits for its reply.
inline constexpr unsigned int TREL_UDP_MAX_KEPT = 64;
// Calls of handleDatagrams that may be inside each other, by way of hooks, and as many waits for a reply. Whoever sends
// decides how many datagrams there are, and must not decide how deep the stack is.
inline constexpr unsigned int TREL_UDP_MAX_NESTING = 4;
// Datagrams that handleDatagrams takes when it is not told a number.
inline constexpr unsigned int TREL_UDP_DATAGRAMS_PER_CALL = 32;
// The receive buffer. More than UDP over IPv4 can carry; what is cut all the same is dropped.
inline constexpr unsigned int TREL_UDP_RECEIVE_LEN = 65535;
// The most that one datagram carries over IPv4.
inline constexpr unsigned int TREL_UDP_MAX_DATAGRAM_LEN = 65507;
// Autonomous messages up to this many bytes, header included, go in one datagram when setAmiLimit is not told another
// number.
inline constexpr unsigned int TREL_UDP_AMI_LIMIT = 1200;
// The least that it takes: the header and one number of 8 bytes.
inline constexpr unsigned int TREL_UDP_MIN_AMI_LIMIT =
    static_cast<unsigned int>(TREL_AMI_HEADER_LEN + TREL_TLV_HEAD_LEN) + 8;

// How many datagrams may be let through to the engine: `burst` at once, and `perSecond` a second from then on. perSecond 0:
// any number. They are counted when they come. Those that come while a client operation waits are kept, so the engine may get
// up to TREL_UDP_MAX_KEPT of them at once afterwards, besides what the rate lets through then.
struct TrelUdpRate {
  unsigned int perSecond;
  unsigned int burst;
};
// Unless told otherwise. One who asks, waits for the answer and asks again stays below over any network; a program that
// does so over loopback may not, and is given a rate of its own. A flood beyond them costs its receiving alone.
inline constexpr TrelUdpRate TREL_UDP_PEER_RATE = {2000, 1000};
inline constexpr TrelUdpRate TREL_UDP_TOTAL_RATE = {4000, 2000};
inline constexpr TrelUdpRate TREL_UDP_HEADER_ERROR_RATE = {1, 4};

// An IPv4 address and a UDP port, both in host order.
struct TREL_UDP_API TrelUdpAddress {
  unsigned int ip = 0;      // 127.0.0.1 is 0x7F000001
  unsigned short port = 0;  // 0: none

  // "127.0.0.1:4000"
  std::string str() const;
};

// What an address may send. Responses are no role's: whoever is asked may answer.
enum TrelUdpRole : unsigned int {
  TREL_UDP_ROLE_NONE = 0,
  TREL_UDP_ROLE_MANAGER = 1,  // requests
  TREL_UDP_ROLE_CARD = 2,     // autonomous messages
  TREL_UDP_ROLE_BOTH = 3
};

// For TrelUdp::setAllowedPeers: {"10.0.0.1", {"10.0.0.2", TREL_UDP_ROLE_BOTH}}.
struct TrelUdpAllowedPeer {
  // Implicit, so that a list of addresses is a list of managers.
  TrelUdpAllowedPeer(const char* dotted, TrelUdpRole may = TREL_UDP_ROLE_MANAGER) : address(dotted), role(may) {}
  TrelUdpAllowedPeer(std::string dotted, TrelUdpRole may = TREL_UDP_ROLE_MANAGER)
      : address(std::move(dotted)), role(may) {}

  std::string address;
  TrelUdpRole role;
};

// One that may speak, and what came from there since it may.
struct TrelUdpPeer {
  unsigned int ip;  // host order
  TrelUdpRole role;
  unsigned long long received;  // datagrams, whatever became of them
  unsigned long long dropped;   // those of them that were dropped, when they came or after they were kept
};

// Why a received datagram did not reach the engine. Of several reasons the first in this order.
enum TrelUdpDrop : unsigned int {
  TREL_UDP_DROP_CUT = 0,             // longer than the receive buffer
  TREL_UDP_DROP_SHORT = 1,           // shorter than the 8 bytes of a header
  TREL_UDP_DROP_FOREIGN_SENDER = 2,  // from an address that is not allowed
  TREL_UDP_DROP_ROLE = 3,  // a request from one that is no manager, an autonomous message from one that is no card
  TREL_UDP_DROP_DUPLICATE_REPLY = 4,  // the reply that was taken last, once more
  TREL_UDP_DROP_UNAWAITED_REPLY = 5,  // a response that nobody waits for
  TREL_UDP_DROP_STALE_REPLY = 6,      // a response of the peer, while one with another message id or action is awaited
  TREL_UDP_DROP_FOREIGN_REPLY = 7,    // a response, while one is awaited from another address or port
  TREL_UDP_DROP_ACTION = 8,           // not an action of the protocol, and over the rate of header errors
  TREL_UDP_DROP_VERSION = 9,          // of another protocol version, and over the rate of header errors
  TREL_UDP_DROP_MAGIC = 10,           // not of the protocol
  TREL_UDP_DROP_PEER_RATE = 11,       // over the rate of its sender
  TREL_UDP_DROP_TOTAL_RATE = 12,      // over the rate of all
  TREL_UDP_DROP_KEPT_FULL = 13,       // came while a reply was awaited, and TREL_UDP_MAX_KEPT were kept already
  TREL_UDP_DROP_CLOSED = 14           // was kept when the socket was closed
};
inline constexpr unsigned int TREL_UDP_DROP_REASONS = 15;

// The reason in words, "response that nobody waits for"; "unknown" for a value that is none of them.
TREL_UDP_API const char* trelUdpDropText(TrelUdpDrop reason);

// What became of a datagram.
enum TrelUdpFate : unsigned int {
  TREL_UDP_SENT = 0,
  TREL_UDP_HANDED_OVER = 1,  // received, goes to the engine now
  TREL_UDP_REPLY = 2,        // received, is a reply that is awaited
  TREL_UDP_KEPT = 3,         // received, goes to the engine when the client operation that waits has ended
  TREL_UDP_DROPPED = 4       // received, and nothing more
};

// One datagram, shown to TrelUdp::datagramPassed.
struct TrelUdpDatagram {
  TrelUdpFate fate;
  TrelUdpDrop drop;        // why, when dropped; TREL_UDP_DROP_CUT otherwise
  TrelUdpAddress address;  // the other end: whom it went to, or who sent it
  const char* bytes;       // as they went through the socket; valid during the call
  unsigned int length;
};

// How a client operation ended.
enum TrelUdpOutcome : unsigned int {
  TREL_UDP_NO_OPERATION = 0,    // there was none yet
  TREL_UDP_OK = 1,              // the peer did it; RESULT_DUPLICATE_MSG and RESULT_LOST_MSG are marks only
  TREL_UDP_REFUSED = 2,         // the peer answered with an error; nothing was stored here
  TREL_UDP_NO_REPLY = 3,        // sent, and no reply in time, or an exception before. A write may have been executed
  TREL_UDP_NOT_SENT = 4,        // nothing left: nothing or too much to ask, no peer, too many waits, or socket refused
  TREL_UDP_UNUSABLE_REPLY = 5,  // the reply is no whole response of our version, or a value of it fits nothing here
  TREL_UDP_SOCKET_ERROR = 6     // sent, but the socket failed while the reply was awaited
};

// What the last client operation came to.
struct TREL_UDP_API TrelUdpResult {
  TrelUdpOutcome outcome = TREL_UDP_NO_OPERATION;
  // OK, REFUSED: the peer's result code. UNUSABLE_REPLY: the peer's, or RESULT_PROTOCOL_VERSION_MISMATCH or
  // RESULT_WRONG_LEN as judged here. NO_REPLY, SOCKET_ERROR: RESULT_NOT_RECEIVED. NOT_SENT: RESULT_NOT_SEND.
  int code = RESULT_OK;
  // The code in words: "RESULT READ ONLY". 16 and 17 have no words; "unknown" from 18 on.
  const char* text = "RESULT OK";
  // REFUSED: the position, from 0, of the variable that the peer names. -1 in every other case. An error that is no
  // single variable's (RESULT_TOO_LONG, RESULT_CANNOT_EXEC) comes with 0.
  int index = -1;
  // The name of the property at that position of the request, when the code is about one variable (RESULT_GENERAL_ERROR
  // to RESULT_READ_ONLY).
  std::string variable;
  // Everything but OK: a sentence for a person, with the address and the system's error text where they matter.
  std::string error;

  // One line: "refused: RESULT READ ONLY (10), variable 2, serialNumber".
  std::string str() const;
};

// What went through the socket, since construction.
//   received = handedOver + replies + all of `dropped` + kept(), between calls
struct TREL_UDP_API TrelUdpCounters {
  unsigned long long received = 0;                         // datagrams, but those that there was no memory for
  unsigned long long handedOver = 0;                       // given to the engine by handleDatagrams; see datagramPassed
  unsigned long long replies = 0;                          // taken as the awaited reply of a request
  unsigned long long dropped[TREL_UDP_DROP_REASONS] = {};  // by TrelUdpDrop

  unsigned long long requestsSent = 0;       // first sendings
  unsigned long long requestsSentAgain = 0;  // after a time-out
  unsigned long long responsesSent = 0;
  unsigned long long amisSent = 0;  // messages of which everything was sent, in one datagram or in several

  unsigned long long timeOuts = 0;       // waits that ended without a reply, one for each sending
  unsigned long long notSent = 0;        // messages that could not be sent, or not as a whole, for any reason
  unsigned long long receiveErrors = 0;  // failures of the receiving calls; no datagram was lost by them

  unsigned long long amisSplit = 0;     // autonomous messages of several variables that were longer than the limit
  unsigned long long amiPartsSent = 0;  // the datagrams that they went in
  unsigned long long amiVariablesDropped = 0;  // left out of an autonomous message because no datagram carries them
  unsigned long long amiListsGrowing =
      0;  // how often a pending autonomous message began to grow; see the top of this file

  unsigned long long droppedInAll() const;
};

class TrelUdpLink;

// One end of the protocol with its socket.
class TREL_UDP_API TrelUdp : public TrelProtocolBase {
 public:
  // No socket yet: see open. The argument is the engine's.
  TrelUdp();
  explicit TrelUdp(bool replyOnHeaderError);
  // Closes the socket.
  ~TrelUdp() override;

  // ----- the socket -----

  // Makes the socket and binds it: loopback and a free port unless told otherwise. "0.0.0.0" is every address of this
  // machine; on a machine with several, name the one that the others know: a reply from another is a foreign one to
  // them. False, with errorText: no dotted IPv4 address, open already, or the system's refusal ("bind 10.0.0.5:4000:
  // Cannot assign requested address").
  bool open(const std::string& address = "127.0.0.1", unsigned short port = 0);
  // Closes it; kept datagrams are dropped. Peers, options and counters stay. Nothing happens when it is not open.
  void close();
  bool isOpen() const;
  // Where it is bound, with the port that the system chose; 0 when it is not open.
  TrelUdpAddress address() const;
  unsigned short port() const;
  // The descriptor, for the application's own poll loop: wait for POLLIN, then call handleDatagrams. Datagrams that are
  // kept do not make it readable: when kept() is not 0, do not wait. -1 when it is not open. Stays ours: read it never.
  int fd() const;

  // Why the last call that failed did so: what, which address, the system's words. "send to 10.0.0.5:4000: Network is
  // unreachable". Empty when none has failed yet; stays when a later call succeeds.
  const std::string& errorText() const;

  // ----- peers -----
  // Addresses are dotted IPv4 text. False, with errorText and without a change: anything else, port 0, an address that
  // is no single machine's (0.0.0.0, 224.0.0.0 and up), or more than TREL_UDP_MAX_PEERS different addresses allowed in
  // all.

  // Whom requests go to; it may then report, and may not ask (setAllowedPeers). May be changed between calls; a reply that
  // is awaited is still awaited from the peer that was asked.
  bool setPeer(const std::string& address, unsigned short port);
  // Port 0 when there is none.
  TrelUdpAddress peer() const;
  // Where autonomous messages go; the peer or any other, a multicast address too. It is not allowed to speak by this.
  // Without one they are not sent.
  bool setEventReceiver(const std::string& address, unsigned short port);
  TrelUdpAddress eventReceiver() const;
  // Bytes, header included, up to which an autonomous message goes in one datagram. Takes effect with the next message.
  // False, with errorText and without a change: less than TREL_UDP_MIN_AMI_LIMIT or more than
  // TREL_UDP_MAX_DATAGRAM_LEN.
  bool setAmiLimit(unsigned int bytes);
  unsigned int amiLimit() const;
  // Who may speak to the engine, from any port: these addresses, each with its role, and the peer's as a card. An address
  // that is several of these has all their roles. When nobody is named, 127.0.0.1 alone may speak, as both.
  //   setAllowedPeers({"10.0.0.1"})                         one manager, and the peer as a card
  //   setAllowedPeers({{"10.0.0.2", TREL_UDP_ROLE_CARD}})   a further card that may report
  // Replaces the list. False also for a role that is none. The engine follows the requests of five senders for the life
  // of the process, and an address that has used a context keeps it after it was taken off this list.
  bool setAllowedPeers(const std::vector<TrelUdpAllowedPeer>& allowed);
  // What a datagram from there may be; TREL_UDP_ROLE_NONE when it would be dropped whatever it is.
  TrelUdpRole roleOf(const TrelUdpAddress& sender) const;
  // The same without the role.
  bool isAllowed(const TrelUdpAddress& sender) const;
  // Everyone who may speak, with the counts since; the peer stands last unless it is in the list. One who is taken off
  // and named again begins anew: what was kept before is counted in `counters` alone.
  std::vector<TrelUdpPeer> peers() const;

  // ----- rates -----
  // Of what may reach the engine. Each takes effect at once, with a full burst. False, with errorText and without a
  // change: a rate with a burst of 0, which would let nothing through.

  // For each address that may speak.
  bool setPeerRate(const TrelUdpRate& rate);
  // For all of them together.
  bool setTotalRate(const TrelUdpRate& rate);
  // For all of them together, what the engine answers with a header error: unknown actions and other versions. None at
  // all are answered by TrelUdp(false).
  bool setHeaderErrorRate(const TrelUdpRate& rate);

  // ----- requests -----

  // How long a reply is awaited after each sending. 1000 ms at first. With 0 only what has come when the request is out
  // is looked at. A client operation takes (1 + retries) * milliseconds at most.
  void setReplyTimeout(unsigned int milliseconds);
  // How often a read is sent again, with the same message id, when no reply came in time. Twice at first. A peer that
  // had executed it marks its answer RESULT_DUPLICATE_MSG, which counts as good.
  void setReadRetries(unsigned int retries);
  // The same for a write. Not at all at first: a write that is sent again is executed again.
  void setWriteRetries(unsigned int retries);

  // What the last client operation of this object came to; of nested ones each leaves its own when it returns.
  const TrelUdpResult& lastResult() const;

  // The client operations of the engine, with the same arguments and results. They are declared again so that
  // lastResult also tells about a request that the engine does not let out and about a reply that it could not store.
  // Through a reference to TrelProtocolBase they work too; lastResult then tells what the transport alone knows. From an
  // override of getNewMessageId ask through these alone: a request through the base that is answered there would be taken
  // for the operation's own.
  int readObject(TrelObject& object);
  int readObjects(std::vector<TrelObject*> list);
  int readProperty(TrelProperty& property);
  int readPropertys(std::vector<TrelProperty*> properties);
  int writeObject(TrelObject& object);
  int writeObjects(std::vector<TrelObject*> list);
  int writeProperty(TrelProperty& property);
  int writePropertys(std::vector<TrelProperty*> properties);
  int sendRequest(unsigned char action, TRELRequest& request);

  // ----- receiving -----

  // Waits until there is something for handleDatagrams, kept datagrams included. True: there is. False: the time is
  // over, a signal came, or the socket is not open or failed (errorText). 0 only looks. Where handleDatagrams would take
  // nothing because of TREL_UDP_MAX_NESTING, false at once (errorText).
  bool waitForDatagram(unsigned int milliseconds);
  // Takes what is waiting, at most `limit` datagrams, and hands those that may pass to the engine, one after the other:
  // first those that were kept, then the socket's. Dropped ones count, so a flood cannot hold it. Never waits. Hooks
  // may call it; inside TREL_UDP_MAX_NESTING calls it takes nothing and returns 0. Returns how many it took; -1 when it took
  // none because the socket is not open or failed (errorText).
  int handleDatagrams(unsigned int limit = TREL_UDP_DATAGRAMS_PER_CALL);
  // Datagrams that came while a client operation waited and that handleDatagrams has not handled yet. Two ends that ask
  // each other at the same moment do not answer each other before their own wait is over.
  unsigned int kept() const;

  const TrelUdpCounters& counters() const;

  // ----- hooks -----

  // Sees every datagram once, with its fate: one that was sent when the system has taken it, one that was received when
  // its fate is decided and before the engine has it. Of an autonomous message in parts it sees each part. For
  // diagnostics; does nothing here. It may call the engine. When it throws, a datagram that was handed over is lost and
  // counted as handed over all the same, a reply is lost, and one that was kept is not.
  virtual void datagramPassed(const TrelUdpDatagram& datagram);

  // The engine's transport. Not 0: sent, and for a request also answered, with the reply in replyBuffer. 0: errorText,
  // and for a request lastResult.
  //   response   answers the datagram that the engine is handling, once: it has its sender's address, its message id and its
  //              kind. Any other is not sent: an error answer to a reply, or to a datagram that the application handed to
  //              handleTrelMsg itself. One that a hook hands to it is not told from the one that is being handled when it
  //              has all three: give it another sender than a peer's address. When the values of an answer cannot be
  //              serialized, RESULT_CANNOT_EXEC is sent instead (errorText)
  //   request    datagrams that come during the wait: the awaited reply ends it, other responses are dropped, the rest is kept.
  //              A response that was there before the request left is not its reply. Not sent when TREL_UDP_MAX_NESTING others
  //              wait already, around it
  //   autonomous message   in parts: not 0 when all of it was sent. When a part fails or a variable is left out, the others go
  //              all the same, the result is 0, and errorText tells what is missing; nothing is sent again. An exception of
  //              datagramPassed ends it: the parts behind are not sent
  int sendMsg(TRELMessage& message) override;

 private:
  friend class TrelUdpLink;
  std::unique_ptr<TrelUdpLink> link_;
};

#endif
