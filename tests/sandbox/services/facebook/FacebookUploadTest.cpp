#include "sandbox/OauthSteps.h"
#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "sandbox/UploadSteps.h"
#include "sandbox/base/JsonText.h"

#include <gtest/gtest.h>

namespace {

using sandbox::Platform;

constexpr const char* tokenPath = "/facebook/v24.0/oauth/access_token";
constexpr const char* videos = "/facebook-video/v24.0/me/videos";
constexpr std::size_t chunk = 1000;

sandbox::SandboxOptions smallChunks() {
  sandbox::SandboxOptions options;
  options.facebookChunk = chunk;
  return options;
}

class FacebookScripts : public testing::Test {
 protected:
  Answer token(const Fields& fields) { return client.get(targetWith(tokenPath, fields)); }
  std::string freshCode() { return codeFrom(client, "/facebook/v24.0/dialog/oauth"); }

  Answer start(std::size_t size) {
    return client.post(
        videos,
        formOf(
            {{"access_token", accessToken}, {"upload_phase", "start"}, {"file_size", std::to_string(size)}}),
        {formType()});
  }
  Answer transfer(const std::string& session, std::size_t offset, const std::string& bytes) {
    const Multipart form = multipart({{"access_token", accessToken},
                                      {"upload_phase", "transfer"},
                                      {"upload_session_id", session},
                                      {"start_offset", std::to_string(offset)},
                                      {"video_file_chunk", bytes, "chunk"}});
    return client.post(videos, form.body, {form.type});
  }
  Answer look(const std::string& video, const std::string& fields) {
    return client.get(
        targetWith("/facebook/v24.0/" + video, {{"fields", fields}, {"access_token", accessToken}}));
  }
  Answer finish(const std::string& session, std::vector<FormPart> more) {
    more.insert(more.begin(),
                {{"access_token", accessToken}, {"upload_phase", "finish"}, {"upload_session_id", session}});
    const Multipart form = multipart(more);
    return client.post(videos, form.body, {form.type});
  }
  static int code(const Answer& answer) { return answer.json()["error"]["code"].asInt(); }
  static int subcode(const Answer& answer) { return answer.json()["error"]["error_subcode"].asInt(); }

