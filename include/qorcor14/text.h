// qorcor14/text.h - text and strings: code points and their Unicode classes,
// and the conversions between wide strings, UTF-8 and the ANSI code page,
// formatting and number parsing, and the walk over the lines of a text.
#pragma once

#include <qorcor14/text/codepoint.h>
#include <qorcor14/text/strings.h>
#include <qorcor14/text/line_iterator.h>
