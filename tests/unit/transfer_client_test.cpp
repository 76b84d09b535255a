// The client transfers of ImportResource and ExportResource through
// ClientToHandleFileTransfer, with the stack's client profiles faked: the
// requests each client sends, the pieces it stores or sends, its statuses,
// its timers (through their test seams) and its removal with the TransferIDs
// announcement.
#include <dirent.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "app_cds.h"
#include "cds_helper.h"
#include "cds_impl_manager.h"
#include "cds_test_support.h"
#include "client_to_handle_file_transfer.h"
#include "content_test_support.h"
#include "contents_enumerator_argument.h"
#include "dms_content_engine.h"
#include "dms_server.h"
#include "fake_http.h"
#include "log_capture.h"
#include "nuv_config.h"
#include "server_state.h"
#include "soap_generator.h"
#include "temporary_contents_manager.h"
#include "transfer_test_support.h"

namespace {

using transfer_test::eventually;
using transfer_test::pattern;

using content_test::fileExists;
using content_test::readFile;
using content_test::scratchPath;

const std::string kPhoto = std::string(DMS_SHARED_DIR) + "/media/photos/canon_eos-d60.jpg";
const std::string kImportURI = "http://192.168.1.10:9000/upload/in.jpg";

class ClientTransfer : public content_test::EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    FakeHttp::instance().reset();
    NUVSetConfiguration("MEDIA-DB-FILEPATH", content_test::dbPath().c_str());
    DMSAppSetDMSConnectionID(3);
    ClientToHandleFileTransfer::DestroyInstance();
    registry_ = ClientToHandleFileTransfer::GetInstance();
  }
  void TearDown() override {
    ClientToHandleFileTransfer::DestroyInstance();
    ClientToHandleFileTransfer::SetDelaysForTest(30000, 30000);
    EngineTest::TearDown();
  }

  // An object waiting for an import into uploads()/in.jpg under `id`.
  std::string createdObject(unsigned int id) {
    start();
    auto* r = new ContentsEnumeratorArgument();
    r->SetContentType(1);
    r->SetContentParentID(new DMSAppString("1"));
    r->SetFilePath(new DMSAppString((uploads() + "/in.jpg").c_str()));
    r->SetTitle(new DMSAppString("in.jpg"));
    r->SetDLNAPN(new DMSAppString(""));
    r->SetMimetypeString(new DMSAppString("image/jpeg"));
    r->SetImportURI(new DMSAppString("http://192.168.1.10:9000/upload/"));
    const size_t before = answers().answers().size();
    DMSAppString container("1");
    EXPECT_EQ(NUVCECreateContent(1, &container, r), 0);
    EXPECT_TRUE(answers().waitFor(before + 1));
    DMSAppString uri(kImportURI.c_str());
    EXPECT_EQ(NUVCESetCreatedContentTransferID(&uri, id), 0);
    return uploads() + "/in.jpg";
  }

  bool startTransfer(eHTTPMessageType method, const std::string& source,
                     const std::string& destination, unsigned int id) {
    DMSAppString s(source.c_str());
    DMSAppString d(destination.c_str());
    return registry_->StartHTTPClient(3, method, &s, &d, id);
  }

  struct Progress {
    NUVCDSWL_FILETRANSFER_STATUS status = NUVCDSWL_FILETRANSFER_IN_PROGRESS;
    unsigned long long length = 0;
    unsigned long long total = 0;
    bool known = false;
  };
  Progress progress(unsigned int id) {
    Progress p;
    DMSAppString text(std::to_string(id).c_str());
    p.known = registry_->GetTransferProgress(&text, &p.status, &p.length, &p.total);
    return p;
  }
  bool stop(unsigned int id) {
    DMSAppString text(std::to_string(id).c_str());
    return registry_->StopFileTransfer(&text);
  }
  static std::vector<std::string> transferIDEvents() {
    std::vector<std::string> out;
    for (const FakeCall& c : FakeStack::instance().calls())
      if (c.name == "NUVDMSUpdateStateVariableValue" && c.args[2] == "TransferIDs")
        out.push_back(c.args[3]);
    return out;
  }
  static size_t stopsOf(int profile) {
    size_t n = 0;
    for (const FakeCall& c : FakeHttp::instance().calls())
      if (c.name == "NUVHTTPStopHTTPProfile" && c.args[0] == std::to_string(profile)) ++n;
    return n;
  }
  static std::vector<std::string> uploadEntries() { return transfer_test::entriesOf(uploads()); }

  ClientToHandleFileTransfer* registry_ = nullptr;
};

