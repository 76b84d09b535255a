// Incremental scans: new files registered, changed ones updated in place,
// vanished ones removed, unchanged ones untouched; the DCF layout; cancel;
// single files.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <set>
#include <thread>

#include "directory_scanner.h"
#include "dms_media_registration.h"
#include "scanner_test_support.h"

using scanner_test::mediaPath;
using scanner_test::one;
using scanner_test::rows;

namespace {

class ScannerRescan : public content_test::ContentTest {
 protected:
  void SetUp() override {
    ContentTest::SetUp();
    MultiMediaDbConnector::GetInstance();  // creates the tables
    MultiMediaDbConnector::DestroyInstance();
    db_ = content_test::dbPath();
    dir_ = content_test::scratchPath("media");
    content_test::removeTree(dir_);
    scanner_test::run("mkdir -p " + dir_);
  }
  void TearDown() override {
    DirectoryScanner::SetProgressListener(nullptr, nullptr);
    ContentTest::TearDown();
  }

  int scan(bool dcf = false, const std::string& root = "") {
    DirectoryScanner* scanner = DirectoryScanner::GetInstance();
    int changed = -1;
    const std::string folder = root.empty() ? dir_ : root;
    int rc = dcf ? scanner->scanDcf(folder.c_str(), db_.c_str(), &changed)
                 : scanner->ScanDir(folder.c_str(), db_.c_str(), &changed);
    DirectoryScanner::DestroyInstance();
    EXPECT_EQ(0, rc);
    return changed;
  }

  std::string idOf(const std::string& path) {
    return one(db_, "select id from ObjectTable where FullPath='" + path + "'");
  }

  std::set<std::string> registeredPaths() {
    std::set<std::string> paths;
    for (const auto& r : rows(db_, "select FullPath from ObjectTable")) paths.insert(r[0]);
    return paths;
  }

  std::string dump() {
    return scanner_test::run("sqlite3 -batch '" + db_ +
                             "' 'select * from ObjectTable; select * from ImageTable; select * "
                             "from AudioTable; select * from VideoTable;'");
  }

