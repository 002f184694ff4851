#include "sim/course.h"

#include "sim/brokenPromise.h"

namespace sim {

Course::Course(Model& model, unsigned int node, const std::string& bytes, const std::string& sender,
               Statistics& statistics)
    : model_(model.nodes[node]), statistics_(statistics), bytes_(bytes), sender_(sender) {
  if (bytes_.size() < 8) return;
  if (bigAt(bytes_, 0, 4) != MAGIC) {
    expectedReturn_ = 1;
    return;
  }
  action_ = static_cast<unsigned int>(bigAt(bytes_, 5, 1));
  msgId_ = static_cast<unsigned int>(bigAt(bytes_, 6, 2));
  if (bigAt(bytes_, 4, 1) != 1) {
    headerError(RESULT_PROTOCOL_VERSION_MISMATCH);
  } else if (action_ < READ || action_ > AMI) {
    headerError(RESULT_INVALID_ACTION);
  } else if (action_ == READ || action_ == WRITE) {
    result_ = model.process.sequence(sender_, static_cast<unsigned short>(msgId_));
    if (result_ == RESULT_DUPLICATE_MSG) ++statistics_.of[DUPLICATES];
    if (result_ == RESULT_LOST_MSG) ++statistics_.of[GAPS];
    if (result_ == 16) ++statistics_.of[NO_CONTEXT];
    request();
  } else if (action_ == AMI) {
    if (bytes_.size() < 16) return;
    ++statistics_.of[AMIS_RECEIVED];
    receivedValues(16);
    if (model_.takesAmis) add(AMI_HANDLER, 0);
  } else if (bytes_.size() >= 11) {
    const unsigned long long result = bigAt(bytes_, 8, 1);
    if (result != RESULT_OK && result != RESULT_DUPLICATE_MSG && result != RESULT_LOST_MSG) return;
    if (action_ == READ_RESPONSE) receivedValues(11);
    expectedReturn_ = allGood_ ? 1 : 0;
  }
}

void Course::headerError(int result) {
  result_ = result;
  if (model_.answersHeaderErrors) add(SEND, 0);
}

void Course::request() {
  const bool isWrite = action_ == WRITE;
  std::vector<ReceivedTlv> whole = tlvsOf(bytes_, 8);
  int cutOff = RESULT_OK;
  for (std::size_t i = 0; i < whole.size(); ++i) {
    const ReceivedTlv& received = whole[i];
    const Variable* variable = received.cut == ReceivedTlv::NO_HEAD ? nullptr : model_.find(received.oid);
    if (variable != nullptr && variable->hooked)
      add(UPDATE, static_cast<std::size_t>(variable - model_.variables.data()));
    if (received.cut == ReceivedTlv::WHOLE || (variable != nullptr && !isWrite)) continue;
    // A read uses the OID alone; of anything else the value is missing.
    ++statistics_.of[CUT_REQUESTS];
    cutOff = RESULT_WRONG_LEN;
    if (variable != nullptr) {
      if (received.oid != variable->oid) {
        cutOff = RESULT_WRONG_OID;
      } else if (received.type != variable->kind->type) {
        cutOff = RESULT_WRONG_TYPE;
      } else if (hasLength(*variable->kind, received.length) && variable->kind->readOnly) {
        cutOff = RESULT_READ_ONLY;
      }
    }
    whole.erase(whole.begin() + static_cast<std::ptrdiff_t>(i), whole.end());
  }

  for (std::size_t i = 0; i < whole.size(); ++i) {
    const int refusal = refusalOf(whole[i]);
    if (refusal != RESULT_OK) {
      result_ = refusal;
      errorIndex_ = static_cast<unsigned int>(i);
      ++statistics_.of[REQUESTS_REFUSED];
      return add(SEND, 0);
    }
  }
  if (cutOff != RESULT_OK) {
    result_ = cutOff;
    errorIndex_ = static_cast<unsigned int>(whole.size());
    ++statistics_.of[REQUESTS_REFUSED];
    return add(SEND, 0);
  }

  ++statistics_.of[REQUESTS_SERVED];
  answersValues_ = !isWrite;
  std::size_t oldStyleTlvs = 0;
  for (const ReceivedTlv& received : whole) {
    if (const Variable* variable = model_.find(received.oid)) {
      const auto index = static_cast<std::size_t>(variable - model_.variables.data());
      if (isWrite) add(STORE, index, received.value);
      answered_.push_back({false, index});
    } else {
      add(SERVE_OLD_STYLE, received.oid, received.value);
      answered_.push_back({true, oldStyleTlvs++});
    }
  }
  if (isWrite) {
    for (const Answered& written : answered_)
      if (!written.oldStyle && model_.variables[written.what].hooked) add(UPDATED, written.what);
    answered_.clear();
  }
  add(SEND, 0);
}

int Course::refusalOf(const ReceivedTlv& received) {
  const bool isWrite = action_ == WRITE;
  const Variable* variable = model_.find(received.oid);
  if (variable == nullptr) {
    if (!model_.servesOldStyle) return RESULT_GENERAL_ERROR;
    add(CHECK_OLD_STYLE, received.oid);
    return oldStyleRefusal(received.oid, received.type, received.length, isWrite);
  }
  if (!isWrite) return RESULT_OK;
  if (received.oid != variable->oid) return RESULT_WRONG_OID;
  if (received.type != variable->kind->type) return RESULT_WRONG_TYPE;
  if (!hasLength(*variable->kind, received.length)) return RESULT_WRONG_LEN;
  if (variable->kind->readOnly) return RESULT_READ_ONLY;
  return isAllowed(*variable->kind, received.value) ? RESULT_OK : RESULT_WRONG_VALUE;
}

// Of a response or an autonomous message: bad TLVs are skipped, a cut one ends the walk, access and limits are not asked.
void Course::receivedValues(std::size_t place) {
  for (const ReceivedTlv& received : tlvsOf(bytes_, place)) {
    const Variable* variable = received.cut == ReceivedTlv::WHOLE ? model_.find(received.oid) : nullptr;
    if (variable == nullptr || received.oid != variable->oid || received.type != variable->kind->type ||
        !hasLength(*variable->kind, received.length)) {
      allGood_ = false;
      continue;
    }
    const auto index = static_cast<std::size_t>(variable - model_.variables.data());
    add(STORE, index, received.value);
    if (variable->hooked) add(UPDATED, index);
    applied_.push_back(index);
  }
}

// ----- on the way -----

void Course::catchUp() {
  for (; at_ < steps_.size() && steps_[at_].kind == STORE; ++at_)
    model_.variables[steps_[at_].what].value = steps_[at_].value;
}

void Course::step(Kind kind, std::size_t what) {
  catchUp();
  if (at_ < steps_.size() && steps_[at_].kind == kind && steps_[at_].what == what) {
    ++at_;
    return;
  }
  std::string expected = at_ < steps_.size()
                             ? nameOf(steps_[at_].kind) + std::string(" ") + std::to_string(steps_[at_].what)
                             : std::string("nothing more");
  throw BrokenPromise("the engine calls " + std::string(nameOf(kind)) + " " + std::to_string(what) + ", expected was " +
                      expected + ", for " + asDatagram(bytes_));
}

const char* Course::nameOf(Kind kind) {
  static const char* const names[] = {"update",  "checkTlvOld",       "(store)", "handleTrelMsgOld",
                                      "updated", "amiMessageHandler", "sendMsg"};
  return names[kind];
}

const std::string& Course::oldStyleIsServed(unsigned int oid) {
  step(SERVE_OLD_STYLE, oid);
  return steps_[at_ - 1].value;
}

void Course::oldStyleWas(bool served, const std::string& tlvLeft) {
  if (served) {
    oldStyleLeft_.push_back(tlvLeft);
    return;
  }
  // Nothing more is stored or served.
  result_ = RESULT_CANNOT_EXEC;
  errorIndex_ = action_ == READ ? static_cast<unsigned int>(oldStyleLeft_.size()) : 0;
  answersValues_ = false;
  at_ = steps_.size() - 1;
}

void Course::updatedReturns(bool good) {
  if (good || action_ != WRITE) return;
  result_ = RESULT_CANNOT_EXEC;
  errorIndex_ = 0;
}

void Course::amiHandlerIsCalled(const std::vector<TrelProperty*>& properties) {
  step(AMI_HANDLER, 0);
  promiseNumber(properties.size(), applied_.size(), "properties that amiMessageHandler is given");
  for (std::size_t i = 0; i < applied_.size(); ++i)
    promise(properties[i] == model_.variables[applied_[i]].property, "amiMessageHandler is given another property");
}

std::string Course::answerIsSent() {
  step(SEND, 0);
  std::string values;
  if (answersValues_) {
    for (const Answered& each : answered_) {
      if (each.oldStyle) {
        values += oldStyleLeft_[each.what];
      } else {
        const Variable& variable = model_.variables[each.what];
        values += tlv(variable.oid, variable.kind->type, variable.value);
      }
    }
  }
  if (11 + values.size() > 1200) {
    ++statistics_.of[TOO_LONG];
    result_ = RESULT_TOO_LONG;
    errorIndex_ = 0;
    values.clear();
  }
  return responseHeader(action_ == READ ? READ_RESPONSE : WRITE_RESPONSE, msgId_, static_cast<unsigned int>(result_),
                        errorIndex_) +
         values;
}

void Course::returned(int result) {
  catchUp();
  if (at_ < steps_.size()) {
    throw BrokenPromise("the engine returns without " + std::string(nameOf(steps_[at_].kind)) + ", for " +
                        asDatagram(bytes_));
  }
  if (result != expectedReturn_)
    promiseNumber(result, expectedReturn_, ("result of the engine for " + asDatagram(bytes_)).c_str());
}

}  // namespace sim