  sandbox::Sandbox server{smallChunks()};
  TestClient client{server};
  std::string accessToken = server.issueTokens(Platform::facebook).accessToken;
};

TEST_F(FacebookScripts, CodeBecomesAShortTokenAndThatALongOne) {
  const Answer first = token(codeFields(freshCode()));
  ASSERT_EQ(first.status, 200) << first.body;
  EXPECT_EQ(first.json()["token_type"], "bearer");
  EXPECT_LE(first.json()["expires_in"].asInt(), 7200);

  const Answer second = token({{"grant_type", "fb_exchange_token"},
                               {"client_id", appId},
                               {"client_secret", appSecret},
                               {"fb_exchange_token", first.json()["access_token"].asString()}});

  ASSERT_EQ(second.status, 200) << second.body;
  EXPECT_EQ(second.json()["expires_in"], 5184000);
  const Answer me = client.get(
      targetWith("/facebook/v24.0/me",
                 {{"fields", "id,name"}, {"access_token", second.json()["access_token"].asString()}}));
  EXPECT_EQ(me.json()["name"], server.users()[0].name);
  EXPECT_EQ(me.json()["id"], server.users()[0].openId);
}

TEST_F(FacebookScripts, CodeIsGoodOnceAndForItsOwnLoginOnly) {
  const Fields good = codeFields(freshCode());
  EXPECT_EQ(token(good).status, 200);
  EXPECT_EQ(subcode(token(good)), 36009);
  const auto refused = [&](const std::string& name, const std::string& value) {
    return token(with(codeFields(freshCode()), name, value));
  };
  EXPECT_EQ(code(refused("client_secret", "wrong")), 1);
  EXPECT_EQ(code(refused("client_id", "wrong")), 1);
  EXPECT_EQ(code(refused("grant_type", "password")), 100);
  EXPECT_EQ(code(refused("redirect_uri", "http://localhost/other")), 100);
  EXPECT_EQ(code(refused("code_verifier", "")), 100);
  EXPECT_EQ(code(refused("code", codeFrom(client, "/vimeo/oauth/authorize"))), 100) << "another service's";
}

TEST_F(FacebookScripts, TokenIsTradedForItsApplicationOnly) {
  const Fields trade{{"grant_type", "fb_exchange_token"},
                     {"client_id", appId},
                     {"client_secret", appSecret},
                     {"fb_exchange_token", accessToken}};
  EXPECT_EQ(token(trade).status, 200);
  EXPECT_EQ(token(with(trade, "fb_exchange_token", "unknown")).status, 401);
  EXPECT_EQ(code(token(with(trade, "fb_exchange_token", "unknown"))), 190);
  EXPECT_EQ(code(token(with(trade, "client_secret", "wrong"))), 1);
}

TEST_F(FacebookScripts, ProfileTellsTheFieldsThatWereAskedFor) {
  const auto me = [&](const std::string& fields) {
    return client.get(targetWith("/facebook/v24.0/me", {{"fields", fields}, {"access_token", accessToken}}));
  };
  EXPECT_EQ(me("id").json().getMemberNames(), std::vector<std::string>{"id"});
  EXPECT_EQ(code(me("id,shoe_size")), 100);
  EXPECT_EQ(client.get("/facebook/v24.0/me?access_token=none").status, 401);
  EXPECT_EQ(code(client.get("/facebook/v24.0/me")), 190);
}

TEST_F(FacebookScripts, LinkIsPosted) {
  const auto post = [&](const Fields& fields) {
    return client.post("/facebook/v24.0/me/feed", formOf(fields), {formType()});
  };
  const Answer good =
      post({{"access_token", accessToken}, {"message", "m"}, {"link", "https://example.com"}});
  EXPECT_TRUE(good.json()["id"].asString().starts_with(server.users()[0].openId + "_"));
  EXPECT_EQ(code(post({{"access_token", accessToken}, {"link", "no address"}})), 100);
  EXPECT_EQ(code(post({{"access_token", accessToken}})), 100);
  EXPECT_EQ(code(post({{"message", "m"}})), 190);
}

TEST_F(FacebookScripts, RemovedPermissionsEndEveryTokenOfTheUser) {
  const std::string other = server.issueTokens(Platform::facebook, server.users()[1].openId).accessToken;

  EXPECT_TRUE(
      client.remove("/facebook/v24.0/me/permissions?access_token=" + accessToken).json()["success"].asBool());

  EXPECT_EQ(client.get("/facebook/v24.0/me?access_token=" + accessToken).status, 401);
  EXPECT_EQ(client.get("/facebook/v24.0/me?access_token=" + other).status, 200);
}

TEST_F(FacebookScripts, VideoArrivesWholeInItsPhases) {
  const std::string file = someFile(2 * chunk + 77);
  const Answer started = start(file.size());
  ASSERT_EQ(started.status, 200) << started.body;
  EXPECT_EQ(started.json()["start_offset"], "0");
  EXPECT_EQ(started.json()["end_offset"], "1000");
  const std::string session = started.json()["upload_session_id"].asString();

  EXPECT_EQ(transfer(session, 0, file.substr(0, chunk)).json()["start_offset"], "1000");
  EXPECT_EQ(transfer(session, chunk, file.substr(chunk, chunk)).json()["end_offset"], "2077");
  const Answer last = transfer(session, 2 * chunk, file.substr(2 * chunk));
  EXPECT_EQ(last.json()["start_offset"], "2077");
  EXPECT_EQ(last.json()["end_offset"], "2077");
  const Answer finished =
      finish(session,
             {{"title", "t"}, {"privacy", R"({"value":"SELF"})"}, {"thumb", "jpeg", "t.jpg", "image/jpeg"}});

  EXPECT_TRUE(finished.json()["success"].asBool()) << finished.body;
  const auto upload =
      server.uploadByMediaId(started.json()["video_id"].asString()).value_or(sandbox::UploadRecord());
  EXPECT_TRUE(upload.complete);
  EXPECT_EQ(upload.service, "facebook");
  EXPECT_EQ(upload.sha256, sha256Of(file));
  EXPECT_EQ(upload.chunks.size(), 3U);
  const Json::Value metadata = sandbox::parseJson(upload.metadata).value_or(Json::Value(Json::objectValue));
  EXPECT_EQ(metadata["title"], "t");
  EXPECT_EQ(metadata["thumb"]["sha256"], sha256Of("jpeg"));
}

TEST_F(FacebookScripts, WrongOffsetIsRefusedAndTellsWhereToGoOn) {
  const std::string file = someFile(2 * chunk);
  const std::string session = start(file.size()).json()["upload_session_id"].asString();
  transfer(session, 0, file.substr(0, chunk));

  for (const std::size_t offset : {std::size_t{0}, chunk - 1, chunk + 1}) {
    const Answer answer = transfer(session, offset, file.substr(0, 10));
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(code(answer), 6000);
    EXPECT_EQ(subcode(answer), 1363037);
    EXPECT_EQ(answer.json()["error"]["error_data"]["start_offset"], "1000");
    EXPECT_EQ(answer.json()["error"]["error_data"]["end_offset"], "2000");
  }
  EXPECT_EQ(subcode(transfer(session, chunk, someFile(chunk + 1))), 1363037) << "past the end that was told";
  EXPECT_EQ(subcode(transfer(session, chunk, "")), 1363037);
  EXPECT_EQ(transfer(session, chunk, file.substr(chunk)).status, 200);
}

TEST_F(FacebookScripts, FinishNeedsEveryByteAndSoundMetadata) {
  const std::string session = start(10).json()["upload_session_id"].asString();
  EXPECT_EQ(subcode(finish(session, {{"title", "t"}})), 1363037);
  transfer(session, 0, someFile(10));
  for (const FormPart& part :
       {FormPart{"privacy", "SELF"}, FormPart{"privacy", R"({"value":"ME"})"},
        FormPart{"content_category", "FISHING"}, FormPart{"title", std::string(256, 't')},
        FormPart{"thumb", "x", "x.txt", "text/plain"}}) {
    EXPECT_EQ(code(finish(session, {part})), 100) << part.name << "=" << part.content;
  }
  EXPECT_EQ(finish(session, {{"content_tags", R"(["a"])"}, {"content_category", "MUSIC"}}).status, 200);
  EXPECT_EQ(server.uploads()[0].metadata.find("content_tags"), std::string::npos)
      << "users' videos have none";
  EXPECT_EQ(code(finish(session, {{"content_category", "MUSIC"}})), 100) << "it is published already";
}

TEST_F(FacebookScripts, VideoTellsWhetherItIsPublished) {
  const Answer started = start(10);
  const std::string session = started.json()["upload_session_id"].asString();
  const std::string video = started.json()["video_id"].asString();
  const auto status = [&] { return look(video, "status").json()["status"]; };
  EXPECT_EQ(status()["video_status"], "uploading");
  transfer(session, 0, someFile(10));
  EXPECT_EQ(status()["uploading_phase"]["status"], "complete");
  EXPECT_EQ(status()["publishing_phase"]["status"], "not_started");
  finish(session, {});
  EXPECT_EQ(status()["publishing_phase"]["publish_status"], "published");
  EXPECT_TRUE(look(video, "published").json()["published"].asBool());
  EXPECT_EQ(look(video, "published").json().getMemberNames(), (std::vector<std::string>{"id", "published"}));
  EXPECT_EQ(code(look(video, "shoe_size")), 100);
  EXPECT_EQ(subcode(look("1", "status")), 33);
  accessToken = server.issueTokens(Platform::facebook, server.users()[1].openId).accessToken;
  EXPECT_EQ(subcode(look(video, "status")), 33) << "another user's";
  accessToken = "none";
  EXPECT_EQ(code(look(video, "status")), 190);
}

TEST_F(FacebookScripts, RemovedVideoIsGone) {
  const Answer started = start(10);
  const std::string video = started.json()["video_id"].asString();
  const auto remove = [&](const std::string& token) {
    return client.remove("/facebook/v24.0/" + video + "?access_token=" + token);
  };
  EXPECT_EQ(code(remove("none")), 190);
  EXPECT_EQ(subcode(remove(server.issueTokens(Platform::facebook, server.users()[1].openId).accessToken)),
            33);
  EXPECT_TRUE(remove(accessToken).json()["success"].asBool());
  EXPECT_EQ(subcode(remove(accessToken)), 33);
  EXPECT_EQ(code(transfer(started.json()["upload_session_id"].asString(), 0, someFile(10))), 100);
  EXPECT_TRUE(server.uploads().empty());
}

TEST_F(FacebookScripts, SessionIsItsUsersAlone) {
  const std::string session = start(10).json()["upload_session_id"].asString();
  accessToken = server.issueTokens(Platform::facebook, server.users()[1].openId).accessToken;
  EXPECT_EQ(code(transfer(session, 0, someFile(10))), 100);
  EXPECT_EQ(code(transfer("unknown", 0, someFile(10))), 100);
  server.expireAccessTokens();
  EXPECT_EQ(code(start(10)), 190);
}

TEST_F(FacebookScripts, PhasesCheckTheirFields) {
  EXPECT_EQ(code(start(0)), 100);
  for (const char* size : {"", "many", "-1"}) {
    const Fields opening{{"access_token", accessToken}, {"upload_phase", "start"}, {"file_size", size}};
    EXPECT_EQ(code(client.post(videos, formOf(opening), {formType()})), 100) << size;
  }
  const std::string session = start(10).json()["upload_session_id"].asString();
  EXPECT_EQ(code(client.post(videos, formOf({{"access_token", accessToken}, {"upload_phase", "begin"}}),
                             {formType()})),
            100);
  const Fields noFile{{"access_token", accessToken},
                      {"upload_phase", "transfer"},
                      {"upload_session_id", session},
                      {"start_offset", "0"}};
  EXPECT_EQ(code(client.post(videos, formOf(noFile), {formType()})), 100);
  EXPECT_EQ(code(client.post(videos, formOf(with(noFile, "start_offset", "-1")), {formType()})), 100);
  const Multipart form = multipart({{"upload_phase", "start"}});
  EXPECT_EQ(code(client.post(videos, form.body.substr(0, form.body.size() - 4), {form.type})), 100);
}

TEST_F(FacebookScripts, FaultsDisturbThePhases) {
  const std::string session = start(20).json()["upload_session_id"].asString();
  const auto fault = server.orderFault(sandbox::Route::facebookVideos, sandbox::Fault::status(500), 1);
  EXPECT_EQ(transfer(session, 0, someFile(20)).status, 500);
  EXPECT_EQ(transfer(session, 0, someFile(20)).status, 200);
  EXPECT_EQ(server.faultsDelivered(fault), 1U);
}

}  // namespace
