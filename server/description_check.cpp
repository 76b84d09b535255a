// DMSAppCheckFileState: makes sure the description directory holds the three
// description files, rewriting all of them when any is missing or damaged.
//
// A service description is good when it has exactly its recorded size and,
// ignoring case, the template's text. The device description is good when it
// parses as XML, whatever it says: the stack writes the friendly name into
// it, and that change must survive restarts.
//
// Every message goes through NUVPrintfNoLevel (start-up file checks); the
// bracketed names in them are the historical names of the steps.
#include <cstdio>
#include <memory>
#include <string>

#include "description_files.h"
#include "dms_conversions.h"
#include "dms_platform.h"
#include "dms_server.h"
#include "dms_string.h"
#include "dms_xml.h"
#include "export_guard.h"
#include "nuv_log.h"

namespace dms_server {
namespace {

struct FileCloser {
  void operator()(FILE* f) const { DMSAppCloseFile(f); }
};
using FileHandle = std::unique_ptr<FILE, FileCloser>;

struct ParserDestroyer {
  void operator()(_XmlParser* p) const { DMSAppXmlParserDestroy(p); }
};

// Creates every prefix of `dir` that ends before a "/" (dir itself included)
// with DMSAppCreatDirecotry, outermost first. A segment of zero or one
// character is not created on its own. Failures (the prefix exists, no
// permission) are left to the file steps that follow.
void createDirectoryPath(const std::string& dir) {
  const std::string scan = dir + "/";
  size_t segmentStart = 0;
  for (size_t slash = scan.find('/'); slash != std::string::npos;
       slash = scan.find('/', slash + 1)) {
    if (slash - segmentStart > 1) DMSAppCreatDirecotry(scan.substr(0, slash).c_str());
    segmentStart = slash + 1;
  }
}

// The whole file as text (a NUL inside ends it), or false when it cannot be
// opened or read.
bool readWholeFile(const std::string& path, std::string* text) {
  FileHandle file(DMSAppOpenFile(path.c_str(), DMSAPP_FILE_READ));
  if (!file) return false;
  text->clear();
  char chunk[4096];
  unsigned long got = 0;
  while (DMSAppReadFile(file.get(), chunk, sizeof chunk, &got) == 1 && got > 0) {
    text->append(chunk, got);
    got = 0;
  }
  if (std::ferror(file.get())) return false;
  text->resize(std::char_traits<char>::length(text->c_str()));
  return true;
}

bool binaryCheckFileData(const std::string& dir, int row) {
  const DescriptionFileInfo& info = descriptionFileTable()[row];
  const std::string path = descriptionFilePath(dir.c_str(), row);
  const long long nFileSize = DMSAppGetFileSize(path.c_str());
  bool good = false;
  std::string buffer;
  if (nFileSize != info.nFileSize) {
    NUVPrintfNoLevel("DMSAppGetFileSize Failed nFileSize (%lld)!= pFileInfo->nFileSize (%lld)\n",
                     nFileSize, static_cast<long long>(info.nFileSize));
  } else if (!readWholeFile(path, &buffer)) {
    NUVPrintfNoLevel(" _GetFileBuffer Failed \n");
  } else {
    std::unique_ptr<DMSAppString> content(
        DMSAppConversions::DMSAppConvertUTF8ToDMSAppStringMA(buffer.c_str()));
    if (!content) {
      NUVPrintfNoLevel(" DMSAppConvertUTF8ToDMSAppStringMA Failed \n");
    } else if (content->CompareI(info.templateText) != 0) {
      NUVPrintfNoLevel(" CompareI Failed pFileBuffer\n");
    } else {
      good = true;
    }
  }
  if (!good) NUVPrintfNoLevel("_BinaryCheckFileData Failed returning False\n");
  return good;
}

bool checkDeviceDescription(const std::string& dir) {
  std::string buffer;
  if (!readWholeFile(descriptionFilePath(dir.c_str(), DLNADMS_DEVICE_DESCRIPTION), &buffer)) {
    NUVPrintfNoLevel("[_DMSChkDevDescFile] _GetFileBuffer Failed \n");
    return false;
  }
  DMSAppString text(buffer.c_str());
  std::unique_ptr<_XmlParser, ParserDestroyer> parser(DMSAppXmlParserGetDomMA(&text));
  if (!parser) {
    NUVPrintfNoLevel("[_DMSChkDevDescFile] XML Parsing Failed \n");
    return false;
  }
  return true;
}

bool filesAreGood(const std::string& dir) {
  return binaryCheckFileData(dir, DLNADMS_CONTENT_DIRECTORY_DESCRIPTION) &&
         binaryCheckFileData(dir, DLNADMS_CONNECTION_MANAGER_DESCRIPTION) &&
         checkDeviceDescription(dir);
}

bool saveFileData(const std::string& dir, int row) {
  const std::string path = descriptionFilePath(dir.c_str(), row);
  if (DMSAppRemoveFile(path.c_str()) == 1)
    NUVPrintfNoLevel("[_SaveFileData] Removed File \n");
  else
    NUVPrintfNoLevel("[_SaveFileData] Cannot Remove File \n");
  const std::string data = renderDescription(row);
  NUVPrintfNoLevel("[_SaveFileData]  File Size %d String File Data %d \n",
                   static_cast<int>(descriptionFileTable()[row].nFileSize),
                   static_cast<int>(data.size()));
  NUVPrintfNoLevel("[_SaveFileData]  file (%s) data :\n%s \n", path.c_str(), data.c_str());
  FileHandle file(DMSAppOpenFile(path.c_str(), DMSAPP_FILE_WRITE));
  if (!file) {
    NUVPrintfNoLevel("[_SaveFileData]  DMSAPP_INVALID_FILE_HANDLE While Opening.\n");
    return false;
  }
  if (DMSAppWriteFile(file.get(), data.data(), data.size()) != 1) {
    NUVPrintfNoLevel("[_SaveFileData]  DMSAppWriteFile Failed\n");
    return false;
  }
  // A full disk may only show when the buffered data is flushed.
  if (std::fflush(file.get()) != 0) {
    NUVPrintfNoLevel("[_SaveFileData]  DMSAppWriteFile Failed\n");
    return false;
  }
  return true;
}

bool createFiles(const std::string& dir) {
  for (int row = 0; descriptionFileTable()[row].fileName != nullptr; ++row) {
    if (!saveFileData(dir, row)) {
      NUVPrintfNoLevel("[_DMSCreateFiles]  _SaveFileData Failed.\n");
      return false;
    }
  }
  return true;
}

}  // namespace
}  // namespace dms_server

extern "C" int DMSAppCheckFileState(const char* descriptionDir) {
  using namespace dms_server;
  if (descriptionDir == nullptr) {
    NUVPrintfNoLevel("[DMSAppCheckFileState] Input - pDirPath is NULL\n");
    return 0;
  }
  return dms_export::guarded("DMSAppCheckFileState", 0, [descriptionDir] {
    const std::string dir = descriptionDir;
    createDirectoryPath(dir);
    if (filesAreGood(dir)) {
      NUVPrintfNoLevel("[DMSAppCheckFileState] XML Files are good.\n");
      return 1;
    }
    NUVPrintfNoLevel("[DMSAppCheckFileState]  XML Files are not good.so creating it\n");
    return createFiles(dir) ? 1 : 0;
  });
}
