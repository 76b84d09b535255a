// UPnPCDSUtils: containers and items as DIDL-Lite pieces, with the res
// elements of each item.
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "browse_search_argument.h"
#include "cds_helper.h"
#include "container_info.h"
#include "contents_enumerator_argument.h"
#include "contents_res_generator.h"
#include "dms_camera.h"
#include "dms_list.h"
#include "dms_server.h"
#include "dms_string.h"
#include "media_db_schema.h"
#include "nuv_dms.h"
#include "nuv_log.h"
#include "temporary_contents_manager.h"
#include "upnp_cds_utils.h"

namespace {

bool hasText(const DMSAppString* text) { return text != nullptr && text->GetStringLength() > 0; }

// Length limits of element values once escaped twice.
constexpr int kTextLimit = 256;
constexpr int kShortLimit = 128;
constexpr int kResLimit = 2048;
// Share mode 2 (a TV) shows fewer metadata fields and frame rates in res.
constexpr int kShareModeTv = 2;
constexpr int kItemObjectType = 50;

const char* textOf(const DMSAppString* s) {
  return s != nullptr && s->ReadString() != nullptr ? s->ReadString() : "";
}

bool present(const DMSAppString* s) { return textOf(s)[0] != '\0'; }

// One property element appended to an object's text; a property the
// writer refuses adds nothing.
void addProperty(std::string* out, const char* tag, const char* attributes,
                 const DMSAppString* value, int limit) {
  dms_cds::appendProperty(out, tag, attributes, value != nullptr ? value->ReadString() : nullptr,
                          limit);
}

// An object's text, built whole and appended as one piece: a piece per
// element costs three allocations each, a hundred times per page.
std::string& objectText() {
  thread_local std::string text;
  text.clear();
  return text;
}

int itemClassEntry(int contentType) {
  switch (contentType) {
    case media_db::kImageKind:
      return CDSHelper::kClassPhoto;
    case media_db::kAudioKind:
      return CDSHelper::kClassMusicTrack;
    case media_db::kVideoKind:
      return CDSHelper::kClassMovie;
    default:
      return CDSHelper::kClassItem;
  }
}

// The import URI of the temporary content stored at the record's path (an
// upload not finished yet), or null.
std::unique_ptr<DMSAppString> pendingImportURI(const ContentsEnumeratorArgument* record) {
  TemporaryContentsManager* temporary = TemporaryContentsManager::existingInstance();
  if (temporary == nullptr || record->GetFilePath() == nullptr) return nullptr;
  std::string path =
      std::string(textOf(record->GetFilePath())) + "/" + textOf(record->GetFileName());
  DMSAppString fullPath(path.c_str());
  std::unique_ptr<DMSAppString> importURI;
  const std::optional<TempContentSnapshot> entry = temporary->findContent(&fullPath);
  if (entry) {
    NUVPrintf(NUV_LOG_INFO, "Stil present in TempContentsManager -- %s  importURI:%s",
              entry->contentID.c_str(), entry->importURI.c_str());
    importURI.reset(new (std::nothrow) DMSAppString(entry->importURI.c_str()));
  }
  return importURI;
}

// Builds one res of `kind` and appends it. A content awaiting its upload
// names its import URI and has a single blank instead of the URI.
int addRes(std::string* out, ContentsResGenerator* generator, ContentsResGenerator::ResKind kind,
           const char* failure, const DMSAppString* importURI) {
  thread_local std::string attributes;
  thread_local std::string uri;
  if (generator->BuildRes(kind, &attributes, &uri) != 0) {
    NUVPrintf(NUV_LOG_ERROR, "%s", failure);
    return 1;
  }
  if (importURI != nullptr) {
    std::unique_ptr<DMSAppString> escaped(dms_cds::escapeTwice(importURI));
    attributes.append("importUri = \"").append(textOf(escaped.get())).append("\"");
    uri.assign(" ");
  }
  dms_cds::appendProperty(out, "res", attributes, uri.c_str(), kResLimit);
  return 0;
}

}  // namespace

