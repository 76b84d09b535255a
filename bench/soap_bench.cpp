// The device side's SOAP path per control request: reading a Browse
// request's envelope, classifying the media server's answer and wrapping it
// in the envelope that goes on the wire (a 100-item Result of about 64 KiB).
#include <benchmark/benchmark.h>

#include <string>

#include "soap_reply.h"
#include "soap_request.h"

namespace {

const std::string kRequest =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><s:Envelope "
    "xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"><s:Body>"
    "<u:Browse xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\">"
    "<ObjectID>1$4$2</ObjectID><BrowseFlag>BrowseDirectChildren</BrowseFlag>"
    "<Filter>*</Filter><StartingIndex>200</StartingIndex><RequestedCount>100</RequestedCount>"
    "<SortCriteria></SortCriteria></u:Browse></s:Body></s:Envelope>";

std::string browseResponse() {
  std::string result;
  for (int i = 0; i < 100; ++i)
    result += "&lt;item id=&quot;1$4$2$" + std::to_string(i) +
              "&quot; parentID=&quot;1$4$2&quot; restricted=&quot;1&quot;&gt;&lt;dc:title&gt;"
              "DSC" +
              std::to_string(i) +
              " at the beach &amp;amp; pier&lt;/dc:title&gt;"
              "&lt;upnp:class&gt;object.item.imageItem.photo&lt;/upnp:class&gt;&lt;res "
              "protocolInfo=&quot;http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;"
              "DLNA.ORG_FLAGS=00f00000000000000000000000000000&quot; size=&quot;4123456&quot; "
              "resolution=&quot;4000x3000&quot;&gt;http://10.0.0.1:9000/nuvmedia/" +
              std::to_string(i) + ".jpg&lt;/res&gt;&lt;/item&gt;";
  return "<u:BrowseResponse xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\">"
         "\r\n<Result>&lt;DIDL-Lite&gt;" +
         result +
         "&lt;/DIDL-Lite&gt;</Result>\r\n"
         "<NumberReturned>100</NumberReturned>\r\n<TotalMatches>5000</TotalMatches>\r\n"
         "<UpdateID>7</UpdateID>\r\n</u:BrowseResponse>";
}

void BM_ReadBrowseRequest(benchmark::State& state) {
  dmsstack::SoapRequest request;
  for (auto _ : state) {
    benchmark::DoNotOptimize(dmsstack::parseSoapRequest(kRequest, 32, &request));
    benchmark::DoNotOptimize(request.arguments.data());
  }
}
BENCHMARK(BM_ReadBrowseRequest);

void BM_ReadSoapActionHeader(benchmark::State& state) {
  std::string type;
  std::string action;
  for (auto _ : state)
    benchmark::DoNotOptimize(dmsstack::parseSoapActionHeader(
        "\"urn:schemas-upnp-org:service:ContentDirectory:1#Browse\"", &type, &action));
}
BENCHMARK(BM_ReadSoapActionHeader);

void BM_ClassifyAndWrapBrowseAnswer(benchmark::State& state) {
  const std::string body = browseResponse();
  for (auto _ : state) {
    dmsstack::SoapReply reply = dmsstack::interpretReply(body);
    std::string wire = dmsstack::soapEnvelope(reply.xml);
    benchmark::DoNotOptimize(wire.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(body.size()));
}
BENCHMARK(BM_ClassifyAndWrapBrowseAnswer);

}  // namespace
