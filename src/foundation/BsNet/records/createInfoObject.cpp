#include <BsNet/BsInfoReader.h>
#include <BsNet/createInfoObject.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/RefPtr.h>

namespace KBL {
namespace {

/// The public information of the host product.
class BsPubInfo final : public BsBaseInfoRW, public virtual IBsPubInfo {
 public:
  BsPubInfo() : BsBaseInfoRW(infoObjectPubInfo) {}

  void* QueryInterfaceByName(const char* name) override {
    return castByName(this, name, Named<IBsPubInfo>{"IBsPubInfo"}, Named<BsBaseInfoRW>{"BsBaseInfoRW"});
  }

  _Result removeKey(const char* key) override {
    if (key == nullptr) return resultFailed;
    removeEntry(key);
    return resultOk;
  }
};

/// A network proxy.
class BsServerProxyInfo final : public BsBaseInfoRW, public virtual IBsServerProxyInfo {
 public:
  BsServerProxyInfo() : BsBaseInfoRW(infoObjectServerProxy) {}

  void* QueryInterfaceByName(const char* name) override {
    return castByName(this, name, Named<IBsServerProxyInfo>{"IBsServerProxyInfo"},
                      Named<BsBaseInfoRW>{"BsBaseInfoRW"});
  }
};

}  // namespace
}  // namespace KBL

extern "C" KBL::IBsInfoReader* createInfoObject(int type) {
  try {
    if (type == KBL::infoObjectPubInfo) return KBL::makeRef<KBL::BsPubInfo>().leak();
    if (type == KBL::infoObjectServerProxy) return KBL::makeRef<KBL::BsServerProxyInfo>().leak();
  } catch (...) {
  }
  return nullptr;
}
