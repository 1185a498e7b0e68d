// Stands before libcurl's own function, so that memory can be short for the lines of a header.
#include "foundation/BsNet/client/FailingHeaderList.h"

#include <curl/curl.h>
#include <dlfcn.h>

std::atomic<bool> headerListFails{false};

extern "C" __attribute__((visibility("default"))) curl_slist* curl_slist_append(curl_slist* list,
                                                                                const char* line) {
  using Append = curl_slist* (*)(curl_slist*, const char*);
  static const auto real = reinterpret_cast<Append>(::dlsym(RTLD_NEXT, "curl_slist_append"));
  return headerListFails ? nullptr : real(list, line);
}
