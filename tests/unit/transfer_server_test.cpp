// ServerToHandleFileTransfer: starting and stopping the HTTP profiles, the
// routing of requests to handlers by method and URL, the registry and its
// removals, and the notifications of the stack.
#include "failing_allocations.h"
#include "fake_live_view.h"
#include "log_capture.h"
#include "rvf_streaming_thru_get.h"
#include "server_to_handle_file_transfer.h"
#include "transfer_test_support.h"

using transfer_test::pattern;
using transfer_test::TransferTest;

namespace {

class TransferServer : public TransferTest {
 protected:
  void SetUp() override {
    TransferTest::SetUp();
    ServerToHandleFileTransfer::DestroyInstance();
    ServerToHandleFileTransfer::SetConnectionCallback(nullptr);
    gConnections.clear();
    server_ = ServerToHandleFileTransfer::GetInstance();
    ASSERT_NE(server_, nullptr);
  }
  void TearDown() override {
    ServerToHandleFileTransfer::SetConnectionCallback(nullptr);
    ServerToHandleFileTransfer::DestroyInstance();
    TransferTest::TearDown();
  }

  int start(unsigned int id, const char* address = nullptr, int port = 60151) {
    DMSAppString where(address);
    return server_->StartHTTPServer(id, address != nullptr ? &where : nullptr, port);
  }
  int stop(const char* address = nullptr) {
    DMSAppString where(address);
    return server_->StopHTTPServer(address != nullptr ? &where : nullptr);
  }
  std::vector<FakeCall> stops() const {
    std::vector<FakeCall> out;
    for (const auto& c : FakeHttp::instance().calls())
      if (c.name == "NUVHTTPStopHTTPProfile") out.push_back(c);
    return out;
  }

  static void recordConnection(int profile, int connection) {
    gConnections.emplace_back(profile, connection);
  }
  static std::vector<std::pair<int, int>> gConnections;

  ServerToHandleFileTransfer* server_ = nullptr;
};

std::vector<std::pair<int, int>> TransferServer::gConnections;

}  // namespace

TEST_F(TransferServer, StartGivesTheStackTheCallbacksInTheirSlots) {
  ASSERT_EQ(start(5), 0);
  const stNUVHTTPCallbacks cb = FakeHttp::instance().callbacks();
  EXPECT_EQ(cb.requestReceive,
            &ServerToHandleFileTransfer::NUVHTTPRequestReceiveNotificationCallback);
  EXPECT_EQ(cb.responseReceive, nullptr);
  EXPECT_EQ(cb.responseHeader, nullptr);
  EXPECT_EQ(cb.sendResponse, &ServerToHandleFileTransfer::NUVHTTPSendResponseNotificationCallback);
  EXPECT_EQ(cb.exception, &ServerToHandleFileTransfer::NUVHTTPExceptionNotificationCallback);
  EXPECT_EQ(cb.requestHeader,
            &ServerToHandleFileTransfer::NUVHTTPRequestHeaderInfoNotificationCallback);
  EXPECT_EQ(cb.sendRequest, nullptr);
  EXPECT_EQ(cb.connect, &ServerToHandleFileTransfer::NUVHTTPConnectNotificationCallback);
  const auto calls = FakeHttp::instance().calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].args, (std::vector<std::string>{"(null)", "60151"}));
}

TEST_F(TransferServer, StartingTwiceWithTheSameIdentifierMergesTheRecords) {
  ASSERT_EQ(start(5, "10.0.0.1"), 0);
  ASSERT_EQ(start(5, "10.0.0.2"), 0);
  EXPECT_EQ(stop(), 1);
  ASSERT_EQ(stops().size(), 2u) << "both profiles are known";
  EXPECT_EQ(stops()[0].args, (std::vector<std::string>{"1", "-1"}));
  EXPECT_EQ(stops()[1].args, (std::vector<std::string>{"2", "-1"}));
  EXPECT_EQ(stop(), 0) << "nothing left";
}

TEST_F(TransferServer, StartingWithAnotherIdentifierReplacesTheRecords) {
  ASSERT_EQ(start(5, "10.0.0.1"), 0);
  ASSERT_EQ(start(6, "10.0.0.2"), 0);
  EXPECT_EQ(stop(), 1);
  ASSERT_EQ(stops().size(), 1u);
  EXPECT_EQ(stops()[0].args[0], "2");
}

TEST_F(TransferServer, NoNetworkInterfaceLogsNoNic) {
  FakeHttp::instance().startResult = 4;
  LogCapture log;
  EXPECT_EQ(start(5), 4);
  EXPECT_TRUE(log.has("[ServerToHandleFileTransfer::StartHTTPServer] No NIC"));
  EXPECT_EQ(stop(), 0);
}

