// The DIDL-Lite writer: one Browse page of 100 photos with every property
// and res element, the Filter test, joining a page into Result, and the
// SOAP body that carries it.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "action_info.h"
#include "browse_search_argument.h"
#include "cds_helper.h"
#include "contents_enumerator_argument.h"
#include "dms_list.h"
#include "dms_server.h"
#include "dms_string.h"
#include "fake_stack.h"
#include "soap_generator.h"
#include "soap_message.h"
#include "upnp_cds_utils.h"

namespace {

DMSAppString* s(const char* value) { return new DMSAppString(value); }

std::unique_ptr<ContentsEnumeratorArgument> photo(int id) {
  auto r = std::make_unique<ContentsEnumeratorArgument>();
  const std::string number = std::to_string(id);
  r->SetContentType(1);
  r->SetContentID(s(number.c_str()));
  r->SetContentParentID(s("1"));
  r->SetTitle(s(("DSC" + number + " at the beach & pier").c_str()));
  r->SetDate(s("2024-01-01"));
  r->SetDLNAPN(s("JPEG_LRG"));
  r->SetMimetypeString(s("image/jpeg"));
  r->SetSize(s("4123456"));
  r->SetResolution(s("4000x3000"));
  r->SetFilePath(s("/media/DCIM/100CAMERA"));
  r->SetFileName(s(("DSC" + number + ".JPG").c_str()));
  r->SetUri(s(("/nuvmedia/" + number + ".jpg").c_str()));
  r->SetThumbUri(s(("/nuvthumb/" + number + ".jpg").c_str()));
  r->SetScreenUri(s(("/nuvscreen/" + number + ".jpg").c_str()));
  r->SetThumbnailSize(8000);
  r->SetThumbnailHeight(120);
  r->SetThumbnailWidth(160);
  r->SetScreennailSize(60000);
  r->SetScreennailHeight(480);
  r->SetScreennailWidth(640);
  return r;
}

void freePage(DMSCDSList* pieces) { dms_cds::freePieces(pieces); }

void BM_PageOf100Photos(benchmark::State& state, const char* filter) {
  DMSAppSetHTTPStreamingPort(8200);
  CDSHelper::GetInstance();
  BrowseSearchArgument argument;
  argument.SetFilter(s(filter));
  argument.SetBaseURL(s("http://192.168.1.10:8200"));
  std::vector<std::unique_ptr<ContentsEnumeratorArgument>> records;
  for (int i = 0; i < 100; ++i) records.push_back(photo(i + 1));
  DMSCDSList pieces;
  for (auto _ : state) {
    for (auto& record : records)
      UPnPCDSUtils::__GenerateItemProperty(&argument, record.get(), &pieces);
    DMSCDSList* out = nullptr;
    UPnPCDSUtils::__AddOutArgs(&out, &pieces, 100, 5000, 1);
    benchmark::DoNotOptimize(out);
    state.PauseTiming();
    freePage(&pieces);
    dms_cds::deleteArgumentList(out);
    FakeStack::instance().reset();  // the fake records every camera call
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * 100);
}
BENCHMARK_CAPTURE(BM_PageOf100Photos, star, "*");
BENCHMARK_CAPTURE(BM_PageOf100Photos, list, "dc:title,dc:date,res,res@size,upnp:class");

// The response body of a Browse of 100 photos from its written pieces:
// output arguments, then the SOAP body the stack sends.
void BM_BrowseResponseBody(benchmark::State& state) {
  DMSAppSetHTTPStreamingPort(8200);
  CDSHelper::GetInstance();
  BrowseSearchArgument argument;
  argument.SetFilter(s("*"));
  argument.SetBaseURL(s("http://192.168.1.10:8200"));
  DMSCDSList pieces;
  for (int i = 0; i < 100; ++i) {
    auto record = photo(i + 1);
    UPnPCDSUtils::__GenerateItemProperty(&argument, record.get(), &pieces);
  }
  DMSAppString service("urn:schemas-upnp-org:service:ContentDirectory:1");
  DMSAppString action("Browse");
  size_t bytes = 0;
  for (auto _ : state) {
    DMSCDSList* out = nullptr;
    UPnPCDSUtils::__AddOutArgs(&out, &pieces, 100, 5000, 1);
    SOAPAppMessage message;
    SOAPAppGenerator::GetInstance()->GenerateSOAPBody(&service, &action, out, &message);
    bytes = message.GetBodyLength();
    benchmark::DoNotOptimize(message.ReadSOAPBody());
    dms_cds::deleteArgumentList(out);
  }
  freePage(&pieces);
  FakeStack::instance().reset();
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_BrowseResponseBody);

void BM_CheckFilter(benchmark::State& state) {
  DMSAppString filter("dc:title,dc:creator,upnp:artist,upnp:album,res@size,res@duration");
  for (auto _ : state) {
    benchmark::DoNotOptimize(UPnPCDSUtils::checkFilter(&filter, "res"));
    benchmark::DoNotOptimize(UPnPCDSUtils::checkFilter(&filter, "resolution"));
  }
}
BENCHMARK(BM_CheckFilter);

}  // namespace
