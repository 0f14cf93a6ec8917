// qorcor14/stream.h - streams: raw byte streams over files, encoded text
// readers and writers, and CSV.
#pragma once

#include <qorcor14/stream/raw.h>
#include <qorcor14/stream/text_file.h>
#include <qorcor14/stream/csv.h>
