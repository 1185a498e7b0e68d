#pragma once

#include <cstring>

namespace KBL {

/// One row of a class's list for the cast by name: the interface that `name` stands for.
template <class Interface>
struct Named {
  const char* name;
};

/// The cast by name over a fixed list of (name, interface) rows: the first row with exactly this name gives
/// the interface of `object`; none, or a null name, gives null. Adds no reference.
template <class Object, class... Interfaces>
void* castByName(Object* object, const char* name, Named<Interfaces>... rows) {
  if (name == nullptr) return nullptr;
  void* found = nullptr;
  (void)((std::strcmp(name, rows.name) == 0 && (found = static_cast<Interfaces*>(object)) != nullptr) || ...);
  return found;
}

/// Asks `object` (null allowed) for the interface called `name`.
template <class Interface, class Object>
Interface* queryInterface(Object* object, const char* name) {
  return object == nullptr ? nullptr : static_cast<Interface*>(object->QueryInterfaceByName(name));
}

}  // namespace KBL
