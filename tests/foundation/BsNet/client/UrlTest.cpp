#include <BsNet/URL.h>

#include <gtest/gtest.h>

#include <string>

namespace {

class ValidUrl : public testing::TestWithParam<const char*> {};
class InvalidUrl : public testing::TestWithParam<std::string> {};

TEST_P(ValidUrl, IsAccepted) {
  const KBL::URL url = KBL::URL::FromString(GetParam());

  EXPECT_TRUE(url.IsValid());
  EXPECT_EQ(url.string(), GetParam());
}

TEST_P(InvalidUrl, IsRefused) {
  EXPECT_FALSE(KBL::URL::FromString(GetParam()).IsValid());
}

INSTANTIATE_TEST_SUITE_P(Url, ValidUrl,
                         testing::Values("http://host", "https://host/", "HTTPS://Host.Example/path?q=1#f",
                                         "http://127.0.0.1:1/", "http://host:65535", "http://[::1]:8080/x",
                                         "http://[fe80::1]/", "https://host?query", "http://user:pw@host/",
                                         "https://host/a?next=http://other/b", "http://h\xc3\xb6st/",
                                         "https://host_name-1.example/@x:y"));

INSTANTIATE_TEST_SUITE_P(Url, InvalidUrl,
                         testing::Values("", "host", "//host", "http:", "http:/host", "http://",
                                         "http:///path", "http://?q", "ftp://host/", "file:///etc/passwd",
                                         "javascript:alert(1)", "http://host:0", "http://host:65536",
                                         "http://host:", "http://host:12x", "http://host:-1", "http://ho st/",
                                         "http://host/a b", "http://host/\t", "http://host/\n",
                                         "http://host/\x7f", std::string("http://ho\0st/", 13), "http://[::1",
                                         "http://[]/", "http://[zz]/", "http://[::1]x/", "http://user@/",
                                         "http://a\\b/", "http://::1/", " http://host/", "http://ho<st/",
                                         "xhttp://host/"));

}  // namespace
