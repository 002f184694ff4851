// A manager that puts one line card through everything the protocol has, and shows what it sees.
//
//   manager 127.0.0.1 40123     address and port of examples/card; exit code 0: all was as expected, 1: something was not
//
//   Manager                 the engine with its transport, and a mirror of the card's objects
//   one function a topic    each does one thing, prints it and compares it; false: the card does not answer any more
//
// The mirror holds blank properties of the card's numbers and types. A read fills them; a write sends what they hold.
// It leaves the card as it found it, but warm: give the card a second before the next run.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <exception>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "chassis.h"
#include "datagramFields.h"
#include "transcript.h"
#include "trelUdp/trelUdp.h"
#include "valueText.h"

using namespace chassis;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr unsigned int REPLY_TIMEOUT_MS = 2000;
constexpr milliseconds REPORT_TIMEOUT(8000);
constexpr milliseconds LATE_REPLY_TIMEOUT(2000);
constexpr milliseconds BETWEEN_TWO_READS(60);
constexpr long long CLOCKS_AGREE_WITHIN_SECONDS = 5;

// ----- the manager ---------------------------------------------------------------------------------------------------------

struct Report {
  unsigned int seconds;
  unsigned int microseconds;
  std::vector<std::pair<std::string, std::string>> changes;  // variable, value
};

class Manager : public TrelUdp {
 public:
  TrelScalar card{"card", CARD_GROUP, false};
  TrelTable sensors{"sensors", SENSOR_TABLE, false, SENSOR_ROWS};

  std::vector<Report> reports;  // autonomous messages, in the order of their arrival
  std::string request;          // the datagram that asked last
  std::string reply;            // and the one that answered it
  std::string lateReply;        // a response that came when nobody waited any more
  Clock::time_point requestSent;
  Clock::time_point lateReplyCame;

  Manager() {
    mirrorCard();
    mirrorSensors();
    registerObject(&card);
    registerObject(&sensors);
    initEvents();
    setReplyTimeout(REPLY_TIMEOUT_MS);
    setReadRetries(0);  // one try only: here nothing may get lost unseen
  }

  TrelProperty& variable(unsigned int id) { return *card.getProp(id, 0); }
  TrelProperty& sensor(unsigned int row, unsigned int column) { return *sensors.getProp(column, row); }

  // Every datagram that passes the socket, with what became of it.
  void datagramPassed(const TrelUdpDatagram& datagram) override {
    const std::string bytes(datagram.bytes, datagram.length);
    if (datagram.fate == TREL_UDP_SENT) {
      request = bytes;
      requestSent = Clock::now();
    }
    if (datagram.fate == TREL_UDP_REPLY) reply = bytes;
    if (datagram.fate == TREL_UDP_DROPPED && datagram.drop == TREL_UDP_DROP_UNAWAITED_REPLY) {
      lateReply = bytes;
      lateReplyCame = Clock::now();
    }
    if (datagram.fate == TREL_UDP_HANDED_OVER || datagram.fate == TREL_UDP_KEPT) rememberTimeStamp(datagram);
  }

  // The properties that an autonomous message has just set. It does not bring the message's time stamp: see above.
  bool amiMessageHandler(std::vector<TrelProperty*> properties) override {
    if (stamps_.empty()) return false;
    Report report = {stamps_.front().first, stamps_.front().second, {}};
    stamps_.pop_front();
    for (TrelProperty* property : properties)
      report.changes.emplace_back(fullName(*property), valueText(*property));
    reports.push_back(report);
    return true;
  }

