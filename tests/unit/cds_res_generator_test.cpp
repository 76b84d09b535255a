// ContentsResGenerator: protocolInfo, optional attributes, preview attribute
// orders and URIs of res elements.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "cds_helper.h"
#include "contents_enumerator_argument.h"
#include "contents_res_generator.h"
#include "dms_string.h"
#include "log_capture.h"

namespace {

DMSAppString* s(const char* value) { return new DMSAppString(value); }

const std::string kImageFlags = "DLNA.ORG_FLAGS=00D00000000000000000000000000000";
const std::string kStreamFlags = "DLNA.ORG_FLAGS=01500000000000000000000000000000";

std::unique_ptr<ContentsEnumeratorArgument> image(const char* profile = "JPEG_LRG") {
  auto r = std::make_unique<ContentsEnumeratorArgument>();
  r->SetContentType(1);
  r->SetContentID(s("7"));
  r->SetDLNAPN(s(profile));
  r->SetMimetypeString(s("image/jpeg"));
  r->SetSize(s("123456"));
  r->SetResolution(s("640x480"));
  r->SetFilePath(s("/media/DCIM"));
  r->SetFileName(s("a.jpg"));
  r->SetUri(s("/nuvmedia/7.jpg"));
  r->SetThumbUri(s("/nuvthumb/7.jpg"));
  r->SetScreenUri(s("/nuvscreen/7.jpg"));
  r->SetThumbnailSize(2000);
  r->SetThumbnailHeight(120);
  r->SetThumbnailWidth(160);
  r->SetScreennailSize(4000);
  r->SetScreennailHeight(480);
  r->SetScreennailWidth(640);
  return r;
}

std::unique_ptr<ContentsEnumeratorArgument> song(const char* bitrate) {
  auto r = std::make_unique<ContentsEnumeratorArgument>();
  r->SetContentType(2);
  r->SetDLNAPN(s("MP3"));
  r->SetMimetypeString(s("audio/mpeg"));
  r->SetSize(s("5000"));
  r->SetAudioBitrate(s(bitrate));
  r->SetDuration(s("0:03:00"));
  r->SetFilePath(s("/media/MUSIC"));
  r->SetFileName(s("a.mp3"));
  r->SetUri(s("/nuvmedia/2.mp3"));
  r->SetThumbUri(s("/nuvthumb/2.jpg"));
  return r;
}

struct Res {
  std::string attributes;
  std::string uri;
};

using Builder = int (ContentsResGenerator::*)(DMSAppString*, DMSAppString*);

Res build(ContentsResGenerator& generator, Builder builder) {
  DMSAppString attributes("");
  DMSAppString uri("");
  EXPECT_EQ((generator.*builder)(&attributes, &uri), 0);
  return {attributes.ReadString(), uri.ReadString()};
}

class ResGeneratorTest : public ::testing::Test {
 protected:
  void TearDown() override { CDSHelper::DestroyInstance(); }
  DMSAppString base_{"http://192.168.1.10:8200"};
};

}  // namespace

TEST_F(ResGeneratorTest, JpegLrgGetsItsProfileOpAndImageFlags) {
  auto record = image("JPEG_LRG");
  ContentsResGenerator generator(&base_, record.get());
  Res res = build(generator, &ContentsResGenerator::BuildJPEGRes);
  EXPECT_EQ(res.attributes,
            "      protocolInfo=\"http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_LRG;"
            "DLNA.ORG_OP=01;" +
                kImageFlags + "\" ");
  EXPECT_EQ(res.uri, "http://192.168.1.10:8200/nuvmedia/7.jpg");
}

TEST_F(ResGeneratorTest, FullAttributeSetKeepsItsBlankSeparatedOrder) {
  auto record = song("128000");
  ContentsResGenerator generator(&base_, record.get());
  generator.SetmbNeedSize(true);
  generator.SetmbNeedBitrate(true);
  generator.SetmbNeedDuration(true);
  Res res = build(generator, &ContentsResGenerator::BuildMP3Res);
  EXPECT_EQ(res.attributes,
            " size=\"5000\"  bitrate=\"128000\"   duration=\"0:03:00\"   protocolInfo=\"http-get:*:"
            "audio/mpeg:DLNA.ORG_PN=MP3;DLNA.ORG_OP=01;" +
                kStreamFlags + "\" ");
  EXPECT_EQ(res.uri, "http://192.168.1.10:8200/nuvmedia/2.mp3");
}

