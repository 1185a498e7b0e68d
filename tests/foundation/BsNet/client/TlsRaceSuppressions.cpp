// The TLS library of the system is built without ThreadSanitizer, which therefore does not see the atomics
// that it synchronises by. Covers that library alone, no code of ours.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions() {
  return "race:libcrypto.so\nrace:libssl.so\n";
}
