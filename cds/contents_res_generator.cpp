#include "contents_res_generator.h"

#include <cstring>
#include <memory>

#include "cds_helper.h"
#include "contents_enumerator_argument.h"
#include "nuv_log.h"
#include "upnp_cds_utils.h"

namespace {

// DLNA.ORG_FLAGS of streamed resources (audio, video: streaming and
// background transfer, DLNA 1.5) and of images (interactive and background).
constexpr const char* kStreamingFlags = "01500000000000000000000000000000";
constexpr const char* kImageFlags = "00D00000000000000000000000000000";

const char* textOf(const DMSAppString* s) {
  return s != nullptr && s->ReadString() != nullptr ? s->ReadString() : "";
}

bool present(const DMSAppString* s) { return textOf(s)[0] != '\0'; }

void logInvalid(const char* builder) {
  NUVPrintf(NUV_LOG_ERROR, "[CRG] Invalid Arguments!!! %s", builder);
}

// DMSAppString::Copy keeps the old text when memory runs out; report it.
int store(DMSAppString* out, const std::string& text) {
  out->Copy(text.c_str());
  return out->ReadString() != nullptr && out->GetStringLength() == text.size() ? 0 : 1;
}

std::string quoted(const char* name, const std::string& value) {
  return std::string(name) + "=\"" + value + "\" ";
}

// Appended, as every attribute text here is built: a chain of + makes a
// temporary string per piece, three res per photo, a hundred photos a page.
void appendProtocolInfo(std::string* out, const char* mime, const std::string& fourthField) {
  out->append("protocolInfo=\"http-get:*:").append(mime).append(":");
  out->append(fourthField.empty() ? "*" : fourthField.c_str()).append("\" ");
}

}  // namespace

ContentsResGenerator::ContentsResGenerator(const DMSAppString* urlBase,
                                           ContentsEnumeratorArgument* record)
    : mURLBase_(textOf(urlBase)), record_(record), table_(CDSHelper::GetInstance()) {}

void ContentsResGenerator::SetmURLBase(const DMSAppString* urlBase) {
  mURLBase_.Copy(textOf(urlBase));
}

int ContentsResGenerator::__BuildDLNA4thField(const char* profile, int range, int timeSeek, int ci,
                                              bool streaming, std::string* field,
                                              std::string* tag) {
  if (field == nullptr || tag == nullptr) return 1;
  const bool hasOp = range >= 1 || timeSeek >= 1;
  std::string op;
  if (hasOp) op = std::string(timeSeek >= 1 ? "1" : "0") + (range >= 1 ? "1" : "0");
  const char* pn = profile != nullptr ? profile : "";
  field->clear();
  if (strcmp(pn, "*") == 0) {
    field->append(hasOp ? "DLNA.ORG_OP=" : "*");
    if (hasOp) field->append(op);
  } else {
    field->append("DLNA.ORG_PN=").append(pn);
    if (hasOp) field->append(";DLNA.ORG_OP=").append(op);
    if (ci > 0) field->append(";DLNA.ORG_CI=").append(std::to_string(ci));
    field->append(";DLNA.ORG_FLAGS=").append(streaming ? kStreamingFlags : kImageFlags);
  }
  tag->assign("DLNA-PN").append(pn);
  if (hasOp) tag->append("-OP").append(op);
  tag->append("-CI").append(std::to_string(ci));
  return 0;
}

int ContentsResGenerator::__BuildTransferModeFlags(DMSAppString* text, bool a, bool b, bool c) {
  if (text == nullptr) return 1;
  char flags[16];
  snprintf(flags, sizeof flags, "%02x%02x%02x%02x", a ? 1 : 0, (b ? 0x90 : 0x10) + (c ? 0x40 : 0),
           0, 0);
  return store(text, flags);
}

