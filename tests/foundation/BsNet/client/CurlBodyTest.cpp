#include "foundation/BsNet/client/CurlBody.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

std::string readFrom(KBL::CurlBody& body, std::size_t count) {
  std::string bytes(count, '\0');
  bytes.resize(KBL::CurlBody::read(bytes.data(), 1, count, &body));
  return bytes;
}

TEST(CurlBody, IsReadInPiecesToItsEnd) {
  KBL::CurlBody body;
  body.assign("abcdef");

  EXPECT_EQ(readFrom(body, 4), "abcd");
  EXPECT_EQ(readFrom(body, 4), "ef");
  EXPECT_EQ(readFrom(body, 4), "");
}

TEST(CurlBody, EveryRequestThatGoesOutReadsItFromTheStart) {
  KBL::CurlBody body;
  body.assign("abcdef");
  (void)readFrom(body, 4);

  body.restart(CURL_SOCKET_BAD);

  EXPECT_EQ(readFrom(body, 6), "abcdef");
}

TEST(CurlBody, SeeksWithinItselfAlone) {
  KBL::CurlBody body;
  body.assign("abcdef");

  EXPECT_EQ(KBL::CurlBody::seek(&body, 4, SEEK_SET), CURL_SEEKFUNC_OK);
  EXPECT_EQ(readFrom(body, 6), "ef");
  EXPECT_EQ(KBL::CurlBody::seek(&body, 6, SEEK_SET), CURL_SEEKFUNC_OK);
  EXPECT_EQ(KBL::CurlBody::seek(&body, 7, SEEK_SET), CURL_SEEKFUNC_FAIL);
  EXPECT_EQ(KBL::CurlBody::seek(&body, -1, SEEK_SET), CURL_SEEKFUNC_FAIL);
  EXPECT_EQ(KBL::CurlBody::seek(&body, 0, SEEK_END), CURL_SEEKFUNC_FAIL);
}

}  // namespace
