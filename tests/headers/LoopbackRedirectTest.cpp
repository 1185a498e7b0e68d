#include "sandbox/system/SocketCalls.h"
#include <ExternlMediaTransfer/LoopbackRedirect.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using KBL::LoopbackRedirect;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr const char* wanted = "http://127.0.0.1:0/signed-in";
constexpr const char* login = "https://service.example/login?client_id=i&state=s%2B1&redirect_uri=r";
constexpr std::chrono::milliseconds moment(20);
constexpr std::chrono::seconds patience(30);

int portOf(const std::string& address) {
  return std::stoi(address.substr(address.find(':', 7) + 1));
}

/// A browser's connection. What it sends waits in the system until somebody reads it, so that a test needs no
/// thread.
class Visit {
 public:
  explicit Visit(const LoopbackRedirect& catcher)
      : socket_(sandbox::socket::connectTo(portOf(catcher.address()))) {}
  Visit(const LoopbackRedirect& catcher, const std::string& text) : Visit(catcher) { send(text); }
  ~Visit() {
    if (isOpen()) sandbox::socket::close(socket_);
  }
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;

  [[nodiscard]] bool isOpen() const { return socket_ != sandbox::socket::none; }
  void send(const std::string& text) const {
    ASSERT_TRUE(sandbox::socket::sendAll(socket_, text.data(), text.size()));
  }
  [[nodiscard]] bool hasAnswer() const {
    return sandbox::socket::waitReadable(socket_, std::chrono::milliseconds(0));
  }
  /// All that comes until the other side ends.
  [[nodiscard]] std::string answer() const {
    std::string text;
    std::array<char, 4096> bytes{};
    while (const std::size_t count = sandbox::socket::receive(socket_, bytes.data(), bytes.size())) {
      text.append(bytes.data(), count);
    }
    return text;
  }

 private:
  sandbox::socket::Handle socket_;
};

std::string get(const std::string& target) {
  return "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
}

class LoopbackRedirectTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(catcher_.listen(wanted), LoopbackRedirect::Result::listening);
    ASSERT_TRUE(catcher_.expectReplyTo(login));
  }

  [[nodiscard]] std::string reachedBy(const std::string& target) {
    const Visit visit(catcher_, get(target));
    return catcher_.wait(patience).value_or("nothing");
  }

  [[nodiscard]] std::string origin() const {
    return "http://127.0.0.1:" + std::to_string(portOf(catcher_.address()));
  }

  /// The answer to what is none of the login's, which goes on.
  [[nodiscard]] std::string turnedAway(const std::string& request) {
    const Visit visit(catcher_, request);
    const auto end = std::chrono::steady_clock::now() + patience;
    do {
      EXPECT_EQ(catcher_.wait(moment), std::nullopt);
    } while (!visit.hasAnswer() && std::chrono::steady_clock::now() < end);
    return visit.answer();
  }

  LoopbackRedirect catcher_;
};

}  // namespace

TEST_F(LoopbackRedirectTest, BringsTheWholeAddressThatCarriesTheState) {
  EXPECT_EQ(reachedBy("/signed-in?code=a%20b&state=s%2B1"), origin() + "/signed-in?code=a%20b&state=s%2B1");
}

TEST_F(LoopbackRedirectTest, BringsARefusedConsentToo) {
  EXPECT_EQ(reachedBy("/signed-in?error=access_denied&state=s%2B1"),
            origin() + "/signed-in?error=access_denied&state=s%2B1");
}

TEST_F(LoopbackRedirectTest, TakesTheTokenOfOauthOneForTheMark) {
  ASSERT_TRUE(catcher_.expectReplyTo("https://service.example/authorize?oauth_token=t&perms=write"));
  EXPECT_EQ(reachedBy("/signed-in?denied=t"), origin() + "/signed-in?denied=t");
  EXPECT_EQ(reachedBy("/signed-in?oauth_token=t&oauth_verifier=v"),
            origin() + "/signed-in?oauth_token=t&oauth_verifier=v");
}

