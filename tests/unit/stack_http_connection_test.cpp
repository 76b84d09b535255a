// The hand-over of responses and body pieces between libmicrohttpd and a
// handler: pieces gathered into libmicrohttpd's buffer, and requests
// suspended while their handler has nothing to give, then resumed exactly
// once by the answer, a cancel or the wait bound.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "http_connection.h"
#include "http_limits.h"

using dmsstack::HandlerDeadlines;
using dmsstack::HttpConnection;
using dmsstack::kHttpPieceBytes;
using dmsstack::kHttpSendBufferBytes;
using dmsstack::kMaxEmptyPieces;
using dmsstack::QueuedResponse;

namespace {

// Stands for libmicrohttpd's suspend and resume of one connection.
struct Pause {
  std::mutex mutex;
  std::condition_variable changed;
  int suspends = 0;
  int resumes = 0;

  void attach(HttpConnection* c) {
    c->setPause(
        [this] {
          std::lock_guard<std::mutex> lock(mutex);
          ++suspends;
        },
        [this] {
          std::lock_guard<std::mutex> lock(mutex);
          ++resumes;
          changed.notify_all();
        });
  }
  bool waitForResumes(int n) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(10), [&] { return resumes >= n; });
  }
  int suspended() {
    std::lock_guard<std::mutex> lock(mutex);
    return suspends;
  }
  int resumed() {
    std::lock_guard<std::mutex> lock(mutex);
    return resumes;
  }
};

// A connection to "/x" whose suspends and resumes `pause` counts.
std::shared_ptr<HttpConnection> pausedConnection(Pause* pause) {
  auto c = std::make_shared<HttpConnection>(1, 1, "/x");
  pause->attach(c.get());
  return c;
}

QueuedResponse ok() {
  QueuedResponse r;
  r.status = 200;
  return r;
}

// Runs the wait bound's thread, shortened, for one test.
class ShortWaitBound {
 public:
  explicit ShortWaitBound(std::chrono::milliseconds wait) {
    dmsstack::setHandlerWaitForTest(wait);
    HandlerDeadlines::instance().acquire();
  }
  ~ShortWaitBound() {
    HandlerDeadlines::instance().release();
    dmsstack::setHandlerWaitForTest(dmsstack::kHttpHandlerWait);
  }
};

// A handler that answers each request for a piece at once, from the asking
// thread, with `pieces` pieces in all (the last one flagged).
struct PromptHandler {
  HttpConnection* connection;
  int pieces;
  int asked = 0;
  void operator()() {
    ++asked;
    std::string piece(kHttpPieceBytes, static_cast<char>('a' + asked % 26));
    connection->addPacket(piece.data(), piece.size(), asked == pieces);
  }
};

}  // namespace

TEST(HttpConnectionRead, PromptPiecesAreGatheredUntilTheBufferIsFull) {
  HttpConnection c(1, 1, "/x");
  PromptHandler handler{&c, 100};
  std::vector<char> buffer(kHttpSendBufferBytes);
  const ssize_t n = c.read(buffer.data(), buffer.size(), [&] { handler(); });
  const size_t whole = kHttpSendBufferBytes / kHttpPieceBytes;
  EXPECT_EQ(static_cast<size_t>(n), whole * kHttpPieceBytes);
  EXPECT_EQ(static_cast<size_t>(handler.asked), whole) << "one notification per piece";
  EXPECT_EQ(buffer[0], 'b');
  EXPECT_EQ(buffer[kHttpPieceBytes], 'c');
}

TEST(HttpConnectionRead, GatheringStopsAtTheLastPieceAndTheEndFollows) {
  HttpConnection c(1, 1, "/x");
  PromptHandler handler{&c, 3};
  std::vector<char> buffer(kHttpSendBufferBytes);
  EXPECT_EQ(c.read(buffer.data(), buffer.size(), [&] { handler(); }),
            static_cast<ssize_t>(3 * kHttpPieceBytes));
  EXPECT_EQ(c.read(buffer.data(), buffer.size(), [&] { handler(); }), -1);
  EXPECT_EQ(handler.asked, 3);
}