TEST_F(TransferServer, OtherStartFailuresLogThePort) {
  FakeHttp::instance().startResult = 1;
  LogCapture log;
  EXPECT_EQ(start(5, nullptr, 8080), 1);
  EXPECT_TRUE(log.has(
      "[ServerToHandleFileTransfer::StartHTTPServer] HTTP profile start fail!!! for 8080 port"));
}

TEST_F(TransferServer, StopByAddressStopsOnlyThatProfile) {
  ASSERT_EQ(start(5, "10.0.0.1"), 0);
  ASSERT_EQ(start(5, "10.0.0.2"), 0);
  EXPECT_EQ(stop("10.0.0.9"), 1) << "no match still answers 1";
  EXPECT_TRUE(stops().empty());
  EXPECT_EQ(stop("10.0.0.2"), 1);
  ASSERT_EQ(stops().size(), 1u);
  EXPECT_EQ(stops()[0].args[0], "2");
  EXPECT_EQ(stop("10.0.0.1"), 1);
  EXPECT_EQ(stops().size(), 2u);
  EXPECT_EQ(stop(), 0) << "the record was cleared with its last entry";
}

TEST_F(TransferServer, GetIsRoutedToTheDownloadHandler) {
  ASSERT_EQ(start(5), 0);
  ServerToHandleFileTransfer::SetConnectionCallback(&recordConnection);
  LogCapture log;
  FakeHttp::instance().deliverRequest(1, 42, NUV_HTTP_GET, "/nuvmedia/2.mp3");
  ASSERT_EQ(FakeHttp::instance().responses().size(), 1u);
  EXPECT_EQ(FakeHttp::instance().responses()[0].status, 200);
  EXPECT_EQ(server_->InstanceCount(), 1);
  EXPECT_EQ(gConnections, (std::vector<std::pair<int, int>>{{1, 42}}));
  EXPECT_TRUE(log.has("[ServerToHandleFileTransfer] Handle  Heade Header sent successfully"));
  EXPECT_TRUE(log.has("[ServerToHandleFileTransfer] -- NUVHTTPConnectNotificationCallback(...)"));
  EXPECT_EQ(FakeHttp::instance().pumpBody(1, 42), pattern(1000));
  FakeHttp::instance().raiseException(1, 42, NUV_HTTP_EXCEPTION_SOCKET_CLOSED);
  EXPECT_EQ(server_->InstanceCount(), 0);
  EXPECT_TRUE(
      log.has("[ServerToHandleFileTransfer::__RemoveInstanceFromList] Closing the server object "
              "Connection ID [42]"));
}

TEST_F(TransferServer, AFailedHeaderKeepsTheHandlerUntilTheSocketCloses) {
  ASSERT_EQ(start(5), 0);
  ServerToHandleFileTransfer::SetConnectionCallback(&recordConnection);
  LogCapture log;
  FakeHttp::instance().deliverRequest(1, 3, NUV_HTTP_GET, "/nuvmedia/404.mp3");
  EXPECT_EQ(FakeHttp::instance().responses().at(0).status, 400);
  EXPECT_TRUE(gConnections.empty()) << "the callback is for sent headers only";
  EXPECT_TRUE(
      log.has("[ServerToHandleFileTransfer] Handle  Header returned FALSE in func "
              "NUVHTTPRequestHeaderInfoNotificationCallback(...)"));
  EXPECT_EQ(server_->InstanceCount(), 1);
  FakeHttp::instance().raiseException(1, 3, NUV_HTTP_EXCEPTION_SOCKET_CLOSED);
  EXPECT_EQ(server_->InstanceCount(), 0);
}

TEST_F(TransferServer, OtherMethodsGetNoHandlerAndNoResponse) {
  ASSERT_EQ(start(5), 0);
  LogCapture log;
  for (eHTTPMessageType method :
       {NUV_HTTP_PUT, NUV_HTTP_DELETE, NUV_HTTP_OPTIONS, NUV_HTTP_METHOD_OTHER}) {
    FakeHttp::instance().deliverRequest(1, 9, method, "/nuvmedia/2.mp3");
  }
  EXPECT_TRUE(FakeHttp::instance().responses().empty());
  EXPECT_EQ(server_->InstanceCount(), 0);
  EXPECT_EQ(FakeHttp::instance().unreleasedRequests(), 0);
  EXPECT_EQ(log.count("[ServerToHandleFileTransfer]Unable to find RecvFileThruPOST instance from "
                      "the list -- NUVHTTPRequestHeaderInfoNotificationCallback(...)"),
            4u);
}

