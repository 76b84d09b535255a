// RecvFileThruPOST through the transfer server: uploads into objects created
// through the real content engine, with the stack's HTTP side faked. Bodies
// arrive piece by piece as the stack delivers them; the timers are driven
// through their test seams.
#include <dirent.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "content_test_support.h"
#include "contents_enumerator_argument.h"
#include "dms_content_engine.h"
#include "dms_server.h"
#include "fake_http.h"
#include "log_capture.h"
#include "nuv_config.h"
#include "recv_file_thru_post.h"
#include "server_state.h"
#include "server_to_handle_file_transfer.h"
#include "temporary_contents_manager.h"
#include "transfer_test_support.h"

namespace {

using transfer_test::eventually;
using transfer_test::pattern;

// The path setters keep what they replace (the owner releases it): the
// shared folder goes with the stored paths, and the database path the
// fixtures set once comes back.
void forgetSharedFolder() {
  dms_server::releaseStoredPaths();
  DMSAppSetDBPathMA(content_test::dbPath().c_str());
}

using content_test::fileExists;
using content_test::readFile;

constexpr int kProfile = 1;
const std::string kPhoto = std::string(DMS_SHARED_DIR) + "/media/photos/canon_eos-d60.jpg";

class UploadTest : public content_test::EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    FakeHttp::instance().reset();
    NUVSetConfiguration("MEDIA-DB-FILEPATH", content_test::dbPath().c_str());
    DMSAppSetDMSSharedFilePath(uploads().c_str());
    DMSAppSetDMSConnectionID(3);
    start();
    ServerToHandleFileTransfer::DestroyInstance();
    server_ = ServerToHandleFileTransfer::GetInstance();
    ASSERT_EQ(server_->StartHTTPServer(3, nullptr, 60152), 0);
  }

  void TearDown() override {
    RecvFileThruPOST::SetTimeoutsForTest(40000, 1000);
    ServerToHandleFileTransfer::DestroyInstance();
    forgetSharedFolder();
    EngineTest::TearDown();
  }

  // Creates an object waiting for `name` in the upload folder; its path.
  std::string createObject(const std::string& name, int kind = 1) {
    auto* r = new ContentsEnumeratorArgument();
    r->SetContentType(kind);
    r->SetContentParentID(new DMSAppString(std::to_string(kind).c_str()));
    r->SetFilePath(new DMSAppString((uploads() + "/" + name).c_str()));
    r->SetTitle(new DMSAppString(name.c_str()));
    r->SetDLNAPN(new DMSAppString(""));
    r->SetMimetypeString(new DMSAppString(kind == 1 ? "image/jpeg" : "audio/mpeg"));
    r->SetImportURI(new DMSAppString("http://192.168.1.10:9000/upload/"));
    const size_t before = answers().answers().size();
    DMSAppString container(std::to_string(kind).c_str());
    EXPECT_EQ(NUVCECreateContent(1, &container, r), 0);
    EXPECT_TRUE(answers().waitFor(before + 1));
    return uploads() + "/" + name;
  }

  void header(int connection, const std::string& target, long long length,
              const FakeHeaders& headers = {}) {
    FakeHttp::instance().deliverRequest(kProfile, connection, NUV_HTTP_POST, target, headers, true,
                                        NUV_HTTP_VERSION_1_1, length);
  }
  void piece(int connection, const std::string& target, const std::string& data,
             bool last = false) {
    FakeHttp::instance().deliverPiece(kProfile, connection, target, data, last);
  }
  // A whole upload in pieces of `size` bytes; the status answered, 0 for none.
  int upload(int connection, const std::string& target, const std::string& body, size_t size = 4096,
             bool declare = true, const FakeHeaders& headers = {}) {
    header(connection, target, declare ? static_cast<long long>(body.size()) : -1, headers);
    for (size_t at = 0; at < body.size(); at += size)
      piece(connection, target, body.substr(at, size));
    piece(connection, target, "", true);
    return lastStatus(connection);
  }
  static int lastStatus(int connection) {
    int status = 0;
    for (const FakeHttpResponse& r : FakeHttp::instance().responses())
      if (r.connection == connection) status = r.status;
    return status;
  }
  static std::vector<int> statuses(int connection) {
    std::vector<int> out;
    for (const FakeHttpResponse& r : FakeHttp::instance().responses())
      if (r.connection == connection) out.push_back(r.status);
    return out;
  }
  static std::string rows(const std::string& sql) {
    return content_test::shell(content_test::dbPath(), sql);
  }
  static std::vector<std::string> folderEntries() { return transfer_test::entriesOf(uploads()); }
  static bool waiting(const std::string& path) {
    TemporaryContentsManager* temp = TemporaryContentsManager::GetInstance();
    TemporaryContentsLock lock(temp);
    DMSAppString p(path.c_str());
    return lock.entryOf(&p) != nullptr;
  }
  size_t stopsOf(int connection) const {
    size_t n = 0;
    for (const FakeCall& c : FakeHttp::instance().calls())
      if (c.name == "NUVHTTPStopHTTPProfile" && c.args.size() > 1 &&
          c.args[1] == std::to_string(connection))
        ++n;
    return n;
  }

  ServerToHandleFileTransfer* server_ = nullptr;
};

