// RVFStreamingThruGet: the handler of the camera's live view. It serves the
// live video at "/livestream.avi" (full size) and "/qvga_livestream.avi"
// (QVGA), whose frames the camera's producer hands over one at a time
// through the frame slot and the semaphores of dms_live_view.h, and the
// small image of the photo just taken at "/" + name + "_SM".
//
// Frames go out as the producer made them: the slot's memory is handed to
// the stack, never copied here. The first frame of a stream must be the
// 224-byte stream header; other frames before it are dropped.
//
// Threads: the registry calls HandleHeader and SendResponse with its lock
// held, so nothing that waits for the producer runs in them. Each handler
// has a sender thread of its own that does the waiting (the quality change,
// the encoder's start, the semaphores) and hands each piece to the stack;
// SendResponse only asks it for the next piece. Deleting the handler stops
// and joins that thread; every wait it makes is cut into short slices.
//
// The process-wide state (frame slot, small image position, stop and pause
// flags, last photo name) is shared by every handler: one live stream runs
// at a time.
#ifndef DMS_TRANSFER_RVF_STREAMING_THRU_GET_H
#define DMS_TRANSFER_RVF_STREAMING_THRU_GET_H

#include <semaphore.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "server_interface.h"

class DMSAppString;

class RVFStreamingThruGet : public ServerInterface {
 public:
  RVFStreamingThruGet(int profile, int connection);
  ~RVFStreamingThruGet() override;

  bool HandleHeader(stNUVAppList* headerList) override;
  // Asks the sender thread for the next piece: a frame, or the small image.
  bool SendResponse(int reason) override;
  // A GET carries no body: only logged.
  bool HandlePayload(int profile, int connection, eHTTPVersion version, int length,
                     eHTTPMessageType method, char* data, char* target, bool last) override;

  // The encoder's control. These wait for the producer (see the class
  // comment): call them from the sender thread, or from a test.
  bool start_RVF_streaming();
  bool stop_RVF_streaming();
  // Applies the quality the URL asks for; false when it could not be.
  bool setStreamingQuality(DMSAppString* url);
  static void stopStreamBufferReady();
  // Test seam: how long start_RVF_streaming lets the encoder settle
  // (1000 ms unless a test shortens it).
  static void SetStartSettleMsForTest(unsigned long ms);

  // ---- The process-wide state, set by the camera side ----
  static void setBufferPtr(void* frame, long long size);
  static void setSNInfo(long offset, long size);
  static void setStreamingStop(bool stop);
  static void stop_streaming();
  static void pause_streaming();
  static void resume_streaming();
  static bool IsPaused();
  // The photo just taken ("111.jpg" until one is set). False for an empty
  // name or one with '/'.
  static bool SetLastTakenPhotoName(const char* name);
  static std::string LastTakenPhotoName();

 private:
  // A frame as it stood in the slot.
  struct Frame {
    const char* data;
    long long size;
  };

  // ---- HandleHeader's steps (rvf_streaming_thru_get.cpp) ----
  bool openScreenNail(const std::string& url);
  bool sendResponseHeader();
  void sendErrorReply(int status);
  void releaseRequest();

  // ---- The sender thread (rvf_sender.cpp) ----
  // False when no thread could be started.
  bool startSender();
  void stopSender();
  void senderMain();
  // The quality change, the encoder's start and the response header, or a
  // 503 reply; false when the stream cannot go on.
  bool beginStream(const std::string& url);
  void sendScreenNail();
  void sendVideoFrame();
  void sendPiece(const char* data, long long size, bool last);
  // Waits for `sem` until it is posted, the handler is deleted, a newer
  // stream started or `limit` (0: no limit) has passed: 0, else the errno
  // (ECANCELED when deleted, ESTALE when replaced).
  int waitSem(sem_t* sem, unsigned long limitMs);
  // Waits for a frame of this handler's stream: false when the handler is
  // deleted or a newer stream replaced this one (its body is then ended).
  bool waitFrame();
  // Sleeps `ms` unless the handler is deleted meanwhile.
  void sleepFor(unsigned long ms);
  static Frame frameInSlot();

  FILE* screenNailFile_ = nullptr;
  std::unique_ptr<char[]> sendBuffer_;
  bool streaming_ = false;
  bool headerFrameSent_ = false;  // the sender thread's
  stNUVAppList* headerList_ = nullptr;
  NUVHTTPRequestHeaderInfo* request_ = nullptr;

  std::thread sender_;
  std::mutex senderMutex_;
  std::condition_variable senderWake_;
  int piecesWanted_ = 0;  // guarded by senderMutex_
  std::atomic<bool> cancelled_{false};
  std::string streamUrl_;         // set before the sender starts
  unsigned long generation_ = 0;  // the sender's: the stream it started, 0 none

  // ---- Process-wide (rvf_shared_state.cpp) ----
  static std::atomic<unsigned long> startSettleMs_;
  // Counts the encoder's starts: the newest stream is the only one.
  static std::atomic<unsigned long> m_nStreamGeneration;
  static std::mutex m_slotMutex;
  static void* m_ptrFrameBuf;        // guarded by m_slotMutex
  static long long m_nFrameBufSize;  // guarded by m_slotMutex
  static std::atomic<int32_t> m_nSNOffset;
  static std::atomic<int32_t> m_nSNFileSize;
  static std::atomic<bool> m_bStopStreaming;
  static std::atomic<bool> m_bPauseStreaming;
  static std::mutex m_nameMutex;
  static DMSAppString* m_strLastTakenPhotoname;  // guarded by m_nameMutex
};

#endif  // DMS_TRANSFER_RVF_STREAMING_THRU_GET_H
