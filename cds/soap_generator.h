// SOAPAppGenerator: writes the bodies of SOAP replies to control actions, the
// action response with its out-arguments and the UPnP fault. A stateless
// singleton: GetInstance() creates it on first use, DestroyInstance() deletes
// it.
//
// Thread safety: every member may be called from any thread; a message must
// not be shared between threads during a call.
#ifndef DMS_CDS_SOAP_GENERATOR_H
#define DMS_CDS_SOAP_GENERATOR_H

class DMSAppString;
class DMSCDSList;
class SOAPAppMessage;

class SOAPAppGenerator {
 public:
  static SOAPAppGenerator* GetInstance();
  static void DestroyInstance();

  // Stores "<u:NAMEResponse xmlns:u=\"TYPE\">" CR LF, then for each
  // AppArgumentList of `outArguments` "<N>V</N>" CR LF, then
  // "</u:NAMEResponse>" in `message`. Values go in as they are: the caller
  // escapes markup. 0 on success; 1 for a null argument or when memory runs
  // out (the message keeps its previous body).
  int GenerateSOAPBody(DMSAppString* serviceType, DMSAppString* actionName,
                       DMSCDSList* outArguments, SOAPAppMessage* message);

  // Stores the s:Fault body of `errorCode` with its description for the
  // unversioned `serviceType`. 0 on success; 1 for a code below 1, a null
  // message, a code without a row for that service, or no memory (the message
  // is then left untouched).
  int GenerateErrorSOAPBody(int errorCode, DMSAppString* serviceType, SOAPAppMessage* message);

 private:
  SOAPAppGenerator() = default;
  ~SOAPAppGenerator() = default;
};

#endif  // DMS_CDS_SOAP_GENERATOR_H
