// Makes an exchange, one in a forked child, and another one: URL. Ends with 0 when all three went well.
#include <BsNet/INetworkClient.h>
#include <BsNet/NetworkClients.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

bool exchange(const std::string& url) {
  const KBL::OwnedNetworkClient client(KBL::makeNetworkClient());
  return client->perform(KBL::URL::FromString(url), KBL::httpGet, nullptr, nullptr, nullptr, nullptr)
             .httpCode == 200;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 2;
  const std::string url = arguments[1];
  if (!exchange(url)) return 1;
  const pid_t child = ::fork();
  if (child < 0) return 2;
  if (child == 0) std::exit(exchange(url) ? 0 : 1);
  int status = 0;
  if (::waitpid(child, &status, 0) != child || status != 0) return 1;
  return exchange(url) ? 0 : 1;
}
