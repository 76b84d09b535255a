// The device description as text: UDN persistence and filling, friendly name,
// service list, and the built-in icons written into the directory.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "description.h"
#include "file_text.h"
#include "icons.h"
#include "nuv_dms.h"
#include "served_files.h"
#include "udn.h"

namespace {

const char* const kDescription =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
    "<root xmlns=\"urn:schemas-upnp-org:device-1-0\">\n"
    "\t<device>\n"
    "\t\t<friendlyName>[Camera]KV900</friendlyName>\n"
    "\t\t<UDN></UDN>\n"
    "\t\t<serviceList>\n"
    "\t\t\t<service>\n"
    "\t\t\t\t<serviceType>urn:schemas-upnp-org:service:ConnectionManager:1</serviceType>\n"
    "\t\t\t\t<serviceId>urn:upnp-org:serviceId:ConnectionManager</serviceId>\n"
    "\t\t\t\t<SCPDURL>/ConnectionManager_1.xml</SCPDURL>\n"
    "\t\t\t\t<controlURL>/_urn:schemas-upnp-org:service:ConnectionManager_control</controlURL>\n"
    "\t\t\t\t<eventSubURL>/_urn:schemas-upnp-org:service:ConnectionManager_event</eventSubURL>\n"
    "\t\t\t</service>\n"
    "\t\t\t<service>\n"
    "\t\t\t\t<serviceType> urn:schemas-upnp-org:service:ContentDirectory:1 </serviceType>\n"
    "\t\t\t\t<serviceId>urn:upnp-org:serviceId:ContentDirectory</serviceId>\n"
    "\t\t\t\t<SCPDURL>/ContentDirectory_1.xml</SCPDURL>\n"
    "\t\t\t\t<controlURL>/_urn:schemas-upnp-org:service:ContentDirectory_control</controlURL>\n"
    "\t\t\t\t<eventSubURL>/_urn:schemas-upnp-org:service:ContentDirectory_event</eventSubURL>\n"
    "\t\t\t</service>\n"
    "\t\t</serviceList>\n"
    "\t</device>\n"
    "</root>\n";

class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/stack-unit-XXXXXX";
    path_ = mkdtemp(pattern);
  }
  ~TempDir() { std::system(("rm -rf '" + path_ + "'").c_str()); }
  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

std::string readAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void writeAll(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

}  // namespace

TEST(Udn, GeneratedUdnsAreVersion4AndDistinct) {
  std::set<std::string> seen;
  for (int i = 0; i < 50; ++i) {
    std::string udn = dmsstack::generateUdn();
    EXPECT_TRUE(dmsstack::isValidUdn(udn)) << udn;
    EXPECT_EQ(udn[5 + 14], '4') << udn;
    EXPECT_NE(std::string("89ab").find(udn[5 + 19]), std::string::npos) << udn;
    seen.insert(udn);
  }
  EXPECT_EQ(seen.size(), 50u);
}

TEST(Udn, ValidityNeedsPrefixLengthDashesAndHex) {
  EXPECT_TRUE(dmsstack::isValidUdn("uuid:0123abcd-4567-89ef-ABCD-0123456789ab"));
  EXPECT_FALSE(dmsstack::isValidUdn("0123abcd-4567-89ef-abcd-0123456789ab"));
  EXPECT_FALSE(dmsstack::isValidUdn("uuid:0123abcd-4567-89ef-abcd-0123456789a"));
  EXPECT_FALSE(dmsstack::isValidUdn("uuid:0123abcd-4567-89ef-abcd_0123456789ab"));
  EXPECT_FALSE(dmsstack::isValidUdn("uuid:0123abcg-4567-89ef-abcd-0123456789ab"));
}

