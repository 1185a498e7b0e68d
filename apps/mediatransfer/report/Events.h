#pragma once

#include <string>
#include <variant>

namespace host {

/// One call of a library callback, carried from its thread to the main one. Tokens are left behind there.
struct Event {
  enum class Kind {
    loginUrl,      ///< user, text: the address for the browser
    callbackUrl,   ///< user, text: the address to show at the end of a login
    tokenChanged,  ///< user
    answer,        ///< a manager's queryResponse: infoType, request, user, code, text
    progress,      ///< value: percent
    finished,      ///< text: the video's address
    uploadError    ///< value, text
  };
  Kind kind = Kind::answer;
  std::string user;
  std::string text;
  std::string request;  ///< the request's name
  int infoType = 0;
  int code = 0;
  int value = 0;
};

/// What is known of a user; empty texts are unknown.
struct Person {
  std::string user;  ///< uuid
  std::string account;
  std::string name;
  std::string firstName;
  std::string lastName;
  std::string accountUid;
  std::string categories;  ///< titles, each followed by "|"
};

// What the callbacks of a download transfer bring, with texts in UTF-8.

struct AlbumEvent {
  std::string id;
  std::string name;
  int more = 0;
};

struct MediaEvent {
  int type = 0;
  std::string url;
  std::string thumbnail;
  int more = 0;
};

struct DownloadEvent {
  bool finished = false;
  int total = 0;  ///< bytes; 0 while unknown
  int bytes = 0;
};

struct MediaErrorEvent {
  int code = 0;
  std::string text;
};

using MediaNews = std::variant<AlbumEvent, MediaEvent, DownloadEvent, MediaErrorEvent>;

}  // namespace host
