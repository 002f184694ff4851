// The engine: one end of the management protocol, card or manager.
//
// An application derives from TrelProtocolBase, implements sendMsg over the transport it has, registers its objects and
// hands every received datagram to handleTrelMsg. The library opens no socket and starts no thread.
//
//   application -- handleTrelMsg --> engine --> message --> property        one datagram in
//        ^                             |  ^                    ^ owns
//        +--------- sendMsg <----------+  +-- update, updated -- object     one answer out
//
// In this order: construct; registerObject for each object; initEvents(); then handleTrelMsg for every datagram,
// eventHandler periodically, and the client operations as needed. All calls on all engines of a process come from one
// thread or are serialized by the application.
//
// A hook, sendMsg among them, keeps its contract when it ends what it does within the call, whatever it does: refuse,
// throw, set values, register an object, call the engine again. It must not destroy what a call in progress works with:
// the engine, a registered object or one of its properties, the arguments of that call, the event tables. And it must
// bound the depth to which it calls the engine again: each call lies on the stack.
//
// One copy per process, shared by all engines: the five sender contexts of checkMsgId, the pending autonomous message
// with its count, and the start flag of eventHandler.
//
// Nothing here throws for bad input. An exception of a hook or of the allocator passes through to the caller, and the
// next datagram is answered as if it had not happened.
#ifndef TREL_TRELPROTOCOLBASE_H
#define TREL_TRELPROTOCOLBASE_H

#include <boost/any.hpp>
#include <memory>
#include <string>
#include <vector>

#include "trel/trelObjectId.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"
#include "trel/trelmsg.h"

// Tables of last reported values that an engine has slots for.
inline constexpr unsigned int TREL_EVENT_TABLES = 20;
// Senders whose sequence is followed, for the life of the process.
inline constexpr int TREL_SENDER_CONTEXTS = 5;
// The pending autonomous message is sent when it has more properties than this.
inline constexpr int TREL_AMI_PROPERTY_LIMIT = 50;

// The last reported values of a table of sampled values: the store behind checkForEvent.
class TREL_API EventValueTable {
 public:
  // `size` values, all 0. `common` and `tableNbr` are kept for the application. With a size below 1 there is no value,
  // and getSize still tells what was given.
  EventValueTable(bool common, int size, unsigned int tableNbr);
  EventValueTable(const EventValueTable&) = delete;
  EventValueTable& operator=(const EventValueTable&) = delete;
  ~EventValueTable();

  // An index outside the table, a negative one too: 0, false, null.
  unsigned long long getValue(int index) const;
  bool setValue(int index, unsigned long long value);
  // Where the value lies, good as the lastValue of checkForEvent; the table's.
  unsigned long long* getValuePtr(int index);

  int getSize() const;
  bool getCommon() const;
  int getTableNbr() const;

 private:
  TREL_LOCAL bool has(int index) const;

  bool common;
  int size;
  unsigned int tableNbr;
  unsigned long long* values;
};

// ----- the legacy card variables -----

// One variable of a line card in the older, per-card scheme, described by name instead of by OID.
struct IfcCardVarDef {
  unsigned int index;               // position in its group, from 0
  const char* name;                 // for display; the trailing blanks of its column belong to it
  unsigned int type;                // TrelTlvType
  IfcCardVarAccessType accessType;  // READ_ONLY for what reports, READ_WRITE for commands and settings
  // The default in the type of `type`: unsigned long long, unsigned int, unsigned char, int, bool or std::string. "Dld
  // Clear Errors" is the exception: a BOOLEAN whose default is the text "BSP".
  boost::any defaultValue;
  bool (*lengthCheck)(unsigned int length);  // true: a value of this length is NOT acceptable; null: any is
  bool (*valueCheck)(boost::any& value);     // true: this value is NOT acceptable; null: any is
  bool flag;              // true for "DPLL Active CTRL CLK Alarm" alone; the library gives it no meaning
  unsigned int reserved;  // 0
};

// The catalogue: groups 1 to 11, index from 0 in each. Null where there is no such variable. Built when the library is
// loaded (when trel is linked into the program: before main), never changed, gone when it is unloaded. It carries no
// OIDs: which variable a TLV is about is the application's.
//    1 card information   2 card status         3 card control     4 software download   5 temperature sensors
//    6 voltage monitors   7 file transfer       8 log retrieval    9 hardware errors    10 operational alarms
//   11 voltage monitor device
TREL_API const IfcCardVarDef* ifcCardVarDef(unsigned int group, unsigned int index);

// ----- the engine -----

