// What the tests of the servers share.

#ifndef OSTREL_TESTS_TOOLS_OSTRELD_SERVER_TEST_H
#define OSTREL_TESTS_TOOLS_OSTRELD_SERVER_TEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostrel/codes.h>
#include <ostrel/elements.h>
#include <ostrel/names.h>
#include <ostrel/veskError.h>
#include <ostrel/veskPDU.h>

#include <string>
#include <utility>
#include <vector>

#include "common/addresses.h"
#include "common/encoding.h"
#include "common/owned.h"
#include "common/printed.h"
#include "objects/registrations.h"
#include "objects/stored_objects.h"
#include "requests/request_router.h"
#include "store/memory_store.h"
#include "support/clock.h"

namespace ostrel::tools::server {

class FakeClock : public Clock {
 public:
  double now() const override { return time; }
  double time = 1000000;
};

// A store that is full when told.
class FakeStore : public MemoryStore {
 public:
  void insert(const veskOid& oid) override {
    if (noMoreObjects) throw StoreError("no room for an object");
    MemoryStore::insert(oid);
  }
  void keepAnswer(std::string_view request, const Answered& answer) override {
    if (noMoreAnswers) throw StoreError("no room for an answer");
    MemoryStore::keepAnswer(request, answer);
  }

  void commit() override {
    if (noMoreCommits) throw StoreError("no room for a transaction");
    MemoryStore::commit();
  }

  bool noMoreCommits = false;
  bool noMoreObjects = false;
  bool noMoreAnswers = false;
};

inline sockaddr_in addressOf(const char* host, std::uint16_t port) {
  return endpoint(*parseAddress(host), port);
}

inline std::string text(veskType& value) { return printed(value); }
inline std::string text(const sockaddr_in& address) {
  return endpointText(address);
}

inline sockaddr_in local() { return addressOf("127.0.0.1", 4000); }
inline sockaddr_in remote() { return addressOf("192.0.2.7", 4000); }

// A list for a PDU: the list itself belongs to whoever clears the PDU.
inline veskList* newList() { return new veskList; }

template <class Value>
veskList* with(veskList* list, const char* name, Value* value) {
  veskAtAppendAttr(list, name, value);
  return list;
}

inline veskList* condition(veskList* list, const char* name, veskType* value,
                           int op) {
  veskAid id(name);
  list->append(new veskAttributeValueOp(&id, value, op));
  veskType::destroyDecoded(value);
  return list;
}

// A list's elements as texts.
inline std::vector<std::string> texts(veskList& list) {
  std::vector<std::string> result;
  for (veskType* element : Elements(list))
    result.push_back(element == nullptr ? "null" : text(*element));
  return result;
}

// The errors of an answer as pairs of position and code.
inline std::vector<std::pair<unsigned, int>> errorsIn(veskList& errors) {
  std::vector<std::pair<unsigned, int>> result;
  for (auto* error : Elements<veskError>(errors))
    result.emplace_back(error->index.value, error->code.value);
  return result;
}

// A server's parts around a store in memory, asked in process. Answers pass
// through their encoding, as they do on the network.
class ServerTest : public testing::Test {
 protected:
  explicit ServerTest(Policy policy = Policy())
      : stored(&store),
        registrations(&stored, &clock),
        router(&stored, &registrations, std::move(policy)) {}

  template <class Answer, class Request>
  Owned<Answer> ask(Owned<Request> request, sockaddr_in from = local()) {
    const RequestKind* kind = kindOf(*request);
    EXPECT_NE(kind, nullptr);
    if (kind == nullptr) return nullptr;
    const Owned<veskPDU> answer = router.answer(*kind, *request, from);
    EXPECT_EQ(answer->requestId.value, request->requestId.value);
    Owned<veskType> copy = decoded(*encoded(*answer));
    auto typed = takeAs<Answer>(copy);
    EXPECT_NE(typed, nullptr) << "tag " << int{answer->tag};
    return typed;
  }

  Owned<veskCreateRespPDU> create(const char* classText, veskList* list,
                                  sockaddr_in from = local()) {
    veskOid oid(classText);
    return ask<veskCreateRespPDU>(make<veskCreatePDU>(oid, list), from);
  }

  // The identifier of a new object; "" when it was not made.
  std::string created(const char* classText, veskList* list) {
    const auto answer = create(classText, list);
    return answer->status.value == 0 ? text(answer->oid) : "";
  }

  Owned<veskGetRespPDU> get(const std::string& object,
                            std::vector<const char*> names = {}) {
    veskOid oid(object.c_str());
    names.push_back(nullptr);
    auto* list = newList();
    veskMakeAttrList(names.data(), list);
    return ask<veskGetRespPDU>(make<veskGetPDU>(oid, list));
  }

  Owned<veskSetRespPDU> set(const std::string& object, veskList* list,
                            sockaddr_in from = local()) {
    veskOid oid(object.c_str());
    return ask<veskSetRespPDU>(make<veskSetPDU>(oid, list), from);
  }

  int remove(const std::string& object, sockaddr_in from = local()) {
    veskOid oid(object.c_str());
    return ask<veskRemoveRespPDU>(make<veskRemovePDU>(oid), from)->status.value;
  }

  int verify(const std::string& object) {
    veskOid oid(object.c_str());
    return ask<veskVerifyRespPDU>(make<veskVerifyPDU>(oid))->status.value;
  }

  Owned<veskSearchRespPDU> search(const std::string& where, veskList* list) {
    veskOid oid(where.c_str());
    return ask<veskSearchRespPDU>(make<veskSearchPDU>(oid, list, 1U));
  }

  FakeClock clock;
  FakeStore store;
  StoredObjects stored;
  Registrations registrations;
  RequestRouter router;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TESTS_TOOLS_OSTRELD_SERVER_TEST_H
