#include "upnp_cds_object.h"
#include "text_util.h"

#include <cstring>
#include <memory>
#include <new>

#include "action_info.h"
#include "cds_helper.h"
#include "container_info.h"
#include "contents_enumerator_argument.h"
#include "directory_scanner.h"
#include "dms_content_engine.h"
#include "dms_list.h"
#include "dms_server.h"
#include "dms_string.h"
#include "nuv_log.h"
#include "upload_extensions.h"
#include "upload_names.h"
#include "xml_escape.h"

namespace {

constexpr const char* kAnyContainer = "DLNA.ORG_AnyContainer";
constexpr const char* kRootID = "0";
constexpr const char* kProfileKey = "DLNA.ORG_PN=";
constexpr const char* kDefaultAddress = "127.0.0.1";

constexpr int kInvalidArgs = 402;
constexpr int kNoSuchObject = 701;
constexpr int kNoSuchContainer = 710;
constexpr int kBadMetadata = 712;
constexpr int kRestrictedParent = 713;
constexpr int kCannotProcess = 720;

// A value placed inside the Result: escaped for DIDL-Lite and once more for
// the SOAP argument it travels in. Plain names and classes come out as
// they went in; a title with "&" or "<" still gives a well-formed reply.
std::string resultValue(const std::string& value) {
  return dms::EscapeXmlText(dms::EscapeXmlText(value.c_str()).c_str());
}

// 1 image, 2 audio, 3 video by the class; 0 for any other class.
int contentTypeOfClass(const std::string& upnpClass) {
  if (upnpClass.compare(0, 21, "object.item.imageItem") == 0) return 1;
  if (upnpClass.compare(0, 21, "object.item.audioItem") == 0) return 2;
  if (upnpClass.compare(0, 21, "object.item.videoItem") == 0) return 3;
  return 0;
}

std::string profileOf(const std::string& protocolInfo) {
  const size_t at = protocolInfo.find(kProfileKey);
  if (at == std::string::npos) return "";
  const size_t from = at + strlen(kProfileKey);
  return protocolInfo.substr(from, protocolInfo.find(';', from) - from);
}

}  // namespace

UPnPCDSObject::UPnPCDSObject(DMSAppActionInfo* actionInfo,
                             UPnPAppCDSCommandResponseInterface* responder)
    : UPnPCDSImplInterface(actionInfo, responder), table_(CDSHelper::GetInstance()) {}

UPnPCDSObject::~UPnPCDSObject() = default;

int UPnPCDSObject::__ParseElementsArgument(DMSAppString* elements) {
  return dms_cds::ParseCreateObjectElements(elements, &elements_);
}

const char* UPnPCDSObject::GetFileExtensionFromProtocolInfo(DMSAppString* protocolInfo) {
  std::string kept, mimeType;
  if (!dms_cds::KeepProtocolInfo(text_util::stringOf(protocolInfo), &kept, &mimeType))
    return nullptr;
  return dms_cds::UploadExtensionForMime(mimeType);
}

int UPnPCDSObject::RegisterItem(DMSAppString* containerID, DMSAppString* elements) {
  return CreateItem(containerID, elements);
}

std::string UPnPCDSObject::importUriBase() const {
  std::string address = kDefaultAddress;
  const DMSAppActionInfo* record = GetActionInfo();
  std::unique_ptr<DMSAppString> local(
      record == nullptr || record->ReadIPAddress() == nullptr
          ? nullptr
          : DMSAppDMSGetClientInterfaceIPAddressMA(record->ReadIPAddress()->ReadString()));
  if (!text_util::stringOf(local.get()).empty()) address = text_util::stringOf(local.get());
  return "http://" + address + ":" + std::to_string(DMSAppGetHTTPStreamingPort()) +
         dms_upload::kUploadUrlPath;
}

ContentsEnumeratorArgument* UPnPCDSObject::makeItemRecord(int contentType, const char* extension,
                                                          int* code) {
  std::unique_ptr<DMSAppString> shared(DMSAppGetDMSSharedFilePath());
  std::string folder = text_util::stringOf(shared.get());
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  if (folder.empty()) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSObject] No shared file folder for uploads CreateItem()");
    *code = kCannotProcess;
    return nullptr;
  }
  // The file name doubles as the record's title: the engine appends the
  // title to the import URI, and renames both when the name is taken.
  const std::string name = dms_upload::MakeUploadFileName(elements_.title, extension);
  std::string profile = profileOf(elements_.protocolInfo);
  if (profile.empty()) {
    NUVPrintf(NUV_LOG_INFO, "[UPnPCDSObject] Profile Name not found CreateItem()");
  }
  std::unique_ptr<ContentsEnumeratorArgument> record(new (std::nothrow)
                                                         ContentsEnumeratorArgument());
  *code = 1;
  if (record == nullptr) return nullptr;
  record->SetContentType(contentType);
  DMSAppString* parent = dms_cds::newString(container_);
  DMSAppString* path = dms_cds::newString(folder + "/" + name);
  DMSAppString* title = dms_cds::newString(name);
  DMSAppString* dlnaProfile = dms_cds::newString(profile);
  DMSAppString* mimeType = dms_cds::newString(elements_.mimeType);
  DMSAppString* importURI = dms_cds::newString(importUriBase());
  record->SetContentParentID(parent);
  record->SetFilePath(path);
  record->SetTitle(title);
  record->SetDLNAPN(dlnaProfile);
  record->SetMimetypeString(mimeType);
  record->SetImportURI(importURI);  // owned by the record from here on
  if (parent == nullptr || path == nullptr || title == nullptr || dlnaProfile == nullptr ||
      mimeType == nullptr || importURI == nullptr) {
    return nullptr;
  }
  *code = 0;
  return record.release();
}

