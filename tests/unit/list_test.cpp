#include <gtest/gtest.h>

#include <vector>

#include "dms_list.h"
#include "dms_platform.h"

namespace {

int deleterCalls = 0;
int countingDeleter(void* /*data*/) {
  ++deleterCalls;
  return 0;
}

int freeingDeleter(void* data) {
  ++deleterCalls;
  DMSAppMemFree(data);
  return 0;
}

class DMSCDSListTest : public ::testing::Test {
 protected:
  void SetUp() override { deleterCalls = 0; }
  // Owners empty the list before deleting it; the fixture does the same so
  // that the sanitizer builds see no leaked item records.
  void TearDown() override { list_.RemoveAllListItem(DMSCDSList::Deleter{}); }

  void addThree() {
    ASSERT_EQ(0, list_.AddItem(&a_));
    ASSERT_EQ(0, list_.AddItem(&b_));
    ASSERT_EQ(0, list_.AddItem(&c_));
  }

  // The data pointers from first to last, checking the backward links too.
  std::vector<void*> contents() const {
    std::vector<void*> forward;
    for (stDMSCDSListItem* item = list_.ReadFirstItem(); item != nullptr; item = item->next) {
      forward.push_back(item->data);
    }
    std::vector<void*> backward;
    for (stDMSCDSListItem* item = list_.ReadLastItem(); item != nullptr; item = item->previous) {
      backward.insert(backward.begin(), item->data);
    }
    EXPECT_EQ(forward, backward);
    EXPECT_EQ(static_cast<size_t>(list_.Size()), forward.size());
    return forward;
  }