void ContentsResGenerator::__SetExtraFlags() {
  size_.clear();
  bitrate_.clear();
  framerate_.clear();
  duration_.clear();
  resolution_.clear();
  importUriText_.clear();
  if (record_ == nullptr) return;
  if (mbNeedSize_ && present(record_->GetSize()))
    size_ = quoted("size", textOf(record_->GetSize()));
  const DMSAppString* bitrate = record_->GetAudioBitrate();
  if (mbNeedBitrate_ && present(bitrate) && bitrate->Compare("0") != 0)
    bitrate_ = quoted("bitrate", textOf(bitrate));
  if (mbNeedFramerate_ && record_->GetVideoFrameRate() > 0)
    framerate_ = quoted("framerate", std::to_string(record_->GetVideoFrameRate()));
  if (mbNeedDuration_ && present(record_->GetDuration()))
    duration_ = quoted("duration", textOf(record_->GetDuration()));
  const DMSAppString* resolution = record_->GetResolution();
  if (mbNeedResolution_ && present(resolution) && resolution->Compare("0x0") != 0)
    resolution_ = quoted("resolution", textOf(resolution));
  // An object created for upload names its import URI among the attributes
  // (escaped like a value: it carries the client's title).
  if (present(record_->GetImportURI())) {
    std::unique_ptr<DMSAppString> escaped(dms_cds::escapeTwice(record_->GetImportURI()));
    if (escaped != nullptr)
      importUriText_ = "importUri=\"" + std::string(textOf(escaped.get())) + "\"";
  }
}

int ContentsResGenerator::__BuildResAttributes(const std::string& fourthField, DMSAppString* out) {
  if (out == nullptr || record_ == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[CRG] Invalid args, __BuildResAttributes");
    return 1;
  }
  std::string text;
  text.reserve(160 + importUriText_.size());
  for (const std::string* part :
       {&importUriText_, &size_, &bitrate_, &framerate_, &duration_, &resolution_})
    text.append(*part).append(" ");
  appendProtocolInfo(&text, textOf(record_->GetMimeTypeString()), fourthField);
  return store(out, text);
}

int ContentsResGenerator::__BuildExtraResAttributes(const char* extra, const char* mime,
                                                    const std::string& fourthField,
                                                    DMSAppString* out) {
  if (out == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[CRG] Invalid args, __BuildResAttributes");
    return 1;
  }
  std::string text(importUriText_);
  text.append(" ").append(extra).append(" ");
  appendProtocolInfo(&text, mime, fourthField);
  return store(out, text);
}

int ContentsResGenerator::buildPreviewAttributes(int size, int first, int second, int bothFirst,
                                                 int bothSecond, const std::string& fourthField,
                                                 DMSAppString* out) {
  const char* mime = table_ != nullptr ? table_->GetText(CDSHelper::kMimeJpeg) : "image/jpeg";
  // A size or dimension the store does not know (0 or -1) is left out rather
  // than written as a number no control point could use.
  const bool withSize = mbNeedSize_ && size > 0;
  const bool withResolution = mbNeedResolution_ && first > 0 && second > 0;
  std::string text = " ";
  if (withSize) text += quoted("size", std::to_string(size));
  if (withSize && withResolution) {
    text += quoted("resolution", std::to_string(bothFirst) + "x" + std::to_string(bothSecond));
  } else if (withResolution) {
    text += quoted("resolution", std::to_string(first) + "x" + std::to_string(second));
  }
  appendProtocolInfo(&text, mime, fourthField);
  return store(out, text);
}

int ContentsResGenerator::__BuildThumbnailAttributes(const std::string& fourthField,
                                                     DMSAppString* out) {
  if (out == nullptr || record_ == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[CRG] Invalid args, __BuildResAttributes");
    return 1;
  }
  const int height = record_->GetThumbnailHeight();
  const int width = record_->GetThumbnailWidth();
  return buildPreviewAttributes(record_->GetThumbnailSize(), height, width, width, height,
                                fourthField, out);
}

int ContentsResGenerator::__BuildScreennailAttributes(const std::string& fourthField,
                                                      DMSAppString* out) {
  if (out == nullptr || record_ == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[CRG] Invalid args, __BuildScreennailAttributes");
    return 1;
  }
  const int height = record_->GetScreennailHeight();
  const int width = record_->GetScreennailWidth();
  return buildPreviewAttributes(record_->GetScreennailSize(), height, width, height, width,
                                fourthField, out);
}

void ContentsResGenerator::__BuildContentURI(UriKind kind, const std::string* tag,
                                             DMSAppString* uri) {
  uri->Copy("");
  if (record_ == nullptr || tag == nullptr || record_->GetFilePath() == nullptr ||
      record_->GetFileName() == nullptr) {
    NUVPrintf(NUV_LOG_INFO, "[CRG] Invalid Args");
    return;
  }
  if (record_->GetImportURI() != nullptr && record_->GetImportURI()->GetStringLength() > 1) {
    NUVPrintf(NUV_LOG_INFO, "[CRG] Invalid call");
    return;
  }
  const DMSAppString* path = kind == kThumbnailUri    ? record_->GetThumbUri()
                             : kind == kScreennailUri ? record_->GetScreenUri()
                                                      : record_->GetUri();
  std::string text(textOf(&mURLBase_));
  text.append(textOf(path));
  store(uri, text);
}

