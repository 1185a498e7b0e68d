#include "sandbox/OauthSteps.h"
#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "sandbox/UploadSteps.h"
#include "sandbox/base/Text.h"
#include "sandbox/services/media/MediaSignatures.h"

#include <gmock/gmock.h>

#include <ctime>

namespace {

using testing::HasSubstr;

constexpr const char* oauthPath = "/flickr-scripts/oauth";
constexpr const char* rest = "/flickr-scripts/rest";
constexpr const char* uploadPath = "/flickr-scripts/upload";

struct TokenPair {
  std::string token;
  std::string secret;
};

class FlickrScripts : public testing::Test {
 protected:
  /// The OAuth fields of one request over `others`, with its signature.
  Fields signedFields(const std::string& method, const std::string& path, const Fields& others,
                      const TokenPair& pair, const Fields& changes = {}) {
    Fields oauth{{"oauth_consumer_key", appId},
                 {"oauth_nonce", "nonce-" + std::to_string(++nonce)},
                 {"oauth_signature_method", "HMAC-SHA1"},
                 {"oauth_timestamp", std::to_string(std::time(nullptr))},
                 {"oauth_version", "1.0"}};
    if (!pair.token.empty()) oauth.emplace_back("oauth_token", pair.token);
    for (const auto& [name, value] : changes) oauth = with(oauth, name, value);
    Fields all = others;
    all.insert(all.end(), oauth.begin(), oauth.end());
    oauth.emplace_back("oauth_signature",
                       sandbox::oauthSignature(server.baseUrl() + path, all, appSecret, pair.secret, method));
    return oauth;
  }
  Answer get(const std::string& path, const Fields& others, const TokenPair& pair,
             const Fields& changes = {}) {
    Fields all = others;
    for (auto& field : signedFields("GET", path, others, pair, changes)) all.push_back(field);
    return client.get(targetWith(path, all));
  }
  static std::string field(const Answer& answer, const std::string& name) {
    return parameterOf("?" + answer.body, name);
  }
  static TokenPair pairOf(const Answer& answer) {
    return {field(answer, "oauth_token"), field(answer, "oauth_token_secret")};
  }
  Answer requestToken() {
    return get(std::string(oauthPath) + "/request_token", {{"oauth_callback", appRedirect}}, {});
  }
  std::string loginAddress(const TokenPair& pair) {
    return client
        .get(targetWith(std::string(oauthPath) + "/authorize",
                        {{"oauth_token", pair.token}, {"perms", "write"}}))
        .header("Location");
  }
  Answer accessToken(const TokenPair& pair, const std::string& verifier) {
    return get(std::string(oauthPath) + "/access_token", {{"oauth_verifier", verifier}}, pair);
  }
  TokenPair signedIn() {
    const TokenPair pair = pairOf(requestToken());
    return pairOf(accessToken(pair, parameterOf(loginAddress(pair), "oauth_verifier")));
  }
  Json::Value method(const TokenPair& pair, const std::string& name, Fields fields = {}) {
    fields.insert(fields.end(), {{"method", name}, {"format", "json"}, {"nojsoncallback", "1"}});
    return get(rest, fields, pair).json();
  }
  Answer upload(const TokenPair& pair, const Fields& fields, const std::string& bytes,
                const Fields& sent = {}) {
    std::vector<FormPart> parts;
    for (const auto& [name, value] : sent.empty() ? fields : sent) parts.push_back({name, value});
    if (!bytes.empty()) parts.push_back({"photo", bytes, "a.mp4", "video/mp4"});
    return post(multipart(parts), signedFields("POST", uploadPath, fields, pair));
  }
  Answer post(const Multipart& form, const Fields& oauth) {
    std::string header = "OAuth realm=\"x\"";
    for (const auto& [name, value] : oauth) {
      header += ", " + name + "=\"" + sandbox::percentEncoded(value) + "\"";
    }
    return client.post(uploadPath, form.body, {form.type, {"Authorization", header}});
  }
  /// Of an upload's refusal.
  static std::string code(const Answer& answer) {
    const std::size_t at = answer.body.find("code=\"") + 6;
    return answer.body.substr(at, answer.body.find('"', at) - at);
  }
  static Fields video() {
    return {{"title", "a & b"}, {"tags", "x \"y z\""}, {"is_public", "0"}, {"async", "1"}};
  }

