// The protocolInfo lists ConnectionManager:1 starts with: what the server can
// send (Source) and receive (Sink). They are the initial values of the
// SourceProtocolInfo and SinkProtocolInfo state variables; the media server
// may replace them with NUVDMSUpdateStateVariableValue, and GetProtocolInfo
// always answers the current values.
#ifndef DMS_STACK_DEVICE_PROTOCOL_INFO_H
#define DMS_STACK_DEVICE_PROTOCOL_INFO_H

namespace dmsstack {

// Comma-separated, in the order control points are shown them: the DLNA
// profiles first, then plain MIME types.
extern const char* const kSourceProtocolInfo;

// The server is a source only.
extern const char* const kSinkProtocolInfo;

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_PROTOCOL_INFO_H
