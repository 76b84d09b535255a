// Shared helpers of the transfer layer's unit tests: a media database with
// one row of each kind pointing at files in the scratch directory, the HTTP
// fake reset for every test, and a driver that runs one request through a
// SendFileThruGet handler and collects its body piece by piece.
#ifndef DMS_TESTS_TRANSFER_TEST_SUPPORT_H
#define DMS_TESTS_TRANSFER_TEST_SUPPORT_H

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "content_test_support.h"
#include "fake_http.h"
#include "send_file_thru_get.h"

namespace transfer_test {

using content_test::scratchPath;

// Bytes 0..n-1 of a recognisable pattern (position-dependent).
inline std::string pattern(size_t n, size_t from = 0) {
  std::string out(n, '\0');
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<char>(((from + i) * 31 + 7) % 251);
  return out;
}

// Polls until `done` holds (generously bounded); false when it never did.
template <typename Predicate>
bool eventually(Predicate done, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// The names in `folder` (without "." and ".."), in directory order.
inline std::vector<std::string> entriesOf(const std::string& folder) {
  std::vector<std::string> names;
  DIR* dir = opendir(folder.c_str());
  while (dirent* e = dir != nullptr ? readdir(dir) : nullptr) {
    const std::string name = e->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  if (dir != nullptr) closedir(dir);
  return names;
}

inline int openDescriptors() {
  int count = 0;
  DIR* dir = opendir("/proc/self/fd");
  if (dir == nullptr) return -1;
  while (readdir(dir) != nullptr) ++count;
  closedir(dir);
  return count;
}

// A sparse file of `size` bytes with `marker` written at `offset`.
inline bool makeSparseFile(const std::string& path, int64_t size, int64_t offset,
                           const std::string& marker) {
  const int fd = open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
  if (fd < 0) return false;
  bool ok = ftruncate(fd, static_cast<off_t>(size)) == 0 &&
            pwrite(fd, marker.data(), marker.size(), static_cast<off_t>(offset)) ==
                static_cast<ssize_t>(marker.size());
  return close(fd) == 0 && ok;
}

class TransferTest : public content_test::ContentTest {
 protected:
  void SetUp() override {
    ContentTest::SetUp();
    FakeHttp::instance().reset();
    MultiMediaDbConnector::SetMovieThumbnailSource(nullptr);
    audioPath_ = scratchPath("song.mp3");
    imagePath_ = scratchPath("photo.jpg");
    videoPath_ = scratchPath("movie.mp4");
    content_test::writeFile(audioPath_, pattern(1000));
    content_test::writeFile(imagePath_, pattern(40000));
    content_test::writeFile(videoPath_, pattern(50000));
    content_test::ImageRow image;
    image.path = imagePath_;
    image.thumbOffset = 100;
    image.thumbLength = 2000;
    image.screenOffset = 3000;
    image.screenLength = 30000;
    content_test::AudioRow audio;
    audio.path = audioPath_;
    content_test::VideoRow video;
    video.path = videoPath_;
    seed(content_test::insertImageSql(image) + content_test::insertAudioSql(audio) +
         content_test::insertVideoSql(video));
  }

  void TearDown() override {
    MultiMediaDbConnector::SetMovieThumbnailSource(nullptr);
    ContentTest::TearDown();
  }

  // Runs HandleHeader on a new request; the handler's response is the last
  // recorded one.
  bool handle(SendFileThruGet& handler, eHTTPMessageType method, const std::string& target,
              const FakeHeaders& headers = {}, bool host = true,
              eHTTPVersion version = NUV_HTTP_VERSION_1_1) {
    return handler.HandleHeader(
        FakeHttp::instance().makeRequest(method, target, headers, host, version));
  }

  FakeHttpResponse response() const {
    const auto all = FakeHttp::instance().responses();
    return all.empty() ? FakeHttpResponse{} : all.back();
  }

  // Calls SendResponse until a last piece (at most `maxPieces` times); the
  // body sent.
  static std::string pump(SendFileThruGet& handler, int maxPieces = 1000000) {
    std::string body;
    size_t seen = FakeHttp::instance().packets().size();
    for (int i = 0; i < maxPieces; ++i) {
      handler.SendResponse(0);
      const auto packets = FakeHttp::instance().packets();
      bool last = false;
      for (; seen < packets.size(); ++seen) {
        body += packets[seen].data;
        last = last || packets[seen].last;
      }
      if (last) break;
    }
    return body;
  }

  std::string audioPath_;
  std::string imagePath_;
  std::string videoPath_;
};

}  // namespace transfer_test

#endif  // DMS_TESTS_TRANSFER_TEST_SUPPORT_H
