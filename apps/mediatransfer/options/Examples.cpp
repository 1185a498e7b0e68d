#include "options/Examples.h"

#include <array>

namespace host {
namespace {

struct Row {
  std::string_view command;
  std::string_view call;
  std::string_view what;
};

constexpr std::array rows{
    Row{"", "--sandbox login youtube", "try a login, against stand-in servers"},
    Row{"", "--sandbox upload youtube talk.mp4", "and an upload"},
    Row{"", "help upload", "what upload takes"},
    Row{"login", "login youtube", "sign in with the browser"},
    Row{"login", "--profile work login vimeo", "sign a further user in"},
    Row{"verify", "verify youtube", "is the stored login good?"},
    Row{"whoami", "whoami vimeo", "who is signed in, and which categories there are"},
    Row{"status", "status", "everybody who is signed in"},
    Row{"logout", "logout vimeo", "sign out"},
    Row{"upload", "upload youtube talk.mp4 --privacy unlisted", "one video"},
    Row{"upload", "upload vimeo talks/ --continue", "all videos of a folder, whichever fail"},
    Row{"upload", "upload youtube talk.mp4 --dry-run", "what would be sent"},
    Row{"albums", "albums facebook", "the albums with their ids"},
    Row{"media", "media flickr", "what there is"},
    Row{"media", "media instagram --download pictures", "fetch it, but what is there"},
    Row{"media", "media facebook --album FACEBOOK_VIDEO", "the user's videos"},
    Row{"download", "download https://example.org/a.jpg a.jpg", "fetch one file"},
    Row{"download", "download https://example.org/a.json - | less", "into a pipe"},
    Row{"sandbox", "sandbox", "its page shows what happens"},
    Row{"sandbox", "sandbox --config-file cloud.json", "for other programs"},
    Row{"config", "config set cloud-config cloud.json", "use these servers from now on"},
    Row{"config", "config show", "what holds, and where it comes from"},
    Row{"doctor", "doctor", "what is missing, and what helps"},
    Row{"completion", "completion bash > mediatransfer.bash", "to be sourced in .bashrc"},
    Row{"completion", "completion zsh > _mediatransfer", "for a folder of fpath"},
    Row{"completion", "completion fish > ~/.config/fish/completions/mediatransfer.fish", "for fish"},
};

}  // namespace

std::vector<ExampleText> examplesOf(std::string_view command) {
  std::vector<ExampleText> examples;
  for (const Row& row : rows) {
    if (row.command == command) examples.push_back({std::string(row.call), std::string(row.what)});
  }
  return examples;
}

}  // namespace host