TEST_F(UploadTest, PhotoInPiecesBecomesTheObjectsRegisteredContent) {
  const std::string path = createObject("photo.jpg");
  const std::string body = readFile(kPhoto);
  EXPECT_EQ(upload(9, "/upload/photo.jpg", body, 3000), 200);
  EXPECT_EQ(readFile(path), body);
  EXPECT_EQ(rows("select size||'|'||Width||'x'||Height||'|'||DLNAProfile from ImageTable;"),
            std::to_string(body.size()) + "|1772x1181|JPEG_LRG\n");
  EXPECT_EQ(rows("select count(*) from ObjectTable;"), "1\n");
  EXPECT_FALSE(waiting(path));
  EXPECT_EQ(folderEntries(), std::vector<std::string>{"photo.jpg"});
}

TEST_F(UploadTest, ExpectContinueIsAnsweredBeforeTheBody) {
  createObject("c.jpg");
  LogCapture log;
  EXPECT_EQ(upload(9, "/upload/c.jpg", readFile(kPhoto), 65536, true, {{"Expect", "100-continue"}}),
            200);
  EXPECT_EQ(statuses(9), (std::vector<int>{100, 200}));
  EXPECT_TRUE(log.has("[RecvFileThruPOST::HandleHeader] Sending POST 100 continue header."));
  EXPECT_TRUE(log.has("[RecvFileThruPOST] Sending 200 OK"));
}

TEST_F(UploadTest, BodyWithoutLengthAndEmptyPiecesCompletes) {
  const std::string path = createObject("chunked.jpg");
  const std::string body = readFile(kPhoto);
  header(9, "/upload/chunked.jpg", -1);
  for (size_t at = 0; at < body.size(); at += 1000) {
    piece(9, "/upload/chunked.jpg", "");  // an empty piece counts as success
    piece(9, "/upload/chunked.jpg", body.substr(at, 1000));
  }
  piece(9, "/upload/chunked.jpg", "", true);
  EXPECT_EQ(lastStatus(9), 200);
  EXPECT_EQ(readFile(path), body);
}

TEST_F(UploadTest, ShortBodyIsDeletedAndNotAnswered) {
  const std::string path = createObject("short.jpg");
  LogCapture log;
  header(9, "/upload/short.jpg", 5000);
  piece(9, "/upload/short.jpg", pattern(3000));
  piece(9, "/upload/short.jpg", "", true);
  EXPECT_TRUE(FakeHttp::instance().responses().empty());
  EXPECT_TRUE(log.has("[RecvFileThruPOST] .. Incomplete FILE.."));
  EXPECT_TRUE(folderEntries().empty());
  EXPECT_TRUE(waiting(path));  // the object may still be uploaded
}

TEST_F(UploadTest, ClientGoneHalfwayLeavesNoFileAndTheObjectExpires) {
  TemporaryContentsManager::SetAutoDestroyDelayForTest(100);
  createObject("gone.jpg");
  header(9, "/upload/gone.jpg", 5000);
  piece(9, "/upload/gone.jpg", pattern(3000));
  EXPECT_EQ(folderEntries(), std::vector<std::string>{".gone.jpg.part"});
  FakeHttp::instance().raiseException(kProfile, 9, NUV_HTTP_EXCEPTION_SOCKET_CLOSED);
  EXPECT_EQ(server_->InstanceCount(), 0);
  EXPECT_TRUE(folderEntries().empty());
  EXPECT_TRUE(eventually([] { return rows("select count(*) from ObjectTable;") == "0\n"; }));
}

