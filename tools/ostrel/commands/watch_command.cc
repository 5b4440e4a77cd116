// "ostrel watch": registers for events, prints them as they come, renews the
// registrations and removes them at the end. Tells when events may be missing.

#include <ostrel/elements.h>
#include <ostrel/message.h>
#include <ostrel/names.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <optional>

#include "commands/command_support.h"
#include "commands/registration_check.h"
#include "common/addresses.h"
#include "format/pdu_text.h"
#include "session/host_lookup.h"
#include "session/waiting.h"
#include "terminal/signals.h"

namespace ostrel::tools::cli {
namespace {

struct Named {
  const char* name;
  const char* id;
};
constexpr Named kEvents[] = {
    {"any", kEventAny},
    {"created", kEventCreated},
    {"changed", kEventChanged},
    {"removed", kEventRemoved},
};

veskAid eventFrom(const std::string& word) {
  for (const Named& event : kEvents)
    if (word == event.name) return veskAid(event.id);
  return parseAid(word);
}

const char* eventName(const veskAid& id) {
  for (const Named& event : kEvents)
    if (aidText(id) == event.id) return event.name;
  return nullptr;
}

// Why events may be missing.
struct Gap {
  const char* name;  // in the JSON form
  const char* text;  // what the server did
};
constexpr Gap kSilent = {"silent", "did not answer for a while"};
constexpr Gap kRestarted = {"restarted", "was restarted"};
constexpr Gap kLost = {"lost", "has lost the registration"};

// This host's address on the way to the server: events have to come back.
in_addr localAddressTowards(in_addr server) {
  const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = endpoint(server, kObjectServerPort);
  socklen_t length = sizeof address;
  const bool good =
      socket >= 0 &&
      connect(socket, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
      getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) == 0;
  const int cause = errno;
  if (socket >= 0) ::close(socket);
  if (!good)
    throw Failure(kSetup, "there is no way to " + addressText(server) + ": " +
                              std::strerror(cause));
  return address.sin_addr;
}

class Watch {
 public:
  Watch(Session& session, const Arguments& arguments)
      : session_(session), arguments_(arguments), oid_(parseOid(arguments.id)) {
    for (const std::string& word : arguments.words)
      wanted_.push_back(eventFrom(word));
    if (wanted_.empty()) wanted_.push_back(eventFrom("any"));
  }

  Exit run();

 private:
  struct Registration {
    veskAid event;
    veskOid oid;
  };

  void open();
  void checkObject();
  bool registerFor(veskAid& event, veskOid* oid);
  Exit unregisterAll();
  void watch();
  bool done() const;
  void take(const sockaddr_in& from, veskEventPDU& event);
  void renew(Registration& registration, veskEventPDU& notice);
  void verify();
  bool verifyAll();
  void reportGap();
  void report(const char* what, const std::string& text, Json details);
  void reportFailure(const std::string& what, const Failure& failure,
                     const std::string& hint, const Json& details);
  Exit reportItems(const std::string& subject, veskRespPDU& response,
                   veskList& items, Json details);

  Session& session_;
  const Arguments& arguments_;
  veskOid oid_;
  std::vector<veskAid> wanted_;
  std::vector<Registration> registrations_;
  veskMessageHandler events_;
  int socket_ = -1;
  in_addr deliverTo_ = {};
  unsigned short port_ = 0;
  unsigned seen_ = 0;
  std::chrono::steady_clock::time_point start_;

