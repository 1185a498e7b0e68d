#pragma once

#include "support/SlotOf.h"
#include <BsNet/INetworkClient.h>

#include <cstddef>
#include <vector>

// Compiled into two files of one program, each with a language standard of its own.
namespace {

std::vector<std::size_t> clientLayout() {
  using Client = KBL::INetworkClient;
  return {sizeof(Client),
          alignof(Client),
          slotOf(&Client::setProxy),
          slotOf(&Client::setConnectTimeout),
          slotOf(&Client::setTotalTimeout),
          slotOf(&Client::setLowSpeed),
          slotOf(&Client::setHeaders),
          slotOf(&Client::setBody),
          slotOf(&Client::setUploadSource),
          slotOf(&Client::setBearerToken),
          slotOf(&Client::perform),
          slotOf(&Client::destroy)};
}

}  // namespace

/// The same, as C++17 sees it.
std::vector<std::size_t> clientLayoutBefore20();