TEST(Udn, CreatedOnceAndKeptInTheDirectory) {
  TempDir dir;
  std::string first = dmsstack::loadOrCreateUdn(dir.path());
  ASSERT_TRUE(dmsstack::isValidUdn(first));
  EXPECT_EQ(readAll(dir.file("udn")), first + "\n");
  EXPECT_EQ(dmsstack::loadOrCreateUdn(dir.path()), first);
  EXPECT_EQ(dmsstack::loadOrCreateUdn(dir.path() + "/"), first);
}

TEST(Udn, CorruptFileIsReplaced) {
  TempDir dir;
  writeAll(dir.file("udn"), "not a uuid\n");
  std::string udn = dmsstack::loadOrCreateUdn(dir.path());
  EXPECT_TRUE(dmsstack::isValidUdn(udn));
  EXPECT_EQ(readAll(dir.file("udn")), udn + "\n");
}

TEST(Udn, UnwritableDirectoryGivesNoUdn) {
  EXPECT_EQ(dmsstack::loadOrCreateUdn("/nonexistent/dir"), "");
}

TEST(Description, UdnIsFilledAndTheRestKept) {
  std::string filled;
  ASSERT_TRUE(dmsstack::fillUdn(kDescription, "uuid:1", &filled));
  std::string expected = kDescription;
  expected.replace(expected.find("<UDN></UDN>"), 11, "<UDN>uuid:1</UDN>");
  EXPECT_EQ(filled, expected);
}

TEST(Description, FriendlyNameIsEscaped) {
  std::string out;
  ASSERT_TRUE(dmsstack::rewriteFriendlyName(kDescription, "[Camera]A&B <x>", &out));
  std::string expected = kDescription;
  expected.replace(expected.find("[Camera]KV900"), 13, "[Camera]A&amp;B &lt;x&gt;");
  EXPECT_EQ(out, expected);
}

TEST(Description, ServicesAreListedInOrderAndTrimmed) {
  std::vector<dmsstack::ServiceEntry> services = dmsstack::listServices(kDescription);
  ASSERT_EQ(services.size(), 2u);
  EXPECT_EQ(services[0].serviceType, "urn:schemas-upnp-org:service:ConnectionManager:1");
  EXPECT_EQ(services[0].serviceId, "urn:upnp-org:serviceId:ConnectionManager");
  EXPECT_EQ(services[0].scpdUrl, "/ConnectionManager_1.xml");
  EXPECT_EQ(services[1].serviceType, "urn:schemas-upnp-org:service:ContentDirectory:1");
  EXPECT_EQ(services[1].controlUrl, "/_urn:schemas-upnp-org:service:ContentDirectory_control");
  EXPECT_EQ(services[1].eventSubUrl, "/_urn:schemas-upnp-org:service:ContentDirectory_event");
  EXPECT_TRUE(dmsstack::listServices("<root><device/></root>").empty());
}

TEST(Description, ServiceTypeLosesOnlyANumericVersion) {
  EXPECT_EQ(dmsstack::serviceTypeWithoutVersion("urn:schemas-upnp-org:service:ContentDirectory:1"),
            "urn:schemas-upnp-org:service:ContentDirectory");
  EXPECT_EQ(dmsstack::serviceTypeWithoutVersion("urn:schemas-upnp-org:service:ContentDirectory"),
            "urn:schemas-upnp-org:service:ContentDirectory");
}

TEST(SetDeviceName, RewritesTheFileAndKeepsTheRest) {
  TempDir dir;
  const std::string path = dir.file("DeviceDescription.xml");
  std::string withUdn = kDescription;
  withUdn.replace(withUdn.find("<UDN></UDN>"), 11, "<UDN>uuid:kept</UDN>");
  writeAll(path, withUdn);
  ASSERT_EQ(NUVSetDeviceName(path.c_str(), "[Camera]QX-1 \"pro\""), 0);
  std::string expected = withUdn;
  expected.replace(expected.find("[Camera]KV900"), 13, "[Camera]QX-1 &quot;pro&quot;");
  EXPECT_EQ(readAll(path), expected);
  struct stat st;
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0644u);
}

