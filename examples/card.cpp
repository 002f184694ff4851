// A line card: 18 variables and a table of 16 sensors, served over UDP on loopback.
//
//   card [--port N]        a free port unless told otherwise; the line "ready 127.0.0.1:40123" on standard output tells it
//
// Ends when its standard input ends (Ctrl-D), and so together with whoever started it.
//
//   Board                  stands for the hardware: clock, fans, thermometer
//   CardVariables          a scalar with both hooks: `update` samples, `updated` acts
//   Sensors                a table with one hook
//   LineCard               the engine with its transport: registers the objects, raises the alarm
//   serve                  the program's own loop
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <string>

#include "chassis.h"
#include "faults.h"
#include "trelUdp/trelUdp.h"

using namespace chassis;

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto TICK = std::chrono::milliseconds(100);

// ----- the hardware ----------------------------------------------------------------------------------------------------

// What drivers would do. The board was powered 12 seconds before this program started. Its processor runs at 41 degC with
// the fans at 60 %, and at 82 degC with the fans at 15 %.
class Board {
 public:
  unsigned int uptimeMs() const {
    return static_cast<unsigned int>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - started_).count());
  }
  int processorTemperature() const { return temperature_; }
  int fanSpeed() const { return 100 * fanDuty_; }
  void setFans(unsigned char percent) { fanDuty_ = percent; }

  // One tick: up to 4 degrees nearer to where the fans will hold it.
  void warmOrCool() {
    const int target = 95 - fanDuty_ * 9 / 10;
    if (temperature_ < target) temperature_ += target - temperature_ < 4 ? target - temperature_ : 4;
    if (temperature_ > target) temperature_ -= temperature_ - target < 4 ? temperature_ - target : 4;
  }

 private:
  Clock::time_point started_ = Clock::now() - std::chrono::seconds(12);
  int temperature_ = 41;
  unsigned char fanDuty_ = 60;
};

// ----- the single variables ----------------------------------------------------------------------------------------------

class CardVariables : public TrelScalar {
 public:
  CardVariables(Board& board, TrelUdp& transport, const Faults& faults)
      : TrelScalar("card", CARD_GROUP, false), board_(board), transport_(transport), faults_(faults) {
    addIdentity();
    addState();
    addSettings();
  }

  // Asked for each variable that a request names, before the answer is made: the moment to sample.
  bool update(TrelProperty* property, unsigned int row) override {
    if (faults_.withoutUpdate) return TrelScalar::update(property, row);
    switch (property->id) {
      case UPTIME:
        property->set(board_.uptimeMs());
        break;
      case SYSTEM_TIME:
        property->set(static_cast<long long>(std::time(nullptr)));
        break;
      default:
        break;
    }
    return true;
  }

  // Told of each variable that a request has written, when all its values are stored: the moment to act. False makes the
  // answer RESULT_CANNOT_EXEC; the value stays stored.
  bool updated(TrelProperty* property, unsigned int) override {
    switch (property->id) {
      case FAN_DUTY:
        return setFans(*property);
      case EVENT_ADDRESS:
      case EVENT_PORT:
        return reportToReceiver();
      default:
        return true;
    }
  }

 private:
  void addIdentity() {
    add(*this, new StringProperty(CARD_TYPE, "cardType", IFC_CARD_VAR_READ_ONLY, "LC-16"));
    add(*this, new StringProperty(HARDWARE_VERSION, "hardwareVersion", IFC_CARD_VAR_READ_ONLY, "2.1"));
    add(*this, new StringProperty(SERIAL_NUMBER, "serialNumber", IFC_CARD_VAR_READ_ONLY, "SN-0042-1187"));
    add(*this, new StringProperty(LOADWARE_NAME, "loadwareName", IFC_CARD_VAR_READ_ONLY, "lc16-4.7.2"));
    add(*this, new TypeProperty<unsigned char>(SLOT, "slot", IFC_CARD_VAR_READ_ONLY, 7));
    add(*this, new TypeProperty<unsigned char>(PORT_COUNT, "portCount", IFC_CARD_VAR_READ_ONLY, 16));
    const std::string mac = "02:00:5e:10:00:07";
    add(*this, faults_.wrongByte
                   ? new SpoiledMacAddress(MAC_ADDRESS, "macAddress", IFC_CARD_VAR_READ_ONLY, mac, false)
                   : new MacAddressProperty(MAC_ADDRESS, "macAddress", IFC_CARD_VAR_READ_ONLY, mac, false));
    // As a number: a default given as text would travel with its bytes reversed from a little-endian machine.
    add(*this, new IpAddressProperty(IP_ADDRESS, "ipAddress", IFC_CARD_VAR_READ_ONLY, 0x0A140007u, false));
    add(*this, new UnixTimeProperty(MANUFACTURED, "manufactured", IFC_CARD_VAR_READ_ONLY, 1709285400, false));
  }

