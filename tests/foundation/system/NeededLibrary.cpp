// A library that another one needs.
extern "C" __declspec(dllexport) int neededNumber() {
  return 7;
}
