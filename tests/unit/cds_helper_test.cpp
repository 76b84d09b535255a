// CDSHelper: the 86 fixed strings at their positions.
#include <gtest/gtest.h>

#include <string>

#include "cds_helper.h"
#include "dms_string.h"

namespace {

class CDSHelperTest : public ::testing::Test {
 protected:
  void TearDown() override { CDSHelper::DestroyInstance(); }
  static std::string at(int position) { return CDSHelper::GetInstance()->GetText(position); }
};

}  // namespace

TEST_F(CDSHelperTest, HoldsEightySixEntriesAndNothingOutside) {
  CDSHelper* table = CDSHelper::GetInstance();
  ASSERT_NE(table, nullptr);
  for (int i = 0; i < 86; ++i) {
    ASSERT_NE(table->GetString(i), nullptr) << i;
    EXPECT_GT(table->GetString(i)->GetStringLength(), 0u) << i;
  }
  EXPECT_EQ(table->GetString(86), nullptr);
  EXPECT_EQ(table->GetString(-1), nullptr);
  EXPECT_STREQ(table->GetText(86), "");
}

TEST_F(CDSHelperTest, IsOneInstanceUntilDestroyed) {
  CDSHelper* first = CDSHelper::GetInstance();
  EXPECT_EQ(CDSHelper::GetInstance(), first);
  CDSHelper::DestroyInstance();
  EXPECT_NE(CDSHelper::GetInstance(), nullptr);
}

TEST_F(CDSHelperTest, ProfilesAndClassesSitAtTheirPositions) {
  const char* expected[] = {"MP3",
                            "AAC_ISO_320",
                            "AAC_ADTS_320",
                            "AVC_MP4_BL_CIF15_AAC_520",
                            "JPEG_SM",
                            "JPEG_MED",
                            "JPEG_LRG",
                            "JPEG_TN",
                            "object.container",
                            "object.container.musicContainer",
                            "object.container.pictureContainer",
                            "object.container.videoContainer",
                            "Invalid",
                            "object.item",
                            "object.item.imageItem.photo",
                            "object.item.audioItem.musicTrack",
                            "object.item.videoItem.movie"};
  for (int i = 0; i < 17; ++i) EXPECT_EQ(at(i), expected[i]) << i;
  EXPECT_EQ(at(22), "image/jpeg");
  EXPECT_EQ(at(23), "application/octet-stream");
}

TEST_F(CDSHelperTest, DidlEnvelopeIsEscapedOnce) {
  const std::string start =
      "&lt;DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\"\r\n"
      " xmlns:dc=\"http://purl.org/dc/elements/1.1/\""
      " xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\"";
  EXPECT_EQ(at(17), start + " xmlns:dlna=\"urn:schemas-dlna-org:metadata-1-0/\"&gt;\r\n");
  EXPECT_EQ(at(18), start + " /&gt;\r\n");
  EXPECT_EQ(at(19), "&lt;/DIDL-Lite&gt;");
}

TEST_F(CDSHelperTest, HttpReplyHeads) {
  EXPECT_EQ(at(20),
            "HTTP/1.1 200 OK\r\nContent-Length: %d\r\nContent-Type: text/xml; "
            "charset=\"utf-8\"\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(at(21),
            "HTTP/1.1 500 Internal Server Error\r\nContent-Length: %d\r\nContent-Type: text/xml; "
            "charset=\"utf-8\"\r\nConnection: close\r\n\r\n");
}

TEST_F(CDSHelperTest, VocabularyRunsFromGetProtocolInfoToTouchAF) {
  EXPECT_EQ(at(24), "GetProtocolInfo");
  EXPECT_EQ(at(29), "Source");
  EXPECT_EQ(at(48), "A_ARG_TYPE_RcsID");
  EXPECT_EQ(at(50),
            "LPCM,MPEG_PS_NTSC,MPEG_TS_SD_NA_ISO,MPEG_TS_SD_EU_T,MPEG_TS_SD_EU_ISO,"
            "MPEG_TS_SD_KO_T,MPEG_TS_SD_KO_ISO,MPEG_TS_SD_NA_T");
  EXPECT_EQ(at(51), "Browse");
  EXPECT_EQ(at(65), "X_GetFeatureList");
  EXPECT_EQ(at(71), "Id");
  EXPECT_EQ(at(72), "GetInfomation");
  EXPECT_EQ(at(84), "setTouchAFOption");
  EXPECT_EQ(at(85), "touchAF");
}

TEST_F(CDSHelperTest, SourceProtocolInfoListsDlnaProfilesThenPlainTypes) {
  const std::string image = ";DLNA.ORG_OP=01;DLNA.ORG_FLAGS=00f00000000000000000000000000000,";
  const std::string stream = ";DLNA.ORG_OP=01;DLNA.ORG_FLAGS=01700000000000000000000000000000,";
  EXPECT_EQ(at(49),
            "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_SM" + image +
                "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_TN" + image +
                "http-get:*:audio/mpeg:DLNA.ORG_PN=MP3" + stream +
                "http-get:*:audio/mp4:DLNA.ORG_PN=AAC_ISO_320" + stream +
                "http-get:*:audio/3gpp:DLNA.ORG_PN=AAC_ISO_320" + stream +
                "http-get:*:audio/vnd.dlna.adts:DLNA.ORG_PN=AAC_ADTS_320" + stream +
                "http-get:*:video/mp4:DLNA.ORG_PN=AVC_MP4_BL_CIF15_AAC_520" + stream +
                "http-get:*:video/mp4:DLNA.ORG_PN=AVC_MP4_BL_L2_CIF30_AAC" + stream +
                "http-get:*:video/mp4:DLNA.ORG_PN=AVC_MP4_BL_L3_SD_ACC" + stream +
                "http-get:*:audio/mpeg:*,http-get:*:audio/x-ms-wma:*,http-get:*:audio/wav:*,"
                "http-get:*:audio/mp4:*,http-get:*:application/ogg:*,http-get:*:image/jpeg:*,"
                "http-get:*:image/gif:*,http-get:*:video/mpeg:*,http-get:*:video/x-msvideo:*,"
                "http-get:*:video/avi:*,http-get:*:video/MP4V-ES:*,http-get:*:video/x-ms-wmv:*");
}

TEST_F(CDSHelperTest, ScannerListNamesFiveProfiles) {
  const std::string flags = "DLNA.ORG_FLAGS=00D00000000000000000000000000000";
  EXPECT_EQ(std::string(CDSHelper::ScannerProtocolInfoList()),
            "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;" + flags +
                ",http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_TN;DLNA.ORG_OP=01;DLNA.ORG_CI=1;" + flags +
                ",http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_MED;DLNA.ORG_OP=01;" + flags +
                ",http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;" + flags +
                ",http-get:*:video/mp4:DLNA.ORG_PN=AVC_MP4_BL_CIF15_AAC_520;DLNA.ORG_OP=01;"
                "DLNA.ORG_FLAGS=01500000000000000000000000000000");
}