  void addState() {
    add(*this, new UnixTimeProperty(SYSTEM_TIME, "systemTime", IFC_CARD_VAR_READ_ONLY, 0, false));
    add(*this, new TypeProperty<unsigned int>(UPTIME, "uptime", IFC_CARD_VAR_READ_ONLY, 0u));
    add(*this, new TypeProperty<int>(CLOCK_DEVIATION, "clockDeviation", IFC_CARD_VAR_READ_ONLY, -12));
    add(*this, new TypeProperty<bool>(UNLOCKED, "unlocked", IFC_CARD_VAR_READ_ONLY, true));
    // Eventable: each set() that changes it is reported with the next scan for events.
    const bool eventable = true;
    add(*this, new TypeProperty<bool>(TEMPERATURE_ALARM, "temperatureAlarm", IFC_CARD_VAR_READ_ONLY, false, eventable));
  }

  void addSettings() {
    add(*this, new StringProperty(LOCATION, "location", IFC_CARD_VAR_READ_WRITE, ""));
    // The check guards what a manager writes, not what this program sets. The property owns it.
    add(*this, new TypeProperty<unsigned char>(FAN_DUTY, "fanDuty", IFC_CARD_VAR_READ_WRITE, 60,
                                               new RangeCheckValue<unsigned char>(10, 100)));
    add(*this, new IpAddressProperty(EVENT_ADDRESS, "eventAddress", IFC_CARD_VAR_READ_WRITE, 0u, false));
    add(*this, new TypeProperty<unsigned short>(EVENT_PORT, "eventPort", IFC_CARD_VAR_READ_WRITE, 0));
  }

  bool setFans(TrelProperty& fanDuty) {
    unsigned char percent = 0;
    fanDuty.get(&percent);  // the getter of its type; another one would be refused
    board_.setFans(percent);
    return true;
  }

  // Address and port come in one request, and both are stored when the first of them is told of.
  bool reportToReceiver() {
    unsigned int address = 0;
    unsigned short port = 0;
    getProp(EVENT_ADDRESS, 0)->get(&address);
    getProp(EVENT_PORT, 0)->get(&port);
    return transport_.setEventReceiver(dotted(address), port);
  }

  Board& board_;
  TrelUdp& transport_;
  const Faults& faults_;
};

// ----- the sensors ---------------------------------------------------------------------------------------------------------

struct SensorType {
  const char* name;
  int value;
  int minimum;
  int maximum;
  bool valid;
};

// One for each row. Where the value is 0 it is sampled; the last sensor is not fitted.
const SensorType SENSOR_TYPES[SENSOR_ROWS] = {{"Temperature air inlet [degC]", 24, -5, 55, true},
                                              {"Temperature air outlet [degC]", 33, -5, 70, true},
                                              {"Temperature processor [degC]", 0, -5, 70, true},
                                              {"Temperature line drivers [degC]", 47, -5, 85, true},
                                              {"Temperature power stage [degC]", 52, -5, 95, true},
                                              {"Voltage backplane feed A [mV]", 48120, 40000, 57000, true},
                                              {"Voltage backplane feed B [mV]", 47980, 40000, 57000, true},
                                              {"Voltage rail 12 V [mV]", 12040, 11400, 12600, true},
                                              {"Voltage rail 5 V [mV]", 5010, 4750, 5250, true},
                                              {"Voltage rail 3.3 V [mV]", 3290, 3135, 3465, true},
                                              {"Voltage rail -5 V [mV]", -5020, -5250, -4750, true},
                                              {"Current backplane feed A [mA]", 1310, 0, 4000, true},
                                              {"Current backplane feed B [mA]", 1290, 0, 4000, true},
                                              {"Speed fan 1, air inlet [rpm]", 0, 1200, 12000, true},
                                              {"Speed fan 2, air outlet [rpm]", 0, 1200, 12000, true},
                                              {"Temperature optical module [degC]", 0, -5, 70, false}};

class Sensors : public TrelTable {
 public:
  Sensors(Board& board, const Faults& faults)
      : TrelTable("sensors", SENSOR_TABLE, false, SENSOR_ROWS), board_(board), faults_(faults) {
    for (unsigned int row = 0; row < SENSOR_ROWS; ++row)
      addSensor(row, SENSOR_TYPES[row]);
  }

  bool update(TrelProperty* property, unsigned int row) override {
    if (faults_.withoutUpdate) return TrelTable::update(property, row);
    if (property->id == SENSOR_VALUE) sample(*property, row);
    return true;
  }

