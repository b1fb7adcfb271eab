/// \file
/// The ways in which a tuner measures, each as one piece of work.
#ifndef ORMO_TESTS_FAULTS_WORKS_H
#define ORMO_TESTS_FAULTS_WORKS_H

#include <string>

namespace Ormo::Testing {

/// Loads a model from a file, runs it by wall clock with the caller's buffers and unloads it.
int RunLoadedFile(const std::string& path);
/// The same from memory, profiled.
int RunLoadedImageProfiled();
/// Loads, runs and unloads in one call, profiled, with buffers of the model's own sizes.
int RunOnceProfiled();
/// The same as a detailed call that can be cancelled.
int RunOnceDetailed();
/// By wall clock, with a model small enough for memory of the library's own.
int RunOnceInOwnMemory();
/// By wall clock, without a check of the memory at the load, with a dynamic batch.
int RunOnceWithBatch();
/// By wall clock, with buffers of the model's own sizes.
int RunOnce();
/// Loads a model on a device, asks what it is and unloads it.
int DescribeLoaded();

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_FAULTS_WORKS_H
