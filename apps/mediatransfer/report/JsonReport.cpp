#include "options/Secrets.h"
#include "report/Advice.h"
#include "report/JsonLine.h"
#include "report/Report.h"

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
    case PersonNews::stored:
    case PersonNews::user:
      return "user";
    case PersonNews::loggedOut:
      return "logged_out";
  }
  return {};
}

std::string_view causeName(Cause cause) {
  switch (cause) {
    case Cause::network:
      return "network";
    case Cause::login:
      return "login";
    case Cause::refused:
      return "refused";
    case Cause::file:
      return "file";
    case Cause::call:
      return "interface";
  }
  return {};
}

std::string_view sourceName(SettingSource source) {
  switch (source) {
    case SettingSource::commandLine:
      return "command_line";
    case SettingSource::environment:
      return "environment";
    case SettingSource::profileFile:
      return "profile";
    case SettingSource::generalFile:
      return "general";
    case SettingSource::nowhere:
      break;
  }
  return "default";
}

std::string_view outcomeName(FetchedEntry::Outcome outcome) {
  switch (outcome) {
    case FetchedEntry::Outcome::stored:
      return "stored";
    case FetchedEntry::Outcome::there:
      return "there";
    case FetchedEntry::Outcome::failed:
      return "failed";
    case FetchedEntry::Outcome::planned:
      return "planned";
    case FetchedEntry::Outcome::unaddressed:
      return "unaddressed";
  }
  return {};
}

std::string_view stateName(Check::State state) {
  switch (state) {
    case Check::State::ok:
      return "ok";
    case Check::State::warning:
      return "warning";
    case Check::State::fault:
      return "fault";
  }
  return {};
}