 private:
  void mirrorCard() {
    const auto access = IFC_CARD_VAR_READ_ONLY;  // what a received write meets: nobody may write the mirror
    add(card, new StringProperty(CARD_TYPE, "cardType", access, ""));
    add(card, new StringProperty(HARDWARE_VERSION, "hardwareVersion", access, ""));
    add(card, new StringProperty(SERIAL_NUMBER, "serialNumber", access, ""));
    add(card, new StringProperty(LOADWARE_NAME, "loadwareName", access, ""));
    add(card, new TypeProperty<unsigned char>(SLOT, "slot", access, 0));
    add(card, new TypeProperty<unsigned char>(PORT_COUNT, "portCount", access, 0));
    add(card, new MacAddressProperty(MAC_ADDRESS, "macAddress", access, nullptr, false));
    add(card, new IpAddressProperty(IP_ADDRESS, "ipAddress", access, 0u, false));
    add(card, new UnixTimeProperty(MANUFACTURED, "manufactured", access, 0, false));
    add(card, new UnixTimeProperty(SYSTEM_TIME, "systemTime", access, 0, false));
    add(card, new TypeProperty<unsigned int>(UPTIME, "uptime", access, 0u));
    add(card, new TypeProperty<int>(CLOCK_DEVIATION, "clockDeviation", access, 0));
    add(card, new TypeProperty<bool>(UNLOCKED, "unlocked", access, false));
    add(card, new StringProperty(LOCATION, "location", access, "?"));
    add(card, new TypeProperty<unsigned char>(FAN_DUTY, "fanDuty", access, 0));
    add(card, new IpAddressProperty(EVENT_ADDRESS, "eventAddress", access, 0u, false));
    add(card, new TypeProperty<unsigned short>(EVENT_PORT, "eventPort", access, 0));
    add(card, new TypeProperty<bool>(TEMPERATURE_ALARM, "temperatureAlarm", access, true));
  }

  void mirrorSensors() {
    const auto access = IFC_CARD_VAR_READ_ONLY;
    for (unsigned int row = 0; row < SENSOR_ROWS; ++row) {
      add(sensors, new StringProperty(SENSOR_NAME, "name", access, ""), row);
      add(sensors, new TypeProperty<int>(SENSOR_VALUE, "value", access, -1), row);
      add(sensors, new TypeProperty<int>(SENSOR_MINIMUM, "minimum", access, -1), row);
      add(sensors, new TypeProperty<int>(SENSOR_MAXIMUM, "maximum", access, -1), row);
      add(sensors, new TypeProperty<bool>(SENSOR_VALID, "valid", access, row == SENSOR_ROWS - 1), row);
    }
  }

  // The engine calls amiMessageHandler once for each autonomous message, in the order in which they pass here.
  void rememberTimeStamp(const TrelUdpDatagram& datagram) {
    if (datagram.length < static_cast<unsigned int>(TREL_AMI_HEADER_LEN)) return;
    TRELAmi message("");
    const int result = message.deserialize(datagram.bytes, static_cast<int>(datagram.length));
    if (result != RESULT_OK || message.action != TREL_ACTION_AMI) return;
    stamps_.emplace_back(message.timeSec, message.timeUsec);
  }

  static std::string fullName(const TrelProperty& property) {
    if (property.object->objectType != ifcCard::TABLE) return property.name;
    return property.object->name + "[" + std::to_string(property.row) + "]." + property.name;
  }

  std::deque<std::pair<unsigned int, unsigned int>> stamps_;
};

// ----- asking ------------------------------------------------------------------------------------------------------------

// Whether the card answered, be it a refusal: without an answer there is no point in going on.
bool answered(const Manager& manager) {
  const TrelUdpOutcome outcome = manager.lastResult().outcome;
  return outcome == TREL_UDP_OK || outcome == TREL_UDP_REFUSED;
}

// "RESULT READ ONLY (10)"
std::string codeText(const TrelUdpResult& result) {
  return std::string(result.text) + " (" + std::to_string(result.code) + ")";
}

bool isNow(long long seconds) { return std::llabs(std::time(nullptr) - seconds) <= CLOCKS_AGREE_WITHIN_SECONDS; }

// ----- 1: who is there, and where to report ------------------------------------------------------------------------------

bool introduce(Manager& manager, Transcript& transcript) {
  transcript.section("The manager introduces itself");
  TrelProperty& cardType = manager.variable(CARD_TYPE);
  if (manager.readProperty(cardType) == 0) return false;
  transcript.expect("cardType", "LC-16", valueText(cardType));
  transcript.judged("reads   cardType      " + valueText(cardType));

  // Two variables in one request: the card must not see the one without the other.
  TrelProperty& address = manager.variable(EVENT_ADDRESS);
  TrelProperty& port = manager.variable(EVENT_PORT);
  address.set(manager.address().ip);
  port.set(manager.port());
  manager.writePropertys({&address, &port});
  if (!answered(manager)) return false;
  transcript.expect("writing eventAddress and eventPort", "RESULT OK (0)", codeText(manager.lastResult()));
  transcript.judged("writes  eventAddress  " + valueText(address) + ", eventPort " + valueText(port) +
                    ": reports shall come here; " + codeText(manager.lastResult()));
  return true;
}

