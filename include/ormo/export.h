/// \file
/// Marks what the shared library exports; everything else is hidden.
#ifndef ORMO_EXPORT_H
#define ORMO_EXPORT_H

#define ORMO_EXPORT __attribute__((visibility("default")))

#endif  // ORMO_EXPORT_H
