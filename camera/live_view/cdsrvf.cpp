// The camera's live-view operations and semaphores (dms_live_view.h), and
// the host application's live-view functions (dms_camera_host.h), over the
// producer and the last photo. Nothing here lets an exception out.
#include <semaphore.h>

#include <cstdio>
#include <string>

#include "dms_camera_host.h"
#include "dms_live_view.h"
#include "export_guard.h"
#include "last_photo.h"
#include "live_view_producer.h"
#include "nuv_log.h"
#include "server_hooks.h"

using dms_export::guarded;
using dms_export::guardedVoid;

namespace {

struct Semaphores {
  Semaphores() {
    for (sem_t* sem : {&ready, &complete, &smallImage, &quality, &stopped}) sem_init(sem, 0, 0);
  }
  sem_t ready;
  sem_t complete;
  sem_t smallImage;
  sem_t quality;
  sem_t stopped;
};

Semaphores& semaphores() {
  static Semaphores all;
  return all;
}

dms_camera::LiveViewProducer& producer() { return dms_camera::LiveViewProducer::instance(); }

}  // namespace

sem_t* g_RVFsemBufferReady4Read = &semaphores().ready;
sem_t* g_RVFsemBufferReadComplete = &semaphores().complete;
sem_t* g_RVFsemSNInfo = &semaphores().smallImage;
sem_t* g_RVFsemStreamQuality = &semaphores().quality;
sem_t* gMpegStopedSemaphore = &semaphores().stopped;

extern "C" bool CDSRVF_Mpegfunc_mpeg_start(void) {
  return guarded("CDSRVF_Mpegfunc_mpeg_start", false, [] { return producer().Start(); });
}

extern "C" bool CDSRVF_Mpegfunc_mpeg_stop(void) {
  return guarded("CDSRVF_Mpegfunc_mpeg_stop", false, [] { return producer().Stop(); });
}

extern "C" bool CDSRVF_Sysfunc_setStreamQuality(int quality) {
  return guarded("CDSRVF_Sysfunc_setStreamQuality", false,
                 [quality] { return producer().SetQuality(quality); });
}

extern "C" bool CDSRVF_Sysfunc_get_Isvideo_hotswap(void) {
  return guarded("CDSRVF_Sysfunc_get_Isvideo_hotswap", false, [] { return producer().Running(); });
}

extern "C" bool CDSRVF_Sysfunc_set_Isvideo_hotswap(bool running) {
  return guarded("CDSRVF_Sysfunc_set_Isvideo_hotswap", false, [running] {
    producer().SetRunning(running);
    return true;
  });
}

extern "C" bool CDSRVF_Sysfunc_set_Streaming_stop_status(bool stopped) {
  return guarded("CDSRVF_Sysfunc_set_Streaming_stop_status", false, [stopped] {
    producer().SetConsumerStopped(stopped);
    return true;
  });
}

extern "C" bool CDSRVF_Sysfunc_send_RVF_async_event(int event, char*, int length) {
  // A host has no camera screen to tell: the event is logged.
  NUVPrintf(NUV_LOG_INFO, "[LiveView] event %d (%d bytes of data)", event, length);
  return true;
}

extern "C" bool CDSRVF_req_ScreenNailInfo(const char* name) {
  return guarded("CDSRVF_req_ScreenNailInfo", false, [name] {
    long offset = 0;
    long size = 0;
    if (name == nullptr || !dms_camera::LastPhoto::instance().SmallImage(name, &offset, &size))
      return false;
    dms_camera::serverSetSNInfo(offset, size);
    if (g_RVFsemSNInfo != nullptr) sem_post(g_RVFsemSNInfo);
    return true;
  });
}

extern "C" int DmsLiveViewSetSource(const char* source, char* error, size_t errorSize) {
  const int kThrew = -1;
  const int result = guarded("DmsLiveViewSetSource", kThrew, [&] {
    std::string reason;
    if (producer().Configure(source != nullptr ? source : "", &reason)) return 0;
    if (error != nullptr && errorSize > 0) snprintf(error, errorSize, "%s", reason.c_str());
    return 1;
  });
  if (result != kThrew) return result;
  if (error != nullptr && errorSize > 0) snprintf(error, errorSize, "out of memory");
  return 1;
}

extern "C" void DmsLiveViewShutdown(void) {
  guardedVoid("DmsLiveViewShutdown", [] { producer().Shutdown(); });
}

extern "C" int DmsLiveViewPhotoRegistered(const char* path) {
  return guarded("DmsLiveViewPhotoRegistered", 1, [path] {
    return path != nullptr && dms_camera::LastPhoto::instance().Taken(path) ? 0 : 1;
  });
}
