#include "foundation/BsNet/client/CurlTrust.h"

#include "foundation/neverFreed.h"
#include "foundation/system/NetworkSystem.h"
#include "foundation/system/System.h"
#include <KblUtils/FileStream.h>
#include <KblUtils/HostCode.h>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

namespace KBL {
namespace {

/// Empty for a file that cannot be read.
std::string contentsOf(const std::string& utf8Path) {
  std::string contents;
  FileStream file;
  if (!file.open(Path(utf8Path), "rb")) return contents;
  std::array<char, 1 << 14> piece{};
  while (const std::uint64_t bytes = file.read(piece.data(), piece.size())) {
    contents.append(piece.data(), static_cast<std::size_t>(bytes));
  }
  return contents;
}

/// The file of libcurl's default certificate authorities; null where the system keeps them.
const char* defaultFile() {
  return curl_version_info(CURLVERSION_NOW)->cainfo;
}

/// What was put together last, with what it was read from.
struct KeptTrust {
  std::mutex mutex;
  std::string furtherFile;
  System::FileVersion further;
  System::FileVersion defaults;
  std::shared_ptr<const CurlTrust> trust;
};

// Workers make clients while the process ends.
KeptTrust& keptTrust() {
  static KeptTrust& instance = neverFreed<KeptTrust>();
  return instance;
}

/// libcurl may have another TLS library, a version of its own, or several of which one is in use.
bool takesCertificates() {
  const char* const library = curl_version_info(CURLVERSION_NOW)->ssl_version;
  return library != nullptr && library == TlsCertificates::library();
}

/// Text outside of certificates is no part of a PEM file.
std::string markedWith(const std::string& defaults, const std::string& further) {
  return "beside " + std::to_string(std::hash<std::string>{}(defaults)) + "\n" + further;
}

curl_blob blobOf(const std::string& text) {
  return {const_cast<char*>(text.data()), text.size(), CURL_BLOB_NOCOPY};
}

}  // namespace

std::shared_ptr<const CurlTrust> CurlTrust::with(const std::string& furtherFile) {
  if (furtherFile.empty()) return nullptr;
  // Ahead of reading: what changes meanwhile is another version.
  const auto furtherVersion = System::fileVersion(furtherFile);
  const auto defaultVersion = defaultFile() == nullptr ? std::nullopt : System::fileVersion(defaultFile());
  const bool isKeepable = furtherVersion.has_value() && defaultVersion.has_value();
  KeptTrust& kept = keptTrust();
  if (isKeepable) {
    const std::lock_guard lock(kept.mutex);
    const bool isSame = kept.trust != nullptr && kept.furtherFile == furtherFile &&
                        kept.further == *furtherVersion && kept.defaults == *defaultVersion;
    if (isSame) return kept.trust;
  }
  const std::string further = contentsOf(furtherFile);
  if (further.empty()) return nullptr;
  const std::string defaults =
      defaultFile() != nullptr ? contentsOf(defaultFile()) : System::keptAuthorities();
  auto trust = std::make_shared<const CurlTrust>(defaults, further);
  // A file that could not be read to its end is read again by the next client.
  const bool isWhole =
      isKeepable && further.size() == furtherVersion->size && defaults.size() == defaultVersion->size;
  if (isWhole) {
    std::string file = furtherFile;
    const std::lock_guard lock(kept.mutex);
    kept.furtherFile = std::move(file);
    kept.further = *furtherVersion;
    kept.defaults = *defaultVersion;
    kept.trust = trust;
  }
  return trust;
}

CurlTrust::CurlTrust(const std::string& defaults, const std::string& further)
    : text_(defaults + "\n" + further),
      further_(markedWith(defaults, further)),
      defaultsEnd_(defaults.size()) {}

CurlTrust::~CurlTrust() {
  if (defaults_ == nullptr) return;
  const CurlStay stay;
  // Once the process is closing, the TLS library must not be entered.
  if (stay.isGranted()) {
    defaults_.reset();
  } else {
    CurlStay::park(const_cast<TlsCertificates*>(defaults_.release()));
  }
}

/// libcurl copies and compares the text that it is given with each request, and reads it for each connection.
/// So it is given the further authorities, which also tell TLS sessions and connections of different trust
/// apart, and the default ones, which are many, join them as certificates that have been read.
void CurlTrust::applyTo(CurlEasy& easy) const {
  const TlsCertificates* const defaults = readDefaults();
  const curl_blob blob = blobOf(defaults == nullptr ? text_ : further_);
  easy.set(CURLOPT_CAINFO_BLOB, &blob);
  if (defaults == nullptr) return;
  easy.set(CURLOPT_SSL_CTX_FUNCTION, &CurlTrust::giveDefaults);
  easy.set(CURLOPT_SSL_CTX_DATA, static_cast<const void*>(defaults));
}

/// Null where libcurl has to read all of them itself: its TLS library is another one, or a text holds
/// something else than certificates, of which libcurl is to make what it always does.
const TlsCertificates* CurlTrust::readDefaults() const {
  std::call_once(areDefaultsRead_, [this] {
    if (!takesCertificates() || TlsCertificates::read(further_) == nullptr) return;
    defaults_ = TlsCertificates::read(text_.substr(0, defaultsEnd_));
  });
  return defaults_.get();
}

CURLcode CurlTrust::giveDefaults(CURL*, void* context, void* defaults) {
  return static_cast<const TlsCertificates*>(defaults)->giveTo(context) ? CURLE_OK : CURLE_OUT_OF_MEMORY;
}

}  // namespace KBL