TEST_F(LoopbackRedirectTest, ExpectsNothingOfALoginWithoutAMark) {
  EXPECT_FALSE(catcher_.expectReplyTo("https://service.example/login?client_id=i"));
  EXPECT_THAT(turnedAway(get("/signed-in?state=")), StartsWith("HTTP/1.1 400 "));
}

TEST_F(LoopbackRedirectTest, ShowsTheHostsPageInLightOrDarkAndKeepsItNowhere) {
  const Visit visit(catcher_, get("/signed-in?code=c&state=s%2B1"));
  ASSERT_TRUE(catcher_.wait(patience));
  catcher_.answer("Signed in <&>", "You may close this window.");
  EXPECT_THAT(visit.answer(),
              AllOf(StartsWith("HTTP/1.1 200 OK\r\n"), HasSubstr("<h1>Signed in &lt;&amp;&gt;</h1>"),
                    HasSubstr("<p>You may close this window.</p>"), HasSubstr("color-scheme: light dark"),
                    HasSubstr("Cache-Control: no-store\r\n"), HasSubstr("default-src 'none'")));
}

TEST_F(LoopbackRedirectTest, ListensNoMoreOnceAnswered) {
  const int port = portOf(catcher_.address());
  const Visit visit(catcher_, get("/signed-in?code=c&state=s%2B1"));
  ASSERT_TRUE(catcher_.wait(patience));
  catcher_.answer("Signed in", "");
  EXPECT_EQ(catcher_.address(), "");
  EXPECT_EQ(sandbox::socket::connectTo(port), sandbox::socket::none);
}

TEST_F(LoopbackRedirectTest, TurnsAwayWhatIsNotTheLoginsEndAndGoesOn) {
  for (const char* target : {"/signed-in", "/signed-in?code=c", "/signed-in?code=c&state=other",
                             "/signed-in?state=s%2B1&state=s%2B1", "/signed-in?code=c#state=s%2B1",
                             "/signed-in?STATE=s%2B1", "/signed-in?code=\xc3\xa4&state=s%2B1"}) {
    EXPECT_THAT(turnedAway(get(target)), StartsWith("HTTP/1.1 400 ")) << target;
  }
  for (const char* target : {"/", "/favicon.ico", "/signed-in/?state=s%2B1", "/signed-in%3Fstate=s%2B1",
                             "http://127.0.0.1/signed-in?state=s%2B1"}) {
    EXPECT_THAT(turnedAway(get(target)), StartsWith("HTTP/1.1 404 ")) << target;
  }
  EXPECT_EQ(reachedBy("/signed-in?state=s%2B1"), origin() + "/signed-in?state=s%2B1");
}

TEST_F(LoopbackRedirectTest, TurnsAwayWhatIsNoRequest) {
  const std::string target = "/signed-in?state=s%2B1";
  for (const std::string& request :
       {"POST " + target + " HTTP/1.1\r\n\r\n", "GET " + target + "\r\n\r\n",
        std::string("GET  HTTP/1.1\r\n\r\n"), "GET " + target + " HTTP/2.0\r\n\r\n", std::string("\r\n\r\n"),
        std::string("GET /signed-in ?state=s%2B1 HTTP/1.1\r\n\r\n"),
        std::string("\x16\x03\x01\x00\r\n\r\n", 8), "get " + target + " HTTP/1.1\r\n\r\n"}) {
    EXPECT_THAT(turnedAway(request), StartsWith("HTTP/1.1 400 ")) << request;
  }
}

TEST_F(LoopbackRedirectTest, EndsARequestThatIsTooLong) {
  EXPECT_THAT(turnedAway("GET /signed-in?state=s%2B1&code=" + std::string(100000, 'x')),
              StartsWith("HTTP/1.1 400 "));
  EXPECT_EQ(reachedBy("/signed-in?state=s%2B1"), origin() + "/signed-in?state=s%2B1");
}

