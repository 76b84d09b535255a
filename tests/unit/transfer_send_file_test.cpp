// SendFileThruGet: the checks of a GET or HEAD request in their order, every
// status code and response header, ranges (files beyond 2 and 4 GiB
// included), thumbnails and screennails, and the body pump.
#include <sys/stat.h>

#include <cstring>

#include "log_capture.h"
#include "transfer_test_support.h"

using transfer_test::pattern;
using transfer_test::TransferTest;

namespace {

const char* const kInteractiveFlags = "DLNA.ORG_FLAGS=00D00000000000000000000000000000";
const char* const kStreamingFlags = "DLNA.ORG_FLAGS=01500000000000000000000000000000";

class SendFileThruGetTest : public TransferTest {};

}  // namespace

TEST_F(SendFileThruGetTest, WholeFileAnswers200WithLengthTypeAndTransferMode) {
  SendFileThruGet handler(1, 7);
  LogCapture log;
  EXPECT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3"));
  const FakeHttpResponse r = response();
  EXPECT_EQ(r.profile, 1);
  EXPECT_EQ(r.connection, 7);
  EXPECT_EQ(r.status, 200);
  EXPECT_FALSE(r.headerOnly);
  EXPECT_EQ(r.connectionHeader, "close");
  EXPECT_EQ(r.contentType, "audio/mpeg");
  EXPECT_EQ(r.contentLength, "1000");
  EXPECT_TRUE(r.http11);
  EXPECT_EQ(r.header("transferMode.dlna.org"), "Streaming");
  EXPECT_EQ(r.header("Accept-Ranges"), "bytes") << "players look for it before they seek";
  EXPECT_FALSE(r.hasHeader("contentFeatures.dlna.org")) << "only when asked";
  EXPECT_FALSE(r.hasHeader("Content-Range"));
  EXPECT_EQ(FakeHttp::instance().unreleasedRequests(), 0);
  EXPECT_TRUE(log.has("[SendFileThruGet:HandleHeader] HTTP-GET REQUEST!!!"));
  EXPECT_TRUE(log.has("[SendFileThruGet::HandleHeader] conetent length : 1000"));
  EXPECT_TRUE(log.has("File Path is [" + audioPath_ + "]"));
  EXPECT_EQ(pump(handler), pattern(1000));
  EXPECT_TRUE(log.has("[SendFileThruGet::SendResponse] Streaming started..."));
  EXPECT_TRUE(log.has("[SendFileThruGet::SendResponse] Sending last packet..."));
}

TEST_F(SendFileThruGetTest, BodyGoesInPiecesOfAtMost20480Bytes) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvmedia/3.mp4"));
  EXPECT_EQ(response().contentLength, "50000");
  EXPECT_EQ(pump(handler), pattern(50000));
  std::vector<size_t> sizes;
  for (const auto& p : FakeHttp::instance().packets()) sizes.push_back(p.data.size());
  EXPECT_EQ(sizes, (std::vector<size_t>{20480, 20480, 9040, 0}));
}

TEST_F(SendFileThruGetTest, ContentFeaturesOfAStoredResourceFromItsProfile) {
  SendFileThruGet audio(1, 7);
  ASSERT_TRUE(
      handle(audio, NUV_HTTP_GET, "/nuvmedia/2.mp3", {{"getcontentFeatures.dlna.org", "1"}}));
  EXPECT_EQ(response().header("contentFeatures.dlna.org"),
            std::string("DLNA.ORG_PN=MP3;DLNA.ORG_OP=01;") + kInteractiveFlags);
  SendFileThruGet video(1, 8);
  ASSERT_TRUE(
      handle(video, NUV_HTTP_GET, "/nuvmedia/3.mp4", {{"getcontentFeatures.dlna.org", "1"}}));
  EXPECT_EQ(response().header("contentFeatures.dlna.org"),
            std::string("DLNA.ORG_PN=AVC_MP4_BL_CIF15_AAC_520;DLNA.ORG_OP=01;") + kStreamingFlags);
  EXPECT_EQ(response().header("transferMode.dlna.org"), "Streaming");
}

TEST_F(SendFileThruGetTest, ResponseHeadersComeInTheirOrder) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3",
                     {{"getcontentFeatures.dlna.org", "1"}, {"Range", "bytes=0-9"}}));
  const FakeHttpResponse r = response();
  ASSERT_EQ(r.headers.size(), 4u);
  EXPECT_EQ(r.headers[0].first, "contentFeatures.dlna.org");
  EXPECT_EQ(r.headers[1].first, "transferMode.dlna.org");
  EXPECT_EQ(r.headers[2].first, "Accept-Ranges");
  EXPECT_EQ(r.headers[3].first, "Content-Range");
}