  DMSCDSList list_;
  int a_ = 1;
  int b_ = 2;
  int c_ = 3;
  int d_ = 4;
};

using Items = std::vector<void*>;

TEST_F(DMSCDSListTest, NewListHasNoItemsAndSizeZero) {
  EXPECT_EQ(0, list_.Size());
  EXPECT_EQ(nullptr, list_.ReadFirstItem());
  EXPECT_EQ(nullptr, list_.ReadLastItem());
  EXPECT_EQ(nullptr, list_.ReadCurrentItem());
  EXPECT_EQ(nullptr, list_.ReadFirstItemData());
  EXPECT_EQ(nullptr, list_.ReadLastItemData());
}

TEST_F(DMSCDSListTest, EmptyListReadsNullAndCannotSetCursor) {
  EXPECT_EQ(nullptr, list_.ReadCurrentItemData());
  EXPECT_EQ(nullptr, list_.ReadNextItemData());
  EXPECT_EQ(nullptr, list_.ReadPreviousItemData());
  EXPECT_EQ(nullptr, list_.ReadNextItem());
  EXPECT_EQ(nullptr, list_.ReadPreviousItem());
  EXPECT_EQ(1, list_.SetFirstItemToCurrentItem());
  EXPECT_EQ(1, list_.SetLastItemToCurrentItem());
  EXPECT_EQ(nullptr, list_.ReadCurrentItem());
}

TEST_F(DMSCDSListTest, AddItemAppendsAndMakesTheNewItemCurrent) {
  EXPECT_EQ(0, list_.AddItem(&a_));
  EXPECT_EQ(&a_, list_.ReadCurrentItemData());
  EXPECT_EQ(0, list_.AddItem(&b_));
  EXPECT_EQ(&b_, list_.ReadCurrentItemData());
  EXPECT_EQ(&a_, list_.ReadFirstItemData());
  EXPECT_EQ(&b_, list_.ReadLastItemData());
  EXPECT_EQ(list_.ReadLastItem(), list_.ReadCurrentItem());
  EXPECT_EQ((Items{&a_, &b_}), contents());
}

TEST_F(DMSCDSListTest, AddItemRefusesNullData) {
  EXPECT_EQ(1, list_.AddItem(nullptr));
  EXPECT_EQ(0, list_.Size());
  addThree();
  EXPECT_EQ(1, list_.AddItem(nullptr));
  EXPECT_EQ(3, list_.Size());
  EXPECT_EQ(&c_, list_.ReadCurrentItemData());
}

TEST_F(DMSCDSListTest, WalkOfThreeVisitsAllAndFourthStepLeavesCursorOnThird) {
  addThree();
  Items seen;
  ASSERT_EQ(0, list_.SetFirstItemToCurrentItem());
  for (void* data = list_.ReadCurrentItemData(); data != nullptr; data = list_.ReadNextItemData()) {
    seen.push_back(data);
  }
  EXPECT_EQ((Items{&a_, &b_, &c_}), seen);
  EXPECT_EQ(nullptr, list_.ReadNextItemData());
  EXPECT_EQ(&c_, list_.ReadCurrentItemData());
  EXPECT_EQ(nullptr, list_.ReadNextItem());
  EXPECT_EQ(list_.ReadLastItem(), list_.ReadCurrentItem());
}

TEST_F(DMSCDSListTest, SecondWalkStartsOnlyAfterCursorIsReset) {
  addThree();
  list_.SetFirstItemToCurrentItem();
  while (list_.ReadNextItemData() != nullptr) {
  }
  EXPECT_EQ(nullptr, list_.ReadNextItemData());
  ASSERT_EQ(0, list_.SetFirstItemToCurrentItem());
  EXPECT_EQ(&a_, list_.ReadCurrentItemData());
  EXPECT_EQ(&b_, list_.ReadNextItemData());
}

TEST_F(DMSCDSListTest, BackwardWalkStopsOnFirstItem) {
  addThree();
  ASSERT_EQ(0, list_.SetLastItemToCurrentItem());
  EXPECT_EQ(&c_, list_.ReadCurrentItemData());
  EXPECT_EQ(&b_, list_.ReadPreviousItemData());
  EXPECT_EQ(list_.ReadFirstItem(), list_.ReadPreviousItem());
  EXPECT_EQ(nullptr, list_.ReadPreviousItemData());
  EXPECT_EQ(nullptr, list_.ReadPreviousItem());
  EXPECT_EQ(&a_, list_.ReadCurrentItemData());
}

TEST_F(DMSCDSListTest, AddItemDuringWalkEndsTheWalk) {
  addThree();
  list_.SetFirstItemToCurrentItem();
  EXPECT_EQ(0, list_.AddItem(&d_));
  EXPECT_EQ(nullptr, list_.ReadNextItemData());
  EXPECT_EQ(&d_, list_.ReadCurrentItemData());
}

TEST_F(DMSCDSListTest, AddItemBeforeCurrentNodeInsertsWithoutMovingCursorAndReturnsOne) {
  addThree();
  list_.SetFirstItemToCurrentItem();
  list_.ReadNextItem();  // on b
  EXPECT_EQ(1, list_.AddItemBeforeCurrentNode(&d_));
  EXPECT_EQ(&b_, list_.ReadCurrentItemData());
  EXPECT_EQ((Items{&a_, &d_, &b_, &c_}), contents());
}

TEST_F(DMSCDSListTest, AddItemBeforeCurrentFirstItemBecomesFirst) {
  addThree();
  list_.SetFirstItemToCurrentItem();
  EXPECT_EQ(1, list_.AddItemBeforeCurrentNode(&d_));
  EXPECT_EQ(&d_, list_.ReadFirstItemData());
  EXPECT_EQ(&a_, list_.ReadCurrentItemData());
  EXPECT_EQ(&d_, list_.ReadPreviousItemData());
  EXPECT_EQ((Items{&d_, &a_, &b_, &c_}), contents());
}

TEST_F(DMSCDSListTest, AddItemAfterCurrentNodeInsertsWithoutMovingCursorAndReturnsOne) {
  addThree();
  list_.SetFirstItemToCurrentItem();
  EXPECT_EQ(1, list_.AddItemAfterCurrentNode(&d_));
  EXPECT_EQ(&a_, list_.ReadCurrentItemData());
  EXPECT_EQ((Items{&a_, &d_, &b_, &c_}), contents());
}

TEST_F(DMSCDSListTest, AddItemAfterCurrentLastItemBecomesLast) {
  addThree();  // cursor on c
  EXPECT_EQ(1, list_.AddItemAfterCurrentNode(&d_));
  EXPECT_EQ(&d_, list_.ReadLastItemData());
  EXPECT_EQ(&c_, list_.ReadCurrentItemData());
  EXPECT_EQ(&d_, list_.ReadNextItemData());
  EXPECT_EQ((Items{&a_, &b_, &c_, &d_}), contents());
}

TEST_F(DMSCDSListTest, AddItemAfterCurrentNodeOnEmptyListReturnsOneAndAddsNothing) {
  EXPECT_EQ(1, list_.AddItemAfterCurrentNode(&a_));
  EXPECT_EQ(0, list_.Size());
  EXPECT_EQ(nullptr, list_.ReadFirstItem());
}

TEST_F(DMSCDSListTest, AddItemBeforeCurrentNodeOnEmptyListReturnsOneAndAddsNothing) {
  EXPECT_EQ(1, list_.AddItemBeforeCurrentNode(&a_));
  EXPECT_EQ(0, list_.Size());
  EXPECT_EQ(nullptr, list_.ReadFirstItem());
}

TEST_F(DMSCDSListTest, InsertionNextToCursorRefusesNullData) {
  addThree();
  EXPECT_EQ(1, list_.AddItemBeforeCurrentNode(nullptr));
  EXPECT_EQ(1, list_.AddItemAfterCurrentNode(nullptr));
  EXPECT_EQ((Items{&a_, &b_, &c_}), contents());
}

TEST_F(DMSCDSListTest, DeleteFirstOfTwoLeavesSecondAsFirstLastAndCurrent) {
  list_.AddItem(&a_);
  list_.AddItem(&b_);
  EXPECT_EQ(1, list_.DeleteItem(&a_));
  EXPECT_EQ(1, list_.Size());
  EXPECT_EQ(&b_, list_.ReadFirstItemData());
  EXPECT_EQ(&b_, list_.ReadLastItemData());
  EXPECT_EQ(&b_, list_.ReadCurrentItemData());
  EXPECT_EQ(list_.ReadFirstItem(), list_.ReadLastItem());
  EXPECT_EQ(nullptr, list_.ReadFirstItem()->previous);
  EXPECT_EQ(nullptr, list_.ReadFirstItem()->next);
}

TEST_F(DMSCDSListTest, DeleteItemInTheMiddleMovesCursorToTheNextItem) {
  addThree();
  list_.SetFirstItemToCurrentItem();  // the cursor moves even though a is current
  EXPECT_EQ(1, list_.DeleteItem(&b_));
  EXPECT_EQ(&c_, list_.ReadCurrentItemData());
  EXPECT_EQ(&a_, list_.ReadPreviousItemData());
  EXPECT_EQ((Items{&a_, &c_}), contents());
}

TEST_F(DMSCDSListTest, DeleteItemOfTheLastMovesCursorToThePreviousWhichBecomesLast) {
  addThree();
  list_.SetFirstItemToCurrentItem();
  EXPECT_EQ(1, list_.DeleteItem(&c_));
  EXPECT_EQ(&b_, list_.ReadCurrentItemData());
  EXPECT_EQ(&b_, list_.ReadLastItemData());
  EXPECT_EQ(nullptr, list_.ReadNextItemData());
  EXPECT_EQ((Items{&a_, &b_}), contents());
}

TEST_F(DMSCDSListTest, DeleteItemOfTheOnlyItemEmptiesTheList) {
  list_.AddItem(&a_);
  EXPECT_EQ(1, list_.DeleteItem(&a_));
  EXPECT_EQ(0, list_.Size());
  EXPECT_EQ(nullptr, list_.ReadFirstItem());
  EXPECT_EQ(nullptr, list_.ReadLastItem());
  EXPECT_EQ(nullptr, list_.ReadCurrentItem());
  EXPECT_EQ(0, list_.AddItem(&b_));  // usable again
  EXPECT_EQ((Items{&b_}), contents());
}

TEST_F(DMSCDSListTest, DeleteItemRemovesOnlyTheFirstMatchAndKeepsTheData) {
  auto* data = static_cast<int*>(DMSAppMemAllocMA(sizeof(int)));
  ASSERT_NE(nullptr, data);
  *data = 7;
  list_.AddItem(data);
  list_.AddItem(&a_);
  list_.AddItem(data);
  EXPECT_EQ(1, list_.DeleteItem(data));
  EXPECT_EQ((Items{&a_, data}), contents());
  EXPECT_EQ(7, *data);  // not freed by the list
  EXPECT_EQ(1, list_.DeleteItem(data));
  DMSAppMemFree(data);
}

TEST_F(DMSCDSListTest, DeleteItemOfUnknownDataReturnsZeroAndChangesNothing) {
  addThree();
  list_.SetFirstItemToCurrentItem();
  EXPECT_EQ(0, list_.DeleteItem(&d_));
  EXPECT_EQ(&a_, list_.ReadCurrentItemData());
  EXPECT_EQ((Items{&a_, &b_, &c_}), contents());
  DMSCDSList empty;
  EXPECT_EQ(0, empty.DeleteItem(&a_));
}

TEST_F(DMSCDSListTest, DeleteItemWithNullReturnsOneAndChangesNothing) {
  addThree();
  EXPECT_EQ(1, list_.DeleteItem(nullptr));
  EXPECT_EQ((Items{&a_, &b_, &c_}), contents());
}

TEST_F(DMSCDSListTest, DeleteItemRefusesAnItemWhoseLinksAreInconsistent) {
  addThree();
  stDMSCDSListItem* second = list_.ReadFirstItem()->next;
  stDMSCDSListItem* saved = second->previous;
  second->previous = nullptr;  // claims to be first, but is not
  EXPECT_EQ(0, list_.DeleteItem(&b_));
  EXPECT_EQ(3, list_.Size());
  second->previous = saved;
  EXPECT_EQ((Items{&a_, &b_, &c_}), contents());
}

TEST_F(DMSCDSListTest, DeleteCurrentItemHandsDataBackAndMovesToTheNextItem) {
  addThree();
  list_.SetFirstItemToCurrentItem();
  list_.ReadNextItem();
  stDMSCDSListItem out = {nullptr, nullptr, nullptr};
  EXPECT_EQ(0, list_.DeleteCurrentItem(&out));
  EXPECT_EQ(&b_, out.data);
  EXPECT_EQ(&c_, list_.ReadCurrentItemData());
  EXPECT_EQ((Items{&a_, &c_}), contents());
}

TEST_F(DMSCDSListTest, DeleteCurrentItemOnTheLastMovesToThePrevious) {
  addThree();  // cursor on c
  stDMSCDSListItem out = {nullptr, nullptr, nullptr};
  EXPECT_EQ(0, list_.DeleteCurrentItem(&out));
  EXPECT_EQ(&c_, out.data);
  EXPECT_EQ(&b_, list_.ReadCurrentItemData());
  EXPECT_EQ(&b_, list_.ReadLastItemData());
  EXPECT_EQ((Items{&a_, &b_}), contents());
}

TEST_F(DMSCDSListTest, DeleteCurrentItemRepeatedlyEmptiesTheList) {
  addThree();
  stDMSCDSListItem out = {nullptr, nullptr, nullptr};
  Items handedBack;
  while (list_.DeleteCurrentItem(&out) == 0) handedBack.push_back(out.data);
  EXPECT_EQ((Items{&c_, &b_, &a_}), handedBack);
  EXPECT_EQ(0, list_.Size());
  EXPECT_EQ(nullptr, list_.ReadFirstItem());
}

TEST_F(DMSCDSListTest, DeleteCurrentItemRefusesNullOutOrNoCurrentItem) {
  stDMSCDSListItem out = {&d_, nullptr, nullptr};
  EXPECT_EQ(1, list_.DeleteCurrentItem(&out));
  EXPECT_EQ(&d_, out.data);
  addThree();
  EXPECT_EQ(1, list_.DeleteCurrentItem(static_cast<stDMSCDSListItem*>(nullptr)));
  EXPECT_EQ(3, list_.Size());
}

TEST_F(DMSCDSListTest, DeleteCurrentItemWithDeleterCallsItOnTheData) {
  auto* data = DMSAppMemAllocMA(16);
  ASSERT_NE(nullptr, data);
  list_.AddItem(&a_);
  list_.AddItem(data);
  EXPECT_EQ(0, list_.DeleteCurrentItem(&freeingDeleter));
  EXPECT_EQ(1, deleterCalls);
  EXPECT_EQ(&a_, list_.ReadCurrentItemData());
  EXPECT_EQ((Items{&a_}), contents());
}

TEST_F(DMSCDSListTest, DeleteCurrentItemWithoutDeleterOnlyUnlinks) {
  addThree();
  EXPECT_EQ(0, list_.DeleteCurrentItem(DMSCDSList::Deleter{}));
  EXPECT_EQ((Items{&a_, &b_}), contents());
}

TEST_F(DMSCDSListTest, DeleteCurrentItemWithDeleterOnEmptyListReturnsOneAndCallsNothing) {
  EXPECT_EQ(1, list_.DeleteCurrentItem(&countingDeleter));
  EXPECT_EQ(0, deleterCalls);
}

TEST_F(DMSCDSListTest, FreeAllDMSCDSListItemFreesTheDataAndEmptiesTheList) {
  for (int i = 0; i < 3; ++i) ASSERT_EQ(0, list_.AddItem(DMSAppMemAllocMA(8)));
  EXPECT_EQ(0, list_.FreeAllDMSCDSListItem());  // the leak checker sees the data go
  EXPECT_EQ(0, list_.Size());
  EXPECT_EQ(nullptr, list_.ReadFirstItem());
  EXPECT_EQ(nullptr, list_.ReadCurrentItem());
  EXPECT_EQ(0, list_.FreeAllDMSCDSListItem());
}

TEST_F(DMSCDSListTest, RemoveAllListItemCallsTheDeleterOnEveryItem) {
  for (int i = 0; i < 4; ++i) ASSERT_EQ(0, list_.AddItem(DMSAppMemAllocMA(8)));
  EXPECT_EQ(0, list_.RemoveAllListItem(&freeingDeleter));
  EXPECT_EQ(4, deleterCalls);
  EXPECT_EQ(0, list_.Size());
  EXPECT_EQ(nullptr, list_.ReadLastItem());
}

TEST_F(DMSCDSListTest, RemoveAllListItemWithoutDeleterLeavesTheDataAlone) {
  addThree();
  EXPECT_EQ(0, list_.RemoveAllListItem(DMSCDSList::Deleter{}));
  EXPECT_EQ(0, list_.Size());
  EXPECT_EQ(1, a_);
  EXPECT_EQ(0, list_.AddItem(&d_));
  EXPECT_EQ((Items{&d_}), contents());
}

TEST_F(DMSCDSListTest, SetLastItemToCurrentItemMovesCursorToTheEnd) {
  addThree();
  list_.SetFirstItemToCurrentItem();
  EXPECT_EQ(0, list_.SetLastItemToCurrentItem());
  EXPECT_EQ(&c_, list_.ReadCurrentItemData());
}

}  // namespace
