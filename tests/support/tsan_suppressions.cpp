// The standard library is not instrumented: an exception that passes through a future looks like a
// race between the threads that drop their references to it.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions() {
  return "race:std::__future_base::_Result<*>::_M_destroy\n"
         "race:std::__exception_ptr::exception_ptr::_M_release\n";
}

// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