TEST_F(ClientTransfer, ImportSendsAPlainGetWithHostConnectionAndAccept) {
  createdObject(7);
  ASSERT_TRUE(startTransfer(NUV_HTTP_GET, "http://10.0.0.2:8080/a/photo.jpg", kImportURI, 7));
  ASSERT_TRUE(startTransfer(NUV_HTTP_GET, "http://camera.local/b.jpg", kImportURI, 8));
  const auto requests = FakeHttp::instance().clientRequests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].method, NUV_HTTP_GET);
  EXPECT_EQ(requests[0].url, "http://10.0.0.2:8080/a/photo.jpg");
  EXPECT_EQ(requests[0].host, "10.0.0.2:8080");
  EXPECT_EQ(requests[1].host, "camera.local:80");
  EXPECT_TRUE(requests[0].http11);
  EXPECT_TRUE(requests[0].complete);
  EXPECT_FALSE(requests[0].expectContinue);
  EXPECT_EQ(requests[0].headers, (FakeHeaders{{"Connection", "close"}, {"Accept", "*/*"}}));
  EXPECT_EQ(registry_->GetTransferIDCSVList(), "7,8");
  EXPECT_EQ(transferIDEvents(), (std::vector<std::string>{"7", "7,8"}));
}

TEST_F(ClientTransfer, ImportStoresThePiecesAndRegistersTheFile) {
  const std::string path = createdObject(7);
  ASSERT_TRUE(startTransfer(NUV_HTTP_GET, "http://10.0.0.2/p.jpg", kImportURI, 7));
  const int profile = FakeHttp::instance().clientRequests()[0].profile;
  const std::string body = readFile(kPhoto);
  FakeHttp::instance().deliverResponseHeader(
      profile, 200,
      {{"Content-Length", std::to_string(body.size())}, {"Content-Type", "image/jpeg"}});
  for (size_t at = 0; at < body.size(); at += 10000) {
    FakeHttp::instance().deliverResponsePiece(profile, body.substr(at, 10000), false);
    EXPECT_EQ(progress(7).status, NUVCDSWL_FILETRANSFER_IN_PROGRESS);
  }
  EXPECT_EQ(progress(7).length, body.size());
  FakeHttp::instance().deliverResponsePiece(profile, "", true);
  const Progress done = progress(7);
  EXPECT_EQ(done.status, NUVCDSWL_FILETRANSFER_COMPLETED);
  EXPECT_EQ(done.length, done.total);
  EXPECT_EQ(done.total, body.size());
  EXPECT_EQ(readFile(path), body);
  EXPECT_EQ(
      content_test::shell(content_test::dbPath(), "select size, DLNAProfile from ImageTable;"),
      std::to_string(body.size()) + "|JPEG_LRG\n");
  EXPECT_EQ(stopsOf(profile), 1u);
}

TEST_F(ClientTransfer, NotFoundEndsAsErrorAndIsGoneAfterItsLinger) {
  ClientToHandleFileTransfer::SetDelaysForTest(50, 30000);
  createdObject(7);
  ASSERT_TRUE(startTransfer(NUV_HTTP_GET, "http://10.0.0.2/missing.jpg", kImportURI, 7));
  const int profile = FakeHttp::instance().clientRequests()[0].profile;
  FakeHttp::instance().deliverResponseHeader(profile, 404);
  EXPECT_EQ(progress(7).status, NUVCDSWL_FILETRANSFER_ERROR);
  ASSERT_TRUE(eventually([this] { return !progress(7).known; }));
  EXPECT_EQ(registry_->InstanceCount(), 0);
  EXPECT_EQ(transferIDEvents(), (std::vector<std::string>{"7", ""}));
  EXPECT_TRUE(uploadEntries().empty());
}

