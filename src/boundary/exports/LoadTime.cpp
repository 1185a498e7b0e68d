// What is initialised when the library is loaded, in this order. All of it stands in one translation unit,
// since the order of initialisation is defined within one only.
//
// Workers may still run while the process ends, so nothing here is freed: the storage outlives every thread.

#include "authorize/switchboard/AuthorizeTable.h"
#include "foundation/neverFreed.h"
#include "foundation/tls/CurlFitness.h"
#include "scripting/python/PythonRunTime.h"

#include <curl/curl.h>

#include <cstdlib>

namespace KBL {

IBsExternlMediaAuthorize* authorizeTable[ema_count] = {};
int authorizeInstanceCounter = 0;

std::mutex& authorizeTableMutex = neverFreed<std::mutex>();

std::mutex& pythonMutex = neverFreed<std::mutex>();
std::string& pythonHome = neverFreed<std::string>();

namespace {
constexpr long curlEverything = 3;
static_assert(curlEverything == CURL_GLOBAL_ALL);

void initCurl() {
  curl_global_init(curlEverything);
}

/// At exit libcurl is initialised a second time and never cleaned up: this keeps its state standing for
/// transfers that still run, and is required as it stands. One that can't serve is left alone; what makes the
/// first object says so, since the loader's locks are held here and the host's logger may do anything.
const bool curlReady = [] {
  if (!isCurlFit()) return false;
  initCurl();
  (void)std::atexit(initCurl);
  return true;
}();
}  // namespace

}  // namespace KBL
