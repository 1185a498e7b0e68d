#include "options/ArgumentChecks.h"

#include "options/Choices.h"
#include "options/Failure.h"
#include "options/Suggestion.h"

#include <algorithm>

namespace host {
namespace {

/// The service would refuse an unknown word only when the upload has begun.
void checkPrivacy(Options& options) {
  const std::vector<std::string> words = wordsOf(options.platform->privacyWords);
  if (options.privacy.empty() || words.empty()) return;
  const std::string word = lowerCase(options.privacy);
  if (std::find(words.begin(), words.end(), word) == words.end()) {
    throw Failure(Exit::wrongUse, std::string(options.platform->name) + " knows no privacy '" +
                                      options.privacy + "'" + didYouMean(word, words) + "; give " +
                                      choiceText(words));
  }
  options.privacy = word;
}

}  // namespace

void checkAction(const std::string& given, Options& options) {
  static const std::vector<std::string> actions{"set", "unset", "show", "list"};
  const std::string action = lowerCase(given);
  const bool changes = action == "set" || action == "unset";
  if (std::find(actions.begin(), actions.end(), action) == actions.end()) {
    throw Failure(Exit::wrongUse, "config does not know '" + given + "'" + didYouMean(given, actions) +
                                      "; give set, unset, show or list");
  }
  if (changes && options.configKey.empty()) {
    throw Failure(Exit::wrongUse, "config " + action + " needs a KEY; 'mediatransfer config list' shows all");
  }
  if ((action == "set") == options.configValue.empty()) {
    throw Failure(Exit::wrongUse, action == "set" ? "config set needs a VALUE behind the key; 'mediatransfer "
                                                    "config unset' takes one away"
                                                  : "there is an argument too many behind config " + action);
  }
  options.configAction = action == "set"     ? ConfigAction::set
                         : action == "unset" ? ConfigAction::unset
                                             : ConfigAction::show;
}

void checkPlatform(const std::string& given, Options& options) {
  options.platform = findPlatform(lowerCase(given));
  if (options.platform == nullptr) {
    throw Failure(Exit::wrongUse, "unknown platform '" + given + "'" + didYouMean(given, platformList()) +
                                      "; give one of " + platformNames());
  }
  checkPrivacy(options);
  if (options.script && !options.platform->hasScript()) {
    throw Failure(Exit::wrongUse, given + " has no script; leave out --script");
  }
  if (options.manager && options.platform->manager < 0) {
    throw Failure(Exit::wrongUse, given + " has no authorization manager; leave out --manager");
  }
}

void checkService(const std::string& given, Options& options) {
  const std::vector<std::string> names = mediaServiceNames(options.command == Command::albums);
  for (const MediaService& service : mediaServices) {
    if (service.name == lowerCase(given)) options.service = &service;
  }
  if (std::find(names.begin(), names.end(), lowerCase(given)) != names.end()) return;
  throw Failure(Exit::wrongUse,
                "unknown service '" + given + "'" + didYouMean(given, names) + "; give " + choiceText(names));
}

}  // namespace host
