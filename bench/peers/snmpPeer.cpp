// Net-SNMP's agent library inside the process, SNMPv2c over UDP. The scalars are watched variables, the table is a table of
// its "tdata" helper with a handler as its own generator writes it. GET for numbers, GETBULK for the table (5 columns, 16
// repetitions), SET for writes, a trap for the report.
#include <net-snmp/net-snmp-config.h>
// Before the others.
#include <net-snmp/net-snmp-includes.h>
// Likewise.
#include <dlfcn.h>
#include <net-snmp/agent/agent_callbacks.h>
#include <net-snmp/agent/agent_trap.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <net-snmp/agent/snmp_vars.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "loopback.h"
#include "peer.h"
#include "support/bytes.h"
#include "udpCard.h"

namespace {

// What stands between a request and a variable.
enum class Control { NONE, VIEWS, VIEWS_AND_HOSTS };

Control control = Control::NONE;

}  // namespace

// Debian's build asks the TCP wrappers about each datagram, and they open two files. It is no matter of the protocol, so
// they are asked only by the card that is to show what a Debian system has.
extern "C" __attribute__((visibility("default"))) int hosts_ctl(char* daemon, char* name, char* address, char* user) {
  if (control != Control::VIEWS_AND_HOSTS) return 1;
  static const auto wrappers = reinterpret_cast<decltype(&hosts_ctl)>(dlsym(RTLD_NEXT, "hosts_ctl"));
  return wrappers(daemon, name, address, user);
}

extern "C" int vacm_in_view_callback(int majorID, int minorID, void* serverarg, void* clientarg);

namespace {

// Below the branch that is reserved for playing.
constexpr oid BASE[] = {1, 3, 6, 1, 4, 1, 8072, 9999, 9999};
constexpr oid TABLE = 2;
constexpr unsigned int NAME_COLUMN = 2;
constexpr unsigned int FIRST_VALUE_COLUMN = 3;
constexpr unsigned int FLAG_COLUMN = 6;

std::vector<oid> oidOf(std::vector<oid> tail) {
  tail.insert(tail.begin(), std::begin(BASE), std::end(BASE));
  return tail;
}

// --- the agent ---

struct Row {
  char name[16];
  long values[3];
  long valid;
  long undo;
};

struct Variables {
  char board[16] = "line-card-A1-07";
  long numbers[11] = {7, 7, 1004, 1005, 1006, 1007, 1008, 1009, 1, 1, 1};  // 2 bytes, 6 numbers, 3 flags
  Row rows[16] = {};
};

Variables variables;

void watch(oid variable, const char* name, void* value, std::size_t size, unsigned char type, int flags) {
  const std::vector<oid> where = oidOf({1, variable});
  netsnmp_register_watched_scalar(
      netsnmp_create_handler_registration(name, nullptr, where.data(), where.size(), HANDLER_CAN_RWRITE),
      netsnmp_create_watcher_info6(value, type == ASN_OCTET_STR ? 0 : size, type, flags, size, nullptr));
}

long* numberOf(Row& row, unsigned int column) {
  return column == FLAG_COLUMN ? &row.valid : &row.values[column - FIRST_VALUE_COLUMN];
}

// One variable of the table, in one step of what the agent does with a request.
void handleCell(int mode, netsnmp_agent_request_info* agent, netsnmp_request_info* request) {
  Row* const row = static_cast<Row*>(netsnmp_tdata_extract_entry(request));
  const netsnmp_table_request_info* const place = netsnmp_extract_table_info(request);
  if (row == nullptr || place == nullptr) {
    netsnmp_set_request_error(agent, request, SNMP_NOSUCHINSTANCE);
    return;
  }
  netsnmp_variable_list* const variable = request->requestvb;
  const bool isName = place->colnum == NAME_COLUMN;
  switch (mode) {
    case MODE_GET:
      if (isName) {
        snmp_set_var_typed_value(variable, ASN_OCTET_STR, row->name, 12);
      } else {
        snmp_set_var_typed_integer(variable, ASN_INTEGER, *numberOf(*row, place->colnum));
      }
      break;
    case MODE_SET_RESERVE1:
      if (isName) {
        netsnmp_set_request_error(agent, request, SNMP_ERR_NOTWRITABLE);
      } else if (const int refusal = netsnmp_check_vb_int(variable); refusal != SNMP_ERR_NOERROR) {
        netsnmp_set_request_error(agent, request, refusal);
      }
      break;
    case MODE_SET_ACTION:
      row->undo = *numberOf(*row, place->colnum);
      *numberOf(*row, place->colnum) = *variable->val.integer;
      break;
    case MODE_SET_UNDO:
      *numberOf(*row, place->colnum) = row->undo;
      break;
    default:
      break;
  }
}

int handleTable(netsnmp_mib_handler*, netsnmp_handler_registration*, netsnmp_agent_request_info* agent,
                netsnmp_request_info* requests) {
  for (netsnmp_request_info* request = requests; request != nullptr; request = request->next)
    if (request->processed == 0) handleCell(agent->mode, agent, request);
  return SNMP_ERR_NOERROR;
}

void registerTable() {
  const std::vector<oid> where = oidOf({TABLE});
  auto* const description = SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info);
  netsnmp_table_helper_add_index(description, ASN_INTEGER);
  description->min_column = NAME_COLUMN;
  description->max_column = FLAG_COLUMN;
  netsnmp_tdata* const table = netsnmp_tdata_create_table("sensors", 0);
  for (int number = 0; number < 16; ++number) {
    Row& content = variables.rows[number];
    std::snprintf(content.name, sizeof content.name, "temperature%c", 'A' + number);
    for (long& value : content.values)
      value = -number;
    content.valid = 1;
    netsnmp_tdata_row* const row = netsnmp_tdata_create_row();
    row->data = &content;
    const long index = number + 1;
    netsnmp_tdata_row_add_index(row, ASN_INTEGER, &index, sizeof index);
    netsnmp_tdata_add_row(table, row);
  }
  netsnmp_tdata_register(
      netsnmp_create_handler_registration("sensors", handleTable, where.data(), where.size(), HANDLER_CAN_RWRITE),
      table, description);
}

