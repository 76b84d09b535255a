// The names of clients read from the requests libupnp serves.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "upnp_client_headers.h"

using dmsstack::parseClientHeaders;

namespace {

bool parse(const std::string& text, std::string* ua, std::string* info) {
  return parseClientHeaders(text.data(), text.size(), ua, info);
}

}  // namespace

TEST(UpnpClientHeaders, ReadsBothNamesWhateverTheirCase) {
  std::string ua, info;
  ASSERT_TRUE(
      parse("POST /ctl HTTP/1.1\r\nHOST: 10.0.0.1\r\nuser-agent:  TLX_HHP_1 UPnP/1.0 \r\n"
            "X-AV-CLIENT-INFO: av=5.0; cn=\"Maker\"\r\n\r\n<body/>",
            &ua, &info));
  EXPECT_EQ(ua, "TLX_HHP_1 UPnP/1.0");
  EXPECT_EQ(info, "av=5.0; cn=\"Maker\"");
}

TEST(UpnpClientHeaders, StopsAtTheEndOfTheHeaders) {
  std::string ua, info;
  ASSERT_TRUE(parse("GET /d.xml HTTP/1.1\r\n\r\nUser-Agent: in the body\r\n", &ua, &info));
  EXPECT_EQ(ua, "");
  EXPECT_EQ(info, "");
}

TEST(UpnpClientHeaders, BareLineFeedsAndACutOffLastLine) {
  std::string ua, info;
  ASSERT_TRUE(parse("SUBSCRIBE /evt HTTP/1.1\nUser-Agent: Cut", &ua, &info));
  EXPECT_EQ(ua, "Cut");
}

TEST(UpnpClientHeaders, SomethingElseThanARequestIsNotRead) {
  std::string ua = "kept", info;
  EXPECT_FALSE(parse("HTTP/1.1 200 OK\r\nUser-Agent: x\r\n\r\n", &ua, &info));
  EXPECT_FALSE(parse("", &ua, &info));
  EXPECT_FALSE(parseClientHeaders(nullptr, 10, &ua, &info));
  EXPECT_EQ(ua, "kept");
}

TEST(UpnpClientHeaders, AVeryLongValueIsCut) {
  std::string ua, info;
  ASSERT_TRUE(
      parse("GET / HTTP/1.1\r\nUser-Agent: " + std::string(5000, 'a') + "\r\n\r\n", &ua, &info));
  EXPECT_EQ(ua.size(), 256u);
}

namespace {
std::string gIp, gUa, gInfo;
int gCalls = 0;
void sink(const std::string& ip, const std::string& ua, const std::string& info) {
  ++gCalls;
  gIp = ip;
  gUa = ua;
  gInfo = info;
}
}  // namespace

TEST(UpnpClientHeaders, OnlyTheFirstReadOfAnAcceptedConnectionIsReported) {
  int pair[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  dmsstack::setUpnpClientHeaderSink(&sink);
  const std::string request = "GET / HTTP/1.1\r\nUser-Agent: A\r\n\r\n";
  gCalls = 0;
  // Not accepted by libupnp: nothing.
  dmsstack::noteUpnpRead(pair[0], request.data(), request.size());
  EXPECT_EQ(gCalls, 0);
  // A Unix socket has no IPv4 peer, so even an accepted one reports nothing;
  // the mark is still consumed by the first read.
  dmsstack::noteUpnpConnection(pair[0]);
  dmsstack::noteUpnpRead(pair[0], request.data(), request.size());
  EXPECT_EQ(gCalls, 0);
  dmsstack::noteUpnpConnection(-1);
  dmsstack::noteUpnpConnection(1 << 20);
  dmsstack::noteUpnpRead(1 << 20, request.data(), request.size());
  EXPECT_EQ(gCalls, 0);
  dmsstack::setUpnpClientHeaderSink(nullptr);
  close(pair[0]);
  close(pair[1]);
}

TEST(UpnpClientHeaders, AnAcceptedTcpConnectionReportsItsPeer) {
  int listener = socket(AF_INET, SOCK_STREAM, 0);
  ASSERT_GE(listener, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  socklen_t size = sizeof address;
  ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  int client = socket(AF_INET, SOCK_STREAM, 0);
  ASSERT_EQ(connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  int server = ::accept(listener, nullptr, nullptr);  // not libupnp's: not marked
  ASSERT_GE(server, 0);
  dmsstack::setUpnpClientHeaderSink(&sink);
  gCalls = 0;
  const std::string request = "POST /c HTTP/1.1\r\nX-AV-Client-Info: cn=\"Tv\"\r\n\r\n";
  dmsstack::noteUpnpRead(server, request.data(), request.size());
  EXPECT_EQ(gCalls, 0);
  dmsstack::noteUpnpConnection(server);
  dmsstack::noteUpnpRead(server, request.data(), request.size());
  ASSERT_EQ(gCalls, 1);
  EXPECT_EQ(gIp, "127.0.0.1");
  EXPECT_EQ(gUa, "");
  EXPECT_EQ(gInfo, "cn=\"Tv\"");
  dmsstack::noteUpnpRead(server, request.data(), request.size());
  EXPECT_EQ(gCalls, 1);
  dmsstack::setUpnpClientHeaderSink(nullptr);
  close(server);
  close(client);
  close(listener);
}
