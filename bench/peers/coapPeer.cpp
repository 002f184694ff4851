// libcoap with CBOR written by hand. GET and PUT of one number, of the scalars as one array, of the table as an array of
// rows; a report is a notification to an observer.
#include <coap3/coap.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "loopback.h"
#include "peer.h"
#include "support/bytes.h"
#include "udpCard.h"

namespace {

constexpr int CBOR_FORMAT = 60;

struct Row {
  std::string name;
  int values[3];
  bool valid;
};

// The card's variables, and what of them has changed.
struct Variables {
  std::string board = "line-card-A1-07";
  unsigned int bytes[2] = {7, 7};
  unsigned int numbers[6] = {1004, 1005, 1006, 1007, 1008, 1009};
  bool flags[3] = {true, true, true};
  Row rows[16];

  Variables() {
    for (int row = 0; row < 16; ++row)
      rows[row] = {"temperature" + std::string(1, static_cast<char>('A' + row)), {-row, -row, -row}, true};
  }
};

Variables variables;

// Writes CBOR: a head says what follows and how large it is, in one, two, three or five bytes.
class CborWriter {
 public:
  void head(unsigned int kind, unsigned int value) {
    if (value < 24) {
      put(kind << 5 | value);
    } else if (value < 0x100) {
      put(kind << 5 | 24);
      put(value);
    } else if (value < 0x10000) {
      put(kind << 5 | 25);
      put(value >> 8);
      put(value);
    } else {
      put(kind << 5 | 26);
      put(value >> 24);
      put(value >> 16);
      put(value >> 8);
      put(value);
    }
  }
  void array(unsigned int elements) { head(4, elements); }
  void number(unsigned int value) { head(0, value); }
  void number(int value) {
    if (value < 0) {
      head(1, static_cast<unsigned int>(-(value + 1)));
    } else {
      head(0, static_cast<unsigned int>(value));
    }
  }
  void flag(bool value) { put(value ? 0xF5 : 0xF4); }
  void text(const std::string& value) {
    head(3, static_cast<unsigned int>(value.size()));
    std::memcpy(bytes + size, value.data(), value.size());
    size += value.size();
  }

  unsigned char bytes[1100];
  std::size_t size = 0;

 private:
  void put(unsigned int byte) { bytes[size++] = static_cast<unsigned char>(byte); }
};

// Reads it back; what is not there is 0.
class CborReader {
 public:
  CborReader(const unsigned char* bytes, std::size_t size) : at_(bytes), left_(size) {}

  unsigned int head(unsigned int& kind) {
    const unsigned int first = take();
    kind = first >> 5;
    unsigned int value = first & 31;
    if (value < 24) return value;
    unsigned int width = 1U << (value - 24);
    value = 0;
    while (width-- > 0)
      value = value << 8 | take();
    return value;
  }
  int number() {
    unsigned int kind = 0;
    const auto value = static_cast<int>(head(kind));
    return kind == 1 ? -1 - value : value;
  }

 private:
  unsigned int take() {
    if (left_ == 0) return 0;
    --left_;
    return *at_++;
  }

