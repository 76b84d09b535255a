// Shared helpers of the content store's unit tests: a scratch directory with
// the database path pointing into it, row builders for the media tables, the
// sqlite3 shell as an independent reader of the file, and a recorder of the
// content engine's answers.
#ifndef DMS_TESTS_CONTENT_TEST_SUPPORT_H
#define DMS_TESTS_CONTENT_TEST_SUPPORT_H

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "contents_enumerator_argument.h"
#include "dms_content_engine.h"
#include "dms_list.h"
#include "dms_platform.h"
#include "dms_server.h"
#include "dms_string.h"
#include "fake_stack.h"
#include "multimedia_db_connector.h"
#include "nuv_config.h"
#include "record_list.h"
#include "temporary_contents_manager.h"

namespace content_test {

// One scratch directory per test process. The database path setting is
// written once (the setter keeps every value it was given), so every test
// of the process uses <dir>/media.db and starts by deleting it.
// Death-test children re-run the binary: they inherit the directory through
// the environment, so that parent and child share it.
inline bool& scratchDirInherited() {
  static bool inherited = false;
  return inherited;
}

inline const std::string& scratchDir() {
  static const std::string dir = [] {
    const char* inherited = getenv("DMS_CONTENT_TEST_SCRATCH");
    if (inherited != nullptr && inherited[0] != '\0') {
      scratchDirInherited() = true;
      return std::string(inherited);
    }
    char pattern[] = "/tmp/dms-content-XXXXXX";
    const char* made = mkdtemp(pattern);
    std::string path(made != nullptr ? made : "/tmp/dms-content-fallback");
    setenv("DMS_CONTENT_TEST_SCRATCH", path.c_str(), 1);
    return path;
  }();
  return dir;
}

inline std::string scratchPath(const std::string& name) { return scratchDir() + "/" + name; }

inline void removeTree(const std::string& path);

// Removes the scratch directory (unless it belongs to a parent process) and
// stops the timer thread once every test of the process ran.
class ScratchEnvironment : public ::testing::Environment {
 public:
  void TearDown() override {
    DMSAppStopTimerThread();
    if (!scratchDirInherited()) removeTree(scratchDir());
  }
};

inline const bool kScratchEnvironmentRegistered =
    (::testing::AddGlobalTestEnvironment(new ScratchEnvironment), true);

inline std::string dbPath() { return scratchPath("media.db"); }

inline void removeTree(const std::string& path) {
  std::string command = "chmod -R u+w '" + path + "' 2>/dev/null; rm -rf '" + path + "'";
  EXPECT_EQ(0, std::system(command.c_str()));
}

inline bool fileExists(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return in.good();
}

inline void writeFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
}

inline std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

inline std::string text(const DMSAppString* s) {
  return s == nullptr || s->ReadString() == nullptr ? std::string("<null>") : s->ReadString();
}

// Output of `sqlite3 -batch <file> <sql>` (the shell reads the file on its
// own, independently of the connector).
inline std::string shell(const std::string& file, const std::string& sql) {
  std::string command = "sqlite3 -batch '" + file + "' \"" + sql + "\" 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return "<popen failed>";
  std::string out;
  char buffer[4096];
  size_t got;
  while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, got);
  pclose(pipe);
  return out;
}

// Doubles double quotes, for building test rows.
inline std::string q(const std::string& value) {
  std::string out;
  for (char c : value) {
    out += c;
    if (c == '"') out += '"';
  }
  return "\"" + out + "\"";
}

struct ImageRow {
  int id = 1;
  std::string title = "Photo";
  std::string path = "/media/DCIM/photo.jpg";
  std::string mime = "image/jpeg";
  std::string profile = "JPEG_LRG";
  int height = 480;
  int width = 640;
  int thumbOffset = 100;
  int thumbLength = 2000;
  std::string uri = "/nuvmedia/1.jpg";
  std::string thumbUri = "/nuvthumb/1.jpg";
  int screenOffset = 3000;
  int screenLength = 4000;
  std::string screenUri = "/nuvscreen/1.jpg";
  int share = 1;
  std::string sortIndex = "0001";
  std::string size = "123456";
};

