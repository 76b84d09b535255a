// The prepared Browse statements and the bound lookups against the
// formatted texts they stand for: the same rows in the same order for every page, deep pages
// started from marks included, and cached counts and marks that follow every change of the file.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "bound_statements.h"
#include "listing_queries.h"
#include "media_db_schema.h"
#include "sql_text.h"
#include "sqlite_handles.h"

namespace {

class ListingQueriesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/dms-listing-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    dir_ = pattern;
    path_ = dir_ + "/media.db";
    db_ = open();
    other_ = open();
    // The server's layout, indexes included: the tie order below depends on
    // the listing index.
    std::string error;
    ASSERT_TRUE(media_db::createMediaSchema(db_.get(), &error)) << error;
    queries_ = std::make_unique<ListingQueries>(db_.get());
  }

  void TearDown() override {
    queries_.reset();
    db_.reset();
    other_.reset();
    unlink(path_.c_str());
    rmdir(dir_.c_str());
  }

  SqliteHandle open() {
    sqlite3* raw = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_open(path_.c_str(), &raw));
    return SqliteHandle(raw);
  }

  static void exec(sqlite3* db, const std::string& sql) {
    char* message = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message))
        << sql << ": " << (message != nullptr ? message : "");
    sqlite3_free(message);
  }

  // Images with ties in SortIndex, unshared rows and, when asked, rows
  // without a sort key (which list last).
  void addImages(sqlite3* db, int count, int firstId, bool someKeyless) {
    exec(db, "begin");
    for (int i = 0; i < count; ++i) {
      const int id = firstId + i;
      const std::string sortIndex = someKeyless && i % 97 == 5
                                        ? "NULL"
                                        : "'" + std::to_string(100000 + (id * 7) % 1500) + "'";
      exec(db,
           "insert into ImageTable (id, Title, class, date, size, FullPath, Share, SortIndex) "
           "values ('" +
               std::to_string(id) + "', 'img" + std::to_string(id) + "', 1, ' ', 0, '/m/" +
               std::to_string(id) + ".jpg', " + (i % 13 == 0 ? "0" : "1") + ", " + sortIndex + ")");
    }
    exec(db, "commit");
  }

  std::vector<std::string> idsOf(const SqliteTable& table) {
    std::vector<std::string> ids;
    for (int row = 0; row < table.rows(); ++row) {
      const char* id = table.cell(row, 0);
      ids.push_back(id != nullptr ? id : "<null>");
    }
    return ids;
  }

  std::vector<std::string> formattedPage(unsigned int mode, int start, int count) {
    std::string sql;
    if (mode == sql_text::kAudio) {
      sql_text::formatStatement(&sql, sql_text::kPageAudio, start, count, 0, 0);
    } else {
      sql_text::formatStatement(
          &sql, mode == sql_text::kImage ? sql_text::kPageImages : sql_text::kPageVideos, 1, start,
          count, 0, 0);
    }
    SqliteTable table;
    EXPECT_EQ(SQLITE_OK, table.run(db_.get(), sql.c_str(), nullptr));
    return idsOf(table);
  }

  std::vector<std::string> preparedPage(unsigned int mode, int start, int count) {
    SqliteTable table;
    EXPECT_EQ(SQLITE_OK, queries_->page(mode, 1, start, count, &table));
    return idsOf(table);
  }

  int countOf(unsigned int mode) {
    int value = -1;
    EXPECT_EQ(SQLITE_OK, queries_->count(mode, 1, &value));
    return value;
  }

  std::string dir_;
  std::string path_;
  SqliteHandle db_;
  SqliteHandle other_;
  std::unique_ptr<ListingQueries> queries_;
};

TEST_F(ListingQueriesTest, EveryImagePageEqualsTheFormattedText) {
  addImages(db_.get(), 3000, 1, false);
  for (int start = 0; start < 3000; start += 37) {
    ASSERT_EQ(formattedPage(sql_text::kImage, start, 100),
              preparedPage(sql_text::kImage, start, 100))
        << "start " << start;
  }
}