TEST(HttpConnectionRead, APieceSentLaterSuspendsTheReadAndGoesOutAloneWhenResumed) {
  // A live stream: the handler answers after the request returned. Nothing
  // waits for it: the request is suspended, then resumed by the piece, which
  // goes out at once rather than held for the next ones.
  Pause pause;
  auto c = pausedConnection(&pause);
  std::vector<std::thread> senders;
  int asked = 0;
  std::vector<char> buffer(kHttpSendBufferBytes);
  const auto ask = [&] {
    ++asked;
    senders.emplace_back([c] {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      std::string piece(1000, 'f');
      c->addPacket(piece.data(), piece.size(), false);
    });
  };
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), ask), 0);
  EXPECT_EQ(pause.suspended(), 1);
  ASSERT_TRUE(pause.waitForResumes(1));
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), ask), 1000);
  EXPECT_EQ(buffer[999], 'f');
  EXPECT_EQ(asked, 1) << "the piece was asked for once";
  for (auto& t : senders) t.join();
  EXPECT_EQ(pause.suspended(), 1);
  EXPECT_EQ(pause.resumed(), 1);
}

TEST(HttpConnectionRead, BytesAtHandGoOutWhileTheNextPieceIsAwaited) {
  Pause pause;
  auto c = pausedConnection(&pause);
  int asked = 0;
  std::vector<char> buffer(kHttpSendBufferBytes);
  const auto firstPrompt = [&] {
    if (++asked == 1) c->addPacket(std::string(100, 'a').data(), 100, false);
  };
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), firstPrompt), 100);
  EXPECT_EQ(pause.suspended(), 0) << "not suspended while bytes went out";
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), firstPrompt), 0);
  EXPECT_EQ(pause.suspended(), 1);
  EXPECT_EQ(asked, 2) << "the second piece is not asked for twice";
  c->addPacket(std::string(50, 'b').data(), 50, true);
  EXPECT_EQ(pause.resumed(), 1);
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), firstPrompt), 50);
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), firstPrompt), -1);
}

TEST(HttpConnectionRead, CancelResumesASuspendedReadWhichThenFails) {
  Pause pause;
  auto c = pausedConnection(&pause);
  std::vector<char> buffer(kHttpSendBufferBytes);
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), [] {}), 0);
  c->cancel();
  EXPECT_EQ(pause.resumed(), 1);
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), [] {}), -2);
  c->cancel();
  EXPECT_FALSE(c->addPacket("x", 1, false));
  EXPECT_EQ(pause.resumed(), 1) << "resumed once only";
  EXPECT_EQ(pause.suspended(), 1);
}

TEST(HttpConnectionRead, EmptyPiecesWithoutTheEndAreBounded) {
  Pause pause;
  auto c = pausedConnection(&pause);
  int asked = 0;
  std::vector<char> buffer(kHttpSendBufferBytes);
  EXPECT_EQ(c->read(buffer.data(), buffer.size(),
                    [&] {
                      ++asked;
                      c->addPacket(nullptr, 0, false);
                    }),
            -2);
  EXPECT_EQ(asked, kMaxEmptyPieces);
  EXPECT_EQ(pause.suspended(), 0);
}

TEST(HttpConnectionResponse, AResponseQueuedLaterResumesTheRequest) {
  Pause pause;
  auto c = pausedConnection(&pause);
  QueuedResponse out;
  EXPECT_EQ(c->takeResponse(&out, true), HttpConnection::Answer::Later);
  EXPECT_EQ(pause.suspended(), 1);
  std::thread handler([c] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_TRUE(c->setResponse(ok()));
  });
  ASSERT_TRUE(pause.waitForResumes(1));
  handler.join();
  EXPECT_EQ(c->takeResponse(&out, true), HttpConnection::Answer::Ready);
  EXPECT_EQ(out.status, 200);
  EXPECT_TRUE(c->responseTaken());
  EXPECT_FALSE(c->setResponse(ok())) << "a second response";
  EXPECT_EQ(pause.resumed(), 1);
}

