#include <ExternlMediaTransfer/ExternlMediaTransfer.h>

int main() {
  return getExternlMediaAuthorize(0) == nullptr ? 0 : 1;
}
