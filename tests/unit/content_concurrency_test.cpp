// The content store under concurrent use: the engine thread, several
// HTTP-like threads doing lookups, action threads walking the tree and
// creating objects, and the timer thread destroying those never uploaded.
// Run under ThreadSanitizer as well (-DDMS_TSAN=ON).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "container_info.h"
#include "content_limits.h"
#include "content_test_support.h"
#include "dms_content_engine.h"
#include "dms_mem_ptr.h"
#include "temporary_contents_manager.h"

namespace {

using content_test::AnswerRecorder;
using content_test::ContentTest;
using content_test::ImageRow;
using content_test::scratchPath;
using content_test::text;

using Text = std::unique_ptr<DMSAppString>;
Text s(const std::string& value) { return Text(new DMSAppString(value.c_str())); }

constexpr int kImages = 40;
constexpr auto kRunTime = std::chrono::milliseconds(1500);

class Concurrency : public content_test::EngineTest {};

// One HTTP-like thread: resolves URIs, thumbnails and temporary contents,
// and counts every answer that is not the expected one.
void httpLookups(std::atomic<bool>* stop, std::atomic<int>* wrong, std::atomic<int>* done,
                 int seed) {
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  TemporaryContentsManager* temp = TemporaryContentsManager::GetInstance();
  for (int i = seed; !stop->load(); ++i) {
    int id = 1 + i % kImages;
    std::string expected = "/media/p" + std::to_string(id) + ".jpg";
    Text path(db->GetFilePathFromURI(s("/nuvmedia/" + std::to_string(id) + ".jpg").get()));
    if (text(path.get()) != expected) ++*wrong;
    Text mime(db->GetMimeTypeFromURI2(s("/nuvmedia/" + std::to_string(id) + ".jpg").get()));
    if (text(mime.get()) != "image/jpeg") ++*wrong;
    DMSAppString* thumbPath = nullptr;
    int offset = 0, length = 0, video = 0, substitute = 0;
    char* buffer = nullptr;
    Text thumbUri = s("/nuvthumb/" + std::to_string(id) + ".jpg");
    if (!db->GetThumbnailInfoFromURI(thumbUri.get(), &thumbPath, &offset, length, &video,
                                     &substitute, buffer) ||
        offset != 100 || length != 2000) {
      ++*wrong;
    }
    delete thumbPath;
    DMSAppMemFree(buffer);
    Text refused(db->GetFilePathFromURI(s("x\" or \"1\"=\"1").get()));
    if (refused != nullptr) ++*wrong;
    {
      TemporaryContentsLock lock(temp);
      Text probe = s(scratchPath("uploads") + "/c" + std::to_string(i % 7) + ".jpg");
      TempContentInfo* entry = lock.entryOf(probe.get());
      if (entry != nullptr && entry->contentID == nullptr) ++*wrong;
    }
    if (NUVCEGetContainerTotalMatches(s("1").get(), 0) != kImages) ++*wrong;
    ++*done;
  }
}

// An action thread walking the containers and reading the feature list.
void treeWalks(std::atomic<bool>* stop, std::atomic<int>* wrong) {
  while (!stop->load()) {
    int seen = 0;
    std::unique_ptr<ContainerPublicInfo> c(NUVCEGetFirstContainer(0));
    while (c != nullptr) {
      ++seen;
      c.reset(NUVCEGetNextContainer(0, c->GetID()));
    }
    if (seen < 4) ++*wrong;
    Text features(NUVCEGetBasicViewInfomationMA());
    if (features == nullptr) ++*wrong;
    Text added(NUVCECreateContainer(0, s("0").get(), s("C").get(), s("object.container").get()));
    // Refused only once the bound of created containers is reached.
    if (added == nullptr && seen < 4 + content_limits::kMaxCreatedContainers) ++*wrong;
  }
}

TEST_F(Concurrency, EngineHttpAndTimerThreadsShareTheStore) {
  std::string sql;
  for (int i = 1; i <= kImages; ++i) {
    ImageRow r;
    r.id = i;
    r.path = "/media/p" + std::to_string(i) + ".jpg";
    r.uri = "/nuvmedia/" + std::to_string(i) + ".jpg";
    r.thumbUri = "/nuvthumb/" + std::to_string(i) + ".jpg";
    r.screenUri = "/nuvscreen/" + std::to_string(i) + ".jpg";
    r.sortIndex = std::to_string(1000 + i);
    sql += content_test::insertImageSql(r);
  }
  seed(sql);
  TemporaryContentsManager::SetAutoDestroyDelayForTest(150);
  NUVCERegisterResponseCallback(&AnswerRecorder::callback);
  ASSERT_EQ(0, NUVCEInitializeWrapper());

  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::atomic<int> lookups{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) threads.emplace_back(httpLookups, &stop, &wrong, &lookups, t * 11);
  threads.emplace_back(treeWalks, &stop, &wrong);

  // This thread plays the action threads' part: listings and creations.
  unsigned int requests = 0;
  auto end = std::chrono::steady_clock::now() + kRunTime;
  for (int i = 0; std::chrono::steady_clock::now() < end; ++i) {
    ASSERT_EQ(0, NUVCEGetContents(++requests, s("1").get(), i % kImages, 1, true));
    auto* r = new ContentsEnumeratorArgument();
    r->SetContentType(1);
    r->SetContentParentID(new DMSAppString("1"));
    r->SetFilePath(new DMSAppString((uploads() + "/c" + std::to_string(i % 7) + ".jpg").c_str()));
    r->SetTitle(new DMSAppString("c.jpg"));
    r->SetDLNAPN(new DMSAppString("JPEG_SM"));
    ASSERT_EQ(0, NUVCECreateContent(++requests, s("1").get(), r));
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  stop.store(true);
  for (std::thread& t : threads) t.join();

  // Every request was answered, in order, on the engine thread; the
  // auto-destroy answers (request 0) come in between.
  ASSERT_TRUE(AnswerRecorder::instance().waitFor(requests));
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (TemporaryContentsManager::GetInstance()->GetTotalMatches(s("1").get()) > 0 &&
         std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_EQ(0, TemporaryContentsManager::GetInstance()->GetTotalMatches(s("1").get()));
  NUVCETerminateWrapper();
  auto answers = AnswerRecorder::instance().answers();
  unsigned int expectedID = 1;
  int destroyed = 0;
  for (const auto& a : answers) {
    EXPECT_EQ("DMSAppCEngine", a.threadName);
    if (a.requestID == 0) {
      EXPECT_EQ(NUVCDSWL_RES_CONTENT_DESTROYED, a.type);
      ++destroyed;
      continue;
    }
    EXPECT_EQ(static_cast<int>(expectedID++), a.requestID);
    if (a.type == NUVCDSWL_RES_CONTENTS) {
      EXPECT_EQ(1u, a.listTexts.size());
    } else {
      EXPECT_EQ(NUVCDSWL_RES_CONTENT_CREATED, a.type);
      EXPECT_EQ(NUVCDSWL_RES_SUCCESS, a.result);
    }
  }
  EXPECT_EQ(requests + 1, expectedID);
  EXPECT_EQ(static_cast<int>(requests / 2), destroyed);
  EXPECT_EQ(0, wrong.load());
  EXPECT_GT(lookups.load(), 0);
  // Only the seeded images are left.
  EXPECT_EQ(std::to_string(kImages) + "\n",
            content_test::shell(content_test::dbPath(), "select count(*) from ObjectTable;"));
}

}  // namespace