// ----- 2: what goes through the socket -----------------------------------------------------------------------------------

// Without the blanks and bars that make it readable here.
std::string digitsOf(const std::string& grouped) {
  std::string digits;
  for (const char character : grouped) {
    if (character != ' ' && character != '|') digits += character;
  }
  return digits;
}

void showDatagram(Manager& manager, Transcript& transcript, const std::string& what, const std::string& datagram,
                  const std::string& expected) {
  transcript.say();
  transcript.say(what + ", " + std::to_string(datagram.size()) + " bytes");
  for (const std::string& line : datagramFields(datagram, {&manager.card}))
    transcript.say(line);
  transcript.expect(what + ", as bytes", digitsOf(expected), hexText(datagram));
  transcript.judged("      all together " + hexText(datagram));
}

bool readByteByByte(Manager& manager, Transcript& transcript) {
  transcript.section("One read, byte by byte");
  TrelProperty& slot = manager.variable(SLOT);
  TrelProperty& ipAddress = manager.variable(IP_ADDRESS);
  if (manager.readPropertys({&slot, &ipAddress}) == 0) return false;
  // A request carries whatever the mirror holds; in a read the card looks at the OIDs alone.
  showDatagram(manager, transcript, "request, manager to card", manager.request,
               "4f544e31 01 01 0003 | 02800005 03 0001 00 | 02800008 0a 0004 00000000");
  showDatagram(manager, transcript, "answer, card to manager", manager.reply,
               "4f544e31 01 03 0003 00 0000 | 02800005 03 0001 07 | 02800008 0a 0004 0a140007");
  transcript.say();
  transcript.expect("slot", "7", valueText(slot));
  transcript.expect("ipAddress", "10.20.0.7", valueText(ipAddress));
  transcript.judged("so the slot is " + valueText(slot) + " and the card's address is " + valueText(ipAddress));
  return true;
}

// ----- 3: the whole scalar -----------------------------------------------------------------------------------------------

struct Expected {
  CardVariable id;
  const char* value;  // null: compared by expectLive
};

const Expected CARD_AS_PLANNED[] = {{CARD_TYPE, "LC-16"},
                                    {HARDWARE_VERSION, "2.1"},
                                    {SERIAL_NUMBER, "SN-0042-1187"},
                                    {LOADWARE_NAME, "lc16-4.7.2"},
                                    {SLOT, "7"},
                                    {PORT_COUNT, "16"},
                                    {MAC_ADDRESS, "02:00:5e:10:00:07"},
                                    {IP_ADDRESS, "10.20.0.7"},
                                    {MANUFACTURED, "2024-03-01 09:30:00 UTC"},
                                    {SYSTEM_TIME, nullptr},
                                    {UPTIME, nullptr},
                                    {CLOCK_DEVIATION, "-12"},
                                    {UNLOCKED, "true"},
                                    {LOCATION, ""},
                                    {FAN_DUTY, "60"},
                                    {EVENT_ADDRESS, "127.0.0.1"},
                                    {EVENT_PORT, nullptr},
                                    {TEMPERATURE_ALARM, "false"}};

void expectLive(Manager& manager, Transcript& transcript, TrelProperty& property) {
  const std::string got = valueText(property);
  if (property.id == SYSTEM_TIME) {
    long long seconds = 0;
    property.get(&seconds);
    transcript.expectThat(isNow(seconds), "systemTime", "the time of now", got);
  }
  if (property.id == UPTIME) transcript.expectThat(got != "0", "uptime", "more than 0", got);
  if (property.id == EVENT_PORT) transcript.expect("eventPort", std::to_string(manager.port()), got);
}

bool readWholeScalar(Manager& manager, Transcript& transcript) {
  transcript.section("The whole scalar");
  manager.card.setToDefault();  // what is shown has come with this answer
  if (manager.readObject(manager.card) == 0) return false;
  transcript.expect("variables", "18", std::to_string(manager.card.getProperties().size()));
  transcript.expect("bytes of the answer", "212", std::to_string(manager.reply.size()));
  transcript.judged(std::to_string(manager.card.getProperties().size()) +
                    " variables with one request; the answer has " + std::to_string(manager.reply.size()) + " bytes");
  transcript.say();
  for (const Expected& expected : CARD_AS_PLANNED) {
    TrelProperty& property = manager.variable(expected.id);
    const std::string got = valueText(property);
    if (expected.value != nullptr) transcript.expect(property.name, expected.value, got);
    if (expected.value == nullptr) expectLive(manager, transcript, property);
    transcript.judged(right(std::to_string(expected.id), 3) + "  " + left(property.name, 18) +
                      left(typeText(property.getType()), 13) + (got.empty() ? "\"\"" : got));
  }
  return true;
}

