#include "cds_helper.h"

#include <mutex>
#include <new>

#include "dms_string.h"

namespace {

// DLNA entries of the source list: image profiles are offered for
// interactive transfer, audio and video ones for streaming.
#define DMS_IMAGE_PI(mime, pn)          \
  "http-get:*:" mime ":DLNA.ORG_PN=" pn \
  ";DLNA.ORG_OP=01;DLNA.ORG_FLAGS=00f00000000000000000000000000000"
#define DMS_STREAM_PI(mime, pn)         \
  "http-get:*:" mime ":DLNA.ORG_PN=" pn \
  ";DLNA.ORG_OP=01;DLNA.ORG_FLAGS=01700000000000000000000000000000"

// clang-format off
const char* const kSourceProtocolInfo =
    DMS_IMAGE_PI("image/jpeg", "JPEG_SM") ","
    DMS_IMAGE_PI("image/jpeg", "JPEG_TN") ","
    DMS_STREAM_PI("audio/mpeg", "MP3") ","
    DMS_STREAM_PI("audio/mp4", "AAC_ISO_320") ","
    DMS_STREAM_PI("audio/3gpp", "AAC_ISO_320") ","
    DMS_STREAM_PI("audio/vnd.dlna.adts", "AAC_ADTS_320") ","
    DMS_STREAM_PI("video/mp4", "AVC_MP4_BL_CIF15_AAC_520") ","
    DMS_STREAM_PI("video/mp4", "AVC_MP4_BL_L2_CIF30_AAC") ","
    DMS_STREAM_PI("video/mp4", "AVC_MP4_BL_L3_SD_ACC")  // spelled as control points expect
    ",http-get:*:audio/mpeg:*,http-get:*:audio/x-ms-wma:*,http-get:*:audio/wav:*"
    ",http-get:*:audio/mp4:*,http-get:*:application/ogg:*,http-get:*:image/jpeg:*"
    ",http-get:*:image/gif:*,http-get:*:video/mpeg:*,http-get:*:video/x-msvideo:*"
    ",http-get:*:video/avi:*,http-get:*:video/MP4V-ES:*,http-get:*:video/x-ms-wmv:*";
// clang-format on

#undef DMS_IMAGE_PI
#undef DMS_STREAM_PI

const char* const kScannerProtocolInfo =
    "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;"
    "DLNA.ORG_FLAGS=00D00000000000000000000000000000,"
    "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_TN;DLNA.ORG_OP=01;DLNA.ORG_CI=1;"
    "DLNA.ORG_FLAGS=00D00000000000000000000000000000,"
    "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_MED;DLNA.ORG_OP=01;"
    "DLNA.ORG_FLAGS=00D00000000000000000000000000000,"
    "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;"
    "DLNA.ORG_FLAGS=00D00000000000000000000000000000,"
    "http-get:*:video/mp4:DLNA.ORG_PN=AVC_MP4_BL_CIF15_AAC_520;DLNA.ORG_OP=01;"
    "DLNA.ORG_FLAGS=01500000000000000000000000000000";

// The DIDL-Lite envelope is stored escaped once: it travels as the text of
// the SOAP Result argument.
#define DMS_DIDL_START                                                       \
  "&lt;DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\"\r\n" \
  " xmlns:dc=\"http://purl.org/dc/elements/1.1/\""                           \
  " xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\""

const char* const kTexts[CDSHelper::kEntryCount] = {
    // 0-7 DLNA profile names
    "MP3", "AAC_ISO_320", "AAC_ADTS_320", "AVC_MP4_BL_CIF15_AAC_520", "JPEG_SM", "JPEG_MED",
    "JPEG_LRG", "JPEG_TN",
    // 8-11 container classes, 12, 13-16 item classes
    "object.container", "object.container.musicContainer", "object.container.pictureContainer",
    "object.container.videoContainer", "Invalid", "object.item", "object.item.imageItem.photo",
    "object.item.audioItem.musicTrack", "object.item.videoItem.movie",
    // 17-19 DIDL-Lite head, empty document, tail
    DMS_DIDL_START " xmlns:dlna=\"urn:schemas-dlna-org:metadata-1-0/\"&gt;\r\n",
    DMS_DIDL_START " /&gt;\r\n", "&lt;/DIDL-Lite&gt;",
    // 20-21 HTTP reply heads
    "HTTP/1.1 200 OK\r\nContent-Length: %d\r\nContent-Type: text/xml; "
    "charset=\"utf-8\"\r\nConnection: close\r\n\r\n",
    "HTTP/1.1 500 Internal Server Error\r\nContent-Length: %d\r\nContent-Type: text/xml; "
    "charset=\"utf-8\"\r\nConnection: close\r\n\r\n",
    // 22-23
    "image/jpeg", "application/octet-stream",
    // 24-48 ConnectionManager vocabulary
    "GetProtocolInfo", "GetCurrentConnectionIDs", "GetCurrentConnectionInfo",
    "PrepareForConnection", "ConnectionComplete", "Source", "Sink", "AVTransportID", "RcsID",
    "ConnectionIDs", "ProtocolInfo", "PeerConnectionManager", "PeerConnectionID", "Direction",
    "Status", "SourceProtocolInfo", "SinkProtocolInfo", "CurrentConnectionIDs",
    "A_ARG_TYPE_ConnectionStatus", "A_ARG_TYPE_Direction", "A_ARG_TYPE_ProtocolInfo",
    "A_ARG_TYPE_ConnectionManager", "A_ARG_TYPE_ConnectionID", "A_ARG_TYPE_AVTransportID",
    "A_ARG_TYPE_RcsID",
    // 49-50
    kSourceProtocolInfo,
    "LPCM,MPEG_PS_NTSC,MPEG_TS_SD_NA_ISO,MPEG_TS_SD_EU_T,MPEG_TS_SD_EU_ISO,MPEG_TS_SD_KO_T,"
    "MPEG_TS_SD_KO_ISO,MPEG_TS_SD_NA_T",
    // 51-71 ContentDirectory actions and variables
    "Browse", "CreateObject", "CreateReference", "DeleteResource", "DestroyObject",
    "ExportResource", "GetSearchCapabilities", "GetSortCapabilities", "GetSystemUpdateID",
    "GetTransferProgress", "ImportResource", "Search", "StopTransferResource", "UpdateObject",
    "X_GetFeatureList", "SearchCapabilities", "SortCapabilities", "SystemUpdateID", "SearchCaps",
    "SortCaps", "Id",
    // 72-85 camera remote-control commands ("GetInfomation" as control points send it)
    "GetInfomation", "SetFlash", "SetLED", "SetResolution", "ZoomIN", "ZoomOUT", "MULTIAF", "Shot",
    "ShotWithGPS", "ReleaseSelfTimer", "SetStreamQuality", "ADJUSTSTREAM", "setTouchAFOption",
    "touchAF"};

#undef DMS_DIDL_START

std::mutex gInstanceMutex;
CDSHelper* gInstance = nullptr;

}  // namespace