class TREL_API TrelProtocolBase {
 public:
  // With replyOnHeaderError (the default) a datagram of another protocol version or with an unknown action is answered
  // by an error response; without it is dropped. Calls initEvents, which during construction reaches the base
  // initEventsCore only.
  TrelProtocolBase();
  explicit TrelProtocolBase(bool replyOnHeaderError);
  TrelProtocolBase(const TrelProtocolBase&) = delete;
  TrelProtocolBase& operator=(const TrelProtocolBase&) = delete;
  // Deletes the event tables; neither the objects nor what amiOwnedProperties still lists.
  virtual ~TrelProtocolBase();

  // ----- hooks -----

  // Makes the application's event tables: eventTables[n] = new EventValueTable(...), the engine's from then on. False
  // makes initEvents delete them all. The base version makes none and returns true (DEBUG1 line).
  virtual bool initEventsCore();

  // Serves an OID that no registered object knows. Write: store property's value, return whether it worked. Read: put
  // the value into the property, it goes into the answer. False: RESULT_CANNOT_EXEC. The base version returns false.
  // The property is the engine's and lives for this request.
  virtual bool handleTrelMsgOld(OldStyleProperty* property, bool isWrite);
  // Asked before: a TrelResult. The base version returns RESULT_GENERAL_ERROR, so without an override an unknown OID is
  // refused.
  virtual int checkTlvOld(OldStyleProperty* property, bool isWrite) const;
  // For the application's own use: the engine never calls it. The base version returns 0.
  virtual int eventHandlerOld(TRELTlv* oldTlv, TRELTlv* newTlv, bool flag);

  // The transport. Serializes the message (TRELMessage::serialize, headerLen + sizeOfTlvs() bytes) and sends it to the
  // peer: a TRELResponse to the address that asked (message.sender tells its IPv4 address), a TRELAmi to whoever
  // receives events. For a TRELRequest it also waits for the peer's reply and puts its bytes into replyBuffer before it
  // returns. Not 0: sent (and, for a request, answered). A transport that returns not 0 without filling replyBuffer has
  // the old reply processed again.
  virtual int sendMsg(TRELMessage& message) = 0;

  // The id of the next request or autonomous message: 1 first, 0 after 65535. Both kinds share the numbers.
  virtual unsigned short getNewMessageId();

  // Receives the properties that an autonomous message has just set, in its order; also an empty list. False: the
  // message counts as failed (ERROR line). The base version returns false.
  virtual bool amiMessageHandler(std::vector<TrelProperty*> properties);

  // ----- what the application calls -----

  // Adds an object to those that answer OIDs. Not owned, not null; of two objects that know an OID the first registered
  // wins. It must be whole before the next datagram is handled: what a class overrides of one that registers itself in its
  // constructor would not be known for a datagram that this constructor handles, and for those after it.
  void registerObject(TrelObject* object);

  // The entry point for one received datagram, dispatched by its action to handleRequest, handleResponse or handleAmi.
  // senderIp is the sender's IPv4 address as dotted text, or null. The buffer is used during the call only.
  // Returns 0 when it was shorter than 8 bytes (ERROR line), 1 when its magic number is not ours (dropped without an
  // answer), what sendMsg returned for an error response, 0 for a header error that is not answered, else the handler's
  // result.
  int handleTrelMsg(int length, const char* buffer, const char* senderIp);

  // Follows the sequence of a sender's requests; the result only marks the answer.
  //   RESULT_OK             first request of this sender, or last id + 1 (65535 is followed by 0)
  //   RESULT_DUPLICATE_MSG  the last id again
  //   RESULT_LOST_MSG       any other id, lower ones too; it becomes the last id
  //   16                    all five contexts belong to others: they are never given back while the process lives
  //   17                    senderIp is not empty and inet_pton refuses it
  // The key is the address as text. An empty address uses the first free context without claiming it. All but RESULT_OK
  // and 17 leave a WARNING line.
  int checkMsgId(const TRELMessage* message, std::string senderIp);

  // Answers a read or write request, with exactly one sendMsg(response), whose result it returns. `response` comes with
  // action, msgId and sender set.
  //   every known OID: `update` of its object; then all TLVs are checked; the first refusal is answered with its position and
  //   nothing is changed; a write stores all values and calls `updated`; a read answers the values as they are when sendMsg
  //   serializes them. More than 1200 bytes become RESULT_TOO_LONG.
  int handleRequest(int length, const char* buffer, TRELResponse& response);
  // Processes a reply: stores the values of a read and calls `updated`. 1, or 0 when the reply tells an error or a TLV
  // of it is unknown, does not fit its property or is cut off by the end of the datagram; the others are applied.
  int handleResponse(int length, const char* buffer);
  // Processes an autonomous message: stores its values, calls `updated` for each and amiMessageHandler for all. Never
  // answered. 1, or 0 as above or when amiMessageHandler refuses.
  int handleAmi(int length, const char* buffer);

