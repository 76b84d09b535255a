// RVFStreamingThruGet: the encoder's start and stop, the quality change, and
// the waits on the producer's semaphores (see rvf_streaming_thru_get.h).
#include <cerrno>
#include <ctime>

#include "dms_live_view.h"
#include "dms_string.h"
#include "nuv_log.h"
#include "rvf_streaming_thru_get.h"
#include "transfer_limits.h"

namespace {

// sem_timedwait counts on the wall clock. Waits are cut into slices of a
// few milliseconds, so a clock change stretches one slice at most; the
// overall limits are measured on the steady clock. (sem_clockwait would
// avoid even that, but ThreadSanitizer does not see it synchronise.)
timespec wallClockAfter(unsigned long ms) {
  timespec at{};
  clock_gettime(CLOCK_REALTIME, &at);
  at.tv_sec += static_cast<time_t>(ms / 1000);
  at.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
  if (at.tv_nsec >= 1000000000L) {
    at.tv_sec += 1;
    at.tv_nsec -= 1000000000L;
  }
  return at;
}

void drain(sem_t* sem) {
  if (sem == nullptr) return;
  while (sem_trywait(sem) == 0) {
  }
}

}  // namespace

std::atomic<unsigned long> RVFStreamingThruGet::startSettleMs_{1000};

void RVFStreamingThruGet::SetStartSettleMsForTest(unsigned long ms) { startSettleMs_.store(ms); }

int RVFStreamingThruGet::waitSem(sem_t* sem, unsigned long limitMs) {
  if (sem == nullptr) return 0;
  const auto start = std::chrono::steady_clock::now();
  for (;;) {
    if (cancelled_.load()) return ECANCELED;
    if (generation_ != 0 && generation_ != m_nStreamGeneration.load()) return ESTALE;
    const timespec slice = wallClockAfter(dms_transfer::kLiveViewWaitSliceMs);
    if (sem_timedwait(sem, &slice) == 0) return 0;
    const int error = errno;
    if (error != ETIMEDOUT && error != EINTR) return error;
    if (limitMs != 0 &&
        std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(limitMs)) {
      return ETIMEDOUT;
    }
  }
}

void RVFStreamingThruGet::sleepFor(unsigned long ms) {
  std::unique_lock<std::mutex> lock(senderMutex_);
  senderWake_.wait_for(lock, std::chrono::milliseconds(ms), [this] { return cancelled_.load(); });
}

bool RVFStreamingThruGet::start_RVF_streaming() {
  NUVPrintf(NUV_LOG_INFO, "[RVFStreamingThruGet::start_RVF_streaming ()] is called \n");
  m_bStopStreaming.store(false);
  generation_ = ++m_nStreamGeneration;
  const bool started = CDSRVF_Mpegfunc_mpeg_start();
  if (!started) {
    NUVPrintf(NUV_LOG_ERROR,
              "RVFStreamingThruGet::start_RVF_streaming () CDSRVF_Mpegfunc_mpeg_start () returns "
              "FALSE \n");
  }
  sleepFor(startSettleMs_.load());
  return started;
}

bool RVFStreamingThruGet::stop_RVF_streaming() {
  NUVPrintf(NUV_LOG_INFO, "[RVFStreamingThruGet::stop_RVF_streaming ()] is called \n");
  if (!CDSRVF_Mpegfunc_mpeg_stop()) {
    // The missing first letter is the program's own text.
    NUVPrintf(NUV_LOG_ERROR,
              "VFStreamingThruGet::stop_RVF_streaming () CDSRVF_Mpegfunc_mpeg_stop () returns "
              "FALSE \n");
    sleepFor(100);
    return false;
  }
  const int error = waitSem(gMpegStopedSemaphore, dms_transfer::kLiveViewProducerWaitMs);
  if (error != 0) {
    NUVPrintf(NUV_LOG_ERROR,
              "VFStreamingThruGet::stop_RVF_streaming () CDSRVF_Mpegfunc_mpeg_stop () takeSem "
              "errno = %d\n",
              error);
    return false;
  }
  return true;
}

bool RVFStreamingThruGet::setStreamingQuality(DMSAppString* url) {
  const bool qvga = url == nullptr || url->Compare("/livestream.avi") != 0;
  const bool running = CDSRVF_Sysfunc_get_Isvideo_hotswap();
  NUVPrintf(NUV_LOG_INFO, " [RVFStreamingThruGet::setStreamingQuality]....%s....%d\n",
            qvga ? "QVGA" : "VGA", running ? 1 : 0);
  if (!running) {
    NUVPrintf(NUV_LOG_INFO, " [RVFStreamingThruGet::setStreamingQuality] 222 !!\n");
    if (!qvga) return true;
  } else {
    if (!CDSRVF_Mpegfunc_mpeg_stop()) {
      NUVPrintf(NUV_LOG_ERROR,
                "RVFStreamingThruGet::setStreamingQuality() CDSRVF_Mpegfunc_mpeg_stop () returns "
                "FALSE \n");
    }
    stopStreamBufferReady();
    const int error = waitSem(gMpegStopedSemaphore, dms_transfer::kLiveViewProducerWaitMs);
    if (error != 0) {
      NUVPrintf(NUV_LOG_ERROR, "CDSRVF_Mpegfunc_mpeg_stop () sem_wait errno = %d\n", error);
    }
  }
  if (!CDSRVF_Sysfunc_setStreamQuality(qvga ? 1 : 0)) {
    NUVPrintf(NUV_LOG_ERROR,
              "RVFStreamingThruGet::setStreamingQuality() CDSRVF_Sysfunc_setStreamQuality () "
              "returns FALSE \n");
    return false;
  }
  const int error = waitSem(g_RVFsemStreamQuality, dms_transfer::kLiveViewProducerWaitMs);
  if (error != 0) {
    NUVPrintf(NUV_LOG_ERROR, "CDSRVF_Sysfunc_setStreamQuality() sem_wait errno = %d\n", error);
    return false;
  }
  return true;
}

void RVFStreamingThruGet::stopStreamBufferReady() {
  CDSRVF_Sysfunc_set_Streaming_stop_status(true);
  // Wakes whichever side waits, then brings both counts back to 0 for the
  // next stream. The counts are drained rather than re-initialised: a
  // semaphore must not be re-initialised while a thread may wait on it. Every
  // waiter waits in short slices and looks at its stop flag, so one whose
  // post was drained before it woke still notices the stop.
  if (g_RVFsemBufferReadComplete != nullptr && sem_post(g_RVFsemBufferReadComplete) != 0)
    NUVPrintf(NUV_LOG_ERROR, "g_RVFsemBufferReadComplete... sem_post errno = %d\n", errno);
  if (g_RVFsemBufferReady4Read != nullptr && sem_post(g_RVFsemBufferReady4Read) != 0)
    NUVPrintf(NUV_LOG_ERROR, "g_RVFsemBufferReady4Read... sem_post errno = %d\n", errno);
  drain(g_RVFsemBufferReadComplete);
  drain(g_RVFsemBufferReady4Read);
}
