// One end of the protocol with a few variables, in the tests of the transport.

#ifndef TESTS_UNIT_TRELUDP_STATION_H
#define TESTS_UNIT_TRELUDP_STATION_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "support/bytes.h"
#include "trelUdp/trelUdp.h"

// The common scalar of group 1. Its OIDs are 10800001, 10800002 and 10800003.
class StationScalar : public TrelScalar {
 public:
  StationScalar() : TrelScalar("station", 1, true) {
    addProp(temperature, 0);
    addProp(serialNumber, 0);
    addProp(limit, 0);
  }

  TypeProperty<unsigned int>* const temperature =
      new TypeProperty<unsigned int>(1, "temperature", IFC_CARD_VAR_READ_WRITE, 42U, true);
  TypeProperty<unsigned short>* const serialNumber =
      new TypeProperty<unsigned short>(2, "serialNumber", IFC_CARD_VAR_READ_ONLY, 7, false);
  TypeProperty<unsigned char>* const limit = new TypeProperty<unsigned char>(
      3, "limit", IFC_CARD_VAR_READ_WRITE, 10, new RangeCheckValue<unsigned char>(0, 100), false);

  std::function<void()> onUpdate;
  std::function<void()> onUpdated;

  bool update(TrelProperty*, unsigned int) override {
    if (onUpdate) onUpdate();
    return true;
  }
  bool updated(TrelProperty*, unsigned int) override {
    if (onUpdated) onUpdated();
    return true;
  }
};

// Keeps a note of every datagram, and calls back when one passes. Open on a free port of loopback, in a hurry: it waits 40 ms
// for a reply and repeats nothing.
class Station : public TrelUdp {
 public:
  explicit Station(bool openNow = true) {
    registerObject(&scalar);
    setReplyTimeout(40);
    setReadRetries(0);
    if (openNow) open();
  }
  ~Station() override {
    if (atEnd != nullptr) atEnd(*this);
  }

  // Set by whoever wants to look at every station before it goes; what a derived class had is gone then.
  inline static void (*atEnd)(Station& station) = nullptr;

  // A request went out: called at once, so that a plain socket can answer before the station waits.
  std::function<void()> onRequestSent;
  std::function<void(const TrelUdpDatagram&)> onDatagram;
  // "sent 4F544E31 ...", "handed over ...", "reply ...", "kept ...", "dropped (reason) ..."
  std::vector<std::string> passed;
  unsigned int amis = 0;

  unsigned int temperature() { return scalar.temperature->value; }
  int readTemperature() { return readProperty(*scalar.temperature); }
  int writeTemperature(unsigned int value) {
    scalar.temperature->value = value;
    return writeProperty(*scalar.temperature);
  }
  unsigned long long dropped(TrelUdpDrop reason) const { return counters().dropped[reason]; }
  // What counters() promises about itself.
  bool countersAddUp() const {
    return counters().received == counters().handedOver + counters().replies + counters().droppedInAll() + kept();
  }

  void datagramPassed(const TrelUdpDatagram& datagram) override {
    static const char* const fates[] = {"sent", "handed over", "reply", "kept", "dropped"};
    std::string note = fates[datagram.fate];
    if (datagram.fate == TREL_UDP_DROPPED) note += std::string(" (") + trelUdpDropText(datagram.drop) + ")";
    passed.push_back(note + " " + asDatagram(std::string_view(datagram.bytes, datagram.length)));
    if (onDatagram) onDatagram(datagram);
    const bool isRequest = datagram.length > 5 && (datagram.bytes[5] == 1 || datagram.bytes[5] == 2);
    if (datagram.fate == TREL_UDP_SENT && isRequest && onRequestSent) onRequestSent();
  }

  bool amiMessageHandler(std::vector<TrelProperty*>) override {
    ++amis;
    return true;
  }

  StationScalar scalar;
};

#endif
