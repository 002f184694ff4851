#include "trelUdp/trelUdp.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <list>
#include <system_error>
#include <utility>

#include "trelUdp/trelUdpGuard.h"
#include "trelUdp/trelUdpHeader.h"
#include "trelUdp/trelUdpTrace.h"

using namespace trelUdpHeader;

namespace {

using Clock = std::chrono::steady_clock;

// The action of the answer to a datagram, its kind known or not.
unsigned char answerTo(unsigned int action) {
  return action == TREL_ACTION_READ ? TREL_ACTION_READ_RESPONSE : TREL_ACTION_WRITE_RESPONSE;
}

// ----- addresses -----

sockaddr_in socketAddress(const TrelUdpAddress& address) {
  sockaddr_in raw;
  std::memset(&raw, 0, sizeof raw);
  raw.sin_family = AF_INET;
  raw.sin_addr.s_addr = htonl(address.ip);
  raw.sin_port = htons(address.port);
  return raw;
}

TrelUdpAddress fromSocketAddress(const sockaddr_in& raw) {
  TrelUdpAddress address;
  address.ip = ntohl(raw.sin_addr.s_addr);
  address.port = ntohs(raw.sin_port);
  return address;
}

// Dotted, without a block of memory.
struct IpText {
  explicit IpText(unsigned int ip) {
    in_addr raw;
    raw.s_addr = htonl(ip);
    inet_ntop(AF_INET, &raw, text, sizeof text);
  }
  char text[INET_ADDRSTRLEN] = "";
};

std::string ipText(unsigned int ip) { return IpText(ip).text; }

bool parseIp(const std::string& text, unsigned int& ip) {
  in_addr raw;
  if (text.find('\0') != std::string::npos || inet_pton(AF_INET, text.c_str(), &raw) != 1) return false;
  ip = ntohl(raw.s_addr);
  return true;
}

// Gives an address a role, besides those that it has in the list already.
void allow(std::vector<TrelUdpGuard::Speaker>& speakers, unsigned int ip, TrelUdpRole role) {
  for (TrelUdpGuard::Speaker& speaker : speakers) {
    if (speaker.ip != ip) continue;
    speaker.role = static_cast<TrelUdpRole>(speaker.role | role);
    return;
  }
  speakers.push_back({ip, role});
}

constexpr unsigned int FIRST_MULTICAST_IP = 0xE0000000U;  // 224.0.0.0; nothing from here on is a single machine

// ----- texts -----

std::string errnoText(int error) { return std::generic_category().message(error); }

const char* resultText(int code) {
  static const char* const texts[] = {"RESULT OK",
                                      "RESULT PROTOCOL VERSION_MISMATCH",
                                      "RESULT DUPLICATE MSG",
                                      "RESULT LOST MSG",
                                      "RESULT INVALID ACTION",
                                      "RESULT GENERAL ERROR",
                                      "RESULT WRONG TYPE",
                                      "RESULT WRONG OID",
                                      "RESULT WRONG LEN",
                                      "RESULT WRONG VALUE",
                                      "RESULT READ ONLY",
                                      "RESULT TOO LONG",
                                      "RESULT CANNOT EXEC",
                                      "RESULT WRONG MAGIC",
                                      "RESULT NOT RECEIVED",
                                      "RESULT NOT SEND",
                                      "",   // no sender context is free
                                      ""};  // the sender's address is no IPv4 address
  constexpr int count = static_cast<int>(sizeof texts / sizeof texts[0]);
  return code >= 0 && code < count ? texts[code] : "unknown";
}

const char* outcomeText(TrelUdpOutcome outcome) {
  switch (outcome) {
    case TREL_UDP_NO_OPERATION:
      return "no operation yet";
    case TREL_UDP_OK:
      return "ok";
    case TREL_UDP_REFUSED:
      return "refused";
    case TREL_UDP_NO_REPLY:
      return "no reply";
    case TREL_UDP_NOT_SENT:
      return "not sent";
    case TREL_UDP_UNUSABLE_REPLY:
      return "unusable reply";
    case TREL_UDP_SOCKET_ERROR:
      return "socket error";
  }
  return "unknown";
}

// The results that a peer gives because of one variable of the request.
bool isAboutOneVariable(int code) { return code >= RESULT_GENERAL_ERROR && code <= RESULT_READ_ONLY; }

std::string refusalText(int code) {
  if (code == 16) return " did what was asked, but follows the sequence of no further sender";
  if (code == 17) return " did what was asked, but cannot follow the sequence: our address is none to it";
  return " refused the request";
}

std::string noReplyText(const TrelUdpAddress& peer, unsigned int milliseconds, unsigned long long sendings) {
  const std::string times = sendings == 1 ? "once" : std::to_string(sendings) + " times";
  return "no reply from " + peer.str() + " within " + std::to_string(milliseconds) + " ms, sent " + times;
}

// ----- the parts of an autonomous message -----

// How many variables the engine adds to its pending message until it sends it for its size.
constexpr std::size_t AMI_SENT_FOR_SIZE = static_cast<std::size_t>(TREL_AMI_PROPERTY_LIMIT) + 1;
// The sending at which a pending message that is never emptied is told from a large burst of changes.
constexpr unsigned int AMI_GROWTH_TOLD_AT = 3;

// Variables that follow each other in a message, by the place of their bytes in it.
struct AmiPart {
  std::size_t begin;
  std::size_t end;
};

struct AmiParts {
  std::vector<AmiPart> parts;
  unsigned int dropped = 0;
  std::string firstDropped;  // "3, description, of 65500 bytes"
};

// Cuts a serialized message so that each part with a header in front is no longer than the limit where that can be. The
// bytes were written by the same properties a moment ago; false when those do not account for them any more.
bool cutIntoParts(const TRELMessage& ami, std::size_t length, std::size_t limit, AmiParts& cut) {
  const std::size_t headerLen = static_cast<std::size_t>(ami.headerLen);
  std::size_t at = headerLen;
  bool open = false;  // the last part may still grow
  for (std::size_t i = 0; i < ami.properties.size(); ++i) {
    const int tlvLen = ami.properties[i]->length() + TREL_TLV_HEAD_LEN;
    if (tlvLen < TREL_TLV_HEAD_LEN || static_cast<std::size_t>(tlvLen) > length - at) return false;
    const std::size_t end = at + static_cast<std::size_t>(tlvLen);
    if (headerLen + end - at > TREL_UDP_MAX_DATAGRAM_LEN) {
      if (cut.dropped++ == 0) {
        cut.firstDropped =
            std::to_string(i) + ", " + ami.properties[i]->name + ", of " + std::to_string(end - at) + " bytes";
      }
      open = false;
    } else if (open && headerLen + end - cut.parts.back().begin <= limit) {
      cut.parts.back().end = end;
    } else {
      cut.parts.push_back({at, end});
      open = true;
    }
    at = end;
  }
  return at == length;
}

// ----- the socket and the clock -----

// The least that a datagram takes of a socket's receive buffer, even an empty one: the system counts what it needs itself.
constexpr unsigned int LEAST_OF_A_DATAGRAM = 256;

// How many datagrams can be waiting in a socket, and some more.
unsigned int mostWaiting(int fd) {
  int bytes = 0;
  socklen_t bytesLen = sizeof bytes;
  if (::getsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, &bytesLen) != 0 || bytes < 0) bytes = 0;
  return TREL_UDP_MAX_KEPT + static_cast<unsigned int>(bytes) / LEAST_OF_A_DATAGRAM;
}

