#pragma once
// Symbols of the SDK's public interface carry ORVA_EXPORT; everything else in the shared
// library is hidden, so the router's dynamic linker only sees what users may call.
#if defined(__GNUC__)
#define ORVA_EXPORT __attribute__((visibility("default")))
#else
#define ORVA_EXPORT
#endif