// ----- 4: the sensor table -----------------------------------------------------------------------------------------------

// Reads some rows of the table. An answer holds 1200 bytes at most: where that is too little the rows are read in halves.
// `steps` tells each attempt. False when the card did not answer, or refused for another reason.
bool readRows(Manager& manager, unsigned int first, unsigned int count, std::vector<std::string>& steps) {
  std::vector<TrelProperty*> wanted;
  for (unsigned int row = first; row < first + count; ++row) {
    for (TrelProperty* property : manager.sensors.getPropertiesOfRow(static_cast<int>(row)))
      wanted.push_back(property);
  }
  const int done = manager.readPropertys(wanted);
  steps.push_back("rows " + right(std::to_string(first), 2) + " to " + right(std::to_string(first + count - 1), 2) +
                  ", " + std::to_string(wanted.size()) + " variables: " + codeText(manager.lastResult()) +
                  ", an answer of " + std::to_string(manager.reply.size()) + " bytes");
  if (done != 0) return true;
  if (manager.lastResult().code != RESULT_TOO_LONG || count == 1) return false;
  const unsigned int half = count / 2;
  return readRows(manager, first, half, steps) && readRows(manager, first + half, count - half, steps);
}

const char* const STEPS_AS_PLANNED[] = {"rows  0 to 15, 80 variables: RESULT TOO LONG (11), an answer of 11 bytes",
                                        "rows  0 to  7, 40 variables: RESULT OK (0), an answer of 621 bytes",
                                        "rows  8 to 15, 40 variables: RESULT OK (0), an answer of 609 bytes"};

struct ExpectedSensor {
  const char* name;
  const char* value;
  const char* minimum;
  const char* maximum;
  const char* valid;
};

const ExpectedSensor SENSORS_AS_PLANNED[SENSOR_ROWS] = {
    {"Temperature air inlet [degC]", "24", "-5", "55", "true"},
    {"Temperature air outlet [degC]", "33", "-5", "70", "true"},
    {"Temperature processor [degC]", "41", "-5", "70", "true"},
    {"Temperature line drivers [degC]", "47", "-5", "85", "true"},
    {"Temperature power stage [degC]", "52", "-5", "95", "true"},
    {"Voltage backplane feed A [mV]", "48120", "40000", "57000", "true"},
    {"Voltage backplane feed B [mV]", "47980", "40000", "57000", "true"},
    {"Voltage rail 12 V [mV]", "12040", "11400", "12600", "true"},
    {"Voltage rail 5 V [mV]", "5010", "4750", "5250", "true"},
    {"Voltage rail 3.3 V [mV]", "3290", "3135", "3465", "true"},
    {"Voltage rail -5 V [mV]", "-5020", "-5250", "-4750", "true"},
    {"Current backplane feed A [mA]", "1310", "0", "4000", "true"},
    {"Current backplane feed B [mA]", "1290", "0", "4000", "true"},
    {"Speed fan 1, air inlet [rpm]", "6000", "1200", "12000", "true"},
    {"Speed fan 2, air outlet [rpm]", "6000", "1200", "12000", "true"},
    {"Temperature optical module [degC]", "0", "-5", "70", "false"}};

void showSensor(Manager& manager, Transcript& transcript, unsigned int row) {
  const ExpectedSensor& expected = SENSORS_AS_PLANNED[row];
  const auto expectColumn = [&](SensorColumn column, const char* value) {
    TrelProperty& property = manager.sensor(row, column);
    const std::string what = "sensor " + std::to_string(row) + " (" + expected.name + "), " + property.name;
    transcript.expect(what, value, valueText(property));
    return valueText(property);
  };
  std::string line = right(std::to_string(row), 3) + "  " + left(expectColumn(SENSOR_NAME, expected.name), 35);
  line += right(expectColumn(SENSOR_VALUE, expected.value), 9);
  line += right(expectColumn(SENSOR_MINIMUM, expected.minimum), 9);
  line += right(expectColumn(SENSOR_MAXIMUM, expected.maximum), 9);
  line += "  " + expectColumn(SENSOR_VALID, expected.valid);
  transcript.judged(line);
}

