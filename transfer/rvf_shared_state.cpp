// RVFStreamingThruGet's process-wide state and the C functions through which
// the camera side and the host application set it (dms_live_view_server.h).
#include <cstring>
#include <new>

#include "dms_live_view.h"
#include "dms_live_view_server.h"
#include "dms_string.h"
#include "export_guard.h"
#include "nuv_log.h"
#include "rvf_streaming_thru_get.h"

std::mutex RVFStreamingThruGet::m_slotMutex;
void* RVFStreamingThruGet::m_ptrFrameBuf = nullptr;
long long RVFStreamingThruGet::m_nFrameBufSize = 0;
std::atomic<int32_t> RVFStreamingThruGet::m_nSNOffset{0};
std::atomic<int32_t> RVFStreamingThruGet::m_nSNFileSize{0};
std::atomic<bool> RVFStreamingThruGet::m_bStopStreaming{false};
std::atomic<unsigned long> RVFStreamingThruGet::m_nStreamGeneration{0};
std::atomic<bool> RVFStreamingThruGet::m_bPauseStreaming{false};
std::mutex RVFStreamingThruGet::m_nameMutex;
// Never freed: handlers may compare against it until the process ends.
DMSAppString* RVFStreamingThruGet::m_strLastTakenPhotoname = new DMSAppString("111.jpg");

void RVFStreamingThruGet::setBufferPtr(void* frame, long long size) {
  std::lock_guard<std::mutex> lock(m_slotMutex);
  m_ptrFrameBuf = frame;
  m_nFrameBufSize = size;
}

RVFStreamingThruGet::Frame RVFStreamingThruGet::frameInSlot() {
  std::lock_guard<std::mutex> lock(m_slotMutex);
  // A slot without memory sends nothing, whatever size it claims.
  if (m_ptrFrameBuf == nullptr || m_nFrameBufSize < 0) return {nullptr, 0};
  return {static_cast<const char*>(m_ptrFrameBuf), m_nFrameBufSize};
}

void RVFStreamingThruGet::setSNInfo(long offset, long size) {
  m_nSNOffset.store(static_cast<int32_t>(offset));
  m_nSNFileSize.store(static_cast<int32_t>(size));
}

void RVFStreamingThruGet::setStreamingStop(bool stop) { m_bStopStreaming.store(stop); }

void RVFStreamingThruGet::stop_streaming() {
  NUVPrintf(NUV_LOG_INFO, "[RVFStreamingThruGet::stop_streaming ()] is called \n");
  m_bStopStreaming.store(true);
  // Wakes a sender waiting for a frame, and a producer waiting for the
  // sender.
  if (g_RVFsemBufferReadComplete != nullptr) sem_post(g_RVFsemBufferReadComplete);
  if (g_RVFsemBufferReady4Read != nullptr) sem_post(g_RVFsemBufferReady4Read);
}

void RVFStreamingThruGet::pause_streaming() {
  NUVPrintf(NUV_LOG_INFO, "[RVFStreamingThruGet::pause_streaming ()] is called \n");
  m_bPauseStreaming.store(true);
}

void RVFStreamingThruGet::resume_streaming() {
  NUVPrintf(NUV_LOG_INFO, "[RVFStreamingThruGet::resume_streaming ()] is called \n");
  m_bPauseStreaming.store(false);
}

bool RVFStreamingThruGet::IsPaused() { return m_bPauseStreaming.load(); }

bool RVFStreamingThruGet::SetLastTakenPhotoName(const char* name) {
  if (name == nullptr || name[0] == '\0' || strchr(name, '/') != nullptr) return false;
  std::lock_guard<std::mutex> lock(m_nameMutex);
  if (m_strLastTakenPhotoname->Copy(name) != 1) return false;
  return true;
}

std::string RVFStreamingThruGet::LastTakenPhotoName() {
  std::lock_guard<std::mutex> lock(m_nameMutex);
  const char* name = m_strLastTakenPhotoname->ReadString();
  return name != nullptr ? name : "";
}

// ---- The C interface; nothing here throws past it ----

extern "C" void DMSLiveViewSetBufferPtr(void* frame, long long size) {
  dms_export::guardedVoid("DMSLiveViewSetBufferPtr",
                          [&] { RVFStreamingThruGet::setBufferPtr(frame, size); });
}

extern "C" void DMSLiveViewSetSNInfo(long offset, long size) {
  RVFStreamingThruGet::setSNInfo(offset, size);
}

extern "C" void DMSLiveViewSetStreamingStop(bool stop) {
  RVFStreamingThruGet::setStreamingStop(stop);
}

extern "C" void DMSLiveViewStopStreaming(void) { RVFStreamingThruGet::stop_streaming(); }

extern "C" void DMSLiveViewPauseStreaming(void) { RVFStreamingThruGet::pause_streaming(); }

extern "C" void DMSLiveViewResumeStreaming(void) { RVFStreamingThruGet::resume_streaming(); }

extern "C" bool DMSLiveViewIsPaused(void) { return RVFStreamingThruGet::IsPaused(); }

extern "C" int DMSLiveViewSetLastTakenPhotoName(const char* name) {
  return dms_export::guarded("DMSLiveViewSetLastTakenPhotoName", 1, [name] {
    return RVFStreamingThruGet::SetLastTakenPhotoName(name) ? 0 : 1;
  });
}
