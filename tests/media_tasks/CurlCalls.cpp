// Stands before libcurl's easy interface in the program under test: the linker takes these definitions, and
// they go on to the library's own.
#include "media_tasks/CurlCalls.h"

#include <curl/curl.h>
#include <dlfcn.h>

#include <cstdarg>
#include <mutex>

#undef curl_easy_setopt

namespace {

struct Recording {
  std::mutex mutex;
  bool isOn = false;
  std::vector<CurlCall> calls;
};

Recording& recording() {
  static auto* const instance = new Recording;
  return *instance;
}

void note(CurlCall call) {
  const std::lock_guard lock(recording().mutex);
  if (recording().isOn) recording().calls.push_back(std::move(call));
}

template <class Function>
Function original(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

bool takesText(CURLoption option) {
  return option == CURLOPT_URL || option == CURLOPT_USERAGENT || option == CURLOPT_ACCEPT_ENCODING;
}

}  // namespace

extern "C" {

CURL* curl_easy_init() {
  note({"init", 0, 0, {}, nullptr});
  return original<CURL* (*)()>("curl_easy_init")();
}

CURLcode curl_easy_setopt(CURL* curl, CURLoption option, ...) {
  static const auto next = original<CURLcode (*)(CURL*, CURLoption, ...)>("curl_easy_setopt");
  std::va_list arguments;
// The signature is libcurl's.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wvarargs"
  va_start(arguments, option);
#pragma GCC diagnostic pop
  CurlCall call{"setopt", static_cast<int>(option), 0, {}, nullptr};
  CURLcode result = CURLE_OK;
  if (option < CURLOPTTYPE_OBJECTPOINT) {
    call.number = va_arg(arguments, long);
    result = next(curl, option, call.number);
  } else if (option < CURLOPTTYPE_OFF_T || option >= CURLOPTTYPE_BLOB) {
    void* const pointer = va_arg(arguments, void*);
    call.pointer = pointer;
    if (takesText(option)) call.text = static_cast<const char*>(pointer);
    result = next(curl, option, pointer);
  } else {
    result = next(curl, option, va_arg(arguments, curl_off_t));
  }
  va_end(arguments);
  note(call);
  return result;
}

CURLcode curl_easy_perform(CURL* curl) {
  note({"perform", 0, 0, {}, nullptr});
  return original<CURLcode (*)(CURL*)>("curl_easy_perform")(curl);
}

void curl_easy_cleanup(CURL* curl) {
  note({"cleanup", 0, 0, {}, nullptr});
  original<void (*)(CURL*)>("curl_easy_cleanup")(curl);
}

}  // extern "C"

ScopedCurlCalls::ScopedCurlCalls() {
  const std::lock_guard lock(recording().mutex);
  recording().isOn = true;
  recording().calls.clear();
}

ScopedCurlCalls::~ScopedCurlCalls() {
  const std::lock_guard lock(recording().mutex);
  recording().isOn = false;
}

std::vector<CurlCall> ScopedCurlCalls::calls() {
  const std::lock_guard lock(recording().mutex);
  return recording().calls;
}