TEST_F(ListingQueriesTest, PagesAroundMarksEqualTheFormattedText) {
  addImages(db_.get(), 3000, 1, false);
  const int stride = ListingQueries::kMarkStride;
  for (int start : {ListingQueries::kMarksFrom - 1, ListingQueries::kMarksFrom, 5 * stride - 1,
                    5 * stride, 5 * stride + 1, 2700, 2768, 2769, 2770, 2900}) {
    for (int count : {1, 100, 200}) {
      ASSERT_EQ(formattedPage(sql_text::kImage, start, count),
                preparedPage(sql_text::kImage, start, count))
          << "start " << start << " count " << count;
    }
  }
}

TEST_F(ListingQueriesTest, RowsWithoutSortKeyListLastAndStayReachable) {
  addImages(db_.get(), 3000, 1, true);
  for (int start = 1024; start < 3000; start += 53) {
    ASSERT_EQ(formattedPage(sql_text::kImage, start, 100),
              preparedPage(sql_text::kImage, start, 100))
        << "start " << start;
  }
}

TEST_F(ListingQueriesTest, DeepPagesFollowAnotherConnectionsCommit) {
  addImages(db_.get(), 3000, 1, false);
  const std::vector<std::string> before = preparedPage(sql_text::kImage, 2000, 100);
  ASSERT_EQ(formattedPage(sql_text::kImage, 2000, 100), before);
  // New rows sort first and push every page down.
  exec(other_.get(),
       "insert into ImageTable (id, Title, class, date, size, FullPath, Share, SortIndex) values "
       "('9001', 'n', 1, ' ', 0, '/m/n1.jpg', 1, '999999'), "
       "('9002', 'n', 1, ' ', 0, '/m/n2.jpg', 1, '999998')");
  const std::vector<std::string> after = preparedPage(sql_text::kImage, 2000, 100);
  EXPECT_NE(before, after);
  EXPECT_EQ(formattedPage(sql_text::kImage, 2000, 100), after);
}

TEST_F(ListingQueriesTest, DeepPagesFollowThisConnectionsDelete) {
  addImages(db_.get(), 3000, 1, false);
  const std::vector<std::string> before = preparedPage(sql_text::kImage, 1500, 100);
  exec(db_.get(), "delete from ImageTable where SortIndex >= '101400'");
  const std::vector<std::string> after = preparedPage(sql_text::kImage, 1500, 100);
  EXPECT_NE(before, after);
  EXPECT_EQ(formattedPage(sql_text::kImage, 1500, 100), after);
}

TEST_F(ListingQueriesTest, AudioPagesKeepTableOrderOverGaps) {
  exec(db_.get(), "begin");
  for (int i = 0; i < 2500; ++i) {
    // The uri index orders differently from the table: the pages must not.
    exec(db_.get(),
         "insert into AudioTable (id, Title, class, date, size, FullPath, uri) values ('" +
             std::to_string(i) + "', 't', 2, ' ', 0, '/a/" + std::to_string(i) + "', '/z" +
             std::to_string(2500 - i) + "')");
  }
  exec(db_.get(), "commit");
  exec(db_.get(), "delete from AudioTable where (rowid % 7) = 3");
  std::mt19937 random(7);
  for (int n = 0; n < 60; ++n) {
    const int start = static_cast<int>(random() % 2200);
    ASSERT_EQ(formattedPage(sql_text::kAudio, start, 100),
              preparedPage(sql_text::kAudio, start, 100))
        << "start " << start;
  }
}

