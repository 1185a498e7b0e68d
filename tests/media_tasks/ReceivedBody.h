#pragma once

#include "media_tasks/MediaFetcher.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

/// Keeps what it is told of a fetch.
struct ReceivedBody final : KBL::FetchListener {
  bool takePiece(const char* data, std::size_t size) override {
    body.append(data, size);
    return true;
  }
  bool goesOn(const KBL::FetchBeat& beat) override {
    beats.push_back(beat);
    return !isLastBeat || !isLastBeat(beat);
  }

  std::string body;
  std::vector<KBL::FetchBeat> beats;
  std::function<bool(const KBL::FetchBeat& beat)> isLastBeat;  ///< true for the one that ends the fetch
};
