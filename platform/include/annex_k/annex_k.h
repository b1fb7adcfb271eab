/// \file
/// Bounds-checked memory and string functions.
#ifndef ANNEX_K_ANNEX_K_H
#define ANNEX_K_ANNEX_K_H

#include <cstddef>

extern "C" {

/// These two: 0 for success; they fail, leaving `dest` alone, when `count` exceeds `destMax`.
int memset_s(void* dest, size_t destMax, int value, size_t count);
int memcpy_s(void* dest, size_t destMax, const void* source, size_t count);
/// Length of the text, or a negative value when it exceeds `count` or does not fit `destMax`.
int snprintf_s(char* dest, size_t destMax, size_t count, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

}  // extern "C"

#endif  // ANNEX_K_ANNEX_K_H
