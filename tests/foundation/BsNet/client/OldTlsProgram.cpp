// Asks for the address that it is told by a handle of libcurl that takes every version of TLS, by a network
// client, both trusting the authority's file that it is told, and by a download to the path that it is told.
// Prints what came of each.
#include <BsNet/INetworkClient.h>
#include <BsNet/NetworkClients.h>
#include <ExternlMediaTransfer/Host.h>

#include <curl/curl.h>

#include <cstdio>
#include <string>

namespace {

std::size_t drop(char*, std::size_t size, std::size_t count, void*) {
  return size * count;
}

int codeOfEveryVersion(const char* url, const char* authority) {
  CURL* const handle = curl_easy_init();
  curl_easy_setopt(handle, CURLOPT_URL, url);
  curl_easy_setopt(handle, CURLOPT_CAINFO, authority);
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &drop);
  curl_easy_setopt(handle, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_0));
  const CURLcode code = curl_easy_perform(handle);
  curl_easy_cleanup(handle);
  return code;
}

}  // namespace

int main(int, char** arguments) {
  std::printf("every version: %d\n", codeOfEveryVersion(arguments[1], arguments[2]));
  KBL::setNetSettings({.extraCaFile = arguments[2]});
  const KBL::OwnedNetworkClient client(KBL::makeNetworkClient());
  const KBL::URL url = KBL::URL::FromString(arguments[1]);
  std::printf("client: %d\n",
              client->perform(url, KBL::httpGet, nullptr, nullptr, nullptr, nullptr).resultCode);
  KBL::host::Media media;
  const KBL::host::MediaEnd end = media.download(arguments[1], arguments[3]).future().get();
  std::printf("download: %s\n", end.failure.message.c_str());
  std::fflush(stdout);
  return 0;
}
