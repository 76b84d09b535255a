#include <gtest/gtest.h>

#include <unistd.h>

#include "allocated_bytes.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "dms_c_list.h"

namespace {

// Feeds `text` to stdin through a temporary file for the lifetime of the
// object; stdin reads /dev/null afterwards.
class StdinFeed {
 public:
  explicit StdinFeed(const std::string& text) {
    char path[] = "/tmp/c_list_stdin_XXXXXX";
    int fd = mkstemp(path);
    EXPECT_GE(fd, 0);
    path_ = path;
    EXPECT_EQ(static_cast<ssize_t>(text.size()), write(fd, text.data(), text.size()));
    close(fd);
    EXPECT_NE(nullptr, freopen(path_.c_str(), "r", stdin));
  }
  ~StdinFeed() {
    if (freopen("/dev/null", "r", stdin) == nullptr) ADD_FAILURE() << "stdin not restored";
    unlink(path_.c_str());
  }
  StdinFeed(const StdinFeed&) = delete;
  StdinFeed& operator=(const StdinFeed&) = delete;

  // What remains unread on stdin.
  static std::string rest() {
    std::string text;
    for (int c = getchar(); c != EOF; c = getchar()) text.push_back(static_cast<char>(c));
    return text;
  }

 private:
  std::string path_;
};

// Captures what is written to stdout (file descriptor 1) while it lives.
class StdoutCapture {
 public:
  StdoutCapture() {
    char path[] = "/tmp/c_list_stdout_XXXXXX";
    fd_ = mkstemp(path);
    EXPECT_GE(fd_, 0);
    unlink(path);
    fflush(stdout);
    saved_ = dup(1);
    dup2(fd_, 1);
  }
  ~StdoutCapture() { restore(); }
  StdoutCapture(const StdoutCapture&) = delete;
  StdoutCapture& operator=(const StdoutCapture&) = delete;

  std::string text() {
    restore();
    std::string out;
    char buffer[256];
    lseek(fd_, 0, SEEK_SET);
    for (ssize_t n; (n = read(fd_, buffer, sizeof(buffer))) > 0;) out.append(buffer, n);
    return out;
  }

 private:
  void restore() {
    if (saved_ < 0) return;
    fflush(stdout);
    dup2(saved_, 1);
    close(saved_);
    saved_ = -1;
  }
  int fd_ = -1;
  int saved_ = -1;
};

constexpr const char* kPrompt =
    "Enter choice\n\tInsert before(press b or B)\n\tInsert After(press a or A)";

class CList : public ::testing::Test {
 protected:
  void TearDown() override { FreeList(head_); }

  void addText(const char* text) {
    ASSERT_EQ(1, Add(&head_, const_cast<char*>(text), static_cast<unsigned int>(strlen(text))));
  }

  // Each record's bytes, in order.
  std::vector<std::string> contents() const {
    std::vector<std::string> out;
    for (list* record = head_; record != nullptr; record = record->next) {
      out.emplace_back(static_cast<const char*>(record->data), record->size);
    }
    return out;
  }