TEST(HttpConnectionResponse, WithoutLeaveToWaitNoResponseIsNever) {
  Pause pause;
  auto c = pausedConnection(&pause);
  QueuedResponse out;
  EXPECT_EQ(c->takeResponse(&out, false), HttpConnection::Answer::Never);
  EXPECT_EQ(pause.suspended(), 0);
  EXPECT_TRUE(c->setResponse(ok()));
  EXPECT_EQ(c->takeResponse(&out, false), HttpConnection::Answer::Ready);
  EXPECT_EQ(pause.resumed(), 0) << "nothing to resume";
}

TEST(HttpConnectionResponse, APieceDoesNotResumeAWaitForTheResponse) {
  Pause pause;
  auto c = pausedConnection(&pause);
  QueuedResponse out;
  EXPECT_EQ(c->takeResponse(&out, true), HttpConnection::Answer::Later);
  EXPECT_TRUE(c->addPacket("abc", 3, false));
  EXPECT_EQ(pause.resumed(), 0);
  EXPECT_TRUE(c->setResponse(ok()));
  EXPECT_EQ(pause.resumed(), 1);
}

TEST(HttpConnectionResponse, NothingResumesAnEndedRequest) {
  Pause pause;
  auto c = pausedConnection(&pause);
  QueuedResponse out;
  EXPECT_EQ(c->takeResponse(&out, true), HttpConnection::Answer::Later);
  c->end();
  EXPECT_FALSE(c->setResponse(ok()));
  c->cancel();
  c->expire(std::chrono::steady_clock::now() + std::chrono::hours(1));
  EXPECT_EQ(pause.resumed(), 0);
}

TEST(HttpConnectionWaitBound, AResponseThatNeverComesIsGivenUpAfterTheBound) {
  ShortWaitBound bound(std::chrono::milliseconds(100));
  Pause pause;
  auto c = pausedConnection(&pause);
  QueuedResponse out;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(c->takeResponse(&out, true), HttpConnection::Answer::Later);
  ASSERT_TRUE(pause.waitForResumes(1)) << "resumed by the wait bound";
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
  EXPECT_EQ(c->takeResponse(&out, true), HttpConnection::Answer::Never);
  EXPECT_EQ(pause.suspended(), 1);
  EXPECT_EQ(pause.resumed(), 1);
}

TEST(HttpConnectionWaitBound, APieceThatNeverComesFailsTheBodyAfterTheBound) {
  ShortWaitBound bound(std::chrono::milliseconds(100));
  Pause pause;
  auto c = pausedConnection(&pause);
  std::vector<char> buffer(kHttpSendBufferBytes);
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), [] {}), 0);
  ASSERT_TRUE(pause.waitForResumes(1));
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), [] {}), -2);
}

TEST(HttpConnectionWaitBound, AWaitIsExpiredOnlyOnceItsOwnBoundHasPassed) {
  Pause pause;
  auto c = pausedConnection(&pause);
  std::vector<char> buffer(kHttpSendBufferBytes);
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), [] {}), 0);
  c->expire(std::chrono::steady_clock::now());
  EXPECT_EQ(pause.resumed(), 0) << "kHttpHandlerWait has not passed";
  c->expire(std::chrono::steady_clock::now() + dmsstack::kHttpHandlerWait);
  EXPECT_EQ(pause.resumed(), 1);
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), [] {}), -2);
}

TEST(HttpConnectionWaitBound, TheDeadlineOfAnAnsweredWaitDoesNotEndTheNextOne) {
  const auto bound = std::chrono::milliseconds(2000);
  ShortWaitBound shortened(bound);
  Pause pause;
  auto c = pausedConnection(&pause);
  std::vector<char> buffer(kHttpSendBufferBytes);
  const auto first = std::chrono::steady_clock::now();
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), [] {}), 0);
  c->addPacket("abc", 3, false);
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), [] {}), 3);
  std::this_thread::sleep_until(first + bound * 3 / 4);
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), [] {}), 0);
  // Past the first wait's deadline, well before the second's.
  std::this_thread::sleep_until(first + bound * 11 / 8);
  EXPECT_EQ(pause.resumed(), 1) << "not ended by the first deadline";
  c->addPacket("de", 2, true);
  EXPECT_EQ(pause.resumed(), 2);
  EXPECT_EQ(c->read(buffer.data(), buffer.size(), [] {}), 2);
}
