// What the sanitizers look for beside their defaults. Leaks are left to the tests that count what is released: some are
// the design's own (records that another thread may still read, the sink that outlives late notifications).
extern "C" {
const char* __asan_default_options();
const char* __ubsan_default_options();
const char* __tsan_default_options();

const char* __asan_default_options()
{
    return "detect_leaks=0:detect_stack_use_after_return=1:strict_string_checks=1:check_initialization_order=1";
}

const char* __ubsan_default_options() { return "print_stacktrace=1"; }

const char* __tsan_default_options() { return "halt_on_error=1:second_deadlock_stack=1"; }
}
