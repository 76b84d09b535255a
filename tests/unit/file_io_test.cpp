#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "dms_file_io.h"
#include "dms_platform.h"

namespace {

class FileIO : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/dms-fileio-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    std::string command = "rm -rf '" + dir_ + "'";
    ASSERT_EQ(system(command.c_str()), 0);
  }
  std::string path(const char* name) const { return dir_ + "/" + name; }
  void writeText(const char* name, const char* content) {
    FILE* f = fopen(path(name).c_str(), "w");
    ASSERT_NE(f, nullptr);
    fputs(content, f);
    fclose(f);
  }
  std::string dir_;
};

}  // namespace

TEST_F(FileIO, OpenModeSixReadsAndUpdatesLikeModeThree) {
  writeText("f", "abc");
  FILE* f = DMSAppOpenFile(path("f").c_str(), DMSAPP_FILE_READ_UPDATE_ALT);
  ASSERT_NE(f, nullptr);
  char buf[4] = {};
  unsigned long got = 0;
  EXPECT_EQ(DMSAppReadFile(f, buf, 3, &got), 1);
  EXPECT_EQ(got, 3u);
  EXPECT_STREQ(buf, "abc");
  EXPECT_EQ(DMSAppSeekFile(f, DMSAPP_SEEK_SET, 0), 1);
  EXPECT_EQ(DMSAppWriteFile(f, "X", 1), 1);  // writable too
  EXPECT_EQ(DMSAppCloseFile(f), 1);
  FILE* check = fopen(path("f").c_str(), "r");
  ASSERT_NE(check, nullptr);
  EXPECT_EQ(fgetc(check), 'X');
  fclose(check);
}

TEST_F(FileIO, OpenModeSevenIsRefused) {
  writeText("f", "abc");
  EXPECT_EQ(DMSAppOpenFile(path("f").c_str(), static_cast<DMSAppFileMode>(7)), nullptr);
  EXPECT_EQ(DMSAppOpenFile(nullptr, DMSAPP_FILE_READ), nullptr);
  EXPECT_EQ(DMSAppOpenFile(path("missing").c_str(), DMSAPP_FILE_READ), nullptr);
}

TEST_F(FileIO, EveryModeOpens) {
  for (int mode = 0; mode <= 6; ++mode) {
    writeText("m", "abc");
    FILE* f = DMSAppOpenFile(path("m").c_str(), static_cast<DMSAppFileMode>(mode));
    ASSERT_NE(f, nullptr) << mode;
    EXPECT_EQ(DMSAppCloseFile(f), 1);
  }
  EXPECT_EQ(DMSAppCloseFile(nullptr), 0);
}

TEST_F(FileIO, ReadAtEndOfFileReturnsZeroAndKeepsCount) {
  writeText("f", "ab");
  FILE* f = DMSAppOpenFile(path("f").c_str(), DMSAPP_FILE_READ);
  ASSERT_NE(f, nullptr);
  char buf[8];
  unsigned long got = 0;
  EXPECT_EQ(DMSAppReadFile(f, buf, sizeof buf, &got), 1);
  EXPECT_EQ(got, 2u);
  got = 77;
  EXPECT_EQ(DMSAppReadFile(f, buf, sizeof buf, &got), 0);
  EXPECT_EQ(got, 77u);
  EXPECT_EQ(DMSAppReadFileByChar(f, buf, sizeof buf, &got), 0);
  EXPECT_EQ(got, 77u);
  EXPECT_EQ(DMSAppReadFile(nullptr, buf, 1, &got), 0);
  EXPECT_EQ(DMSAppReadFile(f, nullptr, 1, &got), 0);
  EXPECT_EQ(DMSAppReadFile(f, buf, 1, nullptr), 0);
  DMSAppCloseFile(f);
}

TEST_F(FileIO, WriteZeroBytesDiffersBetweenTheTwoWriters) {
  FILE* f = DMSAppOpenFile(path("w").c_str(), DMSAPP_FILE_WRITE);
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(DMSAppWriteFile(f, "x", 0), 0);
  EXPECT_EQ(DMSAppBufferPtrWriteFile(f, "x", 0), 1);
  EXPECT_EQ(DMSAppWriteFile(f, "hello", 5), 1);
  EXPECT_EQ(DMSAppBufferPtrWriteFile(f, " you", 4), 1);
  EXPECT_EQ(DMSAppWriteFile(nullptr, "x", 1), 0);
  EXPECT_EQ(DMSAppWriteFile(f, nullptr, 1), 0);
  EXPECT_EQ(DMSAppBufferPtrWriteFile(f, nullptr, 1), 0);
  DMSAppCloseFile(f);
  EXPECT_EQ(DMSAppGetFileSize(path("w").c_str()), 9);
}

TEST_F(FileIO, WriteToReadOnlyStreamFails) {
  writeText("r", "abc");
  FILE* f = DMSAppOpenFile(path("r").c_str(), DMSAPP_FILE_READ);
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(DMSAppWriteFile(f, "x", 1) && fflush(f) == 0, false);
  DMSAppCloseFile(f);
}

