#include "format/pdu_text.h"

#include <ostrel/codes.h>
#include <ostrel/elements.h>
#include <ostrel/veskError.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "common/printed.h"
#include "format/value_text.h"

namespace ostrel::tools::cli {
namespace {

using Fields = std::vector<Field>;

// A class of PDUs: what it is called, and its members.
struct Kind {
  const char* name;
  bool (*is)(veskPDU&);
  Fields (*fields)(veskPDU&);
};

template <class Pdu, Fields (*kFields)(Pdu&)>
constexpr Kind kind(const char* name) {
  return {name,
          [](veskPDU& pdu) { return dynamic_cast<Pdu*>(&pdu) != nullptr; },
          [](veskPDU& pdu) { return kFields(dynamic_cast<Pdu&>(pdu)); }};
}

template <class Pdu>
Fields none(Pdu&) {
  return {};
}
template <class Pdu>
Fields oid(Pdu& pdu) {
  return {{"oid", &pdu.oid}};
}
template <class Pdu>
Fields oidList(Pdu& pdu) {
  return {{"oid", &pdu.oid}, {"list", pdu.list}};
}
template <class Pdu>
Fields oidListFlag(Pdu& pdu) {
  return {{"oid", &pdu.oid}, {"list", pdu.list}, {"flag", &pdu.flag}};
}
template <class Pdu>
Fields oidAidList(Pdu& pdu) {
  return {{"oid", &pdu.oid}, {"aid", &pdu.aid}, {"list", pdu.list}};
}
template <class Pdu>
Fields aidList(Pdu& pdu) {
  return {{"aid", &pdu.aid}, {"list", pdu.list}};
}
template <class Pdu>
Fields oidLists(Pdu& pdu) {
  return {{"oid", &pdu.oid}, {"list", pdu.list}, {"list2", pdu.list2}};
}
template <class Pdu>
Fields errors(Pdu& pdu) {
  return {{"errors", pdu.errors}};
}
template <class Pdu>
Fields oidErrors(Pdu& pdu) {
  return {{"oid", &pdu.oid}, {"errors", pdu.errors}};
}
template <class Pdu>
Fields listErrors(Pdu& pdu) {
  return {{"list", pdu.list}, {"errors", pdu.errors}};
}
template <class Pdu>
Fields listsErrors(Pdu& pdu) {
  return {{"list", pdu.list}, {"list2", pdu.list2}, {"errors", pdu.errors}};
}

// A class stands before the one that it derives from.
constexpr Kind kKinds[] = {
    kind<veskClonePDU, oidList>("clone"),
    kind<veskCreatePDU, oidList>("create"),
    kind<veskRemovePDU, oid>("remove"),
    kind<veskSetPDU, oidList>("set"),
    kind<veskGetPDU, oidList>("get"),
    kind<veskSearchPDU, oidListFlag>("search"),
    kind<veskEventPDU, oidAidList>("event"),
    kind<veskActionPDU, aidList>("action"),
    kind<veskVerifyPDU, oid>("verify"),
    kind<veskDSsearchPDU, oidLists>("dsSearch"),
    kind<veskCloneRespPDU, oidErrors>("cloneResponse"),
    kind<veskCreateRespPDU, oidErrors>("createResponse"),
    kind<veskGetRespPDU, listErrors>("getResponse"),
    kind<veskActionRespPDU, errors>("actionResponse"),
    kind<veskSetRespPDU, errors>("setResponse"),
    kind<veskSearchRespPDU, listErrors>("searchResponse"),
    kind<veskDSsearchRespPDU, listsErrors>("dsSearchResponse"),
    kind<veskRemoveRespPDU, none>("removeResponse"),
    kind<veskVerifyRespPDU, none>("verifyResponse"),
    kind<veskRespPDU, errors>("pdu"),
    {"pdu", [](veskPDU&) { return true; }, none<veskPDU>},
};

const Kind& kindOf(veskPDU& pdu) {
  return *std::find_if(std::begin(kKinds), std::end(kKinds),
                       [&](const Kind& each) { return each.is(pdu); });
}

std::string number(unsigned count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string elementLines(const veskList& list, const std::string& indent) {
  std::string text;
  for (veskType* element : Elements(list)) text += valueLines(element, indent);
  return text;
}

// The library tells a time-out by errno; everybody else says so.
class ErrnoIs {
 public:
  explicit ErrnoIs(int cause) : before_(errno) { errno = cause; }
  ~ErrnoIs() { errno = before_; }
  ErrnoIs(const ErrnoIs&) = delete;
  ErrnoIs& operator=(const ErrnoIs&) = delete;

 private:
  int before_;
};

}  // namespace

std::vector<Field> fieldsOf(veskPDU& pdu) { return kindOf(pdu).fields(pdu); }

const char* pduName(veskPDU& pdu) { return kindOf(pdu).name; }

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

std::string codeText(int code, int cause) {
  // A code of servers' own, which the library has no text for.
  if (code == kTooManyResults) return "100(Too Many Results)";
  const ErrnoIs given(cause);
  std::string line = takeText(veskGetErrorString(code, nullptr));
  while (!line.empty() && line.back() == '\n') line.pop_back();
  return escaped(line);
}

}  // namespace ostrel::tools::cli