int UPnPCDSObject::CreateItem(DMSAppString* containerID, DMSAppString* elements) {
  if (containerID == nullptr || elements == nullptr || table_ == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSObject] Invalid Argument - CreateObject");
    return endAction(kInvalidArgs, nullptr);
  }
  if (const int code = __ParseElementsArgument(elements)) return endAction(code, nullptr);

  // Step 1: the parent.
  container_ = text_util::stringOf(containerID);
  if (container_ == kAnyContainer) container_ = kRootID;
  DMSAppString parentID(container_.c_str());
  std::unique_ptr<ContainerPublicInfo> parent(NUVCEGetContainerInfo(GetID(), &parentID));
  if (parent == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSObject] No such container CreateItem()");
    return endAction(kNoSuchContainer, nullptr);
  }
  if (text_util::stringOf(parent->GetAccessRestriction()) == "1") {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSObject] Restricted parent container CreateItem()");
    return endAction(kRestrictedParent, nullptr);
  }
  // Step 2: a container is made at once.
  if (dms_cds::IsContainerClass(elements_.upnpClass)) {
    NUVPrintf(NUV_LOG_INFO,
              "[UPnPCDSObject] UPnPClass Argument is Create Container-- CreateItem()");
    DMSAppString name(elements_.title.c_str());
    DMSAppString upnpClass(elements_.upnpClass.c_str());
    std::unique_ptr<DMSAppString> created(
        NUVCECreateContainer(GetID(), &parentID, &name, &upnpClass));
    if (created == nullptr) return endAction(kCannotProcess, nullptr);
    return __GenerateContainerResponse(created.get());
  }
  // Steps 3 to 5: the file it will be, its profile and its kind.
  const int contentType = contentTypeOfClass(elements_.upnpClass);
  if (contentType == 0) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSObject] Invalid UPnPClass Argument CreateItem()");
    return endAction(kBadMetadata, nullptr);
  }
  DMSAppString protocolInfo(elements_.protocolInfo.c_str());
  const char* extension = GetFileExtensionFromProtocolInfo(&protocolInfo);
  // A file the scanner would not take could never become content.
  if (extension == nullptr ||
      !DirectoryScanner::IsMediaFileName((std::string("upload") + extension).c_str())) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSObject] No upload of MIME type \"%s\" CreateItem()",
              elements_.mimeType.c_str());
    return endAction(kBadMetadata, nullptr);
  }
  int code = 0;
  ContentsEnumeratorArgument* record = makeItemRecord(contentType, extension, &code);
  if (record == nullptr) return endAction(code, nullptr);
  // Step 6: the engine answers on its own thread, maybe before this returns.
  if (NUVCECreateContent(GetID(), &parentID, record) != 0) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSObject] Content creation refused by the engine!!!");
    return endAction(1, nullptr);
  }
  return 0;
}

int UPnPCDSObject::answerCreated(const std::string& objectID, const std::string& didl) {
  DMSCDSList* out = new (std::nothrow) DMSCDSList();
  if (out == nullptr ||
      dms_cds::appendArgument(out, "ObjectID", dms_cds::newString(objectID)) != 0 ||
      dms_cds::appendArgument(out, "Result", dms_cds::newString(didl)) != 0) {
    dms_cds::deleteArgumentList(out);
    return endAction(1, nullptr);
  }
  return endAction(0, out);
}

