// The text of the cache: an input as the digits of an enciphered document, and as a document that was
// enciphered. Users that were read are written, and read again.
#include "authorize/CacheDocument.h"
#include "authorize/CacheFile.h"
#include "fuzz/support/FixedKey.h"
#include <KblUtils/StringUtil.h>

#include <cstdint>
#include <cstdlib>

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

/// What is no UTF-8 is replaced where it is written.
void requireSame(const std::string& read, const std::string& written) {
  if (KBL::StringUtil::isUtf8(written.c_str()) && written.find('\0') == std::string::npos)
    require(read == written);
}

void checkList(KBL::CacheEntries list, const KBL::CipherKey& key) {
  KBL::removeInvalidCacheInfos(list);
  const auto sealed =
      KBL::sealCacheDocument(KBL::padCacheDocument(KBL::cacheDocument(list, "2026/01/02 03:04:05")), key);
  if (!sealed) return;  // too large
  const auto again = KBL::openCacheText(*sealed, key);
  require(again.has_value() == !list.empty());
  if (!again) return;
  require(again->size() == list.size());
  for (std::size_t place = 0; place < list.size(); ++place) {
    requireSame((*again)[place]->userUuid, list[place]->userUuid);
    requireSame((*again)[place]->refreshToken, list[place]->refreshToken);
    require((*again)[place]->expiresTimeout == list[place]->expiresTimeout);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  useFixedKey();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const KBL::CipherKey key = KBL::CipherKey::current();
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (const auto list = KBL::openCacheText(text, key)) checkList(*list, key);
  const auto sealed = KBL::sealCacheDocument(KBL::padCacheDocument(text), key);
  if (!sealed) return 0;
  if (const auto list = KBL::openCacheText(*sealed, key)) checkList(*list, key);
  return 0;
}