TEST_F(LoopbackRedirectTest, PutsARequestTogetherThatComesInPieces) {
  const Visit visit(catcher_);
  for (const char* piece : {"G", "ET /signed-in?sta", "te=s%2B1 HTTP/1.0\r", "\n\r"}) {
    visit.send(piece);
    EXPECT_EQ(catcher_.wait(moment), std::nullopt);
  }
  visit.send("\n");
  EXPECT_EQ(catcher_.wait(patience), origin() + "/signed-in?state=s%2B1");
}

TEST_F(LoopbackRedirectTest, IsNotKeptFromItByConnectionsThatSayNothing) {
  std::vector<std::unique_ptr<Visit>> idle;
  for (int i = 0; i < 40; ++i) {
    idle.push_back(std::make_unique<Visit>(catcher_, "GET /sig"));
    EXPECT_EQ(catcher_.wait(std::chrono::milliseconds(0)), std::nullopt);
  }
  EXPECT_EQ(reachedBy("/signed-in?state=s%2B1"), origin() + "/signed-in?state=s%2B1");
}

TEST_F(LoopbackRedirectTest, SurvivesABrowserThatLeaves) {
  { const Visit visit(catcher_, "GET /signed"); }
  EXPECT_EQ(catcher_.wait(moment), std::nullopt);
  EXPECT_NE(reachedBy("/signed-in?state=s%2B1"), "nothing");
  catcher_.answer("Signed in", std::string(1 << 20, 'x'));
}

TEST_F(LoopbackRedirectTest, GoesOnWhenTheHostRefuses) {
  const Visit visit(catcher_, get("/signed-in?state=s%2B1"));
  ASSERT_TRUE(catcher_.wait(patience));
  catcher_.refuse();
  EXPECT_THAT(visit.answer(), StartsWith("HTTP/1.1 400 "));
  EXPECT_EQ(reachedBy("/signed-in?code=c&state=s%2B1"), origin() + "/signed-in?code=c&state=s%2B1");
}

TEST_F(LoopbackRedirectTest, WaitRefusesForAHostThatForgot) {
  const Visit visit(catcher_, get("/signed-in?state=s%2B1"));
  ASSERT_TRUE(catcher_.wait(patience));
  EXPECT_EQ(catcher_.wait(moment), std::nullopt);
  EXPECT_THAT(visit.answer(), StartsWith("HTTP/1.1 400 "));
}

TEST_F(LoopbackRedirectTest, SharesItsPortWithNobody) {
  LoopbackRedirect second;
  EXPECT_EQ(second.listen(catcher_.address()), LoopbackRedirect::Result::unavailable);
  EXPECT_EQ(second.address(), "");
  const std::string address = catcher_.address();
  catcher_.close();
  EXPECT_EQ(second.listen(address), LoopbackRedirect::Result::listening);
  EXPECT_EQ(second.address(), address);
}

TEST_F(LoopbackRedirectTest, WaitsWithoutListeningAsWell) {
  catcher_.close();
  EXPECT_EQ(catcher_.wait(moment), std::nullopt);
}