TEST_F(ListingQueriesTest, CountFollowsWritesOfEitherConnection) {
  addImages(db_.get(), 130, 1, false);
  EXPECT_EQ(120, countOf(sql_text::kImage));  // every 13th is not shared
  exec(other_.get(),
       "insert into ImageTable (id, Title, class, date, size, FullPath, Share, SortIndex) values "
       "('501', 'n', 1, ' ', 0, '/m/n.jpg', 1, '1')");
  EXPECT_EQ(121, countOf(sql_text::kImage));
  exec(db_.get(), "update ImageTable set Share = 0 where id = '501'");
  EXPECT_EQ(120, countOf(sql_text::kImage));
  EXPECT_EQ(0, countOf(sql_text::kAudio));
}

TEST_F(ListingQueriesTest, ListedItemByIdEqualsTheFormattedText) {
  addImages(db_.get(), 30, 1, false);
  for (const char* id : {"2", "13", "14", "99", "", "x\"y"}) {
    SqliteTable prepared;
    ASSERT_EQ(SQLITE_OK, queries_->listedById(sql_text::kImage, 1, id, &prepared));
    std::string quoted;
    ASSERT_TRUE(sql_text::sqlValue(id, &quoted));
    std::string sql;
    sql_text::formatStatement(&sql, sql_text::listedObjectById(sql_text::kImage), 1, quoted.c_str(),
                              0, 0);
    SqliteTable formatted;
    ASSERT_EQ(SQLITE_OK, formatted.run(db_.get(), sql.c_str(), nullptr));
    EXPECT_EQ(idsOf(formatted), idsOf(prepared)) << id;
  }
}

TEST_F(ListingQueriesTest, IdsThatNameAColumnAreKnown) {
  for (const char* id : {"Title", "title", "SortIndex", "rowid", "OID", "_rowid_"})
    EXPECT_TRUE(queries_->idReadsAsColumn(sql_text::kImage, id)) << id;
  for (const char* id : {"12", "", "Titles", "x\"y"})
    EXPECT_FALSE(queries_->idReadsAsColumn(sql_text::kImage, id)) << id;
  EXPECT_TRUE(queries_->idReadsAsColumn(sql_text::kAudio, "Artist"));
  EXPECT_FALSE(queries_->idReadsAsColumn(sql_text::kImage, "Artist"));
}

TEST_F(ListingQueriesTest, UnknownModeAndMissingTableFail) {
  SqliteTable table;
  EXPECT_NE(SQLITE_OK, queries_->page(7, 1, 0, 10, &table));
  exec(db_.get(), "drop table VideoTable");
  EXPECT_NE(SQLITE_OK, queries_->page(sql_text::kVideo, 1, 0, 10, &table));
  int value = 0;
  EXPECT_NE(SQLITE_OK, queries_->count(sql_text::kVideo, 1, &value));
}

TEST_F(ListingQueriesTest, SteppedTableMatchesGetTableCells) {
  exec(db_.get(),
       "insert into ImageTable (id, Title, class, date, size, FullPath, Share, SortIndex) values "
       "('1', NULL, 1, ' ', 12345678901, '/m/a.jpg', 1, '5')");
  SqliteTable stepped;
  ASSERT_EQ(SQLITE_OK, queries_->page(sql_text::kImage, 1, 0, 1, &stepped));
  SqliteTable fetched;
  ASSERT_EQ(SQLITE_OK, fetched.run(db_.get(), "select * from ImageTable", nullptr));
  ASSERT_EQ(fetched.rows(), stepped.rows());
  ASSERT_EQ(fetched.columns(), stepped.columns());
  for (int k = 0; k < fetched.columns(); ++k) {
    const char* a = fetched.cell(0, k);
    const char* b = stepped.cell(0, k);
    EXPECT_EQ(a == nullptr, b == nullptr) << k;
    if (a != nullptr && b != nullptr) {
      EXPECT_STREQ(a, b) << k;
    }
  }
  EXPECT_EQ(nullptr, stepped.cell(1, 0));
  EXPECT_EQ(nullptr, stepped.cell(0, stepped.columns()));
  SqliteTable empty;
  ASSERT_EQ(SQLITE_OK, queries_->page(sql_text::kImage, 1, 5, 1, &empty));
  EXPECT_TRUE(empty.hasResult());
  EXPECT_EQ(0, empty.rows());
  EXPECT_EQ(0, empty.columns());
}