int UPnPCDSObject::__GenerateItemResponse(NUVCDSWL_RES_RESULT result, DMSCDSList* list) {
  if (result != NUVCDSWL_RES_SUCCESS) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSObject] Error Response From PAL err %d",
              static_cast<int>(result));
    return endAction(1, nullptr);
  }
  if (list == nullptr || list->Size() < 2) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSObject] Error Response From PAL CEA list empty");
    return endAction(1, nullptr);
  }
  const std::string id = text_util::stringOf(static_cast<DMSAppString*>(list->ReadFirstItemData()));
  const auto* record = static_cast<ContentsEnumeratorArgument*>(list->ReadLastItemData());
  if (id.empty() || record == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSObject] Error Response From PAL ItemID = null");
    return endAction(1, nullptr);
  }
  const std::string objectID = container_ + "$" + id;
  std::string didl = table_->GetText(CDSHelper::kDidlHead);
  didl += "&lt;item id=\"" + resultValue(objectID) + "\" parentID=\"" + resultValue(container_) +
          "\" restricted=\"0\" &gt;\r\n";
  didl += "&lt;dc:title&gt;" + resultValue(elements_.title) + "&lt;/dc:title&gt;\r\n";
  didl += "&lt;upnp:class&gt;" + resultValue(elements_.upnpClass) + "&lt;/upnp:class&gt; \r\n";
  didl += "&lt;res protocolInfo=\"" + resultValue(elements_.protocolInfo) + "\" importUri=\"" +
          resultValue(text_util::stringOf(record->GetImportURI())) + "\"&gt;&lt;/res&gt; \r\n";
  didl += "&lt;/item&gt;\r\n";
  didl += table_->GetText(CDSHelper::kDidlTail);
  NUVPrintf(NUV_LOG_INFO,
            "[UPnPCDSObject] Sending response for Create Object  __GenerateItemResponse()");
  return answerCreated(objectID, didl);
}

int UPnPCDSObject::__GenerateContainerResponse(const DMSAppString* containerID) {
  const std::string id = text_util::stringOf(containerID);
  std::string result = table_->GetText(CDSHelper::kDidlHead);
  result += "&lt;container id=\"" + resultValue(id) + "\" parentID=\"" + resultValue(container_) +
            "\" restricted=\"0\" childCount=\"0\"&gt;\r\n";
  // The values stand between quote characters, as control points have
  // always seen them.
  result += "&lt;dc:title&gt;\"" + resultValue(elements_.title) + "\"&lt;/dc:title&gt;\r\n";
  result +=
      "&lt;upnp:class&gt;\"" + resultValue(elements_.upnpClass) + "\"&lt;/upnp:class&gt; \r\n";
  result += "&lt;/container&gt;\r\n";
  result += table_->GetText(CDSHelper::kDidlTail);
  NUVPrintf(NUV_LOG_INFO,
            "[UPnPCDSObject] Sending response for Create Object Container "
            "__GenerateContainerResponse()");
  return answerCreated(id, result);
}

int UPnPCDSObject::RemoveItem(DMSAppString* objectID) {
  // Steps 1 and 2.
  const std::string id = text_util::stringOf(objectID);
  if (id.empty()) return endAction(kInvalidArgs, nullptr);
  if (id == kRootID) return endAction(kNoSuchObject, nullptr);
  const size_t dollar = id.find('$');
  if (dollar == std::string::npos || dollar + 1 == id.size()) {
    return endAction(kNoSuchObject, nullptr);
  }
  DMSAppString parentID(id.substr(0, dollar).c_str());
  DMSAppString contentID(id.substr(dollar + 1).c_str());
  // Step 3.
  std::unique_ptr<ContainerPublicInfo> container(NUVCEGetFirstContainer(GetID()));
  while (container != nullptr) {
    if (container->GetID() != nullptr && container->GetID()->CompareI(&parentID) == 0) {
      if (text_util::stringOf(container->GetAccessRestriction()) == "1") {
        return endAction(kRestrictedParent, nullptr);
      }
      break;
    }
    DMSAppString previous(text_util::stringOf(container->GetID()).c_str());
    container.reset(NUVCEGetNextContainer(GetID(), &previous));
  }
  // Step 4: the engine's answer ends the action, maybe before this returns.
  if (NUVCEDestroyContent(GetID(), &parentID, &contentID) != 0) {
    return endAction(kNoSuchObject, nullptr);
  }
  return 0;
}

int UPnPCDSObject::NotifyCommandResponse(int /*id*/, NUVCDSWL_RES_TYPE type,
                                         NUVCDSWL_RES_RESULT result, int /*value*/,
                                         DMSAppString* /*text*/, DMSCDSList* list) {
  switch (type) {
    case NUVCDSWL_RES_CONTENT_CREATED:
      __GenerateItemResponse(result, list);
      return 0;
    case NUVCDSWL_RES_CONTENT_DESTROYED:
      // A destruction that failed found no such object in that container.
      if (result != NUVCDSWL_RES_SUCCESS) {
        endAction(kNoSuchObject, nullptr);
        return 0;
      }
      endAction(0, new (std::nothrow) DMSCDSList());
      return 0;
    default:
      NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSObject] Invalid case in switch cmd NotifyCommandResponse");
      return 1;
  }
}
