// The hand-over of body pieces between libmicrohttpd's buffer and a handler.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "http_connection.h"
#include "http_limits.h"

using dmsstack::HttpConnection;
using dmsstack::kHttpPieceBytes;
using dmsstack::kHttpSendBufferBytes;

namespace {

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

TEST(HttpConnectionRead, APieceSentLaterFromAnotherThreadGoesOutAlone) {
  // A live stream: the handler answers after the request returned, so the
  // piece is handed over at once rather than held for the next ones.
  HttpConnection c(1, 1, "/x");
  std::vector<std::thread> senders;
  int asked = 0;
  std::vector<char> buffer(kHttpSendBufferBytes);
  const ssize_t n = c.read(buffer.data(), buffer.size(), [&] {
    ++asked;
    senders.emplace_back([&c] {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      std::string piece(1000, 'f');
      c.addPacket(piece.data(), piece.size(), false);
    });
  });
  for (auto& t : senders) t.join();
  EXPECT_EQ(n, 1000);
  EXPECT_EQ(asked, 1);
}