TEST_F(UploadTest, TargetsWithoutCreatedObjectAreRefusedAndNothingIsWritten) {
  createObject("real.jpg");
  LogCapture log;
  const std::string outside = content_test::scratchPath("outside.jpg");
  const std::vector<std::string> targets = {"/upload/none.jpg",
                                            "/upload/../outside.jpg",
                                            "/upload/%2e%2e/outside.jpg",
                                            "/upload/%2E%2E",
                                            "/upload/a%00b.jpg",
                                            "/upload/a\\b.jpg",
                                            "/upload/a%5cb.jpg",
                                            "/upload/a%2fb.jpg",
                                            "/upload/.real.jpg.part",
                                            "/upload/",
                                            "/real.jpg",
                                            "/etc/passwd",
                                            "/upload/real.jpg/x",
                                            "http://10.0.0.1:9000/upload/../../outside.jpg",
                                            "/upload//real.jpg",
                                            "/upload/real.jpg%"};
  int connection = 20;
  for (const std::string& target : targets) {
    EXPECT_EQ(upload(++connection, target, pattern(100)), 403) << target;
  }
  EXPECT_TRUE(folderEntries().empty());
  EXPECT_FALSE(fileExists(outside));
  EXPECT_FALSE(fileExists("/etc/passwd.part"));
  EXPECT_TRUE(log.has("[RecvFileThruPOST::HandleHeader] In -FormFilePath FALSE"));
  // The absolute form of a good target is taken.
  EXPECT_EQ(upload(++connection, "http://10.0.0.1:9000/upload/real.jpg", readFile(kPhoto)), 200);
}

TEST_F(UploadTest, PlantedLinksAreNeitherFollowedNorReplaced) {
  const std::string victim = content_test::scratchPath("victim.txt");
  content_test::writeFile(victim, "keep me");
  createObject("a.jpg");
  ASSERT_EQ(symlink(victim.c_str(), (uploads() + "/.a.jpg.part").c_str()), 0);
  createObject("b.jpg");
  ASSERT_EQ(symlink(victim.c_str(), (uploads() + "/b.jpg").c_str()), 0);
  EXPECT_EQ(upload(9, "/upload/a.jpg", readFile(kPhoto)), 200);
  EXPECT_EQ(upload(10, "/upload/b.jpg", readFile(kPhoto)), 500);
  EXPECT_EQ(readFile(victim), "keep me");
  EXPECT_EQ(readFile(uploads() + "/a.jpg"), readFile(kPhoto));
}

TEST_F(UploadTest, SecondUploadIntoOneObjectIsRefusedAndNothingInterleaves) {
  const std::string path = createObject("one.jpg");
  const std::string body = readFile(kPhoto);
  header(9, "/upload/one.jpg", static_cast<long long>(body.size()));
  piece(9, "/upload/one.jpg", body.substr(0, 5000));
  header(10, "/upload/one.jpg", 100);
  piece(10, "/upload/one.jpg", pattern(100));
  piece(10, "/upload/one.jpg", "", true);
  EXPECT_EQ(statuses(10), std::vector<int>{409});
  piece(9, "/upload/one.jpg", body.substr(5000));
  piece(9, "/upload/one.jpg", "", true);
  EXPECT_EQ(lastStatus(9), 200);
  EXPECT_EQ(readFile(path), body);
}

TEST_F(UploadTest, UploadsAboveTheCapAreRefusedOrStopped) {
  NUVSetConfiguration("MAX-UPLOAD-SIZE", "1000");
  createObject("big.jpg");
  EXPECT_EQ(upload(9, "/upload/big.jpg", pattern(2000)), 413);
  EXPECT_TRUE(folderEntries().empty());
  // Without a declared length the cap stops the body where it is passed.
  header(10, "/upload/big.jpg", -1);
  piece(10, "/upload/big.jpg", pattern(800));
  piece(10, "/upload/big.jpg", pattern(800));
  EXPECT_EQ(stopsOf(10), 1u);
  EXPECT_TRUE(folderEntries().empty());
  EXPECT_EQ(lastStatus(10), 0);
}

TEST_F(UploadTest, DeclaredLengthAboveTheFreeSpaceIsRefused) {
  createObject("huge.jpg");
  header(10, "/upload/huge.jpg", 1LL << 60);
  EXPECT_EQ(statuses(10), std::vector<int>{413});
  EXPECT_TRUE(folderEntries().empty());
}

