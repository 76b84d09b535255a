// Bounds of the content store, in one place. Each is a hard limit: input
// beyond it is refused (and logged) rather than truncated.
#ifndef DMS_CONTENT_CONTENT_LIMITS_H
#define DMS_CONTENT_CONTENT_LIMITS_H

#include <cstddef>

namespace content_limits {

// How long a statement waits for another connection's lock (the scanner
// writing a batch) before it fails: the connector's own writes, such as
// reserving an ID for CreateObject, should not fail because a scan runs.
constexpr int kDbBusyTimeoutMs = 2000;

// Reads of a listing page that objects destroyed and created meanwhile left
// short: at most this many before the page is given up.
constexpr int kShortPageReads = 3;

// Work buffer of a create statement: a table name of this length or more
// gives no statement, and the column list must fit as well.
constexpr size_t kCreateStatementBufferBytes = 1024;

// Longest text inlined into one SQL statement as a value (after doubling its
// double quotes). Longer paths, IDs or URIs are refused before any SQL runs.
constexpr size_t kMaxSqlValueBytes = 8192;

// Candidate names tried by the "%s_%d%s" renaming before a reservation gives
// up; keeps a hostile file system from holding the caller forever.
constexpr int kMaxRenameAttempts = 10000;

// Largest substitute picture read into memory for an unsupported thumbnail.
constexpr unsigned long kMaxSubstitutePictureBytes = 1024UL * 1024UL;

// Lifetime of a created object whose upload has not begun, in milliseconds.
constexpr unsigned long kTempContentLifetimeMs = 35000;

// Requests waiting in the content engine's queue; more are refused so that a
// flood of actions cannot grow memory without bound.
constexpr size_t kMaxEngineQueuedRequests = 4096;

// Rows read into the image or video cache; a larger table is cached up to
// this many rows (newest first), which bounds resident memory on the camera.
constexpr int kMaxCachedRecords = 100000;

// Containers clients may create (CreateObject of a container class). They
// live in memory only, so their number is bounded: more are refused.
constexpr int kMaxCreatedContainers = 256;

}  // namespace content_limits

#endif  // DMS_CONTENT_CONTENT_LIMITS_H
