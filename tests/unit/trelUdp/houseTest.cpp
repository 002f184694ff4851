// What the transport stands on.

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <string>

#include "trelUdp/trelUdp.h"

namespace {

// The quoted includes of a file of the transport.
std::set<std::string> includesOf(const std::string& file) {
  std::ifstream source(std::string(TREL_UDP_SOURCES) + "/" + file);
  EXPECT_TRUE(source.is_open()) << file;
  std::set<std::string> found;
  const std::regex include("^#include \"(.*)\"$");
  std::smatch match;
  for (std::string line; std::getline(source, line);) {
    if (std::regex_match(line, match, include)) found.insert(match[1]);
  }
  return found;
}

}  // namespace

TEST(UdpHouse, StandsOnThePublicHeadersAndItsOwnAlone) {
  EXPECT_EQ(includesOf("trelUdp.h"), std::set<std::string>{"trel/trelProtocolBase.h"});
  EXPECT_EQ(includesOf("trelUdp.cpp"), (std::set<std::string>{"trelUdp/trelUdp.h", "trelUdp/trelUdpGuard.h",
                                                              "trelUdp/trelUdpHeader.h", "trelUdp/trelUdpTrace.h"}));
  EXPECT_EQ(includesOf("trelUdpGuard.h"), std::set<std::string>{"trelUdp/trelUdp.h"});
  EXPECT_EQ(includesOf("trelUdpGuard.cpp"),
            (std::set<std::string>{"trelUdp/trelUdpGuard.h", "trelUdp/trelUdpHeader.h"}));
  EXPECT_EQ(includesOf("trelUdpHeader.h"), std::set<std::string>{"trel/trelmsg.h"});
  EXPECT_EQ(includesOf("trelUdpTrace.h"), std::set<std::string>{});
}

TEST(UdpHouse, IsAnEngineOfItsOwnAndIsNotCopied) {
  static_assert(std::is_base_of_v<TrelProtocolBase, TrelUdp>);
  static_assert(!std::is_copy_constructible_v<TrelUdp> && !std::is_copy_assignable_v<TrelUdp>);
  EXPECT_EQ(TREL_UDP_MAX_PEERS, 5U);
  EXPECT_EQ(TREL_UDP_MAX_KEPT, 64U);
  EXPECT_EQ(TREL_UDP_RECEIVE_LEN, 65535U);
  EXPECT_EQ(TREL_UDP_AMI_LIMIT, 1200U);
  EXPECT_EQ(TREL_UDP_MIN_AMI_LIMIT, 31U);
  EXPECT_EQ(TREL_UDP_MAX_DATAGRAM_LEN, 65507U);
}
