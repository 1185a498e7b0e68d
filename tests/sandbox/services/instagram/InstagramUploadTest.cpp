#include "sandbox/OauthSteps.h"
#include "sandbox/RawConnection.h"
#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "sandbox/UploadSteps.h"

#include <gtest/gtest.h>

namespace {

using sandbox::Platform;

class InstagramScripts : public testing::Test {
 protected:
  Answer graph(const std::string& path, const Fields& fields) {
    return client.get(targetWith("/instagram-graph/v24.0" + path, fields));
  }
  Answer token(const Fields& fields) { return graph("/oauth/access_token", fields); }
  std::string freshCode() { return codeFrom(client, "/instagram-login/v24.0/dialog/oauth"); }
  Answer exchange(const Fields& fields) { return token(with(fields, "grant_type", "fb_exchange_token")); }
  Answer post(const std::string& what, const Fields& fields) {
    return client.post("/instagram-graph/v24.0/" + user + "/" + what, formOf(fields), {formType()});
  }
  Fields reel() {
    return {{"media_type", "REELS"},
            {"upload_type", "resumable"},
            {"caption", "c"},
            {"access_token", accessToken}};
  }
  std::string container() { return post("media", reel()).json()["id"].asString(); }
  Answer send(const std::string& id, std::size_t offset, std::size_t size, const std::string& bytes) {
    return client.post("/instagram-upload/v24.0/" + id, bytes,
                       {{"Authorization", "OAuth " + accessToken},
                        {"offset", std::to_string(offset)},
                        {"file_size", std::to_string(size)}});
  }
  Json::Value status(const std::string& id) {
    return graph("/" + id, {{"fields", "status_code,status,video_status"}, {"access_token", accessToken}})
        .json();
  }
  Answer publish(const std::string& id) {
    return post("media_publish", {{"creation_id", id}, {"access_token", accessToken}});
  }
  static int code(const Answer& answer) { return answer.json()["error"]["code"].asInt(); }
  static int subcode(const Answer& answer) { return answer.json()["error"]["error_subcode"].asInt(); }

