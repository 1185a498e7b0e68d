// The answers that end an upload.
#include "fuzz/replies/ReplyFeed.h"
#include "uploaders/requests/makeUploadRequest.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ReplyFeed log(data, size);
  const std::string answer(reinterpret_cast<const char*>(data), size);
  for (const int platform : {KBL::ema_youtube, KBL::ema_tiktok, KBL::ema_douyin}) {
    const auto request = KBL::makeUploadRequest(platform);
    const auto info = signedInUser();
    KBL::NetReply reply;
    reply.httpCode = 200;
    reply.content = answer;
    const bool isGood = request->parseEnvelope(info.get(), answer, request->errorInfo().get(), &reply) == 1;
    if (isGood && request->errorInfo()->errorCode() != 0) std::abort();
    checkError(*request);
  }
  return 0;
}