TEST_F(SendFileThruGetTest, ZeroOpenRangeOnThousandByteFile) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3", {{"Range", "bytes=0-"}}));
  const FakeHttpResponse r = response();
  EXPECT_EQ(r.status, 206);
  EXPECT_EQ(r.header("Content-Range"), "bytes 0-999/1000");
  EXPECT_EQ(r.contentLength, "1000");
  EXPECT_TRUE(r.http11);
  EXPECT_EQ(pump(handler), pattern(1000));
}

TEST_F(SendFileThruGetTest, SuffixRangeOnThousandByteFile) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3", {{"Range", "bytes=-100"}}));
  EXPECT_EQ(response().status, 206);
  EXPECT_EQ(response().header("Content-Range"), "bytes 900-999/1000");
  EXPECT_EQ(response().contentLength, "100");
  EXPECT_EQ(pump(handler), pattern(100, 900));
}

TEST_F(SendFileThruGetTest, ClosedRangeSendsExactlyItsBytes) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvmedia/3.mp4", {{"Range", "bytes=100-30099"}}));
  EXPECT_EQ(response().header("Content-Range"), "bytes 100-30099/50000");
  EXPECT_EQ(response().contentLength, "30000");
  EXPECT_EQ(pump(handler), pattern(30000, 100));
}

TEST_F(SendFileThruGetTest, OneByteRange) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3", {{"Range", "bytes=10-10"}}));
  EXPECT_EQ(response().header("Content-Range"), "bytes 10-10/1000");
  EXPECT_EQ(response().contentLength, "1");
  EXPECT_EQ(pump(handler), pattern(1, 10));
}

TEST_F(SendFileThruGetTest, StartAboveEndIsBadRequest) {
  SendFileThruGet handler(1, 7);
  LogCapture log;
  EXPECT_FALSE(handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3", {{"Range", "bytes=500-400"}}));
  const FakeHttpResponse r = response();
  EXPECT_EQ(r.status, 400);
  EXPECT_TRUE(r.headerOnly);
  EXPECT_EQ(r.connectionHeader, "close");
  EXPECT_TRUE(r.http11);
  EXPECT_FALSE(r.hasContentLength);
  EXPECT_FALSE(r.hasHeader("Accept-Ranges")) << "errors carry no resource headers";
  EXPECT_TRUE(log.has("[SendFileThruGet:HandleHeader] Invalid Range list!!!"));
  EXPECT_EQ(FakeHttp::instance().unreleasedRequests(), 0);
}

TEST_F(SendFileThruGetTest, RangeEndingAtTheFileSizeIsAccepted) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3", {{"Range", "bytes=0-1000"}}));
  EXPECT_EQ(response().status, 206);
  EXPECT_EQ(response().header("Content-Range"), "bytes 0-1000/1000");
  EXPECT_EQ(response().contentLength, "1001");
  EXPECT_EQ(pump(handler), pattern(1000)) << "the body ends with the file";
}

TEST_F(SendFileThruGetTest, RangeBeyondTheResourceIsNotSatisfiable) {
  for (const char* range : {"bytes=0-1001", "bytes=1001-", "bytes=2000-3000"}) {
    SendFileThruGet handler(1, 7);
    EXPECT_FALSE(handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3", {{"Range", range}})) << range;
    EXPECT_EQ(response().status, 416) << range;
    EXPECT_TRUE(response().headerOnly);
  }
}

TEST_F(SendFileThruGetTest, SuffixLongerThanTheFileIsBadRequest) {
  SendFileThruGet handler(1, 7);
  LogCapture log;
  EXPECT_FALSE(handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3", {{"Range", "bytes=-2000"}}));
  EXPECT_EQ(response().status, 400);
  EXPECT_TRUE(log.has("[SendFileThruGet:HandleHeader] Invalid Start Seek Range!!!"));
}

TEST_F(SendFileThruGetTest, HugeNumbersInRangesAreRefusedWithoutOverflow) {
  for (const char* range : {"bytes=0-99999999999999999999", "bytes=-9223372036854775807",
                            "bytes=9223372036854775807-", "bytes=0-9223372036854775807"}) {
    SendFileThruGet handler(1, 7);
    EXPECT_FALSE(handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3", {{"Range", range}})) << range;
    const int status = response().status;
    EXPECT_TRUE(status == 400 || status == 416) << range << " " << status;
  }
}

TEST_F(SendFileThruGetTest, SeveralRangesAnswer200MultipartWithTheFirstRangeUnframed) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3", {{"Range", "bytes=0-99,200-299"}}));
  const FakeHttpResponse r = response();
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.contentType, "multipart/byteranges; boundary=DLNA_MIME_BOUNDARY");
  EXPECT_FALSE(r.hasContentLength);
  EXPECT_FALSE(r.hasHeader("Content-Range"));
  EXPECT_TRUE(r.http11);
  EXPECT_EQ(pump(handler), pattern(100));
}

TEST_F(SendFileThruGetTest, SeveralRangesWithAnOpenFirstRangeRunToTheEnd) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3", {{"Range", "bytes=900-,-5"}}));
  EXPECT_EQ(response().status, 200);
  EXPECT_EQ(pump(handler), pattern(100, 900));
}

