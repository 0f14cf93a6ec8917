// qormsg.h - the message catalogue's one entry point, used by qorcor14 to
// build its user-visible messages.
#pragma once

#include <string>

#if defined(_WIN32)
#  if defined(QORMSG14_BUILDING)
#    define QORMSG14_API __declspec(dllexport)
#  else
#    define QORMSG14_API __declspec(dllimport)
#  endif
#else
#  define QORMSG14_API
#endif

// The printf-style template of message `number`.
QORMSG14_API std::wstring qorMsg(unsigned int number);
