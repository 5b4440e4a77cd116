#include "commands/command_support.h"

#include "common/addresses.h"

#include <ostrel/veskError.h>

#include <ctime>

#include "format/pdu_text.h"

namespace ostrel::tools::cli {
namespace {

// 0 for what is no error.
int codeOf(veskType* value) {
  auto* error = dynamic_cast<veskError*>(value);
  return error != nullptr ? error->code.value : 0;
}

// What the error with a number is about.
std::string itemText(const std::string& subject, veskList* items,
                     unsigned index) {
  if (items == nullptr) return subject + " " + std::to_string(index);
  auto* attribute =
      index < items->count ? items->at<veskAttribute>(index) : nullptr;
  return subject + ": " +
         (attribute != nullptr ? aidText(attribute->id)
                               : "item " + std::to_string(index));
}

}  // namespace

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

Exit reportErrors(Output& output, const std::string& subject,
                  veskRespPDU& response, veskList* items) {
  veskList* errors = response.errors;
  const unsigned count = errors != nullptr ? errors->count : 0;
  if (count == 0 && response.status.value == 0) return kDone;
  if (count == 0)
    output.itemFailure(subject + ": " + codeText(response.status.value));
  for (unsigned i = 0; i < count; ++i) {
    veskType* value = errors->at(i);
    auto* error = dynamic_cast<veskError*>(value);
    output.itemFailure(error != nullptr
                           ? itemText(subject, items, error->index.value) +
                                 ": " + codeText(error->code.value)
                           : subject + ": " + valueText(value));
    // Once for those that failed alike.
    const bool last =
        i + 1 == count || codeOf(errors->at(i + 1)) != codeOf(value);
    if (last && items != nullptr) output.hint(hintFor(codeOf(value)));
  }
  return kPartial;
}

void checkMade(veskCreateRespPDU& response) {
  if (response.oid.valid != 0) return;
  const int code = response.status.value;
  throw Failure(kRefused,
                "no object was made: the answer has no identifier" +
                    (code != 0 ? ", and the status " + codeText(code) : ""),
                "The server's log may tell why.", code);
}

std::string foundText(veskType* value) {
  auto* oid = dynamic_cast<veskOid*>(value);
  return oid != nullptr ? oidText(*oid) : valueText(value);
}

}  // namespace ostrel::tools::cli
