// ssdp:alive messages of NUVDMSSendAliveTemporary, compared whole, and
// their sender's refusals.
#include <gtest/gtest.h>

#include "ssdp_alive.h"

using dmsstack::AliveTarget;
using dmsstack::buildAliveMessages;

namespace {

AliveTarget target() {
  AliveTarget t;
  t.location = "http://10.0.0.1:49152/DeviceDescription.xml";
  t.udn = "uuid:0123abcd-4567-49ef-8bcd-0123456789ab";
  t.deviceType = "urn:schemas-upnp-org:device:MediaServer:1";
  t.serviceTypes = {"urn:schemas-upnp-org:service:ConnectionManager:1",
                    "urn:schemas-upnp-org:service:ContentDirectory:1"};
  t.server = "Linux/6.1, UPnP/1.0, Portable SDK for UPnP devices/1.8.4";
  t.maxAge = 900;
  return t;
}

std::string message(const std::string& nt, const std::string& usn) {
  return "NOTIFY * HTTP/1.1\r\n"
         "HOST: 239.255.255.250:1900\r\n"
         "CACHE-CONTROL: max-age=900\r\n"
         "LOCATION: http://10.0.0.1:49152/DeviceDescription.xml\r\n"
         "NT: " +
         nt +
         "\r\n"
         "NTS: ssdp:alive\r\n"
         "SERVER: Linux/6.1, UPnP/1.0, Portable SDK for UPnP devices/1.8.4\r\n"
         "USN: " +
         usn +
         "\r\n"
         "\r\n";
}

}  // namespace

TEST(SsdpAlive, OneRoundAnnouncesRootUdnDeviceTypeAndEachService) {
  const std::string udn = "uuid:0123abcd-4567-49ef-8bcd-0123456789ab";
  std::vector<std::string> messages = buildAliveMessages(target());
  ASSERT_EQ(messages.size(), 5u);
  EXPECT_EQ(messages[0], message("upnp:rootdevice", udn + "::upnp:rootdevice"));
  EXPECT_EQ(messages[1], message(udn, udn));
  EXPECT_EQ(messages[2], message("urn:schemas-upnp-org:device:MediaServer:1",
                                 udn + "::urn:schemas-upnp-org:device:MediaServer:1"));
  EXPECT_EQ(messages[3], message("urn:schemas-upnp-org:service:ConnectionManager:1",
                                 udn + "::urn:schemas-upnp-org:service:ConnectionManager:1"));
  EXPECT_EQ(messages[4], message("urn:schemas-upnp-org:service:ContentDirectory:1",
                                 udn + "::urn:schemas-upnp-org:service:ContentDirectory:1"));
}

TEST(SsdpAlive, MissingDeviceTypeIsLeftOut) {
  AliveTarget t = target();
  t.deviceType.clear();
  t.serviceTypes.clear();
  EXPECT_EQ(buildAliveMessages(t).size(), 2u);
}

TEST(SsdpAlive, BadLocalAddressSendsNothing) {
  EXPECT_FALSE(dmsstack::sendAliveRounds("not an address", buildAliveMessages(target()), 1));
  // An address no local interface holds cannot be bound.
  EXPECT_FALSE(dmsstack::sendAliveRounds("192.0.2.254", buildAliveMessages(target()), 1));
}