unsigned long long nanosecondsNow() {
  return static_cast<unsigned long long>(
      std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count());
}

// Milliseconds until then, rounded up so that a wait does not end early, and no more than poll() takes.
int millisecondsUntil(Clock::time_point deadline) {
  const Clock::time_point now = Clock::now();
  if (now >= deadline) return 0;
  const long long left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now).count() + 1;
  return static_cast<int>(std::min<long long>(left, INT_MAX));
}

}  // namespace

std::string TrelUdpAddress::str() const { return ipText(ip) + ":" + std::to_string(port); }

const char* trelUdpDropText(TrelUdpDrop reason) {
  switch (reason) {
    case TREL_UDP_DROP_CUT:
      return "longer than the receive buffer";
    case TREL_UDP_DROP_SHORT:
      return "shorter than a header";
    case TREL_UDP_DROP_FOREIGN_SENDER:
      return "sender is not allowed";
    case TREL_UDP_DROP_ROLE:
      return "sender may not send this";
    case TREL_UDP_DROP_DUPLICATE_REPLY:
      return "the last reply once more";
    case TREL_UDP_DROP_UNAWAITED_REPLY:
      return "response that nobody waits for";
    case TREL_UDP_DROP_STALE_REPLY:
      return "response to another request than the one that waits";
    case TREL_UDP_DROP_FOREIGN_REPLY:
      return "response of another than the one that was asked";
    case TREL_UDP_DROP_ACTION:
      return "unknown action, more often than that is answered";
    case TREL_UDP_DROP_VERSION:
      return "other protocol version, more often than that is answered";
    case TREL_UDP_DROP_MAGIC:
      return "not of this protocol";
    case TREL_UDP_DROP_PEER_RATE:
      return "too many from its sender";
    case TREL_UDP_DROP_TOTAL_RATE:
      return "too many from all senders together";
    case TREL_UDP_DROP_KEPT_FULL:
      return "no room to keep it until the wait is over";
    case TREL_UDP_DROP_CLOSED:
      return "was kept when the socket was closed";
  }
  return "unknown";
}

std::string TrelUdpResult::str() const {
  std::string line = outcomeText(outcome);
  if (outcome == TREL_UDP_OK || outcome == TREL_UDP_REFUSED) {
    line += std::string(": ") + text + (*text == '\0' ? "" : " ") + "(" + std::to_string(code) + ")";
  }
  if (outcome == TREL_UDP_REFUSED && isAboutOneVariable(code)) {
    line += ", variable " + std::to_string(index);
    if (!variable.empty()) line += ", " + variable;
  } else if (!error.empty()) {
    line += ": " + error;
  }
  return line;
}

unsigned long long TrelUdpCounters::droppedInAll() const {
  unsigned long long all = 0;
  for (const unsigned long long count : dropped) {
    all += count;
  }
  return all;
}

// ----- the link ------------------------------------------------------------------------------------------------------

// What is behind a TrelUdp: socket, peers, and the calls that are going on. Operations that TrelUdp has too are told
// there.
class TrelUdpLink {
 public:
  // A client operation of TrelUdp, from its call to its return. Its end makes its result the last one, also when a hook
  // throws.
  class Operation;

  explicit TrelUdpLink(TrelUdp& owner) : owner_(owner) { tellGuard(allowed_, peer_); }
  ~TrelUdpLink() { close(); }
  TrelUdpLink(const TrelUdpLink&) = delete;
  TrelUdpLink& operator=(const TrelUdpLink&) = delete;

  bool open(const std::string& address, unsigned short port);
  void close();
  int fd() const { return fd_; }
  TrelUdpAddress address() const { return address_; }
  const std::string& errorText() const { return errorText_; }

  bool setPeer(const std::string& address, unsigned short port);
  TrelUdpAddress peer() const { return peer_; }
  bool setEventReceiver(const std::string& address, unsigned short port);
  TrelUdpAddress eventReceiver() const { return eventReceiver_; }
  bool setAllowedPeers(const std::vector<TrelUdpAllowedPeer>& allowed);
  TrelUdpRole roleOf(const TrelUdpAddress& sender) const { return guard_.roleOf(sender.ip); }
  std::vector<TrelUdpPeer> peers() const { return guard_.peers(); }
  bool setPeerRate(const TrelUdpRate& rate);
  bool setTotalRate(const TrelUdpRate& rate);
  bool setHeaderErrorRate(const TrelUdpRate& rate);
  bool setAmiLimit(unsigned int bytes);
  unsigned int amiLimit() const { return amiLimit_; }

  void setReplyTimeout(unsigned int milliseconds) { replyTimeout_ = milliseconds; }
  void setReadRetries(unsigned int retries) { readRetries_ = retries; }
  void setWriteRetries(unsigned int retries) { writeRetries_ = retries; }
  const TrelUdpResult& lastResult() const { return lastResult_; }

  bool waitForDatagram(unsigned int milliseconds);
  int handleDatagrams(unsigned int limit);
  unsigned int kept() const { return static_cast<unsigned int>(kept_.size()); }
  const TrelUdpCounters& counters() const { return counters_; }

  bool send(const TRELMessage& message);

 private:
  class Serving;
  struct Wait;
  struct KeptDatagram {
    TrelUdpAddress sender;
    unsigned long long naming = 0;
    std::string bytes;
  };
  enum class Received { NOTHING, DATAGRAM, FAILED };

  bool fail(const std::string& what);
  bool failSending(const std::string& what);
  bool readAddress(const std::string& what, const std::string& text, unsigned int& ip);
  bool readSpeaker(const std::string& what, const std::string& text, unsigned int& ip);
  bool fitsContexts(const std::string& what, std::vector<TrelUdpGuard::Speaker> all, unsigned int peerIp);
  bool letsThrough(const std::string& what, const TrelUdpRate& rate);
  void tellGuard(std::vector<TrelUdpGuard::Speaker> allowed, const TrelUdpAddress& peer);

  bool answer(const TRELMessage& response);
  bool answerThatItFailed(const TRELMessage& response, const TrelUdpAddress& asker, std::vector<char>& buffer);
  bool report(const TRELMessage& ami);
  bool reportInParts(const TRELMessage& ami, const TrelUdpAddress& to, std::vector<char>& bytes);
  void watchGrowth(const TRELMessage& ami);
  bool ask(const TRELMessage& request);
  bool mayAsk(const TRELMessage& request);
  bool write(const TRELMessage& message, const TrelUdpAddress& to, std::vector<char>& buffer);
  bool fits(const TRELMessage& message, const TrelUdpAddress& to, int& length);
  bool transmit(const std::vector<char>& bytes, const TrelUdpAddress& to, unsigned long long& counter);
  bool transmitDatagram(const char* bytes, std::size_t length, const TrelUdpAddress& to, unsigned long long& counter);
  void discardEarlierReplies();
  bool awaitReply(Wait& wait);
  bool pollUntil(Clock::time_point deadline);

