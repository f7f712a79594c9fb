// Symbol visibility for libkinolot.
//
// The library is built with -fvisibility=hidden; only declarations marked
// KINOLOT_EXPORT are visible to programs that link it. Everything else is
// internal and may change without notice.
#ifndef KINOLOT_EXPORT_H_
#define KINOLOT_EXPORT_H_

#if defined(KINOLOT_BUILDING_LIBRARY)
#define KINOLOT_EXPORT __attribute__((visibility("default")))
#else
#define KINOLOT_EXPORT
#endif

#endif  // KINOLOT_EXPORT_H_
