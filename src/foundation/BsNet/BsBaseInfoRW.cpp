#include "foundation/BsNet/BsBaseInfoRW.h"

#include "foundation/object/CastByName.h"

namespace KBL {

BsBaseInfoRW::BsBaseInfoRW() : BsBaseInfoRW(0) {}
BsBaseInfoRW::BsBaseInfoRW(int infoType) : BsInfoReader(infoType) {}
BsBaseInfoRW::~BsBaseInfoRW() = default;

void* BsBaseInfoRW::QueryInterfaceByName(const char* name) {
  return castByName(this, name, Named<BsBaseInfoRW>{"BsBaseInfoRW"});
}

_Result BsBaseInfoRW::setIntKeyConfig(const char* key, long long value) {
  return storeInt(key, value);
}
_Result BsBaseInfoRW::setCharKeyConfig(const char* key, const char* value) {
  return storeText(key, value);
}

_Result BsBaseInfoRW::reset() {
  clearEntries();
  return resultOk;
}

}  // namespace KBL
