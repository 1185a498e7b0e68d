#include "Advice.h"
#include "JsonLine.h"
#include "Report.h"

#include <algorithm>
#include <iostream>

namespace host {
namespace {

std::string_view eventName(PersonNews news) {
  switch (news) {
    case PersonNews::loginDone:
      return "login_done";
    case PersonNews::verified:
      return "verified";
    case PersonNews::user:
      return "user";
    case PersonNews::loggedOut:
      return "logged_out";
  }
  return {};
}

/// One JSON object a line on the standard output, nothing else. People still find the program's own line on
/// the standard error stream.
class JsonReport final : public Report {
 public:
  void loginUrl(const std::string& user, const std::string& url) override {
    write(JsonLine("login_url").text("user", user).text("url", url));
  }
  void callbackUrl(const std::string& user, const std::string& url) override {
    write(JsonLine("callback_url").text("user", user).text("url", url));
  }
  void tokenChanged(const std::string& user) override { write(JsonLine("token_changed").text("user", user)); }
  void person(PersonNews news, const Person& person) override {
    write(JsonLine(eventName(news))
              .text("user", person.user)
              .textIfKnown("account", person.account)
              .textIfKnown("name", person.name)
              .textIfKnown("first_name", person.firstName)
              .textIfKnown("last_name", person.lastName)
              .textIfKnown("account_uid", person.accountUid)
              .textIfKnown("categories", person.categories));
  }
  void uploadStarts(std::uint64_t) override {}
  void uploadProgress(int percent) override { write(JsonLine("progress").number("value", percent)); }
  void uploadStops(const std::string&) override {}
  void finished(const std::string& text) override { write(JsonLine("finished").text("text", text)); }
  void error(int code, const std::string& text) override {
    write(JsonLine("error").number("code", code).text("text", withoutSecrets(text)));
  }
  void notRenewed(int code, const std::string& text) override { error(code, text); }
  void uploadError(int value, const std::string& text) override {
    write(JsonLine("error").number("value", value).text("text", withoutSecrets(text)));
  }
  void trouble(const std::string& line) override {
    write(JsonLine("error").text("text", line));
    std::cerr << "mediatransfer: " << singleLine(line) << std::endl;
  }
  void sandboxListens(const std::string& url, const std::string& config,
                      const std::string& scriptServices) override {
    std::string flat = config;
    std::replace(flat.begin(), flat.end(), '\n', ' ');
    write(JsonLine("sandbox")
              .text("url", url)
              .json("cloud_config", flat)
              .text("script_services", scriptServices));
  }
  void note(const std::string&) override {}
  void tick() override {}
  void done(int exitCode) override { write(JsonLine("done").number("exit", exitCode)); }

 private:
  static void write(const JsonLine& line) { std::cout << line.line() << std::flush; }
};

}  // namespace

std::unique_ptr<Report> makeJsonReport() {
  return std::make_unique<JsonReport>();
}

}  // namespace host
