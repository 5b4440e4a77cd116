#include "format/pdu_text.h"

#include <ostrel/veskError.h>

#include <cstdlib>

#include "format/value_text.h"

namespace ostrel::tools::cli {
namespace {

// What a class of PDUs is called. A class stands before the one that it
// derives from.
struct Kind {
  const char* name;
  bool (*matches)(veskPDU&);
};

template <class T>
bool isA(veskPDU& pdu) {
  return dynamic_cast<T*>(&pdu) != nullptr;
}

constexpr Kind kKinds[] = {
    {"clone", isA<veskClonePDU>},
    {"create", isA<veskCreatePDU>},
    {"remove", isA<veskRemovePDU>},
    {"set", isA<veskSetPDU>},
    {"get", isA<veskGetPDU>},
    {"search", isA<veskSearchPDU>},
    {"event", isA<veskEventPDU>},
    {"action", isA<veskActionPDU>},
    {"verify", isA<veskVerifyPDU>},
    {"dsSearch", isA<veskDSsearchPDU>},
    {"cloneResponse", isA<veskCloneRespPDU>},
    {"createResponse", isA<veskCreateRespPDU>},
    {"getResponse", isA<veskGetRespPDU>},
    {"actionResponse", isA<veskActionRespPDU>},
    {"setResponse", isA<veskSetRespPDU>},
    {"searchResponse", isA<veskSearchRespPDU>},
    {"dsSearchResponse", isA<veskDSsearchRespPDU>},
    {"removeResponse", isA<veskRemoveRespPDU>},
    {"verifyResponse", isA<veskVerifyRespPDU>},
};

const Kind* kindOf(veskPDU& pdu) {
  for (const Kind& kind : kKinds)
    if (kind.matches(pdu)) return &kind;
  return nullptr;
}

template <class T>
T* as(veskPDU& pdu) {
  return dynamic_cast<T*>(&pdu);
}

std::string number(unsigned count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string elementLines(veskList& list, const std::string& indent) {
  std::string text;
  for (unsigned i = 0; i < list.count; ++i)
    text += valueLines(list.at(i), indent);
  return text;
}

}  // namespace

std::vector<Field> fieldsOf(veskPDU& pdu) {
  if (auto* p = as<veskCreatePDU>(pdu))
    return {{"oid", &p->oid}, {"list", p->list}};
  if (auto* p = as<veskGetPDU>(pdu))
    return {{"oid", &p->oid}, {"list", p->list}};
  if (auto* p = as<veskRemovePDU>(pdu)) return {{"oid", &p->oid}};
  if (auto* p = as<veskVerifyPDU>(pdu)) return {{"oid", &p->oid}};
  if (auto* p = as<veskSearchPDU>(pdu))
    return {{"oid", &p->oid}, {"list", p->list}, {"flag", &p->flag}};
  if (auto* p = as<veskEventPDU>(pdu))
    return {{"oid", &p->oid}, {"aid", &p->aid}, {"list", p->list}};
  if (auto* p = as<veskActionPDU>(pdu))
    return {{"aid", &p->aid}, {"list", p->list}};
  if (auto* p = as<veskDSsearchPDU>(pdu))
    return {{"oid", &p->oid}, {"list", p->list}, {"list2", p->list2}};
  if (auto* p = as<veskCreateRespPDU>(pdu))
    return {{"oid", &p->oid}, {"errors", p->errors}};
  if (auto* p = as<veskGetRespPDU>(pdu))
    return {{"list", p->list}, {"errors", p->errors}};
  if (auto* p = as<veskSearchRespPDU>(pdu))
    return {{"list", p->list}, {"errors", p->errors}};
  if (auto* p = as<veskDSsearchRespPDU>(pdu))
    return {{"list", p->list}, {"list2", p->list2}, {"errors", p->errors}};
  if (auto* p = as<veskRespPDU>(pdu)) return {{"errors", p->errors}};
  return {};
}

const char* pduName(veskPDU& pdu) {
  const Kind* kind = kindOf(pdu);
  return kind != nullptr ? kind->name : "pdu";
}

std::string pduText(veskPDU& pdu, const std::string& indent) {
  std::string text =
      indent + pduName(pdu) + " " + std::to_string(pdu.requestId.value) +
      ", status " + codeText(pdu.status.value) + ", principal " +
      (pdu.principal.valid != 0 ? oidText(pdu.principal) : "none") + "\n";
  for (const Field& field : fieldsOf(pdu)) {
    text += indent + "  " + field.name + ": ";
    auto* list = dynamic_cast<veskList*>(field.value);
    if (list == nullptr)
      text += plainText(field.value) + "\n";
    else
      text += number(list->count, "element") + "\n" +
              elementLines(*list, indent + "    ");
  }
  return text;
}

std::string valueLines(veskType* value, const std::string& indent) {
  if (auto* pdu = dynamic_cast<veskPDU*>(value)) return pduText(*pdu, indent);
  if (auto* attribute = dynamic_cast<veskAttribute*>(value))
    return indent + attributeText(*attribute) + "\n";
  if (auto* error = dynamic_cast<veskError*>(value))
    return indent + "item " + std::to_string(error->index.value) + ": " +
           codeText(error->code.value) + "\n";
  auto* object = dynamic_cast<veskObject*>(value);
  if (object != nullptr && object->attributeList != nullptr)
    return indent + "object " + oidText(object->oid) + "\n" +
           elementLines(*object->attributeList, indent + "  ");
  return indent + valueText(value) + "\n";
}

std::string codeText(int code, veskList* errors) {
  char* text = veskGetErrorString(code, errors);
  std::string line = text != nullptr ? text : "";
  std::free(text);
  while (!line.empty() && line.back() == '\n') line.pop_back();
  return escaped(line);
}

}  // namespace ostrel::tools::cli
