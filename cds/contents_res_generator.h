// ContentsResGenerator: the attribute text and the URI of each res element
// of one item: DLNA protocolInfo with its fourth field, the optional size,
// bitrate, framerate, duration and resolution attributes, and the URI made of
// the base URL and the record's stored path.
//
// Output texts are escaped once for the DIDL-Lite markup level, ready for the
// writer (upnp_cds_utils.h), which escapes element values itself.
//
// Ownership: the record is borrowed for the generator's life; the base URL
// is copied. Builders fill the caller's strings. Thread safety: none; one
// generator serves one item on one thread.
#ifndef DMS_CDS_CONTENTS_RES_GENERATOR_H
#define DMS_CDS_CONTENTS_RES_GENERATOR_H

#include <string>

#include "dms_string.h"

class CDSHelper;
class ContentsEnumeratorArgument;

class ContentsResGenerator {
 public:
  // `urlBase` ("http://ADDRESS:PORT") is copied; null means "".
  ContentsResGenerator(const DMSAppString* urlBase, ContentsEnumeratorArgument* record);
  ContentsResGenerator(const ContentsResGenerator&) = delete;
  ContentsResGenerator& operator=(const ContentsResGenerator&) = delete;

  void SetmURLBase(const DMSAppString* urlBase);
  const DMSAppString* getmURLBase() const { return &mURLBase_; }
  void SetmbNeedSize(bool need) { mbNeedSize_ = need; }
  void SetmbNeedBitrate(bool need) { mbNeedBitrate_ = need; }
  void SetmbNeedFramerate(bool need) { mbNeedFramerate_ = need; }
  void SetmbNeedDuration(bool need) { mbNeedDuration_ = need; }
  void SetmbNeedResolution(bool need) { mbNeedResolution_ = need; }
  void SetmbNeedProtocolInfo(bool need) { mbNeedProtocolInfo_ = need; }

  // Each builder replaces `attributes` and `uri` and returns 0, or logs and
  // returns 1 when an output is null or there is no record. The URI stays
  // empty for a record without file path or name, or one that still has an
  // import URI (an object awaiting its upload).
  int BuildJPEGRes(DMSAppString* attributes, DMSAppString* uri);
  int BuildJPEGThumbRes(DMSAppString* attributes, DMSAppString* uri);
  int BuildJPEGScreenRes(DMSAppString* attributes, DMSAppString* uri);
  int BuildAlbumArtRes(DMSAppString* attributes, DMSAppString* uri);
  int BuildVideoRes(DMSAppString* attributes, DMSAppString* uri);
  int BuildVideoThumbRes(DMSAppString* attributes, DMSAppString* uri);
  int BuildMP3Res(DMSAppString* attributes, DMSAppString* uri);

  // The same res as the builder of that name, into std::strings: the
  // DIDL-Lite writer's form, which spares two DMSAppString copies per res.
  enum ResKind {
    kJpegRes,
    kJpegThumbRes,
    kJpegScreenRes,
    kAlbumArtRes,
    kVideoRes,
    kVideoThumbRes,
    kMp3Res
  };
  int BuildRes(ResKind kind, std::string* attributes, std::string* uri);

  // The fourth protocolInfo field of `profile` into `field`, and the short
  // profile tag ("DLNA-PN...-OP..-CI.") into `tag`. OP is "%d%d" of
  // time-seek and range when either is set. 0, or 1 for a null output.
  static int __BuildDLNA4thField(const char* profile, int range, int timeSeek, int ci,
                                 bool streaming, std::string* field, std::string* tag);
  // "%02x%02x%02x%02x" of the DLNA transfer-mode bits: `a` the first
  // byte's flag, `b` interactive (0x90, else 0x10), `c` background (+0x40).
  static int __BuildTransferModeFlags(DMSAppString* text, bool a, bool b, bool c);

 private:
  enum UriKind { kMainUri = 1, kThumbnailUri = 2, kScreennailUri = 3 };

  // The fourth field alone (a res needs no tag): `op` is the OP digits,
  // used when `hasOp`; a null `profile` counts as "".
  static void fourthField(const char* profile, bool hasOp, const char* op, int ci, bool streaming,
                          std::string* field);
  // Fills the five optional attribute texts from the record and the flags.
  void __SetExtraFlags();
  // The full attribute set of a main resource.
  void __BuildResAttributes(const std::string& fourthField, std::string* out);
  // The album-art form: import-URI text, `extra`, then protocolInfo.
  void __BuildExtraResAttributes(const char* extra, const char* mime,
                                 const std::string& fourthField, std::string* out);
  void __BuildThumbnailAttributes(const std::string& fourthField, std::string* out);
  void __BuildScreennailAttributes(const std::string& fourthField, std::string* out);
  // Shared by the two above: the thumbnail keeps width-first in the
  // size-and-resolution form and height-first otherwise; the screennail is
  // height-first in both. Kept so; control points have matched on it.
  void buildPreviewAttributes(int size, int first, int second, int bothFirst, int bothSecond,
                              const std::string& fourthField, std::string* out);
  void __BuildContentURI(UriKind kind, std::string* uri);
  // The main resources (JPEG, video, MP3): the record's profile and MIME type.
  void buildMainRes(bool streaming, std::string* attributes, std::string* uri);
  // The JPEG_TN / JPEG_SM previews.
  void buildPreviewRes(bool screennail, std::string* attributes, std::string* uri);
  void buildAlbumArtRes(std::string* attributes, std::string* uri);
  // A public builder's checks, then BuildRes into the DMSAppStrings.
  int buildInto(ResKind kind, const char* name, DMSAppString* attributes, DMSAppString* uri);

  DMSAppString mURLBase_;
  ContentsEnumeratorArgument* record_;
  bool mbNeedSize_ = false;
  bool mbNeedBitrate_ = false;
  bool mbNeedFramerate_ = false;
  bool mbNeedDuration_ = false;
  bool mbNeedResolution_ = false;
  bool mbNeedProtocolInfo_ = false;
  // The optional attribute texts, each ending in a blank or empty.
  std::string size_;
  std::string bitrate_;
  std::string framerate_;
  std::string duration_;
  std::string resolution_;
  std::string importUriText_;
  // Reused by every res of the item.
  std::string field_;
  CDSHelper* table_;
};

#endif  // DMS_CDS_CONTENTS_RES_GENERATOR_H
