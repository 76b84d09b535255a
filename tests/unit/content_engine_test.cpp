// The content engine: NUVCE... requests, the worker thread that answers
// them, and the bookkeeping of NotifyCDSWLResponse.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "cds_tree_manager.h"
#include "container_info.h"
#include "content_test_support.h"
#include "dms_content_engine.h"
#include "failing_allocations.h"
#include "fake_stack.h"
#include "log_capture.h"
#include "media_registration.h"
#include "temporary_contents_manager.h"
#include "timer_barrier.h"

namespace {

using content_test::Answer;
using content_test::AnswerRecorder;
using content_test::AudioRow;
using content_test::ContentTest;
using content_test::dbPath;
using content_test::fileExists;
using content_test::ImageRow;
using content_test::scratchPath;
using content_test::shell;
using content_test::text;
using content_test::VideoRow;

using Text = std::unique_ptr<DMSAppString>;
Text s(const std::string& value) { return Text(new DMSAppString(value.c_str())); }

constexpr const char* kContentDirectory = "urn:schemas-upnp-org:service:ContentDirectory";

class Engine : public content_test::EngineTest {
 protected:
  // A record as object creation hands it over.
  static ContentsEnumeratorArgument* created(const std::string& name, int kind = 1) {
    auto* r = new ContentsEnumeratorArgument();
    r->SetObjectType(0);
    r->SetContentType(kind);
    r->SetContentParentID(new DMSAppString(std::to_string(kind).c_str()));
    r->SetFilePath(new DMSAppString((uploads() + "/" + name).c_str()));
    r->SetTitle(new DMSAppString(name.c_str()));
    r->SetDLNAPN(new DMSAppString("JPEG_LRG"));
    r->SetImportURI(new DMSAppString("http://127.0.0.1:50001/upload/"));
    return r;
  }

