// LXSCAN_API marks what liblxscan exports; everything else stays hidden
// (the library is built with -fvisibility=hidden).
#ifndef LXSCAN_EXPORT_H
#define LXSCAN_EXPORT_H

#define LXSCAN_API __attribute__((visibility("default")))

#endif
