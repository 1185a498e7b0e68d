// Texts of others in the library's hands: cut, made wide, written in digits, in percent and in Base64, taken
// for addresses, and copied to a host's field.
#include "foundation/Texts.h"

#include "media_tasks/signing.h"
#include "uploaders/proxies/hostField.h"
#include <BsNet/URL.h>
#include <BsNet/cipher.h>
#include <KblUtils/StringUtil.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

void checkCuts(const std::string& text) {
  for (const std::size_t limit :
       {std::size_t{0}, std::size_t{1}, text.size() / 2, text.size(), text.size() + 1}) {
    const std::string cut = KBL::StringUtil::cutUtf8(text, limit);
    require(cut.size() <= limit && text.starts_with(cut));
    if (KBL::StringUtil::isUtf8(text.c_str())) require(KBL::StringUtil::isUtf8(cut.c_str()));
  }
  char field[8] = {};  // as hosts declare theirs
  KBL::copyToField(field, text);
  require(KBL::fieldText(field).size() < sizeof(field));
}

/// Every unit stands alone or in a pair.
void checkWide(const std::string& text) {
  std::wstring wide;
  require(KBL::StringUtil::utf8ToWide(text.data(), text.size(), wide));
  for (const wchar_t unit : wide) require((unit < 0xD800 || unit > 0xDFFF) && unit <= 0x10FFFF);
}

void checkDigits(const std::string& text) {
  const int size = static_cast<int>(text.size());
  std::string copy = text;
  std::string digits(2 * text.size() + 1, 'x');
  KBL::Bytes2HexStr(reinterpret_cast<unsigned char*>(copy.data()), size,
                    reinterpret_cast<unsigned char*>(digits.data()));
  require(digits.back() == '\0');
  const std::unique_ptr<char[]> bytes(KBL::hexStr2Bytes(digits.c_str(), 2 * size));
  require(std::string(bytes.get(), text.size()) == text);
  const std::unique_ptr<char[]> odd(KBL::hexStr2Bytes(text.c_str(), size));
  require(odd != nullptr);
}

void checkEncodings(const std::string& text) {
  require(KBL::base64(text).size() == (text.size() + 2) / 3 * 4);
  for (const char letter : KBL::percentEncoded(text))
    require(KBL::isLetterOrDigit(letter) || std::string_view("-._~%").find(letter) != std::string_view::npos);
  require(KBL::md5Hex(text).size() == 32 && KBL::hmacSha1(text, text).size() == 20);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  checkCuts(text);
  checkWide(text);
  checkDigits(text);
  checkEncodings(text);
  (void)KBL::decimalNumber(text.c_str());
  const KBL::URL url = KBL::URL::FromString(text);
  if (url.IsValid()) require(text.find(' ') == std::string::npos && text.find('\n') == std::string::npos);
  return 0;
}