  sandbox::Sandbox server;
  TestClient client{server};
  int nonce = 0;
};

TEST_F(FlickrScripts, LoginTakesThreeSteps) {
  const Answer first = requestToken();
  ASSERT_EQ(first.status, 200) << first.body;
  EXPECT_EQ(field(first, "oauth_callback_confirmed"), "true");
  const std::string address = loginAddress(pairOf(first));
  EXPECT_TRUE(address.starts_with(std::string(appRedirect) + "?oauth_token=")) << address;

  const Answer last = accessToken(pairOf(first), parameterOf(address, "oauth_verifier"));

  ASSERT_EQ(last.status, 200) << last.body;
  EXPECT_EQ(field(last, "fullname"), server.users()[0].name);
  EXPECT_EQ(field(last, "username"), "ada");
  EXPECT_EQ(method(pairOf(last), "flickr.test.login")["user"]["username"]["_content"], "ada");
  EXPECT_EQ(field(accessToken(pairOf(first), "x"), "oauth_problem"), "token_rejected") << "spent";
}

TEST_F(FlickrScripts, RefusedConsentLeadsBackWithTheTokenThatWasDenied) {
  server.setConsent(sandbox::Consent::ask);
  const TokenPair pair = pairOf(requestToken());
  const std::string page = targetOf(loginAddress(pair));

  const std::string address = client.post(page, "decision=deny").header("Location");

  EXPECT_EQ(parameterOf(address, "denied"), pair.token);
  EXPECT_EQ(parameterOf(address, "oauth_verifier"), "");
}

TEST_F(FlickrScripts, LoginIsStrict) {
  const std::string path = std::string(oauthPath) + "/request_token";
  const auto problem = [&](const Fields& others, const Fields& changes) {
    const Answer answer = get(path, others, {}, changes);
    EXPECT_EQ(answer.status, 401);
    return field(answer, "oauth_problem");
  };
  const Fields good{{"oauth_callback", appRedirect}};
  EXPECT_EQ(problem(good, {{"oauth_consumer_key", "other"}}), "consumer_key_unknown");
  EXPECT_EQ(problem(good, {{"oauth_timestamp", std::to_string(std::time(nullptr) - 3600)}}),
            "timestamp_refused");
  EXPECT_EQ(problem(good, {{"oauth_timestamp", "soon"}}), "timestamp_refused");
  EXPECT_EQ(problem(good, {{"oauth_signature_method", "PLAINTEXT"}}), "parameter_absent");
  EXPECT_EQ(problem(good, {{"oauth_nonce", ""}}), "parameter_absent");
  EXPECT_EQ(problem({{"oauth_callback", "http://localhost/other"}}, {}), "parameter_rejected");
  EXPECT_EQ(field(get(path, good, {"", "wrong"}), "oauth_problem"), "signature_invalid");
  EXPECT_EQ(client.get(std::string(oauthPath) + "/authorize?oauth_token=none&perms=write").status, 400);
  const TokenPair pair = pairOf(requestToken());
  EXPECT_EQ(client.get(std::string(oauthPath) + "/authorize?oauth_token=" + pair.token).status, 400);
  EXPECT_EQ(field(accessToken(pair, "guessed"), "oauth_problem"), "verifier_invalid");
  EXPECT_EQ(field(accessToken({pair.token, "wrong"}, "x"), "oauth_problem"), "signature_invalid");
}

TEST_F(FlickrScripts, NonceIsGoodOnce) {
  const TokenPair pair = signedIn();
  const Fields fields{{"method", "flickr.test.login"}, {"format", "json"}, {"nojsoncallback", "1"}};
  EXPECT_EQ(get(rest, fields, pair, {{"oauth_nonce", "same"}}).json()["stat"], "ok");
  const Json::Value again = get(rest, fields, pair, {{"oauth_nonce", "same"}}).json();
  EXPECT_EQ(again["code"], 96);
  EXPECT_THAT(again["message"].asString(), HasSubstr("nonce_used"));
}

TEST_F(FlickrScripts, MethodsAreStrict) {
  const TokenPair pair = signedIn();
  EXPECT_EQ(method({"unknown", "x"}, "flickr.test.login")["code"], 98);
  EXPECT_EQ(method({pair.token, "wrong"}, "flickr.test.login")["code"], 96);
  EXPECT_EQ(method(pair, "flickr.test.echo")["code"], 112);
  EXPECT_EQ(get(rest, {{"method", "flickr.test.login"}}, pair, {{"oauth_consumer_key", "x"}}).json()["code"],
            100);
  EXPECT_EQ(client.get(targetWith(rest, {{"method", "flickr.test.login"}, {"oauth_consumer_key", appId}}))
                .json()["code"],
            97);
  EXPECT_EQ(get(rest, {{"method", "flickr.test.login"}}, pair).json()["code"], 111);
  EXPECT_EQ(method(pair, "flickr.people.getUploadStatus")["user"]["bandwidth"]["remainingkb"], "524288");
}

TEST_F(FlickrScripts, VideoArrivesWholeAndItsTicketGetsReady) {
  const TokenPair pair = signedIn();
  const std::string file = someFile(70000);

  const Answer answer = upload(pair, video(), file);

  ASSERT_THAT(answer.body, HasSubstr("<rsp stat=\"ok\">\n<ticketid>"));
  const std::size_t begin = answer.body.find("<ticketid>") + 10;
  const std::string ticket = answer.body.substr(begin, answer.body.find('<', begin) - begin);
  const auto state = [&] {
    return method(pair, "flickr.photos.upload.checkTickets",
                  {{"tickets", ticket + ",none"}})["uploader"]["ticket"];
  };
  EXPECT_EQ(state()[0]["complete"], 0);
  const Json::Value ready = state();
  EXPECT_EQ(ready[0]["complete"], 1);
  EXPECT_EQ(ready[1]["invalid"], 1);
  const auto kept = server.uploadByMediaId(ready[0]["photoid"].asString()).value_or(sandbox::UploadRecord());
  EXPECT_EQ(kept.sha256, sha256Of(file));
  EXPECT_EQ(kept.receivedSize, file.size());
  EXPECT_EQ(kept.fileName, "a.mp4");
  EXPECT_THAT(kept.metadata, HasSubstr("a & b"));
}

TEST_F(FlickrScripts, WhatWasPostedIsListedTheNewestFirst) {
  const TokenPair pair = signedIn();
  const Fields mine{{"user_id", "me"}, {"extras", "date_upload,media"}};
  EXPECT_TRUE(method(pair, "flickr.people.getPhotos", mine)["photos"]["photo"].empty());
  upload(pair, with(video(), "title", "old"), "a");
  upload(pair, with(video(), "title", "new"), "b");

  const Json::Value list = method(pair, "flickr.people.getPhotos", mine)["photos"]["photo"];

  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0]["title"], "new");
  EXPECT_EQ(list[0]["media"], "video");
  EXPECT_EQ(list[0]["id"], server.uploads().at(1).mediaId);
  EXPECT_FALSE(list[0]["dateupload"].asString().empty());
  EXPECT_EQ(method(pair, "flickr.people.getPhotos", with(mine, "per_page", "1"))["photos"]["photo"].size(),
            1U);
  EXPECT_FALSE(
      method(pair, "flickr.people.getPhotos", {{"user_id", "me"}})["photos"]["photo"][0].isMember("media"));
  EXPECT_EQ(method(pair, "flickr.people.getPhotos", {{"user_id", "x"}})["code"], 1);
}

