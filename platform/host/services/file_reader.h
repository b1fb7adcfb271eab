/// \file
/// Files that users name.
#ifndef ORMO_HOST_SERVICES_FILE_READER_H
#define ORMO_HOST_SERVICES_FILE_READER_H

#include <cstddef>
#include <string>

namespace OrmoHost {

/// The content of an ordinary file of at most `mostBytes`. Of anything else, such as a pipe that
/// nobody writes to or a device without an end, nothing is read: `refuse`, which has to throw, is
/// told what was expected.
std::string ReadFile(const std::string& path, size_t mostBytes,
                     void (*refuse)(const std::string& expected));

}  // namespace OrmoHost

#endif  // ORMO_HOST_SERVICES_FILE_READER_H
