#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/http_client.h"

using namespace tessaron;

TEST(HttpClient, TellsAddressesOfTheInternetFromOthers) {
  const struct {
    const char* address;
    bool isPrivate;
  } rows[] = {
      {"8.8.8.8", false},
      {"172.15.0.1", false},
      {"172.32.0.1", false},
      {"100.128.0.1", false},
      {"198.20.0.1", false},
      {"223.255.255.255", false},
      {"127.255.0.1", true},
      {"0.0.0.0", true},
      {"10.1.2.3", true},
      {"100.64.0.1", true},
      {"169.254.169.254", true},
      {"172.31.255.255", true},
      {"192.168.0.1", true},
      {"192.0.0.8", true},
      {"198.19.0.1", true},
      {"224.0.0.1", true},
      {"255.255.255.255", true},
      {"2a00:1450::1", false},
      {"::1", true},
      {"::", true},
      {"fe80::1", true},
      {"fd00::1", true},
      {"ff02::1", true},
      {"::ffff:10.0.0.1", true},
      {"::ffff:8.8.8.8", false},
      {"64:ff9b::127.0.0.1", true},
      {"64:ff9b::8.8.8.8", false},
      {"2002:c0a8:1::1", true},
      {"2002:808:808::1", false},
      {"64:ff9b:1::8.8.8.8", true},
      {"::127.0.0.1", true},
  };
  for (const auto& row : rows) {
    const bool isLong = std::string(row.address).find(':') != std::string::npos;
    std::vector<std::uint8_t> bytes(isLong ? 16 : 4);
    ASSERT_EQ(inet_pton(isLong ? AF_INET6 : AF_INET, row.address, bytes.data()), 1) << row.address;
    EXPECT_EQ(isPrivateAddress(bytes), row.isPrivate) << row.address;
  }
}

TEST(HttpClient, TakesHostsOfHttpAddressesAlone) {
  const struct {
    const char *address, *host;
  } rows[] = {
      {"HTTP://Shop.Example:80/a?b", "shop.example:80"},
      {"https://[::1]:8/", "[::1]:8"},
      {"https://shop.example#x", "shop.example"},
      {"http://a@b/", ""},
      {"http:\\\\a", ""},
      {"http://a\\@b/", "a"},
      {"ftp://a/", ""},
      {"file:///a", ""},
      {"", ""},
  };
  for (const auto& row : rows) EXPECT_EQ(hostOf(row.address), row.host) << row.address;
}

TEST(HttpClient, WaitsNoLongerThanItMay) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(listen(listener, 1), 0);  // connections are taken, and nobody answers
  ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);
  HttpLimits limits;
  limits.patience = std::chrono::seconds(1);
  const HttpAnswer answer =
      HttpClient(limits).get("http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/");
  close(listener);
  EXPECT_EQ(answer.body, "");
  EXPECT_EQ(answer.failure, "it took longer than 1 seconds");
}
