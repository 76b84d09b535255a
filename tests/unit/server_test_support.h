// Shared helpers of the server layer's unit tests: a scratch directory, file
// reading and writing, a recorder of lifecycle steps, a tree view of parsed
// XML, and the reset of every piece of process-wide state the server keeps.
#ifndef DMS_TESTS_SERVER_TEST_SUPPORT_H
#define DMS_TESTS_SERVER_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "access_control.h"
#include "dms_server.h"
#include "dms_string.h"
#include "dms_xml.h"
#include "fake_stack.h"
#include "lifecycle_steps.h"
#include "nuv_config.h"
#include "server_state.h"
#include "xml/xml_reader.h"

namespace server_test {

// A fresh directory under /tmp, removed with everything in it at the end.
class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/dms-server-XXXXXX";
    const char* made = mkdtemp(pattern);
    EXPECT_NE(made, nullptr);
    path_ = made != nullptr ? made : "/nonexistent-dms-tempdir";
  }
  ~TempDir() {
    const std::string command = "chmod -R u+w '" + path_ + "' 2>/dev/null; rm -rf '" + path_ + "'";
    EXPECT_EQ(std::system(command.c_str()), 0);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

inline bool fileExists(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return in.good();
}

inline std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

inline void writeFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
}

// Records the steps reported by lifecycle_steps while it lives.
class StepRecorder {
 public:
  StepRecorder() {
    steps().clear();
    dms_server::setStepObserver(&record);
  }
  ~StepRecorder() { dms_server::setStepObserver(nullptr); }
  StepRecorder(const StepRecorder&) = delete;
  StepRecorder& operator=(const StepRecorder&) = delete;

  std::vector<std::string> names() const {
    std::vector<std::string> out;
    for (const auto& step : steps()) out.push_back(step.first);
    return out;
  }
  std::vector<std::pair<std::string, std::string>> all() const { return steps(); }

 private:
  static std::vector<std::pair<std::string, std::string>>& steps() {
    static std::vector<std::pair<std::string, std::string>> recorded;
    return recorded;
  }
  static void record(const char* step, const char* detail) { steps().emplace_back(step, detail); }
};

// An element of a parsed document: name, attributes, trimmed text and the
// child elements in order.
struct Element {
  std::string name;
  std::map<std::string, std::string> attributes;
  std::string text;
  std::vector<Element> children;

  std::vector<std::string> childNames() const {
    std::vector<std::string> names;
    for (const Element& child : children) names.push_back(child.name);
    return names;
  }
  const Element* child(const std::string& childName) const {
    for (const Element& c : children)
      if (c.name == childName) return &c;
    return nullptr;
  }
  std::string childText(const std::string& childName) const {
    const Element* c = child(childName);
    return c != nullptr ? c->text : "<missing " + childName + ">";
  }
};

inline std::string str(const DMSAppString* s) {
  return s != nullptr && s->ReadString() != nullptr ? s->ReadString() : "";
}

inline std::string trim(const std::string& s) {
  const auto first = s.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return "";
  return s.substr(first, s.find_last_not_of(" \t\r\n") - first + 1);
}

inline Element toElement(const DMSAppDomNode* node) {
  Element e;
  e.name = str(node->nodeName);
  for (const DMSAppDomNode* a = node->attributes; a != nullptr; a = a->nextSibling)
    e.attributes[str(a->nodeName)] = str(a->nodeValue);
  for (const DMSAppDomNode* c = node->firstChild; c != nullptr; c = c->nextSibling) {
    if (c->nodeType == kDomElementNode)
      e.children.push_back(toElement(c));
    else if (c->nodeType == kDomTextNode)
      e.text += str(c->nodeValue);
  }
  e.text = trim(e.text);
  return e;
}

// Parses `text` with the server's own XML reader; false if it refuses it.
inline bool parseWithOwnReader(const std::string& text, Element* root) {
  DMSAppString input(text.c_str());
  _XmlParser* parser = DMSAppXmlParserGetDomMA(&input);
  if (parser == nullptr) return false;
  const DMSAppDomNode* top = nullptr;
  for (const DMSAppDomNode* c = parser->document->firstChild; c != nullptr; c = c->nextSibling)
    if (c->nodeType == kDomElementNode) top = c;
  if (top != nullptr) *root = toElement(top);
  DMSAppXmlParserDestroy(parser);
  return top != nullptr;
}

// Puts every piece of process-wide state back to where a fresh process
// starts: the fake stack, the settings, the configuration, the ACL flags.
inline void resetServerState() {
  dms_server::resetSettings();
  NUVClearConfiguration();
  NUVSetModelName("KV900");
  dms_server::resetAccessControlState();
  FakeStack::instance().reset();
}

}  // namespace server_test

#endif  // DMS_TESTS_SERVER_TEST_SUPPORT_H