bool readSensorTable(Manager& manager, Transcript& transcript) {
  transcript.section("The sensor table, in parts: an answer holds 1200 bytes at most");
  std::vector<std::string> steps;
  if (!readRows(manager, 0, SENSOR_ROWS, steps)) return false;
  transcript.expect("parts of the table", "3", std::to_string(steps.size()));
  for (std::size_t i = 0; i < steps.size(); ++i) {
    transcript.expect("reading the table", i < 3 ? STEPS_AS_PLANNED[i] : "no more parts", steps[i]);
    transcript.judged(steps[i]);
  }
  transcript.say();
  transcript.say("row  " + left("sensor", 35) + "    value  minimum  maximum  valid");
  for (unsigned int row = 0; row < SENSOR_ROWS; ++row)
    showSensor(manager, transcript, row);
  return true;
}

// ----- 5: a value that lives ---------------------------------------------------------------------------------------------

bool readUptime(Manager& manager, unsigned int& uptime) {
  if (manager.readProperty(manager.variable(UPTIME)) == 0) return false;
  manager.variable(UPTIME).get(&uptime);
  return true;
}

bool readTwice(Manager& manager, Transcript& transcript) {
  const long long wait = BETWEEN_TWO_READS.count();
  transcript.section("A value that the card samples when it is asked: the same read twice");
  unsigned int first = 0;
  unsigned int second = 0;
  if (!readUptime(manager, first)) return false;
  std::this_thread::sleep_for(BETWEEN_TWO_READS);
  if (!readUptime(manager, second)) return false;

  transcript.expectThat(first > 0, "uptime, first reading", "more than 0 ms", std::to_string(first) + " ms");
  transcript.judged("uptime, first reading      " + right(std::to_string(first), 8) + " ms");
  const long long later = static_cast<long long>(second) - first;
  transcript.expectThat(later >= wait && later < wait + REPLY_TIMEOUT_MS, "uptime, second reading",
                        "the first one and at least " + std::to_string(wait) + " ms",
                        std::to_string(second) + " ms after " + std::to_string(first) + " ms");
  transcript.judged("uptime, " + std::to_string(wait) + " ms later       " + right(std::to_string(second), 8) +
                    " ms, that is " + std::to_string(later) + " more");
  return true;
}

// ----- 6: refusals -------------------------------------------------------------------------------------------------------

// A write that must be refused: why, with which code, and which of its variables the card names.
struct Refusal {
  const char* why;
  std::vector<TrelProperty*> variables;
  const char* code;
  int index;
};

bool showRefusal(Manager& manager, Transcript& transcript, const Refusal& refusal) {
  std::string request;
  for (TrelProperty* property : refusal.variables) {
    request += (request.empty() ? "" : ", ") + property->name + " = " + valueText(*property);
  }
  manager.writePropertys(refusal.variables);
  if (!answered(manager)) return false;

  const TrelUdpResult& result = manager.lastResult();
  const std::string expectedVariable = refusal.variables[static_cast<std::size_t>(refusal.index)]->name;
  transcript.expect(std::string(refusal.why) + ", result", refusal.code, codeText(result));
  transcript.expect(std::string(refusal.why) + ", index", std::to_string(refusal.index), std::to_string(result.index));
  transcript.expect(std::string(refusal.why) + ", variable", expectedVariable, result.variable);
  transcript.say(left(refusal.why, 18) + request);
  transcript.judged(left("", 18) + left(codeText(result), 26) + "error TLV index " + std::to_string(result.index) +
                    ": " + result.variable);
  return true;
}