  // What was found when it was last verified that nothing is missing.
  std::chrono::steady_clock::time_point verifiedAt_;
  std::string verifiedTime_;
  std::optional<double> serverStart_;
  bool silent_ = false;       // nobody answered since
  const Gap* gap_ = nullptr;  // why events may be missing; null: they are not
};

void Watch::open() {
  deliverTo_ =
      arguments_.deliverTo.empty()
          ? localAddressTowards(session_.server().socketAddress().sin_addr)
          : resolve(arguments_.deliverTo, session_.output());
  if (session_.output().settings().dryRun) return;
  socket_ = events_.open(0);
  sockaddr_in address = {};
  socklen_t length = sizeof address;
  if (socket_ < 0 ||
      getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length) != 0)
    throw Failure(kSetup, std::string("cannot open a socket for events: ") +
                              std::strerror(errno));
  port_ = ntohs(address.sin_port);
}

// A line of JSON for each step; people only see what is text.
void Watch::report(const char* what, const std::string& text, Json details) {
  Json json;
  json["command"] = "watch";
  json["what"] = what;
  json.update(details);
  session_.output().result(text, json);
}

void Watch::reportFailure(const std::string& what, const Failure& failure,
                          const std::string& hint, const Json& details) {
  Json about;
  about["command"] = "watch";
  about.update(details);
  session_.output().failure(
      Failure(failure.exit, what + ": " + failure.what(), hint, failure.code),
      about);
}

Exit Watch::reportItems(const std::string& subject, veskRespPDU& response,
                        veskList& items, Json details) {
  const Exit exit = reportErrors(session_.output(), subject, response, &items);
  if (exit == kDone) return exit;
  details["oid"] = oidJson(oid_);
  details["status"] = codeJson(response.status.value);
  details["errors"] = errorsJson(response.errors);
  report("failed", "", std::move(details));
  return exit;
}

bool Watch::registerFor(veskAid& event, veskOid* oid) {
  const Owned<veskList> list(new veskList);
  veskAddress server(session_.server().socketAddress().sin_addr),
      host(deliverTo_);
  veskUnsignedShort port(port_);
  veskAppendAttr(list.get(), kHostAddress, &server);
  veskAppendAttr(list.get(), kRegistrationObject, &oid_);
  veskAppendAttr(list.get(), kRegistrationEvent, &event);
  veskAppendAttr(list.get(), kRegistrationAddress, &host);
  veskAppendAttr(list.get(), kRegistrationPort, &port);
  veskOid registrations(kRegistrationClass);
  veskCreatePDU request(registrations, list.get());
  const auto response = session_.ask<veskCreateRespPDU>(request);
  if (response == nullptr) return false;
  if (response->errors->count != 0) {
    reportItems(oidText(oid_), *response, *list, {{"event", aidJson(event)}});
    throw Failure(
        kRefused,
        "no registration was made: " + codeText(response->status.value),
        "--trace shows what was asked for.", response->status.value);
  }
  checkMade(*response);
  *oid = response->oid;
  Json json;
  json["registration"] = oidJson(*oid);
  json["oid"] = oidJson(oid_);
  json["event"] = aidJson(event);
  report("registered", "", std::move(json));
  return true;
}

// Removes the registrations, each whatever became of the others, and reports
// those that may be left.
Exit Watch::unregisterAll() {
  forgetSignals();
  Exit exit = kDone;
  for (Registration& registration : registrations_) {
    Json json;
    json["registration"] = oidJson(registration.oid);
    veskRemovePDU request(registration.oid);
    try {
      session_.ask<veskRemoveRespPDU>(request);
    } catch (const Failure& failure) {
      // One that has gone meanwhile is what is wanted.
      if (failure.code != kNoSuchName) {
        reportFailure("the registration " + oidText(registration.oid) +
                          " may still be there",
                      failure, "It ends by itself within the hour.", json);
        exit = failure.exit;
        continue;
      }
    }
    report("unregistered", "", std::move(json));
  }
  return exit;
}

void Watch::renew(Registration& registration, veskEventPDU& notice) {
  // The time at which it would end, by itself or in an attribute.
  veskType* first = notice.list->count != 0 ? notice.list->at(0) : nullptr;
  if (auto* attribute = dynamic_cast<veskAttribute*>(first))
    first = attribute->value;
  auto* ends = dynamic_cast<veskUnsignedInt*>(first);
  veskTime until((ends != nullptr
                      ? ends->value
                      : static_cast<std::uint32_t>(std::time(nullptr))) +
                 kRegistrationSeconds);
  const Owned<veskList> list(new veskList);
  veskAppendAttr(list.get(), kRegistrationExpiry, &until);
  veskSetPDU request(registration.oid, list.get());
  Json json;
  json["registration"] = oidJson(registration.oid);
  try {
    const auto response = session_.ask<veskSetRespPDU>(request);
    if (reportItems("the registration " + oidText(registration.oid), *response,
                    *list, json) == kDone) {
      json["until"] = timeText(until.value);
      report("renewed", "", std::move(json));
    }
  } catch (const Failure& failure) {
    if (failure.exit == kInterrupted) throw;
    reportFailure(
        "the registration " + oidText(registration.oid) + " is not renewed",
        failure, failure.hint, json);
    // It is gone, so that a new one has to take its place.
    if (failure.code == kNoSuchName) verify();
  }
}

// A class may have no objects yet. An object that is not there is a slip;
// whoever waits for one to be made watches its class.
void Watch::checkObject() {
  if (oid_.component[2] == 0 && oid_.component[3] == 0) return;
  veskVerifyPDU request(oid_);
  session_.ask<veskVerifyRespPDU>(request);
}

// Looks whether the server has what was registered, and registers again for
// what it has not. Where events may be missing since it last looked, says so.
void Watch::verify() {
  verifiedAt_ = std::chrono::steady_clock::now();
  try {
    const auto start = serverStart(session_);
    if (silent_) gap_ = &kSilent;
    if (start != serverStart_) gap_ = &kRestarted;
    serverStart_ = start;
    for (Registration& registration : registrations_) {
      Registered expected = {registration.oid, oid_, registration.event,
                             deliverTo_, port_};
      if (hasRegistration(session_, expected)) continue;
      if (gap_ == nullptr) gap_ = &kLost;
      registerFor(registration.event, &registration.oid);
    }
    silent_ = false;
  } catch (const Failure& failure) {
    // Whoever answers and refuses to register again ends the watch.
    if (failure.exit != kNoAnswer && failure.exit != kSetup) throw;
    if (!silent_)
      reportFailure("events may be missing", failure, failure.hint,
                    {{"oid", oidJson(oid_)}});
    silent_ = true;
    return;
  }
  if (gap_ != nullptr) reportGap();
  verifiedTime_ = timeNow();
}

void Watch::reportGap() {
  const std::string now = timeNow();
  Json json;
  json["time"] = now;
  json["since"] = verifiedTime_;
  json["reason"] = gap_->name;
  report("gap",
         now + " gap: the server " + gap_->text + "; events since " +
             verifiedTime_ + " may be missing\n",
         std::move(json));
  gap_ = nullptr;
}

void Watch::take(const sockaddr_in& from, veskEventPDU& event) {
  if (event.aid == kEventExpiry) {
    for (Registration& registration : registrations_)
      if (registration.oid == event.oid) renew(registration, event);
    return;
  }
  ++seen_;
  const char* name = eventName(event.aid);
  const std::string now = timeNow();
  std::string text = now + " " + oidText(event.oid) + " " +
                     (name != nullptr ? name : aidText(event.aid).c_str());
  const char* gap = "  ";
  for (veskType* element : Elements(event.list)) {
    auto* attribute = dynamic_cast<veskAttribute*>(element);
    text += gap + (attribute != nullptr ? attributeText(*attribute)
                                        : valueText(element));
    gap = ", ";
  }
  Json json;
  json["time"] = now;
  json["from"] = addressText(from.sin_addr);
  json["oid"] = oidJson(event.oid);
  json["event"] = aidJson(event.aid);
  json["name"] = name != nullptr ? Json(name) : Json(nullptr);
  json["arguments"] = toJson(event.list)["value"];
  report("event", text + "\n", std::move(json));
}

bool Watch::done() const {
  const auto passed = std::chrono::steady_clock::now() - start_;
  return (arguments_.count != 0 && seen_ >= arguments_.count) ||
         (arguments_.seconds != 0 &&
          passed >= std::chrono::seconds(arguments_.seconds)) ||
         session_.output().broken();
}

void Watch::watch() {
  start_ = std::chrono::steady_clock::now();
  const std::chrono::seconds verifyEvery(arguments_.verifyEvery);
  while (!done()) {
    if (std::chrono::steady_clock::now() - verifiedAt_ >= verifyEvery) verify();
    if (!waitFor(socket_)) continue;
    if (session_.output().settings().trace) session_.trace().arriving(socket_);
    veskPDU* arrived = nullptr;
    sockaddr_in from = {};
    if (events_.recv(&from, &arrived) != 0 || arrived == nullptr) continue;
    const Owned<veskPDU> pdu(arrived);
    // Whoever sends something else to this port gets no answer.
    if (auto* event = dynamic_cast<veskEventPDU*>(arrived)) take(from, *event);
  }
}

Exit Watch::run() {
  open();
  checkObject();
  if (!session_.output().settings().dryRun)
    serverStart_ = serverStart(session_);
  try {
    for (veskAid& event : wanted_) {
      Registration registration = {event, {}};
      if (registerFor(event, &registration.oid))
        registrations_.push_back(registration);
    }
    if (registrations_.empty()) {
      session_.output().note("ostrel: so is the port for events, 0 here");
      return kDone;
    }
    session_.output().note(
        "ostrel: watching " + oidText(oid_) + " at " +
        addressText(session_.server().socketAddress().sin_addr) +
        "; Ctrl-C ends it");
    verifiedAt_ = std::chrono::steady_clock::now();
    verifiedTime_ = timeNow();
    watch();
  } catch (const Failure& failure) {
    // Ctrl-C is how watching ends; while registering it is an interruption.
    const bool ended =
        failure.exit == kInterrupted && registrations_.size() == wanted_.size();
    const Exit left = unregisterAll();
    if (!ended) throw;
    return left;
  }
  return unregisterAll();
}

Exit runWatch(Session& session, const Arguments& arguments) {
  return Watch(session, arguments).run();
}

}  // namespace