  Received receiveOne(bool keep);
  Received receiveInto(std::vector<char>& buffer, TrelUdpDatagram& datagram, bool& cut);
  Received receiveFailed();
  void obey(const TrelUdpVerdict& verdict, TrelUdpDatagram& datagram);
  void drop(TrelUdpDrop reason, const TrelUdpAddress& sender);
  void tellDrops(TrelUdpDrop reason, unsigned long long now);
  void tellOldDrops();
  bool handleOldestKept();
  void handOver(const char* bytes, unsigned int length, const TrelUdpAddress& sender);

  TrelUdp& owner_;
  int fd_ = -1;
  TrelUdpAddress address_;
  TrelUdpAddress peer_;
  TrelUdpAddress eventReceiver_;
  std::vector<TrelUdpGuard::Speaker> allowed_;  // as setAllowedPeers was told, without the peer
  TrelUdpGuard guard_;
  TrelUdpDropLog dropLog_;
  TrelUdpAddress lastDropped_[TREL_UDP_DROP_REASONS];
  unsigned int amiLimit_ = TREL_UDP_AMI_LIMIT;
  unsigned int replyTimeout_ = 1000;
  unsigned int readRetries_ = 2;
  unsigned int writeRetries_ = 0;

  std::string errorText_;
  TrelUdpResult lastResult_;
  TrelUdpCounters counters_;

  // What is going on, innermost first; each lives on the stack of the call that it belongs to.
  Operation* operation_ = nullptr;
  Serving* serving_ = nullptr;
  Wait* wait_ = nullptr;
  // How many of them there are, one inside the other.
  unsigned int waits_ = 0;
  unsigned int handling_ = 0;   // calls of handleDatagrams
  unsigned int receiving_ = 0;  // datagrams that hooks and the engine are looking at

  // The engine's pending autonomous message, once it was seen sent for its size. Its address is compared, never
  // followed.
  struct {
    const TRELMessage* message = nullptr;
    std::size_t variables = 0;  // at its last sending
    unsigned int sendings = 0;  // for its size, since it was empty
  } growth_;

  std::list<KeptDatagram> kept_;
  std::list<KeptDatagram> arriving_;  // one at most: the place of the next one that is kept or is a reply
  // Buffers kept from call to call; taken out while a call uses them.
  std::vector<char> receiveBuffer_;
  std::vector<char> sendBuffer_;
};

namespace {

// Takes a buffer out of its place for the duration of a call, so that a nested call cannot write into it.
class BufferLease {
 public:
  explicit BufferLease(std::vector<char>& place) : place_(place) { bytes.swap(place_); }
  ~BufferLease() {
    if (place_.capacity() < bytes.capacity()) bytes.swap(place_);
  }
  BufferLease(const BufferLease&) = delete;
  BufferLease& operator=(const BufferLease&) = delete;

  std::vector<char> bytes;

 private:
  std::vector<char>& place_;
};

// Counts the calls that are inside each other.
class Level {
 public:
  explicit Level(unsigned int& count) : count_(count) { ++count_; }
  ~Level() { --count_; }
  Level(const Level&) = delete;
  Level& operator=(const Level&) = delete;

 private:
  unsigned int& count_;
};

}  // namespace

class TrelUdpLink::Operation {
 public:
  explicit Operation(TrelUdpLink& link) : link_(link), outer_(link.operation_) {
    result.outcome = TREL_UDP_NOT_SENT;
    result.code = RESULT_NOT_SEND;
    result.text = resultText(RESULT_NOT_SEND);
    result.error = "a request carries 1 to " + std::to_string(TREL_MAX_REQUEST_TLVS) + " variables";
    link_.operation_ = this;
  }
  ~Operation() {
    link_.operation_ = outer_;
    link_.lastResult_ = std::move(result);
  }
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  // What the engine makes of the operation; returned as it is.
  int ended(int done) {
    if (done == 0 && result.outcome == TREL_UDP_OK) {
      result.outcome = TREL_UDP_UNUSABLE_REPLY;
      result.error = "not every value of the reply could be stored; the engine's ERROR lines tell which";
    }
    return done;
  }

  // Its request has reached the transport; a further request is another one's.
  bool sending = false;
  TrelUdpResult result;

 private:
  TrelUdpLink& link_;
  Operation* outer_;
};

// The engine is handling a datagram: where its answer goes.
class TrelUdpLink::Serving {
 public:
  Serving(TrelUdpLink& link, const TrelUdpAddress& sender, const char* bytes)
      : asker(sender),
        askerIp(ipText(sender.ip)),
        msgId_(msgIdOf(bytes)),
        action_(answerTo(actionOf(bytes))),
        link_(link),
        outer_(link.serving_) {
    link_.serving_ = this;
  }
  ~Serving() { link_.serving_ = outer_; }
  Serving(const Serving&) = delete;
  Serving& operator=(const Serving&) = delete;

  // As far as an answer tells whom it is for.
  bool isAnsweredBy(const TRELMessage& response) const {
    return !answered && response.sender == askerIp && response.msgId == msgId_ && response.action == action_;
  }

  const TrelUdpAddress asker;
  const std::string askerIp;  // as the engine is told it
  bool answered = false;      // a datagram has one answer

 private:
  const unsigned short msgId_;
  const unsigned char action_;
  TrelUdpLink& link_;
  Serving* outer_;
};

// A request on its way: what its reply looks like, and the reply. Several at once when calls nest.
struct TrelUdpLink::Wait : TrelUdpAwaited {
  Wait(TrelUdpLink& of, const TRELMessage& request)
      : link(of),
        outerWait(of.wait_),
        operation(of.operation_ != nullptr && !of.operation_->sending ? of.operation_ : nullptr) {
    outer = outerWait;
    peer = of.peer_;  // the one that is asked, whatever setPeer is told meanwhile
    msgId = request.msgId;
    replyAction = request.action + 2U;
    if (operation != nullptr) operation->sending = true;
    link.wait_ = this;
    ++link.waits_;
  }
  ~Wait() {
    --link.waits_;
    link.wait_ = outerWait;
    // The engine gives an operation up when its request gets no reply: a further one of it shows that this was made by a
    // hook before.
    if (operation != nullptr && !answered) operation->sending = false;
    (operation != nullptr ? operation->result : link.lastResult_) = std::move(result);
  }
  Wait(const Wait&) = delete;
  Wait& operator=(const Wait&) = delete;

  void end(TrelUdpOutcome outcome, int code, std::string error) {
    result.outcome = outcome;
    result.code = code;
    result.text = resultText(code);
    result.error = std::move(error);
  }

