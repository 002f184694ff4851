// Private: what a message does with a received datagram: the header, and the walks over the TLVs of a request, each with
// its property, in the order of the datagram.
//
// Here because they are compiled twice: into the operations of a message, and into the engine, where most of the work of
// a request is done and a call less for each walk counts.
#ifndef TREL_TRELMESSAGEWALK_H
#define TREL_TRELMESSAGEWALK_H

#include <cstddef>

#include "trel/trelObjects.h"
#include "trel/trelOidLayout.h"
#include "trel/trelOwnProperty.h"
#include "trel/trelProperty.h"
#include "trel/trelTraceGate.h"
#include "trel/trelWire.h"
#include "trel/trelmsg.h"

namespace trelHeader {

// Where the fields of the headers lie.
inline constexpr int MAGIC_AT = 0;
inline constexpr int VERSION_AT = 4;
inline constexpr int ACTION_AT = 5;
inline constexpr int MSG_ID_AT = 6;
inline constexpr int RESULT_AT = TREL_HEADER_LEN;
inline constexpr int ERROR_INDEX_AT = TREL_HEADER_LEN + 1;
inline constexpr int TIME_SEC_AT = TREL_HEADER_LEN;
inline constexpr int TIME_USEC_AT = TREL_HEADER_LEN + 4;

}  // namespace trelHeader

// Reads the header and remembers where the datagram lies.
[[gnu::always_inline]] inline int TRELMessage::decode(const char* buf, int len) {
  magicNbr = trelWire::loadU32(buf + trelHeader::MAGIC_AT);
  protVersion = static_cast<unsigned char>(buf[trelHeader::VERSION_AT]);
  action = static_cast<unsigned char>(buf[trelHeader::ACTION_AT]);
  msgId = trelWire::loadU16(buf + trelHeader::MSG_ID_AT);
  buffer = buf;
  bufferLen = len;
  const bool isOurs = magicNbr == TREL_MAGIC_NBR && protVersion == TREL_PROT_VERSION;
  if (!isOurs || action < TREL_ACTION_READ || action > TREL_ACTION_AMI) return refuseHeader();
  return deserializeSpecific(buf, len);
}

// Checks each TLV; returns the first failure, its position in `index`, with its line. Changes no property. `plain` becomes
// whether all are numbers of the library's own classes, each in a TLV of its own form.
[[gnu::always_inline]] inline int TRELMessage::checkEach(int& index, bool& plain, TrelProtocolBase* engine) const {
  const bool isWrite = action == TREL_ACTION_WRITE;
  const char* tlv = buffer + headerLen;
  plain = isWrite;
  for (TrelProperty* const* at = properties.data(); at != properties.data() + properties.size(); ++at) {
    TrelProperty* const property = *at;
    int failure = RESULT_OK;
    if (isWrite && property->hasOwnForm(tlv) && trelOid::usable(trelWire::tlvOid(tlv))) {
      failure = property->checkWritable(tlv);
    } else {
      failure = checkAny(property, tlv, engine);
      plain = false;
    }
    if (failure != RESULT_OK) {
      index = static_cast<int>(at - properties.data());
      return refuse(failure, tlv);
    }
    tlv += trelWire::TLV_HEAD_LEN + trelWire::tlvLen(tlv);
  }
  return RESULT_OK;
}

// First pass of a write: every value to its property. With `plain`, what checkEach has found: each reads what its TLV
// has, and no hook changes that on the way.
[[gnu::always_inline]] inline bool TRELMessage::storeEach(bool plain, TrelProtocolBase* engine) {
  if (!plain) return storeAny(engine);
  trelWire::ByteReader datagram = trelWire::tlvArea(buffer, bufferLen, headerLen);
  for (TrelProperty* property : properties) {
    const int consumed = property->deserialize(datagram.at());
    if (consumed < 0 || datagram.take(static_cast<std::size_t>(consumed)) == nullptr) return false;
  }
  return true;
}

// Second pass: every owning object is told, also after one has refused.
[[gnu::always_inline]] inline bool TRELMessage::tellEach() {
  bool ok = true;
  for (TrelProperty* property : properties) {
    TrelObject* object = property->object;
    if (object == nullptr) continue;
    const bool accepted = object->updated(property, property->row);
    if (!accepted || trelTrace::above(trelTrace::DEBUG2_THRESHOLD)) {
      traceUpdated(*property, *object, accepted);
      ok = ok && accepted;
    }
  }
  return ok;
}

#endif