std::vector<Command> watchCommands() {
  return {
      {"watch", "Print events as they happen, until Ctrl-C",
       "Registers with the server, renews the registration while it runs and\n"
       "removes it at the end. Events are identifiers, or: any, created,\n"
       "changed, removed. A class stands for all its objects. When events may\n"
       "be missing, since the server was restarted for one, it says so.\n\n" +
           examples("  ostrel watch 59.200\n"
                    "  ostrel watch 59.200.0.1 changed removed\n"
                    "  ostrel --json watch 59.200 --count 1 --seconds 60"),
       [](CLI::App& command, Arguments& arguments) {
         addId(command, arguments, "OBJECT", "The object or class");
         addWords(command, arguments, "EVENT", "Events; any without one");
         command
             .add_option("--count", arguments.count, "End after so many events")
             ->type_name("COUNT");
         command
             .add_option("--seconds", arguments.seconds, "End after so long")
             ->type_name("SECONDS");
         command
             .add_option("--verify-every", arguments.verifyEvery,
                         "Seconds between looks at the registration")
             ->type_name("SECONDS")
             ->group("");
         command
             .add_option(
                 "--deliver-to", arguments.deliverTo,
                 "This host's address, where the server finds it by another")
             ->type_name("ADDRESS");
       },
       inSession<runWatch>},
  };
}

}  // namespace ostrel::tools::cli