namespace {

/// Whether something listens at the address of this family and port.
bool listens(int family, const char* address, int port) {
  sockaddr_storage place{};
  place.ss_family = static_cast<decltype(place.ss_family)>(family);
  auto* const four = reinterpret_cast<sockaddr_in*>(&place);
  auto* const six = reinterpret_cast<sockaddr_in6*>(&place);
  void* const number = family == AF_INET ? static_cast<void*>(&four->sin_addr) : &six->sin6_addr;
  ::inet_pton(family, address, number);
  // The port stands at the same place of both.
  four->sin_port = htons(static_cast<std::uint16_t>(port));
  const sandbox::socket::Handle probe = ::socket(family, SOCK_STREAM, 0);
  const bool isThere = ::connect(probe, reinterpret_cast<sockaddr*>(&place), sizeof place) == 0;
  sandbox::socket::close(probe);
  return isThere;
}

bool hasIpv6() {
  sockaddr_in6 place{};
  place.sin6_family = AF_INET6;
  place.sin6_addr = IN6ADDR_LOOPBACK_INIT;
  const sandbox::socket::Handle probe = ::socket(AF_INET6, SOCK_STREAM, 0);
  const bool isThere = ::bind(probe, reinterpret_cast<sockaddr*>(&place), sizeof place) == 0;
  sandbox::socket::close(probe);
  return isThere;
}

}  // namespace

TEST(LoopbackRedirectPlaces, ListensOn127001AloneUnlessLocalhostIsWantedWhole) {
  struct Case {
    const char* address;
    LoopbackRedirect::Ipv6 ipv6;
    bool isSix;
  };
  constexpr auto never = LoopbackRedirect::Ipv6::never;
  constexpr auto both = LoopbackRedirect::Ipv6::forLocalhost;
  for (const Case& wish :
       {Case{"http://127.0.0.1:0/", never, false}, Case{"http://localhost:0/", never, false},
        Case{"http://127.0.0.1:0/", both, false}, Case{"http://LocalHost:0/", both, true}}) {
    LoopbackRedirect catcher;
    ASSERT_EQ(catcher.listen(wish.address, wish.ipv6), LoopbackRedirect::Result::listening) << wish.address;
    const int port = portOf(catcher.address());
    EXPECT_TRUE(listens(AF_INET, "127.0.0.1", port));
    EXPECT_FALSE(listens(AF_INET, "127.0.0.2", port));
    EXPECT_EQ(listens(AF_INET6, "::1", port), wish.isSix && hasIpv6()) << wish.address;
  }
}

TEST(LoopbackRedirectPlaces, KeepsTheAddressAsItWasGivenButForThePort) {
  LoopbackRedirect catcher;
  ASSERT_EQ(catcher.listen("http://LocalHost:0/a/b?c=d"), LoopbackRedirect::Result::listening);
  const std::string port = std::to_string(portOf(catcher.address()));
  EXPECT_EQ(catcher.address(), "http://LocalHost:" + port + "/a/b?c=d");
  ASSERT_TRUE(catcher.expectReplyTo(login));
  const Visit visit(catcher, get("/a/b?c=d&state=s%2B1"));
  EXPECT_EQ(catcher.wait(patience), "http://LocalHost:" + port + "/a/b?c=d&state=s%2B1");
}

TEST(LoopbackRedirectPlaces, TellsWhichAddressesCanBeListenedAt) {
  for (const char* address : {"http://127.0.0.1:0", "http://127.0.0.1:65535/", "HTTP://LOCALHOST:80/x?y=z",
                              "http://localhost:08080/cb"}) {
    EXPECT_TRUE(LoopbackRedirect::isCatchable(address)) << address;
  }
  for (const char* address :
       {"", "http://127.0.0.1/", "http://localhost/cb", "http://127.0.0.1:/", "http://127.0.0.1:65536/",
        "http://127.0.0.1:-1/", "http://127.0.0.1:1x/", "https://127.0.0.1:1/", "http://127.0.0.2:1/",
        "http://[::1]:1/", "http://127.0.0.1.example:1/", "http://a@127.0.0.1:1/", "http://127.0.0.1:1/#f",
        "http://127.0.0.1:1/a b", "http://example.org:1/", "http://127.0.0.1:1\\@x/", "app:/127.0.0.1:1/"}) {
    EXPECT_FALSE(LoopbackRedirect::isCatchable(address)) << address;
    EXPECT_EQ(LoopbackRedirect().listen(address), LoopbackRedirect::Result::notLoopback) << address;
  }
}
