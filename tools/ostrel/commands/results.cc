#include "commands/results.h"

#include "format/pdu_text.h"

namespace ostrel::tools::cli {
namespace {

// Items failed, and the server does not say which.
bool isNameless(const ItemError& error) {
  return error.code == kArgListError && !error.identifier.valid();
}

std::string itemText(const ItemError& error, const Aids& items) {
  if (error.position < items.size() && items[error.position].valid())
    return items[error.position].text();
  return "item " + std::to_string(error.position);
}

}  // namespace

Aids aidsFrom(const Words& words) {
  Aids aids;
  for (const std::string& word : words) aids.emplace_back(parseAid(word));
  return aids;
}

Attributes attributeValuesFrom(const Words& words) {
  const Owned<veskList> list = attributesFrom(words);
  auto attributes = ostrel::Value::from(list.get()).as<Attributes>();
  return attributes ? *std::move(attributes) : Attributes();
}

Aids idsOf(const Attributes& attributes) {
  Aids aids;
  for (const Attribute& attribute : attributes) aids.push_back(attribute.id);
  return aids;
}

ostrel::Value::VeskPointer printable(const ostrel::Value& value) {
  auto copy = value.toVesk();
  if (copy == nullptr)
    throw Failure(kDecode, "the answer has a value that cannot be read",
                  "--trace shows what was received.", kCodingError);
  return copy;
}

Json resultJson(const Target& server, const char* command,
                const ItemErrors& errors) {
  Json json;
  json["command"] = command;
  json["server"] = server.name;
  json["status"] = codeJson(errors.empty() ? kNoError : kArgListError);
  return json;
}

Json errorsJson(const ItemErrors& errors) {
  Json json = Json::array();
  for (const ItemError& error : errors) {
    if (isNameless(error)) continue;
    Json one = {{"index", error.position}};
    one.update(codeJson(error.code));
    json.push_back(std::move(one));
  }
  return json;
}

Exit reportErrors(Output& output, const std::string& subject,
                  const ItemErrors& errors, const Aids& items) {
  for (std::size_t i = 0; i < errors.size(); ++i) {
    const ItemError& error = errors[i];
    const std::string item =
        isNameless(error) ? "" : itemText(error, items) + ": ";
    output.itemFailure(subject + ": " + item + codeText(error.code));
    // Once for those that failed alike.
    const bool last =
        i + 1 == errors.size() || errors[i + 1].code != error.code;
    if (last) output.hint(hintFor(error.code));
  }
  return errors.empty() ? kDone : kPartial;
}

void throwNotMade(const ItemErrors& errors) {
  const int code = errors.empty() ? kNoError : errors[0].code;
  throw Failure(kRefused,
                "no object was made: the answer has no identifier" +
                    (code != 0 ? ", and the status " + codeText(code) : ""),
                "The server's log may tell why.", code);
}

Exit reportDone(Output& output, const std::string& line, Json json,
                const std::string& subject, const ItemErrors& errors,
                const Aids& items) {
  json["errors"] = errorsJson(errors);
  const bool said = errors.empty() && !output.settings().quiet;
  output.result(said ? line + "\n" : "", json);
  return reportErrors(output, subject, errors, items);
}

}  // namespace ostrel::tools::cli