 private:
  void addSensor(unsigned int row, const SensorType& type) {
    add(*this, new StringProperty(SENSOR_NAME, "name", IFC_CARD_VAR_READ_ONLY, type.name), row);
    add(*this, new TypeProperty<int>(SENSOR_VALUE, "value", IFC_CARD_VAR_READ_ONLY, type.value), row);
    add(*this, new TypeProperty<int>(SENSOR_MINIMUM, "minimum", IFC_CARD_VAR_READ_ONLY, type.minimum), row);
    add(*this, new TypeProperty<int>(SENSOR_MAXIMUM, "maximum", IFC_CARD_VAR_READ_ONLY, type.maximum), row);
    add(*this, new TypeProperty<bool>(SENSOR_VALID, "valid", IFC_CARD_VAR_READ_ONLY, type.valid), row);
  }

  void sample(TrelProperty& value, unsigned int row) {
    if (row == SENSOR_PROCESSOR) value.set(board_.processorTemperature());
    if (row == SENSOR_FAN_1 || row == SENSOR_FAN_2) value.set(board_.fanSpeed());
  }

  Board& board_;
  const Faults& faults_;
};

// ----- the card ------------------------------------------------------------------------------------------------------------

class LineCard : public TrelUdp {
 public:
  LineCard(Board& board, const Faults& faults)
      : board_(board), variables_(board, *this, faults), sensors_(board, faults) {
    registerObject(&variables_);
    registerObject(&sensors_);
    initEvents();
    eventHandler();  // the first scan of a process collects only; from now on each one also sends
  }

  // Watches the processor, and reports when the alarm changes. 70 raises it, 65 clears it: no flutter between.
  void tick() {
    board_.warmOrCool();
    const int degrees = board_.processorTemperature();
    if (degrees > 70 && !alarm_) changeAlarm(true, degrees);
    if (degrees <= 65 && alarm_) changeAlarm(false, degrees);
    eventHandler();
  }

 private:
  // One autonomous message: the temperature, put into it by hand because the column is not eventable (each sample of it
  // would be reported), and the alarm, which eventHandler adds because its value has changed.
  void changeAlarm(bool raised, int degrees) {
    alarm_ = raised;
    TrelProperty* temperature = sensors_.getProp(SENSOR_VALUE, SENSOR_PROCESSOR);
    temperature->set(degrees);
    addToAmi(temperature, false);
    variables_.getProp(TEMPERATURE_ALARM, 0)->set(raised);
  }

  Board& board_;
  CardVariables variables_;
  Sensors sensors_;
  bool alarm_ = false;
};

// ----- the program -----------------------------------------------------------------------------------------------------------

// Waits for a datagram, at most so long. False when the standard input has ended.
bool waitForWork(const TrelUdp& card, Clock::duration atMost) {
  const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(atMost).count();
  pollfd watched[] = {{STDIN_FILENO, POLLIN, 0}, {card.fd(), POLLIN, 0}};
  if (poll(watched, 2, milliseconds > 0 ? static_cast<int>(milliseconds) : 0) <= 0) return true;
  char ignored[256];
  return watched[0].revents == 0 || read(STDIN_FILENO, ignored, sizeof ignored) > 0;
}

// False when the standard input has ended meanwhile.
bool beLate() {
  pollfd input = {STDIN_FILENO, POLLIN, 0};
  return poll(&input, 1, LATE_BY_MS) == 0;
}

int serve(LineCard& card, const Faults& faults) {
  Clock::time_point nextTick = Clock::now() + TICK;
  while (waitForWork(card, nextTick - Clock::now())) {
    if (faults.late && card.waitForDatagram(0) && !beLate()) return 0;
    // A bounded number of datagrams a turn, so that a flood cannot hold back the ticks.
    if (card.handleDatagrams() < 0) {
      std::fprintf(stderr, "card: %s\n", card.errorText().c_str());
      return 1;
    }
    if (Clock::now() < nextTick) continue;
    card.tick();
    nextTick = Clock::now() + TICK;
  }
  return 0;
}

bool readArguments(int count, char** arguments, unsigned short& port, Faults& faults) {
  for (int i = 1; i + 1 < count; i += 2) {
    const std::string option = arguments[i];
    const std::string value = arguments[i + 1];
    if (option == "--port") {
      port = static_cast<unsigned short>(std::atoi(value.c_str()));
    } else if (option != "--break" || !faults.choose(value)) {
      return false;
    }
  }
  return count % 2 == 1;
}

int run(int count, char** arguments) {
  unsigned short port = 0;
  Faults faults;
  if (!readArguments(count, arguments, port, faults)) {
    std::fprintf(stderr, "usage: card [--port N] [--break card-without-update | wrong-byte | late-card]\n");
    return 2;
  }

  Board board;
  LineCard card(board, faults);
  if (!card.open("127.0.0.1", port)) {
    std::fprintf(stderr, "card: %s\n", card.errorText().c_str());
    return 1;
  }
  std::printf("ready %s\n", card.address().str().c_str());
  std::fflush(stdout);
  return serve(card, faults);
}

}  // namespace

int main(int count, char** arguments) {
  try {
    return run(count, arguments);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "card: %s\n", exception.what());
    return 1;
  }
}
