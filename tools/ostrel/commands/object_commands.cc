// The commands that ask an object server.

#include <ostrel/elements.h>
#include <ostrel/names.h>

#include <ctime>

#include "commands/command_support.h"
#include "format/pdu_text.h"

namespace ostrel::tools::cli {
namespace {

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

Exit get(Session& session, const char* command, veskOid oid, veskList& wanted,
         bool headed) {
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

// Create and clone differ in their PDUs alone.
template <class Request, class Response>
Exit make(Session& session, const char* command, const std::string& from,
          const Words& words) {
  Output& output = session.output();
  veskOid oid = parseOid(from);
  const Owned<veskList> attributes = attributesFrom(words);
  Request request(oid, attributes.get());
  const auto response = session.ask<Response>(request);
  if (response == nullptr) return kDone;
  const bool made = response->errors->count == 0;
  if (made) checkMade(*response);
  Json json = resultJson(session, command, *response);
  json["oid"] = made ? oidJson(response->oid) : Json(nullptr);
  json["errors"] = errorsJson(response->errors);
  output.result(made ? oidText(response->oid) + "\n" : "", json);
  const Exit exit =
      reportErrors(output, oidText(oid), *response, attributes.get());
  // With errors there is no new object.
  return made ? exit : kRefused;
}

// Remove and verify answer with a status alone.
template <class Request, class Response>
Exit forEachObject(Session& session, const char* command, const char* done,
                   const Words& oids) {
  Output& output = session.output();
  // Before anything is sent, every word has to be an identifier.
  std::vector<veskOid> parsed;
  for (const std::string& word : oids) parsed.push_back(parseOid(word));
  return forEachOf(output, command, oids, [&](std::size_t i) {
    veskOid& oid = parsed[i];
    Request request(oid);
    const auto response = session.ask<Response>(request);
    if (response == nullptr) return;
    Json json = resultJson(session, command, *response);
    json["oid"] = oidJson(oid);
    output.result(
        output.settings().quiet ? "" : oidText(oid) + ": " + done + "\n", json);
  });
}

Arrived<veskSearchRespPDU> search(Session& session, veskOid& oid,
                                  veskList& conditions) {
  veskSearchPDU request(oid, &conditions, kSearchFlag);
  return session.ask<veskSearchRespPDU>(request);
}

Value argument(const std::string& word, std::time_t now) {
  // "59.6.1=5" is an attribute, everything else a value.
  if (word.find_first_not_of("0123456789.") == word.find('=') &&
      word.find('=') != word.npos)
    return Value(parseAttribute(word, now).release());
  return parseValue(word, now);
}

}  // namespace

Exit runGet(Session& session, const std::string& oid, const Words& aids) {
  Owned<veskList> wanted(new veskList);
  for (const std::string& word : aids) {
    veskAid aid = parseAid(word);
    wanted->append(new veskAttribute(&aid));
  }
  return get(session, "get", parseOid(oid), *wanted, false);
}

Exit runSet(Session& session, const std::string& word,
            const Words& attributes) {
  Output& output = session.output();
  veskOid oid = parseOid(word);
  const Owned<veskList> list = attributesFrom(attributes);
  veskSetPDU request(oid, list.get());
  const auto response = session.ask<veskSetRespPDU>(request);
  if (response == nullptr) return kDone;
  Json json = resultJson(session, "set", *response);
  json["oid"] = oidJson(oid);
  json["errors"] = errorsJson(response->errors);
  const bool all = response->status.value == 0 && response->errors->count == 0;
  output.result(all && !output.settings().quiet ? oidText(oid) + ": set\n" : "",
                json);
  return reportErrors(output, oidText(oid), *response, list.get());
}

Exit runCreate(Session& session, const std::string& classOid,
               const Words& attributes) {
  return make<veskCreatePDU, veskCreateRespPDU>(session, "create", classOid,
                                                attributes);
}

Exit runClone(Session& session, const std::string& oid,
              const Words& attributes) {
  // A server may answer with either, which differ in their tag alone.
  return make<veskClonePDU, veskCreateRespPDU>(session, "clone", oid,
                                               attributes);
}

Exit runRemove(Session& session, const Words& oids) {
  return forEachObject<veskRemovePDU, veskRemoveRespPDU>(session, "remove",
                                                         "removed", oids);
}

Exit runVerify(Session& session, const Words& oids) {
  return forEachObject<veskVerifyPDU, veskVerifyRespPDU>(session, "verify",
                                                         "there", oids);
}

Exit runSearch(Session& session, const std::string& classOid,
               const Words& words) {
  Output& output = session.output();
  veskOid oid = parseOid(classOid);
  const Owned<veskList> conditions = conditionsFrom(words);
  const auto response = search(session, oid, *conditions);
  if (response == nullptr) return kDone;
  std::string text;
  Json found = Json::array();
  for (veskType* value : Elements(response->list)) {
    text += foundText(value) + "\n";
    auto* object = dynamic_cast<veskOid*>(value);
    found.push_back(object != nullptr ? oidJson(*object) : toJson(value));
  }
  Json json = resultJson(session, "search", *response);
  json["oid"] = oidJson(oid);
  json["found"] = std::move(found);
  json["errors"] = errorsJson(response->errors);
  output.result(text, json);
  const Exit exit =
      reportErrors(output, oidText(oid), *response, conditions.get());
  if (exit == kDone && response->list->count == 0)
    output.note("ostrel: nothing found");
  return exit;
}

Exit runWalk(Session& session, const std::string& classOid,
             const Words& words) {
  Output& output = session.output();
  veskOid oid = parseOid(classOid);
  const Owned<veskList> conditions = conditionsFrom(words);
  const auto response = search(session, oid, *conditions);
  if (response == nullptr) return kDone;
  const Exit searched =
      reportErrors(output, oidText(oid), *response, conditions.get());
  if (searched != kDone) {
    Json json = resultJson(session, "walk", *response);
    json["oid"] = oidJson(oid);
    json["attributes"] = Json::array();
    json["errors"] = errorsJson(response->errors);
    output.result("", json);
  }
  Words found;
  for (veskType* value : Elements(response->list))
    found.push_back(foundText(value));
  if (searched == kDone && found.empty()) output.note("ostrel: nothing found");
  Exit partly = searched;
  const Exit walked = forEachOf(output, "walk", found, [&](std::size_t i) {
    auto* object = response->list->at<veskOid>(static_cast<unsigned>(i));
    if (object == nullptr || object->valid == 0)
      throw Failure(kDecode, "the server found what is no object",
                    "--trace shows what was received.");
    veskList everything;
    if (get(session, "walk", *object, everything, true) != kDone)
      partly = kPartial;
  });
  return walked != kDone ? walked : partly;
}

Exit runAction(Session& session, const std::string& word,
               const Words& arguments) {
  Output& output = session.output();
  veskActionPDU request;
  const Owned<veskList> list(request.list);
  request.aid = parseAid(word);
  const std::time_t now = std::time(nullptr);
  for (const std::string& text : arguments)
    list->append(argument(text, now).release());
  // Answers to actions arrive as answers to a set.
  const auto response = session.ask<veskSetRespPDU>(request);
  if (response == nullptr) return kDone;
  Json json = resultJson(session, "action", *response);
  json["aid"] = aidJson(request.aid);
  json["errors"] = errorsJson(response->errors);
  const bool all = response->status.value == 0 && response->errors->count == 0;
  output.result(
      all && !output.settings().quiet ? aidText(request.aid) + ": done\n" : "",
      json);
  return reportErrors(output, aidText(request.aid), *response, list.get());
}

}  // namespace ostrel::tools::cli
