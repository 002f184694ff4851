// The socket: where it is bound, what kind it is, and what is said when the system refuses.

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "plainSocket.h"
#include "socketFaults.h"
#include "station.h"

namespace {

bool isReadable(int fd) {
  pollfd waiting = {fd, POLLIN, 0};
  return ::poll(&waiting, 1, 0) == 1;
}

int openDescriptors() {
  int count = 0;
  for (int fd = 0; fd < 1024; ++fd) {
    if (::fcntl(fd, F_GETFD) >= 0) ++count;
  }
  return count;
}

sockaddr_in boundTo(int fd) {
  sockaddr_in raw = {};
  socklen_t length = sizeof raw;
  EXPECT_EQ(::getsockname(fd, reinterpret_cast<sockaddr*>(&raw), &length), 0);
  return raw;
}

}  // namespace

TEST(UdpSocket, BindsToLoopbackAndAFreePortUnlessToldOtherwise) {
  TrelUdp udp;
  ASSERT_TRUE(udp.open());
  EXPECT_TRUE(udp.isOpen());
  EXPECT_EQ(udp.address().ip, 0x7F000001U);
  EXPECT_NE(udp.port(), 0);
  EXPECT_EQ(udp.address().port, udp.port());
  EXPECT_EQ(udp.address().str(), "127.0.0.1:" + std::to_string(udp.port()));
  EXPECT_EQ(ntohl(boundTo(udp.fd()).sin_addr.s_addr), 0x7F000001U);
  EXPECT_EQ(ntohs(boundTo(udp.fd()).sin_port), udp.port());
  EXPECT_EQ(udp.errorText(), "");
}

TEST(UdpSocket, BindsToTheAddressAndPortThatItIsTold) {
  TrelUdp udp;
  // Another program may take the port that has just become free.
  for (int attempt = 0; attempt < 10 && !udp.isOpen(); ++attempt) {
    const unsigned short wanted = PlainSocket("127.0.0.2").port();
    if (!udp.open("127.0.0.2", wanted)) continue;
    EXPECT_EQ(udp.port(), wanted);
    EXPECT_EQ(ntohl(boundTo(udp.fd()).sin_addr.s_addr), 0x7F000002U);
    EXPECT_EQ(ntohs(boundTo(udp.fd()).sin_port), wanted);
  }
  EXPECT_TRUE(udp.isOpen()) << udp.errorText();
}

TEST(UdpSocket, CanBeBoundToEveryAddress) {
  TrelUdp udp;
  ASSERT_TRUE(udp.open("0.0.0.0"));
  EXPECT_EQ(udp.address().ip, 0U);
  PlainSocket peer;
  peer.send("4F544E31 01 01 0001"_hex, udp.port());
  EXPECT_EQ(udp.handleDatagrams(), 1);
  EXPECT_EQ(peer.receive(), "4F544E31 01 03 0001 00 0000");
}