TEST_F(FileIO, FileSizeOfMissingFileIsMinusOneAndOfNullZero) {
  EXPECT_EQ(DMSAppGetFileSize(path("missing").c_str()), -1);
  EXPECT_EQ(DMSAppGetFileSize(static_cast<const char*>(nullptr)), 0);
  EXPECT_EQ(DMSAppGetFileSize(static_cast<FILE*>(nullptr)), 0);
  writeText("f", "12345");
  EXPECT_EQ(DMSAppGetFileSize(path("f").c_str()), 5);
  FILE* f = DMSAppOpenFile(path("f").c_str(), DMSAPP_FILE_READ);
  EXPECT_EQ(DMSAppGetFileSize(f), 5);
  DMSAppCloseFile(f);
}

TEST_F(FileIO, SizesAndSeeksBeyondTwoAndFourGiB) {
  const std::string p = path("sparse");
  FILE* f = DMSAppOpenFile(p.c_str(), DMSAPP_FILE_WRITE_UPDATE);
  ASSERT_NE(f, nullptr);
  ASSERT_EQ(ftruncate(fileno(f), 5000000000LL), 0);  // sparse, 4.66 GiB
  EXPECT_EQ(DMSAppGetFileSize(p.c_str()), 5000000000LL);
  EXPECT_EQ(DMSAppGetFileSize(f), 5000000000LL);
  EXPECT_EQ(DMSAppSeekFileUlong(f, DMSAPP_SEEK_SET, 3000000000UL), 1);
  EXPECT_EQ(ftello(f), 3000000000LL);
  // The unsigned offset is 32-bit: a larger value wraps rather than reaching 5 GB.
  EXPECT_EQ(DMSAppSeekFileUlong(f, DMSAPP_SEEK_SET, static_cast<unsigned long>(0x100000005ULL)), 1);
  EXPECT_EQ(ftello(f), 5);
  EXPECT_EQ(DMSAppSeekFile(f, DMSAPP_SEEK_END, -10), 1);
  EXPECT_EQ(ftello(f), 5000000000LL - 10);
  EXPECT_EQ(DMSAppSeekFile(f, DMSAPP_SEEK_CUR, 4), 1);
  EXPECT_EQ(ftello(f), 5000000000LL - 6);
  EXPECT_EQ(DMSAppSeekFile(f, DMSAPP_SEEK_SET, -1), 0);
  EXPECT_EQ(DMSAppSeekFile(nullptr, DMSAPP_SEEK_SET, 0), 0);
  EXPECT_EQ(DMSAppSeekFileUlong(nullptr, DMSAPP_SEEK_SET, 0), 0);
  DMSAppCloseFile(f);
}

TEST_F(FileIO, CreateDirectoryAndRemoveFile) {
  const std::string d = path("sub");
  EXPECT_EQ(DMSAppCreatDirecotry(d.c_str()), 1);
  struct stat st;
  ASSERT_EQ(stat(d.c_str(), &st), 0);
  EXPECT_TRUE(S_ISDIR(st.st_mode));
  EXPECT_EQ(DMSAppCreatDirecotry(d.c_str()), 0);  // exists already
  EXPECT_EQ(DMSAppCreatDirecotry(nullptr), 0);
  writeText("gone", "x");
  EXPECT_EQ(DMSAppFileIOClass::GetInstance()->DoesFileExist(path("gone").c_str()), 1);
  EXPECT_EQ(DMSAppRemoveFile(path("gone").c_str()), 1);
  EXPECT_EQ(DMSAppFileIOClass::GetInstance()->DoesFileExist(path("gone").c_str()), 0);
  EXPECT_EQ(DMSAppRemoveFile(path("gone").c_str()), 0);
  EXPECT_EQ(DMSAppRemoveFile(nullptr), 0);
  EXPECT_EQ(DMSAppFileIOClass::GetInstance()->DoesFileExist(nullptr), 0);
}

TEST(ReadBufferByChar, CopiesTheSmallerOfWantedAndAvailable) {
  const char src[] = "0123456789";
  char dst[16] = {};
  unsigned long got = 0;
  EXPECT_EQ(DMSAppReadBufferByChar(dst, src, 2, 3, 8, &got), 1);
  EXPECT_EQ(got, 3u);
  EXPECT_EQ(std::string(dst, 3), "234");
  EXPECT_EQ(DMSAppReadBufferByChar(dst, src, 6, 10, 4, &got), 1);
  EXPECT_EQ(got, 4u);
  EXPECT_EQ(std::string(dst, 4), "6789");
  EXPECT_EQ(DMSAppReadBufferByChar(nullptr, src, 0, 1, 1, &got), 0);
}

TEST(HexToInteger, DigitsAndInvalidCharacters) {
  EXPECT_EQ(DMSAppConvertHexToInteger('0'), 0);
  EXPECT_EQ(DMSAppConvertHexToInteger('9'), 9);
  EXPECT_EQ(DMSAppConvertHexToInteger('a'), 10);
  EXPECT_EQ(DMSAppConvertHexToInteger('F'), 15);
  EXPECT_EQ(DMSAppConvertHexToInteger('g'), 0);
  EXPECT_EQ(DMSAppConvertHexToInteger('%'), 0);
}
