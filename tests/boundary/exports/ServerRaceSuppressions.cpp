// The library of the tests' server is built without ThreadSanitizer. Its calls of malloc and free are passed
// over elsewhere; here this program's own `operator new` and `operator delete` stand between. Only test
// servers run below it.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions() {
  return "race:libcpp-httplib.so\n";
}
