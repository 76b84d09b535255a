// MultiMediaDbConnector: ID reservation with renaming, and deletion of
// objects with their files.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "content_test_support.h"
#include "contents_enumerator_argument.h"
#include "dms_mem_ptr.h"
#include "dms_platform.h"
#include "dms_string.h"
#include "log_capture.h"
#include "multimedia_db_connector.h"

namespace {

using content_test::ContentTest;
using content_test::dbPath;
using content_test::fileExists;
using content_test::scratchPath;
using content_test::shell;
using content_test::text;

using Id = DMSAppMemText;

std::unique_ptr<ContentsEnumeratorArgument> newObject(int kind, const std::string& path,
                                                      const std::string& title = "Upload") {
  auto r = std::make_unique<ContentsEnumeratorArgument>();
  r->SetContentType(kind);
  r->SetContentParentID(new DMSAppString(std::to_string(kind).c_str()));
  r->SetFilePath(new DMSAppString(path.c_str()));
  r->SetTitle(new DMSAppString(title.c_str()));
  r->SetDLNAPN(new DMSAppString("JPEG_LRG"));
  r->SetMimetypeString(new DMSAppString("image/jpeg"));
  return r;
}

std::string idText(const Id& id) { return id == nullptr ? "<null>" : id.get(); }

class Reserve : public ContentTest {
 protected:
  void SetUp() override {
    ContentTest::SetUp();
    content_test::removeTree(uploads());
    ASSERT_EQ(1, DMSAppCreatDirecotry(uploads().c_str()));
  }
  static std::string uploads() { return scratchPath("uploads"); }
  static std::string upload(const std::string& name) { return uploads() + "/" + name; }
  MultiMediaDbConnector* db() { return MultiMediaDbConnector::GetInstance(); }
};

TEST_F(Reserve, ReservedImageHasObjectRowAndPlaceholderRow) {
  auto record = newObject(1, upload("new.jpg"), "Holiday");
  Id id(db()->ReserveContentID(record.get()));
  ASSERT_EQ("1", idText(id));
  EXPECT_EQ("1|1| |1|" + upload("new.jpg") + "|0| |0\n",
            shell(dbPath(), "select * from ObjectTable;"));
  EXPECT_EQ(
      "1|Holiday|1| |0|" + upload("new.jpg") + "|image/jpeg|JPEG_LRG|0|0|0|0|0|0| | | |||||||\n",
      shell(dbPath(), "select * from ImageTable;"));
  EXPECT_EQ("text|text|integer\n",
            shell(dbPath(), "select typeof(id), typeof(Title), typeof(size) from ImageTable;"));
  EXPECT_EQ("Holiday", text(record->GetTitle()));  // no rename, no new title
  EXPECT_EQ(upload("new.jpg"), text(record->GetFilePath()));
}

TEST_F(Reserve, ReservedAudioAndVideoRowsHoldPlaceholders) {
  Id audio(db()->ReserveContentID(newObject(2, upload("a.mp3")).get()));
  Id video(db()->ReserveContentID(newObject(3, upload("v.mp4")).get()));
  ASSERT_EQ("1", idText(audio));
  ASSERT_EQ("2", idText(video));
  EXPECT_EQ("1|Upload|2| |0|" + upload("a.mp3") + "|image/jpeg|JPEG_LRG| | | | |0|0|0|0|0| \n",
            shell(dbPath(), "select * from AudioTable;"));
  EXPECT_EQ("2|Upload|3| |0|" + upload("v.mp4") +
                "|image/jpeg|JPEG_LRG| |0|0|0|0|0|0|0| | | | |0|0|0| |0|0|0|0| ||\n",
            shell(dbPath(), "select * from VideoTable;"));
  EXPECT_EQ("1|2\n2|3\n", shell(dbPath(), "select id, class from ObjectTable order by id;"));
}

TEST_F(Reserve, SamePathTwiceGivesUnderscoreOneThenTwoAndTheTitleFollows) {
  Id first(db()->ReserveContentID(newObject(1, upload("photo.jpg")).get()));
  ASSERT_EQ("1", idText(first));
  LogCapture log;
  auto second = newObject(1, upload("photo.jpg"));
  Id secondId(db()->ReserveContentID(second.get()));
  ASSERT_EQ("2", idText(secondId));
  EXPECT_EQ(upload("photo_1.jpg"), text(second->GetFilePath()));
  EXPECT_EQ("photo_1.jpg", text(second->GetTitle()));
  EXPECT_TRUE(
      log.has("[MultiMediaDbConnector::CheckFileNamePresence] filename exists in DB , so "
              "try other file name"));
  auto third = newObject(1, upload("photo.jpg"));
  Id thirdId(db()->ReserveContentID(third.get()));
  ASSERT_EQ("3", idText(thirdId));
  EXPECT_EQ(upload("photo_2.jpg"), text(third->GetFilePath()));
  EXPECT_EQ("photo_2.jpg", text(third->GetTitle()));
  EXPECT_EQ(
      upload("photo.jpg") + "\n" + upload("photo_1.jpg") + "\n" + upload("photo_2.jpg") + "\n",
      shell(dbPath(), "select FullPath from ObjectTable order by id;"));
  EXPECT_EQ("Upload\nphoto_1.jpg\nphoto_2.jpg\n",
            shell(dbPath(), "select Title from ImageTable order by id;"));
}

TEST_F(Reserve, FileOnDiskAlsoForcesANewName) {
  content_test::writeFile(upload("clip.mp4"), "existing");
  LogCapture log;
  auto record = newObject(3, upload("clip.mp4"));
  Id id(db()->ReserveContentID(record.get()));
  ASSERT_EQ("1", idText(id));
  EXPECT_EQ(upload("clip_1.mp4"), text(record->GetFilePath()));
  EXPECT_TRUE(
      log.has("[MultiMediaDbConnector::CheckFileNamePresence] Same filename exists in FS, "
              "so try other file name"));
}

TEST_F(Reserve, NameWithoutExtensionGetsTheCounterAtItsEnd) {
  Id first(db()->ReserveContentID(newObject(2, upload("noext")).get()));
  auto second = newObject(2, upload("noext"));
  Id secondId(db()->ReserveContentID(second.get()));
  EXPECT_EQ(upload("noext_1"), text(second->GetFilePath()));
}

TEST_F(Reserve, MissingPartsAreLoggedAndNothingStays) {
  LogCapture log;
  auto noParent = newObject(1, upload("a.jpg"));
  noParent->ClearArgument();
  noParent->SetFilePath(new DMSAppString(upload("a.jpg").c_str()));
  EXPECT_EQ(nullptr, Id(db()->ReserveContentID(noParent.get())));
  EXPECT_TRUE(log.has("[MultiMediaDbConnector::ReserveContentID] parentID is Null!!!"));

  auto noPath = std::make_unique<ContentsEnumeratorArgument>();
  noPath->SetContentParentID(new DMSAppString("1"));
  EXPECT_EQ(nullptr, Id(db()->ReserveContentID(noPath.get())));
  EXPECT_TRUE(log.has("[MultiMediaDbConnector::ReserveContentID] pFilePath is Null!!!"));

  auto noTitle = newObject(1, upload("b.jpg"));
  noTitle->ClearArgument();  // drops the title, keeps nothing else either
  noTitle->SetContentType(1);
  noTitle->SetContentParentID(new DMSAppString("1"));
  noTitle->SetFilePath(new DMSAppString(upload("b.jpg").c_str()));
  EXPECT_EQ(nullptr, Id(db()->ReserveContentID(noTitle.get())));
  EXPECT_TRUE(log.has("[MultiMediaDbConnector::ReserveContentID] ptitle is Null!!!"));

  auto noProfile = newObject(1, upload("c.jpg"));
  noProfile->ClearArgument();
  noProfile->SetContentType(1);
  noProfile->SetContentParentID(new DMSAppString("1"));
  noProfile->SetFilePath(new DMSAppString(upload("c.jpg").c_str()));
  noProfile->SetTitle(new DMSAppString("t"));
  EXPECT_EQ(nullptr, Id(db()->ReserveContentID(noProfile.get())));
  EXPECT_TRUE(log.has("[MultiMediaDbConnector::ReserveContentID] pProfileName is Null!!!"));

  EXPECT_EQ(nullptr, Id(db()->ReserveContentID(newObject(4, upload("d.jpg")).get())));
  EXPECT_TRUE(log.has("[MultiMediaDBEnumerator] No case in this switch ReserveContentID()"));
  // Every half-made reservation was taken back.
  EXPECT_EQ("0|0|0|0\n", shell(dbPath(),
                               "select (select count(*) from ObjectTable), (select "
                               "count(*) from ImageTable), (select count(*) from "
                               "AudioTable), (select count(*) from VideoTable);"));
}

TEST_F(Reserve, InsertFailureIsLoggedWithQueryAndMessage) {
  db();
  shell(dbPath(), "drop table ImageTable;");
  LogCapture log;
  EXPECT_EQ(nullptr, Id(db()->ReserveContentID(newObject(1, upload("x.jpg")).get())));
  bool logged = false;
  for (const auto& line : log.lines()) {
    if (line.text.rfind("[MultiMediaDBEnumerator] 3 Error while inserting into DB "
                        "ReserveContentID() [insert into ImageTable ",
                        0) == 0 &&
        line.text.find("][no such table: ImageTable]") != std::string::npos) {
      logged = true;
    }
  }
  EXPECT_TRUE(logged);
  EXPECT_EQ("0\n", shell(dbPath(), "select count(*) from ObjectTable;"));
}

TEST_F(Reserve, HostilePathsAndTitlesAreStoredVerbatim) {
  const std::string path = upload("it\"s\"; drop table ObjectTable; --.jpg");
  const std::string title = "\"); delete from ImageTable; select (\"";
  auto record = newObject(1, path, title);
  Id id(db()->ReserveContentID(record.get()));
  ASSERT_EQ("1", idText(id));
  EXPECT_EQ(path + "\n", shell(dbPath(), "select FullPath from ObjectTable;"));
  EXPECT_EQ(title + "|" + path + "\n", shell(dbPath(), "select Title, FullPath from ImageTable;"));
  auto again = newObject(1, path, title);
  Id second(db()->ReserveContentID(again.get()));
  ASSERT_EQ("2", idText(second));
  EXPECT_EQ(upload("it\"s\"; drop table ObjectTable; --_1.jpg"), text(again->GetFilePath()));
  EXPECT_EQ(std::unique_ptr<DMSAppString>(db()->GetIDOfItem(1, path.c_str())) == nullptr, false);
}

TEST_F(Reserve, SplitsNameAndExtension) {
  DMSAppString* name = nullptr;
  DMSAppString* ext = nullptr;
  ASSERT_EQ(0, db()->ConvertFilePathToNameAndExtn("/a.b/c.tar.gz", &name, &ext));
  EXPECT_EQ("/a.b/c.tar", text(name));
  EXPECT_EQ(".gz", text(ext));
  delete name;
  delete ext;
  ASSERT_EQ(0, db()->ConvertFilePathToNameAndExtn("/a.b/c", &name, &ext));
  EXPECT_EQ("/a.b/c", text(name));
  EXPECT_EQ("", text(ext));
  delete name;
  delete ext;
  EXPECT_EQ(1, db()->ConvertFilePathToNameAndExtn(nullptr, &name, &ext));
}

TEST_F(Reserve, CardPathsConvertForDeletion) {
  char* out = nullptr;
  ASSERT_EQ(0, db()->ConvertFilePath("/ext/sd0/DCIM/100/a.jpg", &out));
  EXPECT_STREQ("/b/DCIM/100/a.jpg", out);
  DMSAppMemFree(out);
  out = nullptr;
  // The first eight characters go whatever they are.
  ASSERT_EQ(0, db()->ConvertFilePath("12345678/ext/sd0/x", &out));
  EXPECT_STREQ("/b/ext/sd0/x", out);
  DMSAppMemFree(out);
  out = nullptr;
  EXPECT_EQ(1, db()->ConvertFilePath("/media/a.jpg", &out));
  EXPECT_EQ(nullptr, out);
  EXPECT_EQ(1, db()->ConvertFilePath(nullptr, &out));
}

class Delete : public Reserve {};

TEST_F(Delete, DestroyRemovesTheFileAndBothRows) {
  Id id(db()->ReserveContentID(newObject(1, upload("gone.jpg")).get()));
  ASSERT_EQ("1", idText(id));
  content_test::writeFile(upload("gone.jpg"), "jpeg bytes");
  Id keep(db()->ReserveContentID(newObject(1, upload("keep.jpg")).get()));
  DMSAppString contentID("1");
  EXPECT_EQ(0, db()->DestroyContent(1, &contentID));
  EXPECT_FALSE(fileExists(upload("gone.jpg")));
  EXPECT_EQ("2\n", shell(dbPath(), "select id from ObjectTable;"));
  EXPECT_EQ("2\n", shell(dbPath(), "select id from ImageTable;"));
}

TEST_F(Delete, DeleteContentDoesTheSameForAudio) {
  Id id(db()->ReserveContentID(newObject(2, upload("song.mp3")).get()));
  content_test::writeFile(upload("song.mp3"), "mp3");
  DMSAppString contentID(id.get());
  EXPECT_EQ(0, db()->DeleteContent(2, &contentID));
  EXPECT_FALSE(fileExists(upload("song.mp3")));
  EXPECT_EQ("0|0\n", shell(dbPath(),
                           "select (select count(*) from ObjectTable), (select count(*) "
                           "from AudioTable);"));
}

TEST_F(Delete, MissingFileIsLoggedButTheRowsStillGo) {
  Id id(db()->ReserveContentID(newObject(3, upload("never.mp4")).get()));
  DMSAppString contentID(id.get());
  LogCapture log;
  EXPECT_EQ(0, db()->DestroyContent(3, &contentID));
  EXPECT_TRUE(
      log.has(" [MultiMediaDbConnector] Could not delete the file - "
              "MultiMediaDbConnector::DeleteContent"));
  EXPECT_EQ("0|0\n", shell(dbPath(),
                           "select (select count(*) from ObjectTable), (select count(*) "
                           "from VideoTable);"));
}

TEST_F(Delete, FailuresAreLogged) {
  LogCapture log;
  EXPECT_EQ(1, db()->DeleteContent(1, nullptr));
  EXPECT_TRUE(log.has("[MultiMediaDbConnector::DeleteContent] pContId is Null!!!"));
  EXPECT_EQ(1, db()->DestroyContent(1, nullptr));
  EXPECT_TRUE(log.has("[MultiMediaDbConnector::DestroyContent] pContId is Null!!!"));
  DMSAppString unknown("42");
  EXPECT_EQ(1, db()->DestroyContent(1, &unknown));
  EXPECT_TRUE(
      log.has(" [MultiMediaDbConnector] if nRow = 0, then no file with tat filename, if "
              "nRow is > 1, more than 1 file with the same filename.--ReserveContentID"));

  Id id(db()->ReserveContentID(newObject(1, upload("m.jpg")).get()));
  DMSAppString contentID(id.get());
  // The object's own class names its media table; only when that too is no
  // media kind does the mode given decide, and fail.
  shell(dbPath(), "update ObjectTable set class = 7;");
  EXPECT_EQ(1, db()->DestroyContent(7, &contentID));
  EXPECT_TRUE(log.has(" [MultiMediaDbConnector] Media Type not found -- DeleteContent"));

  shell(dbPath(), "drop table ObjectTable;");
  EXPECT_EQ(1, db()->DestroyContent(1, &contentID));
  EXPECT_TRUE(
      log.has(" [MultiMediaDbConnector::DeleteContent] Error in select query [select "
              "FullPath from ObjectTable where id = \"1\"] !!!"));
}

TEST_F(Delete, HostileIdDeletesNothing) {
  Id id(db()->ReserveContentID(newObject(1, upload("safe.jpg")).get()));
  content_test::writeFile(upload("safe.jpg"), "x");
  for (const char* attack : {"1\" or \"1\"=\"1", "1\"; delete from ImageTable; --", "\" or 1=1"}) {
    DMSAppString contentID(attack);
    EXPECT_EQ(1, db()->DestroyContent(1, &contentID)) << attack;
  }
  EXPECT_TRUE(fileExists(upload("safe.jpg")));
  EXPECT_EQ("1|1\n", shell(dbPath(),
                           "select (select count(*) from ObjectTable), (select count(*) "
                           "from ImageTable);"));
}

}  // namespace