  const unsigned char* at_;
  std::size_t left_;
};

void answerWith(coap_pdu_t* response, const CborWriter& body) {
  unsigned char format[2];
  coap_pdu_set_code(response, COAP_RESPONSE_CODE_CONTENT);
  coap_add_option(response, COAP_OPTION_CONTENT_FORMAT, coap_encode_var_safe(format, sizeof format, CBOR_FORMAT),
                  format);
  coap_add_data(response, body.size, body.bytes);
}

CborReader bodyOf(const coap_pdu_t* request) {
  std::size_t size = 0;
  const unsigned char* bytes = nullptr;
  coap_get_data(request, &size, &bytes);
  return {bytes, size};
}

void getNumber(coap_resource_t*, coap_session_t*, const coap_pdu_t*, const coap_string_t*, coap_pdu_t* response) {
  CborWriter body;
  body.number(variables.numbers[0]);
  answerWith(response, body);
}

void putNumber(coap_resource_t*, coap_session_t*, const coap_pdu_t* request, const coap_string_t*,
               coap_pdu_t* response) {
  variables.numbers[0] = static_cast<unsigned int>(bodyOf(request).number());
  coap_pdu_set_code(response, COAP_RESPONSE_CODE_CHANGED);
}

void getScalars(coap_resource_t*, coap_session_t*, const coap_pdu_t*, const coap_string_t*, coap_pdu_t* response) {
  CborWriter body;
  body.array(12);
  body.text(variables.board);
  for (const unsigned int number : variables.bytes)
    body.number(number);
  for (const unsigned int number : variables.numbers)
    body.number(number);
  for (const bool flag : variables.flags)
    body.flag(flag);
  answerWith(response, body);
}

void getTable(coap_resource_t*, coap_session_t*, const coap_pdu_t*, const coap_string_t*, coap_pdu_t* response) {
  CborWriter body;
  body.array(16);
  for (const Row& row : variables.rows) {
    body.array(5);
    body.text(row.name);
    for (const int value : row.values)
      body.number(value);
    body.flag(row.valid);
  }
  answerWith(response, body);
}

// The numbers of the first four rows.
void putTable(coap_resource_t*, coap_session_t*, const coap_pdu_t* request, const coap_string_t*,
              coap_pdu_t* response) {
  CborReader body = bodyOf(request);
  unsigned int kind = 0;
  body.head(kind);
  for (int row = 0; row < 4; ++row) {
    for (int& value : variables.rows[row].values)
      value = body.number();
  }
  coap_pdu_set_code(response, COAP_RESPONSE_CODE_CHANGED);
}

// Fifty numbers as pairs of name and value: the table's, and two scalars.
void getChanges(coap_resource_t*, coap_session_t*, const coap_pdu_t*, const coap_string_t*, coap_pdu_t* response) {
  CborWriter body;
  body.head(5, 50);
  unsigned int name = 0;
  for (const Row& row : variables.rows) {
    for (const int value : row.values) {
      body.number(++name);
      body.number(value);
    }
  }
  for (int scalar = 0; scalar < 2; ++scalar) {
    body.number(++name);
    body.number(variables.numbers[scalar]);
  }
  answerWith(response, body);
}

class Server : public bench::PeerServer {
 public:
  explicit Server(const bench::Place& place) : ticks_(place.work == bench::Work::N50 ? place.ticks : -1) {
    coap_startup();
    context_ = coap_new_context(nullptr);
    coap_address_t address;
    coap_address_init(&address);
    address.addr.sin.sin_family = AF_INET;
    address.addr.sin.sin_port = htons(place.port);
    address.addr.sin.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.size = sizeof address.addr.sin;
    coap_new_endpoint(context_, &address, COAP_PROTO_UDP);
    add("number", getNumber, putNumber);
    add("scalars", getScalars, nullptr);
    add("table", getTable, putTable);
    changes_ = add("changes", getChanges, nullptr);
    coap_resource_set_get_observable(changes_, 1);
  }
  ~Server() override {
    coap_free_context(context_);
    coap_cleanup();
  }

  void answer() override {
    if (ticks_ < 0) {
      coap_io_process(context_, COAP_IO_WAIT);
      return;
    }
    while (!isTick())
      coap_io_process(context_, COAP_IO_NO_WAIT);
    ++value_;
    for (Row& row : variables.rows) {
      for (int& value : row.values)
        value = value_;
    }
    for (int scalar = 0; scalar < 2; ++scalar)
      variables.numbers[scalar] = static_cast<unsigned int>(value_);
    coap_resource_notify_observers(changes_, nullptr);
    coap_io_process(context_, COAP_IO_NO_WAIT);
  }

 private:
  coap_resource_t* add(const char* path, coap_method_handler_t get, coap_method_handler_t put) {
    coap_resource_t* const resource = coap_resource_init(coap_make_str_const(path), 0);
    coap_register_handler(resource, COAP_REQUEST_GET, get);
    if (put != nullptr) coap_register_handler(resource, COAP_REQUEST_PUT, put);
    coap_add_resource(context_, resource);
    return resource;
  }

