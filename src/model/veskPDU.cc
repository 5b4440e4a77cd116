#include <ostrel/tags.h>
#include <ostrel/veskPDU.h>

#include <initializer_list>
#include <utility>

#include "base/text.h"
#include "model/answers.h"
#include "value/members.h"
#include "value/tag_table.h"
#include "value/values.h"

using namespace ostrel;

namespace {

// A copy of the list with its elements; null for null.
veskList* copyList(veskList* list) {
  return list != nullptr ? as<veskList>(list->dup()) : nullptr;
}

// An empty list. When memory runs out, the lists `made` earlier for the same
// PDU are freed.
veskList* newList(std::initializer_list<veskList*> made = {}) {
  try {
    return new veskList;
  } catch (...) {
    for (veskList* former : made) delete former;
    throw;
  }
}

// `made` if `given` is null, else null: the list that this PDU itself made.
veskList* ifNew(veskList* given, veskList* made) {
  return given == nullptr ? made : nullptr;
}

// The members that each class adds to those of its base, in wire order.
Members wireOrder(veskCreatePDU& p) { return {p.oid, p.list}; }
Members wireOrder(veskRemovePDU& p) { return {p.oid}; }
Members wireOrder(veskVerifyPDU& p) { return {p.oid}; }
Members wireOrder(veskGetPDU& p) { return {p.oid, p.list}; }
Members wireOrder(veskSearchPDU& p) { return {p.oid, p.list, p.flag}; }
Members wireOrder(veskEventPDU& p) { return {p.oid, p.aid, p.list}; }
Members wireOrder(veskActionPDU& p) { return {p.aid, p.list}; }
Members wireOrder(veskDSsearchPDU& p) { return {p.oid, p.list, p.list2}; }
Members wireOrder(veskRespPDU& p) { return {p.errors}; }
Members wireOrder(veskCreateRespPDU& p) { return {p.oid}; }
Members wireOrder(veskGetRespPDU& p) { return {p.list}; }
Members wireOrder(veskSearchRespPDU& p) { return {p.list}; }
Members wireOrder(veskDSsearchRespPDU& p) { return {p.list2, p.list}; }

// What each class prints after the header.
template <class Pdu>
Members textOrder(Pdu& p) {
  return wireOrder(p);
}
Members textOrder(veskGetRespPDU& p) { return {p.list, p.errors}; }
Members textOrder(veskSearchRespPDU& p) { return {p.list, p.errors}; }
Members textOrder(veskDSsearchRespPDU& p) {
  return {p.list, p.list2, p.errors};
}

char* textOf(veskPDU& pdu, const Members& members) {
  Text text;
  text.take(pdu.veskPDU::getString());
  joinMembers(&text, " : ", members);
  return text.release();
}

// A program may have given the same list for both.
void freeLists(veskList*& first, veskList*& second) {
  veskList* const list = std::exchange(first, nullptr);
  if (second == list) second = nullptr;
  freeList(list);
  freeList(std::exchange(second, nullptr));
}

// The kinds of PDUs that may answer a request.
struct Answers {
  unsigned request;
  Kinds kinds;
};
constexpr Answers kAnswers[] = {
    {kTagGetPDU, kindOf(kTagGetRespPDU)},
    {kTagSetPDU, kindOf(kTagSetRespPDU) | kindOf(kTagActionRespPDU)},
    {kTagCreatePDU, kindOf(kTagCreateRespPDU) | kindOf(kTagCloneRespPDU)},
    {kTagClonePDU, kindOf(kTagCloneRespPDU)},
    {kTagRemovePDU, kindOf(kTagRemoveRespPDU)},
    {kTagVerifyPDU, kindOf(kTagVerifyRespPDU)},
    {kTagSearchPDU, kindOf(kTagSearchRespPDU)},
    {kTagDSsearchPDU, kindOf(kTagDSsearchRespPDU)},
};

}  // namespace

