/// \file
/// Visibility of the layer's names outside `libgpal.so`.
#ifndef GPAL_EXPORT_H
#define GPAL_EXPORT_H

/// Marks a class, function or object as part of the exported interface. Everything else in the
/// library is hidden from the dynamic linker.
#define GPAL_API __attribute__((visibility("default")))

/// Marks a member of an exported class that only the library itself uses.
#define GPAL_INTERNAL __attribute__((visibility("hidden")))

#endif
