// SOAPAppMessage: one SOAP reply body as UTF-8 bytes, with the envelope head
// and tail that would surround it. The reply path hands only the body to the
// stack, which frames it itself; the envelope parts are kept for callers that
// need the whole document.
//
// Thread safety: none; a message belongs to the thread that builds and sends
// it.
#ifndef DMS_CDS_SOAP_MESSAGE_H
#define DMS_CDS_SOAP_MESSAGE_H

#include <cstdint>

class DMSAppString;

class SOAPAppMessage {
 public:
  // Builds the envelope head and tail; the body starts null.
  SOAPAppMessage();
  ~SOAPAppMessage();

  SOAPAppMessage(const SOAPAppMessage&) = delete;
  SOAPAppMessage& operator=(const SOAPAppMessage&) = delete;

  // Replaces the body by a UTF-8 copy of `body`. 0 when stored; 1 for a null
  // argument (the old body stays); 3 when memory runs out (the body is then
  // null).
  int SetSOAPBody(const DMSAppString* body);
  // The body itself (NUL-terminated, owned by the message), or null when no
  // body was stored. Valid until the next SetSOAPBody or the destructor.
  const char* ReadSOAPBody() const { return body_; }
  // Length of the body in bytes, without the NUL.
  unsigned int GetBodyLength() const { return bodyLength_; }

  // The XML declaration, the s:Envelope start tag, CR LF, "<s:Body>" and
  // CR LF; and CR LF, "</s:Body>", CR LF, "</s:Envelope>". Owned by the
  // message; null only if memory ran out in the constructor.
  const char* envelopeHead() const { return envelopeHead_; }
  unsigned int envelopeHeadLength() const { return envelopeHeadLength_; }
  const char* envelopeTail() const { return envelopeTail_; }
  unsigned int envelopeTailLength() const { return envelopeTailLength_; }

 private:
  char* body_;
  uint32_t bodyLength_;
  char* envelopeHead_;
  char* envelopeTail_;
  uint32_t envelopeHeadLength_;
  uint32_t envelopeTailLength_;
};

#endif  // DMS_CDS_SOAP_MESSAGE_H
