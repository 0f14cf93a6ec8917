#include "qormsg.h"

std::wstring qorMsg(unsigned int) { return L""; }
