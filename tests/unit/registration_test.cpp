// The registration entry points: full scan and single files with their
// announcements through the ContentDirectory state variables.
#include <gtest/gtest.h>

#include "directory_scanner.h"
#include "dms_media_registration.h"
#include "failing_allocations.h"
#include "log_capture.h"
#include "media_registration.h"
#include "scanner_test_support.h"

using scanner_test::mediaPath;
using scanner_test::one;

namespace {

constexpr const char* kCds = "urn:schemas-upnp-org:service:ContentDirectory";

class Registration : public content_test::ContentTest {
 protected:
  void SetUp() override {
    ContentTest::SetUp();
    FakeStack::instance().reset();
    MultiMediaDbConnector::GetInstance();  // creates the tables
    MultiMediaDbConnector::DestroyInstance();
    db_ = content_test::dbPath();
    dir_ = content_test::scratchPath("media");
    content_test::removeTree(dir_);
    scanner_test::copyFile(mediaPath("card/DCIM/100EPSON/EPSN0011.JPG"),
                           dir_ + "/DCIM/100EPSON/EPSN0011.JPG");
    scanner_test::copyFile(mediaPath("music/v1tag-only.mp3"), dir_ + "/music/a.mp3");
    NUVSetConfiguration("SHARED-MEDIA-FOLDER-PATH", dir_.c_str());
    NUVSetConfiguration("MEDIA-DB-FILEPATH", db_.c_str());
    NUVSetConfiguration("MEDIA-TV-DB-FILEPATH", db_.c_str());
    NUVSetDlnaCertificationState(1);  // recursive scan
  }
  void TearDown() override {
    NUVUtilSetScanProgressCallback(nullptr, nullptr);
    FakeStack::instance().reset();
    ContentTest::TearDown();
  }

  // The state-variable updates in order, as "name=value".
  static std::vector<std::string> updates() {
    std::vector<std::string> out;
    for (const FakeCall& c : FakeStack::instance().calls())
      if (c.name == "NUVDMSUpdateStateVariableValue") out.push_back(c.args[2] + "=" + c.args[3]);
    return out;
  }

