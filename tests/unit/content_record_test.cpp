// ContentsEnumeratorArgument, ContentsEnumeratorInitInfo and record lists.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "content_test_support.h"
#include "contents_enumerator_argument.h"
#include "contents_enumerator_init_info.h"
#include "dms_list.h"
#include "dms_string.h"
#include "record_list.h"

namespace {

using content_test::text;

DMSAppString* s(const char* value) { return new DMSAppString(value); }

CDSHelper* fakeTable() { return reinterpret_cast<CDSHelper*>(0x1234); }

// A record with every field set to a value unlike its default.
std::unique_ptr<ContentsEnumeratorArgument> fullRecord() {
  auto r = std::make_unique<ContentsEnumeratorArgument>();
  r->SetObjectType(0);
  r->SetContentType(3);
  r->SetCodecType(9);
  r->SetContentID(s("42"));
  r->SetContentParentID(s("3"));
  r->SetChildCount(s("7"));
  r->SetImportURI(s("http://h/u"));
  r->SetDLNAPN(s("AVC"));
  r->SetMimetypeString(s("video/mp4"));
  r->SetTitle(s("T"));
  r->SetCreator(s("C"));
  r->SetAuthor(s("Au"));
  r->SetAlbum(s("Al"));
  r->SetDate(s("D"));
  r->SetDescription(s("De"));
  r->SetDuration(s("Du"));
  r->SetGenre(s("G"));
  r->SetResolution(s("1x2"));
  r->SetWidth(1);
  r->SetHeight(2);
  r->SetFilePath(s("/p"));
  r->SetFileName(s("n.mp4"));
  r->SetFileExtension(s("mp4"));
  r->SetSize(s("99"));
  r->SetUri(s("/u"));
  r->SetThumbUri(s("/t"));
  r->SetThumbnailOffset(10);
  r->SetThumbnailSize(11);
  r->SetThumbnailHeight(12);
  r->SetThumbnailWidth(13);
  r->SetScreenUri(s("/s"));
  r->SetScreennailOffset(14);
  r->SetScreennailSize(15);
  r->SetScreennailHeight(16);
  r->SetScreennailWidth(17);
  r->SetAudioProfile(5);
  r->SetArtist(s("Ar"));
  r->SetTrackNumber(s("3"));
  r->SetAudioBitrate(s("128"));
  r->SetAudioChannelsNumber(2);
  r->SetAudioSampleFrequency(s("44100"));
  r->SetAudioBitPerSample(s("16"));
  r->SetAlbumArtIncludeFlag(true);
  r->SetAlbumArtHeight(300);
  r->SetAlbumArtWidht(400);
  r->SetVideoProfile(6);
  r->SetVideoLevel(3.1f);
  r->SetVideoFrameRate(30);
  r->SetVideoBitrate(4.5f);
  return r;
}

TEST(ContentsEnumeratorArgument, DefaultIsAnItemWithOctetStreamAndMinusOnes) {
  ContentsEnumeratorArgument r;
  EXPECT_EQ(50, r.GetObjectType());
  EXPECT_EQ("application/octet-stream", text(r.GetMimeTypeString()));
  EXPECT_EQ(-1, r.GetWidth());
  EXPECT_EQ(-1, r.GetHeight());
  EXPECT_EQ(-1, r.GetThumbnailOffset());
  EXPECT_EQ(-1, r.GetThumbnailSize());
  EXPECT_EQ(-1, r.GetThumbnailHeight());
  EXPECT_EQ(-1, r.GetThumbnailWidth());
  EXPECT_EQ(-1, r.GetScreennailOffset());
  EXPECT_EQ(-1, r.GetScreennailSize());
  EXPECT_EQ(-1, r.GetScreennailHeight());
  EXPECT_EQ(-1, r.GetScreennailWidth());
  EXPECT_EQ(0, r.GetContentType());
  EXPECT_EQ(0, r.GetCodecType());
  EXPECT_EQ(0, r.GetAudioProfile());
  EXPECT_EQ(0, r.GetAudioChannelsNumber());
  EXPECT_FALSE(r.GetAlbumArtIncludeFlag());
  EXPECT_EQ(0u, r.GetAlbumArtHeight());
  EXPECT_EQ(0u, r.GetAlbumArtWidht());
  EXPECT_EQ(0, r.GetVideoProfile());
  EXPECT_EQ(0.0f, r.GetVideoLevel());
  EXPECT_EQ(0, r.GetVideoFrameRate());
  EXPECT_EQ(0.0f, r.GetVideoBitrate());
  EXPECT_EQ(nullptr, r.GetContentID());
  EXPECT_EQ(nullptr, r.GetTitle());
  EXPECT_EQ(nullptr, r.GetImportURI());
  EXPECT_EQ(nullptr, r.GetUri());
}

TEST(ContentsEnumeratorArgument, EachDefaultRecordHasItsOwnMimeTypeCopy) {
  ContentsEnumeratorArgument a;
  ContentsEnumeratorArgument b;
  ASSERT_NE(a.GetMimeTypeString(), b.GetMimeTypeString());
  a.GetMimeTypeString()->Copy("image/jpeg");
  EXPECT_EQ("application/octet-stream", text(b.GetMimeTypeString()));
}

TEST(ContentsEnumeratorArgument, CopyDropsAudioChannelsAndKeepsEverythingElse) {
  auto source = fullRecord();
  ContentsEnumeratorArgument copy(*source);
  EXPECT_EQ(2, source->GetAudioChannelsNumber());
  EXPECT_EQ(0, copy.GetAudioChannelsNumber());

  EXPECT_EQ(0, copy.GetObjectType());
  EXPECT_EQ(3, copy.GetContentType());
  EXPECT_EQ(9, copy.GetCodecType());
  EXPECT_EQ("42", text(copy.GetContentID()));
  EXPECT_EQ("3", text(copy.GetContentParentID()));
  EXPECT_EQ("7", text(copy.GetChildCount()));
  EXPECT_EQ("http://h/u", text(copy.GetImportURI()));
  EXPECT_EQ("AVC", text(copy.GetDLNAPN()));
  EXPECT_EQ("video/mp4", text(copy.GetMimeTypeString()));
  EXPECT_EQ("T", text(copy.GetTitle()));
  EXPECT_EQ("C", text(copy.GetCreator()));
  EXPECT_EQ("Au", text(copy.GetAuthor()));
  EXPECT_EQ("Al", text(copy.GetAlbum()));
  EXPECT_EQ("D", text(copy.GetDate()));
  EXPECT_EQ("De", text(copy.GetDescription()));
  EXPECT_EQ("Du", text(copy.GetDuration()));
  EXPECT_EQ("G", text(copy.GetGenre()));
  EXPECT_EQ("1x2", text(copy.GetResolution()));
  EXPECT_EQ(1, copy.GetWidth());
  EXPECT_EQ(2, copy.GetHeight());
  EXPECT_EQ("/p", text(copy.GetFilePath()));
  EXPECT_EQ("n.mp4", text(copy.GetFileName()));
  EXPECT_EQ("mp4", text(copy.GetFileExtension()));
  EXPECT_EQ("99", text(copy.GetSize()));
  EXPECT_EQ("/u", text(copy.GetUri()));
  EXPECT_EQ("/t", text(copy.GetThumbUri()));
  EXPECT_EQ(10, copy.GetThumbnailOffset());
  EXPECT_EQ(11, copy.GetThumbnailSize());
  EXPECT_EQ(12, copy.GetThumbnailHeight());
  EXPECT_EQ(13, copy.GetThumbnailWidth());
  EXPECT_EQ("/s", text(copy.GetScreenUri()));
  EXPECT_EQ(14, copy.GetScreennailOffset());
  EXPECT_EQ(15, copy.GetScreennailSize());
  EXPECT_EQ(16, copy.GetScreennailHeight());
  EXPECT_EQ(17, copy.GetScreennailWidth());
  EXPECT_EQ(5, copy.GetAudioProfile());
  EXPECT_EQ("Ar", text(copy.GetArtist()));
  EXPECT_EQ("3", text(copy.GetTrackNumber()));
  EXPECT_EQ("128", text(copy.GetAudioBitrate()));
  EXPECT_EQ("44100", text(copy.GetAudioSampleFrequency()));
  EXPECT_EQ("16", text(copy.GetAudioBitPerSample()));
  EXPECT_TRUE(copy.GetAlbumArtIncludeFlag());
  EXPECT_EQ(300u, copy.GetAlbumArtHeight());
  EXPECT_EQ(400u, copy.GetAlbumArtWidht());
  EXPECT_EQ(6, copy.GetVideoProfile());
  EXPECT_FLOAT_EQ(3.1f, copy.GetVideoLevel());
  EXPECT_EQ(30, copy.GetVideoFrameRate());
  EXPECT_FLOAT_EQ(4.5f, copy.GetVideoBitrate());

  // Deep: the copy's strings are its own.
  EXPECT_NE(source->GetTitle(), copy.GetTitle());
  copy.SetTitle(s("Changed"));
  copy.GetUri()->Copy("/other");
  EXPECT_EQ("T", text(source->GetTitle()));
  EXPECT_EQ("/u", text(source->GetUri()));
}

TEST(ContentsEnumeratorArgument, CopyOfAbsentStringsStaysAbsent) {
  ContentsEnumeratorArgument source;
  ContentsEnumeratorArgument copy(source);
  EXPECT_EQ(nullptr, copy.GetTitle());
  EXPECT_EQ(nullptr, copy.GetImportURI());
  EXPECT_EQ("application/octet-stream", text(copy.GetMimeTypeString()));
}

TEST(ContentsEnumeratorArgument, RecordsTakeTheProfileTableFromTheInstalledSource) {
  ContentsEnumeratorArgument before;
  EXPECT_EQ(nullptr, before.GetProfileTable());
  ContentsEnumeratorArgument::SetProfileTableSource(&fakeTable);
  ContentsEnumeratorArgument after;
  ContentsEnumeratorArgument copy(before);
  ContentsEnumeratorArgument::SetProfileTableSource(nullptr);
  EXPECT_EQ(fakeTable(), after.GetProfileTable());
  EXPECT_EQ(fakeTable(), copy.GetProfileTable());  // the copy takes its own reference
}

TEST(ContentsEnumeratorArgument, SetTitleNullKeepsThePreviousTitle) {
  ContentsEnumeratorArgument r;
  r.SetTitle(s("Kept"));
  r.SetTitle(nullptr);
  EXPECT_EQ("Kept", text(r.GetTitle()));
}

TEST(ContentsEnumeratorArgument, SetTitleTrimsLeadingAndTrailingBlanks) {
  ContentsEnumeratorArgument r;
  r.SetTitle(s("   Holiday 2024  "));
  EXPECT_EQ("Holiday 2024", text(r.GetTitle()));
  EXPECT_EQ(12u, r.GetTitle()->GetStringLength());
}

TEST(ContentsEnumeratorArgument, StringSetterTakesOwnershipWithoutCopying) {
  ContentsEnumeratorArgument r;
  DMSAppString* mine = s("x");
  r.SetArtist(mine);
  EXPECT_EQ(mine, r.GetArtist());
}

TEST(ContentsEnumeratorArgument, SetImportUriDoesNotReleaseOrTrimThePrevious) {
  ContentsEnumeratorArgument r;
  std::unique_ptr<DMSAppString> first(s("  http://first  "));
  r.SetImportURI(first.get());
  EXPECT_EQ("  http://first  ", text(r.GetImportURI()));  // not trimmed
  DMSAppString* second = s("http://second");
  r.SetImportURI(second);
  // The first is still alive (ASan would report a use after free here).
  EXPECT_EQ("  http://first  ", text(first.get()));
  EXPECT_EQ(second, r.GetImportURI());
  r.SetImportURI(nullptr);
  EXPECT_EQ(nullptr, r.GetImportURI());
  delete second;
}

TEST(ContentsEnumeratorArgument, ClearResetsIdentityButKeepsUrisAndThumbnailNumbers) {
  auto r = fullRecord();
  EXPECT_EQ(0, r->ClearArgument());
  EXPECT_EQ("/u", text(r->GetUri()));
  EXPECT_EQ("/t", text(r->GetThumbUri()));
  EXPECT_EQ("/s", text(r->GetScreenUri()));
  EXPECT_EQ(10, r->GetThumbnailOffset());
  EXPECT_EQ(11, r->GetThumbnailSize());
  EXPECT_EQ(12, r->GetThumbnailHeight());
  EXPECT_EQ(13, r->GetThumbnailWidth());
  EXPECT_EQ(14, r->GetScreennailOffset());
  EXPECT_EQ(15, r->GetScreennailSize());
  EXPECT_EQ(16, r->GetScreennailHeight());
  EXPECT_EQ(17, r->GetScreennailWidth());

  EXPECT_EQ(nullptr, r->GetTitle());
  EXPECT_EQ("application/octet-stream", text(r->GetMimeTypeString()));
  EXPECT_EQ(50, r->GetObjectType());
  EXPECT_EQ(0, r->GetContentType());
  EXPECT_EQ(0, r->GetCodecType());
  DMSAppString* dropped[] = {r->GetContentID(),
                             r->GetContentParentID(),
                             r->GetChildCount(),
                             r->GetImportURI(),
                             r->GetDLNAPN(),
                             r->GetCreator(),
                             r->GetAuthor(),
                             r->GetAlbum(),
                             r->GetDate(),
                             r->GetDescription(),
                             r->GetDuration(),
                             r->GetGenre(),
                             r->GetResolution(),
                             r->GetFilePath(),
                             r->GetFileName(),
                             r->GetFileExtension(),
                             r->GetSize(),
                             r->GetArtist(),
                             r->GetTrackNumber(),
                             r->GetAudioBitrate(),
                             r->GetAudioSampleFrequency(),
                             r->GetAudioBitPerSample()};
  for (DMSAppString* field : dropped) EXPECT_EQ(nullptr, field);
  EXPECT_EQ(-1, r->GetWidth());
  EXPECT_EQ(-1, r->GetHeight());
  EXPECT_EQ(0, r->GetAudioProfile());
  EXPECT_EQ(0, r->GetAudioChannelsNumber());
  EXPECT_FALSE(r->GetAlbumArtIncludeFlag());
  EXPECT_EQ(0u, r->GetAlbumArtHeight());
  EXPECT_EQ(0u, r->GetAlbumArtWidht());
  EXPECT_EQ(0, r->GetVideoProfile());
  EXPECT_EQ(0.0f, r->GetVideoLevel());
  EXPECT_EQ(0, r->GetVideoFrameRate());
  EXPECT_EQ(0.0f, r->GetVideoBitrate());
}

TEST(ContentsEnumeratorArgument, ClearedRecordIsReusable) {
  auto r = fullRecord();
  DMSAppString* mime = r->GetMimeTypeString();
  r->ClearArgument();
  EXPECT_EQ(mime, r->GetMimeTypeString());  // overwritten in place
  r->SetTitle(s("again"));
  EXPECT_EQ("again", text(r->GetTitle()));
}

TEST(FreeContentsEnumeratorArgumentList, NullReturnsOneAndDoesNothing) {
  EXPECT_EQ(1, FreeContentsEnumeratorArgumentList(nullptr));
}

TEST(FreeContentsEnumeratorArgumentList, DestroysTheRecordAndReturnsOne) {
  // Under ASan a leak or double free here fails the run.
  EXPECT_EQ(1, FreeContentsEnumeratorArgumentList(fullRecord().release()));
}

TEST(ContentsEnumeratorInitInfo, DefaultsAreNullAndZero) {
  ContentsEnumeratorInitInfo info;
  EXPECT_EQ(nullptr, info.GetBasePath());
  EXPECT_EQ(0u, info.GetMediaKind());
  EXPECT_EQ(0, info.GetThirdValue());
}

TEST(ContentsEnumeratorInitInfo, KeepsAndReleasesItsBasePath) {
  ContentsEnumeratorInitInfo info(s("/Media"), 2, 3);
  EXPECT_EQ("/Media", text(info.GetBasePath()));
  EXPECT_EQ(2u, info.GetMediaKind());
  EXPECT_EQ(3, info.GetThirdValue());
}

TEST(RecordList, HoldsKindPageSizeThenRecordsInOrder) {
  DMSCDSList* list = newRecordList(2, 5);
  ASSERT_NE(nullptr, list);
  for (const char* id : {"a", "b"}) {
    auto* r = new ContentsEnumeratorArgument();
    r->SetContentID(s(id));
    ASSERT_TRUE(appendRecord(list, r));
  }
  EXPECT_EQ(4, list->Size());
  EXPECT_EQ(2, *static_cast<int*>(list->ReadFirstItemData()));
  EXPECT_EQ(2, recordListKind(list));
  EXPECT_EQ(5, recordListPageSize(list));
  EXPECT_EQ(2, recordListCount(list));
  EXPECT_EQ("a", text(recordListAt(list, 0)->GetContentID()));
  EXPECT_EQ("b", text(recordListAt(list, 1)->GetContentID()));
  EXPECT_EQ(nullptr, recordListAt(list, 2));
  freeRecordList(list);  // ASan checks that everything went
}

TEST(RecordList, ReleasingWithRemoveAllNeedsTheLeadingIntsFreedFirst) {
  // The shape callers rely on: two plain blocks, then records that
  // FreeContentsEnumeratorArgumentList releases.
  DMSCDSList* list = newRecordList(1, 1);
  ASSERT_NE(nullptr, list);
  ASSERT_TRUE(appendRecord(list, new ContentsEnumeratorArgument()));
  list->SetFirstItemToCurrentItem();
  stDMSCDSListItem out{};
  ASSERT_EQ(0, list->DeleteCurrentItem(&out));
  DMSAppMemFree(out.data);
  ASSERT_EQ(0, list->DeleteCurrentItem(&out));
  DMSAppMemFree(out.data);
  EXPECT_EQ(0, list->RemoveAllListItem(&FreeContentsEnumeratorArgumentList));
  delete list;
}

}  // namespace
