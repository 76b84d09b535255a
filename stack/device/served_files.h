// What the device serves: a private directory holding the filled-in device
// description and copies of exactly the files that description refers to
// (service descriptions and icons) from the description directory, kept in
// memory as well for answering requests. Nothing else kept there (the UDN
// file, or whatever a product stores beside the descriptions) can be
// fetched. The directory is removed with the object.
//
// Thread safety: one thread at a time.
#ifndef DMS_STACK_DEVICE_SERVED_FILES_H
#define DMS_STACK_DEVICE_SERVED_FILES_H

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace dmsstack {

// The file names the description refers to (each SCPDURL and icon url) that
// name a plain file at the root of the served tree: "/ContentDirectory_1.xml"
// gives "ContentDirectory_1.xml"; absolute URLs, queries, "..", further
// slashes and unusual characters are left out. No name appears twice.
std::vector<std::string> referencedFiles(std::string_view description);

class ServedFiles {
 public:
  ServedFiles() = default;
  ~ServedFiles();
  ServedFiles(const ServedFiles&) = delete;
  ServedFiles& operator=(const ServedFiles&) = delete;

  // Creates the directory under $TMPDIR (or /tmp) and fills it. False when
  // the directory or the description cannot be written; a referenced file
  // missing from `sourceDir` is logged and left out.
  bool prepare(const std::string& sourceDir, const std::string& filledDescription);

  const std::string& dir() const { return dir_; }
  // The filled description, named DeviceDescription.xml.
  std::string descriptionPath() const;
  // The copied files, by name.
  const std::vector<std::string>& files() const { return files_; }
  // The content of a served file (the description or a copied file), or
  // nullptr. Valid as long as the object.
  const std::string* content(const std::string& name) const;

  // The Content-Type a served file goes out with, from its name.
  static const char* contentType(std::string_view name);

 private:
  std::string dir_;
  std::vector<std::string> files_;
  std::map<std::string, std::string> contents_;  // by name, the description included
};

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_SERVED_FILES_H