TEST_F(SendFileThruGetTest, ContentFeaturesOfZeroIsBadRequest) {
  SendFileThruGet handler(1, 7);
  LogCapture log;
  EXPECT_FALSE(
      handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3", {{"getcontentFeatures.dlna.org", "0"}}));
  EXPECT_EQ(response().status, 400);
  EXPECT_TRUE(log.has("[SendFileThruGet:HandleHeader] Invalid header getcontentFeatures.dlna.org"));
}

TEST_F(SendFileThruGetTest, HeadGetsHeadersOnlyAndTheFileIsClosedAtOnce) {
  SendFileThruGet warmUp(1, 6);  // opens the database
  ASSERT_TRUE(handle(warmUp, NUV_HTTP_HEAD, "/nuvmedia/2.mp3"));
  const int before = transfer_test::openDescriptors();
  SendFileThruGet handler(1, 7);
  LogCapture log;
  ASSERT_TRUE(handle(handler, NUV_HTTP_HEAD, "/nuvmedia/2.mp3"));
  EXPECT_EQ(transfer_test::openDescriptors(), before) << "closed before the handler goes";
  const FakeHttpResponse r = response();
  EXPECT_TRUE(r.headerOnly);
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.contentLength, "1000");
  EXPECT_EQ(r.contentType, "audio/mpeg");
  EXPECT_EQ(r.header("Accept-Ranges"), "bytes");
  EXPECT_TRUE(log.has("[SendFileThruGet:HandleHeader] HTTP-HEAD REQUEST!!!"));
  EXPECT_EQ(pump(handler), "") << "nothing left to send";
}

TEST_F(SendFileThruGetTest, HeadWithARangeAnnouncesThePartialResponse) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(handle(handler, NUV_HTTP_HEAD, "/nuvmedia/2.mp3", {{"Range", "bytes=-100"}}));
  EXPECT_TRUE(response().headerOnly);
  EXPECT_EQ(response().status, 206);
  EXPECT_EQ(response().header("Content-Range"), "bytes 900-999/1000");
}

TEST_F(SendFileThruGetTest, StreamingModeOnAJpegIsNotAcceptable) {
  SendFileThruGet handler(1, 7);
  EXPECT_TRUE(
      handle(handler, NUV_HTTP_GET, "/nuvthumb/1.jpg", {{"transferMode.dlna.org", "Streaming"}}))
      << "an error reply through the transfer-mode check counts as sent";
  EXPECT_EQ(response().status, 406);
  EXPECT_TRUE(response().headerOnly);
  EXPECT_EQ(FakeHttp::instance().unreleasedRequests(), 0);
}

TEST_F(SendFileThruGetTest, InteractiveModeOnVideoOrAudioIsNotAcceptable) {
  for (const char* uri : {"/nuvmedia/3.mp4", "/nuvmedia/2.mp3"}) {
    SendFileThruGet handler(1, 7);
    EXPECT_TRUE(handle(handler, NUV_HTTP_GET, uri, {{"transferMode.dlna.org", "Interactive"}}));
    EXPECT_EQ(response().status, 406) << uri;
  }
}