CDSHelper::CDSHelper() {
  for (int i = 0; i < kEntryCount; ++i) entries_[i] = new (std::nothrow) DMSAppString(kTexts[i]);
}

CDSHelper::~CDSHelper() {
  for (DMSAppString* entry : entries_) delete entry;
}

bool CDSHelper::IsComplete() const {
  for (const DMSAppString* entry : entries_)
    if (entry == nullptr || entry->ReadString() == nullptr) return false;
  return true;
}

CDSHelper* CDSHelper::GetInstance() {
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  if (gInstance == nullptr) {
    gInstance = new (std::nothrow) CDSHelper();
    if (gInstance != nullptr && !gInstance->IsComplete()) {
      delete gInstance;
      gInstance = nullptr;
    }
  }
  return gInstance;
}

void CDSHelper::DestroyInstance() {
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  delete gInstance;
  gInstance = nullptr;
}

const DMSAppString* CDSHelper::GetString(int position) const {
  if (position < 0 || position >= kEntryCount) return nullptr;
  return entries_[position];
}

const char* CDSHelper::GetText(int position) const {
  const DMSAppString* entry = GetString(position);
  return entry != nullptr ? entry->ReadString() : "";
}

const char* CDSHelper::ScannerProtocolInfoList() { return kScannerProtocolInfo; }