  // Reads the reply as far as its header goes; whether its values fit, the engine finds out.
  void judgeReply(const TRELMessage& request) {
    const char* const bytes = reply.data();
    if (versionOf(bytes) != TREL_PROT_VERSION) {
      end(TREL_UDP_UNUSABLE_REPLY, RESULT_PROTOCOL_VERSION_MISMATCH,
          peer.str() + " answers in protocol version " + std::to_string(versionOf(bytes)));
    } else if (reply.size() < static_cast<std::size_t>(TREL_RESPONSE_HEADER_LEN)) {
      end(TREL_UDP_UNUSABLE_REPLY, RESULT_WRONG_LEN,
          "the reply of " + peer.str() + " ends in its header, after " + std::to_string(reply.size()) + " bytes");
    } else {
      judgeCode(request, static_cast<int>(resultOf(bytes)), errorIndexOf(bytes));
    }
  }

  void judgeCode(const TRELMessage& request, int code, unsigned short position) {
    if (code == RESULT_OK || code == RESULT_DUPLICATE_MSG || code == RESULT_LOST_MSG) {
      end(TREL_UDP_OK, code, "");
      return;
    }
    end(TREL_UDP_REFUSED, code, peer.str() + refusalText(code));
    result.index = position;
    if (isAboutOneVariable(code) && position < request.properties.size()) {
      result.variable = request.properties[position]->name;
    }
  }

  TrelUdpLink& link;
  Wait* outerWait;
  Operation* operation;  // whose request it is; null when the engine was called through its base
  std::string reply;
  TrelUdpResult result;
};

// ----- the socket ----------------------------------------------------------------------------------------------------

bool TrelUdpLink::open(const std::string& address, unsigned short port) {
  TrelUdpAddress wanted;
  if (fd_ >= 0) return fail("open " + address + ": the socket is open already, at " + address_.str());
  if (!parseIp(address, wanted.ip)) return fail("open \"" + address + "\": no dotted IPv4 address");
  wanted.port = port;

  const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return fail("socket for " + wanted.str() + ": " + errnoText(errno));
  sockaddr_in raw = socketAddress(wanted);
  if (::bind(fd, reinterpret_cast<const sockaddr*>(&raw), sizeof raw) != 0) {
    const int error = errno;
    ::close(fd);
    return fail("bind " + wanted.str() + ": " + errnoText(error));
  }
  socklen_t rawLen = sizeof raw;
  if (::getsockname(fd, reinterpret_cast<sockaddr*>(&raw), &rawLen) != 0) {
    const int error = errno;
    ::close(fd);
    return fail("getsockname of " + wanted.str() + ": " + errnoText(error));
  }
  fd_ = fd;
  address_ = fromSocketAddress(raw);
  return true;
}

void TrelUdpLink::close() {
  if (fd_ < 0) return;
  ::close(fd_);
  fd_ = -1;
  address_ = TrelUdpAddress();
  for (const KeptDatagram& datagram : kept_) {
    guard_.dropKept(datagram.sender, datagram.naming);
    ++counters_.dropped[TREL_UDP_DROP_CLOSED];
    dropLog_.add(TREL_UDP_DROP_CLOSED, 1);
    lastDropped_[TREL_UDP_DROP_CLOSED] = datagram.sender;
  }
  kept_.clear();
  tellDrops(TREL_UDP_DROP_CLOSED, nanosecondsNow());
}

bool TrelUdpLink::fail(const std::string& what) {
  errorText_ = what;
  return false;
}

// ----- peers ---------------------------------------------------------------------------------------------------------

// Reads an address that is somebody's. False, with errorText: it is not.
bool TrelUdpLink::readAddress(const std::string& what, const std::string& text, unsigned int& ip) {
  if (!parseIp(text, ip)) return fail(what + " \"" + text + "\": no dotted IPv4 address");
  if (ip == 0) return fail(what + " " + text + ": not the address of one machine");
  return true;
}

bool TrelUdpLink::readSpeaker(const std::string& what, const std::string& text, unsigned int& ip) {
  if (!readAddress(what, text, ip)) return false;
  if (ip >= FIRST_MULTICAST_IP) return fail(what + " " + text + ": not the address of one machine");
  return true;
}

bool TrelUdpLink::fitsContexts(const std::string& what, std::vector<TrelUdpGuard::Speaker> all, unsigned int peerIp) {
  if (peerIp != 0) allow(all, peerIp, TREL_UDP_ROLE_CARD);
  if (all.size() <= TREL_UDP_MAX_PEERS) return true;
  std::string addresses;
  for (const TrelUdpGuard::Speaker& speaker : all) {
    addresses += (addresses.empty() ? "" : ", ") + ipText(speaker.ip);
  }
  return fail(what + ": " + std::to_string(all.size()) + " different addresses (" + addresses +
              ") would be allowed to speak, and the engine follows " + std::to_string(TREL_UDP_MAX_PEERS));
}

// Who may speak from now on, and as what. Told before it is kept: an allocator that throws leaves all as it was.
void TrelUdpLink::tellGuard(std::vector<TrelUdpGuard::Speaker> allowed, const TrelUdpAddress& peer) {
  if (peer.port != 0) allow(allowed, peer.ip, TREL_UDP_ROLE_CARD);
  if (allowed.empty()) allow(allowed, INADDR_LOOPBACK, TREL_UDP_ROLE_BOTH);
  guard_.setSpeakers(allowed);
}

bool TrelUdpLink::setPeer(const std::string& address, unsigned short port) {
  TrelUdpAddress wanted;
  if (!readSpeaker("peer", address, wanted.ip)) return false;
  if (port == 0) return fail("peer " + address + ": port 0");
  wanted.port = port;
  if (!fitsContexts("peer " + wanted.str(), allowed_, wanted.ip)) return false;
  tellGuard(allowed_, wanted);
  peer_ = wanted;
  return true;
}

bool TrelUdpLink::setEventReceiver(const std::string& address, unsigned short port) {
  TrelUdpAddress wanted;
  if (!readAddress("event receiver", address, wanted.ip)) return false;
  if (port == 0) return fail("event receiver " + address + ": port 0");
  wanted.port = port;
  eventReceiver_ = wanted;
  return true;
}

bool TrelUdpLink::setAllowedPeers(const std::vector<TrelUdpAllowedPeer>& allowed) {
  std::vector<TrelUdpGuard::Speaker> wanted;
  for (const TrelUdpAllowedPeer& peer : allowed) {
    unsigned int ip = 0;
    if (!readSpeaker("allowed peer", peer.address, ip)) return false;
    if (peer.role == TREL_UDP_ROLE_NONE || peer.role > TREL_UDP_ROLE_BOTH) {
      return fail("allowed peer " + peer.address + ": " + std::to_string(peer.role) + " is no role");
    }
    allow(wanted, ip, peer.role);
  }
  if (!fitsContexts("allowed peers", wanted, peer_.ip)) return false;
  tellGuard(wanted, peer_);
  allowed_.swap(wanted);
  return true;
}

bool TrelUdpLink::setPeerRate(const TrelUdpRate& rate) {
  if (!letsThrough("rate of a peer", rate)) return false;
  guard_.setPeerRate(rate);
  return true;
}