TEST_F(SendFileThruGetTest, InteractiveImageWithPlaySpeedIsBadRequest) {
  for (const char* header : {"PlaySpeed.dlna.org", "realTimeInfo.dlna.org"}) {
    SendFileThruGet handler(1, 7);
    EXPECT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvscreen/1.jpg",
                       {{"transferMode.dlna.org", "Interactive"}, {header, "1"}}));
    EXPECT_EQ(response().status, 400) << header;
  }
}

TEST_F(SendFileThruGetTest, TheRequestedTransferModeIsEchoed) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(
      handle(handler, NUV_HTTP_GET, "/nuvmedia/3.mp4", {{"transferMode.dlna.org", "Background"}}));
  EXPECT_EQ(response().status, 200);
  EXPECT_EQ(response().header("transferMode.dlna.org"), "Background");
}

TEST_F(SendFileThruGetTest, TimeSeekIsNotAcceptable) {
  SendFileThruGet handler(1, 7);
  LogCapture log;
  EXPECT_FALSE(
      handle(handler, NUV_HTTP_GET, "/nuvmedia/3.mp4", {{"TimeSeekRange.dlna.org", "npt=10-"}}));
  EXPECT_EQ(response().status, 406);
  EXPECT_TRUE(log.has("[SendFileThruGet:HandleHeader] We doesn't support time based seek!!!"));
}

TEST_F(SendFileThruGetTest, MissingHostOnHttp11IsBadRequest) {
  SendFileThruGet handler(1, 7);
  LogCapture log;
  EXPECT_FALSE(handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3", {}, false));
  EXPECT_EQ(response().status, 400);
  EXPECT_TRUE(log.has(
      "[SendFileThruGet:HandleHeader] There is no HOST field, even if it isn't HTTP 1.0 request"));
}

TEST_F(SendFileThruGetTest, Http10WithoutHostIsServedAsHttp10) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3", {}, false, NUV_HTTP_VERSION_1_0));
  EXPECT_EQ(response().status, 200);
  EXPECT_FALSE(response().http11);
}

TEST_F(SendFileThruGetTest, UnknownOrEmptyTargetsAreBadRequests) {
  for (const char* uri : {"/nuvmedia/99.mp3", "/../../etc/passwd", "nuvmedia/2.mp3", "",
                          "http://host/nuvmedia/2.mp3"}) {
    SendFileThruGet handler(1, 7);
    EXPECT_FALSE(handle(handler, NUV_HTTP_GET, uri)) << uri;
    EXPECT_EQ(response().status, 400) << uri;
  }
  EXPECT_EQ(FakeHttp::instance().unreleasedRequests(), 0);
}

TEST_F(SendFileThruGetTest, VeryLongTargetIsBadRequest) {
  SendFileThruGet handler(1, 7);
  EXPECT_FALSE(handle(handler, NUV_HTTP_GET, "/nuvmedia/" + std::string(100000, 'a')));
  EXPECT_EQ(response().status, 400);
}

TEST_F(SendFileThruGetTest, PercentEncodedAndAbsoluteTargetsResolve) {
  for (const char* uri :
       {"/nuvmedia/%32.mp3", "/nuvmedia/%2532.mp3", "http://192.168.1.10:60151/nuvmedia/2.mp3"}) {
    SendFileThruGet handler(1, 7);
    EXPECT_TRUE(handle(handler, NUV_HTTP_GET, uri)) << uri;
    EXPECT_EQ(response().status, 200) << uri;
    EXPECT_EQ(pump(handler), pattern(1000)) << uri;
  }
}

TEST_F(SendFileThruGetTest, FileThatCannotBeOpenedIsServiceUnavailable) {
  std::remove(audioPath_.c_str());
  SendFileThruGet handler(1, 7);
  LogCapture log;
  EXPECT_FALSE(handle(handler, NUV_HTTP_GET, "/nuvmedia/2.mp3"));
  EXPECT_EQ(response().status, 503);
  EXPECT_TRUE(
      log.has("[SendFileThruGet:HandleHeader] File open error, Please check URL of file!!!"));
}

TEST_F(SendFileThruGetTest, ThumbnailIsServedFromItsSpan) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(
      handle(handler, NUV_HTTP_GET, "/nuvthumb/1.jpg", {{"getcontentFeatures.dlna.org", "1"}}));
  const FakeHttpResponse r = response();
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.contentType, "image/jpeg");
  EXPECT_EQ(r.contentLength, "2000");
  EXPECT_EQ(r.header("transferMode.dlna.org"), "Interactive");
  EXPECT_EQ(r.header("Accept-Ranges"), "bytes") << "a thumbnail's span serves ranges too";
  EXPECT_EQ(r.header("contentFeatures.dlna.org"),
            std::string("DLNA.ORG_PN=JPEG_TN;DLNA.ORG_OP=01;DLNA.ORG_CI=1;") + kInteractiveFlags);
  EXPECT_EQ(pump(handler), pattern(2000, 100));
  EXPECT_EQ(FakeHttp::instance().packets().size(), 2u) << "a small thumbnail goes in one piece";
}