TEST(BoundStatementsForm, OneQuotedValueBindsAndNamesItsTable) {
  std::string sql;
  std::string table;
  ASSERT_TRUE(BoundStatements::bindableForm(sql_text::pathByUri(sql_text::kAudio), &sql, &table));
  EXPECT_EQ("select FullPath from AudioTable where uri = ?1", sql);
  EXPECT_EQ("AudioTable", table);
  ASSERT_TRUE(BoundStatements::bindableForm(sql_text::kImageScreennail, &sql, &table));
  EXPECT_EQ("ImageTable", table);
  // Numbers or a second value keep the text form.
  EXPECT_FALSE(
      BoundStatements::bindableForm(sql_text::listedObjectById(sql_text::kImage), &sql, &table));
  EXPECT_FALSE(BoundStatements::bindableForm(sql_text::kPageImages, &sql, &table));
  EXPECT_FALSE(BoundStatements::bindableForm("select 1%c%c", &sql, &table));
  EXPECT_FALSE(BoundStatements::bindableForm(nullptr, &sql, &table));
}

TEST_F(ListingQueriesTest, BoundLookupsEqualTheFormattedText) {
  exec(db_.get(),
       "insert into ImageTable (id, Title, class, date, size, FullPath, uri, Thumbnailuri) values "
       "('1', 't', 1, ' ', 0, '/m/a.jpg', '/nuvmedia/1.jpg', '/nuvthumb/1.jpg'), "
       "('2', 't', 1, ' ', 0, '/m/q\"uote.jpg', '/nuvmedia/q\"2.jpg', '/nuvthumb/2.jpg')");
  BoundStatements bound(db_.get());
  for (const char* format : {sql_text::pathByUri(sql_text::kImage), sql_text::kImageThumbnail}) {
    for (const char* value : {"/nuvmedia/1.jpg", "/nuvmedia/q\"2.jpg", "/nuvthumb/1.jpg", "/no"}) {
      SqliteTable byValue;
      ASSERT_TRUE(bound.select(format, value, &byValue)) << value;
      std::string quoted;
      ASSERT_TRUE(sql_text::sqlValue(value, &quoted));
      std::string sql;
      sql_text::formatStatement(&sql, format, quoted.c_str(), 0, 0);
      SqliteTable byText;
      ASSERT_EQ(SQLITE_OK, byText.run(db_.get(), sql.c_str(), nullptr));
      ASSERT_EQ(byText.rows(), byValue.rows()) << format << " " << value;
      for (int row = 0; row < byText.rows(); ++row) {
        for (int k = 0; k < byText.columns(); ++k)
          EXPECT_STREQ(byText.cell(row, k), byValue.cell(row, k)) << value;
      }
    }
  }
}

TEST_F(ListingQueriesTest, BoundLookupLeavesColumnNamesAndMissingTablesToTheText) {
  BoundStatements bound(db_.get());
  SqliteTable table;
  // "uri" inside double quotes is the column: every row would match.
  EXPECT_FALSE(bound.select(sql_text::pathByUri(sql_text::kImage), "uri", &table));
  EXPECT_FALSE(bound.select(sql_text::pathByUri(sql_text::kImage), nullptr, &table));
  const char* format = "select FullPath from LaterTable where uri = \"%s\"%c%c";
  EXPECT_FALSE(bound.select(format, "/x", &table));
  exec(db_.get(), "create table LaterTable (FullPath, uri)");
  exec(db_.get(), "insert into LaterTable values ('/m/x', '/x')");
  ASSERT_TRUE(bound.select(format, "/x", &table));
  ASSERT_EQ(1, table.rows());
  EXPECT_STREQ("/m/x", table.cell(0, 0));
}

}  // namespace