  // Creates an object and waits for its answer; the new ID or "".
  std::string create(const std::string& name, unsigned int requestID, int kind = 1) {
    size_t before = answers().answers().size();
    if (NUVCECreateContent(requestID, s(std::to_string(kind)).get(), created(name, kind)) != 0) {
      return "";
    }
    if (!answers().waitFor(before + 1)) return "";
    Answer a = answers().answers().back();
    return a.result == NUVCDSWL_RES_SUCCESS ? a.text : "";
  }
};

TEST_F(Engine, RefusesEverythingBeforeInitialize) {
  EXPECT_EQ(1, NUVCEGetContents(1, s("1").get(), 0, 1, true));
  EXPECT_EQ(1, NUVCEDestroyContent(1, s("1").get(), s("1").get()));
  EXPECT_EQ(1, NUVCECheckContentExistence(1, s("/x").get()));
  EXPECT_EQ(1, NUVCECreateContent(1, s("1").get(), created("a.jpg")));  // record released
  EXPECT_EQ(-1, NUVCEGetContainerTotalMatches(s("1").get(), 1));
  EXPECT_EQ(nullptr, NUVCEGetFirstContainer(1));
  EXPECT_EQ(nullptr, NUVCEGetBasicViewInfomationMA());
  EXPECT_EQ(1, NUVCESetDefaultContainer(1));
  EXPECT_TRUE(answers().answers().empty());
}

TEST_F(Engine, AnswersArriveOnTheEngineThreadInRequestOrder) {
  std::string sql;
  for (int i = 0; i < 5; ++i) {
    AudioRow r;
    r.id = 100 + i;
    r.path = "/m/" + std::to_string(i) + ".mp3";
    r.uri = "/nuvmedia/" + std::to_string(r.id) + ".mp3";
    sql += content_test::insertAudioSql(r);
  }
  seed(sql);
  start();
  const int kRequests = 60;
  for (int i = 1; i <= kRequests; ++i) {
    unsigned int id = static_cast<unsigned int>(i);
    switch (i % 5) {
      case 0:
        ASSERT_EQ(0, NUVCEGetContents(id, s("2").get(), i % 5, 1, true));
        break;
      case 1:
        ASSERT_EQ(0, NUVCECheckContentExistence(id, s("/nuvmedia/101.mp3").get()));
        break;
      case 2:
        ASSERT_EQ(0, NUVCECheckContentForUpload(id, s("http://nowhere/").get()));
        break;
      case 3:
        ASSERT_EQ(0, NUVCEGetContent(id, s("2").get(), s("102").get(), true));
        break;
      default:
        ASSERT_EQ(0, NUVCEGetContents(id, s("9").get(), 0, 1, true));  // unknown container
    }
  }
  ASSERT_TRUE(answers().waitFor(kRequests));
  auto got = answers().answers();
  ASSERT_EQ(static_cast<size_t>(kRequests), got.size());
  for (int i = 0; i < kRequests; ++i) {
    EXPECT_EQ(i + 1, got[i].requestID);
    EXPECT_EQ("DMSAppCEngine", got[i].threadName);
    EXPECT_NE(std::this_thread::get_id(), got[i].threadId);
    EXPECT_EQ(got[0].threadId, got[i].threadId);
  }
  EXPECT_EQ(NUVCDSWL_RES_EXISTENCE_CHECK, got[0].type);
  EXPECT_EQ(NUVCDSWL_RES_SUCCESS, got[0].result);
  EXPECT_EQ(NUVCDSWL_RES_UPLOAD_CHECK, got[1].type);
  EXPECT_EQ(NUVCDSWL_RES_FAILURE, got[1].result);
  EXPECT_EQ(NUVCDSWL_RES_CONTENT, got[2].type);
  EXPECT_EQ(NUVCDSWL_RES_SUCCESS, got[2].result);
  EXPECT_EQ("102", got[2].text);
  EXPECT_EQ(NUVCDSWL_RES_CONTENTS, got[3].type);  // container 9: refused, still answered
  EXPECT_EQ(NUVCDSWL_RES_FAILURE, got[3].result);
  EXPECT_EQ(NUVCDSWL_RES_CONTENTS, got[4].type);
  EXPECT_EQ(NUVCDSWL_RES_SUCCESS, got[4].result);
  EXPECT_EQ((std::vector<std::string>{"100"}), got[4].listTexts);
}

TEST_F(Engine, ContainersAndCountsThroughTheEngine) {
  seed(content_test::insertVideoSql(VideoRow()));
  start();
  std::unique_ptr<ContainerPublicInfo> first(NUVCEGetFirstContainer(1));
  ASSERT_NE(nullptr, first);
  EXPECT_EQ("0", text(first->GetID()));
  EXPECT_EQ("-1", text(first->GetParentID()));
  EXPECT_EQ("Root", text(first->GetName()));
  EXPECT_EQ("object.container", text(first->GetUPnPClass()));
  EXPECT_EQ("0", text(first->GetAccessRestriction()));
  std::unique_ptr<ContainerPublicInfo> next(NUVCEGetNextContainer(1, first->GetID()));
  ASSERT_NE(nullptr, next);
  EXPECT_EQ("1", text(next->GetID()));
  std::unique_ptr<ContainerPublicInfo> video(NUVCEGetContainerInfo(1, s("3").get()));
  ASSERT_NE(nullptr, video);
  EXPECT_EQ("object.container.videoContainer", text(video->GetUPnPClass()));
  EXPECT_EQ(nullptr, NUVCEGetContainerInfo(1, s("44").get()));
  EXPECT_EQ(1, NUVCEGetContainerTotalMatches(s("3").get(), 1));
  EXPECT_EQ(-1, NUVCEGetContainerTotalMatches(s("44").get(), 1));
  Text added(NUVCECreateContainer(1, s("0").get(), s("New").get(), s("object.container").get()));
  EXPECT_EQ("4", text(added.get()));
  Text features(NUVCEGetBasicViewInfomationMA());
  ASSERT_NE(nullptr, features);
  EXPECT_EQ(0, NUVCESetDefaultContainer(4));
  Text videoOnly(NUVCEGetBasicViewInfomationMA());
  EXPECT_NE(std::string::npos, text(videoOnly.get())
                                   .find("version=\"1\"><container id=\"3\" "
                                         "type=\"object.item.videoItem\"/></"));
}

TEST_F(Engine, MimeTypeOfAPathIsLookedUpImageThenAudioThenVideo) {
  AudioRow audio;
  audio.path = "/m/shared";
  VideoRow video;
  video.path = "/m/shared";
  VideoRow onlyVideo;
  onlyVideo.id = 4;
  onlyVideo.path = "/m/video";
  seed(content_test::insertAudioSql(audio) + content_test::insertVideoSql(video) +
       "insert into VideoTable (id,class,date,size,FullPath,MimeType) values "
       "('4',3,'',0,'/m/video','video/x-divx');");
  start();
  EXPECT_EQ("audio/mpeg", text(Text(NUVCEGetContentMIMEType(s("/m/shared").get())).get()));
  EXPECT_EQ("video/x-divx", text(Text(NUVCEGetContentMIMEType(s("/m/video").get())).get()));
  EXPECT_EQ(nullptr, Text(NUVCEGetContentMIMEType(s("/m/none").get())));
}

TEST_F(Engine, CreatedObjectBecomesATemporaryContentAndIsAnnounced) {
  start();
  int counter = nextContainerUpdateCounter();
  FakeStack::instance().setStateVariable(kContentDirectory, "SystemUpdateID", "41");
  ASSERT_EQ(0, NUVCECreateContent(3, s("1").get(), created("beach.jpg")));
  ASSERT_TRUE(answers().waitFor(1));
  Answer a = answers().answers()[0];
  EXPECT_EQ(3, a.requestID);
  EXPECT_EQ(NUVCDSWL_RES_CONTENT_CREATED, a.type);
  EXPECT_EQ(NUVCDSWL_RES_SUCCESS, a.result);
  EXPECT_EQ("1", a.text);
  ASSERT_EQ(3u, a.listTexts.size());
  EXPECT_EQ("1", a.listTexts[0]);
  EXPECT_EQ("http://127.0.0.1:50001/upload/beach.jpg", a.listTexts[1]);  // title appended
  EXPECT_EQ(uploads() + "/beach.jpg", a.listTexts[2]);

  // The MIME type came from the extension; the rows hold placeholders.
  EXPECT_EQ("1|beach.jpg|image/jpeg|JPEG_LRG\n",
            shell(dbPath(), "select id, Title, MimeType, DLNAProfile from ImageTable;"));
  TemporaryContentsManager* temp = TemporaryContentsManager::GetInstance();
  EXPECT_EQ(1, temp->CheckContent(s("http://127.0.0.1:50001/upload/beach.jpg").get()));
  EXPECT_EQ(1, temp->GetTotalMatches(s("1").get()));
  {
    TemporaryContentsLock lock(temp);
    TempContentInfo* entry = lock.entryOf(s(uploads() + "/beach.jpg").get());
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ("1", text(entry->containerID.get()));
    EXPECT_EQ("1", text(entry->contentID.get()));
    EXPECT_EQ(1, entry->contentType);
    EXPECT_NE(0u, entry->timerHandle);
  }

  std::string value;
  ASSERT_TRUE(FakeStack::instance().stateVariable(kContentDirectory, "ContainerUpdateIDs", &value));
  EXPECT_EQ("1," + std::to_string(counter), value);
  ASSERT_TRUE(FakeStack::instance().stateVariable(kContentDirectory, "SystemUpdateID", &value));
  EXPECT_EQ("42", value);
  EXPECT_EQ(counter + 1, nextContainerUpdateCounter());
}

TEST_F(Engine, FailedCreationAnswersTypeOneFailureAndAddsNothing) {
  start();
  ContentsEnumeratorArgument* untitled = created("x.jpg");
  untitled->ClearArgument();  // no parent, no path, no title
  ASSERT_EQ(0, NUVCECreateContent(6, s("1").get(), untitled));
  ASSERT_TRUE(answers().waitFor(1));
  Answer a = answers().answers()[0];
  EXPECT_EQ(NUVCDSWL_RES_CONTENT_CREATED, a.type);
  EXPECT_EQ(NUVCDSWL_RES_FAILURE, a.result);
  EXPECT_FALSE(a.listPresent);
  EXPECT_EQ(0, TemporaryContentsManager::GetInstance()->GetTotalMatches(s("1").get()));
  EXPECT_EQ(0u, FakeStack::instance().count("NUVDMSUpdateStateVariableValue"));
}

TEST_F(Engine, TypeTenFailureIsForwardedAsTypeOneAndAddsNothing) {
  start();
  NotifyCDSWLResponse(5, NUVCDSWL_RES_CONTENT_RESERVED, NUVCDSWL_RES_FAILURE, 0, nullptr, nullptr);
  auto got = answers().answers();
  ASSERT_EQ(1u, got.size());
  EXPECT_EQ(5, got[0].requestID);
  EXPECT_EQ(NUVCDSWL_RES_CONTENT_CREATED, got[0].type);
  EXPECT_EQ(NUVCDSWL_RES_FAILURE, got[0].result);
  for (const char* c : {"1", "2", "3"}) {
    EXPECT_EQ(0, TemporaryContentsManager::GetInstance()->GetTotalMatches(s(c).get()));
  }
  EXPECT_EQ(0u, FakeStack::instance().count("NUVDMSUpdateStateVariableValue"));
}

TEST_F(Engine, CreateInAnUnknownContainerIsRefusedAtOnce) {
  start();
  LogCapture log;
  EXPECT_EQ(1, NUVCECreateContent(1, s("99").get(), created("a.jpg")));
  EXPECT_TRUE(log.has("[NUVCDSWL] No such container NUVCECreateContent"));
  EXPECT_EQ(1, NUVCECreateContent(1, s("1").get(), nullptr));
}

TEST_F(Engine, RegisteringTheUploadEndsTheTemporaryLifeAndItsTimer) {
  TemporaryContentsManager::SetAutoDestroyDelayForTest(400);
  start();
  ASSERT_EQ("1", create("up.jpg", 1));
  LogCapture log;
  Text id(
      NUVCERegisterUploadedContent(0, s("/upload/up.jpg").get(), s(uploads() + "/up.jpg").get()));
  ASSERT_NE(nullptr, id);
  EXPECT_EQ("1", text(id.get()));
  EXPECT_TRUE(log.has("Deleting content with ID - 1 from TempContentsManager"));
  EXPECT_TRUE(log.has("[TemporaryContentsManager] Deleted content with ID 1 -- to remove"));
  EXPECT_EQ(0, TemporaryContentsManager::GetInstance()->GetTotalMatches(s("1").get()));
  // Past the (shortened) delay, nothing was destroyed.
  ASSERT_TRUE(timer_barrier::passBeyond(600));
  EXPECT_FALSE(log.has("TemporaryContentsManager::AutoDestroyCallback"));
  EXPECT_EQ(1u, answers().answers().size());
  EXPECT_EQ("1|1\n", shell(dbPath(),
                           "select (select count(*) from ObjectTable), (select count(*) "
                           "from ImageTable);"));

  EXPECT_EQ(nullptr, Text(NUVCERegisterUploadedContent(0, nullptr, s("/no/such/file").get())));
  EXPECT_TRUE(
      log.has("[NUVCERegisterUploadedContent]TempContentsManager returned ContentID as NULL"));
}

TEST_F(Engine, UploadAndExistenceChecks) {
  seed(content_test::insertImageSql(ImageRow()));
  start();
  ASSERT_EQ("2", create("ready.jpg", 1));
  const std::string importURI = "http://127.0.0.1:50001/upload/ready.jpg";
  ASSERT_EQ(0, NUVCECheckContentForUpload(10, s(importURI).get()));
  ASSERT_EQ(0, NUVCECheckContentForUpload(11, s(importURI + "x").get()));
  ASSERT_EQ(0, NUVCECheckContentExistence(12, s("/nuvmedia/1.jpg").get()));
  ASSERT_EQ(0, NUVCECheckContentExistence(13, s("/nuvmedia/9.jpg").get()));
  ASSERT_EQ(0, NUVCECheckContentExistence(14, s("nuvmedia/1.jpg").get()));
  ASSERT_TRUE(answers().waitFor(6));
  auto got = answers().answers();
  EXPECT_EQ(NUVCDSWL_RES_UPLOAD_CHECK, got[1].type);
  EXPECT_EQ(NUVCDSWL_RES_SUCCESS, got[1].result);
  EXPECT_EQ(NUVCDSWL_RES_FAILURE, got[2].result);
  EXPECT_EQ(NUVCDSWL_RES_EXISTENCE_CHECK, got[3].type);
  EXPECT_EQ(NUVCDSWL_RES_SUCCESS, got[3].result);
  EXPECT_EQ(NUVCDSWL_RES_FAILURE, got[4].result);
  EXPECT_EQ(NUVCDSWL_RES_FAILURE, got[5].result);

  EXPECT_EQ(0, NUVCESetCreatedContentTransferID(s(importURI).get(), 77));
  EXPECT_EQ(1, NUVCESetCreatedContentTransferID(s("http://other/").get(), 78));
  TemporaryContentsManager* temp = TemporaryContentsManager::GetInstance();
  {
    TemporaryContentsLock lock(temp);
    TempContentInfo* entry = lock.entryOf(77u);
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ("2", text(entry->contentID.get()));
    EXPECT_EQ(nullptr, lock.entryOf(78u));
  }
}

TEST_F(Engine, DestroyRemovesFileRowsAndTheTemporaryEntry) {
  start();
  ASSERT_EQ("1", create("doomed.jpg", 1));
  content_test::writeFile(uploads() + "/doomed.jpg", "partial upload");
  ASSERT_EQ(0, NUVCEDestroyContent(20, s("1").get(), s("1").get()));
  ASSERT_TRUE(answers().waitFor(2));
  Answer a = answers().answers()[1];
  EXPECT_EQ(20, a.requestID);
  EXPECT_EQ(NUVCDSWL_RES_CONTENT_DESTROYED, a.type);
  EXPECT_EQ(NUVCDSWL_RES_SUCCESS, a.result);
  EXPECT_FALSE(a.listPresent);  // forwarded without the list
  EXPECT_FALSE(fileExists(uploads() + "/doomed.jpg"));
  EXPECT_EQ("0|0\n", shell(dbPath(),
                           "select (select count(*) from ObjectTable), (select count(*) "
                           "from ImageTable);"));
  EXPECT_EQ(0, TemporaryContentsManager::GetInstance()->GetTotalMatches(s("1").get()));

  ASSERT_EQ(0, NUVCEDestroyContent(21, s("1").get(), s("1").get()));  // gone already
  ASSERT_TRUE(answers().waitFor(3));
  EXPECT_EQ(NUVCDSWL_RES_FAILURE, answers().answers()[2].result);
}

TEST_F(Engine, ResponseTableForwardsKnownTypesAndDropsOthers) {
  start();
  LogCapture log;
  DMSAppString note("note");
  NotifyCDSWLResponse(1, NUVCDSWL_RES_PASS_THROUGH, NUVCDSWL_RES_SUCCESS, 3, &note, nullptr);
  NotifyCDSWLResponse(2, NUVCDSWL_RES_UPLOAD_CHECK, NUVCDSWL_RES_FAILURE, 0, nullptr, nullptr);
  NotifyCDSWLResponse(3, NUVCDSWL_RES_EXISTENCE_CHECK, NUVCDSWL_RES_SUCCESS, 0, nullptr, nullptr);
  NotifyCDSWLResponse(4, NUVCDSWL_RES_UPLOAD_REGISTERED, NUVCDSWL_RES_SUCCESS, 0, &note, nullptr);
  NotifyCDSWLResponse(5, static_cast<NUVCDSWL_RES_TYPE>(5), NUVCDSWL_RES_SUCCESS, 0, nullptr,
                      nullptr);
  NotifyCDSWLResponse(6, NUVCDSWL_RES_STOP_TRANSFER, NUVCDSWL_RES_SUCCESS, 0, nullptr, nullptr);
  EXPECT_EQ(2u, log.count("[NUVCDSWL] Switch Case unavailable NotifyCDSWLResponse()"));
  auto got = answers().answers();
  ASSERT_EQ(4u, got.size());
  EXPECT_EQ(NUVCDSWL_RES_PASS_THROUGH, got[0].type);
  EXPECT_EQ("note", got[0].text);
  EXPECT_EQ(NUVCDSWL_RES_UPLOAD_CHECK, got[1].type);
  EXPECT_EQ(NUVCDSWL_RES_FAILURE, got[1].result);
  EXPECT_EQ(NUVCDSWL_RES_EXISTENCE_CHECK, got[2].type);
  EXPECT_EQ(NUVCDSWL_RES_UPLOAD_REGISTERED, got[3].type);
  EXPECT_EQ("note", got[3].text);
}

TEST_F(Engine, TypeTwoRemovesTheTemporaryEntryOnlyOnSuccess) {
  start();
  ASSERT_EQ("1", create("kept.jpg", 1));
  DMSAppString id("1");
  DMSCDSList list;
  list.AddItem(&id);
  NotifyCDSWLResponse(8, NUVCDSWL_RES_CONTENT_DESTROYED, NUVCDSWL_RES_FAILURE, 0, nullptr, &list);
  EXPECT_EQ(1, TemporaryContentsManager::GetInstance()->GetTotalMatches(s("1").get()));
  NotifyCDSWLResponse(9, NUVCDSWL_RES_CONTENT_DESTROYED, NUVCDSWL_RES_SUCCESS, 0, nullptr, &list);
  EXPECT_EQ(0, TemporaryContentsManager::GetInstance()->GetTotalMatches(s("1").get()));
  list.RemoveAllListItem(DMSCDSList::Deleter{});
  EXPECT_EQ(3u, answers().answers().size());
}

TEST_F(Engine, WithoutACallbackNothingIsSentAndListsAreReleased) {
  start();
  NUVCEDeregisterResponseCallback();
  DMSCDSList* list = newRecordList(1, 1);
  ASSERT_NE(nullptr, list);
  appendRecord(list, new ContentsEnumeratorArgument());
  NotifyCDSWLResponse(1, NUVCDSWL_RES_CONTENTS, NUVCDSWL_RES_SUCCESS, 0, nullptr, list);
  ASSERT_EQ(0, NUVCEGetContents(2, s("1").get(), 0, 0, true));
  NUVCETerminateWrapper();  // drains the queue
  EXPECT_TRUE(answers().answers().empty());
}

TEST_F(Engine, TerminateAnswersWhatWasQueuedFirst) {
  start();
  for (unsigned int i = 1; i <= 40; ++i)
    ASSERT_EQ(0, NUVCEGetContents(i, s("0").get(), 0, 1, true));
  EXPECT_EQ(0, NUVCETerminateWrapper());
  EXPECT_EQ(40u, answers().answers().size());
  EXPECT_EQ(1, NUVCEGetContents(41, s("0").get(), 0, 1, true));  // stopped
  start();                                                       // and it starts again
  ASSERT_EQ(0, NUVCEGetContents(42, s("0").get(), 0, 1, true));
  ASSERT_TRUE(answers().waitFor(41));
}

// Holds the engine inside a callback until released.
struct Latch {
  std::mutex mutex;
  std::condition_variable changed;
  bool entered = false;
  bool released = false;
};
Latch* gLatch = nullptr;

void blockingCallback(int requestID, NUVCDSWL_RES_TYPE type, NUVCDSWL_RES_RESULT result, int value,
                      DMSAppString* t, DMSCDSList* list) {
  if (requestID == 1) {
    std::unique_lock<std::mutex> lock(gLatch->mutex);
    gLatch->entered = true;
    gLatch->changed.notify_all();
    gLatch->changed.wait(lock, [] { return gLatch->released; });
  }
  AnswerRecorder::callback(requestID, type, result, value, t, list);
}

TEST_F(Engine, QueueIsBounded) {
  Latch latch;
  gLatch = &latch;
  NUVCERegisterResponseCallback(&blockingCallback);
  start();
  ASSERT_EQ(0, NUVCEGetContents(1, s("0").get(), 0, 1, true));
  {
    std::unique_lock<std::mutex> lock(latch.mutex);
    ASSERT_TRUE(
        latch.changed.wait_for(lock, std::chrono::seconds(20), [&] { return latch.entered; }));
  }
  LogCapture log;
  unsigned int queued = 0;
  while (queued < 10000 && NUVCEGetContents(2 + queued, s("0").get(), 0, 1, true) == 0) ++queued;
  EXPECT_EQ(4096u, queued);
  EXPECT_TRUE(log.has("[ContentEngine] request queue full, request refused"));
  {
    std::lock_guard<std::mutex> lock(latch.mutex);
    latch.released = true;
  }
  latch.changed.notify_all();
  EXPECT_TRUE(answers().waitFor(queued + 1));
  NUVCETerminateWrapper();
  gLatch = nullptr;
}

void announceTwiceChild() {
  FakeStack::instance().reset();
  FakeStack::instance().setStateVariable(kContentDirectory, "SystemUpdateID", "-7");
  bool first = nextContainerUpdateCounter() == 5;
  announceContentChange(3, 2);
  std::string ids, system;
  FakeStack::instance().stateVariable(kContentDirectory, "ContainerUpdateIDs", &ids);
  FakeStack::instance().stateVariable(kContentDirectory, "SystemUpdateID", &system);
  bool firstOk = ids == "2,5" && system == "1";
  NUVUtilUpdateTempFileInfo(3, 1, nullptr);
  FakeStack::instance().stateVariable(kContentDirectory, "ContainerUpdateIDs", &ids);
  FakeStack::instance().stateVariable(kContentDirectory, "SystemUpdateID", &system);
  _exit(first && firstOk && ids == "1,6" && system == "2" ? 0 : 1);
}

TEST_F(Engine, AnnouncementsCountFromFiveAndNeverGoBelowOne) {
  ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(announceTwiceChild(), ::testing::ExitedWithCode(0), "");
}

TEST_F(Engine, UnreadableSystemUpdateIdIsLeftAlone) {
  FakeStack::instance().failStateReads = true;
  LogCapture log;
  announceContentChange(0, 3);
  EXPECT_TRUE(log.has("[announceContentChange] SystemUpdateID could not be read", 2));
  EXPECT_EQ(1u, FakeStack::instance().count("NUVDMSUpdateStateVariableValue"));
}

}  // namespace

TEST_F(Engine, AllocationFailureInARequestBecomesItsFailureResult) {
  AudioRow r;
  r.id = 100;
  r.path = "/m/a.mp3";
  r.uri = "/nuvmedia/100.mp3";
  seed(content_test::insertAudioSql(r));
  start();
  // Each allocation of the caller's thread fails in turn: the request is
  // refused (1) or queued (0), and nothing escapes into the C caller.
  Text container = s("2");
  size_t queued = 0;
  const int points =
      failing_allocations::sweep([&] { return NUVCEGetContents(7, container.get(), 0, 10, true); },
                                 [&](int rc, bool failed) {
                                   EXPECT_TRUE(rc == 0 || (failed && rc == 1)) << rc;
                                   if (rc == 0) ++queued;
                                 });
  EXPECT_GT(points, 0);
  EXPECT_TRUE(answers().waitFor(queued));
  // A synchronous lookup: null or the type.
  Text path = s("/m/a.mp3");
  failing_allocations::sweep([&] { return NUVCEGetContentMIMEType(path.get()); },
                             [](DMSAppString* mime, bool failed) {
                               EXPECT_TRUE(mime != nullptr || failed);
                               delete mime;
                             });
}
