#pragma once

#include <BsNet/IBsInfoReader.h>
#include <BsNet/createInfoObject.h>

namespace KBL {

/// How `getRequestBody` is sent.
enum _BodyType : int { bodyNone = 0, bodyJson = 1, bodyForm = 2 };

/// Opaque task data of a plain request; the reference foundation has none and answers null.
class IBsBaseTackInfo;

/// A record that is both the parameters and the reply of a plain request.
class KBL_INTERFACE IBsRequestParamReply : public virtual IBsBaseInfoRW {
 public:
  virtual const char* getRequestUrl() = 0;   ///< value of RequestParamCharKey::url, or null
  virtual const char* getRequestBody() = 0;  ///< body to send, or null
  virtual _BodyType getBodyType() = 0;
  virtual const char* getRequestheads() = 0;  ///< further header lines, separated by line feeds, or null
  virtual _Result setPubParam(IBsPubInfo* info) = 0;  ///< takes a reference
  virtual IBsPubInfo* getPubParam() = 0;              ///< borrowed
  virtual const char* getResponseContent() = 0;       ///< value of ResponseCharKey::content, or null
  virtual _Result parseResponse(const char* content, long long size) = 0;  ///< stores the body
  virtual _Result abord(int flag) = 0;
  virtual int isAbord() = 0;
  virtual IBsBaseTackInfo* getBsBaseTackInfo() = 0;

 protected:
  ~IBsRequestParamReply() = default;
};

}  // namespace KBL
