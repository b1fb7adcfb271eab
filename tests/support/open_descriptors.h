/// \file
/// The descriptors that this process has open.
#ifndef ORMO_TESTS_SUPPORT_OPEN_DESCRIPTORS_H
#define ORMO_TESTS_SUPPORT_OPEN_DESCRIPTORS_H

#include <map>
#include <string>

namespace Ormo::Testing {

/// Number to what it names, for instance "pipe:[4711]".
std::map<int, std::string> OpenDescriptors();

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_OPEN_DESCRIPTORS_H