class Server : public bench::PeerServer {
 public:
  explicit Server(const bench::Place& place) : ticks_(place.work == bench::Work::N50 ? place.ticks : -1) {
    setenv("MIBS", "", 1);
    snmp_disable_log();
    for (const int option : {NETSNMP_DS_LIB_DONT_READ_CONFIGS, NETSNMP_DS_LIB_DONT_PERSIST_STATE,
                             NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD, NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE})
      netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, option, 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_DONT_LOG_TCPWRAPPERS_CONNECTS, 1);
    const std::string where = "127.0.0.1:" + std::to_string(place.port);
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_SMUX_SOCKET, where.c_str());  // another protocol of it
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_PORTS, ("udp:" + where).c_str());
    init_agent("bench");
    watch(1, "board", variables.board, sizeof variables.board, ASN_OCTET_STR, WATCHER_MAX_SIZE | WATCHER_SIZE_STRLEN);
    for (oid number = 0; number < 11; ++number)
      watch(number + 2, "number", &variables.numbers[number], sizeof(long), ASN_INTEGER, WATCHER_FIXED_SIZE);
    registerTable();
    for (std::string option : {"view card included .1.3.6.1.2.1.1", "view card included .1.3.6.1.4.1.8072.9999.9999",
                               "rwcommunity public 127.0.0.1 -V card"})
      netsnmp_config(option.data());
    init_snmp("bench");
    if (control == Control::NONE) {
      for (const int check :
           {SNMPD_CALLBACK_ACM_CHECK, SNMPD_CALLBACK_ACM_CHECK_INITIAL, SNMPD_CALLBACK_ACM_CHECK_SUBTREE})
        snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, check, vacm_in_view_callback, nullptr, 0);
    }
    init_master_agent();
  }

  void answer() override { ticks_ < 0 ? static_cast<void>(agent_check_and_process(1)) : report(); }

 private:
  void report() {
    char tick[16];
    sockaddr_in sender{};
    socklen_t length = sizeof sender;
    if (recvfrom(ticks_, tick, sizeof tick, 0, reinterpret_cast<sockaddr*>(&sender), &length) < 0) return;
    if (++value_ == 1) {
      std::string sink = "udp:127.0.0.1:" + std::to_string(ntohs(sender.sin_port));
      std::string community = "public";
      create_trap_session(sink.data(), 0, community.data(), SNMP_VERSION_2c, SNMP_MSG_TRAP2);
    }
    const oid trapOid[] = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
    const std::vector<oid> changed = oidOf({0, 1});
    netsnmp_variable_list* list = nullptr;
    snmp_varlist_add_variable(&list, trapOid, OID_LENGTH(trapOid), ASN_OBJECT_ID, changed.data(),
                              changed.size() * sizeof(oid));
    oid name[] = {1, 3, 6, 1, 4, 1, 8072, 9999, 9999, TABLE, 1, 0, 0};
    for (oid row = 0; row < 16; ++row) {
      for (oid column = 0; column < 3; ++column) {
        variables.rows[row].values[column] = value_;
        name[11] = FIRST_VALUE_COLUMN + column;
        name[12] = row + 1;
        snmp_varlist_add_variable(&list, name, OID_LENGTH(name), ASN_INTEGER, &variables.rows[row].values[column],
                                  sizeof(long));
      }
    }
    oid scalar[] = {1, 3, 6, 1, 4, 1, 8072, 9999, 9999, 1, 0, 0};
    for (oid number = 2; number < 4; ++number) {
      variables.numbers[number] = value_;
      scalar[10] = number + 2;
      snmp_varlist_add_variable(&list, scalar, OID_LENGTH(scalar), ASN_INTEGER, &variables.numbers[number],
                                sizeof(long));
    }
    send_v2trap(list);
    snmp_free_varbind(list);
  }

  int ticks_;
  long value_ = 0;
};

