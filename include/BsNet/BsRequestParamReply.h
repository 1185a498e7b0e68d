#pragma once

#include <BsNet/BsInfoReader.h>
#include <BsNet/IBsRequestParamReply.h>
#include <KblUtils/RefPtr.h>

#include <atomic>
#include <mutex>

namespace KBL {

/// The reference implementation of all eleven operations, over the key store of the BsBaseInfoRW that the
/// concrete record brings as a virtual base.
class KBL_BSNET_API BsRequestParamReply : public virtual IBsRequestParamReply, public virtual BsBaseInfoRW {
 public:
  BsRequestParamReply();
  ~BsRequestParamReply() override;

  const char* getRequestUrl() override;
  const char* getRequestBody() override;
  _BodyType getBodyType() override;
  const char* getRequestheads() override;
  _Result setPubParam(IBsPubInfo* info) override;
  IBsPubInfo* getPubParam() override;
  const char* getResponseContent() override;
  _Result parseResponse(const char* content, long long size) override;
  _Result abord(int flag) override;
  int isAbord() override;
  IBsBaseTackInfo* getBsBaseTackInfo() override;

 private:
  std::mutex pubInfoMutex_;
  RefPtr<IBsPubInfo> pubInfo_;
  std::atomic<int> abordFlag_{0};
};

}  // namespace KBL
