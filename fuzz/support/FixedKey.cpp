#include "fuzz/support/FixedKey.h"

#include <BsNet/cipher.h>

#include <memory>
#include <numeric>
#include <vector>

namespace {

class FixedKeyStore final : public KBL::IKeyStore {
 public:
  std::vector<unsigned char> loadOrCreateKey() override {
    std::vector<unsigned char> key(64);
    std::iota(key.begin(), key.end(), static_cast<unsigned char>(1));
    return key;
  }
};

}  // namespace

void useFixedKey() {
  KBL::setKeyStore(std::make_shared<FixedKeyStore>());
}
