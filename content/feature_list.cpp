// CDSTreeManager: the basic-view feature (the X_GetFeatureList document) and
// the default-container setting that chooses what it offers.
#include <cstdlib>
#include <memory>
#include <string>

#include "cds_tree_manager.h"
#include "dms_mem_ptr.h"
#include "dms_platform.h"
#include "dms_string.h"
#include "nuv_config.h"
#include "text_util.h"
#include "xml_escape.h"

namespace {

constexpr const char* kDefaultContainerKey = "DefaultContainer";
constexpr const char* kBasicViewKey = "BASICVIEW-CONTAINERS";
constexpr const char* kVendorDomainKey = "VENDOR-DOMAIN";
// Reserved for documentation (RFC 2606): a device build sets its own.
constexpr const char* kDefaultVendorDomain = "example.com";
constexpr const char* kDefaultViewIDs[3] = {"1", "2", "3"};
constexpr int kAllContainers = 7;

constexpr const char* kFeaturesOpen =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
    "<Features xmlns=\"urn:schemas-upnp-org:av:avs\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xsi:schemaLocation=\"urn:schemas-upnp-org:av:avs "
    "http://www.upnp.org/schemas/av/avs.xsd\"> ";
constexpr const char* kItemTypes[3] = {"object.item.imageItem", "object.item.audioItem",
                                       "object.item.videoItem"};

DMSAppMemText configuration(const char* key) { return DMSAppMemText(NUVGetConfigurationMA(key)); }

std::string trimmed(const std::string& text) {
  size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return std::string();
  size_t last = text.find_last_not_of(" \t");
  return text.substr(first, last - first + 1);
}

// A mask 0..7 in decimal; -1 for anything else.
int parseMask(const char* text) {
  if (text == nullptr || text[0] == '\0') return -1;
  char* end = nullptr;
  long value = strtol(text, &end, 10);
  if (*end != '\0' || value < 0 || value > kAllContainers) return -1;
  return static_cast<int>(value);
}

}  // namespace

void CDSTreeManager::readBasicViewSettings() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  int mask = parseMask(configuration(kDefaultContainerKey).get());
  defaultContainer_ = mask < 0 ? kAllContainers : mask;

  // "image,audio,video": an empty entry leaves that kind out of the view.
  auto configured = configuration(kBasicViewKey);
  std::string ids[3] = {kDefaultViewIDs[0], kDefaultViewIDs[1], kDefaultViewIDs[2]};
  if (configured != nullptr) {
    std::string list(configured.get());
    for (int i = 0; i < 3; ++i) {
      size_t comma = list.find(',');
      ids[i] = trimmed(list.substr(0, comma));
      list = comma == std::string::npos ? std::string() : list.substr(comma + 1);
    }
  }
  for (int i = 0; i < 3; ++i) {
    configuredViewIDs_[i].reset(ids[i].empty() ? nullptr : text_util::newText(ids[i]));
  }

  auto domain = configuration(kVendorDomainKey);
  vendorDomain_.reset(text_util::newText(
      (domain != nullptr && domain.get()[0] != '\0') ? domain.get() : kDefaultVendorDomain));
  applyBasicViewSetting();
}

void CDSTreeManager::applyBasicViewSetting() {
  std::unique_ptr<DMSAppString>* offered[3] = {&imageContainerID_, &audioContainerID_,
                                               &videoContainerID_};
  for (int i = 0; i < 3; ++i) {
    bool selected = (defaultContainer_ & (1 << i)) != 0;
    offered[i]->reset(selected ? text_util::copyOf(configuredViewIDs_[i].get()) : nullptr);
  }
}

int CDSTreeManager::SetSetDefaultContainer(int mask) {
  if (mask < 0 || mask > kAllContainers) return 1;
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  defaultContainer_ = mask;
  applyBasicViewSetting();
  return 0;
}

int CDSTreeManager::GetDefaultContainer() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return defaultContainer_;
}

DMSAppString* CDSTreeManager::GetBasicViewInformationMA() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  const char* domain = text_util::textOf(vendorDomain_.get());
  std::string document(kFeaturesOpen);
  document += "<Feature name=\"" +
              dms::EscapeXmlText(domain != nullptr ? domain : kDefaultVendorDomain) +
              "_BASICVIEW\" version=\"1\">";
  const DMSAppString* offered[3] = {imageContainerID_.get(), audioContainerID_.get(),
                                    videoContainerID_.get()};
  for (int i = 0; i < 3; ++i) {
    const char* id = text_util::textOf(offered[i]);
    if (id == nullptr) continue;
    document += "<container id=\"" + dms::EscapeXmlText(id) + "\" type=\"" + kItemTypes[i] + "\"/>";
  }
  document += "</Feature></Features>";
  return text_util::newText(document);
}