TEST_F(FlickrScripts, TwinIsFoundOnlyWhereItIsLookedFor) {
  const TokenPair pair = signedIn();
  upload(pair, video(), "bytes");
  const Fields checked = with(video(), "dedup_check", "1");

  EXPECT_THAT(upload(pair, video(), "bytes").body, HasSubstr("<ticketid>"));
  EXPECT_THAT(upload(pair, checked, "others").body, HasSubstr("<ticketid>"));
  const std::string refused = upload(pair, checked, "bytes").body;
  EXPECT_THAT(refused, HasSubstr("code=\"9\""));
  EXPECT_THAT(refused, HasSubstr("duplicate_photo_id=\"" + server.uploads().at(0).mediaId + "\""));
}

TEST_F(FlickrScripts, PhotoWithoutATicketHasItsIdAtOnce) {
  const Answer answer = upload(signedIn(), without(video(), "async"), "jpeg");
  EXPECT_THAT(answer.body, HasSubstr("<photoid>" + server.uploads().at(0).mediaId + "</photoid>"));
}

TEST_F(FlickrScripts, SignatureCoversEveryFieldButTheFile) {
  const TokenPair pair = signedIn();
  EXPECT_EQ(code(upload(pair, video(), "x", with(video(), "title", "changed"))), "96");
  EXPECT_EQ(code(upload(pair, video(), "x", without(video(), "tags"))), "96");
  EXPECT_EQ(code(upload({"unknown", "x"}, video(), "x")), "98");
  const Multipart form = multipart({{"title", "t"}, {"photo", "x", "a.mp4"}});
  EXPECT_EQ(code(post(form, signedFields("POST", uploadPath, {{"title", "t"}}, pair,
                                         {{"oauth_consumer_key", "other"}}))),
            "100");
  EXPECT_EQ(code(post(form, {{"oauth_consumer_key", appId}, {"oauth_token", pair.token}})), "97");
  EXPECT_TRUE(server.uploads().empty());
}

TEST_F(FlickrScripts, UploadIsStrict) {
  const TokenPair pair = signedIn();
  for (const char* flag : {"is_public", "is_friend", "is_family", "async", "dedup_check"}) {
    EXPECT_EQ(code(upload(pair, with(video(), flag, "yes"), "x")), "5") << flag;
    EXPECT_EQ(code(upload(pair, with(video(), flag, "2"), "x")), "5") << flag;
  }
  EXPECT_EQ(code(upload(pair, with(video(), "title", std::string(256, 't')), "x")), "5");
  EXPECT_EQ(code(upload(pair, video(), "")), "2");
  const Fields oauth = signedFields("POST", uploadPath, {}, pair);
  EXPECT_EQ(code(post({"x", {"Content-Type", "text/plain"}}, oauth)), "2") << "no form";
  Multipart form = multipart({{"photo", "x", "a.mp4"}});
  form.body.resize(form.body.size() - 4);
  EXPECT_EQ(code(post(form, signedFields("POST", uploadPath, {}, pair))), "3") << "a form without its end";
  const Multipart empty = multipart({{"photo", "", "a.mp4"}});
  EXPECT_EQ(code(post(empty, signedFields("POST", uploadPath, {}, pair))), "4");
  EXPECT_TRUE(server.uploads().empty());
  const Fields longest = with(with(video(), "title", std::string(255, 't')), "safety_level", "1");
  EXPECT_THAT(upload(pair, longest, "x").body, HasSubstr("<ticketid>")) << "a field that nobody here knows";
}

}  // namespace