bool TrelUdpLink::setTotalRate(const TrelUdpRate& rate) {
  if (!letsThrough("rate of all", rate)) return false;
  guard_.setTotalRate(rate);
  return true;
}

bool TrelUdpLink::setHeaderErrorRate(const TrelUdpRate& rate) {
  if (!letsThrough("rate of header errors", rate)) return false;
  guard_.setHeaderErrorRate(rate);
  return true;
}

bool TrelUdpLink::letsThrough(const std::string& what, const TrelUdpRate& rate) {
  if (rate.perSecond == 0 || rate.burst > 0) return true;
  return fail(what + ": " + std::to_string(rate.perSecond) + " a second with a burst of 0 lets nothing through");
}

bool TrelUdpLink::setAmiLimit(unsigned int bytes) {
  if (bytes < TREL_UDP_MIN_AMI_LIMIT || bytes > TREL_UDP_MAX_DATAGRAM_LEN) {
    return fail("autonomous message limit " + std::to_string(bytes) + ": not " +
                std::to_string(TREL_UDP_MIN_AMI_LIMIT) + " to " + std::to_string(TREL_UDP_MAX_DATAGRAM_LEN) + " bytes");
  }
  amiLimit_ = bytes;
  return true;
}

// ----- sending -------------------------------------------------------------------------------------------------------

bool TrelUdpLink::send(const TRELMessage& message) {
  switch (message.msgKind) {
    case TREL_KIND_REQUEST:
      return ask(message);
    case TREL_KIND_RESPONSE:
      return answer(message);
    case TREL_KIND_AMI:
      return report(message);
    default:
      return failSending("message of the unknown kind " + std::to_string(message.msgKind));
  }
}

bool TrelUdpLink::answer(const TRELMessage& response) {
  // The engine gives an answer the sender that it was told with the datagram. Its error answer to a reply of ours has
  // none, and must not go to whoever is being served around that call.
  if (serving_ == nullptr || !serving_->isAnsweredBy(response)) {
    return failSending("response " + std::to_string(response.msgId) + ": answers no datagram that is being handled");
  }
  const TrelUdpAddress asker = serving_->asker;
  serving_->answered = true;
  BufferLease lease(sendBuffer_);
  int length = 0;
  if (!fits(response, asker, length)) return answerThatItFailed(response, asker, lease.bytes);
  lease.bytes.resize(static_cast<std::size_t>(length));
  if (!response.serialize(lease.bytes.data(), length)) return answerThatItFailed(response, asker, lease.bytes);
  return transmit(lease.bytes, asker, counters_.responsesSent);
}

// An answer whose values cannot be written says so: whoever asked would wait for nothing, and ask again.
bool TrelUdpLink::answerThatItFailed(const TRELMessage& response, const TrelUdpAddress& asker,
                                     std::vector<char>& buffer) {
  fail("response " + std::to_string(response.msgId) + " to " + asker.str() +
       ": its values cannot be serialized, RESULT CANNOT EXEC is sent instead; the engine's ERROR lines tell why");
  TRELResponse bare((std::string()));
  bare.action = response.action;
  bare.msgId = response.msgId;
  bare.result = RESULT_CANNOT_EXEC;
  return write(bare, asker, buffer) && transmit(buffer, asker, counters_.responsesSent);
}

bool TrelUdpLink::report(const TRELMessage& ami) {
  watchGrowth(ami);
  const TrelUdpAddress receiver = eventReceiver_;
  if (receiver.port == 0) {
    return failSending("autonomous message " + std::to_string(ami.msgId) + ": there is no event receiver");
  }
  BufferLease lease(sendBuffer_);
  if (!write(ami, receiver, lease.bytes)) return false;
  const std::size_t variables = ami.properties.size();
  const bool inOne = lease.bytes.size() <= amiLimit_ || variables == 0 ||
                     (variables == 1 && lease.bytes.size() <= TREL_UDP_MAX_DATAGRAM_LEN);
  if (inOne) return transmit(lease.bytes, receiver, counters_.amisSent);
  return reportInParts(ami, receiver, lease.bytes);
}

// Cuts the bytes of the whole message: the values are of one moment, and whatever a hook does to the message or to its
// properties between two parts, the parts stay as they are. False: not all of it was sent.
bool TrelUdpLink::reportInParts(const TRELMessage& ami, const TrelUdpAddress& to, std::vector<char>& bytes) {
  const unsigned int msgId = ami.msgId;
  const std::size_t variables = ami.properties.size();
  const std::string header(bytes.data(), static_cast<std::size_t>(ami.headerLen));
  const std::string who = "autonomous message " + std::to_string(msgId) + ": ";
  AmiParts cut;
  if (!cutIntoParts(ami, bytes.size(), amiLimit_, cut)) {
    return failSending(who + "a variable is not of the length that it was serialized with");
  }
  if (variables > 1) {
    ++counters_.amisSplit;
    TREL_UDP_DEBUG1("[DEBUG1] %s:%d (%s) - autonomous message %u with %u tlvs and %u bytes is sent in %u datagrams",
                    TREL_UDP_HERE, msgId, static_cast<unsigned int>(variables), static_cast<unsigned int>(bytes.size()),
                    static_cast<unsigned int>(cut.parts.size()));
  }
  counters_.amiVariablesDropped += cut.dropped;

  unsigned int failed = 0;
  std::string firstFailure;
  for (const AmiPart& part : cut.parts) {
    // The header is written over what lies before the part, which nobody needs any more.
    char* const datagram = bytes.data() + part.begin - header.size();
    std::copy(header.begin(), header.end(), datagram);
    const std::size_t length = header.size() + part.end - part.begin;
    if (transmitDatagram(datagram, length, to, counters_.amiPartsSent)) continue;
    if (failed++ == 0) firstFailure = errorText_;
  }
  if (failed == 0 && cut.dropped == 0) {
    ++counters_.amisSent;
    return true;
  }

  std::string missing;
  if (cut.dropped > 0) {
    missing = std::to_string(cut.dropped) + " of " + std::to_string(variables) + " variables left out, the first " +
              cut.firstDropped + ": no datagram carries it";
  }
  if (failed > 0) {
    missing += (missing.empty() ? "" : "; ") + std::to_string(failed) + " of " + std::to_string(cut.parts.size()) +
               " parts not sent, the first: " + firstFailure;
  }
  failSending(who + missing);
  TREL_UDP_ERROR("[ERROR] %s:%d (%s) - %s", TREL_UDP_HERE, errorText_.c_str());
  return false;
}

