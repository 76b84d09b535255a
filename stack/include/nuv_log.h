/* Logging of the UPnP/DLNA stack, shared by every library of the server.
 *
 * Messages go to standard error with a timestamp, filtered by a level mask.
 * Levels are bits: 1 information and trace, 2 errors, 8 bulk dumps (whole
 * SOAP bodies). The default mask is 1|2, so dumps stay off unless asked for.
 *
 * Thread safety: every function may be called from any thread; one message
 * is written as one line and never interleaves with another.
 *
 * Linking: libdmsstack defines these functions. libdms, libdmscamera and
 * libdmsscanner call them without linking libdmsstack, on purpose: the
 * executable links the stack they run on (dmsd the real one, the unit tests
 * the fakes of tests/fakes, which keep the network out of them). A program
 * that loads those libraries must therefore link or load a stack first. */
#ifndef NUV_LOG_H
#define NUV_LOG_H

#ifdef __cplusplus
extern "C" {
#endif

#define NUV_LOG_INFO 1u
#define NUV_LOG_ERROR 2u
#define NUV_LOG_DUMP 8u
#define NUV_LOG_DEFAULT_MASK (NUV_LOG_INFO | NUV_LOG_ERROR)

/* Writes one message at `level` when (mask & level) != 0. A message that does
 * not end in a newline gets one. */
void NUVPrintf(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

/* The variant without a level, used for start-up and file checks. It is
 * filtered as information (level 1) and reaches a sink with level 0. */
void NUVPrintfNoLevel(const char* format, ...) __attribute__((format(printf, 1, 2)));

void NUVLogSetMask(unsigned int mask);
unsigned int NUVLogGetMask(void);

/* Receives each message that passes the mask, exactly as formatted (without
 * the timestamp and without an added newline). While a sink is set nothing is
 * written to standard error. Pass null to restore standard error. The sink is
 * called on the logging thread, so it must be thread safe itself. */
typedef void (*NUVLogSink)(int level, const char* message, void* context);
void NUVLogSetSink(NUVLogSink sink, void* context);

#ifdef __cplusplus
}
#endif

#endif /* NUV_LOG_H */
