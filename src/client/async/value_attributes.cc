#include <ostrel/attributes.h>

#include <stdexcept>

namespace ostrel {

const Value* Attributes::find(const Aid& id) const noexcept {
  for (const Attribute& attribute : attributes_) {
    if (attribute.id == id) return &attribute.value;
  }
  return nullptr;
}

Value* Attributes::find(const Aid& id) noexcept {
  return const_cast<Value*>(std::as_const(*this).find(id));
}

const Value& Attributes::at(const Aid& id) const {
  if (const Value* value = find(id)) return *value;
  throw std::out_of_range("there is no attribute " + id.text());
}

}  // namespace ostrel
