// Settings of the AddressSanitizer runtime for the login integration tests (ignored
// in other builds). Cyrus SASL's DIGEST-MD5 client fetches its cipher from OpenSSL 3
// and never frees it, one block per bind; the suppression needs full stacks, since
// the plugin's frames lie behind OpenSSL's, which the fast unwinder cannot cross.
extern "C" const char* __asan_default_options() { return "fast_unwind_on_malloc=0"; }
extern "C" const char* __lsan_default_suppressions() { return "leak:libdigestmd5.so\n"; }