TEST_F(ResGeneratorTest, Mp3WithBitrateZeroHasNoBitrateEvenWhenAsked) {
  auto record = song("0");
  ContentsResGenerator generator(&base_, record.get());
  generator.SetmbNeedBitrate(true);
  Res res = build(generator, &ContentsResGenerator::BuildMP3Res);
  EXPECT_EQ(res.attributes.find("bitrate"), std::string::npos);
}

TEST_F(ResGeneratorTest, ResolutionZeroByZeroIsLeftOut) {
  auto record = image();
  record->SetResolution(s("0x0"));
  ContentsResGenerator generator(&base_, record.get());
  generator.SetmbNeedResolution(true);
  EXPECT_EQ(build(generator, &ContentsResGenerator::BuildJPEGRes).attributes.find("resolution"),
            std::string::npos);
  record->SetResolution(s("640x480"));
  EXPECT_NE(build(generator, &ContentsResGenerator::BuildJPEGRes)
                .attributes.find("resolution=\"640x480\""),
            std::string::npos);
}

TEST_F(ResGeneratorTest, FrameRateOnlyWhenAskedAndPositive) {
  auto record = std::make_unique<ContentsEnumeratorArgument>();
  record->SetContentType(3);
  record->SetDLNAPN(s("AVC_MP4_BL_CIF15_AAC_520"));
  record->SetMimetypeString(s("video/mp4"));
  record->SetVideoFrameRate(30);
  ContentsResGenerator generator(&base_, record.get());
  EXPECT_EQ(build(generator, &ContentsResGenerator::BuildVideoRes).attributes.find("framerate"),
            std::string::npos);
  generator.SetmbNeedFramerate(true);
  EXPECT_EQ(build(generator, &ContentsResGenerator::BuildVideoRes).attributes,
            "   framerate=\"30\"    protocolInfo=\"http-get:*:video/mp4:DLNA.ORG_PN="
            "AVC_MP4_BL_CIF15_AAC_520;DLNA.ORG_OP=01;" +
                kStreamFlags + "\" ");
  record->SetVideoFrameRate(0);
  EXPECT_EQ(build(generator, &ContentsResGenerator::BuildVideoRes).attributes.find("framerate"),
            std::string::npos);
}

TEST_F(ResGeneratorTest, RecordStillHoldingAnImportUriGetsAttributesButNoUri) {
  auto record = image();
  DMSAppString importURI("http://192.168.1.10:8200/upload/x.jpg");
  record->SetImportURI(&importURI);
  LogCapture log;
  ContentsResGenerator generator(&base_, record.get());
  Res res = build(generator, &ContentsResGenerator::BuildJPEGRes);
  record->SetImportURI(nullptr);  // the record never owned it
  EXPECT_EQ(res.uri, "");
  EXPECT_EQ(res.attributes,
            "importUri=\"http://192.168.1.10:8200/upload/x.jpg\"      protocolInfo=\"http-get:*:"
            "image/jpeg:DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;" +
                kImageFlags + "\" ");
  EXPECT_TRUE(log.has("[CRG] Invalid call", 1));
}

TEST_F(ResGeneratorTest, RecordWithoutFilePathGetsNoUri) {
  auto record = std::make_unique<ContentsEnumeratorArgument>();
  record->SetContentType(1);
  record->SetUri(s("/nuvmedia/1.jpg"));
  LogCapture log;
  ContentsResGenerator generator(&base_, record.get());
  EXPECT_EQ(build(generator, &ContentsResGenerator::BuildJPEGRes).uri, "");
  EXPECT_TRUE(log.has("[CRG] Invalid Args", 1));
}

TEST_F(ResGeneratorTest, MissingProfileOffersOnlyTheOperations) {
  auto record = image();
  record->SetDLNAPN(s(""));
  ContentsResGenerator generator(&base_, record.get());
  EXPECT_EQ(build(generator, &ContentsResGenerator::BuildJPEGRes).attributes,
            "      protocolInfo=\"http-get:*:image/jpeg:DLNA.ORG_OP=01\" ");
}

TEST_F(ResGeneratorTest, MissingPathAddsNothingToTheBase) {
  auto record = image();
  record->SetThumbUri(nullptr);  // null keeps the value: use a fresh record
  auto bare = std::make_unique<ContentsEnumeratorArgument>();
  bare->SetContentType(1);
  bare->SetFilePath(s("/m"));
  bare->SetFileName(s("b.jpg"));
  ContentsResGenerator generator(&base_, bare.get());
  EXPECT_EQ(build(generator, &ContentsResGenerator::BuildJPEGThumbRes).uri,
            "http://192.168.1.10:8200");
}