/// One JSON object a line on the standard output, nothing else. People still find the program's own line on
/// the standard error stream.
class JsonReport final : public Report {
 public:
  void loginUrl(const std::string& user, const std::string& url) override {
    write(JsonLine("login_url").text("user", user).text("url", withoutGivenSecrets(url)));
  }
  // The address carries the login's code.
  void callbackUrl(const std::string& user, const std::string& url) override {
    write(JsonLine("callback_url").text("user", user).text("url", withoutSecrets(url)));
  }
  void tokenChanged(const std::string& user) override { write(JsonLine("token_changed").text("user", user)); }
  void person(PersonNews news, const Person& person) override {
    JsonLine line(eventName(news));
    write(addTo(line, person).textIfKnown("categories", person.categories));
  }
  void signedIn(const SignedIn& login) override {
    JsonLine line("login");
    line.text("profile", login.profile).text("platform", login.platform);
    line.text("way", login.byScript ? "script" : "manager");
    write(addTo(line, login.person).textIfKnown("server", login.server));
  }
  void setting(const SettingValue& value, bool) override {
    write(JsonLine("setting")
              .text("key", value.key)
              .text("value", shownValue(value))
              .text("source", sourceName(value.source))
              .textIfKnown("place", value.place));
  }
  void checked(const Check& check) override {
    write(JsonLine("check")
              .text("check", check.name)
              .text("state", stateName(check.state))
              .text("text", withoutGivenSecrets(check.text))
              .textIfKnown("remedy", withoutGivenSecrets(check.remedy)));
  }
  void checksEnd(const CheckCount& count) override {
    write(JsonLine("checks").number("faults", count.faults).number("warnings", count.warnings));
  }
  void fileStarts(const std::string& file, int number, int of) override {
    write(JsonLine("file").text("file", file).number("number", number).number("of", of));
  }
  void fileEnds(const std::string& file, int exitCode) override {
    write(JsonLine("file_done").text("file", file).number("exit", exitCode));
  }
  void uploadsEnd(const UploadCount& count) override {
    JsonLine line("uploads");
    line.number("files", count.files).number("uploaded", count.uploaded).number("failed", count.failed);
    if (count.planned > 0) line.number("planned", count.planned);
    write(line);
  }
  void uploadPlanned(const UploadPlan& plan) override {
    write(JsonLine("planned")
              .text("file", plan.file)
              .number("bytes", static_cast<std::int64_t>(plan.bytes))
              .textIfKnown("title", plan.title)
              .textIfKnown("description", plan.description)
              .textIfKnown("tags", plan.tags)
              .textIfKnown("category", plan.category)
              .textIfKnown("privacy", plan.privacy)
              .textIfKnown("thumbnail", plan.thumbnail));
  }
  void uploadStarts(std::uint64_t) override {}
  void uploadProgress(int percent) override { write(JsonLine("progress").number("value", percent)); }
  void uploadStops(const std::string&) override {}
  void finished(const std::string& text) override {
    write(JsonLine("finished").text("text", withoutGivenSecrets(text)));
  }
  void error(int code, const std::string& text) override { writeError(code, text, causeOfError(code, text)); }
  // The account server answers, and somebody has to sign in again in the end.
  void notRenewed(int code, const std::string& text) override {
    writeError(code, text, code >= 500 && code < 600 ? Cause::refused : Cause::login);
  }
  void uploadError(int value, const std::string& text) override {
    write(JsonLine("error")
              .number("value", value)
              .text("text", withoutSecrets(text))
              .text("cause", causeName(causeOfUploadError(value, text))));
  }
  void trouble(const std::string& line, Cause cause) override {
    const std::string shown = withoutGivenSecrets(line);
    write(JsonLine("error").text("text", shown).text("cause", causeName(cause)));
    std::cerr << "mediatransfer: " << singleLine(shown) << std::endl;
  }
  void sandboxListens(const SandboxPlaces& places) override {
    std::string flat = places.config;
    std::replace(flat.begin(), flat.end(), '\n', ' ');
    write(JsonLine("sandbox")
              .text("url", places.url)
              .json("cloud_config", flat)
              .text("script_services", places.scriptServices)
              .textIfKnown("certificate_authority", places.authorityFile));
  }
  void served(const ServedExchange& exchange) override {
    write(JsonLine("exchange")
              .text("route", exchange.route)
              .text("method", exchange.method)
              .text("target", withoutGivenSecrets(exchange.target))
              .number("status", exchange.status)
              .number("microseconds", exchange.microseconds)
              .number("received", static_cast<std::int64_t>(exchange.received))
              .number("sent", static_cast<std::int64_t>(exchange.sent))
              .number("disturbed", exchange.disturbed ? 1 : 0));
  }
  void mediaStarts() override {}
  void album(const AlbumEvent& album) override {
    write(JsonLine("album").text("id", album.id).text("name", album.name).number("more", album.more));
  }
  void media(const MediaEvent& media) override {
    write(JsonLine("media")
              .number("type", media.type)
              .text("url", media.url)
              .text("thumbnail", media.thumbnail)
              .number("more", media.more));
  }
  void download(const DownloadEvent& download) override {
    write(JsonLine("progress")
              .number("bytes", download.bytes)
              .number("total", download.total)
              .number("finished", download.finished ? 1 : 0));
  }
  void mediaError(const MediaErrorEvent& failure) override {
    writeError(failure.code, failure.text, causeOfMediaError(failure.code, failure.text));
  }
  void mediaEnds(MediaEnd) override {}
  void fetchesStart(const FetchCount&) override {}
  void fetched(const FetchedEntry& entry) override {
    write(JsonLine("fetched")
              .text("id", entry.id)
              .text("file", entry.file)
              .number("bytes", static_cast<std::int64_t>(entry.bytes))
              .text("status", outcomeName(entry.outcome)));
  }
  void fetchFailed(const FetchedEntry& entry, const MediaErrorEvent& error, bool) override {
    mediaError(error);
    fetched(entry);
  }
  void fetchProgress(std::uint64_t) override {}
  void fetchesEnd(const FetchCount& count, bool) override {
    write(JsonLine("album_done")
              .number("entries", count.entries)
              .number("stored", count.stored)
              .number("there", count.there)
              .number("failed", count.failed)
              .number("unaddressed", count.unaddressed));
  }
  void note(const std::string&) override {}
  void waitsFor(const std::string&) override {}
  void waiting(const std::string&) override {}
  void tick() override {}
  void done(int exitCode) override { write(JsonLine("done").number("exit", exitCode)); }

 private:
  static void writeError(int code, const std::string& text, Cause cause) {
    write(JsonLine("error")
              .number("code", code)
              .text("text", withoutSecrets(text))
              .text("cause", causeName(cause)));
  }
  static JsonLine& addTo(JsonLine& line, const Person& person) {
    return line.text("user", person.user)
        .textIfKnown("account", person.account)
        .textIfKnown("name", person.name)
        .textIfKnown("first_name", person.firstName)
        .textIfKnown("last_name", person.lastName)
        .textIfKnown("account_uid", person.accountUid);
  }
  static void write(const JsonLine& line) { std::cout << line.line() << std::flush; }
};

}  // namespace

std::unique_ptr<Report> makeJsonReport() {
  return std::make_unique<JsonReport>();
}

}  // namespace host