  using Texts = std::vector<std::string>;
  list* head_ = nullptr;
};

TEST_F(CList, AddAppendsCopiesInOrder) {
  char text[] = "one";
  ASSERT_EQ(1, Add(&head_, text, 3));
  text[0] = 'X';  // the list holds its own copy
  addText("two");
  EXPECT_EQ((Texts{"one", "two"}), contents());
  EXPECT_NE(static_cast<void*>(text), head_->data);
  EXPECT_EQ(2u, Get_ListLen(head_));
}

TEST_F(CList, AddOfZeroBytesStoresAnEmptyRecord) {
  int value = 5;
  ASSERT_EQ(1, Add(&head_, &value, 0));
  ASSERT_NE(nullptr, head_);
  EXPECT_EQ(0u, head_->size);
  EXPECT_NE(nullptr, head_->data);
  EXPECT_EQ(1u, Search(head_, &value, 0));
}

TEST_F(CList, AddRefusesNullHeadOrData) {
  int value = 1;
  EXPECT_EQ(0, Add(nullptr, &value, sizeof(value)));
  EXPECT_EQ(0, Add(&head_, nullptr, 4));
  EXPECT_EQ(nullptr, head_);
}

TEST_F(CList, GetListLenCountsRecords) {
  EXPECT_EQ(0u, Get_ListLen(nullptr));
  addText("a");
  addText("b");
  addText("c");
  EXPECT_EQ(3u, Get_ListLen(head_));
}

TEST_F(CList, IPeekReturnsTheDataAtAPositionCountedFromOne) {
  addText("a");
  addText("bb");
  EXPECT_EQ(0, memcmp("a", iPeek(head_, 1), 1));
  EXPECT_EQ(0, memcmp("bb", iPeek(head_, 2), 2));
  EXPECT_EQ(head_->next->data, iPeek(head_, 2));
}

TEST_F(CList, IPeekRefusesPositionZeroAndBeyondTheLength) {
  EXPECT_EQ(nullptr, iPeek(nullptr, 1));
  addText("a");
  EXPECT_EQ(nullptr, iPeek(head_, 0));
  EXPECT_EQ(nullptr, iPeek(head_, 2));
  EXPECT_EQ(nullptr, iPeek(head_, 0xffffffffu));
}

TEST_F(CList, IDeleteUnlinksTheRecordAndHandsBackItsData) {
  addText("a");
  addText("b");
  addText("c");
  void* middle = iDelete(&head_, 2);
  ASSERT_NE(nullptr, middle);
  EXPECT_EQ(0, memcmp("b", middle, 1));
  free(middle);  // the caller owns it now
  EXPECT_EQ((Texts{"a", "c"}), contents());
  void* last = iDelete(&head_, 2);
  ASSERT_NE(nullptr, last);
  free(last);
  void* first = iDelete(&head_, 1);
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(0, memcmp("a", first, 1));
  free(first);
  EXPECT_EQ(nullptr, head_);
}

TEST_F(CList, IDeleteRefusesInvalidPositionsAndChangesNothing) {
  EXPECT_EQ(nullptr, iDelete(nullptr, 1));
  EXPECT_EQ(nullptr, iDelete(&head_, 1));
  addText("a");
  EXPECT_EQ(nullptr, iDelete(&head_, 0));
  EXPECT_EQ(nullptr, iDelete(&head_, 2));
  EXPECT_EQ((Texts{"a"}), contents());
}

TEST_F(CList, DeleteRemovesTheFirstRecordWithEqualSizeAndBytes) {
  addText("a");
  addText("xy");
  addText("b");
  addText("xy");
  EXPECT_EQ(1, Delete(&head_, const_cast<char*>("xy"), 2));
  EXPECT_EQ((Texts{"a", "b", "xy"}), contents());
  EXPECT_EQ(1, Delete(&head_, const_cast<char*>("a"), 1));
  EXPECT_EQ((Texts{"b", "xy"}), contents());
}

TEST_F(CList, DeleteNeedsTheSameSize) {
  addText("abcd");
  EXPECT_EQ(0, Delete(&head_, const_cast<char*>("abc"), 3));
  EXPECT_EQ(0, Delete(&head_, const_cast<char*>("abcde"), 5));
  EXPECT_EQ((Texts{"abcd"}), contents());
}

TEST_F(CList, DeleteReturnsZeroWhenNothingMatches) {
  EXPECT_EQ(0, Delete(&head_, const_cast<char*>("a"), 1));
  EXPECT_EQ(0, Delete(nullptr, const_cast<char*>("a"), 1));
  addText("a");
  EXPECT_EQ(0, Delete(&head_, const_cast<char*>("b"), 1));
  EXPECT_EQ(0, Delete(&head_, nullptr, 1));
  EXPECT_EQ((Texts{"a"}), contents());
}

TEST_F(CList, DeleteFirstRemovesTheHead) {
  addText("a");
  addText("b");
  EXPECT_EQ(1, DeleteFirst(&head_));
  EXPECT_EQ((Texts{"b"}), contents());
  EXPECT_EQ(1, DeleteFirst(&head_));
  EXPECT_EQ(nullptr, head_);
}

TEST_F(CList, DeleteFirstOnEmptyListReturnsZero) {
  EXPECT_EQ(0, DeleteFirst(&head_));
  EXPECT_EQ(0, DeleteFirst(nullptr));
}

TEST_F(CList, SearchGivesThePositionOfTheFirstEqualRecord) {
  addText("a");
  addText("bc");
  addText("bc");
  EXPECT_EQ(2u, Search(head_, const_cast<char*>("bc"), 2));
  EXPECT_EQ(1u, Search(head_, const_cast<char*>("a"), 1));
  EXPECT_EQ(0u, Search(head_, const_cast<char*>("zz"), 2));
  EXPECT_EQ(0u, Search(nullptr, const_cast<char*>("a"), 1));
  EXPECT_EQ(0u, Search(head_, nullptr, 1));
}

TEST_F(CList, SearchForThreeBytesStoredAsFourGivesZero) {
  addText("abc");                                          // without the terminator
  ASSERT_EQ(1, Add(&head_, const_cast<char*>("abc"), 4));  // with it
  EXPECT_EQ(0u, Search(head_->next, const_cast<char*>("abc"), 3));
  EXPECT_EQ(1u, Search(head_, const_cast<char*>("abc"), 3));
  EXPECT_EQ(2u, Search(head_, const_cast<char*>("abc"), 4));
}

TEST_F(CList, SortComparesOverTheShorterSizeSoAbComesBeforeB) {
  addText("b");
  addText("ab");
  Sort(&head_);
  EXPECT_EQ((Texts{"ab", "b"}), contents());
}

TEST_F(CList, SortOrdersAscendingByBytes) {
  for (const char* text : {"d", "a", "e", "c", "b"}) addText(text);
  Sort(&head_);
  EXPECT_EQ((Texts{"a", "b", "c", "d", "e"}), contents());
}

TEST_F(CList, SortKeepsTheOrderOfRecordsWithEqualCommonPrefix) {
  addText("abc");
  addText("a");
  addText("ab");
  Sort(&head_);
  EXPECT_EQ((Texts{"abc", "a", "ab"}), contents());
}

TEST_F(CList, SortOfEmptyOrSingleListChangesNothing) {
  Sort(nullptr);
  Sort(&head_);
  EXPECT_EQ(nullptr, head_);
  addText("z");
  Sort(&head_);
  EXPECT_EQ((Texts{"z"}), contents());
}

TEST_F(CList, FreeListFreesRecordsAndDataAndToleratesAnEmptyList) {
  const std::string long_text(1000, 'b');
  long made = 0;
  long left = 0;
  for (int round = 0; round < 2; ++round) {  // the first sets up what stays
    const size_t before = allocatedBytes();
    FreeList(nullptr);
    addText("a");
    addText(long_text.c_str());
    made = static_cast<long>(allocatedBytes() - before);
    FreeList(head_);
    head_ = nullptr;
    left = static_cast<long>(allocatedBytes() - before);
  }
  EXPECT_GT(made, 1000);
  EXPECT_EQ(left, 0);
}

TEST_F(CList, InsertAnsweredBPutsTheCopyBeforeThePosition) {
  addText("a");
  addText("c");
  StdinFeed feed("\nb");
  StdoutCapture out;
  EXPECT_EQ(1, Insert(&head_, const_cast<char*>("b"), 1, 2));
  EXPECT_EQ(kPrompt, out.text());
  EXPECT_EQ((Texts{"a", "b", "c"}), contents());
}

TEST_F(CList, InsertAnsweredUpperBBeforeTheFirstMakesANewHead) {
  addText("b");
  StdinFeed feed("\nB");
  StdoutCapture out;
  EXPECT_EQ(1, Insert(&head_, const_cast<char*>("a"), 1, 1));
  EXPECT_EQ((Texts{"a", "b"}), contents());
}

TEST_F(CList, InsertAnsweredAPutsTheCopyAfterThePosition) {
  addText("a");
  addText("c");
  StdinFeed feed("\na");
  StdoutCapture out;
  EXPECT_EQ(1, Insert(&head_, const_cast<char*>("b"), 1, 1));
  EXPECT_EQ((Texts{"a", "b", "c"}), contents());
}

TEST_F(CList, InsertAnsweredUpperAAfterTheLastAppends) {
  addText("a");
  StdinFeed feed("\nA");
  StdoutCapture out;
  EXPECT_EQ(1, Insert(&head_, const_cast<char*>("b"), 1, 1));
  EXPECT_EQ((Texts{"a", "b"}), contents());
}

TEST_F(CList, InsertDiscardsOnePendingCharacterBeforeReadingTheAnswer) {
  addText("a");
  StdinFeed feed("ba");  // the b is discarded, the a is the answer
  StdoutCapture out;
  EXPECT_EQ(1, Insert(&head_, const_cast<char*>("b"), 1, 1));
  EXPECT_EQ((Texts{"a", "b"}), contents());
  EXPECT_EQ("", StdinFeed::rest());
}

TEST_F(CList, InsertWithAnyOtherAnswerReturnsZeroAndAddsNothing) {
  addText("a");
  StdinFeed feed("\nx\nz");
  StdoutCapture out;
  EXPECT_EQ(0, Insert(&head_, const_cast<char*>("b"), 1, 1));
  EXPECT_EQ(kPrompt, out.text());
  EXPECT_EQ((Texts{"a"}), contents());
  EXPECT_EQ("\nz", StdinFeed::rest());
}

TEST_F(CList, InsertAtEndOfInputReturnsZero) {
  addText("a");
  StdinFeed feed("\n");
  StdoutCapture out;
  EXPECT_EQ(0, Insert(&head_, const_cast<char*>("b"), 1, 1));
  EXPECT_EQ((Texts{"a"}), contents());
}

TEST_F(CList, InsertRefusesPositionZeroOrBeyondTheLengthWithoutAsking) {
  addText("a");
  StdinFeed feed("\nb");
  StdoutCapture out;
  EXPECT_EQ(0, Insert(&head_, const_cast<char*>("b"), 1, 0));
  EXPECT_EQ(0, Insert(&head_, const_cast<char*>("b"), 1, 2));
  list* empty = nullptr;
  EXPECT_EQ(0, Insert(&empty, const_cast<char*>("b"), 1, 1));
  EXPECT_EQ(0, Insert(nullptr, const_cast<char*>("b"), 1, 1));
  EXPECT_EQ(0, Insert(&head_, nullptr, 1, 1));
  EXPECT_EQ("", out.text());
  EXPECT_EQ((Texts{"a"}), contents());
  EXPECT_EQ("\nb", StdinFeed::rest());  // nothing was read
}

}  // namespace
