/// \file
/// Uses the platform without giving anything back.
#ifndef ORMO_TESTS_PLATFORM_PLATFORM_USER_H
#define ORMO_TESTS_PLATFORM_PLATFORM_USER_H

extern "C" {

/// Leaves alive what the platform can hold: a subscription with records queued for a full pipe, a
/// message, a thread's context and captured lines included. Returns whether that worked.
bool UsePlatform();

/// Whether everything that could make something new is refused.
bool IsPlatformClosed();

}  // extern "C"

#endif  // ORMO_TESTS_PLATFORM_PLATFORM_USER_H