  // --- client operations: one request to the peer and its reply, within the call ---
  // 1 when the peer did it. 0 when there is nothing to ask, more than 150 properties (two ERROR lines, nothing sent),
  // no reply, or the reply reports an error. A read stores the peer's values into the properties, which must be of
  // registered objects, and calls `updated`; a write sends the values that the properties hold. The properties and
  // objects stay the caller's.
  int readObject(TrelObject& object);
  int readObjects(std::vector<TrelObject*> objects);
  int readProperty(TrelProperty& property);
  int readPropertys(std::vector<TrelProperty*> properties);
  int writeObject(TrelObject& object);
  int writeObjects(std::vector<TrelObject*> objects);
  int writeProperty(TrelProperty& property);
  int writePropertys(std::vector<TrelProperty*> properties);
  // What they share: numbers the request, hands it to sendMsg and processes the reply in replyBuffer. The reply's
  // message id is not compared: pairing is the transport's business.
  int sendRequest(unsigned char action, TRELRequest& request);

  // --- events ---
  // Calls initEventsCore; when that returns false, deletes all event tables and returns false.
  bool initEvents();
  // The periodic scan: adds every property whose event is pending to the pending autonomous message and sends it.
  // Returns how many were added. The first call in the process collects only and returns 0; its events go out with the
  // second.
  int eventHandler();
  // Adds the pending events of these objects; returns how many.
  int eventAdd(std::vector<TrelObject*>& eventObjects);
  // Compares a sampled value with the last reported one. The value is read with the unsigned getters by its length, 1,
  // 2, 4 or 8 bytes, so a signed, boolean or time property refuses (ERROR line) and counts as 0; no other length is
  // supported.
  //   compare    true: report a changed value, remember it and return true; false: only remember it (the initial sample)
  //   flush      true: send the pending message and return false, whatever the other arguments
  bool checkForEvent(unsigned long long* lastValue, TrelProperty* property, bool compare, bool flush);
  // Adds a property to the pending autonomous message, or, with flush, sends that message if something was added since
  // the last send, and empties it. The 51st property sends the message at once and leaves it filled: its properties go
  // out again with the next send, as a repetition.
  void addToAmi(TrelProperty* property, bool flush);
  // Numbers and stamps an autonomous message and sends it; 0 without sending when it is null or empty.
  int sendAmiMsgBase(TRELAmi* ami);

  // --- diagnostics ---
  // Prints bytes to standard output, eight to a line: decimal offset, hexadecimal bytes, printable characters. The
  // engine never calls it. A null `data` prints as no bytes.
  //   0000: 41 42 00                | AB.
  void dump_hex(const unsigned char* data, unsigned int length);

 protected:
  bool replyOnHeaderError;
  std::vector<TrelObject*> objects;  // in order of registration; filled by registerObject only
  // Properties that the engine deletes when the pending autonomous message has been flushed: put here what was made for
  // that message alone.
  std::vector<TrelProperty*> amiOwnedProperties;
  EventValueTable* eventTables[TREL_EVENT_TABLES];  // owned; null where there is no table
  // The reply to the last request, put here by sendMsg. Never cleared by the engine.
  std::string replyBuffer;
  unsigned short messageIdCounter;  // the last id handed out

 private:
  using OldStyleList = std::vector<std::unique_ptr<OldStyleProperty>>;
  struct TREL_LOCAL Exchange;
  struct TREL_LOCAL Working;
  class TREL_LOCAL Lent;
  class TREL_LOCAL OldStyleLife;

  TREL_LOCAL TrelProperty* findProperty(unsigned int oid, int& level, bool& asked);
  TREL_LOCAL TrelProperty* askObjects(unsigned int oid);
  TREL_LOCAL int handle(Exchange& exchange, int length, const char* buffer, const char* senderIp, int level);
  TREL_LOCAL int handleNested(int length, const char* buffer, const char* senderIp);
  TREL_LOCAL int answerRequest(Exchange& exchange, TRELResponse& response, int level);
  TREL_LOCAL int answerBadHeader(TRELResponse& response, int result);
  TREL_LOCAL static int followSequence(unsigned short msgId, const std::string& senderIp, int level);
  TREL_LOCAL int resolveTlvs(Exchange& exchange, int& level, bool& mustCheck);
  TREL_LOCAL static int addOldStyle(Exchange& exchange, unsigned int oid, const char* tlv);
  TREL_LOCAL static int refusalOfCutWrite(TrelProperty* property, const char* tlvHead);
  TREL_LOCAL void executeWrite(TRELRequest& request, TRELResponse& response, bool plain);
  TREL_LOCAL void executeRead(Exchange& exchange, TRELResponse& response);
  TREL_LOCAL int refuse(TRELResponse& response, int result, int position);
  TREL_LOCAL void countAdded(TrelProperty& property);
  TREL_LOCAL bool applyReceivedValues(const TRELMessage& message, std::vector<TrelProperty*>* applied);

  std::unique_ptr<Working> working;  // what the engine keeps between calls
};

#endif
