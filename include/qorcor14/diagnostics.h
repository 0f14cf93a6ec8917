// qorcor14/diagnostics.h - diagnostics: the exception types and the debug
// stream.
#pragma once

#include <qorcor14/diagnostics/debug_stream.h>
#include <qorcor14/errors.h>
