// What a card and its manager have to agree on: the numbers that address each variable, and its type. Nothing else is
// shared: the two are separate programs, and each builds objects of its own from these numbers.
#ifndef EXAMPLES_CHASSIS_H
#define EXAMPLES_CHASSIS_H

#include <stdexcept>
#include <string>

#include "trel/trelObjects.h"

namespace chassis {

// The card's single variables: one scalar.
inline constexpr unsigned int CARD_GROUP = 5;
enum CardVariable : unsigned int {
  CARD_TYPE = 1,          // STRING
  HARDWARE_VERSION = 2,   // STRING
  SERIAL_NUMBER = 3,      // STRING
  LOADWARE_NAME = 4,      // STRING
  SLOT = 5,               // UINT8
  PORT_COUNT = 6,         // UINT8
  MAC_ADDRESS = 7,        // MAC_ADDRESS
  IP_ADDRESS = 8,         // IPv4ADDRESS
  MANUFACTURED = 9,       // UNIX_TIME, seconds since 1970
  SYSTEM_TIME = 10,       // UNIX_TIME, seconds since 1970, sampled
  UPTIME = 11,            // UINT32, milliseconds, sampled
  CLOCK_DEVIATION = 12,   // INT32, parts per billion against the reference
  UNLOCKED = 13,          // BOOLEAN
  LOCATION = 14,          // STRING, writable
  FAN_DUTY = 15,          // UINT8, writable, percent, 10 to 100
  EVENT_ADDRESS = 16,     // IPv4ADDRESS, writable: where the card reports to
  EVENT_PORT = 17,        // UINT16, writable
  TEMPERATURE_ALARM = 18  // BOOLEAN, reported when it changes
};

// The card's sensors: one table.
inline constexpr unsigned int SENSOR_TABLE = 3;
inline constexpr unsigned int SENSOR_ROWS = 16;
enum SensorColumn : unsigned int {
  SENSOR_NAME = 1,     // STRING
  SENSOR_VALUE = 2,    // INT32, in the unit that the name tells
  SENSOR_MINIMUM = 3,  // INT32
  SENSOR_MAXIMUM = 4,  // INT32
  SENSOR_VALID = 5     // BOOLEAN
};
// Rows with a meaning for the programs.
inline constexpr unsigned int SENSOR_PROCESSOR = 2;
inline constexpr unsigned int SENSOR_FAN_1 = 13;
inline constexpr unsigned int SENSOR_FAN_2 = 14;

// Gives a property to its object. addProp refuses an id that the row has already: a slip of whoever wrote the numbers,
// so it ends the program at its start instead of hiding a variable.
inline void add(TrelObject& object, TrelProperty* property, unsigned int row = 0) {
  if (object.addProp(property, row)) return;
  const std::string name = property->name;
  delete property;  // refused, so it is still ours
  throw std::logic_error(object.name + " does not take " + name);
}

// 0x7F000001 as "127.0.0.1".
inline std::string dotted(unsigned int address) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += std::to_string(address >> shift & 0xFFU) + (shift > 0 ? "." : "");
  }
  return text;
}

}  // namespace chassis

#endif
