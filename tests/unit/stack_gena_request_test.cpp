// GENA request rules and NOTIFY bodies.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "gena_request.h"
#include "stack_limits.h"

namespace {

using dmsstack::GenaKind;
using dmsstack::NameValueList;

GenaKind classify(const char* method, const char* callback, const char* nt, const char* sid) {
  return dmsstack::classifyGenaRequest(method, callback, nt, sid);
}

TEST(GenaRequest, SubscribeNeedsACallbackAndTheEventNotificationType) {
  EXPECT_EQ(GenaKind::Subscribe, classify("SUBSCRIBE", "<http://h/>", "upnp:event", nullptr));
  EXPECT_EQ(GenaKind::Precondition, classify("SUBSCRIBE", "<http://h/>", nullptr, nullptr));
  EXPECT_EQ(GenaKind::Precondition, classify("SUBSCRIBE", "<http://h/>", "upnp:other", nullptr));
  EXPECT_EQ(GenaKind::Precondition, classify("SUBSCRIBE", nullptr, "upnp:event", nullptr));
  EXPECT_EQ(GenaKind::Precondition, classify("SUBSCRIBE", nullptr, nullptr, nullptr));
}

TEST(GenaRequest, ASidDoesNotGoWithACallbackOrNotificationType) {
  EXPECT_EQ(GenaKind::BadRequest, classify("SUBSCRIBE", "<http://h/>", "upnp:event", "uuid:1"));
  EXPECT_EQ(GenaKind::BadRequest, classify("SUBSCRIBE", nullptr, "upnp:event", "uuid:1"));
  EXPECT_EQ(GenaKind::Renew, classify("SUBSCRIBE", nullptr, nullptr, "uuid:1"));
  EXPECT_EQ(GenaKind::Unsubscribe, classify("UNSUBSCRIBE", nullptr, nullptr, "uuid:1"));
  EXPECT_EQ(GenaKind::BadRequest, classify("UNSUBSCRIBE", "<http://h/>", nullptr, "uuid:1"));
  EXPECT_EQ(GenaKind::BadRequest, classify("UNSUBSCRIBE", nullptr, "upnp:event", "uuid:1"));
  EXPECT_EQ(GenaKind::Precondition, classify("UNSUBSCRIBE", nullptr, nullptr, nullptr));
}

TEST(GenaRequest, OtherMethodsAreNotImplemented) {
  EXPECT_EQ(GenaKind::NotImplemented, classify("GET", nullptr, nullptr, nullptr));
  EXPECT_EQ(GenaKind::NotImplemented, classify("subscribe", "<http://h/>", "upnp:event", nullptr));
  EXPECT_EQ(GenaKind::NotImplemented, classify("NOTIFY", nullptr, nullptr, "uuid:1"));
}

TEST(GenaRequest, CallbacksAreTheBracketedHttpUrlsInOrder) {
  using V = std::vector<std::string>;
  EXPECT_EQ(V({"http://10.0.0.2:4000/a", "http://10.0.0.3/b"}),
            dmsstack::callbackUrls("<http://10.0.0.2:4000/a><http://10.0.0.3/b>"));
  EXPECT_EQ(V({"http://10.0.0.2/"}),
            dmsstack::callbackUrls(" <ftp://10.0.0.2/> junk <http://10.0.0.2/>"));
  EXPECT_EQ(V(), dmsstack::callbackUrls("http://10.0.0.2/"));
  EXPECT_EQ(V(), dmsstack::callbackUrls("<http://10.0.0.2/"));
  EXPECT_EQ(V(), dmsstack::callbackUrls("<http://>"));
  EXPECT_EQ(V(), dmsstack::callbackUrls("<https://10.0.0.2/>"));
  EXPECT_EQ(V(), dmsstack::callbackUrls("<>"));
  EXPECT_EQ(V(), dmsstack::callbackUrls(""));
}

TEST(GenaRequest, CallbacksAreLimitedInNumberAndLength) {
  std::string many;
  for (int i = 0; i < 20; ++i) many += "<http://10.0.0." + std::to_string(i) + "/>";
  EXPECT_EQ(dmsstack::kMaxEventCallbacks, dmsstack::callbackUrls(many).size());
  // Entries that are skipped still count: a long list of junk does not make
  // the parser look further.
  std::string junk;
  for (size_t i = 0; i < dmsstack::kMaxEventCallbacks; ++i) junk += "<x>";
  EXPECT_TRUE(dmsstack::callbackUrls(junk + "<http://10.0.0.2/>").empty());
  const std::string prefix = "http://10.0.0.2/";
  const std::string longest =
      prefix + std::string(dmsstack::kMaxEventCallbackBytes - prefix.size(), 'a');
  EXPECT_EQ(1u, dmsstack::callbackUrls("<" + longest + ">").size());
  EXPECT_TRUE(dmsstack::callbackUrls("<" + longest + "a>").empty());
}

TEST(GenaRequest, HostOfAUrl) {
  EXPECT_EQ("10.0.0.2", dmsstack::hostOfUrl("http://10.0.0.2:4000/event"));
  EXPECT_EQ("10.0.0.2", dmsstack::hostOfUrl("http://10.0.0.2"));
  EXPECT_EQ("10.0.0.2", dmsstack::hostOfUrl("http://10.0.0.2?x"));
  EXPECT_EQ("fe80::1", dmsstack::hostOfUrl("http://[fe80::1]:80/"));
  EXPECT_EQ("", dmsstack::hostOfUrl("http://[fe80::1/"));
  EXPECT_EQ("", dmsstack::hostOfUrl("http://user@10.0.0.2/"));
  EXPECT_EQ("", dmsstack::hostOfUrl("http:///path"));
  EXPECT_EQ("", dmsstack::hostOfUrl("ftp://10.0.0.2/"));
}

TEST(GenaRequest, EventKeysSkipZeroWhenTheyWrap) {
  EXPECT_EQ(1u, dmsstack::nextEventKey(0));
  EXPECT_EQ(2u, dmsstack::nextEventKey(1));
  EXPECT_EQ(1u, dmsstack::nextEventKey(UINT32_MAX));
}

TEST(GenaRequest, PropertySetEscapesValues) {
  EXPECT_EQ(
      "<?xml version=\"1.0\"?>\n"
      "<e:propertyset xmlns:e=\"urn:schemas-upnp-org:event-1-0\">"
      "<e:property><SystemUpdateID>7</SystemUpdateID></e:property>"
      "<e:property><ContainerUpdateIDs>a&lt;b&amp;c,1</ContainerUpdateIDs></e:property>"
      "</e:propertyset>",
      dmsstack::propertySet({{"SystemUpdateID", "7"}, {"ContainerUpdateIDs", "a<b&c,1"}}));
  EXPECT_EQ(
      "<?xml version=\"1.0\"?>\n"
      "<e:propertyset xmlns:e=\"urn:schemas-upnp-org:event-1-0\"></e:propertyset>",
      dmsstack::propertySet({}));
}

TEST(GenaRequest, MergedChangesKeepTheLatestValueInFirstChangeOrder) {
  NameValueList pending = {{"A", "1"}, {"B", "1"}};
  dmsstack::mergeChanges(&pending, {{"B", "2"}, {"C", "1"}});
  dmsstack::mergeChanges(&pending, {{"A", "3"}});
  EXPECT_EQ(NameValueList({{"A", "3"}, {"B", "2"}, {"C", "1"}}), pending);
}

}  // namespace
