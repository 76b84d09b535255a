#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "cds_impl_interface.h"
#include "cds_impl_manager.h"
#include "cds_test_support.h"
#include "dms_content_engine.h"
#include "dms_platform.h"
#include "log_capture.h"

class UPnPCDSImplManagerTestPeer {
 public:
  static UPnPCDSImplInterface* find(unsigned int id) {
    return UPnPCDSImplManager::GetInstance()->__Find(id);
  }
};

namespace {

using cds_test::responseBody;

struct Delivery {
  int id;
  NUVCDSWL_RES_TYPE type;
  NUVCDSWL_RES_RESULT result;
  int value;
  DMSAppString* text;
  DMSCDSList* list;
};

// An implementation object that records what the engine delivers and, when
// asked, ends its action through its command-response interface.
class RecordingImpl : public UPnPCDSImplInterface {
 public:
  explicit RecordingImpl(std::atomic<int>* deleted = nullptr,
                         DMSAppActionInfo* actionInfo = nullptr,
                         UPnPAppCDSCommandResponseInterface* responder = nullptr,
                         bool endOnAnswer = false)
      : UPnPCDSImplInterface(actionInfo, responder), deleted_(deleted), endOnAnswer_(endOnAnswer) {}
  ~RecordingImpl() override {
    if (deleted_ != nullptr) ++*deleted_;
  }

  int NotifyCommandResponse(int id, NUVCDSWL_RES_TYPE type, NUVCDSWL_RES_RESULT result, int value,
                            DMSAppString* text, DMSCDSList* list) override {
    deliveries.push_back({id, type, result, value, text, list});
    ++answered;
    if (endOnAnswer_)
      GetCommandResponseInterface()->NotifyCommandResponse(
          0, GetActionInfo(), cds_test::argumentList({{"TransferID", std::to_string(GetID())}}),
          GetID());
    return 0;
  }

  std::vector<Delivery> deliveries;
  std::atomic<int> answered{0};

 private:
  std::atomic<int>* deleted_;
  bool endOnAnswer_;
};

// Ends an action by removing its object, as the service's single exit does.
class RemovingResponder : public UPnPAppCDSCommandResponseInterface {
 public:
  int NotifyCommandResponse(int, DMSAppActionInfo*, DMSCDSList* out, unsigned int id) override {
    dms_cds::deleteArgumentList(out);
    return UPnPCDSImplManager::GetInstance()->Remove(id);
  }
};

class UPnPCDSImplManagerTest : public cds_test::CdsTest {};

}  // namespace

TEST_F(UPnPCDSImplManagerTest, IdsStartAtOneAndIncrease) {
  UPnPCDSImplManager* registry = UPnPCDSImplManager::GetInstance();
  auto* a = new RecordingImpl();
  auto* b = new RecordingImpl();
  EXPECT_EQ(registry->Add(a), 1u);
  EXPECT_EQ(registry->Add(b), 2u);
  EXPECT_EQ(a->GetID(), 1u);
  EXPECT_EQ(b->GetID(), 2u);
  EXPECT_EQ(registry->count(), 2);
}

TEST_F(UPnPCDSImplManagerTest, The100001stObjectGetsIdOneAndZeroIsNeverHandedOut) {
  UPnPCDSImplManager* registry = UPnPCDSImplManager::GetInstance();
  for (unsigned int expected = 1; expected <= 100000; ++expected) {
    const unsigned int id = registry->Add(new RecordingImpl());
    ASSERT_EQ(id, expected);
    ASSERT_EQ(registry->Remove(id), 0);
  }
  auto* wrapped = new RecordingImpl();
  EXPECT_EQ(registry->Add(wrapped), 1u);
  EXPECT_EQ(wrapped->GetID(), 1u);
  EXPECT_EQ(registry->Add(new RecordingImpl()), 2u);
}

TEST_F(UPnPCDSImplManagerTest, NullObjectIsNotRegistered) {
  UPnPCDSImplManager* registry = UPnPCDSImplManager::GetInstance();
  EXPECT_EQ(registry->Add(nullptr), 0u);
  EXPECT_EQ(registry->count(), 0);
  EXPECT_EQ(registry->Add(new RecordingImpl()), 1u);  // no ID was used up
}

TEST_F(UPnPCDSImplManagerTest, RemoveDeletesTheObjectAndUnknownIdChangesNothing) {
  std::atomic<int> deleted{0};
  UPnPCDSImplManager* registry = UPnPCDSImplManager::GetInstance();
  const unsigned int id = registry->Add(new RecordingImpl(&deleted));
  registry->Add(new RecordingImpl(&deleted));
  EXPECT_EQ(registry->Remove(77), 1);
  EXPECT_EQ(registry->count(), 2);
  EXPECT_EQ(deleted.load(), 0);
  EXPECT_EQ(registry->Remove(id), 0);
  EXPECT_EQ(deleted.load(), 1);
  EXPECT_EQ(registry->count(), 1);
  EXPECT_EQ(UPnPCDSImplManagerTestPeer::find(id), nullptr);
  EXPECT_EQ(registry->Remove(id), 1);
}

