#include "objects/attributes.h"

#include <ostrel/veskError.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "common/encoding.h"
#include "support/limits.h"

namespace ostrel::tools::server {
namespace {

constexpr unsigned kClassComponents = 2;

}  // namespace

AttributeIndex::AttributeIndex(const veskList& attributes) {
  for (auto* attribute : Elements<veskAttribute>(attributes)) {
    if (attribute == nullptr || attribute->id.valid == 0) continue;
    const auto& numbers = attribute->id.component;
    attributes_.try_emplace({numbers[0], numbers[1], numbers[2]}, attribute);
  }
}

veskAttribute* AttributeIndex::find(const veskAid& id) const {
  if (id.valid == 0) return nullptr;
  const auto found =
      attributes_.find({id.component[0], id.component[1], id.component[2]});
  return found == attributes_.end() ? nullptr : found->second;
}

veskAttribute* find(const veskList& attributes, veskAid& id) {
  const Elements<veskAttribute> all(attributes);
  const auto found =
      std::find_if(all.begin(), all.end(), [&](veskAttribute* attribute) {
        return attribute != nullptr && attribute->id == id;
      });
  return found == all.end() ? nullptr : *found;
}

int writable(veskAttribute* attribute, std::string* bytes) {
  if (attribute == nullptr || attribute->id.valid == 0) return kAidFormat;
  if (attribute->value == nullptr) return kBadValue;
  // Some values can be received and not be sent, an address of an unknown
  // family for one; others can be sent and are refused when they arrive.
  auto canonicalBytes = canonical(*attribute->value, kLongestValue);
  if (!canonicalBytes) return kBadValue;
  *bytes = std::move(*canonicalBytes);
  return kNoError;
}

int writable(veskAttribute* attribute) {
  std::string bytes;
  return writable(attribute, &bytes);
}

int checkWritable(const veskList& attributes, veskList* errors) {
  return checkEach<veskAttribute>(
      attributes, errors,
      [](unsigned, veskAttribute* attribute) { return writable(attribute); });
}

void addError(veskList* errors, unsigned index, int code) {
  errors->append(new veskError(index, code));
}

veskOid classOf(const veskOid& oid) {
  veskOid result = oid;
  for (std::size_t i = kClassComponents; i < std::size(result.component); ++i)
    result.component[i] = 0;
  return result;
}

bool isClass(const veskOid& oid) {
  return oid.valid != 0 && oid.component[2] == 0 && oid.component[3] == 0;
}

}  // namespace ostrel::tools::server
