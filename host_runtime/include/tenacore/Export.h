#pragma once

// Symbols of the host runtime that inline code in public headers reaches, and
// that a host uses to configure tracing and assertions.
#if defined(_WIN32)
#if defined(TENACORE_BUILDING)
#define TENACORE_API __declspec(dllexport)
#elif defined(TENACORE_SHARED)
#define TENACORE_API __declspec(dllimport)
#else
#define TENACORE_API
#endif
#else
#define TENACORE_API __attribute__((visibility("default")))
#endif