Kinds ostrel::answersTo(unsigned requestTag) {
  for (const Answers& answers : kAnswers) {
    if (answers.request == requestTag) return answers.kinds;
  }
  return kAnyKind;
}

// The header

veskPDU::veskPDU(unsigned int type) : veskType(type) {}
veskPDU::veskPDU(unsigned int type, veskOid& who)
    : veskType(type), principal(who) {}
veskPDU::veskPDU(veskPDU* from, unsigned int type)
    : veskType(type),
      status(from->status.value),
      requestId(from->requestId.value),
      principal(from->principal) {}

unsigned veskPDU::encode(char* buffer, unsigned length) {
  return encodeMembers(veskType::encode(buffer, length), buffer, length,
                       Members(status, requestId, principal));
}

unsigned veskPDU::decode(char* buffer, unsigned length) {
  return decodeMembers(veskType::decode(buffer, length), buffer, length,
                       Members(status, requestId, principal));
}

char* veskPDU::getString() {
  Text text;
  joinMembers(&text, " : ", Members(requestId, status, principal));
  return text.release();
}

veskType* veskPDU::dup() { return new veskPDU(this, kTagPDU); }

void veskPDU::clear() {}

// Each class with members of its own: the base's members first, then its own.
#define OSTREL_MEMBERS_BEHIND(Base, Class)                             \
  unsigned Class::encode(char* buffer, unsigned length) {              \
    return encodeMembers(Base::encode(buffer, length), buffer, length, \
                         wireOrder(*this));                            \
  }                                                                    \
  unsigned Class::decode(char* buffer, unsigned length) {              \
    return decodeMembers(Base::decode(buffer, length), buffer, length, \
                         wireOrder(*this));                            \
  }                                                                    \
  char* Class::getString() { return textOf(*this, textOrder(*this)); }
OSTREL_MEMBERS_BEHIND(veskPDU, veskCreatePDU)
OSTREL_MEMBERS_BEHIND(veskPDU, veskRemovePDU)
OSTREL_MEMBERS_BEHIND(veskPDU, veskVerifyPDU)
OSTREL_MEMBERS_BEHIND(veskPDU, veskGetPDU)
OSTREL_MEMBERS_BEHIND(veskPDU, veskSearchPDU)
OSTREL_MEMBERS_BEHIND(veskPDU, veskEventPDU)
OSTREL_MEMBERS_BEHIND(veskPDU, veskActionPDU)
OSTREL_MEMBERS_BEHIND(veskPDU, veskDSsearchPDU)
OSTREL_MEMBERS_BEHIND(veskPDU, veskRespPDU)
OSTREL_MEMBERS_BEHIND(veskRespPDU, veskCreateRespPDU)
OSTREL_MEMBERS_BEHIND(veskRespPDU, veskGetRespPDU)
OSTREL_MEMBERS_BEHIND(veskRespPDU, veskSearchRespPDU)
OSTREL_MEMBERS_BEHIND(veskRespPDU, veskDSsearchRespPDU)
#undef OSTREL_MEMBERS_BEHIND

void veskRespPDU::clear() { freeList(std::exchange(errors, nullptr)); }
void veskDSsearchPDU::clear() { freeLists(list, list2); }
void veskGetRespPDU::clear() { freeLists(list, errors); }
void veskSearchRespPDU::clear() { freeLists(list, errors); }
void veskDSsearchRespPDU::clear() {
  if (list2 == list) list2 = nullptr;
  if (errors == list) errors = nullptr;
  freeList(std::exchange(list, nullptr));
  freeLists(list2, errors);
}
#define OSTREL_CLEARS(Class) \
  void Class::clear() { freeList(std::exchange(list, nullptr)); }
OSTREL_CLEARS(veskCreatePDU)
OSTREL_CLEARS(veskGetPDU)
OSTREL_CLEARS(veskSearchPDU)
OSTREL_CLEARS(veskEventPDU)
OSTREL_CLEARS(veskActionPDU)
#undef OSTREL_CLEARS

// Create and clone