TEST_F(ClientTransfer, StopDuringAnImportDeletesThePartialFile) {
  ClientToHandleFileTransfer::SetDelaysForTest(50, 30000);
  createdObject(7);
  ASSERT_TRUE(startTransfer(NUV_HTTP_GET, "http://10.0.0.2/p.jpg", kImportURI, 7));
  const int profile = FakeHttp::instance().clientRequests()[0].profile;
  FakeHttp::instance().deliverResponseHeader(profile, 200, {{"Content-Length", "100000"}});
  FakeHttp::instance().deliverResponsePiece(profile, pattern(30000), false);
  EXPECT_EQ(uploadEntries(), std::vector<std::string>{".in.jpg.part"});
  EXPECT_TRUE(stop(7));
  EXPECT_EQ(progress(7).status, NUVCDSWL_FILETRANSFER_STOPPED);
  EXPECT_EQ(progress(7).length, 30000u);
  EXPECT_TRUE(uploadEntries().empty());
  EXPECT_EQ(stopsOf(profile), 1u);
  FakeHttp::instance().deliverResponsePiece(profile, pattern(1000), false);  // too late
  EXPECT_TRUE(uploadEntries().empty());
  ASSERT_TRUE(eventually([this] { return !progress(7).known; }));
  EXPECT_FALSE(stop(7));
}

TEST_F(ClientTransfer, LostConnectionEndsAsErrorWithoutFile) {
  createdObject(7);
  ASSERT_TRUE(startTransfer(NUV_HTTP_GET, "http://10.0.0.2/p.jpg", kImportURI, 7));
  const int profile = FakeHttp::instance().clientRequests()[0].profile;
  FakeHttp::instance().deliverResponseHeader(profile, 200);
  FakeHttp::instance().deliverResponsePiece(profile, pattern(5000), false);
  FakeHttp::instance().raiseClientException(profile, NUV_HTTP_EXCEPTION_SEND_FAILURE);
  EXPECT_EQ(progress(7).status, NUVCDSWL_FILETRANSFER_ERROR);
  EXPECT_TRUE(uploadEntries().empty());
}

TEST_F(ClientTransfer, SilentSourceEndsAsErrorAfterTheTransactionTime) {
  ClientToHandleFileTransfer::SetDelaysForTest(30000, 50);
  createdObject(7);
  LogCapture log;
  ASSERT_TRUE(startTransfer(NUV_HTTP_GET, "http://10.0.0.2/p.jpg", kImportURI, 7));
  const int profile = FakeHttp::instance().clientRequests()[0].profile;
  FakeHttp::instance().deliverResponseHeader(profile, 200);
  FakeHttp::instance().deliverResponsePiece(profile, pattern(5000), false);
  ASSERT_TRUE(eventually([this] { return progress(7).status == NUVCDSWL_FILETRANSFER_ERROR; }));
  EXPECT_TRUE(uploadEntries().empty());
  EXPECT_EQ(stopsOf(profile), 1u);
}

TEST_F(ClientTransfer, FullDiskDuringAnImportIsAnErrorWithoutFile) {
  createdObject(7);
  ASSERT_TRUE(startTransfer(NUV_HTTP_GET, "http://10.0.0.2/p.jpg", kImportURI, 7));
  const int profile = FakeHttp::instance().clientRequests()[0].profile;
  FakeHttp::instance().deliverResponseHeader(profile, 200);
  FakeHttp::instance().deliverResponsePiece(profile, pattern(100 * 1024), false);
  // A file-size limit makes the next write fail as a full disk would.
  struct rlimit old {};
  getrlimit(RLIMIT_FSIZE, &old);
  signal(SIGXFSZ, SIG_IGN);
  struct rlimit limited = old;
  limited.rlim_cur = 200 * 1024;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
  FakeHttp::instance().deliverResponsePiece(profile, pattern(300 * 1024), false);
  setrlimit(RLIMIT_FSIZE, &old);
  signal(SIGXFSZ, SIG_DFL);
  EXPECT_EQ(progress(7).status, NUVCDSWL_FILETRANSFER_ERROR);
  EXPECT_TRUE(uploadEntries().empty());
  EXPECT_EQ(stopsOf(profile), 1u);
}

