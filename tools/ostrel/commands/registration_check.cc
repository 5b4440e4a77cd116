#include "commands/registration_check.h"

#include <ostrel/names.h>
#include <ostrel/veskAttr.h>

namespace ostrel::tools::cli {
namespace {

constexpr const char* kHost = "59.1.0.1";
constexpr const char* kServerStart = "59.1.39";

// Attributes of an object; null with --dry-run.
Owned<veskGetRespPDU> readAttributes(Session& session, veskOid oid,
                                     std::initializer_list<const char*> names) {
  const Owned<veskList> wanted(new veskList);
  for (const char* name : names)
    veskAtAppendAttr(wanted.get(), name, static_cast<veskType*>(nullptr));
  veskGetPDU request(oid, wanted.get());
  return session.ask<veskGetRespPDU>(request);
}

// The value at a position of an answer; null when there is none.
veskType* valueAt(veskGetRespPDU& answer, unsigned i) {
  auto* attribute =
      i < answer.list->count ? answer.list->at<veskAttribute>(i) : nullptr;
  return attribute != nullptr ? attribute->value : nullptr;
}

template <class Value>
bool isAt(veskGetRespPDU& answer, unsigned i, Value& expected) {
  auto* value = dynamic_cast<Value*>(valueAt(answer, i));
  return value != nullptr && *value == expected;
}

}  // namespace

bool hasRegistration(Session& session, Registered& registered) {
  try {
    const auto answer =
        readAttributes(session, registered.oid,
                       {kRegistrationObject, kRegistrationEvent,
                        kRegistrationAddress, kRegistrationPort});
    return answer != nullptr && isAt(*answer, 0, registered.object) &&
           isAt(*answer, 1, registered.event) &&
           isAt(*answer, 2, registered.to) && isAt(*answer, 3, registered.port);
  } catch (const Failure& failure) {
    if (failure.code != kNoSuchName) throw;
    return false;
  }
}

std::optional<double> serverStart(Session& session) {
  try {
    const auto answer = readAttributes(session, kHost, {kServerStart});
    auto* start = answer != nullptr
                      ? dynamic_cast<veskDouble*>(valueAt(*answer, 0))
                      : nullptr;
    return start != nullptr ? std::optional(start->value) : std::nullopt;
  } catch (const Failure& failure) {
    // Other servers need not have such an object.
    if (failure.exit != kRefused && failure.exit != kDecode) throw;
    return std::nullopt;
  }
}

}  // namespace ostrel::tools::cli
