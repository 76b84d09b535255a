// TemporaryContentsManager: entries of created objects awaiting upload and
// their auto-destroy timers.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "content_test_support.h"
#include "dms_content_engine.h"
#include "dms_list.h"
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
    EXPECT_EQ("11", text(static_cast<TempContentInfo*>(images->ReadFirstItemData())->contentID));
    EXPECT_EQ("12", text(static_cast<TempContentInfo*>(images->ReadLastItemData())->contentID));
    images->RemoveAllListItem(DMSCDSList::Deleter{});
    delete images;
    EXPECT_EQ(nullptr, temp()->GetContentList(s("2").get()));

    TempContentInfo* b = temp()->GetContentInformation(s("/up/b.jpg").get());
    ASSERT_NE(nullptr, b);
    EXPECT_TRUE(log.has("GetContentInformation /up/b.jpg"));
    EXPECT_EQ("12", text(b->contentID));
    EXPECT_EQ("1", text(b->containerID));
    EXPECT_EQ("http://h/b.jpg", text(b->importURI));
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
    EXPECT_EQ("13", text(temp()->GetContentInformation(9u)->contentID));
    EXPECT_EQ(nullptr, temp()->GetContentInformation(0u));
  }

  EXPECT_EQ(1, temp()->RemoveContent(s("12").get()));
  EXPECT_TRUE(log.has("[TemporaryContentsManager] Deleted content with ID 12 -- to remove"));
  EXPECT_EQ(1, temp()->GetTotalMatches(s("1").get()));
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
