#ifndef LXBASE_EXPORT_H
#define LXBASE_EXPORT_H

// Marks the public API of liblxbase. The library is built with hidden
// visibility, so only what carries this macro is exported from the shared
// object; in a static build the attribute is harmless.
#define LXBASE_API __attribute__((visibility("default")))

#endif
