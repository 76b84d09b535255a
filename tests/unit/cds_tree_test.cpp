// CDSTreeManager, MultiMediaDBEnumerator and the X_GetFeatureList document.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "cds_tree_manager.h"
#include "container_info.h"
#include "content_test_support.h"
#include "contents_enumerator_init_info.h"
#include "log_capture.h"
#include "multimedia_db_connector.h"
#include "multimedia_db_enumerator.h"
#include "nuv_config.h"
#include "temporary_contents_manager.h"

namespace {

using content_test::AnswerRecorder;
using content_test::ContentTest;
using content_test::ImageRow;
using content_test::scratchPath;
using content_test::text;

using Text = std::unique_ptr<DMSAppString>;

Text s(const char* value) { return Text(new DMSAppString(value)); }

class Tree : public ContentTest {
 protected:
  void SetUp() override {
    ContentTest::SetUp();
    AnswerRecorder::instance().clear();
    NUVCERegisterResponseCallback(&AnswerRecorder::callback);
  }
  void TearDown() override {
    CDSTreeManager::DestroyInstance();
    NUVCEDeregisterResponseCallback();
    ContentTest::TearDown();
  }
  CDSTreeManager* tree() { return CDSTreeManager::GetInstance(); }
};

class Listener : public ContainerEventListener {
 public:
  void ContainerEventReceived(NUV_CDSEVENT_TYPE type, DMSCDSList*) override {
    events.push_back(std::to_string(type) + ":list");
  }
  void ContainerEventReceived(NUV_CDSEVENT_TYPE type, DMSAppString* value) override {
    events.push_back(std::to_string(type) + ":" + text(value));
  }
  std::vector<std::string> events;
};

TEST_F(Tree, FixedContainersInOrder) {
  ContainerInfo* root = tree()->GetFirstContainerInformation(1);
  ASSERT_NE(nullptr, root);
  EXPECT_EQ("0", text(root->GetID()));
  EXPECT_EQ("-1", text(root->GetParentID()));
  EXPECT_EQ("Root", text(root->GetName()));
  EXPECT_EQ("object.container", text(root->GetUPnPClass()));
  EXPECT_EQ(nullptr, root->ReadCEInfo()->GetBasePath());
  EXPECT_EQ(0u, root->ReadCEInfo()->GetMediaKind());
  EXPECT_EQ(0, root->ReadCEInfo()->GetThirdValue());
  EXPECT_NE(nullptr, root->GetCE());

  struct Expected {
    const char* id;
    const char* name;
    const char* upnpClass;
    unsigned int kind;
  } expected[] = {{"1", "Image", "object.container.pictureContainer", 1},
                  {"2", "Audio", "object.container.musicContainer", 2},
                  {"3", "Video", "object.container.videoContainer", 3}};
  ContainerInfo* previous = root;
  for (const Expected& e : expected) {
    ContainerInfo* c = tree()->GetNextContainerInformation(1, previous->GetID());
    ASSERT_NE(nullptr, c) << e.id;
    EXPECT_EQ(e.id, text(c->GetID()));
    EXPECT_EQ("0", text(c->GetParentID()));
    EXPECT_EQ(e.name, text(c->GetName()));
    EXPECT_EQ(e.upnpClass, text(c->GetUPnPClass()));
    EXPECT_EQ("/Media", text(c->ReadCEInfo()->GetBasePath()));
    EXPECT_EQ(e.kind, c->ReadCEInfo()->GetMediaKind());
    EXPECT_EQ(3, c->ReadCEInfo()->GetThirdValue());
    EXPECT_EQ("0", text(c->GetAccessRestriction()));
    auto* enumerator = dynamic_cast<MultiMediaDBEnumerator*>(c->GetCE());
    ASSERT_NE(nullptr, enumerator);
    EXPECT_EQ(e.kind, enumerator->GetKind());
    previous = c;
  }
  EXPECT_EQ(nullptr, tree()->GetNextContainerInformation(1, previous->GetID()));
  EXPECT_NE(nullptr, TemporaryContentsManager::GetInstance());
}

TEST_F(Tree, NextIgnoresCaseButExactLookupDoesNot) {
  Text upper = s("0");
  EXPECT_EQ("1", text(tree()->GetNextContainerInformation(1, upper.get())->GetID()));
  AnswerRecorder::instance().clear();
  Text newID(tree()->AddNewContainerToListMA(1, s("0").get(), s("Album").get(),
                                             s("object.container.album").get()));
  ASSERT_EQ("4", text(newID.get()));
  EXPECT_EQ(nullptr, tree()->GetContainerInformation(1, s("9").get()));
  EXPECT_EQ(nullptr, tree()->GetNextContainerInformation(1, s("9").get()));
  EXPECT_EQ(nullptr, tree()->GetContainerInformation(1, nullptr));
  EXPECT_EQ("3", text(tree()->GetContainerInformation(1, s("3").get())->GetID()));
}

TEST_F(Tree, TotalMatchesPerContainer) {
  std::string sql;
  for (int i = 1; i <= 3; ++i) {
    ImageRow r;
    r.id = 10 + i;
    r.path = "/m/" + std::to_string(i) + ".jpg";
    sql += content_test::insertImageSql(r);
  }
  seed(sql + content_test::insertAudioSql(content_test::AudioRow()));
  EXPECT_EQ(-1, tree()->GetTotalMatches(s("").get(), 1));
  EXPECT_EQ(-1, tree()->GetTotalMatches(nullptr, 1));
  EXPECT_EQ(-1, tree()->GetTotalMatches(s("42").get(), 1));
  EXPECT_EQ(0, tree()->GetTotalMatches(s("0").get(), 1));
  EXPECT_EQ(3, tree()->GetTotalMatches(s("1").get(), 1));
  EXPECT_EQ(1, tree()->GetTotalMatches(s("2").get(), 1));
  EXPECT_EQ(0, tree()->GetTotalMatches(s("3").get(), 1));
  // From the cache outside certification mode, from the database inside it.
  MultiMediaDbConnector::GetInstance()->ExecSqlStatmentNoValueReturn("delete from ImageTable;");
  EXPECT_EQ(3, tree()->GetTotalMatches(s("1").get(), 1));
  NUVSetDlnaCertificationState(1);
  EXPECT_EQ(0, tree()->GetTotalMatches(s("1").get(), 1));
}

TEST_F(Tree, UnknownOrMissingContainersAreLogged) {
  LogCapture log;
  EXPECT_EQ(1, tree()->GetContents(1, s("77").get(), 0, 1, true));
  EXPECT_TRUE(log.has(" [CDSTreeManager] CE instance returned is NULL -- __FindCEInstance"));
  EXPECT_TRUE(
      log.has("[CDSTreeManager] Unable to find CE Instance, maybe ContainerID is not "
              "present in the list -- GetContents"));
  EXPECT_EQ(1, tree()->GetContents(1, nullptr, 0, 1, true));
  EXPECT_TRUE(log.has("[CDSTreeManager] pContainerID is NULL or not valid -- GetContents"));
  EXPECT_EQ(1, tree()->GetContent(1, s("").get(), s("1").get(), true));
  EXPECT_TRUE(log.has("[CDSTreeManager] pContainerID is NULL or not valid -- GetContent"));
  EXPECT_EQ(1, tree()->GetContent(1, s("8").get(), s("1").get(), true));
  EXPECT_TRUE(
      log.has("[CDSTreeManager] Unable to find CE Instance, maybe ContainerID is not "
              "present in the list -- GetContent"));
  EXPECT_EQ(1, tree()->DestroyContent(1, nullptr, s("1").get()));
  EXPECT_TRUE(log.has("[CDSTreeManager] pContainerID is NULL or not valid -- DestroyContent"));
  EXPECT_EQ(1, tree()->DestroyContent(1, s("8").get(), s("1").get()));
  EXPECT_TRUE(
      log.has("[CDSTreeManager] Unable to find CE Instance, maybe ContainerID is not "
              "present in the list -- DestroyContent"));
  EXPECT_TRUE(AnswerRecorder::instance().answers().empty());
}

TEST_F(Tree, ContentsAnswerWithARecordList) {
  seed(content_test::insertAudioSql(content_test::AudioRow()));
  EXPECT_EQ(0, tree()->GetContents(7, s("2").get(), 0, 1, true));
  auto answers = AnswerRecorder::instance().answers();
  ASSERT_EQ(1u, answers.size());
  EXPECT_EQ(7, answers[0].requestID);
  EXPECT_EQ(NUVCDSWL_RES_CONTENTS, answers[0].type);
  EXPECT_EQ(NUVCDSWL_RES_SUCCESS, answers[0].result);
  EXPECT_EQ(2, answers[0].recordKind);
  EXPECT_EQ(1, answers[0].pageSize);
  EXPECT_EQ((std::vector<std::string>{"2"}), answers[0].listTexts);
}

TEST_F(Tree, AnEmptyPageIsLoggedAndAnsweredWithNoList) {
  LogCapture log;
  EXPECT_EQ(0, tree()->GetContents(8, s("3").get(), 5, 2, true));
  EXPECT_TRUE(log.has("[CE] Content List is NULL!!! startIndex = 5, count = 2"));
  auto answers = AnswerRecorder::instance().answers();
  ASSERT_EQ(1u, answers.size());
  EXPECT_EQ(NUVCDSWL_RES_SUCCESS, answers[0].result);
  EXPECT_FALSE(answers[0].listPresent);
}

TEST_F(Tree, RootListsNothingAndSaysSo) {
  EXPECT_EQ(0, tree()->GetContents(9, s("0").get(), 0, 1, true));
  auto answers = AnswerRecorder::instance().answers();
  ASSERT_EQ(1u, answers.size());
  EXPECT_EQ(NUVCDSWL_RES_CONTENTS, answers[0].type);
  EXPECT_EQ(NUVCDSWL_RES_FAILURE, answers[0].result);
  EXPECT_FALSE(answers[0].listPresent);
}

TEST_F(Tree, RegisterUploadedContentAnswersTypeThree) {
  EXPECT_EQ(0, tree()->RegisterUploadedContent(4, s("1").get(), s("/x").get()));
  auto answers = AnswerRecorder::instance().answers();
  ASSERT_EQ(1u, answers.size());
  EXPECT_EQ(NUVCDSWL_RES_UPLOAD_REGISTERED, answers[0].type);
  EXPECT_EQ(NUVCDSWL_RES_SUCCESS, answers[0].result);
}

TEST_F(Tree, NewContainersGetRisingIdsAndTellTheListeners) {
  Listener listener;
  EXPECT_EQ(0, tree()->RegisterContainerEventListener(nullptr));
  EXPECT_EQ(1, tree()->RegisterContainerEventListener(&listener));
  EXPECT_EQ(1u, listener.GetListenerID());
  Text id(tree()->GetNewContainerIDMA());
  EXPECT_EQ("4", text(id.get()));
  Text added(tree()->AddNewContainerToListMA(1, s("0").get(), s("Trip").get(),
                                             s("object.container.album.photoAlbum").get()));
  ASSERT_EQ("5", text(added.get()));
  ContainerInfo* c = tree()->GetContainerInformation(1, added.get());
  ASSERT_NE(nullptr, c);
  EXPECT_EQ("0", text(c->GetParentID()));
  EXPECT_EQ("Trip", text(c->GetName()));
  EXPECT_EQ("object.container.album.photoAlbum", text(c->GetUPnPClass()));
  EXPECT_EQ("0", text(c->GetAccessRestriction()));
  EXPECT_EQ("/Media", text(c->ReadCEInfo()->GetBasePath()));
  EXPECT_EQ(0u, c->ReadCEInfo()->GetMediaKind());
  EXPECT_EQ(2, c->ReadCEInfo()->GetThirdValue());
  EXPECT_EQ("5", text(tree()->GetNextContainerInformation(1, s("3").get())->GetID()));
  EXPECT_EQ((std::vector<std::string>{"0:5"}), listener.events);

  LogCapture log;
  EXPECT_EQ(nullptr, tree()->AddNewContainerToListMA(1, nullptr, s("x").get(), s("y").get()));
  EXPECT_TRUE(log.has("CDSTM : Fail AddNewContainerToListMA"));
  EXPECT_EQ(1, tree()->DeregisterContainerEventListener(1));
  EXPECT_EQ(0, tree()->DeregisterContainerEventListener(1));
  EXPECT_EQ(0u, listener.GetListenerID());
  tree()->Notify(NUV_CDSEVENT_CONTENT_ADDED, s("1").get());
  EXPECT_EQ(1u, listener.events.size());
}

TEST_F(Tree, NotifyReachesEveryRegisteredListener) {
  Listener a, b;
  ASSERT_EQ(1, tree()->RegisterContainerEventListener(&a));
  ASSERT_EQ(1, tree()->RegisterContainerEventListener(&b));
  EXPECT_EQ(2u, b.GetListenerID());
  DMSCDSList list;
  tree()->Notify(NUV_CDSEVENT_CONTAINER_UPDATED, &list);
  tree()->Notify(NUV_CDSEVENT_CONTENT_REMOVED, s("12").get());
  EXPECT_EQ((std::vector<std::string>{"1:list", "3:12"}), a.events);
  EXPECT_EQ(a.events, b.events);
  tree()->DeregisterContainerEventListener(1);
  tree()->DeregisterContainerEventListener(2);
}

TEST(MultiMediaDBEnumerator, MimeTypeFromTheExtensionIgnoringCase) {
  MultiMediaDBEnumerator e(nullptr, 1);
  auto mime = [&e](const char* name) {
    Text in = s(name);
    Text out(e.GetContentMIMEType(in.get()));
    return out == nullptr ? std::string("<null>") : text(out.get());
  };
  EXPECT_EQ("audio/mpeg", mime("/a/b.mp3"));
  EXPECT_EQ("audio/mp4", mime("x.3gp"));
  EXPECT_EQ("audio/mp4", mime("x.M4A"));
  EXPECT_EQ("audio/mp4", mime("x.aac"));
  EXPECT_EQ("video/mp4", mime("x.Mp4"));
  EXPECT_EQ("video/mp4", mime("x.m4v"));
  EXPECT_EQ("audio/vnd.dlna.adts", mime("x.adts"));
  EXPECT_EQ("image/jpeg", mime("x.jpeg"));
  EXPECT_EQ("image/jpeg", mime("DSC0001.JPG"));
  EXPECT_EQ("video/x-divx", mime("x.avi"));
  EXPECT_EQ("<null>", mime("x.png"));
  EXPECT_EQ("<null>", mime("noextension"));
  EXPECT_EQ("<null>", mime("x.jpg.bak"));
  EXPECT_EQ(nullptr, e.GetContentMIMEType(nullptr));
}

TEST(MultiMediaDBEnumerator, OtherKindsCountNothingOrFail) {
  MultiMediaDBEnumerator root(nullptr, 0);
  MultiMediaDBEnumerator four(nullptr, 4);
  MultiMediaDBEnumerator seven(nullptr, 7);
  EXPECT_EQ(0, root.GetTotalMatches(1, nullptr));
  EXPECT_EQ(0, four.GetTotalMatches(1, nullptr));
  LogCapture log;
  EXPECT_EQ(-1, seven.GetTotalMatches(1, nullptr));
  EXPECT_TRUE(log.has("[CE] Invalid Category, GetmTotalMatches()!!!"));
  EXPECT_EQ(1, seven.CreateContent(1, nullptr));
  EXPECT_EQ(1, seven.GetSubContainerList(1, nullptr, nullptr));
  EXPECT_EQ(1, seven.ModifyEventReceived(1, nullptr));
}

// ---- X_GetFeatureList ----

const char kDefaultDocument[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Features xmlns=\"urn:schemas-upnp-org:av:avs\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xsi:schemaLocation=\"urn:schemas-upnp-org:av:avs "
    "http://www.upnp.org/schemas/av/avs.xsd\"> <Feature name=\"example.com_BASICVIEW\" "
    "version=\"1\"><container id=\"1\" type=\"object.item.imageItem\"/><container id=\"2\" "
    "type=\"object.item.audioItem\"/><container id=\"3\" "
    "type=\"object.item.videoItem\"/></Feature></Features>";

// The Features vocabulary of the AV "avs" namespace, written for this test:
// the system's gupnp-av schemas do not declare it.
const char kFeaturesSchema[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<xsd:schema xmlns:xsd="http://www.w3.org/2001/XMLSchema"
            xmlns:avs="urn:schemas-upnp-org:av:avs"
            targetNamespace="urn:schemas-upnp-org:av:avs" elementFormDefault="qualified">
  <xsd:simpleType name="itemClass">
    <xsd:restriction base="xsd:string">
      <xsd:enumeration value="object.item.imageItem"/>
      <xsd:enumeration value="object.item.audioItem"/>
      <xsd:enumeration value="object.item.videoItem"/>
    </xsd:restriction>
  </xsd:simpleType>
  <xsd:element name="Features">
    <xsd:complexType>
      <xsd:sequence>
        <xsd:element name="Feature" maxOccurs="unbounded">
          <xsd:complexType>
            <xsd:sequence>
              <xsd:element name="container" minOccurs="0" maxOccurs="unbounded">
                <xsd:complexType>
                  <xsd:attribute name="id" type="xsd:string" use="required"/>
                  <xsd:attribute name="type" type="avs:itemClass" use="required"/>
                </xsd:complexType>
              </xsd:element>
            </xsd:sequence>
            <xsd:attribute name="name" type="xsd:string" use="required"/>
            <xsd:attribute name="version" type="xsd:unsignedInt" use="required"/>
          </xsd:complexType>
        </xsd:element>
      </xsd:sequence>
    </xsd:complexType>
  </xsd:element>
</xsd:schema>
)";

std::string run(const std::string& command) {
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return "<popen failed>";
  std::string out;
  char buffer[1024];
  size_t got;
  while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, got);
  int status = pclose(pipe);
  return out + "[exit " + std::to_string(WEXITSTATUS(status)) + "]";
}

TEST_F(Tree, FeatureListWithDefaults) {
  Text document(tree()->GetBasicViewInformationMA());
  ASSERT_NE(nullptr, document);
  EXPECT_EQ(kDefaultDocument, text(document.get()));
}

TEST_F(Tree, FeatureListValidatesAndParses) {
  NUVSetConfiguration("VENDOR-DOMAIN", "camera.example.net");
  CDSTreeManager::DestroyInstance();
  Text document(tree()->GetBasicViewInformationMA());
  ASSERT_NE(nullptr, document);
  std::string xml = scratchPath("features.xml");
  std::string xsd = scratchPath("avs-features.xsd");
  content_test::writeFile(xml, text(document.get()));
  content_test::writeFile(xsd, kFeaturesSchema);
  EXPECT_EQ("[exit 0]", run("xmllint --nonet --noout '" + xml + "'"));
  EXPECT_EQ(xml + " validates\n[exit 0]",
            run("xmllint --nonet --noout --schema '" + xsd + "' '" + xml + "'"));
  EXPECT_EQ("3\n[exit 0]",
            run("xmllint --nonet --xpath \"count(//*[local-name()='container'])\" '" + xml + "'"));
  EXPECT_EQ(
      "camera.example.net_BASICVIEW\n[exit 0]",
      run("xmllint --nonet --xpath \"string(//*[local-name()='Feature']/@name)\" '" + xml + "'"));
  // A document missing a required attribute fails the same schema.
  std::string broken = scratchPath("broken.xml");
  std::string bad = text(document.get());
  bad.replace(bad.find(" version=\"1\""), 12, "");
  content_test::writeFile(broken, bad);
  EXPECT_NE(std::string::npos,
            run("xmllint --nonet --noout --schema '" + xsd + "' '" + broken + "'")
                .find("fails to validate"));
}

TEST_F(Tree, FeatureListFollowsTheConfiguration) {
  NUVSetConfiguration("VENDOR-DOMAIN", "a\"b&c");
  NUVSetConfiguration("BASICVIEW-CONTAINERS", " 11 ,, 33");
  Text document(tree()->GetBasicViewInformationMA());
  std::string xml = text(document.get());
  EXPECT_NE(std::string::npos, xml.find("<Feature name=\"a&quot;b&amp;c_BASICVIEW\" version=\"1\">"
                                        "<container id=\"11\" type=\"object.item.imageItem\"/>"
                                        "<container id=\"33\" type=\"object.item.videoItem\"/>"
                                        "</Feature></Features>"))
      << xml;
  EXPECT_EQ(std::string::npos, xml.find("audioItem"));
}

TEST_F(Tree, DefaultContainerMaskChoosesWhatTheViewOffers) {
  NUVSetConfiguration("DefaultContainer", "5");
  EXPECT_EQ(5, tree()->GetDefaultContainer());
  std::string xml = text(Text(tree()->GetBasicViewInformationMA()).get());
  EXPECT_NE(std::string::npos, xml.find("imageItem"));
  EXPECT_EQ(std::string::npos, xml.find("audioItem"));
  EXPECT_NE(std::string::npos, xml.find("videoItem"));
  EXPECT_EQ(0, tree()->SetSetDefaultContainer(2));
  xml = text(Text(tree()->GetBasicViewInformationMA()).get());
  EXPECT_NE(std::string::npos, xml.find("version=\"1\"><container id=\"2\" "
                                        "type=\"object.item.audioItem\"/></Feature></Features>"));
  EXPECT_EQ(0, tree()->SetSetDefaultContainer(0));
  xml = text(Text(tree()->GetBasicViewInformationMA()).get());
  EXPECT_NE(std::string::npos, xml.find("version=\"1\"></Feature></Features>"));
  EXPECT_EQ(1, tree()->SetSetDefaultContainer(8));
  EXPECT_EQ(1, tree()->SetSetDefaultContainer(-1));
  EXPECT_EQ(0, tree()->GetDefaultContainer());
}

TEST_F(Tree, UnreadableDefaultContainerSettingMeansAll) {
  NUVSetConfiguration("DefaultContainer", "seven");
  EXPECT_EQ(7, tree()->GetDefaultContainer());
}

}  // namespace

TEST_F(Tree, APageThatShrankSinceItWasCountedGivesWhatIsLeft) {
  content_test::AudioRow first;
  content_test::AudioRow second;
  second.id = 3;
  second.path = "/media/MUSIC/other.mp3";
  second.uri = "/nuvmedia/3.mp3";
  seed(content_test::insertAudioSql(first) + content_test::insertAudioSql(second));
  // Counted at two; one is destroyed before the page is read.
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  ASSERT_TRUE(db->ExecSqlStatmentNoValueReturn(
      "delete from AudioTable where id=3; delete from ObjectTable where id=3;"));
  EXPECT_EQ(0, tree()->GetContents(9, s("2").get(), 0, 2, true));
  auto answers = AnswerRecorder::instance().answers();
  ASSERT_EQ(1u, answers.size());
  EXPECT_EQ(NUVCDSWL_RES_SUCCESS, answers[0].result);
  EXPECT_EQ((std::vector<std::string>{"2"}), answers[0].listTexts);
}