veskCreatePDU::veskCreatePDU() : veskPDU(kTagCreatePDU), list(new veskList) {}
veskCreatePDU::veskCreatePDU(veskCreatePDU* from)
    : veskPDU(from, kTagCreatePDU), oid(from->oid), list(from->list) {}
veskCreatePDU::veskCreatePDU(veskOid& classOid, veskList* attributes)
    : veskPDU(kTagCreatePDU), oid(classOid), list(attributes) {}
veskCreatePDU::veskCreatePDU(veskOid& classOid, veskList* attributes,
                             veskOid& who)
    : veskPDU(kTagCreatePDU, who), oid(classOid), list(attributes) {}
veskCreatePDU::veskCreatePDU(veskObject& object)
    : veskCreatePDU(object.oid, copyList(object.attributeList)) {}
veskCreatePDU::veskCreatePDU(veskObject& object, veskOid& who)
    : veskCreatePDU(object.oid, copyList(object.attributeList), who) {}
veskType* veskCreatePDU::dup() { return new veskCreatePDU(this); }

veskClonePDU::veskClonePDU() { tag = kTagClonePDU; }
veskClonePDU::veskClonePDU(veskClonePDU* from) : veskCreatePDU(from) {
  tag = kTagClonePDU;
}
veskClonePDU::veskClonePDU(veskOid& source, veskList* attributes)
    : veskCreatePDU(source, attributes) {
  tag = kTagClonePDU;
}
veskClonePDU::veskClonePDU(veskOid& source, veskList* attributes, veskOid& who)
    : veskCreatePDU(source, attributes, who) {
  tag = kTagClonePDU;
}
veskClonePDU::veskClonePDU(veskObject& object) : veskCreatePDU(object) {
  tag = kTagClonePDU;
}
veskClonePDU::veskClonePDU(veskObject& object, veskOid& who)
    : veskCreatePDU(object, who) {
  tag = kTagClonePDU;
}
veskType* veskClonePDU::dup() { return new veskClonePDU(this); }

// Remove and verify

veskRemovePDU::veskRemovePDU() : veskPDU(kTagRemovePDU) {}
veskRemovePDU::veskRemovePDU(veskRemovePDU* from)
    : veskPDU(from, kTagRemovePDU), oid(from->oid) {}
veskRemovePDU::veskRemovePDU(veskOid& object)
    : veskPDU(kTagRemovePDU), oid(object) {}
veskRemovePDU::veskRemovePDU(veskOid& object, veskOid& who)
    : veskPDU(kTagRemovePDU, who), oid(object) {}
veskType* veskRemovePDU::dup() { return new veskRemovePDU(this); }

veskVerifyPDU::veskVerifyPDU() : veskPDU(kTagVerifyPDU) {}
veskVerifyPDU::veskVerifyPDU(veskVerifyPDU* from)
    : veskPDU(from, kTagVerifyPDU), oid(from->oid) {}
veskVerifyPDU::veskVerifyPDU(veskOid& object)
    : veskPDU(kTagVerifyPDU), oid(object) {}
veskVerifyPDU::veskVerifyPDU(veskOid& object, veskOid& who)
    : veskPDU(kTagVerifyPDU, who), oid(object) {}
veskType* veskVerifyPDU::dup() { return new veskVerifyPDU(this); }

// Get and set

veskGetPDU::veskGetPDU() : veskPDU(kTagGetPDU), list(new veskList) {}
veskGetPDU::veskGetPDU(veskGetPDU* from)
    : veskPDU(from, kTagGetPDU), oid(from->oid), list(from->list) {}
veskGetPDU::veskGetPDU(veskOid& object, veskList* attributes)
    : veskPDU(kTagGetPDU), oid(object), list(attributes) {}
veskGetPDU::veskGetPDU(veskOid& object, veskList* attributes, veskOid& who)
    : veskPDU(kTagGetPDU, who), oid(object), list(attributes) {}
