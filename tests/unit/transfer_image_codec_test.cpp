// NUVImageCodec: every operation answers false and leaves the file system
// as it was, whatever it is given.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "dms_string.h"
#include "gtest/gtest.h"
#include "nuv_image_codec.h"

namespace {

class ImageCodec : public ::testing::Test {
 protected:
  void SetUp() override {
    char folder[] = "/tmp/dms_codec_XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    dir_ = folder;
    input_ = dir_ + "/in.jpg";
    output_ = dir_ + "/out.img";
    FILE* f = fopen(input_.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    fputs("\xff\xd8 not much of a picture \xff\xd9", f);
    fclose(f);
  }
  void TearDown() override {
    unlink(input_.c_str());
    unlink(output_.c_str());
    rmdir(dir_.c_str());
  }
  bool outputExists() const {
    struct stat st;
    return stat(output_.c_str(), &st) == 0;
  }
  std::string dir_;
  std::string input_;
  std::string output_;
};

}  // namespace

TEST_F(ImageCodec, EveryOperationAnswersFalseAndWritesNothing) {
  DMSAppString in(input_.c_str());
  DMSAppString out(output_.c_str());
  EXPECT_FALSE(NUVImageCodec::CreateOutFile(&out, "abc", 3));
  EXPECT_FALSE(NUVImageCodec::ImgResize(&in, &out, 160, 120));
  for (DlnaImgCodecType type : {DLNA_IMG_BMP, DLNA_IMG_JPEG, DLNA_IMG_PNG, DLNA_IMG_GIF})
    EXPECT_FALSE(NUVImageCodec::ImgEncode(&in, &out, type, 640, 480));
  EXPECT_FALSE(NUVImageCodec::ImgBMPEncode(&in, &out));
  EXPECT_FALSE(NUVImageCodec::ImgJPGEncode(&in, &out));
  EXPECT_FALSE(NUVImageCodec::ImgPNGEncode(&in, &out));
  EXPECT_FALSE(NUVImageCodec::ImgGIFEncode(&in, &out));
  EXPECT_FALSE(NUVImageCodec::ImgBMPEncode(&in, &out, 1, 1));
  EXPECT_FALSE(NUVImageCodec::ImgJPGEncode(&in, &out, 1, 1));
  EXPECT_FALSE(NUVImageCodec::ImgPNGEncode(&in, &out, 1, 1));
  EXPECT_FALSE(NUVImageCodec::ImgGIFEncode(&in, &out, 1, 1));
  EXPECT_FALSE(outputExists());
  struct stat st;
  ASSERT_EQ(stat(input_.c_str(), &st), 0);
  EXPECT_GT(st.st_size, 0) << "the input is untouched";
}

TEST_F(ImageCodec, NullPathsAreAnsweredFalseToo) {
  EXPECT_FALSE(NUVImageCodec::CreateOutFile(nullptr, nullptr, 0));
  EXPECT_FALSE(NUVImageCodec::ImgResize(nullptr, nullptr, 0, 0));
  EXPECT_FALSE(NUVImageCodec::ImgEncode(nullptr, nullptr, DLNA_IMG_GIF, -1, -1));
}