  std::string db_;
  std::string dir_;
};

// First in this file, so that it holds the process's first announcements.
TEST_F(Registration, FirstAnnouncementsCarryCounterFiveThenSix) {
  ASSERT_EQ(5, nextContainerUpdateCounter());
  LogCapture log;
  EXPECT_EQ(0, NUVUtilStartFileScanner(3, dir_.c_str()));
  EXPECT_EQ((std::vector<std::string>{"ContainerUpdateIDs=0,5", "SystemUpdateID=1"}), updates());
  EXPECT_TRUE(log.has("[NUVUtilStartFileScanner] Parsing Media files"));
  EXPECT_TRUE(log.has("[NUVUtilStartFileScanner] Updating gContainerId variable Value"));
  EXPECT_TRUE(log.has("[NUVUtilStartFileScanner] Updating tSystemUpdateID variable Value"));
  EXPECT_EQ("2", one(db_, "select count(*) from ObjectTable"));

  FakeStack::instance().reset();
  scanner_test::copyFile(mediaPath("photos/sanyo_sr662.jpg"), dir_ + "/new.jpg");
  EXPECT_EQ(0, NUVUtilAddFileToDb(3, (dir_ + "/new.jpg").c_str()));
  EXPECT_EQ((std::vector<std::string>{"ContainerUpdateIDs=1,6", "SystemUpdateID=1"}), updates());
}

TEST_F(Registration, UnchangedRescanAnnouncesTheRootOnly) {
  NUVUtilStartFileScanner(3, dir_.c_str());
  FakeStack::instance().reset();
  LogCapture log;
  EXPECT_EQ(0, NUVUtilStartFileScanner(3, dir_.c_str()));
  std::vector<std::string> u = updates();
  ASSERT_EQ(1u, u.size());
  EXPECT_EQ(0u, u[0].rfind("ContainerUpdateIDs=0,", 0));
  EXPECT_FALSE(log.has("[NUVUtilStartFileScanner] Updating tSystemUpdateID variable Value"));
}

TEST_F(Registration, CertificationModeOffScansTheDcfLayoutOnly) {
  NUVSetDlnaCertificationState(0);
  EXPECT_EQ(0, NUVUtilStartFileScanner(3, dir_.c_str()));
  EXPECT_EQ(dir_ + "/DCIM/100EPSON/EPSN0011.JPG", one(db_, "select FullPath from ObjectTable"));
  EXPECT_EQ("1", one(db_, "select count(*) from ObjectTable"));
}

TEST_F(Registration, FullScanUsesTheTvDatabaseInShareModeOne) {
  const std::string tv = content_test::scratchPath("tv.db");
  std::remove(tv.c_str());
  scanner_test::run("cp '" + db_ + "' '" + tv + "'");
  NUVSetConfiguration("MEDIA-TV-DB-FILEPATH", tv.c_str());
  FakeStack::instance().shareMode = 1;
  NUVUtilStartFileScanner(3, dir_.c_str());
  EXPECT_EQ("2", one(tv, "select count(*) from ObjectTable"));
  EXPECT_EQ("0", one(db_, "select count(*) from ObjectTable"));
  FakeStack::instance().shareMode = 0;
  NUVUtilStartFileScanner(3, dir_.c_str());
  EXPECT_EQ("2", one(db_, "select count(*) from ObjectTable"));
}

TEST_F(Registration, MissingConfigurationFailsWithItsLogLine) {
  LogCapture log;
  NUVSetConfiguration("SHARED-MEDIA-FOLDER-PATH", nullptr);
  EXPECT_EQ(2, NUVUtilStartFileScanner(3, dir_.c_str()));
  EXPECT_TRUE(
      log.has("[NUVUtilStartFileScanner]Check Config file - Contents Location missing - "
              "Pls copy from CC into simulator or target"));
  NUVSetConfiguration("SHARED-MEDIA-FOLDER-PATH", dir_.c_str());
  NUVSetConfiguration("MEDIA-TV-DB-FILEPATH", nullptr);
  EXPECT_EQ(2, NUVUtilStartFileScanner(3, dir_.c_str()));
  EXPECT_TRUE(
      log.has("[NUVUtilStartFileScanner]Check Config file - Media DB path missing - Pls "
              "copy from CC into simulator or target"));
  NUVSetConfiguration("MEDIA-DB-FILEPATH", nullptr);
  EXPECT_EQ(1, NUVUtilAddFileToDb(3, (dir_ + "/music/a.mp3").c_str()));
  EXPECT_TRUE(
      log.has("[NUVUtilAddFileToDb]Check Config file - Media DB path missing - Pls copy "
              "from CC into simulator or target"));
  EXPECT_EQ(1, NUVUtilUpdateFileInfoInDb(3, (dir_ + "/music/a.mp3").c_str(), nullptr, 1));
  EXPECT_TRUE(
      log.has("[NUVUtilUpdateFileInfoInDb]Check Config file - Media DB path missing - "
              "Pls copy from CC into simulator or target"));
  EXPECT_TRUE(updates().empty());
}

void cancelAtFirstFile(long long done, long long, long long, long long, long long, int, void*) {
  if (done >= 1) NUVUtilCancelFileScanner();
}

TEST_F(Registration, CancelledScanChangesNoStateVariable) {
  NUVUtilSetScanProgressCallback(cancelAtFirstFile, nullptr);
  EXPECT_EQ(0, NUVUtilStartFileScanner(3, dir_.c_str()));
  EXPECT_TRUE(updates().empty());
  EXPECT_EQ("1", one(db_, "select count(*) from ObjectTable"));
}

TEST_F(Registration, ProgressIsReportedToTheCallback) {
  static long long lastDone = -1;
  static int finished = 0;
  NUVUtilSetScanProgressCallback(
      [](long long done, long long total, long long, long long, long long, int end, void*) {
        lastDone = done;
        if (end) finished = static_cast<int>(total);
      },
      nullptr);
  NUVUtilStartFileScanner(3, dir_.c_str());
  EXPECT_EQ(2, lastDone);
  EXPECT_EQ(2, finished);
}

TEST_F(Registration, SingleFileAnnouncesItsContainerAndNegativeIdBecomesOne) {
  FakeStack::instance().setStateVariable(kCds, "SystemUpdateID", "-4");
  EXPECT_EQ(0, NUVUtilAddFileToDb(3, (dir_ + "/music/a.mp3").c_str()));
  std::vector<std::string> u = updates();
  ASSERT_EQ(2u, u.size());
  EXPECT_EQ(0u, u[0].rfind("ContainerUpdateIDs=2,", 0));
  EXPECT_EQ("SystemUpdateID=1", u[1]);
  EXPECT_EQ("1", one(db_, "select count(*) from AudioTable"));
}

TEST_F(Registration, FileThatCannotBeParsedGives23AndNoAnnouncement) {
  content_test::writeFile(dir_ + "/bad.mp4", "nothing here");
  EXPECT_EQ(23, NUVUtilAddFileToDb(3, (dir_ + "/bad.mp4").c_str()));
  EXPECT_EQ(23, NUVUtilAddFileToDb(3, (dir_ + "/missing.jpg").c_str()));
  EXPECT_TRUE(updates().empty());
}

TEST_F(Registration, UpdateFileInfoFillsTheReservedRow) {
  const std::string photo = dir_ + "/up.jpg";
  scanner_test::run("sqlite3 '" + db_ + "' \"insert into ObjectTable values (77,1,' ','1','" +
                    photo + "',0,' ',0);\"");
  scanner_test::copyFile(mediaPath("photos/sanyo_sr662.jpg"), photo);
  EXPECT_EQ(0, NUVUtilUpdateFileInfoInDb(3, photo.c_str(), "77"));
  EXPECT_EQ("300/225", one(db_, "select Width||'/'||Height from ImageTable where id='77'"));
  EXPECT_EQ(0u, updates()[0].rfind("ContainerUpdateIDs=1,", 0));
}

TEST_F(Registration, SingleFilesGetTheProfilesOfTheFullScan) {
  // The device's list leaves large JPEG profiles out; a photo registered
  // alone still gets the profile the full scan gives it.
  FakeStack::instance().setStateVariable(
      "urn:schemas-upnp-org:service:ConnectionManager", "SourceProtocolInfo",
      "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01,http-get:*:image/jpeg:*");
  const std::string photo = dir_ + "/large.jpg";
  scanner_test::copyFile(mediaPath("photos/canon_eos-d60.jpg"), photo);
  EXPECT_EQ(0, NUVUtilAddFileToDb(3, photo.c_str()));
  const std::string single = one(db_, "select DLNAProfile from ImageTable");
  EXPECT_EQ("JPEG_LRG", single);
  const std::string scanned = dir_ + "/scan.db";
  ASSERT_EQ(0, DMSPrepareMediaDatabase(scanned.c_str()));
  EXPECT_EQ(0, NUVUtilScanFolder(dir_.c_str(), scanned.c_str(), 0));
  EXPECT_EQ(single,
            one(scanned, "select DLNAProfile from ImageTable where FullPath = '" + photo + "'"));
}

TEST_F(Registration, RemovalAnnouncesOnlyWhenRowsWent) {
  NUVUtilAddFileToDb(3, (dir_ + "/music/a.mp3").c_str());
  FakeStack::instance().reset();
  EXPECT_EQ(0, NUVUtilRemoveFileFromDb(3, (dir_ + "/music/a.mp3").c_str()));
  ASSERT_EQ(2u, updates().size());
  EXPECT_EQ(0u, updates()[0].rfind("ContainerUpdateIDs=2,", 0));
  FakeStack::instance().reset();
  EXPECT_EQ(0, NUVUtilRemoveFileFromDb(3, (dir_ + "/music/a.mp3").c_str()));
  EXPECT_TRUE(updates().empty());
}

TEST_F(Registration, AGoneFolderLosesItsFilesInOneAnnouncedRemoval) {
  NUVUtilStartFileScanner(3, dir_.c_str());
  ASSERT_EQ("2", one(db_, "select count(*) from ObjectTable"));
  FakeStack::instance().reset();
  // The music folder's files only; a folder whose name merely begins alike
  // keeps its own.
  EXPECT_EQ(1, NUVUtilRemoveFolderFromDb(3, (dir_ + "/music").c_str()));
  EXPECT_EQ("1", one(db_, "select count(*) from ObjectTable"));
  EXPECT_EQ("0", one(db_, "select count(*) from AudioTable"));
  EXPECT_EQ("0", one(db_, "select count(*) from ScannerFileState where FullPath like '%/music/%'"));
  std::vector<std::string> u = updates();
  ASSERT_EQ(2u, u.size());
  EXPECT_EQ(0u, u[0].rfind("ContainerUpdateIDs=0,", 0));
  EXPECT_EQ(0u, u[1].rfind("SystemUpdateID=", 0));
  FakeStack::instance().reset();
  EXPECT_EQ(0, NUVUtilRemoveFolderFromDb(3, (dir_ + "/mus").c_str()));
  EXPECT_EQ(0, NUVUtilRemoveFolderFromDb(3, (dir_ + "/music").c_str())) << "nothing left";
  EXPECT_TRUE(updates().empty()) << "nothing removed, nothing announced";
  EXPECT_EQ("1", one(db_, "select count(*) from ImageTable"));
}

TEST_F(Registration, MetadataQueryGivesARecordWithoutRegistering) {
  std::unique_ptr<ContentsEnumeratorArgument> record(
      NUVUtilGetFileMetaData(mediaPath("music/bear-id3v23-apic.mp3").c_str()));
  ASSERT_NE(nullptr, record);
  EXPECT_EQ(2, record->GetContentType());
  EXPECT_EQ("Test title", content_test::text(record->GetTitle()));
  EXPECT_EQ("Test Artist", content_test::text(record->GetArtist()));
  EXPECT_EQ("audio/mpeg", content_test::text(record->GetMimeTypeString()));
  EXPECT_EQ("bear-id3v23-apic.mp3", content_test::text(record->GetFileName()));
  EXPECT_TRUE(record->GetAlbumArtIncludeFlag());
  EXPECT_EQ(nullptr, NUVUtilGetFileMetaData(mediaPath("SOURCES.md").c_str()));
  EXPECT_EQ("0", one(db_, "select count(*) from ObjectTable"));
}

}  // namespace

TEST_F(Registration, AllocationFailureInARegistrationBecomesItsFailureResult) {
  const std::string photo = dir_ + "/DCIM/100EPSON/EPSN0011.JPG";
  const int points = failing_allocations::sweep(
      [&] { return NUVUtilAddFileToDb(3, photo.c_str()); },
      [](int rc, bool failed) { EXPECT_TRUE(rc == 0 || (failed && rc != 0)) << rc; });
  EXPECT_GT(points, 0);
  // However many attempts failed half-way, the photo has one row of each.
  EXPECT_EQ("1", one(db_, "select count(*) from ObjectTable where FullPath='" + photo + "'"));
  EXPECT_EQ("1", one(db_, "select count(*) from ImageTable where FullPath='" + photo + "'"));
}
