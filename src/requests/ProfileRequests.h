#pragma once

#include "requests/ConcreteAuthRequest.h"
#include <BsNet/BsInfoReader.h>

#include <span>
#include <string>
#include <vector>

namespace KBL {

/// What the four requests share that ask a platform itself who the user is. They use the platform token that
/// the info carries, and publish what they learn into the info and into the user's record.
class ProfileRequest : public ConcreteAuthRequest {
 public:
  using ConcreteAuthRequest::ConcreteAuthRequest;
  int handleRequestData(IBsBaseRequest* self, IBsInfoReader* info, IBsErrorInfo* error,
                        NetReply* reply) final;

 protected:
  bool readReply(const Json::Value& root, const std::string& content, IBsErrorInfo& error,
                 const NetReply* reply) final;
  /// Fills the fields out of a valid reply.
  virtual void readFields(const Json::Value& root) = 0;
  virtual void publish(BsBaseInfoRW& record) = 0;
};

/// One text that a platform tells of its user.
struct UserField {
  const char* member;      ///< of the user in the reply
  const char* const* key;  ///< the record's, under which it is published; null: none
};

/// What the three share that ask who the user is.
class UserInfoRequest : public ProfileRequest {
 protected:
  /// `fields` outlives the request.
  UserInfoRequest(const RequestConstants& constants, std::span<const UserField> fields)
      : ProfileRequest(constants), fields_(fields) {}

  void clearMembers() final { texts_.clear(); }
  /// A missing member reads as empty text.
  void readFields(const Json::Value& root) final;
  void publish(BsBaseInfoRW& record) override;
  /// The member of a valid reply that is the user.
  [[nodiscard]] virtual const Json::Value& userIn(const Json::Value& root) const = 0;
  /// What the reply has for the field that is published under `key`.
  [[nodiscard]] std::string textFor(const char* const& key) const;

 private:
  const std::span<const UserField> fields_;
  std::vector<std::string> texts_;  // of the fields, in their order
};

/// Who the user is at Google.
class BsExternlMediaAuthYoutubeUserInfoRequest final : public UserInfoRequest {
 public:
  BsExternlMediaAuthYoutubeUserInfoRequest();

  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
  int checkResponseValid(const std::string& content, Json::Value& root, std::string& message,
                         int& code) override;

 protected:
  void publish(BsBaseInfoRW& record) override;
  [[nodiscard]] const Json::Value& userIn(const Json::Value& root) const override { return root; }

 private:
  void fetchAvatar(BsBaseInfoRW& record);
};

/// The video categories of YouTube, as one text: each title followed by "|".
class BsExternlMediaAuthYoutubeVideoCategoryRequest final : public ProfileRequest {
 public:
  BsExternlMediaAuthYoutubeVideoCategoryRequest();

  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
  int checkResponseValid(const std::string& content, Json::Value& root, std::string& message,
                         int& code) override;

 protected:
  void clearMembers() override;
  void readFields(const Json::Value& root) override;
  void publish(BsBaseInfoRW& record) override;

 private:
  std::string categories_;
};

/// Who the user is at TikTok.
class BsExternlMediaAuthTiktokUserInfoRequest final : public UserInfoRequest {
 public:
  BsExternlMediaAuthTiktokUserInfoRequest();

  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
  int checkResponseValid(const std::string& content, Json::Value& root, std::string& message,
                         int& code) override;

 protected:
  [[nodiscard]] const Json::Value& userIn(const Json::Value& root) const override;
};

/// Who the user is at Douyin.
class BsExternlMediaAuthDouyinUserInfoRequest final : public UserInfoRequest {
 public:
  BsExternlMediaAuthDouyinUserInfoRequest();

  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
  int checkResponseValid(const std::string& content, Json::Value& root, std::string& message,
                         int& code) override;

 protected:
  [[nodiscard]] const Json::Value& userIn(const Json::Value& root) const override;
};

}  // namespace KBL