// --- the client: requests as bytes ---

// One element: its type, the length of what follows, and that.
std::string element(unsigned char type, const std::string& content) {
  std::string bytes(1, static_cast<char>(type));
  if (content.size() >= 128) {
    bytes += static_cast<char>(0x82);
    bytes += static_cast<char>(content.size() >> 8);
  }
  return bytes + static_cast<char>(content.size()) + content;
}

std::string integer(int value) {
  if (value >= -128 && value < 128) return element(ASN_INTEGER, std::string(1, static_cast<char>(value)));
  return element(ASN_INTEGER, {static_cast<char>(value >> 24), static_cast<char>(value >> 16),
                               static_cast<char>(value >> 8), static_cast<char>(value)});
}

// A variable below the base.
std::string name(const std::string& tail) { return element(ASN_OBJECT_ID, "2B06010401 BF08 CE0F CE0F"_hex + tail); }
std::string scalar(int number) { return name({1, static_cast<char>(number), 0}); }
std::string column(unsigned int number) { return name({TABLE, 1, static_cast<char>(number)}); }
std::string cell(unsigned int number, int row) {
  return name({TABLE, 1, static_cast<char>(number), static_cast<char>(row)});
}

std::string variable(const std::string& named, const std::string& value = element(ASN_NULL, "")) {
  return element(ASN_SEQUENCE | ASN_CONSTRUCTOR, named + value);
}

const std::string REQUEST_ID = "0204 11111111"_hex;  // the last two bytes are put in by the client

// The two numbers are error status and index, or what is not repeated and the repetitions.
std::string message(unsigned char type, int first, int second, const std::string& variablesOfIt) {
  const std::string list = element(ASN_SEQUENCE | ASN_CONSTRUCTOR, variablesOfIt);
  return element(ASN_SEQUENCE | ASN_CONSTRUCTOR,
                 integer(SNMP_VERSION_2c) + element(ASN_OCTET_STR, "public") +
                     element(type, REQUEST_ID + integer(first) + integer(second) + list));
}

