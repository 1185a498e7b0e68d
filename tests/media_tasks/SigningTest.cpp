#include "media_tasks/FlickrUrl.h"
#include "media_tasks/SNRInstagramImageTask.h"
#include "media_tasks/signing.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>

using KBL::base64;
using KBL::flickrBaseString;
using KBL::FlickrCredentials;
using KBL::flickrPageUrl;
using KBL::hmacSha1;
using KBL::hmacSha256Hex;
using KBL::instagramPageUrl;
using KBL::md5Hex;
using KBL::percentEncoded;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

constexpr const char* host = "https://rest.example";
constexpr std::uint64_t signingTime = 1'700'000'000'123;

/// Lower-case hexadecimal of bytes.
std::string hexOf(const std::string& bytes) {
  std::ostringstream text;
  for (const char byte : bytes) {
    char pair[3];
    (void)std::snprintf(pair, sizeof(pair), "%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    text << pair;
  }
  return text.str();
}

std::string parameterOf(const std::string& url, const std::string& name) {
  const std::size_t place = url.find(name + "=");
  if (place == std::string::npos) return "missing";
  const std::size_t begin = place + name.size() + 1;
  return url.substr(begin, url.find('&', begin) - begin);
}

}  // namespace

// The test vectors of RFC 1321, RFC 2202 and RFC 4231.