TEST_F(SendFileThruGetTest, ScreennailContentFeaturesCarryCiOnlyInCertificationMode) {
  SendFileThruGet plain(1, 7);
  ASSERT_TRUE(
      handle(plain, NUV_HTTP_GET, "/nuvscreen/1.jpg", {{"getcontentFeatures.dlna.org", "1"}}));
  EXPECT_EQ(response().header("contentFeatures.dlna.org"),
            std::string("DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;") + kInteractiveFlags);
  NUVSetDlnaCertificationState(1);
  SendFileThruGet certified(1, 8);
  ASSERT_TRUE(
      handle(certified, NUV_HTTP_GET, "/nuvscreen/1.jpg", {{"getcontentFeatures.dlna.org", "1"}}));
  EXPECT_EQ(response().header("contentFeatures.dlna.org"),
            std::string("DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;DLNA.ORG_CI=1;") + kInteractiveFlags);
}

TEST_F(SendFileThruGetTest, BigScreennailGoesInFullPieces) {
  SendFileThruGet handler(1, 7);
  LogCapture log;
  ASSERT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvscreen/1.jpg"));
  EXPECT_EQ(response().contentLength, "30000");
  EXPECT_EQ(pump(handler), pattern(30000, 3000));
  EXPECT_TRUE(log.has(
      "[SendFileThruGet::SendResponse] Big size Thumbnail : totalBytesSent = 0, nThumbnailSize= "
      "30000"));
  EXPECT_TRUE(
      log.has("[SendFileThruGet::SendResponse] Big size Thumbnail : totalBytesSent = 20480, "
              "nThumbnailSize= 30000"));
}

TEST_F(SendFileThruGetTest, RangesOfAScreennailCountFromItsFirstByte) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvscreen/1.jpg", {{"Range", "bytes=10-19"}}));
  EXPECT_EQ(response().header("Content-Range"), "bytes 10-19/30000");
  EXPECT_EQ(response().contentLength, "10");
  EXPECT_EQ(pump(handler), pattern(10, 3010));
}

namespace {
std::string gMovieThumb;
int fakeMovieThumbnail(const char*, char** buffer, unsigned int* size) {
  *buffer = static_cast<char*>(malloc(gMovieThumb.size()));
  memcpy(*buffer, gMovieThumb.data(), gMovieThumb.size());
  *size = static_cast<unsigned int>(gMovieThumb.size());
  return 0;
}
}  // namespace

TEST_F(SendFileThruGetTest, MovieThumbnailIsServedFromMemory) {
  gMovieThumb = pattern(25000, 77);
  MultiMediaDbConnector::SetMovieThumbnailSource(&fakeMovieThumbnail);
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvthumbvideo/3.jpg"));
  EXPECT_EQ(response().contentType, "image/jpeg");
  EXPECT_EQ(response().contentLength, "25000");
  EXPECT_EQ(pump(handler), gMovieThumb);

  SendFileThruGet ranged(1, 8);
  ASSERT_TRUE(handle(ranged, NUV_HTTP_GET, "/nuvthumbvideo/3.jpg", {{"Range", "bytes=24990-"}}));
  EXPECT_EQ(response().header("Content-Range"), "bytes 24990-24999/25000");
  EXPECT_EQ(pump(ranged), gMovieThumb.substr(24990));
}

TEST_F(SendFileThruGetTest, FileTruncatedWhileStreamingEndsTheBodyCleanly) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvmedia/3.mp4"));
  handler.SendResponse(0);
  ASSERT_EQ(truncate(videoPath_.c_str(), 30000), 0);
  const std::string rest = pump(handler, 10);
  EXPECT_EQ(rest, pattern(30000 - 20480, 20480));
  EXPECT_TRUE(FakeHttp::instance().packets().back().last);
}

