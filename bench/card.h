// The card that every question is asked of, and the requests that it is asked with.
//
//   object  "card"     common scalar, group 1: a text of 15 characters, 2 bytes, 6 numbers of 32 bits, 3 flags
//   object  "sensors"  table 3, 16 rows of 5 columns: a name of 12 characters, 3 signed numbers of 32 bits, a flag
//
// 92 variables. Both objects override `update` and `updated`, every number is eventable, the trace level is 4 (errors and
// warnings), and the answer is serialized into a buffer that is there.
#ifndef BENCH_CARD_H
#define BENCH_CARD_H

#include <libtrace/trace.h>

#include <cstddef>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "trel/trelProtocolBase.h"

namespace bench {

constexpr unsigned int TABLE_ROWS = 16;

// An application's hooks that do nothing: the engine calls them all the same.
class CardScalar : public TrelScalar {
 public:
  CardScalar() : TrelScalar("card", 1, true) {
    addProp(new StringProperty(1, "board", IFC_CARD_VAR_READ_WRITE, "line-card-A1-07"), 0);
    for (unsigned int variable = 2; variable <= 3; ++variable)
      addProp(new TypeProperty<unsigned char>(variable, "byte", IFC_CARD_VAR_READ_WRITE, 7), 0);
    for (unsigned int variable = 4; variable <= 9; ++variable)
      addProp(new TypeProperty<unsigned int>(variable, "number", IFC_CARD_VAR_READ_WRITE, 1000 + variable, true), 0);
    for (unsigned int variable = 10; variable <= 12; ++variable)
      addProp(new TypeProperty<bool>(variable, "flag", IFC_CARD_VAR_READ_WRITE, true), 0);
  }
  bool update(TrelProperty*, unsigned int) override { return true; }
  bool updated(TrelProperty*, unsigned int) override { return true; }
};

class CardTable : public TrelTable {
 public:
  CardTable() : TrelTable("sensors", 3, false, TABLE_ROWS) {
    for (unsigned int row = 0; row < TABLE_ROWS; ++row) {
      addProp(new StringProperty(1, "name", IFC_CARD_VAR_READ_WRITE,
                                 "temperature" + std::string(1, static_cast<char>('A' + row))),
              row);
      for (unsigned int column = 2; column <= 4; ++column)
        addProp(new TypeProperty<int>(column, "value", IFC_CARD_VAR_READ_WRITE, -static_cast<int>(row), true), row);
      addProp(new TypeProperty<bool>(5, "valid", IFC_CARD_VAR_READ_WRITE, true), row);
    }
  }
  bool update(TrelProperty*, unsigned int) override { return true; }
  bool updated(TrelProperty*, unsigned int) override { return true; }
};

// What N50 changes: the 48 numbers of the table, then two scalars.
struct FiftyNumbers {
  FiftyNumbers(CardScalar& card, CardTable& sensors) : scalars{card.getProp(4, 0), card.getProp(5, 0)} {
    for (unsigned int row = 0; row < TABLE_ROWS; ++row) {
      for (unsigned int column = 2; column <= 4; ++column)
        inTable.push_back(sensors.getProp(column, row));
    }
  }
  void set(int value) const {
    for (TrelProperty* number : inTable)
      number->set(value);
    for (TrelProperty* number : scalars)
      number->set(static_cast<unsigned int>(value));
  }

  std::vector<TrelProperty*> inTable;
  TrelProperty* scalars[2];
};

// An engine whose transport is a buffer: what it would send lies there, with its length.
class BufferEngine : public TrelProtocolBase {
 public:
  int sendMsg(TRELMessage& message) override {
    answerLength = message.headerLen + message.sizeOfTlvs();
    return message.serialize(answer, sizeof answer) ? 1 : 0;
  }

  char answer[1200] = {};
  int answerLength = 0;
};

inline void putMessageId(std::string& request, unsigned short id) {
  request[6] = static_cast<char>(id >> 8);
  request[7] = static_cast<char>(id);
}

class Card {
 public:
  // `earlier`: objects that are asked before the card's own two, or before the table alone.
  explicit Card(const std::vector<TrelObject*>& earlier = {}, bool hasScalars = true) {
    g_traceObject = &trace_;
    for (TrelObject* object : earlier)
      engine.registerObject(object);
    if (hasScalars) engine.registerObject(&scalar);
    engine.registerObject(&table);
  }
  Card(const Card&) = delete;
  Card& operator=(const Card&) = delete;
  ~Card() { g_traceObject = nullptr; }

  // Hands a request to the engine under the next message id, as a peer sends it: no id is lost, no line is logged. False
  // when the answer is not a good one of this length.
  bool answers(std::string& request, int length);
  unsigned short nextMessageId() { return ++messageId_; }

  CardScalar scalar;
  CardTable table;
  BufferEngine engine;