TEST_F(ClientTransfer, GarbageImportIsNoContent) {
  createdObject(7);
  ASSERT_TRUE(startTransfer(NUV_HTTP_GET, "http://10.0.0.2/p.jpg", kImportURI, 7));
  const int profile = FakeHttp::instance().clientRequests()[0].profile;
  FakeHttp::instance().deliverResponseHeader(profile, 200);
  FakeHttp::instance().deliverResponsePiece(profile, pattern(5000), false);
  FakeHttp::instance().deliverResponsePiece(profile, "", true);
  EXPECT_EQ(progress(7).status, NUVCDSWL_FILETRANSFER_ERROR);
  EXPECT_TRUE(uploadEntries().empty());
  EXPECT_EQ(content_test::shell(content_test::dbPath(), "select count(*) from ObjectTable;"),
            "0\n");
}

TEST_F(ClientTransfer, ImportWithoutItsCreatedObjectEndsAsError) {
  start();
  ASSERT_TRUE(startTransfer(NUV_HTTP_GET, "http://10.0.0.2/p.jpg", kImportURI, 9));
  const int profile = FakeHttp::instance().clientRequests()[0].profile;
  FakeHttp::instance().deliverResponseHeader(profile, 200);
  EXPECT_EQ(progress(9).status, NUVCDSWL_FILETRANSFER_ERROR);
  EXPECT_TRUE(uploadEntries().empty());
}

class Export : public ClientTransfer {
 protected:
  // A registered photo at `path` with the URI /media/1.jpg.
  void registered(const std::string& path, const std::string& profile = "JPEG_LRG") {
    content_test::ImageRow row;
    row.path = path;
    row.uri = "/media/1.jpg";
    row.profile = profile;
    seed(content_test::insertImageSql(row));
    start();
  }
  // Pulls the body as the stack would: callback 6 until a last piece.
  std::string pullBody(int profile) {
    std::string body;
    for (int i = 0; i < 100000; ++i) {
      const size_t seen = FakeHttp::instance().packets().size();
      FakeHttp::instance().askForRequestBody(profile);
      const auto packets = FakeHttp::instance().packets();
      bool last = false;
      for (size_t p = seen; p < packets.size(); ++p) {
        body += packets[p].data;
        last = last || packets[p].last;
      }
      if (last || packets.size() == seen) break;
    }
    return body;
  }
};

TEST_F(Export, SendsTheFileWithItsDlnaHeadersAfterTheInterimAnswer) {
  const std::string path = scratchPath("export.jpg");
  content_test::writeFile(path, readFile(kPhoto));
  registered(path);
  ASSERT_TRUE(startTransfer(NUV_HTTP_POST, "http://192.168.1.10:9000/media/1.jpg",
                            "http://10.0.0.2/in", 11));
  const auto requests = FakeHttp::instance().clientRequests();
  ASSERT_EQ(requests.size(), 1u);
  const FakeClientRequest& r = requests[0];
  EXPECT_EQ(r.method, NUV_HTTP_POST);
  EXPECT_EQ(r.url, "http://10.0.0.2/in");
  EXPECT_EQ(r.host, "10.0.0.2:80");
  EXPECT_FALSE(r.complete);
  EXPECT_TRUE(r.expectContinue);
  EXPECT_EQ(r.contentLength, static_cast<long long>(readFile(kPhoto).size()));
  EXPECT_EQ(r.header("transferMode.dlna.org"), "Background");
  EXPECT_EQ(r.header("contentFeatures.dlna.org"), "DLNA.ORG_PN=JPEG_LRG");
  EXPECT_EQ(r.header("Content-Type"), "image/jpeg");
  FakeHttp::instance().deliverResponseHeader(r.profile, 100);
  EXPECT_EQ(pullBody(r.profile), readFile(kPhoto));
  FakeHttp::instance().transferBytes = static_cast<long long>(readFile(kPhoto).size());
  Progress p = progress(11);
  EXPECT_EQ(p.status, NUVCDSWL_FILETRANSFER_IN_PROGRESS);
  EXPECT_EQ(p.length, p.total);
  FakeHttp::instance().deliverResponseHeader(r.profile, 200);
  EXPECT_EQ(progress(11).status, NUVCDSWL_FILETRANSFER_COMPLETED);
  EXPECT_EQ(stopsOf(r.profile), 1u);
}