std::string requestOf(bench::Work work) {
  std::string list;
  switch (work) {
    case bench::Work::R1:
      return message(SNMP_MSG_GET, 0, 0, variable(scalar(4)));
    case bench::Work::R12:
      for (int number = 1; number <= 12; ++number)
        list += variable(scalar(number));
      return message(SNMP_MSG_GET, 0, 0, list);
    case bench::Work::R80:
      for (unsigned int number = NAME_COLUMN; number <= FLAG_COLUMN; ++number)
        list += variable(column(number));
      return message(SNMP_MSG_GETBULK, 0, 16, list);
    case bench::Work::W1:
      return message(SNMP_MSG_SET, 0, 0, variable(scalar(4), integer(42)));
    case bench::Work::W12:
      for (int row = 1; row <= 4; ++row) {
        for (unsigned int number = FIRST_VALUE_COLUMN; number < FLAG_COLUMN; ++number)
          list += variable(cell(number, row), integer(row + static_cast<int>(number)));
      }
      return message(SNMP_MSG_SET, 0, 0, list);
    case bench::Work::N50:
      break;
  }
  return "";
}

// Whether it is a response without an error, of so many variables.
bool isGood(const std::string& bytes, int variablesOfIt) {
  std::size_t at = bytes.find("public");
  if (at == std::string::npos) return false;
  const auto number = [&](std::size_t where) { return static_cast<unsigned char>(bytes.at(where)); };
  const auto skipHead = [&] { at += number(at + 1) < 128 ? 2 : 2 + (number(at + 1) & 127); };
  const auto skip = [&] {
    const std::size_t start = at;
    skipHead();
    const std::size_t width = at - start;
    std::size_t length = number(start + 1);
    if (width > 2) length = 0;
    for (std::size_t i = start + 2; i < at; ++i)
      length = length << 8 | number(i);
    at += length;
  };
  at += 6;
  if (number(at) != SNMP_MSG_RESPONSE) return false;
  skipHead();
  skip();  // the request's id
  if (number(at + 2) != SNMP_ERR_NOERROR) return false;
  skip();
  skip();
  skipHead();
  for (int i = 0; i < variablesOfIt; ++i)
    skip();
  return at == bytes.size();
}

class Client : public bench::PeerClient {
 public:
  Client(unsigned short port, const std::string& request, int variablesOfIt)
      : client_(port, request,
                [variablesOfIt](const char* bytes, std::size_t length) {
                  return isGood(std::string(bytes, length), variablesOfIt);
                }),
        idAt_(request.find(REQUEST_ID) + 4) {}

  bool asks(int atATime) override { return client_.asks(idAt_, atATime); }

 private:
  bench::UdpClient client_;
  std::size_t idAt_;
};

// Takes traps at the address that it ticks from.
class TrapSink : public bench::PeerClient {
 public:
  explicit TrapSink(unsigned short ticks) : socket_(bench::loopbackSocket(SOCK_DGRAM)) {
    server_.sin_family = AF_INET;
    server_.sin_port = htons(ticks);
    server_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  }
  ~TrapSink() override { close(socket_); }

  bool asks(int) override {
    constexpr ssize_t LEAST = 50L * 15;  // fifty variables are not shorter
    char trap[4096];
    return sendto(socket_, "tick", 4, 0, reinterpret_cast<const sockaddr*>(&server_), sizeof server_) == 4 &&
           recv(socket_, trap, sizeof trap, 0) > LEAST;
  }

 private:
  int socket_;
  sockaddr_in server_{};
};

// In a process of its own.
template <Control CHOSEN>
std::unique_ptr<bench::PeerServer> serve(const bench::Place& place) {
  control = CHOSEN;
  return std::make_unique<Server>(place);
}

std::unique_ptr<bench::PeerClient> ask(const bench::Place& place) {
  if (place.work == bench::Work::N50) return std::make_unique<TrapSink>(bench::portOf(place.ticks));
  const int counts[] = {1, 12, 80, 1, 12};
  return std::make_unique<Client>(place.port, requestOf(place.work), counts[static_cast<int>(place.work)]);
}

int oneQuestion(bench::Work) { return 1; }

}  // namespace

bench::Peer bench::snmpPeer() { return {"Net-SNMP", true, oneQuestion, serve<Control::NONE>, ask}; }
bench::Peer bench::controlledSnmpPeer() {
  return {"Net-SNMP with access control", true, oneQuestion, serve<Control::VIEWS>, ask};
}
bench::Peer bench::debianSnmpPeer() {
  return {"Net-SNMP with access control, TCP wrappers", true, oneQuestion, serve<Control::VIEWS_AND_HOSTS>, ask};
}
