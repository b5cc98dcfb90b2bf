# Sourced before running tests built with -DTAVRO_SANITIZE (scripts/test.sh does): every
# report fails the test program that made it, and the libraries' known reports listed beside
# this file are suppressed. Nothing of Tavro's own belongs in those lists: fix it instead.
sanitizers="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0:halt_on_error=1:detect_stack_use_after_return=1:strict_init_order=1"
export LSAN_OPTIONS="suppressions=$sanitizers/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="suppressions=$sanitizers/ubsan.supp:print_stacktrace=1:halt_on_error=1"
export TSAN_OPTIONS="suppressions=$sanitizers/tsan.supp:print_suppressions=0:second_deadlock_stack=1"
unset sanitizers
