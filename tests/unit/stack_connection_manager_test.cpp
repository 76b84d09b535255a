// ConnectionManager:1 answered by the stack; bodies compared whole.
#include <gtest/gtest.h>

#include "connection_manager.h"
#include "protocol_info.h"

using dmsstack::answerConnectionManager;
using dmsstack::CmAnswer;
using dmsstack::StateTable;

namespace {

const std::string kOpen = "xmlns:u=\"urn:schemas-upnp-org:service:ConnectionManager:1\">";

}  // namespace

TEST(ConnectionManager, ProtocolInfoGivesTheCurrentSourceAndAnEmptySink) {
  StateTable table;
  CmAnswer answer = answerConnectionManager("GetProtocolInfo", {}, table);
  EXPECT_EQ(answer.errorCode, 0);
  EXPECT_EQ(answer.body, "<u:GetProtocolInfoResponse " + kOpen + "<Source>" +
                             dmsstack::kSourceProtocolInfo +
                             "</Source><Sink></Sink></u:GetProtocolInfoResponse>");
  table.set("urn:schemas-upnp-org:service:ConnectionManager", "SourceProtocolInfo",
            "http-get:*:image/jpeg:*", nullptr, nullptr);
  answer = answerConnectionManager("GetProtocolInfo", {}, table);
  EXPECT_EQ(answer.body, "<u:GetProtocolInfoResponse " + kOpen +
                             "<Source>http-get:*:image/jpeg:*</Source><Sink></Sink>"
                             "</u:GetProtocolInfoResponse>");
}

TEST(ConnectionManager, SourceListHoldsTheDlnaProfilesThenThePlainTypes) {
  const std::string list = dmsstack::kSourceProtocolInfo;
  std::vector<std::string> entries;
  size_t pos = 0;
  for (size_t comma; (comma = list.find(',', pos)) != std::string::npos; pos = comma + 1)
    entries.push_back(list.substr(pos, comma - pos));
  entries.push_back(list.substr(pos));
  ASSERT_EQ(entries.size(), 21u);
  EXPECT_EQ(entries[0],
            "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;"
            "DLNA.ORG_FLAGS=00f00000000000000000000000000000");
  EXPECT_EQ(entries[5],
            "http-get:*:audio/vnd.dlna.adts:DLNA.ORG_PN=AAC_ADTS_320;DLNA.ORG_OP=01;"
            "DLNA.ORG_FLAGS=01700000000000000000000000000000");
  EXPECT_EQ(entries[8],
            "http-get:*:video/mp4:DLNA.ORG_PN=AVC_MP4_BL_L3_SD_ACC;DLNA.ORG_OP=01;"
            "DLNA.ORG_FLAGS=01700000000000000000000000000000");
  EXPECT_EQ(entries[9], "http-get:*:audio/mpeg:*");
  EXPECT_EQ(entries[20], "http-get:*:video/x-ms-wmv:*");
}

TEST(ConnectionManager, CurrentConnectionIdsIsZero) {
  StateTable table;
  CmAnswer answer = answerConnectionManager("GetCurrentConnectionIDs", {}, table);
  EXPECT_EQ(answer.body,
            "<u:GetCurrentConnectionIDsResponse " + kOpen +
                "<ConnectionIDs>0</ConnectionIDs></u:GetCurrentConnectionIDsResponse>");
}

TEST(ConnectionManager, ConnectionInfoOfZero) {
  StateTable table;
  CmAnswer answer =
      answerConnectionManager("GetCurrentConnectionInfo", {{"ConnectionID", "0"}}, table);
  EXPECT_EQ(answer.errorCode, 0);
  EXPECT_EQ(answer.body,
            "<u:GetCurrentConnectionInfoResponse " + kOpen +
                "<RcsID>-1</RcsID><AVTransportID>-1</AVTransportID><ProtocolInfo></ProtocolInfo>"
                "<PeerConnectionManager></PeerConnectionManager><PeerConnectionID>-1"
                "</PeerConnectionID><Direction>Output</Direction><Status>OK</Status>"
                "</u:GetCurrentConnectionInfoResponse>");
  EXPECT_EQ(answerConnectionManager("GetCurrentConnectionInfo", {{"ConnectionID", "00"}}, table)
                .errorCode,
            0);
}

TEST(ConnectionManager, OtherConnectionsAndBadIdsAreErrors) {
  StateTable table;
  EXPECT_EQ(
      answerConnectionManager("GetCurrentConnectionInfo", {{"ConnectionID", "1"}}, table).errorCode,
      706);
  EXPECT_EQ(answerConnectionManager("GetCurrentConnectionInfo", {{"ConnectionID", "-3"}}, table)
                .errorCode,
            706);
  for (const char* bad : {"", "x", "1x", "-", "12345678901"})
    EXPECT_EQ(answerConnectionManager("GetCurrentConnectionInfo", {{"ConnectionID", bad}}, table)
                  .errorCode,
              402)
        << bad;
  EXPECT_EQ(answerConnectionManager("GetCurrentConnectionInfo", {}, table).errorCode, 402);
}

TEST(ConnectionManager, UnofferedActionsAre401) {
  StateTable table;
  for (const char* action : {"PrepareForConnection", "ConnectionComplete", "getprotocolinfo", ""})
    EXPECT_EQ(answerConnectionManager(action, {}, table).errorCode, 401) << action;
}