TEST_F(Export, ZeroLengthFileSendsOneEmptyLastPiece) {
  const std::string path = scratchPath("empty.jpg");
  content_test::writeFile(path, "");
  registered(path);
  ASSERT_TRUE(startTransfer(NUV_HTTP_POST, "http://h:9000/media/1.jpg", "http://10.0.0.2/in", 11));
  const int profile = FakeHttp::instance().clientRequests()[0].profile;
  FakeHttp::instance().askForRequestBody(profile);
  const auto packets = FakeHttp::instance().packets();
  ASSERT_EQ(packets.size(), 1u);
  EXPECT_EQ(packets[0].data, "");
  EXPECT_TRUE(packets[0].last);
  FakeHttp::instance().askForRequestBody(profile);  // nothing more
  EXPECT_EQ(FakeHttp::instance().packets().size(), 1u);
}

TEST_F(Export, RefusalByTheReceiverIsAnError) {
  const std::string path = scratchPath("export.jpg");
  content_test::writeFile(path, "jpeg bytes");
  registered(path, "");
  ASSERT_TRUE(startTransfer(NUV_HTTP_POST, "http://h:9000/media/1.jpg", "http://10.0.0.2/in", 11));
  const FakeClientRequest r = FakeHttp::instance().clientRequests()[0];
  EXPECT_EQ(r.header("contentFeatures.dlna.org"), "*");  // no profile
  FakeHttp::instance().deliverResponseHeader(r.profile, 500);
  EXPECT_EQ(progress(11).status, NUVCDSWL_FILETRANSFER_ERROR);
}

TEST_F(Export, SizesAbove4GiBAreReportedWhole) {
  const std::string path = scratchPath("huge.mp4");
  ASSERT_TRUE(transfer_test::makeSparseFile(path, (5LL << 30) + 1, 0, ""));
  registered(path);
  ASSERT_TRUE(startTransfer(NUV_HTTP_POST, "http://h:9000/media/1.jpg", "http://10.0.0.2/in", 11));
  FakeHttp::instance().transferBytes = (5LL << 30) + 7;
  const Progress p = progress(11);
  EXPECT_EQ(p.total, (5ULL << 30) + 1);
  EXPECT_EQ(p.length, (5ULL << 30) + 7);
  unlink(path.c_str());
}

TEST_F(ClientTransfer, UnknownTransfersAreRefused) {
  EXPECT_FALSE(stop(42));
  EXPECT_FALSE(progress(42).known);
  DMSAppString junk("x1");
  NUVCDSWL_FILETRANSFER_STATUS status;
  unsigned long long a = 0, b = 0;
  EXPECT_FALSE(registry_->GetTransferProgress(&junk, &status, &a, &b));
  EXPECT_FALSE(registry_->GetTransferProgress(nullptr, &status, &a, &b));
  DMSAppString s("http://a/b"), d("http://c/d");
  EXPECT_FALSE(registry_->StartHTTPClient(3, NUV_HTTP_HEAD, &s, &d, 5));
}

// The four resource actions through the stack callback.
class ResourceActions : public Export {
 protected:
  void SetUp() override {
    Export::SetUp();
    DMSAppSetHTTPStreamingPort(9000);
  }
  void TearDown() override {
    NUVCETerminateWrapper();
    UPnPAppCDS::DestroyInstance();
    UPnPCDSImplManager::DestroyInstance();
    SOAPAppGenerator::DestroyInstance();
    CDSHelper::DestroyInstance();
    Export::TearDown();
  }
  void engine() { UPnPCDSImplManager::GetInstance(); }  // takes the engine's answers
  std::string run(const std::string& action, const cds_test::Args& args) {
    const int actionID = ++lastActionID_;
    DMSAppCDSActionCallback(9, actionID, FakeStack::makeAction(action, cds_test::kClientIP, args));
    return cds_test::awaitOneBody(actionID);
  }
  static std::string value(const std::string& body, const std::string& name) {
    const size_t from = body.find("<" + name + ">");
    const size_t to = body.find("</" + name + ">");
    if (from == std::string::npos || to == std::string::npos) return "(none)";
    return body.substr(from + name.size() + 2, to - from - name.size() - 2);
  }
  int lastActionID_ = 900;
};

const std::string kInvalid = cds_test::faultBody(402, "Invalid Arguments");