bool tryRefusedWrites(Manager& manager, Transcript& transcript) {
  transcript.section("Writes that the card refuses, and the variable that it names");
  TrelProperty& location = manager.variable(LOCATION);
  TrelProperty& serialNumber = manager.variable(SERIAL_NUMBER);
  TrelProperty& fanDuty = manager.variable(FAN_DUTY);
  location.set(std::string("nowhere"));
  const unsigned char stopped = 0;
  fanDuty.set(stopped);
  // A property outside any object goes by its id as its OID. That is how to name a variable wrongly.
  TypeProperty<unsigned int> wideFanDuty(fanDuty.getOid(), "fanDuty as UINT32", IFC_CARD_VAR_READ_WRITE, 40u);
  TypeProperty<bool> heater(manager.card.getOID(99, 0), "heater", IFC_CARD_VAR_READ_WRITE, true);

  const Refusal refusals[] = {
      {"read-only", {&location, &serialNumber}, "RESULT READ ONLY (10)", 1},
      {"wrong value", {&location, &fanDuty}, "RESULT WRONG VALUE (9)", 1},
      {"wrong type", {&wideFanDuty, &location}, "RESULT WRONG TYPE (6)", 0},
      {"unknown variable", {&location, &manager.variable(EVENT_PORT), &heater}, "RESULT GENERAL ERROR (5)", 2}};
  for (const Refusal& refusal : refusals) {
    if (!showRefusal(manager, transcript, refusal)) return false;
  }

  if (manager.readPropertys({&location, &fanDuty}) == 0) return false;
  transcript.expect("location after the refused writes", "", valueText(location));
  transcript.expect("fanDuty after the refused writes", "60", valueText(fanDuty));
  transcript.say();
  transcript.judged("A refused write changes nothing: location is \"" + valueText(location) + "\", fanDuty " +
                    valueText(fanDuty));
  return true;
}

// ----- 7: a write that the card acts on ----------------------------------------------------------------------------------

// One request that writes both; the card's fans follow before the answer comes.
bool writeSettings(Manager& manager, Transcript& transcript, const std::string& where, unsigned char fanPercent) {
  TrelProperty& location = manager.variable(LOCATION);
  TrelProperty& fanDuty = manager.variable(FAN_DUTY);
  location.set(where);
  fanDuty.set(fanPercent);
  manager.writePropertys({&location, &fanDuty});
  if (!answered(manager)) return false;
  transcript.expect("writing location and fanDuty", "RESULT OK (0)", codeText(manager.lastResult()));
  transcript.judged("writes  location \"" + where + "\", fanDuty " + std::to_string(fanPercent) +
                    " %: " + codeText(manager.lastResult()));
  return true;
}

bool readFans(Manager& manager, Transcript& transcript, const std::string& expectedLocation,
              const std::string& expectedSpeed) {
  TrelProperty& location = manager.variable(LOCATION);
  TrelProperty& speed1 = manager.sensor(SENSOR_FAN_1, SENSOR_VALUE);
  TrelProperty& speed2 = manager.sensor(SENSOR_FAN_2, SENSOR_VALUE);
  for (TrelProperty* property : {&location, &speed1, &speed2})
    property->setToDefault();  // what is shown has come with this answer
  if (manager.readPropertys({&location, &speed1, &speed2}) == 0) return false;
  transcript.expect("location", expectedLocation, valueText(location));
  transcript.expect("speed of fan 1", expectedSpeed, valueText(speed1));
  transcript.expect("speed of fan 2", expectedSpeed, valueText(speed2));
  transcript.judged("reads   location \"" + valueText(location) + "\", fans at " + valueText(speed1) + " and " +
                    valueText(speed2) + " rpm");
  return true;
}

bool slowTheFans(Manager& manager, Transcript& transcript) {
  transcript.section("A write that the card acts on: its fans slow down");
  return readFans(manager, transcript, "", "6000") && writeSettings(manager, transcript, "rack 12, shelf 3", 15) &&
         readFans(manager, transcript, "rack 12, shelf 3", "1500");
}

// ----- 8: reports --------------------------------------------------------------------------------------------------------

// Waits until so many reports have come in all, or for too long.
bool waitForReport(Manager& manager, std::size_t number) {
  const Clock::time_point deadline = Clock::now() + REPORT_TIMEOUT;
  while (manager.reports.size() < number && Clock::now() < deadline) {
    manager.waitForDatagram(100);
    if (manager.handleDatagrams() < 0) return false;
  }
  return manager.reports.size() >= number;
}