veskGetPDU::veskGetPDU(veskObject& object)
    : veskGetPDU(object.oid, copyList(object.attributeList)) {}
veskGetPDU::veskGetPDU(veskObject& object, veskOid& who)
    : veskGetPDU(object.oid, copyList(object.attributeList), who) {}
veskType* veskGetPDU::dup() { return new veskGetPDU(this); }

veskSetPDU::veskSetPDU() { tag = kTagSetPDU; }
veskSetPDU::veskSetPDU(veskSetPDU* from) : veskGetPDU(from) {
  tag = kTagSetPDU;
}
veskSetPDU::veskSetPDU(veskOid& object, veskList* attributes)
    : veskGetPDU(object, attributes) {
  tag = kTagSetPDU;
}
veskSetPDU::veskSetPDU(veskOid& object, veskList* attributes, veskOid& who)
    : veskGetPDU(object, attributes, who) {
  tag = kTagSetPDU;
}
veskSetPDU::veskSetPDU(veskObject& object) : veskGetPDU(object) {
  tag = kTagSetPDU;
}
veskSetPDU::veskSetPDU(veskObject& object, veskOid& who)
    : veskGetPDU(object, who) {
  tag = kTagSetPDU;
}
veskType* veskSetPDU::dup() { return new veskSetPDU(this); }

// Search

veskSearchPDU::veskSearchPDU()
    : veskPDU(kTagSearchPDU), list(new veskList), flag(1) {}
veskSearchPDU::veskSearchPDU(veskSearchPDU* from)
    : veskPDU(from, kTagSearchPDU),
      oid(from->oid),
      list(from->list),
      flag(from->flag.value) {}
veskSearchPDU::veskSearchPDU(veskOid& classOid, veskList* wanted,
                             unsigned int set)
    : veskPDU(kTagSearchPDU), oid(classOid), list(wanted), flag(set) {}
veskSearchPDU::veskSearchPDU(veskOid& classOid, veskList* wanted,
                             unsigned int set, veskOid& who)
    : veskPDU(kTagSearchPDU, who), oid(classOid), list(wanted), flag(set) {}
veskType* veskSearchPDU::dup() { return new veskSearchPDU(this); }

// Event and action

veskEventPDU::veskEventPDU() : veskPDU(kTagEventPDU), list(new veskList) {}
veskEventPDU::veskEventPDU(veskEventPDU* from)
    : veskPDU(from, kTagEventPDU),
      oid(from->oid),
      aid(from->aid),
      list(from->list) {}
veskEventPDU::veskEventPDU(veskOid& object, veskAid& event, veskList* arguments)
    : veskPDU(kTagEventPDU), oid(object), aid(event), list(arguments) {}
veskType* veskEventPDU::dup() { return new veskEventPDU(this); }

veskActionPDU::veskActionPDU() : veskPDU(kTagActionPDU), list(new veskList) {}
veskActionPDU::veskActionPDU(veskActionPDU* from)
    : veskPDU(from, kTagActionPDU),
      oid(from->oid),
      aid(from->aid),
      list(from->list) {}
veskActionPDU::veskActionPDU(veskOid& object, veskAid& action,
                             veskList* arguments)
    : veskPDU(kTagActionPDU), oid(object), aid(action), list(arguments) {}
veskActionPDU::veskActionPDU(veskOid& object, veskAid& action,
                             veskList* arguments, veskOid& who)
    : veskPDU(kTagActionPDU, who), oid(object), aid(action), list(arguments) {}
veskType* veskActionPDU::dup() { return new veskActionPDU(this); }

// Search of the directory service

veskDSsearchPDU::veskDSsearchPDU()
    : veskPDU(kTagDSsearchPDU), list(new veskList), list2(newList({list})) {}
veskDSsearchPDU::veskDSsearchPDU(veskDSsearchPDU* from)
    : veskPDU(from, kTagDSsearchPDU),
      oid(from->oid),
      list(from->list),
      list2(from->list2) {}
