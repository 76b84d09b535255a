// The ConnectionManager protocolInfo lists.
#include "protocol_info.h"

namespace dmsstack {

// "AVC_MP4_BL_L3_SD_ACC" is spelt as the media profile tables of the media
// server spell it, so that both lists agree on every name.
#define DMS_DLNA_PHOTO ";DLNA.ORG_OP=01;DLNA.ORG_FLAGS=00f00000000000000000000000000000"
#define DMS_DLNA_AV ";DLNA.ORG_OP=01;DLNA.ORG_FLAGS=01700000000000000000000000000000"

const char* const kSourceProtocolInfo =
    "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_SM" DMS_DLNA_PHOTO
    ","
    "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_TN" DMS_DLNA_PHOTO
    ","
    "http-get:*:audio/mpeg:DLNA.ORG_PN=MP3" DMS_DLNA_AV
    ","
    "http-get:*:audio/mp4:DLNA.ORG_PN=AAC_ISO_320" DMS_DLNA_AV
    ","
    "http-get:*:audio/3gpp:DLNA.ORG_PN=AAC_ISO_320" DMS_DLNA_AV
    ","
    "http-get:*:audio/vnd.dlna.adts:DLNA.ORG_PN=AAC_ADTS_320" DMS_DLNA_AV
    ","
    "http-get:*:video/mp4:DLNA.ORG_PN=AVC_MP4_BL_CIF15_AAC_520" DMS_DLNA_AV
    ","
    "http-get:*:video/mp4:DLNA.ORG_PN=AVC_MP4_BL_L2_CIF30_AAC" DMS_DLNA_AV
    ","
    "http-get:*:video/mp4:DLNA.ORG_PN=AVC_MP4_BL_L3_SD_ACC" DMS_DLNA_AV
    ","
    "http-get:*:audio/mpeg:*,"
    "http-get:*:audio/x-ms-wma:*,"
    "http-get:*:audio/wav:*,"
    "http-get:*:audio/mp4:*,"
    "http-get:*:application/ogg:*,"
    "http-get:*:image/jpeg:*,"
    "http-get:*:image/gif:*,"
    "http-get:*:video/mpeg:*,"
    "http-get:*:video/x-msvideo:*,"
    "http-get:*:video/avi:*,"
    "http-get:*:video/MP4V-ES:*,"
    "http-get:*:video/x-ms-wmv:*";

const char* const kSinkProtocolInfo = "";

#undef DMS_DLNA_PHOTO
#undef DMS_DLNA_AV

}  // namespace dmsstack