void showReport(Transcript& transcript, const Report& report, const std::string& alarm, int atLeast, int atMost) {
  const std::string stamp = timeText(report.seconds) + " and " + std::to_string(report.microseconds) + " us";
  transcript.expectThat(isNow(report.seconds) && report.microseconds < 1000000, "time stamp of the report",
                        "the time of now", stamp);
  transcript.judged("report, stamped " + stamp);

  const auto change = [&](std::size_t i) {
    return i < report.changes.size() ? report.changes[i] : std::pair<std::string, std::string>("nothing", "");
  };
  const int degrees = std::atoi(change(0).second.c_str());
  transcript.expect("first variable of the report", "sensors[2].value", change(0).first);
  transcript.expectThat(degrees >= atLeast && degrees <= atMost, "temperature of the report",
                        std::to_string(atLeast) + " to " + std::to_string(atMost), change(0).second);
  transcript.judged("        " + left(change(0).first, 18) + change(0).second + " degC");
  transcript.expect("second variable of the report", "temperatureAlarm", change(1).first);
  transcript.expect("alarm of the report", alarm, change(1).second);
  transcript.expect("variables of the report", "2", std::to_string(report.changes.size()));
  transcript.judged("        " + left(change(1).first, 18) + change(1).second);
}

bool receiveAlarm(Manager& manager, Transcript& transcript) {
  transcript.section("A temperature alarm, reported unasked");
  transcript.say("The processor warms up. Its limit is 70 degC; 65 clears the alarm.");
  if (!waitForReport(manager, 1)) return false;
  showReport(transcript, manager.reports[0], "true", 71, 74);

  if (!writeSettings(manager, transcript, "", 60)) return false;
  if (!waitForReport(manager, 2)) return false;
  transcript.expect("reports in all", "2", std::to_string(manager.reports.size()));
  showReport(transcript, manager.reports[1], "false", 62, 65);
  return true;
}

// ----- the end -----------------------------------------------------------------------------------------------------------

void showCounters(Manager& manager, Transcript& transcript) {
  const TrelUdpCounters& counters = manager.counters();
  transcript.section("What went through the manager's socket");
  transcript.expect("requests", "18", std::to_string(counters.requestsSent));
  transcript.expect("answers", "18", std::to_string(counters.replies));
  transcript.expect("reports", "2", std::to_string(counters.handedOver));
  transcript.expect("dropped datagrams", "0", std::to_string(counters.droppedInAll()));
  transcript.judged(std::to_string(counters.requestsSent) + " requests, " + std::to_string(counters.replies) +
                    " answers, " + std::to_string(counters.handedOver) + " reports, " +
                    std::to_string(counters.droppedInAll()) + " dropped");
}

// The demo stopped. When the reason is that no reply came, waits a little more: a late card is not a missing one.
void explain(Manager& manager, Transcript& transcript) {
  const TrelUdpResult& result = manager.lastResult();
  if (result.outcome == TREL_UDP_OK) return transcript.giveUp("no report came in time");
  transcript.giveUp(result.error);
  if (result.outcome != TREL_UDP_NO_REPLY) return;

  const Clock::time_point deadline = Clock::now() + LATE_REPLY_TIMEOUT;
  while (manager.lateReply.empty() && Clock::now() < deadline) {
    manager.waitForDatagram(100);
    if (manager.handleDatagrams() < 0) break;
  }
  if (manager.lateReply.empty()) return transcript.giveUp("nothing came later either: is there a card at all?");
  const auto took = std::chrono::duration_cast<milliseconds>(manager.lateReplyCame - manager.requestSent).count();
  transcript.giveUp("the reply came late, " + std::to_string(took) + " ms after the request, and was dropped");
}

int run(const std::string& address, unsigned short port) {
  Manager manager;
  if (!manager.open() || !manager.setPeer(address, port)) {
    std::fprintf(stderr, "manager: %s\n", manager.errorText().c_str());
    return 2;
  }
  Transcript transcript;
  transcript.title("A manager at " + manager.address().str() + " and a line card at " + manager.peer().str());
  const bool complete = introduce(manager, transcript) && readByteByByte(manager, transcript) &&
                        readWholeScalar(manager, transcript) && readSensorTable(manager, transcript) &&
                        readTwice(manager, transcript) && tryRefusedWrites(manager, transcript) &&
                        slowTheFans(manager, transcript) && receiveAlarm(manager, transcript);
  if (complete) showCounters(manager, transcript);
  if (!complete) explain(manager, transcript);
  return transcript.end();
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::fprintf(stderr, "usage: manager ADDRESS PORT\n");
    return 2;
  }
  try {
    return run(arguments[1], static_cast<unsigned short>(std::atoi(arguments[2])));
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "manager: %s\n", exception.what());
    return 2;
  }
}