TEST_F(ResGeneratorTest, ThumbnailAttributeForms) {
  auto record = image();
  ContentsResGenerator generator(&base_, record.get());
  const std::string pi =
      "protocolInfo=\"http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_TN;DLNA.ORG_OP=01;"
      "DLNA.ORG_CI=1;" +
      kImageFlags + "\" ";
  EXPECT_EQ(build(generator, &ContentsResGenerator::BuildJPEGThumbRes).attributes, " " + pi);
  generator.SetmbNeedSize(true);
  EXPECT_EQ(build(generator, &ContentsResGenerator::BuildJPEGThumbRes).attributes,
            " size=\"2000\" " + pi);
  generator.SetmbNeedSize(false);
  generator.SetmbNeedResolution(true);
  // Height first when resolution alone is asked for.
  EXPECT_EQ(build(generator, &ContentsResGenerator::BuildJPEGThumbRes).attributes,
            " resolution=\"120x160\" " + pi);
  generator.SetmbNeedSize(true);
  // Width first with size and resolution.
  Res both = build(generator, &ContentsResGenerator::BuildJPEGThumbRes);
  EXPECT_EQ(both.attributes, " size=\"2000\" resolution=\"160x120\" " + pi);
  EXPECT_EQ(both.uri, "http://192.168.1.10:8200/nuvthumb/7.jpg");
}

TEST_F(ResGeneratorTest, ThumbnailWithoutSizeFallsBackToTheBareForm) {
  auto record = image();
  record->SetThumbnailSize(0);
  ContentsResGenerator generator(&base_, record.get());
  generator.SetmbNeedSize(true);
  EXPECT_EQ(build(generator, &ContentsResGenerator::BuildVideoThumbRes).attributes.find("size"),
            std::string::npos);
}

TEST_F(ResGeneratorTest, ScreennailIsHeightFirstInBothForms) {
  auto record = image();
  ContentsResGenerator generator(&base_, record.get());
  const std::string pi =
      "protocolInfo=\"http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;"
      "DLNA.ORG_CI=1;" +
      kImageFlags + "\" ";
  generator.SetmbNeedResolution(true);
  EXPECT_EQ(build(generator, &ContentsResGenerator::BuildJPEGScreenRes).attributes,
            " resolution=\"480x640\" " + pi);
  generator.SetmbNeedSize(true);
  Res both = build(generator, &ContentsResGenerator::BuildJPEGScreenRes);
  EXPECT_EQ(both.attributes, " size=\"4000\" resolution=\"480x640\" " + pi);
  EXPECT_EQ(both.uri, "http://192.168.1.10:8200/nuvscreen/7.jpg");
}

TEST_F(ResGeneratorTest, AlbumArtIsA160PixelThumbnail) {
  auto record = song("128000");
  ContentsResGenerator generator(&base_, record.get());
  const std::string pi =
      "protocolInfo=\"http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_TN;DLNA.ORG_OP=01;"
      "DLNA.ORG_CI=1;" +
      kImageFlags + "\" ";
  Res plain = build(generator, &ContentsResGenerator::BuildAlbumArtRes);
  EXPECT_EQ(plain.attributes, "  " + pi);
  EXPECT_EQ(plain.uri, "http://192.168.1.10:8200/nuvthumb/2.jpg");
  generator.SetmbNeedResolution(true);
  EXPECT_EQ(build(generator, &ContentsResGenerator::BuildAlbumArtRes).attributes,
            " resolution=\"160x160\"  " + pi);
}

TEST_F(ResGeneratorTest, BaseUrlCanBeReplaced) {
  auto record = image();
  ContentsResGenerator generator(&base_, record.get());
  DMSAppString other("http://10.0.0.1:9000");
  generator.SetmURLBase(&other);
  EXPECT_STREQ(generator.getmURLBase()->ReadString(), "http://10.0.0.1:9000");
  EXPECT_EQ(build(generator, &ContentsResGenerator::BuildJPEGRes).uri,
            "http://10.0.0.1:9000/nuvmedia/7.jpg");
}

TEST_F(ResGeneratorTest, MissingOutputsAreRefusedWithTheirLogLines) {
  auto record = image();
  ContentsResGenerator generator(&base_, record.get());
  DMSAppString out("");
  LogCapture log;
  EXPECT_EQ(generator.BuildJPEGRes(nullptr, &out), 1);
  EXPECT_EQ(generator.BuildMP3Res(&out, nullptr), 1);
  EXPECT_EQ(log.count("[CRG] Invalid Arguments!!! BuildVideoRes"), 2u);
  EXPECT_EQ(generator.BuildJPEGScreenRes(nullptr, nullptr), 1);
  EXPECT_TRUE(log.has("[CRG] Invalid Arguments!!! BuildJPEGScreenRes", 2));
}