int UPnPCDSUtils::writeContainer(BrowseSearchArgument* argument, const DMSAppString* id,
                                 const DMSAppString* parentID, const DMSAppString* restricted,
                                 const DMSAppString* name, const DMSAppString* upnpClass,
                                 DMSCDSList* pieces) {
  if (argument == nullptr || pieces == nullptr || id == nullptr) return 1;
  const DMSAppString* filter = argument->GetFilter();
  std::string& text = objectText();
  text.append("&lt;container id=\"").append(textOf(id)).append("\" parentID=\"");
  text.append(textOf(parentID)).append("\" restricted=\"").append(textOf(restricted)).append("\" ");
  if (checkFilter(filter, "searchable")) text.append("searchable=\"1\"");
  text.append("&gt;\r\n");
  if (id->CompareI("0") == 0 && checkFilter(filter, "includeDerived"))
    text.append("&lt;upnp:searchClass includeDerived=\"1\"&gt;object&lt;/upnp:searchClass&gt;\r\n");
  addProperty(&text, "dc:title", " ", name, kTextLimit);
  addProperty(&text, "upnp:class", " ", upnpClass, kTextLimit);
  text.append("&lt;/container&gt;\r\n");
  return dms_cds::appendPiece(pieces, text.c_str());
}

int UPnPCDSUtils::__GenerateContainerProperty(BrowseSearchArgument* argument,
                                              ContainerPublicInfo* container, DMSCDSList* pieces) {
  if (container == nullptr) return 1;
  return writeContainer(argument, container->GetID(), container->GetParentID(),
                        container->GetAccessRestriction(), container->GetName(),
                        container->GetUPnPClass(), pieces);
}

int UPnPCDSUtils::GenerateContainerFromRecord(BrowseSearchArgument* argument,
                                              ContentsEnumeratorArgument* record,
                                              DMSCDSList* pieces) {
  if (record == nullptr) return 1;
  CDSHelper* table = CDSHelper::GetInstance();
  DMSAppString restricted("0");
  DMSAppString containerClass(table != nullptr ? table->GetText(CDSHelper::kClassContainer)
                                               : "object.container");
  return writeContainer(argument, record->GetContentID(), record->GetContentParentID(), &restricted,
                        record->GetTitle(), &containerClass, pieces);
}

int UPnPCDSUtils::writeResSet(ContentsEnumeratorArgument* record, ContentsResGenerator* generator,
                              const DMSAppString* importURI, bool singlePass, std::string* out) {
  using G = ContentsResGenerator;
  // The single-pass lines of the video res end in a line feed; log filters
  // match both forms.
  const char* videoFailure = singlePass ? "[UPnPCDSUtil] Res Generation FAIL!!!\n"
                                        : "[UPnPCDSUtil] Res Generation FAIL!!!";
  const char* videoThumbFailure = singlePass
                                      ? "[UPnPCDSUtil] Video Thumbnail Res Generation FAIL!!!\n"
                                      : "[UPnPCDSUtil] Video Thumbnail Res Generation FAIL!!!";
  switch (record->GetContentType()) {
    case media_db::kAudioKind:
      if (record->GetAlbumArtIncludeFlag() &&
          addRes(out, generator, G::kAlbumArtRes, "[UPnPCDSUtil] MP3 Res Generation FAIL!!!\n",
                 importURI) != 0)
        return 1;
      return addRes(out, generator, G::kMp3Res, "[UPnPCDSUtil] MP3 Res Generation FAIL!!!\n",
                    importURI);
    case media_db::kVideoKind:
      if (addRes(out, generator, G::kVideoRes, videoFailure, importURI) != 0) return 1;
      return addRes(out, generator, G::kVideoThumbRes, videoThumbFailure, importURI);
    case media_db::kImageKind:
      if (addRes(out, generator, G::kJpegRes, "[UPnPCDSUtil] JPEG Res Generation FAIL!!!",
                 importURI) != 0)
        return 1;
      if (record->GetThumbUri() != nullptr &&
          addRes(out, generator, G::kJpegThumbRes,
                 "[UPnPCDSUtil] JPEG Thumbnail Res Generation FAIL!!!", importURI) != 0)
        return 1;
      // The screennail res goes with the thumbnail URI; a photo without a
      // screennail of its own (no screennail URI) would get a res naming no
      // resource at all, so it gets none.
      if (record->GetThumbUri() != nullptr && hasText(record->GetScreenUri()) &&
          (record->GetDLNAPN() == nullptr || record->GetDLNAPN()->Compare("JPEG_SM") != 0) &&
          addRes(out, generator, G::kJpegScreenRes,
                 "[UPnPCDSUtil] JPEG Screennail Res Generation FAIL!!!", importURI) != 0)
        return 1;
      return 0;
    default:
      return 0;
  }
}