int ContentsResGenerator::buildMainRes(bool streaming, DMSAppString* attributes,
                                       DMSAppString* uri) {
  std::string field;
  std::string tag;
  __SetExtraFlags();
  // A record without a DLNA profile (a file that fits none) is offered as
  // the wildcard profile: its fourth field carries only the operations, as
  // the contentFeatures.dlna.org header of its download does.
  const char* profile = present(record_->GetDLNAPN()) ? textOf(record_->GetDLNAPN()) : "*";
  __BuildDLNA4thField(profile, 1, 0, 0, streaming, &field, &tag);
  if (__BuildResAttributes(field, attributes) != 0) return 1;
  __BuildContentURI(kMainUri, &tag, uri);
  return 0;
}

int ContentsResGenerator::buildPreviewRes(bool screennail, DMSAppString* attributes,
                                          DMSAppString* uri) {
  std::string field;
  std::string tag;
  __SetExtraFlags();
  const int profile = screennail ? CDSHelper::kProfileJpegSm : CDSHelper::kProfileJpegTn;
  __BuildDLNA4thField(table_ != nullptr ? table_->GetText(profile) : "", 1, 0, 1, false, &field,
                      &tag);
  const int built = screennail ? __BuildScreennailAttributes(field, attributes)
                               : __BuildThumbnailAttributes(field, attributes);
  if (built != 0) return 1;
  __BuildContentURI(screennail ? kScreennailUri : kThumbnailUri, &tag, uri);
  return 0;
}

int ContentsResGenerator::BuildJPEGRes(DMSAppString* attributes, DMSAppString* uri) {
  if (attributes == nullptr || uri == nullptr || record_ == nullptr) {
    logInvalid("BuildVideoRes");
    return 1;
  }
  return buildMainRes(false, attributes, uri);
}

int ContentsResGenerator::BuildVideoRes(DMSAppString* attributes, DMSAppString* uri) {
  if (attributes == nullptr || uri == nullptr || record_ == nullptr) {
    logInvalid("BuildVideoRes");
    return 1;
  }
  return buildMainRes(true, attributes, uri);
}

int ContentsResGenerator::BuildMP3Res(DMSAppString* attributes, DMSAppString* uri) {
  if (attributes == nullptr || uri == nullptr || record_ == nullptr) {
    logInvalid("BuildVideoRes");
    return 1;
  }
  return buildMainRes(true, attributes, uri);
}

int ContentsResGenerator::BuildJPEGThumbRes(DMSAppString* attributes, DMSAppString* uri) {
  if (attributes == nullptr || uri == nullptr || record_ == nullptr) {
    logInvalid("BuildVideoRes");
    return 1;
  }
  return buildPreviewRes(false, attributes, uri);
}

int ContentsResGenerator::BuildVideoThumbRes(DMSAppString* attributes, DMSAppString* uri) {
  if (attributes == nullptr || uri == nullptr || record_ == nullptr) {
    logInvalid("BuildVideoRes");
    return 1;
  }
  return buildPreviewRes(false, attributes, uri);
}

int ContentsResGenerator::BuildJPEGScreenRes(DMSAppString* attributes, DMSAppString* uri) {
  if (attributes == nullptr || uri == nullptr || record_ == nullptr) {
    logInvalid("BuildJPEGScreenRes");
    return 1;
  }
  return buildPreviewRes(true, attributes, uri);
}

int ContentsResGenerator::BuildAlbumArtRes(DMSAppString* attributes, DMSAppString* uri) {
  if (attributes == nullptr || uri == nullptr || record_ == nullptr) {
    logInvalid("BuildVideoRes");
    return 1;
  }
  std::string field;
  std::string tag;
  __SetExtraFlags();
  __BuildDLNA4thField(table_ != nullptr ? table_->GetText(CDSHelper::kProfileJpegTn) : "", 1, 0, 1,
                      false, &field, &tag);
  tag += "-W160-H160-EXTJPEG";
  const char* mime = table_ != nullptr ? table_->GetText(CDSHelper::kMimeJpeg) : "image/jpeg";
  if (__BuildExtraResAttributes(mbNeedResolution_ ? "resolution=\"160x160\" " : "", mime, field,
                                attributes) != 0)
    return 1;
  __BuildContentURI(kThumbnailUri, &tag, uri);
  return 0;
}