  std::string db_;
  std::string dir_;
};

TEST_F(ScannerRescan, RescanOfUnchangedFilesChangesNothing) {
  scanner_test::copyFile(mediaPath("photos/casio_ex-s1.jpg"), dir_ + "/a.jpg");
  scanner_test::copyFile(mediaPath("music/bear-cbr-notags.mp3"), dir_ + "/b.mp3");
  scanner_test::copyFile(mediaPath("video/bbb_h263.3gp"), dir_ + "/c.3gp");
  EXPECT_EQ(1, scan());
  std::string before = dump();
  EXPECT_EQ(0, scan());
  EXPECT_EQ(before, dump());
}

TEST_F(ScannerRescan, UnchangedFileIsNotRewritten) {
  scanner_test::copyFile(mediaPath("photos/casio_ex-s1.jpg"), dir_ + "/a.jpg");
  scan();
  scanner_test::run("sqlite3 '" + db_ + "' \"update ImageTable set Title='kept'\"");
  EXPECT_EQ(0, scan());
  EXPECT_EQ("kept", one(db_, "select Title from ImageTable"));
}

TEST_F(ScannerRescan, NewFileIsAddedAndOthersKeepTheirIds) {
  scanner_test::copyFile(mediaPath("photos/casio_ex-s1.jpg"), dir_ + "/a.jpg");
  scan();
  std::string id = idOf(dir_ + "/a.jpg");
  scanner_test::copyFile(mediaPath("music/v1tag-only.mp3"), dir_ + "/sub/new.mp3");
  EXPECT_EQ(1, scan());
  EXPECT_EQ(id, idOf(dir_ + "/a.jpg"));
  EXPECT_EQ("1", one(db_, "select count(*) from AudioTable"));
  EXPECT_EQ("TITLE1234567890123456789012345", one(db_, "select Title from AudioTable"));
}

TEST_F(ScannerRescan, ChangedFileIsUpdatedInPlaceKeepingIdAndUri) {
  const std::string photo = dir_ + "/a.jpg";
  scanner_test::copyFile(mediaPath("photos/casio_ex-s1.jpg"), photo);
  scan();
  std::string id = idOf(photo);
  std::string uri = one(db_, "select uri from ImageTable");
  EXPECT_EQ("640", one(db_, "select Width from ImageTable"));
  scanner_test::copyFile(mediaPath("photos/minolta_dimage-x.jpg"), photo);  // other content
  EXPECT_EQ(1, scan());
  EXPECT_EQ(id, idOf(photo));
  EXPECT_EQ(uri, one(db_, "select uri from ImageTable"));
  EXPECT_EQ("1280", one(db_, "select Width from ImageTable"));
  EXPECT_EQ("1", one(db_, "select count(*) from ImageTable"));

  // Same size, new modification time: parsed again.
  scanner_test::run("sqlite3 '" + db_ + "' \"update ImageTable set Title='stale'\"");
  scanner_test::setMtime(photo, 1500000000);
  EXPECT_EQ(1, scan());
  EXPECT_EQ("a", one(db_, "select Title from ImageTable"));
}

TEST_F(ScannerRescan, VanishedFileLosesItsRows) {
  scanner_test::copyFile(mediaPath("photos/casio_ex-s1.jpg"), dir_ + "/a.jpg");
  scanner_test::copyFile(mediaPath("video/bbb_h263.3gp"), dir_ + "/c.3gp");
  scan();
  std::string id = idOf(dir_ + "/c.3gp");
  unlink((dir_ + "/c.3gp").c_str());
  EXPECT_EQ(1, scan());
  EXPECT_EQ("0", one(db_, "select count(*) from VideoTable"));
  EXPECT_EQ("<none>", one(db_, "select id from ObjectTable where id=" + id));
  EXPECT_EQ("1", one(db_, "select count(*) from ImageTable"));
}

TEST_F(ScannerRescan, FileThatTurnsCorruptLosesItsRows) {
  const std::string song = dir_ + "/b.mp3";
  scanner_test::copyFile(mediaPath("music/bear-cbr-notags.mp3"), song);
  scan();
  content_test::writeFile(song, "broken now");
  EXPECT_EQ(1, scan());
  EXPECT_EQ("0", one(db_, "select count(*) from AudioTable"));
  EXPECT_EQ("0", one(db_, "select count(*) from ObjectTable"));
}

TEST_F(ScannerRescan, FoldersWithNonAsciiNamesAreRescannedCorrectly) {
  const std::string folder = dir_ + "/Sommer 2024 åäö ☀";
  scanner_test::copyFile(mediaPath("photos/casio_ex-s1.jpg"), folder + "/bild ü.jpg");
  scanner_test::copyFile(mediaPath("photos/sanyo_sr662.jpg"), folder + "/zwei.jpg");
  EXPECT_EQ(1, scan(false, folder));
  EXPECT_EQ(0, scan(false, folder));
  unlink((folder + "/zwei.jpg").c_str());
  EXPECT_EQ(1, scan(false, folder));
  EXPECT_EQ(folder + "/bild ü.jpg", one(db_, "select FullPath from ImageTable"));
  EXPECT_EQ("1", one(db_, "select count(*) from ObjectTable"));
}

TEST_F(ScannerRescan, ScanOfOneFolderLeavesRowsOfAnotherAlone) {
  scanner_test::copyFile(mediaPath("photos/casio_ex-s1.jpg"), dir_ + "/one/a.jpg");
  scanner_test::copyFile(mediaPath("photos/sanyo_sr662.jpg"), dir_ + "/two/b.jpg");
  scan(false, dir_ + "/one");
  scan(false, dir_ + "/two");
  EXPECT_EQ("2", one(db_, "select count(*) from ImageTable"));
  unlink((dir_ + "/two/b.jpg").c_str());
  EXPECT_EQ(0, scan(false, dir_ + "/one"));
  EXPECT_EQ("2", one(db_, "select count(*) from ImageTable"));
}

TEST_F(ScannerRescan, DcfScanPicksExactlyTheDcfFiles) {
  scan(true, mediaPath("card"));
  const std::string card = mediaPath("card/DCIM");
  std::set<std::string> expected = {
      card + "/100CANON/IMG_0308.JPG", card + "/100CANON/MVI_0314.AVI",
      card + "/100DC280/DCP_4385.JPG", card + "/100EPSON/EPSN0011.JPG",
      card + "/100EPSON/EPSN0012.JPG", card + "/100OLYMP/P3110001.JPG",
      card + "/100_PANA/P1000240.JPG", card + "/100_PANA/P1000244.JPG",
      card + "/100_PANA/P1000244.MOV"};
  EXPECT_EQ(expected, registeredPaths());
}

TEST_F(ScannerRescan, DcfScanIgnoresNamesOutsideTheLayoutAndDropsTheirRows) {
  const std::string photo = mediaPath("photos/sanyo_sr662.jpg");
  for (const char* name :
       {"DCIM/100TESTS/IMG_0001.JPG", "DCIM/999ABCDE/ABCD9999.jpg", "DCIM/100TESTS/holiday.jpg",
        "DCIM/100TESTS/IMG_0000.JPG", "DCIM/099TESTS/IMG_0002.JPG", "DCIM/100TOOLONG/IMG_0003.JPG",
        "DCIM/100TEST/IMG_0007.JPG", "DCIM/IMG_0004.JPG", "MISC/100TESTS/IMG_0005.JPG",
        "IMG_0006.JPG"}) {
    scanner_test::copyFile(photo, dir_ + "/" + name);
  }
  scan(false);
  EXPECT_EQ("10", one(db_, "select count(*) from ImageTable"));
  EXPECT_EQ(1, scan(true));
  std::set<std::string> expected = {dir_ + "/DCIM/100TESTS/IMG_0001.JPG",
                                    dir_ + "/DCIM/999ABCDE/ABCD9999.jpg"};
  EXPECT_EQ(expected, registeredPaths());
}

void cancelAfterTwo(const ScanProgress& progress, void*) {
  if (progress.done == 2) DirectoryScanner::Cancel();
}

TEST_F(ScannerRescan, CancelledScanStopsBetweenFilesAndRemovesNothing) {
  scanner_test::copyFile(mediaPath("photos/casio_ex-s1.jpg"), dir_ + "/gone.jpg");
  scan();
  unlink((dir_ + "/gone.jpg").c_str());
  for (const char* name : {"a.jpg", "b.jpg", "c.jpg", "d.jpg"})
    scanner_test::copyFile(mediaPath("photos/sanyo_sr662.jpg"), dir_ + "/" + name);
  DirectoryScanner::SetProgressListener(cancelAfterTwo, nullptr);
  scan();
  EXPECT_TRUE(DirectoryScanner::GetCancelFlag());
  // gone.jpg stays (the file list was incomplete), two of four were added.
  EXPECT_EQ("3", one(db_, "select count(*) from ImageTable"));
  DirectoryScanner::SetProgressListener(nullptr, nullptr);
  EXPECT_EQ(1, scan());
  EXPECT_FALSE(DirectoryScanner::GetCancelFlag());
  EXPECT_EQ("4", one(db_, "select count(*) from ImageTable"));
}

TEST_F(ScannerRescan, ProgressCountsEveryFileAndEndsFinished) {
  for (const char* name : {"a.jpg", "b.jpg", "c.mp3"})
    scanner_test::copyFile(mediaPath(std::string(name).back() == '3' ? "music/v1tag-only.mp3"
                                                                     : "photos/sanyo_sr662.jpg"),
                           dir_ + "/" + name);
  content_test::writeFile(dir_ + "/d.mp4", "junk");
  static std::vector<ScanProgress> seen;
  seen.clear();
  DirectoryScanner::SetProgressListener([](const ScanProgress& p, void*) { seen.push_back(p); },
                                        nullptr);
  scan();
  ASSERT_FALSE(seen.empty());
  const ScanProgress& last = seen.back();
  EXPECT_TRUE(last.finished);
  EXPECT_EQ(4, last.total);
  EXPECT_EQ(4, last.done);
  EXPECT_EQ(3, last.registered);
  EXPECT_EQ(1, last.skipped);
}

TEST_F(ScannerRescan, RegistrationFillsTheRowObjectCreationReserved) {
  const std::string photo = dir_ + "/upload.jpg";
  scanner_test::run("sqlite3 '" + db_ + "' \"insert into ObjectTable values (41,1,' ','1','" +
                    photo +
                    "',0,' ',0); insert into ImageTable (id,Title,class,date,size,FullPath) "
                    "values ('41','upload',1,' ',0,'" +
                    photo + "');\"");
  scanner_test::copyFile(mediaPath("photos/casio_ex-s1.jpg"), photo);
  DirectoryScanner* scanner = DirectoryScanner::GetInstance();
  EXPECT_EQ(1, scanner->ParseAndRegisterFile(db_.c_str(), photo.c_str(), "41", 1));
  DirectoryScanner::DestroyInstance();
  EXPECT_EQ("1", one(db_, "select count(*) from ObjectTable"));
  EXPECT_EQ("1/1", one(db_, "select Valid||'/'||Share from ObjectTable, ImageTable"));
  EXPECT_EQ("640//media/41.jpg", one(db_, "select Width||'/'||uri from ImageTable where id='41'"));
  // A later rescan knows the file and leaves it alone.
  EXPECT_EQ(0, scan());
}

TEST_F(ScannerRescan, SingleFileRegistrationAndRemoval) {
  const std::string song = dir_ + "/x.mp3";
  scanner_test::copyFile(mediaPath("music/bear-id3v23-apic.mp3"), song);
  DirectoryScanner* scanner = DirectoryScanner::GetInstance();
  EXPECT_EQ(2, scanner->ParseAndRegisterFile(db_.c_str(), song.c_str()));
  std::string id = idOf(song);
  EXPECT_EQ(2, scanner->ParseAndRegisterFile(db_.c_str(), song.c_str()));  // again: same row
  EXPECT_EQ(id, idOf(song));
  EXPECT_EQ(-1, scanner->ParseAndRegisterFile(db_.c_str(), (dir_ + "/none.mp3").c_str()));
  EXPECT_EQ(2, scanner->RemoveFile(db_.c_str(), song.c_str()));
  EXPECT_EQ(0, scanner->RemoveFile(db_.c_str(), song.c_str()));
  EXPECT_EQ(-1, scanner->ParseAndRegisterFile("/nonexistent/db.sqlite", song.c_str()));
  DirectoryScanner::DestroyInstance();
  EXPECT_EQ("0", one(db_, "select count(*) from AudioTable"));
}

TEST_F(ScannerRescan, ServerReadsNeverFailWhileAScanWrites) {
  for (int i = 0; i < 300; ++i)
    scanner_test::copyFile(mediaPath("photos/sanyo_sr662.jpg"),
                           dir_ + "/p" + std::to_string(i) + ".jpg");
  // As dmsd does: the file is made ready before the server opens it.
  MultiMediaDbConnector::DestroyInstance();
  std::remove(db_.c_str());
  ASSERT_EQ(0, DMSPrepareMediaDatabase(db_.c_str()));
  EXPECT_EQ("wal", scanner_test::trimmed(
                       scanner_test::run("sqlite3 '" + db_ + "' 'pragma journal_mode'")));
  NUVSetDlnaCertificationState(1);
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  ASSERT_EQ(0, db->GetTotalImageItem());
  std::atomic<bool> done{false};
  std::thread scanner([&] {
    scan();
    done.store(true);
  });
  int reads = 0;
  int failures = 0;
  while (!done.load()) {
    if (db->GetTotalImageItem() < 0) ++failures;
    ++reads;
  }
  scanner.join();
  EXPECT_EQ(0, failures) << "of " << reads << " reads";
  EXPECT_EQ(300, db->GetTotalImageItem());
  MultiMediaDbConnector::DestroyInstance();
}

TEST_F(ScannerRescan, MissingFolderOrDatabaseFails) {
  DirectoryScanner* scanner = DirectoryScanner::GetInstance();
  int changed = -1;
  EXPECT_EQ(1, scanner->ScanDir("/nonexistent/folder", db_.c_str(), &changed));
  EXPECT_EQ(0, changed);
  EXPECT_EQ(1, scanner->ScanDir(dir_.c_str(), "/nonexistent/db.sqlite", &changed));
  EXPECT_EQ(1, scanner->ScanDir(nullptr, db_.c_str(), &changed));
  DirectoryScanner::DestroyInstance();
}

TEST_F(ScannerRescan, InstanceIsSharedUntilTheLastHolderReleasesIt) {
  DirectoryScanner* a = DirectoryScanner::GetInstance();
  DirectoryScanner* b = DirectoryScanner::GetInstance();
  EXPECT_EQ(a, b);
  EXPECT_EQ(0, a->SetDlnaProfiles("x"));
  EXPECT_EQ(1, a->SetDlnaProfiles(nullptr));
  DirectoryScanner::DestroyInstance();
  ScannedMedia media;
  EXPECT_TRUE(b->ParseAndGetFileInfo(mediaPath("music/v1tag-only.mp3").c_str(), &media));
  EXPECT_EQ(2, media.kind);
  DirectoryScanner::DestroyInstance();
}

}  // namespace
