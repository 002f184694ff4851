// What one datagram must do to an engine, step by step.

#ifndef TESTS_SIM_COURSE_H
#define TESTS_SIM_COURSE_H

#include <cstddef>
#include <string>
#include <vector>

#include "sim/model.h"
#include "sim/statistics.h"
#include "sim/wire.h"

namespace sim {

// Made before the datagram is handed over. Each hook and sendMsg of the engine tells its course that it was called: the calls
// must come in the order of the steps, no more and no fewer. Values that the engine stores between two hooks are stored in the
// model at the second one, so that the model is right whenever anybody looks, also from inside a hook.
class Course {
 public:
  Course(Model& model, unsigned int node, const std::string& bytes, const std::string& sender, Statistics& statistics);

  // --- told by the hooks ---
  void updateIsCalled(const TrelProperty* property) { step(UPDATE, model_.byProperty.at(property)); }
  void oldStyleIsChecked(unsigned int oid) { step(CHECK_OLD_STYLE, oid); }
  // The value that the datagram carries.
  const std::string& oldStyleIsServed(unsigned int oid);
  // What the hook has done: false, or the TLV that it has left.
  void oldStyleWas(bool served, const std::string& tlvLeft);
  void updatedIsCalled(const TrelProperty* property) { step(UPDATED, model_.byProperty.at(property)); }
  void updatedReturns(bool good);
  void amiHandlerIsCalled(const std::vector<TrelProperty*>& properties);
  void amiHandlerReturns(bool good) { expectedReturn_ = good && allGood_ ? 1 : 0; }
  // The answer that is sent now.
  std::string answerIsSent();
  void transportReturns(int result) { expectedReturn_ = result; }
  // The engine's call came back.
  void returned(int result);

  const std::string& sender() const { return sender_; }
  const std::string& bytes() const { return bytes_; }

 private:
  enum Kind { UPDATE, CHECK_OLD_STYLE, STORE, SERVE_OLD_STYLE, UPDATED, AMI_HANDLER, SEND };
  struct Step {
    Kind kind;
    std::size_t what;   // index of the variable, or the OID of an old-style one
    std::string value;  // to be stored
  };
  struct Answered {
    bool oldStyle;
    std::size_t what;  // index of the variable, or of the old-style TLV
  };

  void headerError(int result);
  void request();
  int refusalOf(const ReceivedTlv& received);
  void receivedValues(std::size_t place);
  void add(Kind kind, std::size_t what, const std::string& value = std::string()) {
    steps_.push_back({kind, what, value});
  }
  void step(Kind kind, std::size_t what);
  // Stores what the engine has stored by now.
  void catchUp();
  static const char* nameOf(Kind kind);

  NodeModel& model_;
  Statistics& statistics_;
  const std::string bytes_;
  const std::string sender_;
  unsigned int action_ = 0;
  unsigned int msgId_ = 0;

  std::vector<Step> steps_;
  std::size_t at_ = 0;
  int expectedReturn_ = 0;

  int result_ = 0;               // of the answer
  unsigned int errorIndex_ = 0;  // of the answer
  bool answersValues_ = false;
  std::vector<Answered> answered_;
  std::vector<std::string> oldStyleLeft_;  // the TLVs, in order
  std::vector<std::size_t> applied_;       // by an autonomous message
  bool allGood_ = true;
};

}  // namespace sim

#endif