TEST(SetDeviceName, RefusesMissingFileMissingElementAndOverlongName) {
  TempDir dir;
  const std::string path = dir.file("DeviceDescription.xml");
  EXPECT_EQ(NUVSetDeviceName(path.c_str(), "x"), 1);
  writeAll(path, "<root><device><UDN/></device></root>");
  EXPECT_EQ(NUVSetDeviceName(path.c_str(), "x"), 1);
  EXPECT_EQ(readAll(path), "<root><device><UDN/></device></root>");
  writeAll(path, kDescription);
  EXPECT_EQ(NUVSetDeviceName(path.c_str(), std::string(300, 'n').c_str()), 1);
  EXPECT_EQ(NUVSetDeviceName(nullptr, "x"), 1);
  EXPECT_EQ(NUVSetDeviceName(path.c_str(), nullptr), 1);
  EXPECT_EQ(readAll(path), kDescription);
}

TEST(Description, IconUrlsAreListedInOrder) {
  const std::string doc =
      "<root><device><iconList><icon><url>/icon_48x48.jpg</url></icon>"
      "<icon><mimetype>image/png</mimetype><url> /icon_48x48.png </url></icon></iconList>"
      "</device></root>";
  EXPECT_EQ(dmsstack::listIconUrls(doc),
            (std::vector<std::string>{"/icon_48x48.jpg", "/icon_48x48.png"}));
  EXPECT_TRUE(dmsstack::listIconUrls(kDescription).empty());
}

TEST(ServedFiles, OnlyPlainNamesTheDescriptionListsAreServed) {
  const std::string doc =
      "<root><device><iconList>"
      "<icon><url>/icon_48x48.jpg</url></icon><icon><url>icon_48x48.jpg</url></icon>"
      "<icon><url>/../udn</url></icon><icon><url>/sub/icon.png</url></icon>"
      "<icon><url>http://other/icon.png</url></icon><icon><url>/i.png?x=1</url></icon>"
      "<icon><url>/DeviceDescription.xml</url></icon></iconList>"
      "<serviceList><service><SCPDURL>/ContentDirectory_1.xml</SCPDURL></service>"
      "<service><SCPDURL>ConnectionManager_1.xml</SCPDURL></service></serviceList>"
      "</device></root>";
  EXPECT_EQ(dmsstack::referencedFiles(doc),
            (std::vector<std::string>{"ContentDirectory_1.xml", "ConnectionManager_1.xml",
                                      "icon_48x48.jpg"}));
}

TEST(ServedFiles, PrivateDirectoryHoldsTheFilledDescriptionAndListedFilesOnly) {
  TempDir dir;
  writeAll(dir.file("ContentDirectory_1.xml"), "<scpd>cds</scpd>");
  writeAll(dir.file("udn"), "uuid:secret");
  writeAll(dir.file("media.db"), "private");
  const std::string doc =
      "<root><device><UDN>uuid:1</UDN><serviceList>"
      "<service><SCPDURL>/ContentDirectory_1.xml</SCPDURL></service>"
      "<service><SCPDURL>/ConnectionManager_1.xml</SCPDURL></service>"
      "</serviceList></device></root>";
  std::string served;
  {
    dmsstack::ServedFiles files;
    ASSERT_TRUE(files.prepare(dir.path(), doc));
    served = files.dir();
    EXPECT_NE(served, dir.path());
    EXPECT_EQ(readAll(files.descriptionPath()), doc);
    EXPECT_EQ(files.descriptionPath(), served + "/DeviceDescription.xml");
    // The missing ConnectionManager_1.xml is left out.
    EXPECT_EQ(files.files(), std::vector<std::string>{"ContentDirectory_1.xml"});
    EXPECT_EQ(readAll(served + "/ContentDirectory_1.xml"), "<scpd>cds</scpd>");
    EXPECT_NE(access((served + "/udn").c_str(), F_OK), 0);
    EXPECT_NE(access((served + "/media.db").c_str(), F_OK), 0);
    EXPECT_FALSE(files.prepare(dir.path(), doc));  // once only
  }
  EXPECT_NE(access(served.c_str(), F_OK), 0);  // removed with the object
}