 private:
  int level_ = 4;
  TraceObject trace_{&level_};
  unsigned short messageId_ = 0;
};

// --- the requests; the message id is put in by putMessageId ---

// R1: one number of 32 bits.
inline std::string readOneNumber() { return "4F544E31 01 01 0000 | 10800004 01 0000"_hex; }

// R12: the scalars.
inline std::string readScalars() {
  return "4F544E31 01 01 0000"
         " | 10800001 09 0000 | 10800002 03 0000 | 10800003 03 0000 | 10800004 01 0000"
         " | 10800005 01 0000 | 10800006 01 0000 | 10800007 01 0000 | 10800008 01 0000"
         " | 10800009 01 0000 | 1080000A 08 0000 | 1080000B 08 0000 | 1080000C 08 0000"_hex;
}

// R80: the table, row by row.
inline std::string readTable() {
  return "4F544E31 01 01 0000"
         " | 40C04000 09 0000 | 40C08000 05 0000 | 40C0C000 05 0000 | 40C10000 05 0000 | 40C14000 08 0000"
         " | 40C04001 09 0000 | 40C08001 05 0000 | 40C0C001 05 0000 | 40C10001 05 0000 | 40C14001 08 0000"
         " | 40C04002 09 0000 | 40C08002 05 0000 | 40C0C002 05 0000 | 40C10002 05 0000 | 40C14002 08 0000"
         " | 40C04003 09 0000 | 40C08003 05 0000 | 40C0C003 05 0000 | 40C10003 05 0000 | 40C14003 08 0000"
         " | 40C04004 09 0000 | 40C08004 05 0000 | 40C0C004 05 0000 | 40C10004 05 0000 | 40C14004 08 0000"
         " | 40C04005 09 0000 | 40C08005 05 0000 | 40C0C005 05 0000 | 40C10005 05 0000 | 40C14005 08 0000"
         " | 40C04006 09 0000 | 40C08006 05 0000 | 40C0C006 05 0000 | 40C10006 05 0000 | 40C14006 08 0000"
         " | 40C04007 09 0000 | 40C08007 05 0000 | 40C0C007 05 0000 | 40C10007 05 0000 | 40C14007 08 0000"
         " | 40C04008 09 0000 | 40C08008 05 0000 | 40C0C008 05 0000 | 40C10008 05 0000 | 40C14008 08 0000"
         " | 40C04009 09 0000 | 40C08009 05 0000 | 40C0C009 05 0000 | 40C10009 05 0000 | 40C14009 08 0000"
         " | 40C0400A 09 0000 | 40C0800A 05 0000 | 40C0C00A 05 0000 | 40C1000A 05 0000 | 40C1400A 08 0000"
         " | 40C0400B 09 0000 | 40C0800B 05 0000 | 40C0C00B 05 0000 | 40C1000B 05 0000 | 40C1400B 08 0000"
         " | 40C0400C 09 0000 | 40C0800C 05 0000 | 40C0C00C 05 0000 | 40C1000C 05 0000 | 40C1400C 08 0000"
         " | 40C0400D 09 0000 | 40C0800D 05 0000 | 40C0C00D 05 0000 | 40C1000D 05 0000 | 40C1400D 08 0000"
         " | 40C0400E 09 0000 | 40C0800E 05 0000 | 40C0C00E 05 0000 | 40C1000E 05 0000 | 40C1400E 08 0000"
         " | 40C0400F 09 0000 | 40C0800F 05 0000 | 40C0C00F 05 0000 | 40C1000F 05 0000 | 40C1400F 08 0000"_hex;
}

// W1: one number of 32 bits.
inline std::string writeOneNumber() { return "4F544E31 01 02 0000 | 10800004 01 0004 0000002A"_hex; }

// W12: the numbers of the table's first four rows.
inline std::string writeTwelveNumbers() {
  return "4F544E31 01 02 0000"
         " | 40C08000 05 0004 00000001 | 40C0C000 05 0004 00000002 | 40C10000 05 0004 FFFFFF03"
         " | 40C08001 05 0004 00000004 | 40C0C001 05 0004 00000005 | 40C10001 05 0004 FFFFFF06"
         " | 40C08002 05 0004 00000007 | 40C0C002 05 0004 00000008 | 40C10002 05 0004 FFFFFF09"
         " | 40C08003 05 0004 0000000A | 40C0C003 05 0004 0000000B | 40C10003 05 0004 FFFFFF0C"_hex;
}

// Lengths of the answers, and of the report of fifty changes.
constexpr int ONE_NUMBER_ANSWER = 11 + 11;
constexpr int SCALARS_ANSWER = 11 + 22 + 2 * 8 + 6 * 11 + 3 * 8;
constexpr int TABLE_ANSWER = 11 + 16 * (19 + 3 * 11 + 8);
constexpr int WRITE_ANSWER = 11;
constexpr int FIFTY_CHANGES = 16 + 50 * 11;

}  // namespace bench

#endif
