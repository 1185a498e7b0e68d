#pragma once

#include "sandbox/services/UploadForm.h"
#include "sandbox/services/flickr/OauthOneCheck.h"

#include <chrono>
#include <map>
#include <mutex>

namespace sandbox {

/// Flickr for applications that publish, under OAuth 1.0a: request token, login page, access token; uploads
/// signed over every field but the file; tickets that tell when a video is ready; the list of what was
/// posted.
class FlickrPublishing final : public Service {
 public:
  FlickrPublishing(ServiceContext& context, NonceBook& nonces);
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> scriptKeys() const override;

 private:
  struct Ticket {
    std::string mediaId;
    std::string openId;
    unsigned questions = 0;
  };

  Reply requestToken(const Call& call);
  Reply login(const Call& call);
  Reply accessToken(const Call& call);
  Reply method(const Call& call);
  Reply checkTickets(const FormFields& fields, const User& user);
  [[nodiscard]] Reply photos(const FormFields& fields, const User& user);
  [[nodiscard]] static Reply testLogin(const User& user);
  [[nodiscard]] static Reply uploadStatus(const User& user);
  Reply upload(const Call& call);
  Reply take(const Call& call, const FormFields& fields, const UploadForm::File& photo, const User& user,
             const std::string& uploadId);
  /// What the user has of the same bytes.
  [[nodiscard]] std::optional<std::string> twinOf(const UploadForm::File& photo, const User& user) const;

  /// The user of a signed call; else the number and text of Flickr's refusal.
  struct Caller {
    std::optional<User> user;
    int code = 0;
    std::string message;
  };
  Caller callerOf(const Call& call, const FormFields& fields);

  ServiceContext& context_;
  OauthOneCheck check_;
  std::mutex mutex_;
  std::map<std::string, std::string> requestTokens_;                     ///< and where their logins end
  std::map<std::string, std::chrono::system_clock::time_point> posted_;  ///< when a video came, by its id
  std::map<std::string, Ticket> tickets_;
};

}  // namespace sandbox