TEST(UdpSocket, IsIPv4UdpNonBlockingAndClosedOnExec) {
  TrelUdp udp;
  ASSERT_TRUE(udp.open());
  int type = 0;
  socklen_t length = sizeof type;
  ASSERT_EQ(::getsockopt(udp.fd(), SOL_SOCKET, SO_TYPE, &type, &length), 0);
  EXPECT_EQ(type, SOCK_DGRAM);
  EXPECT_EQ(boundTo(udp.fd()).sin_family, AF_INET);
  EXPECT_NE(::fcntl(udp.fd(), F_GETFL) & O_NONBLOCK, 0);
  EXPECT_NE(::fcntl(udp.fd(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(UdpSocket, ItsDescriptorIsReadableWhenADatagramWaits) {
  TrelUdp udp;
  ASSERT_TRUE(udp.open());
  EXPECT_FALSE(isReadable(udp.fd()));
  PlainSocket peer;
  peer.send("00"_hex, udp.port());
  EXPECT_TRUE(isReadable(udp.fd()));
  EXPECT_EQ(udp.handleDatagrams(), 1);
  EXPECT_FALSE(isReadable(udp.fd()));
}

TEST(UdpSocket, BeforeItIsOpenedThereIsNoDescriptorAndNothingIsReceived) {
  TrelUdp udp;
  EXPECT_FALSE(udp.isOpen());
  EXPECT_EQ(udp.fd(), -1);
  EXPECT_EQ(udp.port(), 0);
  EXPECT_EQ(udp.errorText(), "");
  EXPECT_EQ(udp.handleDatagrams(), -1);
  EXPECT_EQ(udp.errorText(), "receive: the socket is not open");
  EXPECT_FALSE(udp.waitForDatagram(60000));
  EXPECT_EQ(udp.errorText(), "wait: the socket is not open");
}

TEST(UdpSocket, ClosedItFreesItsDescriptorAndMayBeOpenedAgain) {
  TrelUdp udp;
  ASSERT_TRUE(udp.open());
  const int fd = udp.fd();
  udp.close();
  udp.close();
  EXPECT_FALSE(udp.isOpen());
  EXPECT_EQ(udp.fd(), -1);
  EXPECT_EQ(udp.port(), 0);
  EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
  EXPECT_TRUE(udp.open()) << udp.errorText();
  EXPECT_NE(udp.port(), 0);
}

TEST(UdpSocket, ItsEndClosesTheSocket) {
  int fd = -1;
  {
    TrelUdp udp;
    ASSERT_TRUE(udp.open());
    fd = udp.fd();
  }
  EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
}

TEST(UdpSocket, AFailureToOpenTellsWhatWhichAddressAndTheSystemsWords) {
  const PlainSocket taken;
  const std::string takenPort = std::to_string(taken.port());
  TrelUdp udp;
  EXPECT_FALSE(udp.open("127.0.0.1", taken.port()));
  EXPECT_EQ(udp.errorText(), "bind 127.0.0.1:" + takenPort + ": Address already in use");
  EXPECT_FALSE(udp.open("192.0.2.1", 4000));  // an address for documentation: no machine has it
  EXPECT_EQ(udp.errorText(), "bind 192.0.2.1:4000: Cannot assign requested address");
  failCalls(FaultyCall::BIND, EACCES);
  EXPECT_FALSE(udp.open("127.0.0.1", 80));
  EXPECT_EQ(udp.errorText(), "bind 127.0.0.1:80: Permission denied");
  failCalls(FaultyCall::SOCKET, EMFILE);
  EXPECT_FALSE(udp.open());
  EXPECT_EQ(udp.errorText(), "socket for 127.0.0.1:0: Too many open files");
  EXPECT_FALSE(udp.isOpen());
  EXPECT_EQ(udp.port(), 0);

  EXPECT_TRUE(udp.open()) << "a failure leaves it as it was";
}

TEST(UdpSocket, AFailureToOpenLeavesNoDescriptorBehind) {
  const PlainSocket taken;
  TrelUdp udp;
  const int before = openDescriptors();
  EXPECT_FALSE(udp.open("127.0.0.1", taken.port()));
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_TRUE(udp.open());
  EXPECT_EQ(openDescriptors(), before + 1);
}

TEST(UdpSocket, OpensNothingButDottedIPv4Addresses) {
  TrelUdp udp;
  for (const char* text : {"", "abc", "localhost", "::1", "127.0.0", "127.0.0.256", "127.0.0.01", " 127.0.0.1"}) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(udp.open(text));
    EXPECT_EQ(udp.errorText(), std::string("open \"") + text + "\": no dotted IPv4 address");
    EXPECT_FALSE(udp.isOpen());
  }
  EXPECT_FALSE(udp.open(std::string("127.0.0.1\0.evil", 15)));
}

TEST(UdpSocket, AnOpenOneIsNotOpenedAgain) {
  TrelUdp udp;
  ASSERT_TRUE(udp.open());
  const int fd = udp.fd();
  EXPECT_FALSE(udp.open("127.0.0.2"));
  EXPECT_EQ(udp.errorText(), "open 127.0.0.2: the socket is open already, at " + udp.address().str());
  EXPECT_EQ(udp.fd(), fd);
  EXPECT_EQ(udp.address().ip, 0x7F000001U);
}