TEST_F(TransferServer, PostGoesToAnUploadHandlerThatRefusesWithoutCreatedObject) {
  ASSERT_EQ(start(5), 0);
  FakeHttp::instance().deliverRequest(1, 9, NUV_HTTP_POST, "/upload/1.jpg");
  const auto responses = FakeHttp::instance().responses();
  ASSERT_EQ(responses.size(), 1u);
  EXPECT_EQ(responses[0].status, 403);
  EXPECT_EQ(server_->InstanceCount(), 1);  // until the connection ends
  EXPECT_EQ(FakeHttp::instance().unreleasedRequests(), 0);
  FakeHttp::instance().raiseException(1, 9, NUV_HTTP_EXCEPTION_SOCKET_CLOSED);
  EXPECT_EQ(server_->InstanceCount(), 0);
}

TEST_F(TransferServer, LiveStreamWithGetGoesToTheLiveViewButWithHeadToTheDownload) {
  FakeLiveView::instance().reset();
  FakeLiveView::instance().startResult = false;  // answered 503 at once
  RVFStreamingThruGet::SetStartSettleMsForTest(0);
  ASSERT_EQ(start(5), 0);
  int connection = 11;
  size_t answered = 0;
  // The photo's small image does not exist here: 503 as well.
  for (const char* target : {"/livestream.avi", "/qvga_livestream.avi", "/111.jpg_SM"}) {
    FakeHttp::instance().deliverRequest(1, connection, NUV_HTTP_GET, target);
    ++answered;
    ASSERT_TRUE(transfer_test::eventually([&] {
      return FakeHttp::instance().responses().size() == answered;
    })) << target;
    EXPECT_EQ(FakeHttp::instance().responses().back().status, 503) << target;
    EXPECT_EQ(server_->InstanceCount(), 1) << target;
    FakeHttp::instance().raiseException(1, connection++, NUV_HTTP_EXCEPTION_SOCKET_CLOSED);
  }
  EXPECT_EQ(FakeLiveView::instance().count("mpeg_start"), 2u);
  EXPECT_EQ(server_->InstanceCount(), 0);
  FakeHttp::instance().deliverRequest(1, 12, NUV_HTTP_HEAD, "/livestream.avi");
  ASSERT_EQ(FakeHttp::instance().responses().size(), answered + 1) << "HEAD is a download";
  EXPECT_EQ(FakeHttp::instance().responses().back().status, 400) << "not in the database";
  EXPECT_EQ(FakeLiveView::instance().count("mpeg_start"), 2u);
  EXPECT_EQ(server_->InstanceCount(), 1);
  EXPECT_EQ(FakeHttp::instance().unreleasedRequests(), 0);
  RVFStreamingThruGet::SetStartSettleMsForTest(1000);
}

TEST_F(TransferServer, SocketClosedForAnUnknownConnectionLeavesTheRegistryAlone) {
  ASSERT_EQ(start(5), 0);
  FakeHttp::instance().deliverRequest(1, 42, NUV_HTTP_GET, "/nuvmedia/2.mp3");
  ASSERT_EQ(server_->InstanceCount(), 1);
  FakeHttp::instance().raiseException(1, 43, NUV_HTTP_EXCEPTION_SOCKET_CLOSED);
  EXPECT_EQ(server_->InstanceCount(), 1);
  EXPECT_NE(server_->FindInstanceInMappingList(42), nullptr);
}

TEST_F(TransferServer, OnlySocketClosedEndsAHandler) {
  ASSERT_EQ(start(5), 0);
  FakeHttp::instance().deliverRequest(1, 42, NUV_HTTP_GET, "/nuvmedia/2.mp3");
  LogCapture log;
  FakeHttp::instance().raiseException(1, 42, NUV_HTTP_EXCEPTION_NETWORK_DISABLED);
  FakeHttp::instance().raiseException(1, 42, NUV_HTTP_EXCEPTION_SEND_FAILURE);
  FakeHttp::instance().raiseException(1, 42, static_cast<eExceptionType>(5));
  EXPECT_EQ(server_->InstanceCount(), 1);
  EXPECT_TRUE(
      log.has("[ServerToHandleFileTransfer] Network disabled -- "
              "NUVHTTPExceptionNotificationCallback(...)"));
  EXPECT_TRUE(log.has(
      "[ServerToHandleFileTransfer] Send Failure -- NUVHTTPExceptionNotificationCallback(...)"));
  EXPECT_TRUE(
      log.has("[ServerToHandleFileTransfer] Unknown ExceptionType -- "
              "NUVHTTPExceptionNotificationCallback(...)"));
  FakeHttp::instance().raiseException(1, 42, NUV_HTTP_EXCEPTION_SOCKET_CLOSED);
  EXPECT_TRUE(
      log.has("[ServerToHandleFileTransfer] SocketCloseEvent -- "
              "NUVHTTPExceptionNotificationCallback(...)"));
  EXPECT_EQ(server_->InstanceCount(), 0);
}