// A list that is sent for its size is not emptied: it comes again, longer by as many as that takes. A flush that sends
// brings a number in between, and empties it: the next list is no longer than the first sending for its size.
void TrelUdpLink::watchGrowth(const TRELMessage& ami) {
  const std::size_t variables = ami.properties.size();
  if (&ami != growth_.message) {
    // Whoever else sends messages of its own does not disturb what is known of the pending one.
    if (variables == 0 || variables % AMI_SENT_FOR_SIZE != 0) return;
    growth_.message = &ami;
    growth_.variables = variables;
    growth_.sendings = 1;
    return;
  }
  const bool grew = variables > growth_.variables && (variables - growth_.variables) % AMI_SENT_FOR_SIZE == 0;
  if (variables <= AMI_SENT_FOR_SIZE) {
    growth_.sendings = variables == AMI_SENT_FOR_SIZE ? 1 : 0;
  } else if (grew && growth_.sendings < AMI_GROWTH_TOLD_AT) {
    if (++growth_.sendings == AMI_GROWTH_TOLD_AT) {
      ++counters_.amiListsGrowing;
      TREL_UDP_WARNING(
          "[WARNING] %s:%d (%s) - the pending autonomous message has grown to %u tlvs: it is sent for its size and not "
          "emptied, flush it before %u changes have come together",
          TREL_UDP_HERE, static_cast<unsigned int>(variables), static_cast<unsigned int>(AMI_SENT_FOR_SIZE));
    }
  }
  growth_.variables = variables;
}

bool TrelUdpLink::ask(const TRELMessage& request) {
  Wait wait(*this, request);
  wait.end(TREL_UDP_NOT_SENT, RESULT_NOT_SEND, "an exception ended it before it was sent");
  BufferLease lease(sendBuffer_);
  if (!mayAsk(request) || !write(request, wait.peer, lease.bytes)) {
    wait.end(TREL_UDP_NOT_SENT, RESULT_NOT_SEND, errorText_);
    return false;
  }
  discardEarlierReplies();
  wait.sent = true;

  const unsigned int retries = request.action == TREL_ACTION_READ ? readRetries_ : writeRetries_;
  for (unsigned long long again = 0; again <= retries && !wait.answered; ++again) {
    wait.end(TREL_UDP_NO_REPLY, RESULT_NOT_RECEIVED, "an exception ended the wait for the reply of " + wait.peer.str());
    if (!transmit(lease.bytes, wait.peer, again == 0 ? counters_.requestsSent : counters_.requestsSentAgain)) {
      if (again == 0) wait.end(TREL_UDP_NOT_SENT, RESULT_NOT_SEND, errorText_);
      if (again > 0) wait.end(TREL_UDP_SOCKET_ERROR, RESULT_NOT_RECEIVED, errorText_);
      return false;
    }
    if (!awaitReply(wait)) {
      wait.end(TREL_UDP_SOCKET_ERROR, RESULT_NOT_RECEIVED, errorText_);
      return false;
    }
  }
  if (!wait.answered) {
    wait.end(TREL_UDP_NO_REPLY, RESULT_NOT_RECEIVED, noReplyText(wait.peer, replyTimeout_, retries + 1ULL));
    return fail(wait.result.error);
  }
  wait.judgeReply(request);
  owner_.replyBuffer = std::move(wait.reply);
  return true;
}

bool TrelUdpLink::mayAsk(const TRELMessage& request) {
  const bool isRequest = request.action == TREL_ACTION_READ || request.action == TREL_ACTION_WRITE;
  const bool isTooDeep = waits_ > TREL_UDP_MAX_NESTING;  // its own wait counts already
  if (isRequest && peer_.port != 0 && !isTooDeep) return true;
  std::string why = "there is no peer";
  if (isTooDeep) why = std::to_string(TREL_UDP_MAX_NESTING) + " requests wait already, one inside the other";
  if (!isRequest) why = "action " + std::to_string(request.action) + " is no request";
  return failSending("request " + std::to_string(request.msgId) + ": " + why);
}

bool TrelUdpLink::write(const TRELMessage& message, const TrelUdpAddress& to, std::vector<char>& buffer) {
  int length = 0;
  if (!fits(message, to, length)) {
    ++counters_.notSent;
    return false;
  }
  buffer.resize(static_cast<std::size_t>(length));
  if (message.serialize(buffer.data(), length)) return true;
  return failSending("send to " + to.str() + ": the message cannot be serialized; the engine's ERROR lines tell why");
}

// Whether there is a buffer for it, before one is asked for. False, with errorText: there is none.
bool TrelUdpLink::fits(const TRELMessage& message, const TrelUdpAddress& to, int& length) {
  if (message.headerLen < TREL_HEADER_LEN) return fail("send to " + to.str() + ": the message has no header");
  const unsigned long long bytes =
      static_cast<unsigned long long>(message.headerLen) + static_cast<unsigned long long>(message.sizeOfTlvs());
  if (bytes > INT_MAX) {
    return fail("send to " + to.str() + ": a message of " + std::to_string(bytes) + " bytes or more is too long");
  }
  length = static_cast<int>(bytes);
  return true;
}

// A message that is one datagram.
bool TrelUdpLink::transmit(const std::vector<char>& bytes, const TrelUdpAddress& to, unsigned long long& counter) {
  if (transmitDatagram(bytes.data(), bytes.size(), to, counter)) return true;
  ++counters_.notSent;
  return false;
}

bool TrelUdpLink::transmitDatagram(const char* bytes, std::size_t length, const TrelUdpAddress& to,
                                   unsigned long long& counter) {
  if (fd_ < 0) return fail("send to " + to.str() + ": the socket is not open");
  const sockaddr_in raw = socketAddress(to);
  ssize_t sent = -1;
  do {
    sent =
        ::sendto(fd_, bytes, length, MSG_DONTWAIT | MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&raw), sizeof raw);
  } while (sent < 0 && errno == EINTR);
  if (sent < 0) {
    const int error = errno;
    return fail("send to " + to.str() + ", " + std::to_string(length) + " bytes: " + errnoText(error));
  }
  ++counter;
  owner_.datagramPassed({TREL_UDP_SENT, TREL_UDP_DROP_CUT, to, bytes, static_cast<unsigned int>(length)});
  return true;
}

bool TrelUdpLink::failSending(const std::string& what) {
  ++counters_.notSent;
  return fail(what);
}

// ----- waiting -------------------------------------------------------------------------------------------------------

// What is in the socket before the request leaves cannot be its reply, whatever id it bears: the id of a request that
// was given up may be in use again.
void TrelUdpLink::discardEarlierReplies() {
  // No more than can have been there: a flood must not hold the request.
  const unsigned int most = mostWaiting(fd_);
  for (unsigned int looked = 0; fd_ >= 0 && looked < most; ++looked) {
    if (receiveOne(true) != Received::DATAGRAM) return;
  }
}

// Until the reply is there or the time is over, which wait.answered tells. False, with errorText: the socket failed.
bool TrelUdpLink::awaitReply(Wait& wait) {
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(replyTimeout_);
  // What is there already when the time is over is still looked at, because the process may have slept; but a flood
  // ends.
  const unsigned int most = mostWaiting(fd_);
  unsigned int afterDeadline = 0;
  while (!wait.answered) {
    const Received received = receiveOne(true);
    if (wait.answered) break;
    if (received == Received::FAILED) return false;
    const bool over = Clock::now() >= deadline;
    if (over && (received == Received::NOTHING || ++afterDeadline >= most)) {
      ++counters_.timeOuts;
      break;
    }
    if (received == Received::NOTHING && !pollUntil(deadline)) return false;
  }
  return true;
}

