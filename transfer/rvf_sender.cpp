// RVFStreamingThruGet: the sender thread, and the pieces it sends: the
// stream's frames and the small image (see rvf_streaming_thru_get.h).
#include <cerrno>
#include <climits>
#include <cstdio>
#include <new>
#include <system_error>

#include "dms_live_view.h"
#include "dms_platform.h"
#include "dms_string.h"
#include "nuv_log.h"
#include "rvf_streaming_thru_get.h"
#include "transfer_limits.h"

bool RVFStreamingThruGet::SendResponse(int) {
  if (!sender_.joinable() && !startSender()) {
    sendPiece(nullptr, 0, true);
    return false;
  }
  {
    std::lock_guard<std::mutex> lock(senderMutex_);
    ++piecesWanted_;
  }
  senderWake_.notify_all();
  return true;
}

bool RVFStreamingThruGet::startSender() {
  try {
    sender_ = std::thread(&RVFStreamingThruGet::senderMain, this);
    return true;
  } catch (const std::system_error& e) {
    NUVPrintf(NUV_LOG_ERROR, "[RVFStreamingThruGet] cannot start the sender thread: %s", e.what());
    return false;
  }
}

void RVFStreamingThruGet::stopSender() {
  {
    std::lock_guard<std::mutex> lock(senderMutex_);
    cancelled_.store(true);
  }
  senderWake_.notify_all();
  if (sender_.joinable()) sender_.join();
}

void RVFStreamingThruGet::senderMain() {
  if (streaming_ && !beginStream(streamUrl_)) return;
  for (;;) {
    {
      std::unique_lock<std::mutex> lock(senderMutex_);
      senderWake_.wait(lock, [this] { return piecesWanted_ > 0 || cancelled_.load(); });
      if (cancelled_.load()) return;
      --piecesWanted_;
    }
    if (streaming_) {
      sendVideoFrame();
    } else {
      sendScreenNail();
    }
  }
}

bool RVFStreamingThruGet::beginStream(const std::string& url) {
  DMSAppString quality(url.c_str());
  bool ready = setStreamingQuality(&quality);
  // An encoder that did not start never sends a frame: answered 503 at
  // once, as when the quality cannot be set, instead of a 200 whose body
  // never comes (a host without a live-view source gets this).
  if (ready) ready = start_RVF_streaming();
  if (cancelled_.load()) return false;
  if (!ready) {
    sendErrorReply(503);
    releaseRequest();
    CDSRVF_Sysfunc_set_Isvideo_hotswap(false);
    return false;
  }
  const bool sent = sendResponseHeader();
  releaseRequest();
  return sent;
}

void RVFStreamingThruGet::sendVideoFrame() {
  while (!headerFrameSent_) {
    if (!waitFrame()) return;
    const Frame frame = frameInSlot();
    if (frame.size == dms_transfer::kLiveViewHeaderFrameBytes) {
      sendPiece(frame.data, frame.size, m_bStopStreaming.load());
      headerFrameSent_ = true;
      if (g_RVFsemBufferReadComplete != nullptr) sem_post(g_RVFsemBufferReadComplete);
      return;
    }
    if (m_bStopStreaming.load()) {
      fputs("[RVFStreamingThruGet::SendResponse] stream was not send!!! abnormal finish!!!",
            stdout);
      fflush(stdout);
      // Ends the body at once rather than leaving the connection to time out.
      sendPiece(nullptr, 0, true);
      return;
    }
    NUVPrintf(NUV_LOG_INFO,
              "[RVFStreamingThruGet::SendResponse] this is first packet but not a header frame "
              "(224 size) so drop this frame\n");
    if (g_RVFsemBufferReadComplete != nullptr) sem_post(g_RVFsemBufferReadComplete);
  }
  if (!waitFrame()) return;
  const Frame frame = frameInSlot();
  sendPiece(frame.data, frame.size, m_bStopStreaming.load());
  if (g_RVFsemBufferReadComplete != nullptr) sem_post(g_RVFsemBufferReadComplete);
}

bool RVFStreamingThruGet::waitFrame() {
  const int error = waitSem(g_RVFsemBufferReady4Read, 0);
  if (error == ECANCELED) return false;
  if (generation_ == m_nStreamGeneration.load()) return true;
  // A newer request restarted the encoder: its stream is not this one's.
  // The frame goes back to the slot's next reader and this stream ends (one
  // live stream at a time, the newest), where it would otherwise take the
  // new stream's frames, its header among them.
  if (error == 0 && g_RVFsemBufferReady4Read != nullptr) sem_post(g_RVFsemBufferReady4Read);
  NUVPrintf(NUV_LOG_INFO, "[RVFStreamingThruGet] a newer live view replaced this one");
  sendPiece(nullptr, 0, true);
  return false;
}

void RVFStreamingThruGet::sendScreenNail() {
  if (sendBuffer_ == nullptr) {
    sendBuffer_.reset(new (std::nothrow) char[dms_transfer::kLiveViewPhotoBufferBytes]);
    if (sendBuffer_ == nullptr) {
      sendPiece(nullptr, 0, true);
      return;
    }
  }
  const std::string name = LastTakenPhotoName();
  if (!CDSRVF_req_ScreenNailInfo(name.c_str()) ||
      waitSem(g_RVFsemSNInfo, dms_transfer::kLiveViewProducerWaitMs) != 0) {
    sendPiece(nullptr, 0, true);
    return;
  }
  const int32_t offset = m_nSNOffset.load();
  int32_t size = m_nSNFileSize.load();
  // The whole image goes in one piece: one larger than the buffer (which no
  // small image is) is cut to it rather than overrun it.
  if (size > static_cast<int32_t>(dms_transfer::kLiveViewPhotoBufferBytes))
    size = static_cast<int32_t>(dms_transfer::kLiveViewPhotoBufferBytes);
  unsigned long got = 0;
  if (offset < 0 || size <= 0 || screenNailFile_ == nullptr ||
      DMSAppSeekFile(screenNailFile_, DMSAPP_SEEK_SET, offset) != 1 ||
      DMSAppReadFile(screenNailFile_, sendBuffer_.get(), static_cast<unsigned long>(size), &got) ==
          0) {
    got = 0;
  }
  sendPiece(sendBuffer_.get(), static_cast<long long>(got), true);
}

void RVFStreamingThruGet::sendPiece(const char* data, long long size, bool last) {
  if (data == nullptr || size < 0 || size > INT_MAX) size = 0;
  NUVHTTPSendPacket(profile_, connection_, data, static_cast<int>(size), last ? 1 : 0);
}