TEST_F(TransferServer, HeaderWithAnErrorIsReleasedAndLogged) {
  ASSERT_EQ(start(5), 0);
  LogCapture log;
  stNUVAppList* request = FakeHttp::instance().makeRequest(NUV_HTTP_GET, "/nuvmedia/2.mp3");
  ServerToHandleFileTransfer::NUVHTTPRequestHeaderInfoNotificationCallback(1, 5, request, 1);
  EXPECT_EQ(FakeHttp::instance().unreleasedRequests(), 0);
  EXPECT_TRUE(FakeHttp::instance().responses().empty());
  EXPECT_TRUE(
      log.has("[ServerToHandleFileTransfer] HTTP Error -- "
              "NUVHTTPRequestHeaderInfoNotificationCallback(...)"));
}

TEST_F(TransferServer, AListThatIsNotARequestIsReleasedSilently) {
  ASSERT_EQ(start(5), 0);
  stNUVAppList* notARequest = NUVListCreate();
  NUVListAddHeader(notARequest, "Host", "x");
  ServerToHandleFileTransfer::NUVHTTPRequestHeaderInfoNotificationCallback(1, 5, notARequest, 0);
  EXPECT_TRUE(FakeHttp::instance().responses().empty());
  FreeAdditionalHeaders(notARequest);
}

TEST_F(TransferServer, NotificationsForUnknownConnectionsAreLogged) {
  ASSERT_EQ(start(5), 0);
  LogCapture log;
  char data[] = "abc";
  ServerToHandleFileTransfer::NUVHTTPRequestReceiveNotificationCallback(
      1, 77, NUV_HTTP_VERSION_1_1, 3, NUV_HTTP_POST, data, data, false, 0);
  EXPECT_TRUE(log.has(
      "[ServerToHandleFileTransfer]Unable to find RecvFileThruPOST instance from the list -- "
      "NUVHTTPRequestReceiveNotificationCallback(...)"));
  ServerToHandleFileTransfer::NUVHTTPRequestReceiveNotificationCallback(
      1, 77, NUV_HTTP_VERSION_1_1, 3, NUV_HTTP_POST, data, data, false, 1);
  EXPECT_TRUE(
      log.has("[ServerToHandleFileTransfer] HTTP Error/Non-matchin profID -- "
              "NUVHTTPRequestReceiveNotificationCallback(...)"));
  ServerToHandleFileTransfer::NUVHTTPSendResponseNotificationCallback(1, 77, 1);
  EXPECT_TRUE(log.has(
      "[ServerToHandleFileTransfer] HTTP Error -- NUVHTTPSendResponseNotificationCallback(...)"));
  ServerToHandleFileTransfer::NUVHTTPSendResponseNotificationCallback(1, 77, 0);
  EXPECT_TRUE(log.has(
      "[ServerToHandleFileTransfer] Instance not found -- func FindInstanceInMappingList(...)"));
  EXPECT_TRUE(FakeHttp::instance().packets().empty());
}

TEST_F(TransferServer, StopCurrentTransferEndsThatRequestAndDeletesItsHandler) {
  ASSERT_EQ(start(5), 0);
  FakeHttp::instance().deliverRequest(1, 42, NUV_HTTP_GET, "/nuvmedia/3.mp4");
  FakeHttp::instance().deliverRequest(1, 43, NUV_HTTP_GET, "/nuvmedia/2.mp3");
  EXPECT_EQ(server_->NUVHTTPStopCurrentTransfer(1, 42), 1);
  ASSERT_EQ(stops().size(), 1u);
  EXPECT_EQ(stops()[0].args, (std::vector<std::string>{"1", "42"})) << "that request only";
  EXPECT_EQ(server_->InstanceCount(), 1);
  EXPECT_EQ(server_->FindInstanceInMappingList(42), nullptr);
  EXPECT_EQ(server_->NUVHTTPStopCurrentTransfer(1, 42), 0) << "nothing left to stop";
  EXPECT_EQ(FakeHttp::instance().pumpBody(1, 43), pattern(1000)) << "the other one goes on";
}

