// Argument decoders of CreateObject, ImportResource, ExportResource,
// DestroyObject, StopTransferResource and GetTransferProgress, and the
// helpers shared with the Browse decoder.
#include "action_arguments.h"

#include <cstring>

#include "cds_limits.h"
#include "dms_conversions.h"
#include "nuv_log.h"

namespace dms_cds {
namespace {

bool isEmpty(const DMSAppString& s) {
  return s.ReadString() == nullptr || s.ReadString()[0] == '\0';
}

// An XML-unescaped copy of `value` into `*out`: 0, or 1 when memory runs out.
int storeUnescaped(DMSAppString& value, std::unique_ptr<DMSAppString>* out) {
  out->reset(DMSAppConversions::DMSAppUnescapeXmlValue(&value));
  return *out != nullptr ? 0 : 1;
}

int storeCopy(const DMSAppString& value, std::unique_ptr<DMSAppString>* out) {
  out->reset(copyString(&value));
  return *out != nullptr ? 0 : 1;
}

int refuseUnknownName(const char* handler, int code) {
  NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::%s] Invalid Argument!!!", handler);
  return code;
}

// StopTransferResource and GetTransferProgress: one "TransferID", not empty
// and not "0" (TransferIDs start at 1).
int decodeTransferID(DMSAppActionInfo* record, const char* handler, int unknownNameCode,
                     std::unique_ptr<DMSAppString>* transferID) {
  if (argumentCount(record) != kSingleIdArguments) return refuseArgumentCount(handler);
  return forEachArgument(record, [&](const DMSAppString& name, DMSAppString& value) {
    if (name.CompareI("TransferID") != 0) return refuseUnknownName(handler, unknownNameCode);
    if (isEmpty(value)) return refuseUnknownName(handler, 402);
    if (value.Compare("0") == 0) {
      NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::%s] Invalid TransferID, it is started from 1!!!",
                handler);
      return 402;
    }
    return storeCopy(value, transferID);
  });
}

}  // namespace

std::unique_ptr<DMSAppString> copyBytes(const DMSAppString& s, unsigned int start,
                                        unsigned int count) {
  std::unique_ptr<DMSAppString> copy(new (std::nothrow) DMSAppString(count + 1));
  if (copy == nullptr || copy->ReadString() == nullptr) return nullptr;
  if (count != 0) {
    memcpy(copy->ReadString(), s.ReadString() + start, count);
    copy->SetStringLength(count);
  }
  return copy;
}

std::unique_ptr<DMSAppString> textAfterFirstDollar(const DMSAppString& s) {
  const char* text = s.ReadString() != nullptr ? s.ReadString() : "";
  const unsigned int length = static_cast<unsigned int>(strlen(text));
  const char* dollar = strchr(text, '$');
  if (dollar == nullptr) return std::unique_ptr<DMSAppString>(copyString(&s));
  const unsigned int after = static_cast<unsigned int>(dollar - text) + 1;
  return copyBytes(s, after, length - after);
}

int refuseArgumentCount(const char* handler) {
  NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::%s] Invalid arguments!!!, UPnPError = %d", handler, 402);
  return 402;
}

int decodeCreateObjectArguments(DMSAppActionInfo* record, CreateObjectRequest* out) {
  if (argumentCount(record) < kCreateObjectMinArguments)
    return refuseArgumentCount("__CreateObject");
  return forEachArgument(record, [out](const DMSAppString& name, DMSAppString& value) {
    if (name.CompareI("ContainerID") == 0) {
      out->containerID = textAfterFirstDollar(value);
      return out->containerID != nullptr ? 0 : 1;
    }
    if (name.CompareI("Elements") == 0) {
      if (isEmpty(value)) {
        NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::__CreateObject] Invalid Argument in CreateObject");
        return 402;
      }
      return storeUnescaped(value, &out->elements);
    }
    return refuseUnknownName("__CreateObject", 402);
  });
}

// ImportResource logs under the CreateObject prefix, count failure included:
// existing log filters on the camera match these exact lines.
int decodeImportResourceArguments(DMSAppActionInfo* record, ResourceRequest* out) {
  if (argumentCount(record) != kResourceArguments) return refuseArgumentCount("__CreateObject");
  return forEachArgument(record, [out](const DMSAppString& name, DMSAppString& value) {
    if (name.CompareI("SourceURI") == 0) {
      if (isEmpty(value)) {
        NUVPrintf(NUV_LOG_ERROR,
                  "[UPnPAppCDS::__CreateObject] Invalid Argument in Import resource");
        return 402;
      }
      return storeUnescaped(value, &out->sourceURI);
    }
    if (name.CompareI("DestinationURI") == 0) {
      if (isEmpty(value)) {
        NUVPrintf(NUV_LOG_ERROR,
                  "[UPnPAppCDS::__CreateObject] Invalid Argument in import resource");
        return 402;
      }
      return storeUnescaped(value, &out->destinationURI);
    }
    return refuseUnknownName("__CreateObject", 402);
  });
}

int decodeExportResourceArguments(DMSAppActionInfo* record, ResourceRequest* out) {
  if (argumentCount(record) != kResourceArguments) return refuseArgumentCount("__ExportResource");
  return forEachArgument(record, [out](const DMSAppString& name, DMSAppString& value) {
    const bool source = name.CompareI("SourceURI") == 0;
    if (!source && name.CompareI("DestinationURI") != 0)
      return refuseUnknownName("__ExportResource", 402);
    if (isEmpty(value)) {
      NUVPrintf(NUV_LOG_ERROR,
                "[UPnPAppCDS::__ExportResource] Invalid Argument in Export resource");
      return 402;
    }
    return storeUnescaped(value, source ? &out->sourceURI : &out->destinationURI);
  });
}

int decodeDestroyObjectArguments(DMSAppActionInfo* record,
                                 std::unique_ptr<DMSAppString>* objectID) {
  if (argumentCount(record) != kSingleIdArguments) return refuseArgumentCount("__DestroyObject");
  return forEachArgument(record, [objectID](const DMSAppString& name, DMSAppString& value) {
    if (name.CompareI("ObjectID") != 0) return refuseUnknownName("__DestroyObject", 402);
    if (isEmpty(value)) {
      NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::__DestroyObject] Invalid Argument in Destroy object");
      return 402;
    }
    return storeCopy(value, objectID);
  });
}

// An unknown name is a general failure here (501) but 402 for
// GetTransferProgress: control points were written against each answer.
int decodeStopTransferResourceArguments(DMSAppActionInfo* record,
                                        std::unique_ptr<DMSAppString>* transferID) {
  return decodeTransferID(record, "__StopTransferResource", 1, transferID);
}

int decodeGetTransferProgressArguments(DMSAppActionInfo* record,
                                       std::unique_ptr<DMSAppString>* transferID) {
  return decodeTransferID(record, "__GetTransferProgress", 402, transferID);
}

}  // namespace dms_cds
