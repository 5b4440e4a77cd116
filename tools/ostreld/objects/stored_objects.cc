#include "objects/stored_objects.h"

#include <ostrel/elements.h>
#include <ostrel/veskOmAttr.h>

#include <cstring>
#include <map>
#include <string>
#include <utility>

#include "common/encoding.h"
#include "objects/attributes.h"
#include "support/log.h"

namespace ostrel::tools::server {
namespace {

// What a value adds to an object.
struct Size {
  std::size_t bytes = 0;
  std::size_t values = 0;
};

Size sizeOf(std::string_view value) {
  return {value.size(), valuesIn(value).value_or(0)};
}

Size sizeOf(const Record& record) {
  Size size = {record.length(), 0};
  for (std::size_t i = 0; i < record.count(); ++i)
    size.values += sizeOf(record.value(i)).values;
  return size;
}

veskAttribute* attributeOf(const veskAid& id, std::string_view value) {
  auto attribute = make<veskAttribute>();
  attribute->id = id;
  attribute->value = decoded(value).release();
  return attribute.release();
}

}  // namespace

unsigned EncodedValue::encode(char* buffer, unsigned length) {
  if (bytes_.size() > length) return 0;
  std::memcpy(buffer, bytes_.data(), bytes_.size());
  return static_cast<unsigned>(bytes_.size());
}

// What is to be written to one object, as far as it has room.
class StoredObjects::Change {
 public:
  // An object that is not there yet has no record.
  Change(const Record* former, std::size_t mostValues)
      : former_(former), mostValues_(mostValues) {
    if (former != nullptr) take(sizeOf(*former));
  }

  // Takes an attribute, in place of one with that identifier, and returns 0; or
  // returns why it cannot be written.
  int add(veskAttribute* attribute) {
    std::string bytes;
    const int code = writable(attribute, &bytes);
    if (code != kNoError) return code;
    const Record::Key key = Record::keyOf(attribute->id);
    const Size before = held(key);
    const Size added = sizeOf(bytes);
    const Size after = {bytesUsed_ - before.bytes + added.bytes,
                        valuesUsed_ - before.values + added.values};
    if (after.bytes > kLongestObject || after.values > mostValues_)
      return kBadValue;
    take(after);
    values_[key] = {attribute->id, std::move(bytes)};
    return kNoError;
  }

  // Adds each of them, with an error for those that cannot be written.
  int addAll(const veskList& attributes, veskList* errors) {
    return checkEach<veskAttribute>(
        attributes, errors,
        [&](unsigned, veskAttribute* attribute) { return add(attribute); });
  }

  void write(Store& store, const veskOid& oid) const {
    for (const auto& [key, value] : values_)
      store.write(oid, value.first, value.second);
  }

 private:
  void take(const Size& size) {
    bytesUsed_ = size.bytes;
    valuesUsed_ = size.values;
  }

  Size held(const Record::Key& key) const {
    const auto replaced = values_.find(key);
    if (replaced != values_.end()) return sizeOf(replaced->second.second);
    const auto found = former_ != nullptr ? former_->find(key) : std::nullopt;
    return found ? sizeOf(*found) : Size{};
  }

  const Record* former_;
  std::size_t mostValues_;
  std::size_t bytesUsed_ = 0;
  std::size_t valuesUsed_ = 0;
  std::map<Record::Key, std::pair<veskAid, std::string>> values_;
};

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
                 const Owned<veskType> value = made(encoding);
                 veskOid object = oid;
                 return each(object, value.get());
               });
  return true;
}

bool StoredObjects::holds(veskOid& oid, veskAid& id, const Test& test) {
  const auto encoding = store_->value(oid, id);
  if (!encoding) return false;
  const Owned<veskType> value = made(*encoding);
  return value != nullptr && test(*value);
}

// Null for what is no value, and for one that takes too much memory.
Owned<veskType> StoredObjects::made(std::string_view encoding) const {
  const auto values = valuesIn(encoding);
  return values && *values <= mostValues_ ? decoded(encoding) : nullptr;
}

std::optional<std::vector<veskOid>> StoredObjects::candidates(
    veskOid& classOid, veskAttribute& condition, unsigned operation,
    std::size_t most) {
  if (condition.value == nullptr) return std::nullopt;
  const auto keys = keysFor(operation, *condition.value);
  if (!keys) return std::nullopt;
  return store_->candidates(classOid, condition.id, *keys, most);
}

int StoredObjects::verify(veskOid& oid) {
  return store_->has(oid) ? kNoError : kNoSuchName;
}

int StoredObjects::read(veskOid& oid, veskList* attributes) {
  const auto record = store_->read(oid);
  if (record == nullptr) return kNoSuchName;
  if (sizeOf(*record).values > mostValues_) {
    log(Level::kError, "an object has more values than --max-values allows");
    return kDatabaseError;
  }
  for (std::size_t i = 0; i < record->count(); ++i)
    attributes->append(attributeOf(record->id(i), record->value(i)));
  return kNoError;
}

int StoredObjects::get(veskOid& oid, veskList& wanted, veskList* attributes,
                       veskList* errors) {
  values_.clear();
  given_ = store_->read(oid);
  if (given_ == nullptr) return kNoSuchName;
  if (wanted.count == 0) {
    for (std::size_t i = 0; i < given_->count(); ++i) {
      veskAid id = given_->id(i);
      attributes->append(new veskOmAttribute(&id, answered(given_->value(i))));
    }
    return kNoError;
  }
  return checkEach<veskAttribute>(
      wanted, errors, [&](unsigned, veskAttribute* name) {
        veskAid id = name != nullptr ? name->id : veskAid();
        const auto found = id.valid != 0 ? given_->find(Record::keyOf(id))
                                         : std::optional<std::string_view>();
        attributes->append(
            new veskOmAttribute(&id, found ? answered(*found) : nullptr));
        if (found) return kNoError;
        return id.valid != 0 ? kNoSuchName : kAidFormat;
      });
}

veskType* StoredObjects::answered(std::string_view bytes) {
  return &values_.emplace_back(bytes);
}

int StoredObjects::set(const Asker&, veskOid& oid, veskList& attributes,
                       veskList* errors) {
  const auto record = store_->read(oid);
  if (record == nullptr) return kNoSuchName;
  Change change(record.get(), mostValues_);
  const int code = change.addAll(attributes, errors);
  Transaction transaction(*store_);
  change.write(*store_, oid);
  transaction.commit();
  return code;
}

int StoredObjects::create(const Asker&, veskOid& classOid, veskList& attributes,
                          veskOid* created, veskList* errors) {
  Change change(nullptr, mostValues_);
  const int code = change.addAll(attributes, errors);
  if (code != kNoError) return code;
  Transaction transaction(*store_);
  const std::uint64_t number = store_->takeNumber(classOid);
  veskOid oid;
  oid.set(classOid, static_cast<unsigned>(number >> 32),
          static_cast<unsigned>(number & 0xFFFFFFFF));
  store_->insert(oid);
  change.write(*store_, oid);
  transaction.commit();
  *created = oid;
  return kNoError;
}

int StoredObjects::remove(const Asker&, veskOid& oid) {
  if (!store_->has(oid)) return kNoSuchName;
  store_->remove(oid);
  return kNoError;
}

}  // namespace ostrel::tools::server
