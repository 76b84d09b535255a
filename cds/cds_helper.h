// CDSHelper: the process-wide table of fixed strings of the ContentDirectory
// layer: DLNA profile names, upnp:class values, the DIDL-Lite envelope, HTTP
// reply heads, ConnectionManager and ContentDirectory vocabulary, the source
// protocolInfo list and the camera-control action names. 86 entries, made
// whole on first use and freed whole.
//
// Positions are fixed (other layers and the camera side address entries by
// number); CDSHelper::Entry names the ones this library uses.
//
// Thread safety: GetInstance and DestroyInstance may be called from any
// thread; the strings are immutable once made, so readers need no lock. A
// pointer from GetString stays valid until DestroyInstance.
#ifndef DMS_CDS_CDS_HELPER_H
#define DMS_CDS_CDS_HELPER_H

class DMSAppString;

class CDSHelper {
 public:
  enum Entry {
    kProfileMP3 = 0,
    kProfileAacIso320 = 1,
    kProfileAacAdts320 = 2,
    kProfileAvcMp4BlCif15Aac520 = 3,
    kProfileJpegSm = 4,
    kProfileJpegMed = 5,
    kProfileJpegLrg = 6,
    kProfileJpegTn = 7,
    kClassContainer = 8,
    kClassMusicContainer = 9,
    kClassPictureContainer = 10,
    kClassVideoContainer = 11,
    kInvalid = 12,
    kClassItem = 13,
    kClassPhoto = 14,
    kClassMusicTrack = 15,
    kClassMovie = 16,
    kDidlHead = 17,
    kDidlEmpty = 18,
    kDidlTail = 19,
    kHttpOkHead = 20,
    kHttpErrorHead = 21,
    kMimeJpeg = 22,
    kMimeOctetStream = 23,
    kFirstConnectionManagerName = 24,  // "GetProtocolInfo" .. "A_ARG_TYPE_RcsID"
    kSourceProtocolInfo = 49,
    kMpegProfileNames = 50,
    kFirstContentDirectoryName = 51,  // "Browse" .. "Id"
    kFirstCameraCommand = 72,         // "GetInfomation" .. "touchAF"
    kEntryCount = 86
  };

  // Creates the table on first use. Null only when memory ran out (then no
  // table is kept and the next call tries again).
  static CDSHelper* GetInstance();
  static void DestroyInstance();

  // The entry at `position`, or null outside 0..85. Not a copy.
  const DMSAppString* GetString(int position) const;
  // Its text ("" outside the table).
  const char* GetText(int position) const;

  // The shorter protocolInfo list handed to the media scanner, which it
  // stores for the profiles it detects.
  static const char* ScannerProtocolInfoList();

 private:
  CDSHelper();
  ~CDSHelper();
  CDSHelper(const CDSHelper&) = delete;
  CDSHelper& operator=(const CDSHelper&) = delete;
  bool IsComplete() const;

  DMSAppString* entries_[kEntryCount];
};

#endif  // DMS_CDS_CDS_HELPER_H