veskDSsearchPDU::veskDSsearchPDU(veskOid& classOid, veskList* first,
                                 veskList* second)
    : veskPDU(kTagDSsearchPDU), oid(classOid), list(first), list2(second) {}
veskDSsearchPDU::veskDSsearchPDU(veskOid& classOid, veskList* first,
                                 veskList* second, veskOid& who)
    : veskPDU(kTagDSsearchPDU, who),
      oid(classOid),
      list(first),
      list2(second) {}
veskType* veskDSsearchPDU::dup() { return new veskDSsearchPDU(this); }

// Responses

veskRespPDU::veskRespPDU(unsigned int type, veskList* failed)
    : veskPDU(type), errors(failed != nullptr ? failed : newList()) {}
veskRespPDU::veskRespPDU(veskRespPDU* from, unsigned int type)
    : veskPDU(from, type), errors(from->errors) {}
veskType* veskRespPDU::dup() { return new veskRespPDU(this, kTagRespPDU); }

veskCreateRespPDU::veskCreateRespPDU() : veskCreateRespPDU(0) {}
veskCreateRespPDU::veskCreateRespPDU(veskCreateRespPDU* from)
    : veskRespPDU(from, kTagCreateRespPDU), oid(from->oid) {}
veskCreateRespPDU::veskCreateRespPDU(int code)
    : veskCreateRespPDU(code, nullptr) {}
veskCreateRespPDU::veskCreateRespPDU(int code, veskList* failed)
    : veskRespPDU(kTagCreateRespPDU, failed) {
  status.value = code;
}
veskCreateRespPDU::veskCreateRespPDU(int code, veskOid& made, veskList* failed)
    : veskCreateRespPDU(code, failed) {
  oid = made;
}
veskType* veskCreateRespPDU::dup() { return new veskCreateRespPDU(this); }

veskCloneRespPDU::veskCloneRespPDU() { tag = kTagCloneRespPDU; }
veskCloneRespPDU::veskCloneRespPDU(veskCloneRespPDU* from)
    : veskCreateRespPDU(from) {
  tag = kTagCloneRespPDU;
}
veskCloneRespPDU::veskCloneRespPDU(int code) : veskCreateRespPDU(code) {
  tag = kTagCloneRespPDU;
}
veskCloneRespPDU::veskCloneRespPDU(int code, veskList* failed)
    : veskCreateRespPDU(code, failed) {
  tag = kTagCloneRespPDU;
}
veskCloneRespPDU::veskCloneRespPDU(int code, veskOid& made, veskList* failed)
    : veskCreateRespPDU(code, made, failed) {
  tag = kTagCloneRespPDU;
}
veskType* veskCloneRespPDU::dup() { return new veskCloneRespPDU(this); }

veskGetRespPDU::veskGetRespPDU() : veskGetRespPDU(0) {}
veskGetRespPDU::veskGetRespPDU(veskGetRespPDU* from)
    : veskRespPDU(from, kTagGetRespPDU), list(from->list) {}
veskGetRespPDU::veskGetRespPDU(int code)
    : veskGetRespPDU(code, nullptr, nullptr) {}
veskGetRespPDU::veskGetRespPDU(veskList* attributes)
    : veskGetRespPDU(0, attributes, nullptr) {}
veskGetRespPDU::veskGetRespPDU(int code, veskList* attributes, veskList* failed)
    : veskRespPDU(kTagGetRespPDU, failed),
      list(attributes != nullptr ? attributes
                                 : newList({ifNew(failed, errors)})) {
  status.value = code;
}
veskType* veskGetRespPDU::dup() { return new veskGetRespPDU(this); }

veskSetRespPDU::veskSetRespPDU() : veskSetRespPDU(0) {}
veskSetRespPDU::veskSetRespPDU(veskSetRespPDU* from)
    : veskRespPDU(from, kTagSetRespPDU) {}