TEST_F(TransferServer, DelayedSelfRemovalDeletesTheHandler) {
  ASSERT_EQ(start(5), 0);
  FakeHttp::instance().deliverRequest(1, 42, NUV_HTTP_GET, "/nuvmedia/2.mp3");
  LogCapture log;
  ServerToHandleFileTransfer::DestroyObjectCallback(1, 0, false);
  EXPECT_EQ(server_->InstanceCount(), 1) << "connection 0 does nothing";
  EXPECT_TRUE(log.lines().empty());
  ServerToHandleFileTransfer::DestroyObjectCallback(1, 42, false);
  EXPECT_EQ(server_->InstanceCount(), 0);
  EXPECT_TRUE(log.has(
      "[ServerToHandleFileTransfer::DestroyObjectCallback] Closing the server object Connection "
      "ID [42]"));
}

TEST_F(TransferServer, DelayedSelfRemovalRunsFromATimer) {
  ASSERT_EQ(start(5), 0);
  FakeHttp::instance().deliverRequest(1, 42, NUV_HTTP_GET, "/nuvmedia/2.mp3");
  DMSAppString name("POST_TIMEOUT42");
  const unsigned long timer = DMSAppCreateTimer(&name);
  ASSERT_NE(timer, 0u);
  ASSERT_EQ(DMSAppStartTimer(timer, 1, &ServerToHandleFileTransfer::DestroyObjectCallback,
                             reinterpret_cast<void*>(42)),
            1);
  for (int i = 0; i < 500 && server_->InstanceCount() != 0; ++i) usleep(10000);
  EXPECT_EQ(server_->InstanceCount(), 0);
}

TEST_F(TransferServer, RegistryRefusesBadEntries) {
  SendFileThruGet* handler = new SendFileThruGet(1, 1);
  EXPECT_EQ(server_->AddInstanceToList(-1, 1, handler), 1);
  EXPECT_EQ(server_->AddInstanceToList(1, -1, handler), 1);
  EXPECT_EQ(server_->AddInstanceToList(1, 1, nullptr), 1);
  EXPECT_EQ(server_->RemoveInstanceFromList(-1), 0);
  EXPECT_EQ(server_->AddInstanceToList(1, 1, handler), 0);
  EXPECT_EQ(server_->FindInstanceInMappingList(1), handler);
  EXPECT_EQ(server_->RemoveInstanceFromList(1), 1);
  EXPECT_EQ(server_->RemoveInstanceFromList(1), 0);
}

TEST_F(TransferServer, RemoveAllDeletesEveryHandler) {
  ASSERT_EQ(start(5), 0);
  for (int c = 1; c <= 3; ++c)
    FakeHttp::instance().deliverRequest(1, c, NUV_HTTP_GET, "/nuvmedia/2.mp3");
  EXPECT_EQ(server_->InstanceCount(), 3);
  server_->RemoveAllInstanceFromList();
  EXPECT_EQ(server_->InstanceCount(), 0);
  SendFileThruGet late(1, 1);
  EXPECT_EQ(server_->AddInstanceToList(1, 1, &late), 1) << "the registry is gone";
}

TEST_F(TransferServer, CallbacksWithoutAServerReleaseAndReturn) {
  ASSERT_EQ(start(5), 0);
  ServerToHandleFileTransfer::DestroyInstance();
  FakeHttp::instance().deliverRequest(1, 42, NUV_HTTP_GET, "/nuvmedia/2.mp3");
  EXPECT_TRUE(FakeHttp::instance().responses().empty());
  EXPECT_EQ(FakeHttp::instance().unreleasedRequests(), 0);
  FakeHttp::instance().raiseException(1, 42, NUV_HTTP_EXCEPTION_SOCKET_CLOSED);
  server_ = ServerToHandleFileTransfer::GetInstance();
}

TEST_F(TransferServer, AllocationFailureInAHeaderNotificationStaysInTheCallback) {
  ASSERT_EQ(start(5), 0);
  // The notification runs on one of the HTTP server's threads: whatever
  // fails inside, the call returns.
  int n = 0;
  for (bool failed = true; failed; ++n) {
    stNUVAppList* request = FakeHttp::instance().makeRequest(NUV_HTTP_GET, "/nuvmedia/2.mp3");
    {
      failing_allocations::Armed armed(n);
      EXPECT_NO_THROW(ServerToHandleFileTransfer::NUVHTTPRequestHeaderInfoNotificationCallback(
          1, 100 + n, request, 0));
      failed = armed.failed();
    }
    FakeHttp::instance().raiseException(1, 100 + n, NUV_HTTP_EXCEPTION_SOCKET_CLOSED);
  }
  EXPECT_GT(n, 1);
  EXPECT_EQ(server_->InstanceCount(), 0);
}