// Returns when something may be waiting, the time is over or a signal came. False, with errorText: the socket failed.
bool TrelUdpLink::pollUntil(Clock::time_point deadline) {
  pollfd waiting;
  waiting.fd = fd_;
  waiting.events = POLLIN;
  waiting.revents = 0;
  if (::poll(&waiting, 1, millisecondsUntil(deadline)) >= 0 || errno == EINTR) return true;
  const int error = errno;
  ++counters_.receiveErrors;
  return fail("poll at " + address_.str() + ": " + errnoText(error));
}

// ----- receiving -----------------------------------------------------------------------------------------------------

bool TrelUdpLink::waitForDatagram(unsigned int milliseconds) {
  if (handling_ >= TREL_UDP_MAX_NESTING) {
    return fail("wait: " + std::to_string(handling_) + " calls of handleDatagrams, one inside the other, are all");
  }
  if (!kept_.empty()) return true;
  if (fd_ < 0) return fail("wait: the socket is not open");
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  pollfd waiting;
  waiting.fd = fd_;
  waiting.events = POLLIN;
  int ready = 0;
  do {
    waiting.revents = 0;
    ready = ::poll(&waiting, 1, millisecondsUntil(deadline));
  } while (ready == 0 && Clock::now() < deadline);
  if (ready < 0 && errno == EINTR) return false;
  if (ready >= 0 && (waiting.revents & POLLNVAL) == 0) return ready > 0;
  const int error = ready < 0 ? errno : EBADF;
  ++counters_.receiveErrors;
  return fail("wait at " + address_.str() + ": " + errnoText(error));
}

int TrelUdpLink::handleDatagrams(unsigned int limit) {
  if (handling_ >= TREL_UDP_MAX_NESTING) return 0;
  const Level level(handling_);
  unsigned int taken = 0;
  while (taken < limit) {
    if (!handleOldestKept()) {
      const Received received = receiveOne(false);
      if (received == Received::FAILED && taken == 0) return -1;
      if (received != Received::DATAGRAM) break;
    }
    ++taken;
  }
  tellOldDrops();
  return static_cast<int>(taken);
}

// Takes one datagram out of the socket and does with it what is due: `keep` puts off what is for the engine.
TrelUdpLink::Received TrelUdpLink::receiveOne(bool keep) {
  BufferLease lease(receiveBuffer_);
  const Level level(receiving_);
  TrelUdpDatagram datagram = {TREL_UDP_HANDED_OVER, TREL_UDP_DROP_CUT, TrelUdpAddress(), nullptr, 0};
  bool cut = false;
  const Received received = receiveInto(lease.bytes, datagram, cut);
  if (received != Received::DATAGRAM) return received;
  if (wait_ != nullptr) {
    // For what is kept or a reply; before it is judged and counted, because there may be no memory for it.
    if (arriving_.empty()) arriving_.emplace_back();
    arriving_.front().bytes.assign(datagram.bytes, datagram.length);
  }

  TrelUdpArrival arrival;
  arrival.sender = datagram.address;
  arrival.bytes = datagram.bytes;
  arrival.length = datagram.length;
  arrival.cut = cut;
  arrival.awaited = wait_;
  arrival.keep = keep;
  arrival.kept = kept();
  arrival.now = nanosecondsNow();
  obey(guard_.judge(arrival), datagram);
  ++counters_.received;
  // Everything is in order again before the hook is called: it may throw, or call us.
  owner_.datagramPassed(datagram);
  if (datagram.fate == TREL_UDP_HANDED_OVER) handOver(datagram.bytes, datagram.length, datagram.address);
  return Received::DATAGRAM;
}

TrelUdpLink::Received TrelUdpLink::receiveInto(std::vector<char>& buffer, TrelUdpDatagram& datagram, bool& cut) {
  if (fd_ < 0) {
    fail("receive: the socket is not open");
    return Received::FAILED;
  }
  std::size_t wanted = TREL_UDP_RECEIVE_LEN;
  if (receiving_ > 1) {
    // The large buffer is in use by the call around this one: another is taken, no larger than the next datagram.
    const ssize_t waiting = ::recv(fd_, nullptr, 0, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT);
    if (waiting < 0) return receiveFailed();
    wanted = static_cast<std::size_t>(waiting) + 1;
  }
  if (buffer.size() < wanted) buffer.resize(wanted);
  sockaddr_in sender;
  std::memset(&sender, 0, sizeof sender);
  iovec place;
  place.iov_base = buffer.data();
  place.iov_len = buffer.size();
  msghdr header;
  std::memset(&header, 0, sizeof header);
  ssize_t length = -1;
  do {
    header.msg_name = &sender;
    header.msg_namelen = sizeof sender;
    header.msg_iov = &place;
    header.msg_iovlen = 1;
    length = ::recvmsg(fd_, &header, MSG_DONTWAIT);
  } while (length < 0 && errno == EINTR);
  if (length < 0) return receiveFailed();
  datagram.address = fromSocketAddress(sender);
  datagram.bytes = buffer.data();
  datagram.length = static_cast<unsigned int>(length);
  cut = (header.msg_flags & MSG_TRUNC) != 0;
  return Received::DATAGRAM;
}

// By errno, whether there is nothing or something is wrong.
TrelUdpLink::Received TrelUdpLink::receiveFailed() {
  const int error = errno;
  if (error == EAGAIN || error == EWOULDBLOCK || error == EINTR) return Received::NOTHING;
  ++counters_.receiveErrors;
  fail("receive at " + address_.str() + ": " + errnoText(error));
  return Received::FAILED;
}

// All of a verdict but what may call the engine or a hook. Asks for no memory, so that what is counted has happened.
void TrelUdpLink::obey(const TrelUdpVerdict& verdict, TrelUdpDatagram& datagram) {
  datagram.fate = verdict.fate;
  datagram.drop = verdict.drop;
  if (verdict.fate == TREL_UDP_REPLY) {
    Wait* const wait = static_cast<Wait*>(verdict.reply);
    wait->reply.swap(arriving_.front().bytes);
    wait->answered = true;
    ++counters_.replies;
  } else if (verdict.fate == TREL_UDP_KEPT) {
    arriving_.front().sender = datagram.address;
    arriving_.front().naming = verdict.naming;
    kept_.splice(kept_.end(), arriving_);
  } else if (verdict.fate == TREL_UDP_HANDED_OVER) {
    ++counters_.handedOver;
  } else {
    drop(verdict.drop, datagram.address);
  }
}

void TrelUdpLink::drop(TrelUdpDrop reason, const TrelUdpAddress& sender) {
  ++counters_.dropped[reason];
  dropLog_.add(reason, 1);
  lastDropped_[reason] = sender;
  if (trelUdpTrace::isAbove(trelUdpTrace::WARNING_THRESHOLD)) tellDrops(reason, nanosecondsNow());
}