  // Waits until there is a tick, which it takes, or something for the library.
  bool isTick() const {
    pollfd waiting[2] = {{ticks_, POLLIN, 0}, {coap_context_get_coap_fd(context_), POLLIN, 0}};
    char tick[16];
    return poll(waiting, 2, 1000) > 0 && (waiting[0].revents & POLLIN) != 0 && recv(ticks_, tick, sizeof tick, 0) > 0;
  }

  int ticks_;
  coap_context_t* context_ = nullptr;
  coap_resource_t* changes_ = nullptr;
  int value_ = 0;
};

constexpr std::size_t COAP_ID_AT = 2;

class Client : public bench::PeerClient {
 public:
  // `code` is that of a good answer.
  Client(unsigned short port, const std::string& request, unsigned char code, std::size_t least)
      : client_(port, request, [code, least](const char* bytes, std::size_t length) {
          return length >= least && static_cast<unsigned char>(bytes[1]) == code;
        }) {}

  bool asks(int atATime) override { return client_.asks(COAP_ID_AT, atATime); }

 private:
  bench::UdpClient client_;
};

class Observer : public bench::PeerClient {
 public:
  explicit Observer(const bench::Place& place)
      : socket_(bench::connectedSocket(SOCK_DGRAM, place.port)),
        ticks_(bench::connectedSocket(SOCK_DGRAM, bench::portOf(place.ticks))) {
    const std::string observe = "41 01 FF00 01 | 60 57 6368616E676573"_hex;  // Observe: register, Uri-Path: changes
    if (send(socket_, observe.data(), observe.size(), 0) > 0) takesReport();
  }
  ~Observer() override {
    close(socket_);
    close(ticks_);
  }

  bool asks(int) override { return send(ticks_, "tick", 4, 0) == 4 && takesReport(); }

 private:
  // Every fifth or so wants to be acknowledged.
  bool takesReport() {
    char report[1200];
    const ssize_t received = recv(socket_, report, sizeof report, 0);
    if (received < 100) return false;
    if ((report[0] & 0x30) != 0) return true;
    const char acknowledgement[4] = {0x60, 0, report[2], report[3]};
    return send(socket_, acknowledgement, sizeof acknowledgement, 0) == sizeof acknowledgement;
  }

  int socket_;
  int ticks_;
};

std::unique_ptr<bench::PeerServer> serve(const bench::Place& place) { return std::make_unique<Server>(place); }

// Confirmable requests with a token of one byte: message id, Uri-Path, Content-Format CBOR, body.
std::unique_ptr<bench::PeerClient> ask(const bench::Place& place) {
  constexpr unsigned char CHANGED = 0x44;
  constexpr unsigned char CONTENT = 0x45;
  switch (place.work) {
    case bench::Work::R1:
      return std::make_unique<Client>(place.port, "41 01 0000 01 | B6 6E756D626572"_hex, CONTENT, 9);
    case bench::Work::R12:
      return std::make_unique<Client>(place.port, "41 01 0000 01 | B7 7363616C617273"_hex, CONTENT, 40);
    case bench::Work::R80:
      return std::make_unique<Client>(place.port, "41 01 0000 01 | B5 7461626C65"_hex, CONTENT, 290);
    case bench::Work::W1:
      return std::make_unique<Client>(place.port, "41 03 0000 01 | B6 6E756D626572 | 11 3C FF 18 2A"_hex, CHANGED, 5);
    case bench::Work::W12:
      return std::make_unique<Client>(
          place.port, "41 03 0000 01 | B5 7461626C65 | 11 3C FF 8C 01 02 38 FC 04 05 38 F9 07 08 38 F6 0A 0B 38 F3"_hex,
          CHANGED, 5);
    case bench::Work::N50:
      break;
  }
  return std::make_unique<Observer>(place);
}

}  // namespace

bench::Peer bench::coapPeer() {
  return {"libcoap and CBOR", true, [](Work) { return 1; }, serve, ask};
}
