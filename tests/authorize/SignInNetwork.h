#pragma once

#include "support/ScriptedNetwork.h"
#include <BsCloudConfig/BsCloudConfig.h>

/// An account server and platforms that say yes until a test says otherwise, and the addresses that lead
/// there.
class SignInNetwork : public ScriptedNetwork {
 public:
  SignInNetwork() {
    KBL::setCloudConfig({
        {"urlLFServerClientCredentials", "http://fake.test/credentials"},
        {"urlLFServerUserSupportSession", "http://fake.test/session"},
        {"urlLFServerUserSupportCode", "http://fake.test/code"},
        {"urlLFServerUserSupportToken", "http://fake.test/token"},
        {"urlUserSupportQueryConsume", "http://fake.test/consume"},
        {"urlCloudDiskAuthGoogleDiskUserInfo", "http://fake.test/googleuser"},
        {"urlYoutubeVideoCategories", "http://fake.test/categories"},
        {"urlMediaAuthTiktokUserInfo", "http://fake.test/tiktokuser"},
        {"urlMediaAuthDouyinUserInfo", "http://fake.test/douyinuser"},
        {"urlExternlMediaAuthYoutubeUpload", "http://fake.test/upload"},
    });
    answer("/credentials", R"({"code":0,"data":{"access_token":"account-token","expires_in":7200}})");
    answer("/session", R"({"code":0,"data":{"open_url":"http://fake.test/open","session_id":"session-1"}})");
    answer("/code", R"({"code":0,"data":{"status":1,"code":"c","callback_url":"http://fake.test/done",)"
                    R"("access_token":"third-1","refresh_token":"refresh-1","open_id":"open-1",)"
                    R"("expires_in":3600}})");
    answer("/token", R"({"code":0,"data":{"access_token":"third-2","refresh_token":"refresh-2",)"
                     R"("expires_in":3600}})");
    answer("/consume", R"({"code":0,"data":{}})");
    answer("/googleuser", R"({"id":"google-id","email":"a@fake.test","name":"Ada L","given_name":"Ada",)"
                          R"("family_name":"L","picture":"http://fake.test/a.png"})");
    answer("/categories", R"({"items":[{"snippet":{"title":"Film","assignable":true}}]})");
    answer("/tiktokuser", R"({"data":{"user":{"open_id":"tt-id","display_name":"Tik"}},"error":{"code":0}})");
    answer("/douyinuser", R"({"data":{"error_code":0,"open_id":"dy-id","nickname":"Dou","union_id":"u"}})");
  }
  ~SignInNetwork() { KBL::clearCloudConfig(); }
};