TEST(Icons, FourIconsAreWrittenAndExistingOnesKept) {
  TempDir dir;
  writeAll(dir.file("icon_48x48.png"), "product icon");
  ASSERT_TRUE(dmsstack::installIcons(dir.path()));
  EXPECT_EQ(readAll(dir.file("icon_48x48.png")), "product icon");
  const std::string jpeg = readAll(dir.file("icon_120x120.jpg"));
  ASSERT_GT(jpeg.size(), 100u);
  EXPECT_EQ(jpeg.substr(0, 2), "\xff\xd8");
  EXPECT_EQ(readAll(dir.file("icon_48x48.jpg")).substr(0, 2), "\xff\xd8");
  const std::string png = readAll(dir.file("icon_120x120.png"));
  ASSERT_GT(png.size(), 24u);
  EXPECT_EQ(png.substr(1, 3), "PNG");
  // Width and height of the IHDR chunk, big-endian.
  EXPECT_EQ(png.substr(16, 8), std::string("\0\0\0\x78\0\0\0\x78", 8));
  EXPECT_EQ(dmsstack::kEmbeddedIconCount, 4u);
}

TEST(Icons, UnwritableDirectoryIsReported) {
  EXPECT_FALSE(dmsstack::installIcons("/nonexistent/dir"));
}

TEST(FileText, JoinsPathsWithOneSlash) {
  EXPECT_EQ(dmsstack::joinPath("/a", "b"), "/a/b");
  EXPECT_EQ(dmsstack::joinPath("/a/", "b"), "/a/b");
  EXPECT_EQ(dmsstack::joinPath("/a/", "/b"), "/a/b");
  EXPECT_EQ(dmsstack::joinPath("/a", "/b"), "/a/b");
}

TEST(FileText, ReadRefusesFilesOverTheLimit) {
  TempDir dir;
  writeAll(dir.file("f"), std::string(100, 'x'));
  std::string text;
  EXPECT_FALSE(dmsstack::readWholeFile(dir.file("f"), 99, &text));
  ASSERT_TRUE(dmsstack::readWholeFile(dir.file("f"), 100, &text));
  EXPECT_EQ(text, std::string(100, 'x'));
  EXPECT_FALSE(dmsstack::readWholeFile(dir.path(), 100, &text));
}

TEST(Description, UrlBaseIsAddedAfterSpecVersionOrReplaced) {
  std::string result;
  ASSERT_TRUE(dmsstack::fillUrlBase(
      "<root xmlns=\"urn:schemas-upnp-org:device-1-0\"><specVersion><major>1</major>"
      "<minor>0</minor></specVersion><device/></root>",
      "http://10.0.0.1:49152/", &result));
  EXPECT_EQ(result,
            "<root xmlns=\"urn:schemas-upnp-org:device-1-0\"><specVersion><major>1</major>"
            "<minor>0</minor></specVersion><URLBase>http://10.0.0.1:49152/</URLBase><device/>"
            "</root>");
  ASSERT_TRUE(dmsstack::fillUrlBase("<root><URLBase>http://old/</URLBase><device/></root>",
                                    "http://new/", &result));
  EXPECT_EQ(result, "<root><URLBase>http://new/</URLBase><device/></root>");
  ASSERT_TRUE(dmsstack::fillUrlBase("<root><device/></root>", "http://a/", &result));
  EXPECT_EQ(result, "<root><URLBase>http://a/</URLBase><device/></root>");
  EXPECT_FALSE(dmsstack::fillUrlBase("<device/>", "http://a/", &result));
}
