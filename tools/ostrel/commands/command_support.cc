#include "commands/command_support.h"

#include "common/addresses.h"

#include <ostrel/elements.h>
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

const char* const kConditionHelp = R"(Conditions; quote < and > in a shell:
  59.200.2=5   equals          59.200.2!=5  there, and not equal
  59.200.2<5   less            59.200.2<=5  less or equal
  59.200.2>5   greater         59.200.2>=5  greater or equal
  59.200.2     is there        59.200.1~lam contains
  59.200.2@9=5 the operation code 9, if the server knows it
All of them have to hold. Values are written as with ostrel set.)";

std::string examples(const std::string& lines) { return "Examples:\n" + lines; }

void addId(CLI::App& command, Arguments& arguments, const char* name,
           const char* help) {
  command.add_option(name, arguments.id, help)->required();
}

CLI::Option* addWords(CLI::App& command, Arguments& arguments, const char* name,
                      const char* help) {
  return command.add_option(name, arguments.words, help);
}

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
  json["server"] = session.serverName();
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
  const Elements<> all(errors);
  for (auto at = all.begin(); at != all.end();) {
    veskType* value = *at++;
    auto* error = dynamic_cast<veskError*>(value);
    output.itemFailure(error != nullptr
                           ? itemText(subject, items, error->index.value) +
                                 ": " + codeText(error->code.value)
                           : subject + ": " + valueText(value));
    // Once for those that failed alike.
    const bool last = at == all.end() || codeOf(*at) != codeOf(value);
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

std::string attributeLines(Output& output, veskList& list,
                           const std::string& indent) {
  std::string text;
  if (!output.settings().quiet) {
    for (veskType* element : Elements(list))
      text += valueLines(element, indent);
    return text;
  }
  for (auto* attribute : Elements<veskAttribute>(list))
    if (attribute != nullptr) text += plainText(attribute->value) + "\n";
  return text;
}

std::string foundText(veskType* value) {
  auto* oid = dynamic_cast<veskOid*>(value);
  return oid != nullptr ? oidText(*oid) : valueText(value);
}

Exit showObject(Session& session, const char* command, veskOid oid,
                veskList& wanted, bool headed) {
  Output& output = session.output();
  veskGetPDU request(oid, &wanted);
  const auto response = session.ask<veskGetRespPDU>(request);
  if (response == nullptr) return kDone;
  Json json = resultJson(session, command, *response);
  json["oid"] = oidJson(oid);
  json["attributes"] = attributesJson(response->list);
  json["errors"] = errorsJson(response->errors);
  const std::string head = headed ? oidText(oid) + "\n" : "";
  output.result(
      head + attributeLines(output, *response->list, headed ? "  " : ""), json);
  return reportErrors(output, oidText(oid), *response, &wanted);
}

}  // namespace ostrel::tools::cli