TEST_F(UPnPCDSImplManagerTest, FindReturnsTheFirstObjectWithTheId) {
  UPnPCDSImplManager* registry = UPnPCDSImplManager::GetInstance();
  auto* old = new RecordingImpl();
  ASSERT_EQ(registry->Add(old), 1u);
  for (unsigned int i = 2; i <= 100000; ++i) registry->Remove(registry->Add(new RecordingImpl()));
  auto* young = new RecordingImpl();
  ASSERT_EQ(registry->Add(young), 1u);  // the old one is still pending
  EXPECT_EQ(UPnPCDSImplManagerTestPeer::find(1), old);
  registry->Remove(1);
  EXPECT_EQ(UPnPCDSImplManagerTestPeer::find(1), young);
}

TEST_F(UPnPCDSImplManagerTest, ConstructionRegistersTheEngineCallbackAndDestructionClearsIt) {
  UPnPCDSImplManager::DestroyInstance();
  EXPECT_EQ(NUVCEGetResponseCallback(), nullptr);
  UPnPCDSImplManager::GetInstance();
  EXPECT_EQ(NUVCEGetResponseCallback(), &UPnPCDSImplManager::NotifyCommandResponse);
  UPnPCDSImplManager::DestroyInstance();
  EXPECT_EQ(NUVCEGetResponseCallback(), nullptr);
}

TEST_F(UPnPCDSImplManagerTest, DestructionDeletesObjectsStillPending) {
  std::atomic<int> deleted{0};
  UPnPCDSImplManager* registry = UPnPCDSImplManager::GetInstance();
  registry->Add(new RecordingImpl(&deleted, cds_test::makeRecord("Browse", {})));
  registry->Add(new RecordingImpl(&deleted));
  UPnPCDSImplManager::DestroyInstance();
  EXPECT_EQ(deleted.load(), 2);
  EXPECT_TRUE(FakeStack::instance().responses().empty());  // never answered
}

TEST_F(UPnPCDSImplManagerTest, EngineAnswerReachesTheObjectWithEveryArgument) {
  auto* object = new RecordingImpl();
  const unsigned int id = UPnPCDSImplManager::GetInstance()->Add(object);
  DMSAppString text("t");
  DMSCDSList list;
  LogCapture log;
  NUVCEGetResponseCallback()(static_cast<int>(id), NUVCDSWL_RES_CONTENTS, NUVCDSWL_RES_FAILURE, 42,
                             &text, &list);
  ASSERT_EQ(object->deliveries.size(), 1u);
  const Delivery& d = object->deliveries[0];
  EXPECT_EQ(d.id, static_cast<int>(id));
  EXPECT_EQ(d.type, NUVCDSWL_RES_CONTENTS);
  EXPECT_EQ(d.result, NUVCDSWL_RES_FAILURE);
  EXPECT_EQ(d.value, 42);
  EXPECT_EQ(d.text, &text);
  EXPECT_EQ(d.list, &list);
  ASSERT_FALSE(log.lines().empty());
  EXPECT_EQ(log.lines()[0].text, "[UPnPCDSImplManager::NotifyCommandResponse] is called");
  EXPECT_EQ(log.lines()[0].level, 1);
}

TEST_F(UPnPCDSImplManagerTest, NegativeOrUnknownIdIsLoggedAndDropped) {
  auto* object = new RecordingImpl();
  UPnPCDSImplManager::GetInstance()->Add(object);
  LogCapture log;
  UPnPCDSImplManager::NotifyCommandResponse(-1, NUVCDSWL_RES_CONTENTS, NUVCDSWL_RES_SUCCESS, 0,
                                            nullptr, nullptr);
  UPnPCDSImplManager::NotifyCommandResponse(5, NUVCDSWL_RES_CONTENTS, NUVCDSWL_RES_SUCCESS, 0,
                                            nullptr, nullptr);
  EXPECT_TRUE(log.has("[UPnPCDSImplManager] Invalid Input(InstanceID) NotifyCommandResponse()"));
  EXPECT_TRUE(log.has("[UPnPCDSImplManager] Cant find the instance NotifyCommandResponse()"));
  EXPECT_EQ(log.count("[UPnPCDSImplManager::NotifyCommandResponse] is called"), 2u);
  EXPECT_TRUE(object->deliveries.empty());
}

