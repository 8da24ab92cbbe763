#pragma once

// Marks what the shared library exports: the factories, the exported functions and the interfaces.
#if defined(_WIN32)
#if defined(QTSIFTER_BUILDING)
#define QTSIFTER_API __declspec(dllexport)
#elif defined(QTSIFTER_SHARED)
#define QTSIFTER_API __declspec(dllimport)
#else
#define QTSIFTER_API
#endif
#define QTSIFTER_INTERFACE
#else
#define QTSIFTER_API __attribute__((visibility("default")))
#define QTSIFTER_INTERFACE __attribute__((visibility("default")))
#endif
