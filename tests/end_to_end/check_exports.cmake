# Compares what the library exports with the list that is checked in. A new name in the list is a
# promise to callers; one that is gone breaks them.
execute_process(
  COMMAND "${NM}" -D --defined-only --format=just-symbols "${LIBRARY}"
  OUTPUT_VARIABLE exported
  COMMAND_ERROR_IS_FATAL ANY)
file(READ "${LIST}" listed)
if(NOT exported STREQUAL listed)
  message("${exported}")
  message(FATAL_ERROR "The library exports other names than ${LIST} says: see above.")
endif()
