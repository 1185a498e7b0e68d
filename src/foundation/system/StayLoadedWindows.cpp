// Compiled into every library whose threads may run until the process ends: once loaded it stays mapped.
#include <windows.h>

namespace KBL::System {
namespace {

constexpr DWORD pinByAddress = GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS;
const char ownAddress = 0;

[[maybe_unused]] const bool pinned = [] {
  HMODULE self = nullptr;
  return GetModuleHandleExW(pinByAddress, reinterpret_cast<LPCWSTR>(&ownAddress), &self) != 0;
}();

}  // namespace
}  // namespace KBL::System