  sandbox::Sandbox server;
  TestClient client{server};
  const std::string user = server.users()[0].openId;
  std::string accessToken = server.issueTokens(Platform::instagram).accessToken;
};

TEST_F(InstagramScripts, CodeBecomesAShortTokenAndThatALongOne) {
  const Answer first = token(codeFields(freshCode()));
  ASSERT_EQ(first.status, 200) << first.body;
  EXPECT_EQ(first.json()["expires_in"], 3600);

  const Answer second = exchange({{"client_id", appId},
                                  {"client_secret", appSecret},
                                  {"fb_exchange_token", first.json()["access_token"].asString()}});

  ASSERT_EQ(second.status, 200) << second.body;
  EXPECT_EQ(second.json()["expires_in"], 5184000);
}

TEST_F(InstagramScripts, PagesNameTheAccountsBehindThem) {
  const auto pages = [&](const std::string& fields) {
    return graph("/me/accounts", {{"fields", fields}, {"access_token", accessToken}}).json()["data"];
  };
  const Json::Value named = pages("instagram_business_account{id,username}");
  ASSERT_EQ(named.size(), 2U);
  EXPECT_FALSE(named[0].isMember("instagram_business_account"));
  EXPECT_EQ(named[1]["instagram_business_account"]["id"], user);
  EXPECT_EQ(named[1]["instagram_business_account"]["username"], "ada");
  EXPECT_FALSE(pages("id")[1].isMember("instagram_business_account")) << "only what was asked for";
  EXPECT_TRUE(pages("id,name")[0]["name"].isString());
  EXPECT_EQ(pages("instagram_business_account")[1]["instagram_business_account"].getMemberNames(),
            std::vector<std::string>{"id"});
  EXPECT_EQ(code(graph("/me/accounts", {{"access_token", "none"}})), 190);
  const Fields query{{"fields", "username"}, {"access_token", accessToken}};
  EXPECT_EQ(graph("/" + user, query).json()["username"], "ada");
}

TEST_F(InstagramScripts, TokenEndpointsAreStrict) {
  EXPECT_EQ(code(token(codeFields("unknown"))), 100);
  EXPECT_EQ(code(token(with(codeFields(freshCode()), "client_secret", "wrong"))), 1);
  EXPECT_EQ(code(token(with(codeFields(freshCode()), "grant_type", "ig_exchange_token"))), 100);
  EXPECT_EQ(code(token(codeFields(codeFrom(client, "/facebook/v24.0/dialog/oauth")))), 100);
  const Fields trade{{"client_id", appId}, {"client_secret", appSecret}, {"fb_exchange_token", "none"}};
  EXPECT_EQ(code(exchange(trade)), 190);
  EXPECT_EQ(code(exchange(with(trade, "client_secret", "wrong"))), 1);
}

TEST_F(InstagramScripts, ReelIsPublishedWhenItIsReady) {
  const std::string file = someFile(5000);
  const Answer opened = post("media", reel());
  const std::string id = opened.json()["id"].asString();
  EXPECT_EQ(opened.json()["uri"], server.scriptServices()["instagramUpload"] + "/" + id);
  EXPECT_EQ(status(id)["status_code"], "IN_PROGRESS");
  EXPECT_EQ(code(publish(id)), 9007) << "nothing was sent";

  EXPECT_TRUE(send(id, 0, file.size(), file).json()["success"].asBool());
  EXPECT_EQ(code(publish(id)), 9007) << "not ready yet";
  EXPECT_EQ(subcode(publish(id)), 2207027);
  EXPECT_EQ(status(id)["status_code"], "IN_PROGRESS");
  EXPECT_EQ(status(id)["status_code"], "FINISHED");
  const Answer published = publish(id);

  ASSERT_EQ(published.status, 200) << published.body;
  EXPECT_EQ(status(id)["status_code"], "PUBLISHED");
  EXPECT_EQ(code(publish(id)), 9007) << "a container is published once";
  const auto upload =
      server.uploadByMediaId(published.json()["id"].asString()).value_or(sandbox::UploadRecord());
  EXPECT_TRUE(upload.complete);
  EXPECT_EQ(upload.sha256, sha256Of(file));
  const Json::Value media =
      graph("/" + upload.mediaId, {{"fields", "permalink"}, {"access_token", accessToken}}).json();
  EXPECT_EQ(media["permalink"], "https://www.instagram.com/reel/" + upload.mediaId + "/");
}

TEST_F(InstagramScripts, WhatIsPublishedIsListed) {
  const auto list = [&](const std::string& fields) {
    return graph("/" + user + "/media", {{"fields", fields}, {"access_token", accessToken}}).json()["data"];
  };
  const std::string id = container();
  send(id, 0, 5, "bytes");
  status(id);
  status(id);
  EXPECT_TRUE(list("id").empty()) << "not published yet";
  const std::string published = publish(id).json()["id"].asString();

  ASSERT_EQ(list("id").size(), 1U);
  EXPECT_EQ(list("id")[0].getMemberNames(), std::vector<std::string>{"id"});
  EXPECT_EQ(list("id")[0]["id"], published);
  const Json::Value reel = list("caption,media_product_type,timestamp")[0];
  EXPECT_EQ(reel["caption"], "c");
  EXPECT_EQ(reel["media_product_type"], "REELS");
  EXPECT_EQ(reel["timestamp"].asString().substr(19), "+0000");
}

TEST_F(InstagramScripts, BytesOfABrokenRequestCount) {
  const std::string file = someFile(3000);
  const std::string id = container();
  {
    const RawConnection connection(server.port());
    connection.send("POST /instagram-upload/v24.0/" + id + " HTTP/1.1\r\nHost: x\r\nAuthorization: OAuth " +
                    accessToken + "\r\noffset: 0\r\nfile_size: 3000\r\nContent-Length: 3000\r\n\r\n" +
                    file.substr(0, 1300));
  }
  ASSERT_TRUE(server.waitForRequests(sandbox::Route::instagramUpload, 1, std::chrono::seconds(30)));
  EXPECT_EQ(status(id)["video_status"]["uploading_phase"]["bytes_transferred"], 1300);
  EXPECT_EQ(send(id, 1300, file.size(), file.substr(1300)).status, 200);
  status(id);
  EXPECT_EQ(publish(id).status, 200);
  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
}

TEST_F(InstagramScripts, SendingIsStrict) {
  const std::string id = container();
  const auto type = [](const Answer& answer) { return answer.json()["debug_info"]["type"].asString(); };
  EXPECT_EQ(type(send(id, 1, 10, someFile(9))), "OffsetInvalidError");
  EXPECT_EQ(type(send(id, 0, 10, someFile(11))), "BadRequestError");
  EXPECT_EQ(type(send("1", 0, 10, someFile(10))), "NotFoundError");
  const Answer part = send(id, 0, 10, someFile(4));
  EXPECT_EQ(type(part), "PartialRequestError");
  EXPECT_TRUE(part.json()["debug_info"]["retriable"].asBool());
  EXPECT_EQ(type(send(id, 4, 11, someFile(7))), "BadRequestError") << "another size";
  EXPECT_EQ(send(id, 4, 10, someFile(6)).status, 200);
  accessToken = server.issueTokens(Platform::instagram, server.users()[1].openId).accessToken;
  EXPECT_EQ(send(id, 10, 10, "").status, 404);
  accessToken = "unknown";
  EXPECT_EQ(send(id, 0, 10, someFile(10)).status, 401);
}

TEST_F(InstagramScripts, ContainersAreStrict) {
  EXPECT_EQ(code(post("media", with(reel(), "media_type", "IMAGE"))), 100);
  EXPECT_EQ(code(post("media", without(reel(), "upload_type"))), 100);
  EXPECT_EQ(code(post("media", with(reel(), "caption", std::string(2201, 'c')))), 36004);
  EXPECT_EQ(code(post("media", with(reel(), "caption", std::string(31, '#')))), 36004);
  EXPECT_EQ(code(post("media", with(reel(), "caption", std::string(21, '@')))), 100);
  EXPECT_EQ(post("media", with(reel(), "caption", std::string(30, '#') + std::string(20, '@'))).status, 200);
  EXPECT_EQ(post("media", with(reel(), "access_token", "unknown")).status, 401);
  const std::string stranger = server.issueTokens(Platform::instagram, server.users()[1].openId).accessToken;
  EXPECT_EQ(subcode(post("media", with(reel(), "access_token", stranger))), 33);
  EXPECT_EQ(post("media", with(reel(), "thumb_offset", "7")).status, 200) << "nobody here knows it";
  EXPECT_EQ(code(publish("1")), 24);
  EXPECT_EQ(code(graph("/1", {{"access_token", accessToken}})), 100);
}

TEST_F(InstagramScripts, FieldThatIsNoneIsRefused) {
  const std::string id = container();
  send(id, 0, 5, "bytes");
  status(id);
  const std::string media = publish(id).json()["id"].asString();
  ASSERT_FALSE(media.empty());
  for (const std::string& path :
       {std::string("/me/accounts"), "/" + user, "/" + user + "/media", "/" + id, "/" + media}) {
    const auto ask = [&](const std::string& fields) {
      return graph(path, {{"fields", fields}, {"access_token", accessToken}});
    };
    EXPECT_EQ(ask("id").status, 200) << path;
    EXPECT_EQ(code(ask("id,shoe_size")), 100) << path;
    EXPECT_EQ(ask("id,shoe_size").json()["error"]["message"],
              "(#100) Tried accessing nonexisting field (shoe_size)")
        << path;
  }
  EXPECT_EQ(code(graph("/" + id, {{"fields", "permalink"}, {"access_token", accessToken}})), 100)
      << "a field of another kind of object";
}

}  // namespace
