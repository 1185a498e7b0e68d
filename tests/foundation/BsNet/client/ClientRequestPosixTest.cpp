// Requests with what POSIX systems alone allow: a quotation mark in a file's name, and a function that stands
// before libcurl's own, so that memory can be short for the lines of a header.
#include "foundation/BsNet/client/NetClientFixture.h"
#include "support/TemporaryDirectory.h"

#include <curl/curl.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

namespace {

/// While set, no line can be added to a list of headers.
std::atomic<bool> headerListFails{false};

}  // namespace

extern "C" __attribute__((visibility("default"))) curl_slist* curl_slist_append(curl_slist* list,
                                                                                const char* line) {
  using Append = curl_slist* (*)(curl_slist*, const char*);
  static const auto real = reinterpret_cast<Append>(::dlsym(RTLD_NEXT, "curl_slist_append"));
  return headerListFails ? nullptr : real(list, line);
}

TEST(ClientRequest, IsNotMadeWithoutItsHeadersWhenMemoryIsShort) {
  const KeepingServer server;
  const auto client = newClient();
  client->setHeaders({{"X-Needed", "1"}});

  headerListFails = true;
  const auto reply = perform(*client, server.url(), KBL::httpPost);
  headerListFails = false;

  EXPECT_EQ(reply.resultCode, 27);
  EXPECT_EQ(server.connections(), 0);
  EXPECT_EQ(perform(*client, server.url(), KBL::httpPost).httpCode, 200);
}

TEST(ClientRequest, FormEncodesAQuotationMarkInAFilesName) {
  const TemporaryDirectory place;
  const KeepingServer server;
  const auto client = newClient();
  client->setUploadSource({{"video", place.write("vid\"eo.mp4", "contents")}});

  ASSERT_EQ(perform(*client, server.url(), KBL::httpPost).httpCode, 200);

  EXPECT_THAT(server.requests().at(0).body, testing::HasSubstr("filename=\"vid%22eo.mp4\""));
}
