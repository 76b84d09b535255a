#include "container_info.h"

#include "contents_enumerator.h"
#include "contents_enumerator_init_info.h"
#include "dms_string.h"
#include "text_util.h"

ContainerInfo::ContainerInfo(const char* id, const char* parentID, const char* name,
                             const char* upnpClass, ContentsEnumeratorInitInfo* initInfo,
                             const char* accessRestriction)
    : initInfo_(initInfo),
      id_(text_util::newText(id)),
      parentID_(text_util::newText(parentID)),
      name_(text_util::newText(name)),
      upnpClass_(text_util::newText(upnpClass)),
      accessRestriction_(text_util::newText(accessRestriction)) {}

// Out of line: the owned types are complete only here.
ContainerInfo::~ContainerInfo() = default;

bool ContainerInfo::IsComplete() const {
  return id_ != nullptr && parentID_ != nullptr && name_ != nullptr && upnpClass_ != nullptr &&
         initInfo_ != nullptr && accessRestriction_ != nullptr;
}

int ContainerInfo::ConnectCE(ContentsEnumerator* enumerator) {
  if (enumerator == nullptr || enumerator_ != nullptr) return 1;
  enumerator_.reset(enumerator);
  return 0;
}

ContainerPublicInfo::ContainerPublicInfo(const ContainerInfo& source)
    : id_(text_util::copyOf(source.GetID())),
      parentID_(text_util::copyOf(source.GetParentID())),
      name_(text_util::copyOf(source.GetName())),
      upnpClass_(text_util::copyOf(source.GetUPnPClass())),
      accessRestriction_(text_util::copyOf(source.GetAccessRestriction())) {}

ContainerPublicInfo::~ContainerPublicInfo() = default;

bool ContainerPublicInfo::IsComplete() const {
  return id_ != nullptr && parentID_ != nullptr && name_ != nullptr && upnpClass_ != nullptr &&
         accessRestriction_ != nullptr;
}
