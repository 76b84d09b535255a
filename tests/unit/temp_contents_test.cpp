// TemporaryContentsManager: entries of created objects awaiting upload and
// their auto-destroy timers.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "content_test_support.h"
#include "dms_content_engine.h"
#include "dms_list.h"
#include "dms_string.h"
#include "dms_timer.h"
#include "log_capture.h"
#include "temporary_contents_manager.h"
#include "timer_barrier.h"

namespace {

using content_test::AnswerRecorder;
using content_test::ContentTest;
using content_test::dbPath;
using content_test::fileExists;
using content_test::scratchPath;
using content_test::shell;
using content_test::text;

using Text = std::unique_ptr<DMSAppString>;
using Clock = std::chrono::steady_clock;
Text s(const std::string& value) { return Text(new DMSAppString(value.c_str())); }

ContentsEnumeratorArgument* record(int kind, const std::string& path, const std::string& uri) {
  auto* r = new ContentsEnumeratorArgument();
  r->SetContentType(kind);
  r->SetFilePath(new DMSAppString(path.c_str()));
  r->SetImportURI(new DMSAppString(uri.c_str()));
  return r;
}

// Polls until `done` holds or `limit` passes.
template <typename Predicate>
bool waitUntil(Predicate done, std::chrono::milliseconds limit) {
  Clock::time_point end = Clock::now() + limit;
  while (!done()) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

class TempContents : public content_test::EngineTest {
 protected:
  static TemporaryContentsManager* temp() { return TemporaryContentsManager::GetInstance(); }

  // Creates an object through the engine; its ID, or "".
  static std::string createObject(const std::string& name) {
    auto* r = new ContentsEnumeratorArgument();
    r->SetContentType(2);
    r->SetContentParentID(new DMSAppString("2"));
    r->SetFilePath(new DMSAppString((uploads() + "/" + name).c_str()));
    r->SetTitle(new DMSAppString(name.c_str()));
    r->SetDLNAPN(new DMSAppString("MP3"));
    r->SetImportURI(new DMSAppString("http://127.0.0.1:50001/upload/"));
    size_t before = AnswerRecorder::instance().answers().size();
    if (NUVCECreateContent(1, s("2").get(), r) != 0) return "";
    if (!AnswerRecorder::instance().waitFor(before + 1)) return "";
    return AnswerRecorder::instance().answers().back().text;
  }

  static bool objectGone() {
    return shell(dbPath(),
                 "select (select count(*) from ObjectTable), (select count(*) from "
                 "AudioTable);") == "0|0\n";
  }
};

TEST_F(TempContents, NullArgumentsAreRefused) {
  LogCapture log;
  EXPECT_EQ(0, temp()->AddContent(nullptr, record(1, "/a", "/u")));
  EXPECT_EQ(0, temp()->AddContent(s("1").get(), nullptr));
  EXPECT_EQ(2u, log.count("[TemporaryContentsManager] NULL IN Arguments AddContent()"));
  log.clear();
  EXPECT_EQ(0, temp()->RemoveContent(nullptr));
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(0, temp()->RemoveContent(s("5").get()));
  EXPECT_TRUE(
      log.has("[TemporaryContentsManager:RemoveContent] Did not find content with ID   "
              "5-- to remove"));
}

TEST_F(TempContents, EntriesAreFoundByContainerPathUriAndTransfer) {
  ASSERT_EQ(1, temp()->AddContent(s("11").get(), record(1, "/up/a.jpg", "http://h/a.jpg")));
  ASSERT_EQ(1, temp()->AddContent(s("12").get(), record(1, "/up/b.jpg", "http://h/b.jpg")));
  ASSERT_EQ(1, temp()->AddContent(s("13").get(), record(3, "/up/c.mp4", "http://h/c.mp4")));
  EXPECT_EQ(2, temp()->GetTotalMatches(s("1").get()));
  EXPECT_EQ(1, temp()->GetTotalMatches(s("3").get()));
  EXPECT_EQ(0, temp()->GetTotalMatches(s("2").get()));

  LogCapture log;
  {
    TemporaryContentsLock lock(temp());
    DMSCDSList* images = temp()->GetContentList(s("1").get());
    ASSERT_NE(nullptr, images);
    ASSERT_EQ(2, images->Size());
    EXPECT_EQ("11",
              text(static_cast<TempContentInfo*>(images->ReadFirstItemData())->contentID.get()));
    EXPECT_EQ("12",
              text(static_cast<TempContentInfo*>(images->ReadLastItemData())->contentID.get()));
    images->RemoveAllListItem(DMSCDSList::Deleter{});
    delete images;
    EXPECT_EQ(nullptr, temp()->GetContentList(s("2").get()));

    TempContentInfo* b = temp()->GetContentInformation(s("/up/b.jpg").get());
    ASSERT_NE(nullptr, b);
    EXPECT_TRUE(log.has("GetContentInformation /up/b.jpg"));
    EXPECT_EQ("12", text(b->contentID.get()));
    EXPECT_EQ("1", text(b->containerID.get()));
    EXPECT_EQ("http://h/b.jpg", text(b->importURI.get()));
    EXPECT_EQ(0u, b->transferID);
    EXPECT_NE(0u, b->timerHandle);
    EXPECT_EQ(nullptr, temp()->GetContentInformation(s("/up/none.jpg").get()));
  }

  EXPECT_EQ(1, temp()->CheckContent(s("http://h/c.mp4").get()));
  EXPECT_EQ(0, temp()->CheckContent(s("http://h/d.mp4").get()));
  EXPECT_EQ(1, temp()->SetTransferID(s("http://h/c.mp4").get(), 9));
  EXPECT_EQ(0, temp()->SetTransferID(s("http://h/d.mp4").get(), 9));
  {
    TemporaryContentsLock lock(temp());
    ASSERT_NE(nullptr, temp()->GetContentInformation(9u));
    EXPECT_EQ("13", text(temp()->GetContentInformation(9u)->contentID.get()));
    EXPECT_EQ(nullptr, temp()->GetContentInformation(0u));
  }

  EXPECT_EQ(1, temp()->RemoveContent(s("12").get()));
  EXPECT_TRUE(log.has("[TemporaryContentsManager] Deleted content with ID 12 -- to remove"));
  EXPECT_EQ(1, temp()->GetTotalMatches(s("1").get()));
}

TEST_F(TempContents, CopiesOfAnEntryHoldItsFields) {
  ASSERT_EQ(1, temp()->AddContent(s("12").get(), record(1, "/up/b.jpg", "http://h/b.jpg")));
  ASSERT_EQ(1, temp()->AddContent(s("13").get(), record(3, "/up/c.mp4", "http://h/c.mp4")));
  ASSERT_EQ(1, temp()->ClaimUpload(s("/up/b.jpg").get(), 5));
  ASSERT_EQ(1, temp()->SetTransferID(s("http://h/c.mp4").get(), 9));

  LogCapture log;
  std::optional<TempContentSnapshot> b = temp()->findContent(s("/up/b.jpg").get());
  ASSERT_TRUE(b.has_value());
  EXPECT_EQ(1u, log.count("GetContentInformation /up/b.jpg"));
  EXPECT_EQ("1", b->containerID);
  EXPECT_EQ("12", b->contentID);
  EXPECT_EQ("http://h/b.jpg", b->importURI);
  EXPECT_EQ("/up/b.jpg", b->filePath);
  EXPECT_EQ(0u, b->transferID);
  EXPECT_NE(0u, b->timerHandle);
  EXPECT_EQ(1, b->contentType);
  EXPECT_EQ(5, b->uploadConnection);

  std::optional<TempContentSnapshot> c = temp()->findContent(9u);
  ASSERT_TRUE(c.has_value());
  EXPECT_EQ("3", c->containerID);
  EXPECT_EQ("13", c->contentID);
  EXPECT_EQ("/up/c.mp4", c->filePath);
  EXPECT_EQ(9u, c->transferID);
  EXPECT_EQ(3, c->contentType);
  EXPECT_EQ(0, c->uploadConnection);
}

TEST_F(TempContents, UnknownPathsAndTransfersGiveNoCopy) {
  ASSERT_EQ(1, temp()->AddContent(s("12").get(), record(1, "/up/b.jpg", "http://h/b.jpg")));
  LogCapture log;
  EXPECT_FALSE(temp()->findContent(s("/up/none.jpg").get()).has_value());
  EXPECT_TRUE(log.has("GetContentInformation /up/none.jpg"));
  EXPECT_FALSE(temp()->findContent(nullptr).has_value());
  // 0 is "no transfer yet", which every new entry has.
  EXPECT_FALSE(temp()->findContent(0u).has_value());
  EXPECT_FALSE(temp()->findContent(10u).has_value());
  EXPECT_TRUE(temp()->contentsIn(s("2").get()).empty());
  EXPECT_TRUE(temp()->contentsIn(nullptr).empty());
}

TEST_F(TempContents, CopyStaysValidAfterItsEntryIsRemoved) {
  ASSERT_EQ(1, temp()->AddContent(s("12").get(), record(1, "/up/b.jpg", "http://h/b.jpg")));
  std::optional<TempContentSnapshot> copy;
  std::vector<TempContentSnapshot> images;
  {
    TemporaryContentsLock lock(temp());
    copy = lock.contentOf(s("/up/b.jpg").get());
    images = temp()->contentsIn(s("1").get());
  }
  ASSERT_EQ(1, temp()->RemoveContent(s("12").get()));
  EXPECT_FALSE(temp()->findContent(s("/up/b.jpg").get()).has_value());
  ASSERT_TRUE(copy.has_value());
  EXPECT_EQ("12", copy->contentID);
  EXPECT_EQ("http://h/b.jpg", copy->importURI);
  EXPECT_EQ("/up/b.jpg", copy->filePath);
  ASSERT_EQ(1u, images.size());
  EXPECT_EQ("12", images[0].contentID);

  // Nor does the manager's end take the copies with it.
  TemporaryContentsManager::DestroyInstance();
  EXPECT_EQ("1", copy->containerID);
  EXPECT_EQ("http://h/b.jpg", images[0].importURI);
}

TEST_F(TempContents, ContentsInCopiesTheContainersEntriesInOrder) {
  ASSERT_EQ(1, temp()->AddContent(s("11").get(), record(1, "/up/a.jpg", "http://h/a.jpg")));
  ASSERT_EQ(1, temp()->AddContent(s("13").get(), record(3, "/up/c.mp4", "http://h/c.mp4")));
  ASSERT_EQ(1, temp()->AddContent(s("12").get(), record(1, "/up/b.jpg", "http://h/b.jpg")));
  std::vector<TempContentSnapshot> images = temp()->contentsIn(s("1").get());
  ASSERT_EQ(2u, images.size());
  EXPECT_EQ("11", images[0].contentID);
  EXPECT_EQ("/up/a.jpg", images[0].filePath);
  EXPECT_EQ("12", images[1].contentID);
  EXPECT_EQ("http://h/b.jpg", images[1].importURI);
  std::vector<TempContentSnapshot> videos = temp()->contentsIn(s("3").get());
  ASSERT_EQ(1u, videos.size());
  EXPECT_EQ("13", videos[0].contentID);
}

TEST_F(TempContents, LockWithoutManagerFindsAndChangesNothing) {
  TemporaryContentsLock none(nullptr);
  EXPECT_EQ(nullptr, none.manager());
  EXPECT_FALSE(none.contentOf(s("/up/b.jpg").get()).has_value());
  EXPECT_FALSE(none.contentOf(9u).has_value());
  EXPECT_EQ(0u, none.restartAutoDestroyTimer("12"));
}

TEST_F(TempContents, RestartReplacesTheTimerOfThatContentOnly) {
  ASSERT_EQ(1, temp()->AddContent(s("11").get(), record(1, "/up/a.jpg", "http://h/a.jpg")));
  ASSERT_EQ(1, temp()->AddContent(s("12").get(), record(1, "/up/b.jpg", "http://h/b.jpg")));
  const unsigned long a = temp()->findContent(s("/up/a.jpg").get())->timerHandle;
  const unsigned long b = temp()->findContent(s("/up/b.jpg").get())->timerHandle;
  ASSERT_NE(0u, a);
  ASSERT_NE(0u, b);

  unsigned long restarted = 0;
  {
    TemporaryContentsLock lock(temp());
    restarted = lock.restartAutoDestroyTimer("12");
  }
  ASSERT_NE(0u, restarted);
  EXPECT_NE(b, restarted);
  EXPECT_EQ(restarted, temp()->findContent(s("/up/b.jpg").get())->timerHandle);
  EXPECT_EQ(a, temp()->findContent(s("/up/a.jpg").get())->timerHandle);

  EXPECT_EQ(0u, temp()->restartAutoDestroyTimer("99"));
  EXPECT_EQ(0u, temp()->restartAutoDestroyTimer(""));
  EXPECT_EQ(a, temp()->findContent(s("/up/a.jpg").get())->timerHandle);
  EXPECT_EQ(restarted, temp()->findContent(s("/up/b.jpg").get())->timerHandle);
}

TEST_F(TempContents, RestartedTimerIsTheOneThatFires) {
  // The first timer runs the default 35 s; the restarted one the short delay.
  ASSERT_EQ(1, temp()->AddContent(s("31").get(), record(1, "/up/r.jpg", "http://h/r.jpg")));
  const unsigned long first = temp()->findContent(s("/up/r.jpg").get())->timerHandle;
  ASSERT_NE(0u, first);
  TemporaryContentsManager::SetAutoDestroyDelayForTest(200);
  LogCapture log;
  const unsigned long second = temp()->restartAutoDestroyTimer("31");
  ASSERT_NE(0u, second);
  EXPECT_NE(first, second);
  EXPECT_EQ(nullptr, Text(DMSAppTimer::GetInstance()->NUVGetTimerNameFromHandle(first)));

  // The new timer is recognised and forgotten by its entry, which stays:
  // no engine runs to destroy the object.
  ASSERT_TRUE(timer_barrier::passBeyond(400));
  EXPECT_EQ(1u,
            log.count("[TemporaryContentsManager]  found the temp object -- AutoDestroyCallback"));
  EXPECT_FALSE(
      log.has("[TemporaryContentsManager]  Did not find the temp object -- AutoDestroyCallback"));
  std::optional<TempContentSnapshot> entry = temp()->findContent(s("/up/r.jpg").get());
  ASSERT_TRUE(entry.has_value());
  EXPECT_EQ(0u, entry->timerHandle);
}

TEST_F(TempContents, UnknownTimerIsReported) {
  temp();
  LogCapture log;
  TemporaryContentsManager::AutoDestroyCallback(987654, 0, false);
  EXPECT_TRUE(log.has("TemporaryContentsManager::AutoDestroyCallback"));
  EXPECT_TRUE(
      log.has("[TemporaryContentsManager]  Did not find the temp object -- "
              "AutoDestroyCallback"));
}

TEST_F(TempContents, DestroyingTheManagerStopsItsTimers) {
  TemporaryContentsManager::SetAutoDestroyDelayForTest(300);
  ASSERT_EQ(1, temp()->AddContent(s("21").get(), record(1, "/up/x.jpg", "http://h/x")));
  LogCapture log;
  TemporaryContentsManager::DestroyInstance();
  ASSERT_TRUE(timer_barrier::passBeyond(500));
  EXPECT_FALSE(log.has("TemporaryContentsManager::AutoDestroyCallback"));
}

TEST_F(TempContents, ShortDelayDestroysRowsAndPlaceholderFile) {
  TemporaryContentsManager::SetAutoDestroyDelayForTest(300);
  ASSERT_EQ(0, NUVCEInitializeWrapper());
  LogCapture log;
  ASSERT_EQ("1", createObject("late.mp3"));
  content_test::writeFile(uploads() + "/late.mp3", "placeholder");
  ASSERT_TRUE(AnswerRecorder::instance().waitFor(2, std::chrono::seconds(20)));
  auto answers = AnswerRecorder::instance().answers();
  EXPECT_EQ(0, answers[1].requestID);
  EXPECT_EQ(NUVCDSWL_RES_CONTENT_DESTROYED, answers[1].type);
  EXPECT_EQ(NUVCDSWL_RES_SUCCESS, answers[1].result);
  EXPECT_TRUE(log.has("TemporaryContentsManager::AutoDestroyCallback"));
  EXPECT_TRUE(log.has("[TemporaryContentsManager]  found the temp object -- AutoDestroyCallback"));
  EXPECT_FALSE(fileExists(uploads() + "/late.mp3"));
  EXPECT_TRUE(objectGone());
  EXPECT_EQ(0, temp()->GetTotalMatches(s("2").get()));
}

TEST_F(TempContents, CreatedObjectWithoutUploadIsDestroyedAfter35Seconds) {
  ASSERT_EQ(35000u, TemporaryContentsManager::GetAutoDestroyDelay());
  ASSERT_EQ(0, NUVCEInitializeWrapper());
  Clock::time_point created = Clock::now();
  ASSERT_EQ("1", createObject("never.mp3"));
  content_test::writeFile(uploads() + "/never.mp3", "placeholder");

  // Still there well before the 35 s are up.
  std::this_thread::sleep_until(created + std::chrono::seconds(30));
  EXPECT_EQ(1u, AnswerRecorder::instance().answers().size());
  EXPECT_FALSE(objectGone());
  EXPECT_EQ(1, temp()->GetTotalMatches(s("2").get()));

  ASSERT_TRUE(AnswerRecorder::instance().waitFor(2, std::chrono::seconds(40)));
  std::chrono::duration<double> elapsed = Clock::now() - created;
  EXPECT_GE(elapsed.count(), 34.5);
  EXPECT_LT(elapsed.count(), 60.0);
  EXPECT_EQ(NUVCDSWL_RES_CONTENT_DESTROYED, AnswerRecorder::instance().answers()[1].type);
  EXPECT_TRUE(waitUntil([] { return objectGone(); }, std::chrono::seconds(5)));
  EXPECT_FALSE(fileExists(uploads() + "/never.mp3"));
  EXPECT_EQ(0, temp()->GetTotalMatches(s("2").get()));
}

}  // namespace