TEST_F(SendFileThruGetTest, FileDeletedWhileStreamingStillEndsCleanly) {
  SendFileThruGet handler(1, 7);
  ASSERT_TRUE(handle(handler, NUV_HTTP_GET, "/nuvmedia/3.mp4", {{"Range", "bytes=0-"}}));
  std::remove(videoPath_.c_str());
  EXPECT_EQ(pump(handler), pattern(50000)) << "the open file stays readable";
}

TEST_F(SendFileThruGetTest, PayloadOfAGetIsOnlyLogged) {
  SendFileThruGet handler(1, 7);
  char data[] = "x";
  EXPECT_TRUE(handler.HandlePayload(1, 7, NUV_HTTP_VERSION_1_1, 1, NUV_HTTP_GET, data, data, true));
  EXPECT_TRUE(FakeHttp::instance().responses().empty());
  EXPECT_TRUE(FakeHttp::instance().packets().empty());
}

TEST_F(SendFileThruGetTest, NoRequestRecordSendsNothing) {
  SendFileThruGet handler(1, 7);
  LogCapture log;
  EXPECT_FALSE(handler.HandleHeader(nullptr));
  EXPECT_TRUE(FakeHttp::instance().responses().empty());
  EXPECT_TRUE(log.has("[SendFileThruGet:HandleHeader] In-Param NULL -- Handle GET Header"));
}

// Sparse files: positions and lengths beyond 32 bits.
class LargeFileTest : public TransferTest {
 protected:
  void serveLarge(int64_t size, int64_t markerAt, const std::string& marker) {
    ASSERT_TRUE(transfer_test::makeSparseFile(videoPath_, size, markerAt, marker));
  }
};

TEST_F(LargeFileTest, FileBetweenTwoAndFourGiB) {
  const int64_t size = 3LL * 1024 * 1024 * 1024 + 123;
  const int64_t at = size - 1000;
  serveLarge(size, at, "MARKER-3G");
  SendFileThruGet whole(1, 7);
  ASSERT_TRUE(handle(whole, NUV_HTTP_HEAD, "/nuvmedia/3.mp4"));
  EXPECT_EQ(response().contentLength, std::to_string(size));

  SendFileThruGet ranged(1, 8);
  ASSERT_TRUE(handle(ranged, NUV_HTTP_GET, "/nuvmedia/3.mp4",
                     {{"Range", "bytes=" + std::to_string(at) + "-"}}));
  EXPECT_EQ(response().status, 206);
  EXPECT_EQ(
      response().header("Content-Range"),
      "bytes " + std::to_string(at) + "-" + std::to_string(size - 1) + "/" + std::to_string(size));
  EXPECT_EQ(response().contentLength, "1000");
  const std::string body = pump(ranged);
  ASSERT_EQ(body.size(), 1000u);
  EXPECT_EQ(body.substr(0, 9), "MARKER-3G");
  EXPECT_EQ(body.substr(9), std::string(991, '\0'));
}

TEST_F(LargeFileTest, FileAboveFourGiB) {
  const int64_t size = 5LL * 1024 * 1024 * 1024;
  const int64_t at = 4LL * 1024 * 1024 * 1024 + 500;  // wraps to 500 in 32 bits
  serveLarge(size, at, "MARKER-4G");
  SendFileThruGet ranged(1, 8);
  ASSERT_TRUE(handle(ranged, NUV_HTTP_GET, "/nuvmedia/3.mp4",
                     {{"Range", "bytes=" + std::to_string(at) + "-" + std::to_string(at + 8)}}));
  EXPECT_EQ(
      response().header("Content-Range"),
      "bytes " + std::to_string(at) + "-" + std::to_string(at + 8) + "/" + std::to_string(size));
  EXPECT_EQ(response().contentLength, "9");
  EXPECT_EQ(pump(ranged), "MARKER-4G");

  SendFileThruGet suffix(1, 9);
  ASSERT_TRUE(handle(suffix, NUV_HTTP_GET, "/nuvmedia/3.mp4", {{"Range", "bytes=-10"}}));
  EXPECT_EQ(response().header("Content-Range"), "bytes " + std::to_string(size - 10) + "-" +
                                                    std::to_string(size - 1) + "/" +
                                                    std::to_string(size));
  EXPECT_EQ(pump(suffix), std::string(10, '\0'));

  SendFileThruGet head(1, 10);
  ASSERT_TRUE(handle(head, NUV_HTTP_HEAD, "/nuvmedia/3.mp4"));
  EXPECT_EQ(response().contentLength, "5368709120");
}
