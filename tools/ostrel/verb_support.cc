#include "verb_support.h"

#include <ostrel/veskError.h>

#include <ctime>

#include "pdu_text.h"

namespace cli {

Owned<veskList> attributesFrom(const Words& words) {
  Owned<veskList> list(new veskList);
  const std::time_t now = std::time(nullptr);
  for (const std::string& word : words)
    list->append(parseAttribute(word, now).release());
  return list;
}

Owned<veskList> conditionsFrom(const Words& words) {
  Owned<veskList> list(new veskList);
  const std::time_t now = std::time(nullptr);
  for (const std::string& word : words)
    list->append(parseCondition(word, now).release());
  return list;
}

Json resultJson(Session& session, const char* command, veskPDU& response) {
  Json json;
  json["command"] = command;
  json["server"] = addressText(session.server());
  json["status"] = codeJson(response.status.value);
  return json;
}

Exit reportErrors(Output& output, veskRespPDU& response, veskList* items,
                  const char* what) {
  veskList* errors = response.errors;
  const unsigned count = errors != nullptr ? errors->count : 0;
  if (count == 0 && response.status.value == 0) return kDone;
  if (count == 0) output.itemFailure(codeText(response.status.value));
  for (unsigned i = 0; i < count; ++i) {
    auto* error = errors->at<veskError>(i);
    if (error == nullptr) {
      output.itemFailure(valueText(errors->at(i)));
      continue;
    }
    const unsigned index = error->index.value;
    auto* attribute = items != nullptr && index < items->count
                          ? items->at<veskAttribute>(index)
                          : nullptr;
    output.itemFailure((attribute != nullptr
                            ? aidText(attribute->id)
                            : std::string(what) + " " + std::to_string(index)) +
                       ": " + codeText(error->code.value));
  }
  return kPartial;
}

std::string foundText(veskType* value) {
  auto* oid = dynamic_cast<veskOid*>(value);
  return oid != nullptr ? oidText(*oid) : valueText(value);
}

}  // namespace cli
