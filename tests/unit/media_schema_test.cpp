// The media database schema: create statements and the file they make.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "content_test_support.h"
#include "dms_mem_ptr.h"
#include "dms_platform.h"
#include "log_capture.h"
#include "media_schema.h"
#include "multimedia_db_connector.h"

namespace {

using content_test::ContentTest;
using content_test::dbPath;
using content_test::shell;

std::string statementOf(MediaTableId table) {
  MediaTableDescription d = mediaTableDescription(table);
  DMSAppMemText sql(MTGetCreatTblSqlStmt(d.name, d.columnCount, d.columns));
  return sql == nullptr ? "<null>" : sql.get();
}

// The five statements, written out by hand from the column lists.
const char kObjectStatement[] =
    "create table ObjectTable (id INTEGER PRIMARY KEY,class INTEGER NOT NULL,date VARCHAR(64) "
    "NOT NULL,parentID VARCHAR(16) NOT NULL,FullPath VARCHAR(600) NOT NULL,Valid INTEGER "
    ",BackupID VARCHAR(128) ,IsBackup INTEGER );";
const char kContainerStatement[] =
    "create table ContainerTable (id VARCHAR(16) PRIMARY KEY,class INTEGER NOT NULL,date "
    "VARCHAR(64) NOT NULL,FullPath VARCHAR(600) NOT NULL,searchable INTEGER ,writeStatus "
    "INTEGER );";
const char kAudioStatement[] =
    "create table AudioTable (id VARCHAR(16) PRIMARY KEY,Title VARCHAR(256) ,class INTEGER NOT "
    "NULL,date VARCHAR(64) NOT NULL,size INTEGER NOT NULL,FullPath VARCHAR(600) NOT "
    "NULL,MimeType VARCHAR(32) ,DLNAProfile VARCHAR(64) ,Duration VARCHAR(64) ,AlbumTitle "
    "VARCHAR(256) ,AlbumArtist VARCHAR(256) ,Artist VARCHAR(256) ,Channel INTEGER ,Bitrate "
    "INTEGER ,Frequency INTEGER ,AlbumArtOffset INTEGER ,AlbumArtLength INTEGER ,uri "
    "VARCHAR(600) );";
const char kVideoStatement[] =
    "create table VideoTable (id VARCHAR(16) PRIMARY KEY,Title VARCHAR(256) ,class INTEGER NOT "
    "NULL,date VARCHAR(64) NOT NULL,size INTEGER NOT NULL,FullPath VARCHAR(600) NOT "
    "NULL,MimeType VARCHAR(32) ,DLNAProfile VARCHAR(64) ,Duration VARCHAR(64) ,Height INTEGER "
    ",Width INTEGER ,VideoFrameRate INTEGER ,VideoBitrate INTEGER ,VideoLevel INTEGER "
    ",AlbumArtOffset INTEGER ,AlbumArtLength INTEGER ,AudioDuration VARCHAR(64) "
    ",AudioAlbumTitle VARCHAR(256) ,AudioAlbumArtist VARCHAR(256) ,AudioArtist VARCHAR(256) "
    ",AudioChannel INTEGER ,AudioBitrate INTEGER ,AudioFrequency INTEGER ,uri VARCHAR(600) "
    ",ThumbnailOffset INTEGER ,ThumbnailLength INTEGER ,ThumbnailHeight INTEGER "
    ",ThumbnailWidth INTEGER ,Thumbnailuri VARCHAR(600) ,Share INTEGER ,SortIndex VARCHAR(16) "
    ");";
const char kImageStatement[] =
    "create table ImageTable (id VARCHAR(16) PRIMARY KEY,Title VARCHAR(256) ,class INTEGER NOT "
    "NULL,date VARCHAR(64) NOT NULL,size INTEGER NOT NULL,FullPath VARCHAR(600) NOT "
    "NULL,MimeType VARCHAR(32) ,DLNAProfile VARCHAR(64) ,Height INTEGER ,Width INTEGER "
    ",ThumbnailOffset INTEGER ,ThumbnailLength INTEGER ,ThumbnailHeight INTEGER "
    ",ThumbnailWidth INTEGER ,Description VARCHAR(512) ,uri VARCHAR(600) ,Thumbnailuri "
    "VARCHAR(600) ,ScreennailOffset INTEGER ,ScreennailLength INTEGER ,ScreennailHeight INTEGER "
    ",ScreennailWidth INTEGER ,Screennailuri VARCHAR(600) ,Share INTEGER ,SortIndex "
    "VARCHAR(16) );";

TEST(MTGetCreatTblSqlStmt, ObjectTableStatementIsExact) {
  EXPECT_EQ(kObjectStatement, statementOf(MediaTableId::kObject));
}

TEST(MTGetCreatTblSqlStmt, ContainerTableStatementIsExact) {
  EXPECT_EQ(kContainerStatement, statementOf(MediaTableId::kContainer));
}

TEST(MTGetCreatTblSqlStmt, AudioTableStatementIsExact) {
  EXPECT_EQ(kAudioStatement, statementOf(MediaTableId::kAudio));
}

TEST(MTGetCreatTblSqlStmt, VideoTableStatementIsExact) {
  EXPECT_EQ(kVideoStatement, statementOf(MediaTableId::kVideo));
}

TEST(MTGetCreatTblSqlStmt, ImageTableStatementIsExact) {
  EXPECT_EQ(kImageStatement, statementOf(MediaTableId::kImage));
}

TEST(MTGetCreatTblSqlStmt, EmptyConstraintLeavesABlankBeforeTheComma) {
  _MediaTable columns[2] = {{"Valid", "INTEGER", 0, ""}, {"Next", "INTEGER", 0, "NOT NULL"}};
  DMSAppMemText sql(MTGetCreatTblSqlStmt("T", 2, columns));
  ASSERT_NE(nullptr, sql);
  EXPECT_STREQ("create table T (Valid INTEGER ,Next INTEGER NOT NULL);", sql.get());
}

TEST(MTGetCreatTblSqlStmt, SinglePrimaryKeyColumnHasNoComma) {
  _MediaTable column = {"id", "INTEGER", 0, "PRIMARY KEY"};
  DMSAppMemText sql(MTGetCreatTblSqlStmt("Single", 1, &column));
  ASSERT_NE(nullptr, sql);
  EXPECT_STREQ("create table Single (id INTEGER PRIMARY KEY);", sql.get());
}

TEST(MTGetCreatTblSqlStmt, LengthOnlyForVarchar) {
  _MediaTable columns[2] = {{"a", "INTEGER", 77, ""}, {"b", "VARCHAR", 5, ""}};
  DMSAppMemText sql(MTGetCreatTblSqlStmt("L", 2, columns));
  ASSERT_NE(nullptr, sql);
  EXPECT_STREQ("create table L (a INTEGER ,b VARCHAR(5) );", sql.get());
}

TEST(MTGetCreatTblSqlStmt, NullNameGivesNull) {
  _MediaTable column = {"id", "INTEGER", 0, ""};
  EXPECT_EQ(nullptr, MTGetCreatTblSqlStmt(nullptr, 1, &column));
}

TEST(MTGetCreatTblSqlStmt, NameLongerThan1024BytesGivesNull) {
  _MediaTable column = {"id", "INTEGER", 0, ""};
  std::string name(1025, 'n');
  EXPECT_EQ(nullptr, MTGetCreatTblSqlStmt(name.c_str(), 1, &column));
  EXPECT_EQ(nullptr, MTGetCreatTblSqlStmt("T", 1, nullptr));
  EXPECT_EQ(nullptr, MTGetCreatTblSqlStmt("T", -1, &column));
}

TEST(MTGetCreatTblSqlStmt, FullWidthFieldsWithoutTerminatorAreRead) {
  _MediaTable column;
  memset(&column, 0, sizeof column);
  memset(column.name, 'x', sizeof column.name);  // 30 bytes, no NUL
  memcpy(column.type, "INTEGER", 7);
  memcpy(column.constraint, "NOT NULL", 8);
  DMSAppMemText sql(MTGetCreatTblSqlStmt("W", 1, &column));
  ASSERT_NE(nullptr, sql);
  EXPECT_EQ("create table W (" + std::string(30, 'x') + " INTEGER NOT NULL);",
            std::string(sql.get()));
}

class MediaSchemaFile : public ContentTest {};

TEST_F(MediaSchemaFile, MissingFileIsCreatedWithExactlyTheFiveTables) {
  ASSERT_FALSE(content_test::fileExists(dbPath()));
  LogCapture log;
  ASSERT_NE(nullptr, MultiMediaDbConnector::GetInstance());
  EXPECT_TRUE(MultiMediaDbConnector::GetInstance()->IsConnected());
  MultiMediaDbConnector::DestroyInstance();
  EXPECT_TRUE(log.has("[ConnectDB] sqlite3_open() ok \n"));
  EXPECT_FALSE(log.has("[ConnectDB] Invalid Rc. sqlite3_open_v2() failed \n"));

  EXPECT_EQ("AudioTable\nContainerTable\nImageTable\nObjectTable\nVideoTable\n",
            shell(dbPath(), "select name from sqlite_master where type='table' order by name;"));
  EXPECT_EQ(
      "table|ObjectTable\ntable|ContainerTable\ntable|AudioTable\ntable|VideoTable\n"
      "table|ImageTable\n",
      shell(dbPath(), "select type, name from sqlite_master where type='table' order by rowid;"));
  // The only other entries are SQLite's own indexes of the text primary keys.
  EXPECT_EQ("0\n", shell(dbPath(),
                         "select count(*) from sqlite_master where type='index' and "
                         "name not like 'sqlite_autoindex_%';"));
}

TEST_F(MediaSchemaFile, ShellSeesTheColumnsInSchemaOrder) {
  ASSERT_NE(nullptr, MultiMediaDbConnector::GetInstance());
  MultiMediaDbConnector::DestroyInstance();
  EXPECT_EQ(
      "id|INTEGER|0|1\nclass|INTEGER|1|0\ndate|VARCHAR(64)|1|0\nparentID|VARCHAR(16)|1|0\n"
      "FullPath|VARCHAR(600)|1|0\nValid|INTEGER|0|0\nBackupID|VARCHAR(128)|0|0\n"
      "IsBackup|INTEGER|0|0\n",
      shell(dbPath(),
            "select name, type, \\\"notnull\\\", pk from "
            "pragma_table_info('ObjectTable');"));
  EXPECT_EQ(
      "id,Title,class,date,size,FullPath,MimeType,DLNAProfile,Height,Width,"
      "ThumbnailOffset,ThumbnailLength,ThumbnailHeight,ThumbnailWidth,Description,uri,"
      "Thumbnailuri,ScreennailOffset,ScreennailLength,ScreennailHeight,ScreennailWidth,"
      "Screennailuri,Share,SortIndex\n",
      shell(dbPath(), "select group_concat(name, ',') from pragma_table_info('ImageTable');"));
  EXPECT_EQ(
      "id,Title,class,date,size,FullPath,MimeType,DLNAProfile,Duration,Height,Width,"
      "VideoFrameRate,VideoBitrate,VideoLevel,AlbumArtOffset,AlbumArtLength,AudioDuration,"
      "AudioAlbumTitle,AudioAlbumArtist,AudioArtist,AudioChannel,AudioBitrate,"
      "AudioFrequency,uri,ThumbnailOffset,ThumbnailLength,ThumbnailHeight,ThumbnailWidth,"
      "Thumbnailuri,Share,SortIndex\n",
      shell(dbPath(), "select group_concat(name, ',') from pragma_table_info('VideoTable');"));
  EXPECT_EQ(
      "id,Title,class,date,size,FullPath,MimeType,DLNAProfile,Duration,AlbumTitle,"
      "AlbumArtist,Artist,Channel,Bitrate,Frequency,AlbumArtOffset,AlbumArtLength,uri\n",
      shell(dbPath(), "select group_concat(name, ',') from pragma_table_info('AudioTable');"));
  EXPECT_EQ(
      "id,class,date,FullPath,searchable,writeStatus\n",
      shell(dbPath(), "select group_concat(name, ',') from pragma_table_info('ContainerTable');"));
  // The stored statement is the one built, apart from SQLite's own
  // normalisation of the leading keywords and the final semicolon.
  std::string stored = shell(dbPath(), "select sql from sqlite_master where name='ImageTable';");
  EXPECT_EQ(std::string("CREATE TABLE") + (kImageStatement + strlen("create table")),
            stored.substr(0, stored.size() - 1) + ";");
}

TEST_F(MediaSchemaFile, ExistingFileRunsNoCreateStatement) {
  ASSERT_NE(nullptr, MultiMediaDbConnector::GetInstance());
  MultiMediaDbConnector::DestroyInstance();
  shell(dbPath(), "drop table ImageTable;");
  LogCapture log;
  ASSERT_TRUE(MultiMediaDbConnector::GetInstance()->IsConnected());
  MultiMediaDbConnector::DestroyInstance();
  EXPECT_TRUE(log.has("[ConnectDB] Invalid Rc. sqlite3_open_v2() failed \n"));
  EXPECT_TRUE(log.has("[ConnectDB] sqlite3_open() ok \n"));
  EXPECT_EQ("AudioTable\nContainerTable\nObjectTable\nVideoTable\n",
            shell(dbPath(), "select name from sqlite_master where type='table' order by name;"));
}

}  // namespace
