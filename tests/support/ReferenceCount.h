#pragma once

/// How many references there are to a counted object.
template <class Counted>
[[nodiscard]] int referencesTo(Counted& object) {
  object.AddRef();
  return object.Release();
}
