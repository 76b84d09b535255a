#include "contents_res_generator.h"

#include <cstdio>
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
// DLNA.ORG_OP of every res: byte ranges, no time seek.
constexpr const char* kRangeOnly = "01";

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

void appendQuoted(std::string* out, const char* name, const char* value) {
  out->append(name).append("=\"").append(value).append("\" ");
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

void ContentsResGenerator::fourthField(const char* profile, bool hasOp, const char* op, int ci,
                                       bool streaming, std::string* field) {
  if (profile == nullptr) profile = "";
  field->clear();
  if (strcmp(profile, "*") == 0) {
    field->append(hasOp ? "DLNA.ORG_OP=" : "*");
    if (hasOp) field->append(op);
  } else {
    field->append("DLNA.ORG_PN=").append(profile);
    if (hasOp) field->append(";DLNA.ORG_OP=").append(op);
    if (ci > 0) field->append(";DLNA.ORG_CI=").append(std::to_string(ci));
    field->append(";DLNA.ORG_FLAGS=").append(streaming ? kStreamingFlags : kImageFlags);
  }
}

int ContentsResGenerator::__BuildDLNA4thField(const char* profile, int range, int timeSeek, int ci,
                                              bool streaming, std::string* field,
                                              std::string* tag) {
  if (field == nullptr || tag == nullptr) return 1;
  const bool hasOp = range >= 1 || timeSeek >= 1;
  const char op[3] = {timeSeek >= 1 ? '1' : '0', range >= 1 ? '1' : '0', '\0'};
  const char* pn = profile != nullptr ? profile : "";
  fourthField(pn, hasOp, op, ci, streaming, field);
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
    appendQuoted(&size_, "size", textOf(record_->GetSize()));
  const DMSAppString* bitrate = record_->GetAudioBitrate();
  if (mbNeedBitrate_ && present(bitrate) && bitrate->Compare("0") != 0)
    appendQuoted(&bitrate_, "bitrate", textOf(bitrate));
  if (mbNeedFramerate_ && record_->GetVideoFrameRate() > 0)
    appendQuoted(&framerate_, "framerate", std::to_string(record_->GetVideoFrameRate()).c_str());
  if (mbNeedDuration_ && present(record_->GetDuration()))
    appendQuoted(&duration_, "duration", textOf(record_->GetDuration()));
  const DMSAppString* resolution = record_->GetResolution();
  if (mbNeedResolution_ && present(resolution) && resolution->Compare("0x0") != 0)
    appendQuoted(&resolution_, "resolution", textOf(resolution));
  // An object created for upload names its import URI among the attributes
  // (escaped like a value: it carries the client's title).
  if (present(record_->GetImportURI())) {
    std::unique_ptr<DMSAppString> escaped(dms_cds::escapeTwice(record_->GetImportURI()));
    if (escaped != nullptr)
      importUriText_.append("importUri=\"").append(textOf(escaped.get())).append("\"");
  }
}

void ContentsResGenerator::__BuildResAttributes(const std::string& fourthField, std::string* out) {
  out->clear();
  for (const std::string* part :
       {&importUriText_, &size_, &bitrate_, &framerate_, &duration_, &resolution_})
    out->append(*part).append(" ");
  appendProtocolInfo(out, textOf(record_->GetMimeTypeString()), fourthField);
}

void ContentsResGenerator::__BuildExtraResAttributes(const char* extra, const char* mime,
                                                     const std::string& fourthField,
                                                     std::string* out) {
  out->assign(importUriText_).append(" ").append(extra).append(" ");
  appendProtocolInfo(out, mime, fourthField);
}

void ContentsResGenerator::buildPreviewAttributes(int size, int first, int second, int bothFirst,
                                                  int bothSecond, const std::string& fourthField,
                                                  std::string* out) {
  const char* mime = table_ != nullptr ? table_->GetText(CDSHelper::kMimeJpeg) : "image/jpeg";
  // A size or dimension the store does not know (0 or -1) is left out rather
  // than written as a number no control point could use.
  const bool withSize = mbNeedSize_ && size > 0;
  const bool withResolution = mbNeedResolution_ && first > 0 && second > 0;
  out->assign(" ");
  char number[40];
  if (withSize) {
    snprintf(number, sizeof number, "%d", size);
    appendQuoted(out, "size", number);
  }
  if (withSize && withResolution) {
    snprintf(number, sizeof number, "%dx%d", bothFirst, bothSecond);
    appendQuoted(out, "resolution", number);
  } else if (withResolution) {
    snprintf(number, sizeof number, "%dx%d", first, second);
    appendQuoted(out, "resolution", number);
  }
  appendProtocolInfo(out, mime, fourthField);
}

void ContentsResGenerator::__BuildThumbnailAttributes(const std::string& fourthField,
                                                      std::string* out) {
  const int height = record_->GetThumbnailHeight();
  const int width = record_->GetThumbnailWidth();
  buildPreviewAttributes(record_->GetThumbnailSize(), height, width, width, height, fourthField,
                         out);
}

void ContentsResGenerator::__BuildScreennailAttributes(const std::string& fourthField,
                                                       std::string* out) {
  const int height = record_->GetScreennailHeight();
  const int width = record_->GetScreennailWidth();
  buildPreviewAttributes(record_->GetScreennailSize(), height, width, height, width, fourthField,
                         out);
}

void ContentsResGenerator::__BuildContentURI(UriKind kind, std::string* uri) {
  uri->clear();
  if (record_->GetFilePath() == nullptr || record_->GetFileName() == nullptr) {
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
  uri->append(textOf(&mURLBase_)).append(textOf(path));
}

void ContentsResGenerator::buildMainRes(bool streaming, std::string* attributes, std::string* uri) {
  __SetExtraFlags();
  // A record without a DLNA profile (a file that fits none) is offered as
  // the wildcard profile: its fourth field carries only the operations, as
  // the contentFeatures.dlna.org header of its download does.
  const char* profile = present(record_->GetDLNAPN()) ? textOf(record_->GetDLNAPN()) : "*";
  fourthField(profile, true, kRangeOnly, 0, streaming, &field_);
  __BuildResAttributes(field_, attributes);
  __BuildContentURI(kMainUri, uri);
}

void ContentsResGenerator::buildPreviewRes(bool screennail, std::string* attributes,
                                           std::string* uri) {
  // No __SetExtraFlags: a thumbnail's or screennail's attributes are its own.
  const int profile = screennail ? CDSHelper::kProfileJpegSm : CDSHelper::kProfileJpegTn;
  fourthField(table_ != nullptr ? table_->GetText(profile) : "", true, kRangeOnly, 1, false,
              &field_);
  if (screennail) {
    __BuildScreennailAttributes(field_, attributes);
  } else {
    __BuildThumbnailAttributes(field_, attributes);
  }
  __BuildContentURI(screennail ? kScreennailUri : kThumbnailUri, uri);
}

void ContentsResGenerator::buildAlbumArtRes(std::string* attributes, std::string* uri) {
  __SetExtraFlags();
  fourthField(table_ != nullptr ? table_->GetText(CDSHelper::kProfileJpegTn) : "", true, kRangeOnly,
              1, false, &field_);
  const char* mime = table_ != nullptr ? table_->GetText(CDSHelper::kMimeJpeg) : "image/jpeg";
  __BuildExtraResAttributes(mbNeedResolution_ ? "resolution=\"160x160\" " : "", mime, field_,
                            attributes);
  __BuildContentURI(kThumbnailUri, uri);
}

int ContentsResGenerator::BuildRes(ResKind kind, std::string* attributes, std::string* uri) {
  if (attributes == nullptr || uri == nullptr || record_ == nullptr) return 1;
  switch (kind) {
    case kJpegRes:
      buildMainRes(false, attributes, uri);
      return 0;
    case kVideoRes:
    case kMp3Res:
      buildMainRes(true, attributes, uri);
      return 0;
    case kJpegThumbRes:
    case kVideoThumbRes:
      buildPreviewRes(false, attributes, uri);
      return 0;
    case kJpegScreenRes:
      buildPreviewRes(true, attributes, uri);
      return 0;
    case kAlbumArtRes:
      buildAlbumArtRes(attributes, uri);
      return 0;
  }
  return 1;
}

int ContentsResGenerator::buildInto(ResKind kind, const char* name, DMSAppString* attributes,
                                    DMSAppString* uri) {
  if (attributes == nullptr || uri == nullptr || record_ == nullptr) {
    logInvalid(name);
    return 1;
  }
  std::string attributeText;
  std::string uriText;
  BuildRes(kind, &attributeText, &uriText);
  if (store(attributes, attributeText) != 0) return 1;
  store(uri, uriText);
  return 0;
}

// The names logged for a missing argument are the ones control code has
// always seen, copied from builder to builder.
int ContentsResGenerator::BuildJPEGRes(DMSAppString* attributes, DMSAppString* uri) {
  return buildInto(kJpegRes, "BuildVideoRes", attributes, uri);
}

int ContentsResGenerator::BuildVideoRes(DMSAppString* attributes, DMSAppString* uri) {
  return buildInto(kVideoRes, "BuildVideoRes", attributes, uri);
}

int ContentsResGenerator::BuildMP3Res(DMSAppString* attributes, DMSAppString* uri) {
  return buildInto(kMp3Res, "BuildVideoRes", attributes, uri);
}

int ContentsResGenerator::BuildJPEGThumbRes(DMSAppString* attributes, DMSAppString* uri) {
  return buildInto(kJpegThumbRes, "BuildVideoRes", attributes, uri);
}

int ContentsResGenerator::BuildVideoThumbRes(DMSAppString* attributes, DMSAppString* uri) {
  return buildInto(kVideoThumbRes, "BuildVideoRes", attributes, uri);
}

int ContentsResGenerator::BuildJPEGScreenRes(DMSAppString* attributes, DMSAppString* uri) {
  return buildInto(kJpegScreenRes, "BuildJPEGScreenRes", attributes, uri);
}

int ContentsResGenerator::BuildAlbumArtRes(DMSAppString* attributes, DMSAppString* uri) {
  return buildInto(kAlbumArtRes, "BuildVideoRes", attributes, uri);
}
