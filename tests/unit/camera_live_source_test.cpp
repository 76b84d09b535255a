// The live view's picture sources: the moving test picture, video files
// played in a loop at their own pace, a camera's MJPEG pictures made whole,
// and the errors of names that cannot be opened. The videos are made by
// ffmpeg at test time; there is no camera, so only a camera's errors are
// tried.
#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "camera_jpeg.h"
#include "digit_font.h"
#include "frame_source.h"
#include "jpeg_encoder.h"

using dms_camera::FrameSize;
using dms_camera::FrameSource;
using dms_camera::OpenFrameSource;
using Bytes = std::vector<unsigned char>;

namespace {

constexpr FrameSize kVga{640, 480};
constexpr FrameSize kQvga{320, 240};

struct Picture {
  int width = 0;  // 0: not a JPEG libjpeg-turbo decodes
  int height = 0;
  Bytes rgb;
  const unsigned char* at(int x, int y) const {
    return &rgb[(static_cast<size_t>(y) * width + x) * 3];
  }
};

Picture decode(const unsigned char* data, size_t size) {
  Picture picture;
  tjhandle tj = tjInitDecompress();
  int width = 0, height = 0, subsampling = 0, colorspace = 0;
  if (tjDecompressHeader3(tj, data, size, &width, &height, &subsampling, &colorspace) == 0) {
    picture.rgb.resize(static_cast<size_t>(width) * height * 3);
    if (tjDecompress2(tj, data, size, picture.rgb.data(), width, width * 3, height, TJPF_RGB, 0) ==
        0) {
      picture.width = width;
      picture.height = height;
    }
  }
  tjDestroy(tj);
  return picture;
}

Picture decode(const Bytes& jpeg) { return decode(jpeg.data(), jpeg.size()); }

std::unique_ptr<FrameSource> open(const std::string& name) {
  std::string error;
  std::unique_ptr<FrameSource> source = OpenFrameSource(name, &error);
  EXPECT_NE(nullptr, source) << error;
  return source;
}

// The error of a name that does not open.
std::string openError(const std::string& name) {
  std::string error;
  EXPECT_EQ(nullptr, OpenFrameSource(name, &error)) << name;
  return error;
}

Bytes nextPicture(FrameSource* source, FrameSize size) {
  Bytes out;
  std::string error;
  EXPECT_TRUE(source->next(size, &out, &error)) << error;
  return out;
}

// Seconds that `count` pictures take, each checked to be `size`.
double secondsFor(FrameSource* source, int count, FrameSize size) {
  auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < count; ++i) {
    Bytes out;
    std::string error;
    if (!source->next(size, &out, &error)) {
      ADD_FAILURE() << "picture " << i << ": " << error;
      break;
    }
    Picture picture = decode(out);
    EXPECT_EQ(size.width, picture.width) << "picture " << i;
    EXPECT_EQ(size.height, picture.height) << "picture " << i;
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// A scratch folder of media made by ffmpeg on first use, removed at exit.
class Media {
 public:
  static Media& get() {
    static Media media;
    return media;
  }
  ~Media() {
    std::error_code ignored;
    if (!dir_.empty()) std::filesystem::remove_all(dir_, ignored);
  }

  // The file `name` (see make()); "" after a failure the test reports.
  std::string path(const std::string& name) {
    std::string file = dir_ + "/" + name;
    if (made_.count(name) == 0) {
      EXPECT_EQ(0, std::system("ffmpeg -version >/dev/null 2>&1")) << "ffmpeg is not installed";
      int rc = make(name, file);
      EXPECT_EQ(0, rc) << "cannot make " << file;
      if (rc != 0) return "";
      made_.insert(name);
    }
    return file;
  }

 private:
  Media() {
    std::string pattern = (std::filesystem::temp_directory_path() / "live_source.XXXXXX").string();
    if (mkdtemp(pattern.data()) != nullptr) dir_ = pattern;
  }

  static int ffmpeg(const std::string& arguments, const std::string& file) {
    return std::system(("ffmpeg -v error -y " + arguments + " '" + file + "'").c_str());
  }

  static int make(const std::string& name, const std::string& file) {
    const std::map<std::string, std::string> movies = {
        // 2 s at 15 pictures/s: MPEG-4 in AVI, whose pictures carry no time of their own.
        {"cif15.avi", "-f lavfi -i testsrc=size=320x240:rate=15 -t 2 -c:v mpeg4 -q:v 5"},
        // 2 s at 60 pictures/s: H.264 with reordered pictures.
        {"fast60.mp4",
         "-f lavfi -i testsrc=size=320x240:rate=60 -t 2 -c:v libx264 -preset ultrafast "
         "-pix_fmt yuv420p"},
        {"wide.mp4", "-f lavfi -i testsrc=size=640x360:rate=15 -t 1 -c:v mpeg4 -q:v 5"},
        {"tone.m4a", "-f lavfi -i sine=frequency=440:sample_rate=44100 -t 1 -c:a aac"},
        {"damaged.mp4",
         "-f lavfi -i testsrc=size=320x240:rate=15 -t 2 -c:v mjpeg -movflags +faststart"},
    };
    if (name == "notes.txt") {
      std::ofstream(file) << "Not a video, only words.\n";
      return 0;
    }
    auto movie = movies.find(name);
    if (movie == movies.end()) return -1;
    int rc = ffmpeg(movie->second, file);
    if (rc == 0 && name == "damaged.mp4") rc = damage(file);
    return rc;
  }

  // Overwrites the pictures after the first third with noise; the index at
  // the front stays, so the file still opens.
  static int damage(const std::string& file) {
    std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
    stream.seekg(0, std::ios::end);
    std::streamoff size = stream.tellg();
    if (size < 1000) return -1;
    for (std::streamoff at = size / 3; at < size - 16; ++at) {
      stream.seekp(at);
      stream.put(static_cast<char>(at * 7));
    }
    return stream.good() ? 0 : -1;
  }

  std::string dir_;
  std::set<std::string> made_;
};

std::string media(const std::string& name) { return Media::get().path(name); }

// The bodies of a JPEG's Huffman table segments, one after another, and
// the JPEG without them.
void splitHuffmanTables(const Bytes& jpeg, Bytes* tables, Bytes* without) {
  size_t at = 2;
  without->assign(jpeg.begin(), jpeg.begin() + 2);
  while (at + 4 <= jpeg.size() && jpeg[at] == 0xFF && jpeg[at + 1] != 0xDA) {
    size_t length = static_cast<size_t>(jpeg[at + 2]) << 8 | jpeg[at + 3];
    Bytes::const_iterator segment = jpeg.begin() + static_cast<std::ptrdiff_t>(at);
    if (jpeg[at + 1] == 0xC4) {
      tables->insert(tables->end(), segment + 4, segment + 2 + static_cast<std::ptrdiff_t>(length));
    } else {
      without->insert(without->end(), segment, segment + 2 + static_cast<std::ptrdiff_t>(length));
    }
    at += 2 + length;
  }
  without->insert(without->end(), jpeg.begin() + static_cast<std::ptrdiff_t>(at), jpeg.end());
}

Bytes encodedBars(int width, int height) {
  Bytes rgb(static_cast<size_t>(width) * height * 3);
  for (size_t i = 0; i < rgb.size(); ++i) rgb[i] = static_cast<unsigned char>(i * 13 / 7);
  Bytes jpeg;
  std::string error;
  dms_camera::JpegEncoder encoder;
  EXPECT_TRUE(encoder.encodeRgb(rgb.data(), width, height, width * 3, &jpeg, &error)) << error;
  return jpeg;
}

bool isBlack(const unsigned char* rgb) { return rgb[0] < 24 && rgb[1] < 24 && rgb[2] < 24; }

TEST(TestPicture, HasTheAskedSize) {
  std::unique_ptr<FrameSource> source = open("test");
  ASSERT_NE(nullptr, source);
  for (FrameSize size : {kVga, kQvga, FrameSize{333, 201}}) {
    Picture picture = decode(nextPicture(source.get(), size));
    EXPECT_EQ(size.width, picture.width);
    EXPECT_EQ(size.height, picture.height);
  }
}

TEST(TestPicture, SuccessivePicturesDiffer) {
  std::unique_ptr<FrameSource> source = open("test");
  ASSERT_NE(nullptr, source);
  Bytes first = nextPicture(source.get(), kQvga);
  Bytes second = nextPicture(source.get(), kQvga);
  EXPECT_FALSE(first.empty());
  EXPECT_NE(first, second);
}

TEST(TestPicture, ComesAboutThirtyTimesASecond) {
  std::unique_ptr<FrameSource> source = open("test");
  ASSERT_NE(nullptr, source);
  EXPECT_DOUBLE_EQ(30.0, source->rate());
  double seconds = secondsFor(source.get(), 10, kQvga);  // nine intervals: 0.3 s
  EXPECT_GT(seconds, 0.2);
  EXPECT_LT(seconds, 2.0);
}

TEST(TestPicture, KeepsWhatIsAlreadyInFront) {
  std::unique_ptr<FrameSource> source = open("test");
  ASSERT_NE(nullptr, source);
  const Bytes header = {'0', '0', 'd', 'c', 1, 2, 3, 4};
  Bytes out = header;
  std::string error;
  ASSERT_TRUE(source->next(kQvga, &out, &error)) << error;
  ASSERT_GT(out.size(), header.size() + 2);
  EXPECT_EQ(header, Bytes(out.begin(), out.begin() + 8));
  EXPECT_EQ(0xFF, out[8]);
  EXPECT_EQ(0xD8, out[9]);
  EXPECT_EQ(kQvga.width, decode(out.data() + 8, out.size() - 8).width);
}

TEST(TestPicture, ShowsTheClockWhiteOnBlackInTheMiddle) {
  std::unique_ptr<FrameSource> source = open("test");
  ASSERT_NE(nullptr, source);
  Picture picture = decode(nextPicture(source.get(), kVga));
  ASSERT_EQ(kVga.width, picture.width);
  int white = 0;
  int black = 0;
  for (int x = 0; x < picture.width; ++x) {
    for (int y = picture.height / 2 - 20; y < picture.height / 2 + 20; ++y) {
      const unsigned char* p = picture.at(x, y);
      if (p[0] > 230 && p[1] > 230 && p[2] > 230) ++white;
      if (isBlack(p)) ++black;
    }
  }
  EXPECT_GT(white, 2000);  // the digits
  EXPECT_GT(black, 2000);  // the box around them
}

TEST(TestPicture, RefusesAnEmptySize) {
  std::unique_ptr<FrameSource> source = open("test");
  ASSERT_NE(nullptr, source);
  Bytes out;
  std::string error;
  EXPECT_FALSE(source->next(FrameSize{0, 480}, &out, &error));
  EXPECT_EQ("cannot render a 0x480 picture", error);
  EXPECT_TRUE(out.empty());
}

TEST(DigitFont, DrawsEachCharacterItsOwnWay) {
  std::set<std::vector<bool>> shapes;
  for (char c : std::string("0123456789:.")) {
    std::vector<bool> shape;
    for (int row = 0; row < dms_camera::kGlyphHeight; ++row) {
      for (int column = 0; column < dms_camera::kGlyphWidth; ++column) {
        shape.push_back(dms_camera::glyphPixel(c, column, row));
      }
    }
    EXPECT_NE(std::vector<bool>(shape.size(), false), shape) << c;
    shapes.insert(shape);
  }
  EXPECT_EQ(12u, shapes.size());
  EXPECT_FALSE(dms_camera::glyphPixel('x', 2, 3));
}

TEST(DigitFont, ScalesEachFontPixelToASquareAndClipsAtTheEdges) {
  const int width = 40;
  const int height = 30;
  Bytes rgb(width * height * 3, 0);
  dms_camera::RgbCanvas canvas{rgb.data(), width, height, width * 3};
  const unsigned char red[3] = {255, 0, 0};
  dms_camera::drawText(canvas, 1, 2, 3, "8", red);
  int lit = 0;
  for (int row = 0; row < dms_camera::kGlyphHeight; ++row) {
    for (int column = 0; column < dms_camera::kGlyphWidth; ++column) {
      lit += dms_camera::glyphPixel('8', column, row);
      bool drawn = rgb[((2 + row * 3 + 1) * width + 1 + column * 3 + 1) * 3] == 255;
      EXPECT_EQ(dms_camera::glyphPixel('8', column, row), drawn) << column << "," << row;
    }
  }
  int red_pixels = 0;
  for (size_t i = 0; i < rgb.size(); i += 3) red_pixels += rgb[i] == 255;
  EXPECT_EQ(lit * 9, red_pixels);
  // Partly or wholly outside: only the inside is drawn.
  dms_camera::drawText(canvas, -7, -9, 4, "0.:", red);
  dms_camera::drawText(canvas, width - 3, height - 3, 4, "88", red);
  dms_camera::drawText(canvas, width + 5, 0, 2, "1", red);
}

TEST(CameraJpeg, AddsTheStandardTablesWhereTheCameraLeftThemOut) {
  Bytes jpeg = encodedBars(64, 48);
  Bytes tables;
  Bytes bare;
  splitHuffmanTables(jpeg, &tables, &bare);
  ASSERT_FALSE(tables.empty());
  ASSERT_LT(bare.size(), jpeg.size());

  Bytes out = {9, 9};
  ASSERT_TRUE(dms_camera::appendCameraJpeg(bare.data(), bare.size(), &out));
  EXPECT_EQ(9, out[0]);
  EXPECT_EQ(9, out[1]);
  Bytes completed(out.begin() + 2, out.end());
  Bytes added;
  Bytes rest;
  splitHuffmanTables(completed, &added, &rest);
  EXPECT_EQ(tables, added);  // libjpeg-turbo writes the standard tables too
  EXPECT_EQ(bare, rest);
  Picture original = decode(jpeg);
  Picture repaired = decode(completed);
  ASSERT_EQ(64, repaired.width);
  EXPECT_EQ(original.rgb, repaired.rgb);
}

TEST(CameraJpeg, KeepsAPictureWithTablesAsItIs) {
  Bytes jpeg = encodedBars(32, 32);
  Bytes out = {1};
  ASSERT_TRUE(dms_camera::appendCameraJpeg(jpeg.data(), jpeg.size(), &out));
  EXPECT_EQ(1, out[0]);
  EXPECT_EQ(jpeg, Bytes(out.begin() + 1, out.end()));
}

TEST(CameraJpeg, RefusesWhatIsNotAPicture) {
  Bytes jpeg = encodedBars(32, 32);
  Bytes tables;
  Bytes bare;
  splitHuffmanTables(jpeg, &tables, &bare);
  const Bytes zeros(100, 0);
  const Bytes cutBeforeScan(bare.begin(), bare.begin() + 30);
  const Bytes markerOnly = {0xFF, 0xD8, 0xFF};
  const Bytes endAtOnce = {0xFF, 0xD8, 0xFF, 0xD9};
  for (const Bytes* broken : {&zeros, &cutBeforeScan, &markerOnly, &endAtOnce}) {
    Bytes out = {7};
    EXPECT_FALSE(dms_camera::appendCameraJpeg(broken->data(), broken->size(), &out));
    EXPECT_EQ(Bytes{7}, out);
  }
}

TEST(VideoFile, PicturesHaveTheAskedSize) {
  std::string file = media("cif15.avi");
  ASSERT_FALSE(file.empty());
  std::unique_ptr<FrameSource> source = open(file);
  ASSERT_NE(nullptr, source);
  secondsFor(source.get(), 3, kVga);
  secondsFor(source.get(), 3, kQvga);
}

TEST(VideoFile, KeepsItsOwnRate) {
  std::string file = media("cif15.avi");
  ASSERT_FALSE(file.empty());
  std::unique_ptr<FrameSource> source = open(file);
  ASSERT_NE(nullptr, source);
  EXPECT_NEAR(15.0, source->rate(), 0.01);
  double seconds = secondsFor(source.get(), 16, kVga);  // fifteen intervals: 1 s
  EXPECT_GT(seconds, 0.75);
  EXPECT_LT(seconds, 4.0);
}

TEST(VideoFile, GoesOnPastItsEnd) {
  std::string file = media("cif15.avi");
  ASSERT_FALSE(file.empty());
  std::unique_ptr<FrameSource> source = open(file);
  ASSERT_NE(nullptr, source);
  // 45 pictures: the file's 30 and 15 more, 44 intervals of 1/15 s.
  double seconds = secondsFor(source.get(), 45, kQvga);
  EXPECT_GT(seconds, 2.5);
  EXPECT_LT(seconds, 12.0);
}

TEST(VideoFile, SixtyPerSecondFileGivesAtMostThirty) {
  std::string file = media("fast60.mp4");
  ASSERT_FALSE(file.empty());
  std::unique_ptr<FrameSource> source = open(file);
  ASSERT_NE(nullptr, source);
  EXPECT_DOUBLE_EQ(30.0, source->rate());
  double seconds = secondsFor(source.get(), 31, kQvga);  // thirty intervals: 1 s
  EXPECT_GT(seconds, 0.8);
  EXPECT_LT(seconds, 8.0);
}

// The file's first picture as ffmpeg itself renders it at `size`.
Bytes ffmpegRgb(const std::string& file, FrameSize size) {
  std::string command = "ffmpeg -v error -i '" + file +
                        "' -frames:v 1 -vf scale=" + std::to_string(size.width) + ":" +
                        std::to_string(size.height) + " -f rawvideo -pix_fmt rgb24 -";
  Bytes rgb(static_cast<size_t>(size.width) * size.height * 3);
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return {};
  size_t got = fread(rgb.data(), 1, rgb.size(), pipe);
  pclose(pipe);
  if (got != rgb.size()) return {};
  return rgb;
}

double meanDifference(const Bytes& a, const Bytes& b) {
  double sum = 0;
  for (size_t i = 0; i < a.size() && i < b.size(); ++i) sum += std::abs(a[i] - b[i]);
  return a.empty() ? 255 : sum / static_cast<double>(a.size());
}

TEST(VideoFile, KeepsTheFilesColours) {
  // At its own size (a plain copy of the planes) and scaled up.
  for (FrameSize size : {kQvga, kVga}) {
    std::string file = media("cif15.avi");
    ASSERT_FALSE(file.empty());
    std::unique_ptr<FrameSource> source = open(file);
    ASSERT_NE(nullptr, source);
    Picture picture = decode(nextPicture(source.get(), size));
    ASSERT_EQ(size.width, picture.width);
    Bytes reference = ffmpegRgb(file, size);
    ASSERT_EQ(picture.rgb.size(), reference.size());
    // JPEG and a different scaling filter differ a little; a wrong range
    // (grey blacks, dull whites) or wrong colours differ a lot more.
    EXPECT_LT(meanDifference(picture.rgb, reference), 6.0) << size.width;
  }
}

TEST(VideoFile, WidePictureGetsBlackBarsAboveAndBelow) {
  std::string file = media("wide.mp4");
  ASSERT_FALSE(file.empty());
  std::unique_ptr<FrameSource> source = open(file);
  ASSERT_NE(nullptr, source);
  Picture picture = decode(nextPicture(source.get(), kVga));
  ASSERT_EQ(kVga.width, picture.width);
  ASSERT_EQ(kVga.height, picture.height);
  // 640x360 in 640x480: 60 rows of black above and below.
  for (int y : {0, 50, 429, 479}) {
    for (int x = 0; x < picture.width; x += 40) {
      EXPECT_TRUE(isBlack(picture.at(x, y))) << x << "," << y;
    }
  }
  int coloured = 0;
  for (int x = 0; x < picture.width; ++x) coloured += !isBlack(picture.at(x, 240));
  EXPECT_GT(coloured, picture.width / 2);
}

TEST(VideoFile, MissingFileIsNamed) {
  std::string file = (std::filesystem::temp_directory_path() / "no_such_movie.mp4").string();
  EXPECT_EQ("cannot open " + file + ": No such file or directory", openError(file));
}

TEST(VideoFile, TextFileIsNamed) {
  std::string file = media("notes.txt");
  ASSERT_FALSE(file.empty());
  std::string error = openError(file);
  EXPECT_EQ("cannot open " + file + ": Invalid data found when processing input", error);
}

TEST(VideoFile, AudioOnlyFileIsNamed) {
  std::string file = media("tone.m4a");
  ASSERT_FALSE(file.empty());
  EXPECT_EQ(file + " has no video stream", openError(file));
}

TEST(VideoFile, DamagedPicturesEndTheSourceWithTheReason) {
  std::string file = media("damaged.mp4");
  ASSERT_FALSE(file.empty());
  std::unique_ptr<FrameSource> source = open(file);
  ASSERT_NE(nullptr, source);
  Bytes out;
  std::string error;
  int pictures = 0;
  while (pictures < 60 && source->next(kQvga, &out, &error)) ++pictures;
  EXPECT_GT(pictures, 0);   // the first third decodes
  EXPECT_LT(pictures, 30);  // the rest does not
  EXPECT_EQ("cannot decode " + file + ": Invalid data found when processing input", error);
}

TEST(Camera, MissingDeviceCannotBeOpened) {
  EXPECT_EQ("cannot open /dev/video99: No such file or directory", openError("/dev/video99"));
}

TEST(Camera, DeviceThatIsNoCameraIsRefused) {
  EXPECT_EQ("/dev/null is not a video capture device", openError("/dev/null"));
}

}  // namespace