inline std::string insertImageSql(const ImageRow& r) {
  return "insert into ImageTable values (" + q(std::to_string(r.id)) + "," + q(r.title) + ",1," +
         q("2024-01-01") + "," + r.size + "," + q(r.path) + "," + q(r.mime) + "," + q(r.profile) +
         "," + std::to_string(r.height) + "," + std::to_string(r.width) + "," +
         std::to_string(r.thumbOffset) + "," + std::to_string(r.thumbLength) + ",120,160," +
         q("a description") + "," + q(r.uri) + "," + q(r.thumbUri) + "," +
         std::to_string(r.screenOffset) + "," + std::to_string(r.screenLength) + ",480,640," +
         q(r.screenUri) + "," + std::to_string(r.share) + "," + q(r.sortIndex) + ");" +
         "insert into ObjectTable values (" + std::to_string(r.id) + ",1," + q("2024-01-01") +
         ",\"1\"," + q(r.path) + ",1,\" \",0);";
}

struct AudioRow {
  int id = 2;
  std::string title = "Song";
  std::string path = "/media/MUSIC/song.mp3";
  std::string uri = "/nuvmedia/2.mp3";
};

inline std::string insertAudioSql(const AudioRow& r) {
  return "insert into AudioTable values (" + q(std::to_string(r.id)) + "," + q(r.title) +
         ",2,\"2024-02-02\",5000," + q(r.path) +
         ",\"audio/mpeg\",\"MP3\",\"0:03:00\",\"Album\",\"AlbumArtist\",\"Artist\",2,128000,"
         "44100,0,0," +
         q(r.uri) + ");" + "insert into ObjectTable values (" + std::to_string(r.id) +
         ",2,\"2024-02-02\",\"2\"," + q(r.path) + ",1,\" \",0);";
}

struct VideoRow {
  int id = 3;
  std::string title = "Movie";
  std::string path = "/media/DCIM/movie.mp4";
  std::string uri = "/nuvmedia/3.mp4";
  std::string thumbUri = "/nuvthumbvideo/3.jpg";
  int share = 1;
  std::string sortIndex = "0001";
};

inline std::string insertVideoSql(const VideoRow& r) {
  return "insert into VideoTable values (" + q(std::to_string(r.id)) + "," + q(r.title) +
         ",3,\"2024-03-03\",9000000," + q(r.path) +
         ",\"video/mp4\",\"AVC_MP4_BL_CIF15_AAC_520\",\"0:00:10\",720,1280,30,4000000,31,0,0,"
         "\"0:00:10\",\"VAlbum\",\"VAlbumArtist\",\"VArtist\",2,96000,48000," +
         q(r.uri) + ",0,0,90,160," + q(r.thumbUri) + "," + std::to_string(r.share) + "," +
         q(r.sortIndex) + ");" + "insert into ObjectTable values (" + std::to_string(r.id) +
         ",3,\"2024-03-03\",\"3\"," + q(r.path) + ",1,\" \",0);";
}

// Sets the database path once and gives every test an empty scratch state.
class ContentTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    DMSAppHelperInitialize();
    static bool pathSet = false;
    if (!pathSet) {
      DMSAppSetDBPathMA(dbPath().c_str());
      pathSet = true;
    }
  }

  void SetUp() override {
    MultiMediaDbConnector::DestroyInstance();
    NUVClearConfiguration();
    NUVSetDlnaCertificationState(0);
    std::remove(dbPath().c_str());
  }

  void TearDown() override {
    MultiMediaDbConnector::DestroyInstance();
    NUVClearConfiguration();
    NUVSetDlnaCertificationState(0);
  }

  // Creates the database with the connector, runs `sql` on it and drops the
  // connector, so that the next GetInstance reads the rows afresh.
  static void seed(const std::string& sql) {
    MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
    ASSERT_NE(nullptr, db);
    ASSERT_TRUE(db->ExecSqlStatmentNoValueReturn(sql.c_str())) << sql;
    MultiMediaDbConnector::DestroyInstance();
  }
};

