// SendFileThruGet: the body pump, one piece per "response sent" notification
// (see send_file_thru_get.h).
#include <algorithm>
#include <cstring>
#include <new>

#include "dms_platform.h"
#include "nuv_log.h"
#include "range_header.h"
#include "send_file_thru_get.h"
#include "transfer_limits.h"

using dms_transfer::kPieceBytes;
using dms_transfer::kSendBufferBytes;

bool SendFileThruGet::SendResponse(int) {
  if (sendBuffer_ == nullptr) {
    sendBuffer_.reset(new (std::nothrow) char[kSendBufferBytes]());
    if (sendBuffer_ == nullptr) {
      NUVHTTPSendPacket(profile_, connection_, nullptr, 0, 1);
      return true;
    }
    NUVPrintf(NUV_LOG_INFO, "[SendFileThruGet::SendResponse] Streaming started...");
  }
  if (file_ == nullptr || (videoThumbnail_ != 0 && imageBuffer_ == nullptr)) {
    __SendPiece(0, true);
    return true;
  }
  bool last = false;
  size_t length = 0;
  if (responseType_ == dms_transfer::kWholeResource) {
    length = __ReadWhole(sendBuffer_.get());
  } else {
    if (position_ == endPosition_) {
      __SendPiece(0, true);
      return true;
    }
    length = __ReadRange(sendBuffer_.get(), &last);
  }
  if (length == 0) {
    __CloseFile();
    last = true;
    NUVPrintf(NUV_LOG_INFO, "[SendFileThruGet::SendResponse] Sending last packet...");
  }
  __SendPiece(length, last);
  return true;
}

size_t SendFileThruGet::__ReadWhole(char* buffer) {
  if (videoThumbnail_ != 0) {
    // The picture is in memory: copy from the current position.
    const int64_t available = thumbnailSize_ - memoryPosition_;
    if (available <= 0) return 0;
    const auto wanted = static_cast<unsigned long>(std::min<int64_t>(available, kPieceBytes));
    unsigned long got = 0;
    DMSAppReadBufferByChar(buffer, imageBuffer_.get(), static_cast<unsigned long>(memoryPosition_),
                           wanted, static_cast<unsigned long>(available), &got);
    memoryPosition_ += static_cast<int64_t>(got);
    totalSent_ += static_cast<int64_t>(got);
    return got;
  }
  if (thumbnail_) {
    const int64_t remaining = thumbnailSize_ - totalSent_;
    size_t wanted = 0;
    if (thumbnailSize_ > static_cast<int>(kPieceBytes) - 1) {
      NUVPrintf(NUV_LOG_INFO,
                "[SendFileThruGet::SendResponse] Big size Thumbnail : totalBytesSent = %d, "
                "nThumbnailSize= %d",
                static_cast<int>(totalSent_), thumbnailSize_);
      wanted = static_cast<size_t>(std::max<int64_t>(0, std::min<int64_t>(remaining, kPieceBytes)));
    } else {
      wanted = static_cast<size_t>(std::max<int64_t>(0, remaining));
    }
    const size_t got = __ReadFile(buffer, wanted);
    totalSent_ += static_cast<int64_t>(got);
    return got;
  }
  return __ReadFile(buffer, kPieceBytes);
}

size_t SendFileThruGet::__ReadRange(char* buffer, bool* last) {
  const int64_t left = endPosition_ - position_;
  if (left <= 0) return 0;
  const auto wanted = static_cast<size_t>(std::min<int64_t>(left, kPieceBytes));
  size_t got = 0;
  if (videoThumbnail_ != 0) {
    // Ranges of an in-memory picture count from its first byte.
    const int64_t available = std::max<int64_t>(0, thumbnailSize_ - position_);
    got = static_cast<size_t>(std::min<int64_t>(available, static_cast<int64_t>(wanted)));
    if (got > 0) memcpy(buffer, imageBuffer_.get() + position_, got);
  } else {
    // A 64-bit seek: positions beyond 4 GiB must not wrap.
    if (streamPosition_ != position_ &&
        fseeko(file_, static_cast<off_t>(position_), SEEK_SET) != 0) {
      NUVPrintf(NUV_LOG_ERROR, "[SendFileThruGet::SendResponse] DMSAppSeekFileUlong error");
      __CloseFile();
      *last = true;
      return 0;
    }
    streamPosition_ = position_;
    got = __ReadFile(buffer, wanted);
  }
  position_ += static_cast<int64_t>(got);
  if (position_ >= endPosition_) {
    __CloseFile();
    *last = true;
  }
  return got;
}

size_t SendFileThruGet::__ReadFile(char* buffer, size_t wanted) {
  if (wanted == 0 || file_ == nullptr) return 0;
  unsigned long got = 0;
  if (DMSAppReadFile(file_, buffer, wanted, &got) == 0) got = 0;
  if (streamPosition_ >= 0) streamPosition_ += static_cast<int64_t>(got);
  return got;
}

void SendFileThruGet::__SendPiece(size_t length, bool last) {
  NUVHTTPSendPacket(profile_, connection_, sendBuffer_.get(), static_cast<int>(length),
                    last ? 1 : 0);
}