int UPnPCDSUtils::__GenerateItemProperty(BrowseSearchArgument* argument,
                                         ContentsEnumeratorArgument* record, DMSCDSList* pieces) {
  if (argument == nullptr || record == nullptr || pieces == nullptr) return 1;
  if (record->GetObjectType() != kItemObjectType) return 1;
  const DMSAppString* filter = argument->GetFilter();
  const int type = record->GetContentType();
  const char* parent = textOf(record->GetContentParentID());
  std::string& text = objectText();
  text.append("&lt;item id=\"").append(parent).append("$").append(textOf(record->GetContentID()));
  text.append("\" parentID=\"").append(parent);
  text.append(checkFilter(filter, "@dlna:dlnaManaged")
                  ? "\" restricted=\"0\" dlna:dlnaManaged=\"00000004\"&gt;\r\n"
                  : "\" restricted=\"0\" &gt;\r\n");

  const DMSAppString* title =
      present(record->GetTitle()) ? record->GetTitle() : record->GetFileName();
  if (checkFilter(filter, "dc:title")) addProperty(&text, "dc:title", " ", title, kTextLimit);
  const int shareMode = GetAllShareMode();
  if (shareMode != kShareModeTv) {
    struct Field {
      const char* property;
      const char* tag;
      const char* attributes;
      const DMSAppString* value;
      int limit;
      bool composer;  // also asked for by "Composer"
    };
    const Field fields[] = {
        {"dc:creator", "dc:creator", " ", record->GetCreator(), kTextLimit, false},
        {"upnp:artist", "upnp:artist", " ", record->GetArtist(), kTextLimit, false},
        {"upnp:author", "upnp:author", " role=\"Composer\"", record->GetAuthor(), kTextLimit, true},
        {"upnp:album", "upnp:album", " ", record->GetAlbum(), kTextLimit, false},
        {"upnp:genre", "upnp:genre", " ", record->GetGenre(), kTextLimit, false},
        {"upnp:originalTrackNumber", "upnp:originalTrackNumber", " ", record->GetTrackNumber(),
         kShortLimit, false}};
    for (const Field& field : fields) {
      bool asked = checkFilter(filter, field.property) != 0;
      if (field.composer) asked = asked || checkFilter(filter, "Composer") != 0;
      if (asked) addProperty(&text, field.tag, field.attributes, field.value, field.limit);
    }
  }
  const DMSAppString* date = record->GetDate();
  if (checkFilter(filter, "dc:date") && present(date) && date->Compare("0:00:00") != 0)
    addProperty(&text, "dc:date", " ", date, kShortLimit);

  ContentsResGenerator generator(argument->GetBaseURL(), record);
  generator.SetmbNeedSize(checkFilter(filter, "size") != 0);
  generator.SetmbNeedBitrate(type != 1 && checkFilter(filter, "bitrate") != 0);
  generator.SetmbNeedFramerate(type != 1 && shareMode == kShareModeTv &&
                               checkFilter(filter, "framerate") != 0);
  generator.SetmbNeedDuration(type != 1 && checkFilter(filter, "duration") != 0);
  generator.SetmbNeedResolution(type != 2 && checkFilter(filter, "resolution") != 0);
  generator.SetmbNeedProtocolInfo(checkFilter(filter, "protocolInfo") != 0);
  if (checkFilter(filter, "res")) {
    std::unique_ptr<DMSAppString> importURI = pendingImportURI(record);
    if (checkFilter(filter, "ALLIP")) {
      stNUVAppList* interfaces = nullptr;
      const int result = NUVGetNetworkInterfaceList(&interfaces);
      if (result != 0) {
        NUVPrintf(NUV_LOG_ERROR,
                  "[UPnPCDSUtils::__GenerateItemProperty] NUVGetNetworkInterfaceList returned "
                  "error %d.",
                  result);
        return 1;
      }
      const int count = HNUVGetNoOfNetworkInterfaceFromResponse(interfaces);
      bool failed = false;
      for (int i = 0; i < count && !failed; ++i) {
        char* name = nullptr;
        char* address = nullptr;
        if (HNUVGetNetworkInfoFromResponse(interfaces, i, &name, &address) != 0) continue;
        DMSAppString base(("http://" + std::string(address != nullptr ? address : "") + ":" +
                           std::to_string(DMSAppGetHTTPStreamingPort()))
                              .c_str());
        generator.SetmURLBase(&base);
        failed = writeResSet(record, &generator, importURI.get(), false, &text) != 0;
      }
      NUVReleaseNetworkInterfaceList(interfaces);
      generator.SetmURLBase(argument->GetBaseURL());
      if (failed) return 1;
    } else if (writeResSet(record, &generator, importURI.get(), true, &text) != 0) {
      return 1;
    }
  }
  CDSHelper* table = CDSHelper::GetInstance();
  DMSAppString itemClass(table != nullptr ? table->GetText(itemClassEntry(type)) : "object.item");
  addProperty(&text, "upnp:class", " ", &itemClass, kTextLimit);
  text.append("&lt;/item&gt;\r\n");
  return dms_cds::appendPiece(pieces, text.c_str());
}