TEST(Digest, Md5GivesTheKnownAnswers) {
  EXPECT_EQ(md5Hex(""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(md5Hex("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(md5Hex("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
            "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(Digest, HmacSha1GivesTheKnownAnswers) {
  EXPECT_EQ(hexOf(hmacSha1(std::string(20, '\x0b'), "Hi There")), "b617318655057264e28bc0b6fb378c8ef146be00");
  EXPECT_EQ(hexOf(hmacSha1("Jefe", "what do ya want for nothing?")),
            "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79");
  EXPECT_EQ(
      hexOf(hmacSha1(std::string(80, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First")),
      "aa4ae5e15272d00e95705637ce8a3b55ed402112");
}

TEST(Digest, HmacSha256GivesTheKnownAnswers) {
  EXPECT_EQ(hmacSha256Hex(std::string(20, '\x0b'), "Hi There"),
            "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7");
  EXPECT_EQ(hmacSha256Hex("Jefe", "what do ya want for nothing?"),
            "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
  EXPECT_EQ(hmacSha256Hex(std::string(131, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First"),
            "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
}

TEST(Base64, GivesTheKnownAnswers) {
  EXPECT_EQ(base64(""), "");
  EXPECT_EQ(base64("f"), "Zg==");
  EXPECT_EQ(base64("fo"), "Zm8=");
  EXPECT_EQ(base64("foo"), "Zm9v");
  EXPECT_EQ(base64("foob"), "Zm9vYg==");
  EXPECT_EQ(base64("fooba"), "Zm9vYmE=");
  EXPECT_EQ(base64("foobar"), "Zm9vYmFy");
  EXPECT_EQ(base64("\xfb\xff\xfe"), "+//+");
}

TEST(PercentEncoding, KeepsLettersDigitsAndFourMarks) {
  const std::string kept = "ABCXYZabcxyz0189-._~";
  EXPECT_EQ(percentEncoded(kept), kept);
}

TEST(PercentEncoding, WritesABlankAsPercent20) {
  EXPECT_EQ(percentEncoded("a b"), "a%20b");
}

TEST(PercentEncoding, WritesOtherBytesInUpperCaseHexadecimal) {
  EXPECT_EQ(percentEncoded("/=&%+\xc3\xa9\xff"), "%2F%3D%26%25%2B%C3%A9%FF");
}

TEST(PercentEncoding, WritesABytesBelow16WithOneDigit) {
  EXPECT_EQ(percentEncoded("\n"), "%A");
  EXPECT_EQ(percentEncoded("a\tb\x0f"), "a%9b%F");
  EXPECT_EQ(percentEncoded("\x10"), "%10");
}

TEST(FlickrCredentials, SplitAPairAtItsFirstBar) {
  const FlickrCredentials credentials("key", "secret", "token|rest|more");
  EXPECT_EQ(credentials.token, "token");
  EXPECT_EQ(credentials.tokenSecret, "rest|more");
  EXPECT_TRUE(credentials.isOauth());
}

TEST(FlickrCredentials, GiveATextWithoutBarToBoth) {
  const FlickrCredentials credentials("key", "secret", "token");
  EXPECT_EQ(credentials.token, "token");
  EXPECT_EQ(credentials.tokenSecret, "token");
  EXPECT_TRUE(credentials.isOauth());
}

TEST(FlickrCredentials, KeepALeadingBarInTheToken) {
  const FlickrCredentials credentials("key", "secret", "|token|x");
  EXPECT_EQ(credentials.token, "|token|x");
  EXPECT_EQ(credentials.tokenSecret, "");
  EXPECT_FALSE(credentials.isOauth());
}

TEST(FlickrCredentials, TakeTheMd5WayWithAnEmptyPair) {
  const FlickrCredentials credentials("key", "secret", "");
  EXPECT_EQ(credentials.token, "");
  EXPECT_FALSE(credentials.isOauth());
}

TEST(FlickrCredentials, TakeTheMd5WayWithNothingBehindTheBar) {
  EXPECT_FALSE(FlickrCredentials("key", "secret", "token|").isOauth());
}

TEST(FlickrMd5Url, IsSignedAndOrderedToTheLetter) {
  const FlickrCredentials credentials("APPKEY", "APPSECRET", "|TOKEN");
  const std::string signature = md5Hex(
      "APPSECRETapi_keyAPPKEYauth_token|TOKENextrasoriginal_format,url_oformatjson"
      "methodflickr.photos.getWithoutGeoDatanojsoncallback1page3per_page50");
  EXPECT_EQ(flickrPageUrl(credentials, host, 3, 50, signingTime),
            "https://rest.example/services/rest/?method=flickr.photos.getWithoutGeoData&api_key=APPKEY"
            "&auth_token=|TOKEN&format=json&nojsoncallback=1&extras=original_format%2Curl_o&api_sig=" +
                signature + "&page=3&per_page=50");
}

TEST(FlickrMd5Url, IsSignedWithTheIndependentlyComputedDigest) {
  const FlickrCredentials credentials("0123456789abcdef", "fedcba98", "|72157");
  // printf %s 'fedcba98api_key0123456789abcdefauth_token|72157extras...page1per_page50' | md5sum
  EXPECT_EQ(parameterOf(flickrPageUrl(credentials, host, 1, 50, signingTime), "api_sig"),
            "9ea59994ffb42f546acefa69da56bb91");
}

TEST(FlickrMd5Url, CutsLongTextsTo2047Bytes) {
  const FlickrCredentials credentials("key", std::string(5000, 's'), "|" + std::string(5000, 't'));
  const std::string url = flickrPageUrl(credentials, host, 1, 50, signingTime);
  EXPECT_EQ(url.size(), 2047U);
  EXPECT_THAT(url, EndsWith("ttt"));

  const FlickrCredentials longSecret("key", std::string(3000, 's'), "|t");
  EXPECT_EQ(parameterOf(flickrPageUrl(longSecret, host, 1, 50, signingTime), "api_sig"),
            md5Hex(std::string(2047, 's')));
}

TEST(FlickrOauthUrl, HasTheBaseStringToTheLetter) {
  const FlickrCredentials credentials("KEY", "SECRET", "TOKEN|TOKENSECRET");
  EXPECT_EQ(flickrBaseString(credentials, host, 2, 50, signingTime),
            "GET&https%3A%2F%2Frest.example%2Fservices%2Frest&"
            "api_key%3DKEY%26extras%3Doriginal_format%252Curl_o%26format%3Djson%26"
            "method%3Dflickr.photos.getWithoutGeoData%26nojsoncallback%3D1%26"
            "oauth_body_hash%3D2jmj7l5rSw0yVb%252FvlWAYkK%252FYBwk%253D%26oauth_consumer_key%3DKEY%26"
            "oauth_nonce%3D1700000000123%26oauth_signature_method%3DHMAC-SHA1%26"
            "oauth_timestamp%3D1700000000%26oauth_token%3DTOKEN%26oauth_version%3D1.0%26"
            "page%3D2%26per_page%3D50");
}

TEST(FlickrOauthUrl, HasItsPairsInTheirOwnOrder) {
  const FlickrCredentials credentials("KEY", "SECRET", "TOKEN|TOKENSECRET");
  const std::string signature = percentEncoded(
      base64(hmacSha1("SECRET&TOKENSECRET", flickrBaseString(credentials, host, 2, 50, signingTime))));
  EXPECT_EQ(flickrPageUrl(credentials, host, 2, 50, signingTime),
            "https://rest.example/services/rest?oauth_body_hash=2jmj7l5rSw0yVb/vlWAYkK/YBwk="
            "&nojsoncallback=1&oauth_nonce=1700000000123&format=json&oauth_consumer_key=KEY"
            "&oauth_timestamp=1700000000&oauth_signature_method=HMAC-SHA1&oauth_version=1.0"
            "&extras=original_format%2Curl_o&oauth_token=TOKEN&oauth_signature=" +
                signature + "&api_key=KEY&method=flickr.photos.getWithoutGeoData&page=2&per_page=50");
}

TEST(FlickrOauthUrl, EncodesATokensBlankInTheBaseStringAlone) {
  const FlickrCredentials credentials("KEY", "SECRET", "A B|X");
  EXPECT_THAT(flickrBaseString(credentials, host, 1, 50, signingTime), HasSubstr("oauth_token%3DA%20B%26"));
  EXPECT_THAT(flickrPageUrl(credentials, host, 1, 50, signingTime), HasSubstr("&oauth_token=A B&"));
}

TEST(FlickrOauthUrl, EncodesAKeysControlByteInTheShortForm) {
  const FlickrCredentials credentials("K\x0aY", "SECRET", "A|X");
  EXPECT_THAT(flickrBaseString(credentials, host, 1, 50, signingTime), HasSubstr("api_key%3DK%AY%26"));
}

TEST(FlickrOauthUrl, EncodesNothingOfTheSigningKey) {
  const FlickrCredentials credentials("KEY", "SEC RET", "A|X/Y");
  EXPECT_EQ(parameterOf(flickrPageUrl(credentials, host, 1, 50, signingTime), "oauth_signature"),
            percentEncoded(
                base64(hmacSha1("SEC RET&X/Y", flickrBaseString(credentials, host, 1, 50, signingTime)))));
}

TEST(InstagramUrl, OfTheFirstPageHasNoId) {
  const std::string secret = "0123456789abcdef0123456789abcdef";
  EXPECT_EQ(instagramPageUrl("https://insta.example", "TOKEN", secret, ""),
            "https://insta.example/v1/users/self/media/recent/?count=30&access_token=TOKEN&sig="
            "5f07f0d0ce40ec0b6a155f2b4ceed3198b0fb1f152ca70ac9f5113943fd458fc");
}

TEST(InstagramUrl, OfALaterPageSignsAndSendsItsId) {
  const std::string secret = "0123456789abcdef0123456789abcdef";
  const std::string signature =
      hmacSha256Hex(secret, "/users/self/media/recent|access_token=TOKEN|count=30|max_id=17_42");
  EXPECT_EQ(signature, "6528ad271fad332e1161b26724b4835c47c4671008b12861cf2ced764ecc3eab");
  EXPECT_EQ(
      instagramPageUrl("https://insta.example", "TOKEN", secret, "17_42"),
      "https://insta.example/v1/users/self/media/recent/?count=30&access_token=TOKEN&max_id=17_42&sig=" +
          signature);
}

TEST(InstagramUrl, TakesTheSecretAsText) {
  const std::string secret = "0123456789abcdef0123456789abcdef";
  EXPECT_THAT(instagramPageUrl("", "T", secret, ""),
              EndsWith(hmacSha256Hex(secret, "/users/self/media/recent|access_token=T|count=30")));
}