// Those of a reason, when it is time for a line. Without a block of memory: a station that goes drops what it has kept.
void TrelUdpLink::tellDrops(TrelUdpDrop reason, unsigned long long now) {
  if (!trelUdpTrace::isAbove(trelUdpTrace::WARNING_THRESHOLD)) return;
  const unsigned long long told = dropLog_.tell(reason, now);
  if (told == 0) return;
  TREL_UDP_WARNING("[WARNING] %s:%d (%s) - dropped %llu since the last such line, the last from %s:%u: %s",
                   TREL_UDP_HERE, told, IpText(lastDropped_[reason].ip).text,
                   static_cast<unsigned int>(lastDropped_[reason].port), trelUdpDropText(reason));
}

// What was dropped less than a second after a line, and nothing behind it.
void TrelUdpLink::tellOldDrops() {
  if (!trelUdpTrace::isAbove(trelUdpTrace::WARNING_THRESHOLD)) return;
  const unsigned long long now = nanosecondsNow();
  for (unsigned int reason = 0; reason < TREL_UDP_DROP_REASONS; ++reason) {
    tellDrops(static_cast<TrelUdpDrop>(reason), now);
  }
}

// False: none was kept.
bool TrelUdpLink::handleOldestKept() {
  if (kept_.empty()) return false;
  const KeptDatagram datagram = std::move(kept_.front());
  kept_.pop_front();
  const TrelUdpVerdict verdict = guard_.judgeKept(datagram.sender, datagram.naming, datagram.bytes.data());
  if (verdict.fate == TREL_UDP_HANDED_OVER) {
    ++counters_.handedOver;
    handOver(datagram.bytes.data(), static_cast<unsigned int>(datagram.bytes.size()), datagram.sender);
  } else {
    drop(verdict.drop, datagram.sender);
  }
  return true;
}

void TrelUdpLink::handOver(const char* bytes, unsigned int length, const TrelUdpAddress& sender) {
  Serving serving(*this, sender, bytes);
  owner_.handleTrelMsg(static_cast<int>(length), bytes, serving.askerIp.c_str());
}

// ----- TrelUdp -------------------------------------------------------------------------------------------------------

TrelUdp::TrelUdp() : TrelUdp(true) {}
TrelUdp::TrelUdp(bool replyOnHeaderErrors)
    : TrelProtocolBase(replyOnHeaderErrors), link_(std::make_unique<TrelUdpLink>(*this)) {}
TrelUdp::~TrelUdp() = default;

bool TrelUdp::open(const std::string& address, unsigned short port) { return link_->open(address, port); }
void TrelUdp::close() { link_->close(); }
bool TrelUdp::isOpen() const { return link_->fd() >= 0; }
TrelUdpAddress TrelUdp::address() const { return link_->address(); }
unsigned short TrelUdp::port() const { return link_->address().port; }
int TrelUdp::fd() const { return link_->fd(); }
const std::string& TrelUdp::errorText() const { return link_->errorText(); }

bool TrelUdp::setPeer(const std::string& address, unsigned short port) { return link_->setPeer(address, port); }
TrelUdpAddress TrelUdp::peer() const { return link_->peer(); }
bool TrelUdp::setEventReceiver(const std::string& address, unsigned short port) {
  return link_->setEventReceiver(address, port);
}
TrelUdpAddress TrelUdp::eventReceiver() const { return link_->eventReceiver(); }
bool TrelUdp::setAllowedPeers(const std::vector<TrelUdpAllowedPeer>& allowed) {
  return link_->setAllowedPeers(allowed);
}
TrelUdpRole TrelUdp::roleOf(const TrelUdpAddress& sender) const { return link_->roleOf(sender); }
bool TrelUdp::isAllowed(const TrelUdpAddress& sender) const { return roleOf(sender) != TREL_UDP_ROLE_NONE; }
std::vector<TrelUdpPeer> TrelUdp::peers() const { return link_->peers(); }
bool TrelUdp::setPeerRate(const TrelUdpRate& rate) { return link_->setPeerRate(rate); }
bool TrelUdp::setTotalRate(const TrelUdpRate& rate) { return link_->setTotalRate(rate); }
bool TrelUdp::setHeaderErrorRate(const TrelUdpRate& rate) { return link_->setHeaderErrorRate(rate); }
bool TrelUdp::setAmiLimit(unsigned int bytes) { return link_->setAmiLimit(bytes); }
unsigned int TrelUdp::amiLimit() const { return link_->amiLimit(); }

void TrelUdp::setReplyTimeout(unsigned int milliseconds) { link_->setReplyTimeout(milliseconds); }
void TrelUdp::setReadRetries(unsigned int retries) { link_->setReadRetries(retries); }
void TrelUdp::setWriteRetries(unsigned int retries) { link_->setWriteRetries(retries); }
const TrelUdpResult& TrelUdp::lastResult() const { return link_->lastResult(); }

int TrelUdp::readObject(TrelObject& object) {
  TrelUdpLink::Operation operation(*link_);
  return operation.ended(TrelProtocolBase::readObject(object));
}
int TrelUdp::readObjects(std::vector<TrelObject*> list) {
  TrelUdpLink::Operation operation(*link_);
  return operation.ended(TrelProtocolBase::readObjects(std::move(list)));
}
int TrelUdp::readProperty(TrelProperty& property) {
  TrelUdpLink::Operation operation(*link_);
  return operation.ended(TrelProtocolBase::readProperty(property));
}
int TrelUdp::readPropertys(std::vector<TrelProperty*> properties) {
  TrelUdpLink::Operation operation(*link_);
  return operation.ended(TrelProtocolBase::readPropertys(std::move(properties)));
}
int TrelUdp::writeObject(TrelObject& object) {
  TrelUdpLink::Operation operation(*link_);
  return operation.ended(TrelProtocolBase::writeObject(object));
}
int TrelUdp::writeObjects(std::vector<TrelObject*> list) {
  TrelUdpLink::Operation operation(*link_);
  return operation.ended(TrelProtocolBase::writeObjects(std::move(list)));
}
int TrelUdp::writeProperty(TrelProperty& property) {
  TrelUdpLink::Operation operation(*link_);
  return operation.ended(TrelProtocolBase::writeProperty(property));
}
int TrelUdp::writePropertys(std::vector<TrelProperty*> properties) {
  TrelUdpLink::Operation operation(*link_);
  return operation.ended(TrelProtocolBase::writePropertys(std::move(properties)));
}
int TrelUdp::sendRequest(unsigned char action, TRELRequest& request) {
  TrelUdpLink::Operation operation(*link_);
  return operation.ended(TrelProtocolBase::sendRequest(action, request));
}

bool TrelUdp::waitForDatagram(unsigned int milliseconds) { return link_->waitForDatagram(milliseconds); }
int TrelUdp::handleDatagrams(unsigned int limit) { return link_->handleDatagrams(limit); }
unsigned int TrelUdp::kept() const { return link_->kept(); }
const TrelUdpCounters& TrelUdp::counters() const { return link_->counters(); }

void TrelUdp::datagramPassed(const TrelUdpDatagram& /*datagram*/) {}

int TrelUdp::sendMsg(TRELMessage& message) { return link_->send(message) ? 1 : 0; }
