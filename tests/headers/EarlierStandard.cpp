#include "headers/ClientLayout.h"

static_assert(__cplusplus == 201703L, "the earlier standard is C++17");

std::vector<std::size_t> clientLayoutBefore20() {
  return clientLayout();
}
