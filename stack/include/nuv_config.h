/* The stack's configuration store: string values by key, loaded by the
 * application (dmsd from its config file and command line) and read by the
 * media server. Keys in use: "DefaultContainer", "MEDIA-DB-FILEPATH",
 * "MEDIA-TV-DB-FILEPATH", "SHARED-MEDIA-FOLDER-PATH", "VENDOR-DOMAIN",
 * "MANUFACTURER-URL", "BASICVIEW-CONTAINERS", "SUBSTITUTE-PICTURE-DIR",
 * "THUMBNAIL-CACHE-DIR", "MAX-UPLOAD-SIZE" (bytes; 0 or absent: no limit).
 *
 * Thread safety: every function may be called from any thread.
 *
 * Linking: libdmsstack defines these functions. libdms, libdmscamera and
 * libdmsscanner call them without linking libdmsstack, on purpose: the
 * executable links the stack they run on (dmsd the real one, the unit tests
 * the fakes of tests/fakes, which keep the network out of them). A program
 * that loads those libraries must therefore link or load a stack first. */
#ifndef NUV_CONFIG_H
#define NUV_CONFIG_H

#ifdef __cplusplus
extern "C" {
#endif

/* A new malloc'd copy of the value (release with DMSAppMemFree or free), or
 * NULL when the key is unknown or NULL. */
char* NUVGetConfigurationMA(const char* key);
/* Stores a copy of the value (NULL removes the key). 0 on success, 1 for a
 * null key or no memory. */
int NUVSetConfiguration(const char* key, const char* value);
/* Removes every key (used by tests and at daemon shutdown). */
void NUVClearConfiguration(void);

/* The model name, announced as "[Camera]" + name. Owned by the stack, valid
 * until NUVSetModelName is called again; NULL when none was set. */
const char* NUVGetModelName(void);
/* Stores a copy; NULL clears it. 0 on success. */
int NUVSetModelName(const char* name);

/* Non-zero while the device runs in DLNA certification mode (which turns
 * off the media server's in-memory caches). Off by default. */
int NUVGetDlnaCertificationState(void);
void NUVSetDlnaCertificationState(int on);

#ifdef __cplusplus
}
#endif

#endif /* NUV_CONFIG_H */