// One answer of the content engine as the callback saw it.
struct Answer {
  int requestID = -1;
  NUVCDSWL_RES_TYPE type = NUVCDSWL_RES_PASS_THROUGH;
  NUVCDSWL_RES_RESULT result = NUVCDSWL_RES_FAILURE;
  std::string text;
  std::vector<std::string> listTexts;  // content IDs of records, or ID texts
  int recordKind = -1;
  int pageSize = -1;
  bool listPresent = false;
  std::string threadName;
  std::thread::id threadId;
};

// Records the engine's answers; register with NUVCERegisterResponseCallback.
// Type-6 lists are released here, as the receiver must.
class AnswerRecorder {
 public:
  static AnswerRecorder& instance() {
    static AnswerRecorder* recorder = new AnswerRecorder();
    return *recorder;
  }

  static void callback(int requestID, NUVCDSWL_RES_TYPE type, NUVCDSWL_RES_RESULT result,
                       int /*value*/, DMSAppString* textArg, DMSCDSList* list) {
    Answer a;
    a.requestID = requestID;
    a.type = type;
    a.result = result;
    a.text = textArg == nullptr ? "" : text(textArg);
    char name[17] = {};
    prctl(PR_GET_NAME, name, 0, 0, 0);
    a.threadName = name;
    a.threadId = std::this_thread::get_id();
    a.listPresent = list != nullptr;
    if (type == NUVCDSWL_RES_CONTENTS && list != nullptr) {
      a.recordKind = recordListKind(list);
      a.pageSize = recordListPageSize(list);
      for (int i = 0; i < recordListCount(list); ++i) {
        a.listTexts.push_back(text(recordListAt(list, i)->GetContentID()));
      }
      freeRecordList(list);
    } else if (type == NUVCDSWL_RES_CONTENT_CREATED && list != nullptr) {
      a.listTexts.push_back(text(static_cast<DMSAppString*>(list->ReadFirstItemData())));
      auto* record = static_cast<ContentsEnumeratorArgument*>(list->ReadLastItemData());
      a.listTexts.push_back(text(record->GetImportURI()));
      a.listTexts.push_back(text(record->GetFilePath()));
    }
    AnswerRecorder& self = instance();
    std::lock_guard<std::mutex> lock(self.mutex_);
    self.answers_.push_back(a);
    self.changed_.notify_all();
  }

  void clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    answers_.clear();
  }

  std::vector<Answer> answers() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return answers_;
  }

  // Waits (generously) until `count` answers arrived.
  bool waitFor(size_t count, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return answers_.size() >= count; });
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Answer> answers_;
};

// A store with the content engine's answers recorded and an upload folder;
// tests start the engine themselves (start()). Everything the engine left
// is torn down afterwards, with the auto-destroy delay back at 35 s.
class EngineTest : public ContentTest {
 protected:
  void SetUp() override {
    ContentTest::SetUp();
    FakeStack::instance().reset();
    AnswerRecorder::instance().clear();
    NUVCERegisterResponseCallback(&AnswerRecorder::callback);
    removeTree(uploads());
    ASSERT_EQ(1, DMSAppCreatDirecotry(uploads().c_str()));
  }
  void TearDown() override {
    NUVCETerminateWrapper();
    TemporaryContentsManager::DestroyInstance();
    NUVCEDeregisterResponseCallback();
    TemporaryContentsManager::SetAutoDestroyDelayForTest(35000);
    ContentTest::TearDown();
  }
  void start() { ASSERT_EQ(0, NUVCEInitializeWrapper()); }
  static std::string uploads() { return scratchPath("uploads"); }
  static AnswerRecorder& answers() { return AnswerRecorder::instance(); }
};

}  // namespace content_test

#endif  // DMS_TESTS_CONTENT_TEST_SUPPORT_H
