// SOAP requests read with libxml2.
#include "soap_request.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstring>
#include <limits>
#include <memory>
#include <mutex>

namespace dmsstack {

namespace {

constexpr const char* kSoapEnvelopeNs = "http://schemas.xmlsoap.org/soap/envelope/";

struct DocFree {
  void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};

bool isElement(const xmlNode* node, const char* name, const char* ns) {
  return node != nullptr && node->type == XML_ELEMENT_NODE &&
         strcmp(reinterpret_cast<const char*>(node->name), name) == 0 && node->ns != nullptr &&
         node->ns->href != nullptr &&
         strcmp(reinterpret_cast<const char*>(node->ns->href), ns) == 0;
}

const xmlNode* firstElement(const xmlNode* node) {
  while (node != nullptr && node->type != XML_ELEMENT_NODE) node = node->next;
  return node;
}

std::string text(const char* chars) { return chars != nullptr ? chars : ""; }

std::string contentOf(const xmlNode* node) {
  xmlChar* content = xmlNodeGetContent(node);
  std::string value = text(reinterpret_cast<const char*>(content));
  xmlFree(content);
  return value;
}

std::string_view trimmed(std::string_view value) {
  while (!value.empty() && (value.front() == ' ' || value.front() == '\t')) value.remove_prefix(1);
  while (!value.empty() && (value.back() == ' ' || value.back() == '\t')) value.remove_suffix(1);
  return value;
}

}  // namespace

SoapParse parseSoapRequest(std::string_view body, size_t maxArguments, SoapRequest* request) {
  static std::once_flag initialised;
  std::call_once(initialised, [] { xmlInitParser(); });
  if (body.empty() || body.size() > static_cast<size_t>(std::numeric_limits<int>::max()))
    return SoapParse::Malformed;
  std::unique_ptr<xmlDoc, DocFree> doc(
      xmlReadMemory(body.data(), static_cast<int>(body.size()), "soap.xml", nullptr,
                    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
  if (doc == nullptr || doc->intSubset != nullptr || doc->extSubset != nullptr)
    return SoapParse::Malformed;
  const xmlNode* envelope = xmlDocGetRootElement(doc.get());
  if (!isElement(envelope, "Envelope", kSoapEnvelopeNs)) return SoapParse::Malformed;
  const xmlNode* part = firstElement(envelope->children);
  if (isElement(part, "Header", kSoapEnvelopeNs)) part = firstElement(part->next);
  if (!isElement(part, "Body", kSoapEnvelopeNs)) return SoapParse::Malformed;
  const xmlNode* action = firstElement(part->children);
  if (action == nullptr || action->ns == nullptr || action->ns->href == nullptr)
    return SoapParse::Malformed;
  request->action = text(reinterpret_cast<const char*>(action->name));
  request->serviceType = text(reinterpret_cast<const char*>(action->ns->href));
  request->arguments.clear();
  for (const xmlNode* child = firstElement(action->children); child != nullptr;
       child = firstElement(child->next)) {
    if (request->arguments.size() >= maxArguments) return SoapParse::TooManyArguments;
    request->arguments.emplace_back(text(reinterpret_cast<const char*>(child->name)),
                                    contentOf(child));
  }
  return SoapParse::Ok;
}

bool parseSoapActionHeader(std::string_view value, std::string* serviceType, std::string* action) {
  value = trimmed(value);
  if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
    value = value.substr(1, value.size() - 2);
  const size_t hash = value.rfind('#');
  if (hash == std::string_view::npos || hash == 0 || hash + 1 == value.size()) return false;
  std::string_view type = value.substr(0, hash);
  std::string_view name = value.substr(hash + 1);
  for (char c : name)
    if (c == '"' || c == ' ' || c == '<' || c == '>' || c == '&') return false;
  serviceType->assign(type);
  action->assign(name);
  return true;
}

}  // namespace dmsstack