TEST_F(UPnPCDSImplManagerTest, AnswerAfterTheRegistryIsGoneIsDropped) {
  UPnPCDSImplManager::GetInstance()->Add(new RecordingImpl());
  UPnPCDSImplManager::DestroyInstance();
  LogCapture log;
  UPnPCDSImplManager::NotifyCommandResponse(1, NUVCDSWL_RES_CONTENTS, NUVCDSWL_RES_SUCCESS, 0,
                                            nullptr, nullptr);
  EXPECT_TRUE(log.has("[UPnPCDSImplManager] Cant find the instance NotifyCommandResponse()"));
}

TEST_F(UPnPCDSImplManagerTest, ObjectEndingItsActionIsAnsweredAndDeleted) {
  std::atomic<int> deleted{0};
  DMSAppActionInfo* record = cds_test::makeRecord("ImportResource", {}, cds_test::kClientIP, 9, 55);
  auto* object = new RecordingImpl(&deleted, record, UPnPAppCDS::GetInstance(), true);
  const unsigned int id = UPnPCDSImplManager::GetInstance()->Add(object);
  UPnPCDSImplManager::NotifyCommandResponse(static_cast<int>(id), NUVCDSWL_RES_UPLOAD_CHECK,
                                            NUVCDSWL_RES_SUCCESS, 0, nullptr, nullptr);
  EXPECT_EQ(deleted.load(), 1);
  EXPECT_EQ(UPnPCDSImplManager::GetInstance()->count(), 0);
  const std::vector<FakeResponse> responses = FakeStack::instance().responses();
  ASSERT_EQ(responses.size(), 1u);
  EXPECT_EQ(responses[0].actionID, 55);
  EXPECT_EQ(responses[0].body,
            responseBody("ImportResource", {{"TransferID", std::to_string(id)}}));
}

TEST_F(UPnPCDSImplManagerTest, ObjectsAreAddedAnsweredAndRemovedFromSeveralThreadsAtOnce) {
  DMSAppMemFree(DMSAppMemAllocMA(1));  // the memory service exists before the threads start
  constexpr int kThreads = 8;
  constexpr int kPerThread = 3000;
  std::atomic<int> deleted{0};
  std::atomic<int> answered{0};
  RemovingResponder responder;
  UPnPCDSImplManager::GetInstance();
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kPerThread; ++i) {
        auto* object = new RecordingImpl(&deleted, nullptr, &responder, true);
        const unsigned int id = UPnPCDSImplManager::GetInstance()->Add(object);
        ASSERT_GE(id, 1u);
        ASSERT_LE(id, 100000u);
        // The engine's thread would deliver this; any thread may.
        NUVCEGetResponseCallback()(static_cast<int>(id), NUVCDSWL_RES_CONTENTS,
                                   NUVCDSWL_RES_SUCCESS, 0, nullptr, nullptr);
        ++answered;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(answered.load(), kThreads * kPerThread);
  EXPECT_EQ(deleted.load(), kThreads * kPerThread);  // each answered exactly once, then removed
  EXPECT_EQ(UPnPCDSImplManager::GetInstance()->count(), 0);
  // The counter advanced once per object: the next ID follows the last one.
  EXPECT_EQ(UPnPCDSImplManager::GetInstance()->Add(new RecordingImpl()),
            static_cast<unsigned int>(kThreads * kPerThread + 1));
}

TEST_F(UPnPCDSImplManagerTest, IdsOfLiveObjectsAreUniqueUnderConcurrentAdds) {
  constexpr int kThreads = 6;
  constexpr int kPerThread = 2000;
  std::mutex idsMutex;
  std::set<unsigned int> ids;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kPerThread; ++i) {
        const unsigned int id = UPnPCDSImplManager::GetInstance()->Add(new RecordingImpl());
        std::lock_guard<std::mutex> lock(idsMutex);
        ids.insert(id);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(ids.size(), static_cast<size_t>(kThreads * kPerThread));
  EXPECT_EQ(*ids.begin(), 1u);
  EXPECT_EQ(*ids.rbegin(), static_cast<unsigned int>(kThreads * kPerThread));
  EXPECT_EQ(UPnPCDSImplManager::GetInstance()->count(), kThreads * kPerThread);
}

TEST(UPnPCDSImplInterface, SetIdReturnsTheObjectAndActionInfoIsReplaced) {
  RecordingImpl object(nullptr, cds_test::makeRecord("A", {}));
  EXPECT_EQ(object.SetID(12), &object);
  EXPECT_EQ(object.GetID(), 12u);
  object.SetActionInfo(cds_test::makeRecord("B", {}));  // the first record is freed
  ASSERT_NE(object.GetActionInfo(), nullptr);
  EXPECT_EQ(object.GetActionInfo()->ReadActionName()->Compare("B"), 0);
  RemovingResponder responder;
  object.SetCommandResponseInterface(&responder);
  EXPECT_EQ(object.GetCommandResponseInterface(), &responder);
}