veskSetRespPDU::veskSetRespPDU(int code) : veskSetRespPDU(code, nullptr) {}
veskSetRespPDU::veskSetRespPDU(int code, veskList* failed)
    : veskRespPDU(kTagSetRespPDU, failed) {
  status.value = code;
}
veskType* veskSetRespPDU::dup() { return new veskSetRespPDU(this); }

// Kept: an action's response keeps the tag of its base.
veskActionRespPDU::veskActionRespPDU() = default;
veskActionRespPDU::veskActionRespPDU(veskActionRespPDU* from)
    : veskSetRespPDU(from) {}
veskActionRespPDU::veskActionRespPDU(int code) : veskSetRespPDU(code) {}
veskActionRespPDU::veskActionRespPDU(int code, veskList* failed)
    : veskSetRespPDU(code, failed) {}
veskType* veskActionRespPDU::dup() { return new veskActionRespPDU(this); }

veskSearchRespPDU::veskSearchRespPDU() : veskSearchRespPDU(0) {}
veskSearchRespPDU::veskSearchRespPDU(veskSearchRespPDU* from)
    : veskRespPDU(from, kTagSearchRespPDU), list(from->list) {}
veskSearchRespPDU::veskSearchRespPDU(int code)
    : veskSearchRespPDU(code, nullptr) {}
veskSearchRespPDU::veskSearchRespPDU(int code, veskList* failed)
    : veskSearchRespPDU(code, nullptr, failed) {}
veskSearchRespPDU::veskSearchRespPDU(int code, veskList* found,
                                     veskList* failed)
    : veskRespPDU(kTagSearchRespPDU, failed),
      list(found != nullptr ? found : newList({ifNew(failed, errors)})) {
  status.value = code;
}
veskType* veskSearchRespPDU::dup() { return new veskSearchRespPDU(this); }

veskRemoveRespPDU::veskRemoveRespPDU() : veskRemoveRespPDU(0) {}
veskRemoveRespPDU::veskRemoveRespPDU(veskRemoveRespPDU* from)
    : veskPDU(from, kTagRemoveRespPDU) {}
veskRemoveRespPDU::veskRemoveRespPDU(int code) : veskPDU(kTagRemoveRespPDU) {
  status.value = code;
}
veskType* veskRemoveRespPDU::dup() { return new veskRemoveRespPDU(this); }

veskVerifyRespPDU::veskVerifyRespPDU() : veskVerifyRespPDU(0) {}
veskVerifyRespPDU::veskVerifyRespPDU(veskVerifyRespPDU* from)
    : veskPDU(from, kTagVerifyRespPDU) {}
veskVerifyRespPDU::veskVerifyRespPDU(int code) : veskPDU(kTagVerifyRespPDU) {
  status.value = code;
}
veskType* veskVerifyRespPDU::dup() { return new veskVerifyRespPDU(this); }

veskDSsearchRespPDU::veskDSsearchRespPDU() : veskDSsearchRespPDU(0) {}
veskDSsearchRespPDU::veskDSsearchRespPDU(veskDSsearchRespPDU* from)
    : veskRespPDU(from, kTagDSsearchRespPDU),
      list(from->list),
      list2(from->list2) {}
veskDSsearchRespPDU::veskDSsearchRespPDU(int code)
    : veskDSsearchRespPDU(code, nullptr) {}
veskDSsearchRespPDU::veskDSsearchRespPDU(int code, veskList* second)
    : veskRespPDU(kTagDSsearchRespPDU, nullptr),
      list(newList({errors})),
      list2(second != nullptr ? second : newList({errors, list})) {
  status.value = code;
}
veskDSsearchRespPDU::veskDSsearchRespPDU(int code, veskList* first,
                                         veskList* failed)
    : veskRespPDU(kTagDSsearchRespPDU, failed),
      list(first != nullptr ? first : newList({ifNew(failed, errors)})),
      list2(newList({ifNew(failed, errors), ifNew(first, list)})) {
  status.value = code;
}
veskType* veskDSsearchRespPDU::dup() { return new veskDSsearchRespPDU(this); }
