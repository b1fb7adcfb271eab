// The standard library is not instrumented: an exception that passes through a future looks like a
// race between the threads that drop their references to it.
const char* ThreadSanitizerSuppressions() asm("__tsan_default_suppressions");

const char* ThreadSanitizerSuppressions() {
  return "race:std::__future_base::_Result<*>::_M_destroy\n"
         "race:std::__exception_ptr::exception_ptr::_M_release\n";
}
