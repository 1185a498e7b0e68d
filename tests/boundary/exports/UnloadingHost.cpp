// A host that closes the library while it still holds a manager of it: the code must stay mapped.

#include <ExternlMediaTransfer/IBsExternlMediaAuthorize.h>
#include <KblUtils/Process.h>

#include <cstdio>

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) return 2;
  std::string reason;
  auto library = KBL::SharedLibrary::open(KBL::Path(arguments[1]), reason);
  if (library == nullptr) {
    (void)std::fprintf(stderr, "%s\n", reason.c_str());
    return 2;
  }
  using MakeManager = KBL::IBsExternlMediaAuthorize* (*)(int);
  const auto makeManager = reinterpret_cast<MakeManager>(library->symbol("getOrCreateExternlMediaAuthorize"));
  if (makeManager == nullptr) return 2;
  KBL::IBsExternlMediaAuthorize* const manager = makeManager(0);
  library.reset();
  const bool mapped = manager->platform() == 0 && makeManager(0) == manager;
  return mapped && manager->Release() == 0 ? 0 : 1;
}