TEST_F(ResourceActions, ImportRefusals) {
  start();
  engine();
  EXPECT_EQ(run("ImportResource", {{"SourceURI", "http://a/1"}, {"DestinationURI", "http://a/1"}}),
            kInvalid);
  // Only plain HTTP is fetched: nothing starts for any other scheme.
  for (const char* source : {"file:///etc/passwd", "ftp://a/b", "gopher://a/", "https://a/b"}) {
    EXPECT_EQ(run("ImportResource", {{"SourceURI", source}, {"DestinationURI", kImportURI}}),
              kInvalid)
        << source;
  }
  EXPECT_EQ(run("ImportResource", {{"SourceURI", "http://a/1"}, {"DestinationURI", kImportURI}}),
            cds_test::faultBody(718, "No such destination resource"));
  EXPECT_TRUE(FakeHttp::instance().clientRequests().empty());
  EXPECT_TRUE(uploadEntries().empty());
}

TEST_F(ResourceActions, ImportAnswersItsTransferIdAndReportsProgress) {
  createdObject(0);
  engine();
  const std::string body = run(
      "ImportResource", {{"SourceURI", "http://10.0.0.2/p.jpg"}, {"DestinationURI", kImportURI}});
  const std::string id = value(body, "TransferID");
  ASSERT_NE(id, "(none)") << body;
  EXPECT_EQ(body, cds_test::responseBody("ImportResource", {{"TransferID", id}}));
  const int profile = FakeHttp::instance().clientRequests().at(0).profile;
  EXPECT_EQ(run("GetTransferProgress", {{"TransferID", id}}),
            cds_test::responseBody("GetTransferProgress", {{"TransferStatus", "IN_PROGRESS"},
                                                           {"TransferLength", "0"},
                                                           {"TransferTotal", "0"}}));
  const std::string photo = readFile(kPhoto);
  FakeHttp::instance().deliverResponseHeader(profile, 200,
                                             {{"Content-Length", std::to_string(photo.size())}});
  FakeHttp::instance().deliverResponsePiece(profile, photo, false);
  FakeHttp::instance().deliverResponsePiece(profile, "", true);
  const std::string size = std::to_string(photo.size());
  EXPECT_EQ(run("GetTransferProgress", {{"TransferID", id}}),
            cds_test::responseBody("GetTransferProgress", {{"TransferStatus", "COMPLETED"},
                                                           {"TransferLength", size},
                                                           {"TransferTotal", size}}));
  EXPECT_EQ(run("StopTransferResource", {{"TransferID", "99999"}}), kInvalid);
  EXPECT_EQ(run("StopTransferResource", {{"TransferID", id}}),
            cds_test::responseBody("StopTransferResource", {}));
}

TEST_F(ResourceActions, ExportRefusalsAndProgressWrappedTo32Bits) {
  const std::string path = scratchPath("huge.mp4");
  ASSERT_TRUE(transfer_test::makeSparseFile(path, (5LL << 30) + 1, 0, ""));
  registered(path);
  engine();
  EXPECT_EQ(run("ExportResource", {{"SourceURI", "nourl"}, {"DestinationURI", "http://b/2"}}),
            kInvalid);
  EXPECT_EQ(run("ExportResource",
                {{"SourceURI", "http://h:9000/media/2.jpg"}, {"DestinationURI", "http://b/2"}}),
            cds_test::faultBody(714, "No such source resource"));
  EXPECT_EQ(run("ExportResource",
                {{"SourceURI", "http://h:9000/media/1.jpg"}, {"DestinationURI", "file:///x"}}),
            kInvalid);
  const std::string body = run("ExportResource", {{"SourceURI", "http://h:9000/media/1.jpg"},
                                                  {"DestinationURI", "http://b/2"}});
  const std::string id = value(body, "TransferID");
  ASSERT_NE(id, "(none)") << body;
  FakeHttp::instance().transferBytes = 3LL << 30;  // 3 GiB: negative as a signed 32-bit number
  EXPECT_EQ(run("GetTransferProgress", {{"TransferID", id}}),
            cds_test::responseBody("GetTransferProgress", {{"TransferStatus", "IN_PROGRESS"},
                                                           {"TransferLength", "-1073741824"},
                                                           {"TransferTotal", "1073741825"}}));
  unlink(path.c_str());
}

}  // namespace