TEST_F(UploadTest, WriteFailureStopsTheUploadAndDeletesThePartialFile) {
  createObject("full.jpg");
  header(9, "/upload/full.jpg", 600 * 1024);
  piece(9, "/upload/full.jpg", pattern(100 * 1024));
  // A file-size limit makes the next write fail as a full disk would.
  struct rlimit old {};
  getrlimit(RLIMIT_FSIZE, &old);
  signal(SIGXFSZ, SIG_IGN);
  struct rlimit limited = old;
  limited.rlim_cur = 200 * 1024;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
  LogCapture log;
  piece(9, "/upload/full.jpg", pattern(300 * 1024));
  setrlimit(RLIMIT_FSIZE, &old);
  signal(SIGXFSZ, SIG_DFL);
  EXPECT_TRUE(log.has("[RecvFileThruPOST::HandlePayload] Error happened!!!"));
  EXPECT_EQ(stopsOf(9), 1u);
  EXPECT_TRUE(folderEntries().empty());
  piece(9, "/upload/full.jpg", "", true);  // nothing more happens
  EXPECT_TRUE(FakeHttp::instance().responses().empty());
}

TEST_F(UploadTest, SilenceStopsTheTransferDeletesThePartialFileAndRemovesTheHandler) {
  RecvFileThruPOST::SetTimeoutsForTest(50, 0);
  createObject("slow.jpg");
  LogCapture log;
  header(9, "/upload/slow.jpg", 5000);
  piece(9, "/upload/slow.jpg", pattern(1000));
  ASSERT_TRUE(eventually([this] { return server_->InstanceCount() == 0; }));
  EXPECT_EQ(stopsOf(9), 1u);
  EXPECT_TRUE(folderEntries().empty());
  EXPECT_TRUE(
      log.has("[RecvFileThruPOST::POSTTransactionTimeout] POST Transaction is timeouted, close the "
              "connection [9]!!!"));
  EXPECT_TRUE(log.has("[RecvFileThruPOST::RestartTempContManagerTimer] Remove the post instance."));
  EXPECT_TRUE(log.has(
      "[ServerToHandleFileTransfer::DestroyObjectCallback] Closing the server object Connection "
      "ID [9]"));
}

TEST_F(UploadTest, DataKeepsTheCreatedObjectAlive) {
  TemporaryContentsManager::SetAutoDestroyDelayForTest(150);
  RecvFileThruPOST::SetTimeoutsForTest(40000, 0);
  const std::string path = createObject("kept.jpg");
  const std::string body = readFile(kPhoto);
  header(9, "/upload/kept.jpg", static_cast<long long>(body.size()));
  // Longer than the object's lifetime in all, never silent for that long.
  for (size_t at = 0; at < body.size(); at += body.size() / 6 + 1) {
    piece(9, "/upload/kept.jpg", body.substr(at, body.size() / 6 + 1));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  piece(9, "/upload/kept.jpg", "", true);
  EXPECT_EQ(lastStatus(9), 200);
  EXPECT_EQ(readFile(path), body);
}

TEST_F(UploadTest, ContentTheScannerCannotReadIsNotKept) {
  createObject("garbage.jpg");
  EXPECT_EQ(upload(9, "/upload/garbage.jpg", pattern(5000)), 500);
  EXPECT_TRUE(folderEntries().empty());
  EXPECT_EQ(rows("select count(*) from ObjectTable;"), "0\n");
}

TEST_F(UploadTest, PiecesForAnotherConnectionOrTargetAreIgnored) {
  const std::string path = createObject("mine.jpg");
  const std::string body = readFile(kPhoto);
  header(9, "/upload/mine.jpg", static_cast<long long>(body.size()));
  RecvFileThruPOST* handler = nullptr;
  server_->WithInstance(
      9, [&handler](ServerInterface* h) { handler = dynamic_cast<RecvFileThruPOST*>(h); });
  ASSERT_NE(handler, nullptr);
  std::string junk = pattern(10);
  char other[] = "/upload/other.jpg";
  char mine[] = "/upload/mine.jpg";
  EXPECT_FALSE(handler->HandlePayload(kProfile, 10, NUV_HTTP_VERSION_1_1, 10, NUV_HTTP_POST,
                                      &junk[0], mine, false));
  EXPECT_FALSE(
      handler->HandlePayload(2, 9, NUV_HTTP_VERSION_1_1, 10, NUV_HTTP_POST, &junk[0], mine, false));
  EXPECT_FALSE(handler->HandlePayload(kProfile, 9, NUV_HTTP_VERSION_1_1, 10, NUV_HTTP_POST,
                                      &junk[0], other, false));
  piece(9, "/upload/mine.jpg", body);
  piece(9, "/upload/mine.jpg", "", true);
  EXPECT_EQ(readFile(path), body);
}

}  // namespace
