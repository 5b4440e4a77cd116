#include "objects/stored_objects.h"

#include <ostrel/elements.h>

#include "common/encoding.h"
#include "objects/attributes.h"
#include "support/limits.h"

namespace ostrel::tools::server {
namespace {

veskAttribute* attributeOf(const Store::Entry& entry) {
  auto attribute = make<veskAttribute>();
  attribute->id = entry.id;
  attribute->value = decoded(entry.value).release();
  return attribute.release();
}

}  // namespace

std::vector<veskOid> StoredObjects::classes() { return store_->classes(); }

int StoredObjects::list(veskOid& classOid, veskList* oids) {
  for (const veskOid& oid : store_->objects(classOid))
    oids->append(new veskOid(oid));
  return kNoError;
}

int StoredObjects::listPage(veskOid& classOid, veskOid& after, std::size_t most,
                            veskList* oids) {
  for (const veskOid& oid : store_->objects(classOid, after, most))
    oids->append(new veskOid(oid));
  return kNoError;
}

std::optional<veskOid> StoredObjects::classAfter(veskOid& classOid) {
  return store_->classAfter(classOid);
}

bool StoredObjects::scan(veskOid& classOid, veskOid& after, veskAid& id,
                         const Each& each) {
  store_->scan(classOid, after, id,
               [&](const veskOid& oid, std::string_view encoding) {
                 const Owned<veskType> value =
                     encoding.empty() ? nullptr : decoded(encoding);
                 veskOid object = oid;
                 return each(object, value.get());
               });
  return true;
}

bool StoredObjects::holds(veskOid& oid, veskAid& id, const Test& test) {
  const auto encoding = store_->value(oid, id);
  if (!encoding) return false;
  const Owned<veskType> value = decoded(*encoding);
  return value != nullptr && test(*value);
}

int StoredObjects::verify(veskOid& oid) {
  return store_->has(oid) ? kNoError : kNoSuchName;
}

int StoredObjects::read(veskOid& oid, veskList* attributes) {
  if (!store_->has(oid)) return kNoSuchName;
  for (const Store::Entry& entry : store_->read(oid))
    attributes->append(attributeOf(entry));
  return kNoError;
}

int StoredObjects::set(const Asker&, veskOid& oid, veskList& attributes,
                       veskList* errors) {
  if (!store_->has(oid)) return kNoSuchName;
  veskList good;
  for (auto* attribute : Elements<veskAttribute>(attributes))
    if (writable(attribute) == kNoError) good.append(attribute);
  Transaction transaction(*store_);
  write(oid, good);
  transaction.commit();
  return checkWritable(attributes, errors);
}

int StoredObjects::create(const Asker&, veskOid& classOid, veskList& attributes,
                          veskOid* created, veskList* errors) {
  const int code = checkWritable(attributes, errors);
  if (code != kNoError) return code;
  Transaction transaction(*store_);
  const std::uint64_t number = store_->takeNumber(classOid);
  veskOid oid;
  oid.set(classOid, static_cast<unsigned>(number >> 32),
          static_cast<unsigned>(number & 0xFFFFFFFF));
  store_->insert(oid);
  write(oid, attributes);
  transaction.commit();
  *created = oid;
  return kNoError;
}

int StoredObjects::remove(const Asker&, veskOid& oid) {
  if (!store_->has(oid)) return kNoSuchName;
  store_->remove(oid);
  return kNoError;
}

// Attributes that are writable; of several with one identifier the last stays.
void StoredObjects::write(const veskOid& oid, const veskList& attributes) {
  for (auto* attribute : Elements<veskAttribute>(attributes)) {
    const auto value = encoded(*attribute->value, kLongestValue);
    if (!value) throw StoreError("a value has no encoding");
    store_->write(oid, attribute->id, *value);
  }
}

}  // namespace ostrel::tools::server
