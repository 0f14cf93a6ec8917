// qormsg.h - the message catalogue's one entry point, used by qorcor14 to
// build its user-visible messages.
#pragma once

#include <string>

#if defined(_WIN32)
#if defined(QORMSG14_BUILDING)
#define QORMSG14_API __declspec(dllexport)
#else
#define QORMSG14_API __declspec(dllimport)
#endif
#else
#define QORMSG14_API
#endif

// The printf-style template of message `number`, for the wide stringPrintf:
// %s takes a wide string, %hs a narrow one. Each template takes exactly the
// arguments its callers pass.
//
// Example:
//   stringPrintf(qorMsg(249).c_str(), name.c_str(), strerror(errno));
//   // Cannot open "C:\data.csv" for reading: No such file or directory
//
// Note: a number the catalogue does not know gives a text that names the
// number and contains no conversions, so formatting it with any arguments
// is safe.
QORMSG14_API std::wstring qorMsg(unsigned int number);