TEST_F(ResGeneratorTest, FourthFieldRules) {
  std::string field;
  std::string tag;
  ASSERT_EQ(ContentsResGenerator::__BuildDLNA4thField("*", 0, 0, 0, false, &field, &tag), 0);
  EXPECT_EQ(field, "*");
  ContentsResGenerator::__BuildDLNA4thField("*", 1, 0, 0, false, &field, &tag);
  EXPECT_EQ(field, "DLNA.ORG_OP=01");
  ContentsResGenerator::__BuildDLNA4thField("MP3", 1, 1, 0, true, &field, &tag);
  EXPECT_EQ(field, "DLNA.ORG_PN=MP3;DLNA.ORG_OP=11;" + kStreamFlags);
  EXPECT_EQ(tag, "DLNA-PNMP3-OP11-CI0");
  ContentsResGenerator::__BuildDLNA4thField("JPEG_TN", 0, 0, 1, false, &field, &tag);
  EXPECT_EQ(field, "DLNA.ORG_PN=JPEG_TN;DLNA.ORG_CI=1;" + kImageFlags);
  EXPECT_EQ(ContentsResGenerator::__BuildDLNA4thField("MP3", 1, 0, 0, true, nullptr, &tag), 1);
}

TEST_F(ResGeneratorTest, TransferModeFlags) {
  DMSAppString flags("");
  ASSERT_EQ(ContentsResGenerator::__BuildTransferModeFlags(&flags, true, false, true), 0);
  EXPECT_STREQ(flags.ReadString(), "01500000");
  ContentsResGenerator::__BuildTransferModeFlags(&flags, false, true, true);
  EXPECT_STREQ(flags.ReadString(), "00d00000");
  ContentsResGenerator::__BuildTransferModeFlags(&flags, false, false, false);
  EXPECT_STREQ(flags.ReadString(), "00100000");
  EXPECT_EQ(ContentsResGenerator::__BuildTransferModeFlags(nullptr, true, true, true), 1);
}

TEST_F(ResGeneratorTest, TextFormGivesWhatEachBuilderGives) {
  using G = ContentsResGenerator;
  const std::pair<G::ResKind, Builder> kinds[] = {{G::kJpegRes, &G::BuildJPEGRes},
                                                  {G::kJpegThumbRes, &G::BuildJPEGThumbRes},
                                                  {G::kJpegScreenRes, &G::BuildJPEGScreenRes},
                                                  {G::kAlbumArtRes, &G::BuildAlbumArtRes},
                                                  {G::kVideoRes, &G::BuildVideoRes},
                                                  {G::kVideoThumbRes, &G::BuildVideoThumbRes},
                                                  {G::kMp3Res, &G::BuildMP3Res}};
  std::unique_ptr<ContentsEnumeratorArgument> records[] = {image(), song("128000"), image()};
  DMSAppString importURI("http://192.168.1.10:8200/import/5?a&b");
  records[2]->SetImportURI(&importURI);
  for (auto& record : records) {
    for (bool flags : {false, true}) {
      ContentsResGenerator generator(&base_, record.get());
      generator.SetmbNeedSize(flags);
      generator.SetmbNeedBitrate(flags);
      generator.SetmbNeedDuration(flags);
      generator.SetmbNeedResolution(flags);
      generator.SetmbNeedFramerate(flags);
      // Every kind after every other: nothing of one res may stay in the next.
      for (const auto& before : kinds) {
        for (const auto& kind : kinds) {
          std::string attributes = "stale";
          std::string uri = "stale";
          ASSERT_EQ(generator.BuildRes(before.first, &attributes, &uri), 0);
          ASSERT_EQ(generator.BuildRes(kind.first, &attributes, &uri), 0);
          Res expected = build(generator, kind.second);
          EXPECT_EQ(attributes, expected.attributes) << kind.first << " after " << before.first;
          EXPECT_EQ(uri, expected.uri) << kind.first << " after " << before.first;
        }
      }
    }
  }
  ContentsResGenerator none(&base_, nullptr);
  std::string attributes;
  std::string uri;
  EXPECT_EQ(none.BuildRes(G::kJpegRes, &attributes, &uri), 1);
  ContentsResGenerator generator(&base_, records[0].get());
  EXPECT_EQ(generator.BuildRes(G::kJpegRes, nullptr, &uri), 1);
  EXPECT_EQ(generator.BuildRes(G::kJpegRes, &attributes, nullptr), 1);
  records[2]->SetImportURI(nullptr);  // the record never owned it
}
